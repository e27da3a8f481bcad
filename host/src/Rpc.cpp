#include "Rpc.h"

#include "Json.h"
#include "LineReader.h"

#include <algorithm>
#include <climits>

#include <fmt/format.h>
#include <poll.h>

#include <TLX/Misc/ModuleInfo.h>

namespace vxhost {

namespace {

constexpr std::size_t LONGEST_LINE = std::size_t{256} << 20U;

std::string ProblemAnswer(const RpcProblem& problem) {
  JsonText json;
  json.StartObject().Key("id").Raw(problem.id).Key("error").Text(problem.text).EndObject();
  return json.Take();
}

// Where the plug-in finds the data: null for none.
struct DataPointer {
  void* operator()(NoData&) const { return nullptr; }
  template <class Data>
  void* operator()(Data& data) const {
    return &data;
  }
};

struct DataWriter {
  JsonText& json;
  void operator()(const NoData&) const { json.Null(); }
  template <class Data>
  void operator()(const Data& data) const {
    Write(json, data);
  }
};

std::string Answer(const RpcRequest& request, unsigned int result) {
  JsonText json;
  json.StartObject().Key("id").Raw(request.id).Key("result").Unsigned(result);
  if (request.kind == RpcKind::Command && AnswersWithData(request.command)) {
    json.Key("data");
    std::visit(DataWriter{json}, request.data);
  }
  json.EndObject();
  return json.Take();
}

}  // namespace

RpcServer::RpcServer(const PluginLibrary& plugin, Output& output, MirrorDatabase& database,
                     const StopRequest& stop)
    : plugin_(plugin), output_(output), database_(database), stop_(stop), notifier_([this] {
        WriteNotification();
      }) {
  const unsigned int result = Create();
  if (interface_ == nullptr) {
    Say(fmt::format("plug-in {}: createIf failed with {}", plugin_.Name(), result));
  }
}

RpcServer::~RpcServer() {
  if (interface_ != nullptr && workerMayRun_) {
    ExecuteCommand(*interface_, PI::COMMAND_DEINITIALIZE, 0, nullptr);
  }
  Release();
}

bool RpcServer::Run(int input) {
  LineReader lines(input, LONGEST_LINE, stop_.Descriptor());
  while (const auto line = lines.Next()) {
    const bool written =
        line->tooLong
            ? output_.WriteLine(ProblemAnswer({"null", "the line is longer than 256 MiB"}))
            : Serve(line->text);
    if (!written) return false;
  }
  return true;
}

bool RpcServer::Serve(std::string_view line) {
  auto request = ReadRpcRequest(line);
  return output_.WriteLine(request.IsGood() ? Perform(request.Get())
                                            : ProblemAnswer(request.Reason()));
}

std::string RpcServer::Perform(RpcRequest& request) {
  switch (request.kind) {
    case RpcKind::Release:
      return ReleaseIfEnded(request);
    case RpcKind::Create:
      return CreateAnew(request);
    case RpcKind::Sleep:
      Sleep(std::chrono::milliseconds(request.number));
      return Answer(request, 0);
    case RpcKind::Trace:
      TLX::Misc::CModuleInfo::SetPluginTraceMask(request.number);
      return Answer(request, 0);
    case RpcKind::Command:
      break;
  }
  return Call(request);
}

std::string RpcServer::Call(RpcRequest& request) {
  if (interface_ == nullptr) {
    return ProblemAnswer({request.id, "no interface object lives: create one first"});
  }
  if (request.command == PI::COMMAND_SET_ADAPTER_IDS) workerMayRun_ = true;
  const unsigned int result = ExecuteCommand(*interface_, request.command, request.object,
                                             std::visit(DataPointer{}, request.data));
  if (request.command == PI::COMMAND_DEINITIALIZE) workerMayRun_ = false;
  return Answer(request, result);
}

std::string RpcServer::CreateAnew(const RpcRequest& request) {
  if (interface_ != nullptr) {
    return ProblemAnswer({request.id, "an interface object lives already: release it first"});
  }
  try {
    return Answer(request, Create());
  } catch (const PluginError& error) {
    return ProblemAnswer({request.id, error.what()});
  }
}

std::string RpcServer::ReleaseIfEnded(const RpcRequest& request) {
  if (workerMayRun_) {
    return ProblemAnswer(
        {request.id, "the object may still be at work since command 2: send command 3 first"});
  }
  Release();
  return Answer(request, 0);
}

// Real time, whatever the clock of the platform shows; ends early when asked to stop.
void RpcServer::Sleep(std::chrono::milliseconds time) const {
  using Clock = std::chrono::steady_clock;
  const auto end = Clock::now() + time;
  for (auto left = time; left.count() > 0;
       left = std::chrono::ceil<std::chrono::milliseconds>(end - Clock::now())) {
    pollfd wait{stop_.Descriptor(), POLLIN, 0};
    const auto part = static_cast<int>(std::min<long>(left.count(), INT_MAX));
    if (::poll(&wait, 1, part) > 0) return;
  }
}

unsigned int RpcServer::Create() {
  {
    const std::lock_guard lock(notifying_);
    notifications_ = 0;
  }
  workerMayRun_ = false;
  database_.RemoveEarlierRun();
  const unsigned int result = plugin_.Create(&interface_);
  if (interface_ != nullptr) notifier_.Attach(*interface_);
  return result;
}

void RpcServer::Release() {
  plugin_.Release(&interface_);
  interface_ = nullptr;
}

void RpcServer::WriteNotification() {
  // The number is taken under the same lock as the line is written: the lines count upwards.
  const std::lock_guard lock(notifying_);
  JsonText json;
  json.StartObject().Key("notify").Unsigned(++notifications_).EndObject();
  output_.PostLine(json.Take());
}

}  // namespace vxhost
