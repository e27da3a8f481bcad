#include "Module.h"
#include "RunHistory.h"
#include "Runner.h"
#include "RunningChildren.h"
#include "Sysfs.h"

#include <algorithm>
#include <atomic>
#include <exception>
#include <mutex>
#include <shared_mutex>
#include <utility>

#include <TLX/Misc/Tracer.h>
#include <TLX/Threading/Cancellation.h>
#include <TLXX/System.h>

namespace TLXX {

namespace {

using TLX::Threading::CCancellation;

TLX::Misc::CTracer Tracer() {
  return TLX::Misc::CTracer({TLX_MODULE_INFO_TLXX, "platform/TLXX/src/System"}, "ExecuteCommand");
}

constexpr int COLLECTED = 1;
constexpr int FAILED = 0;

std::atomic<ICommandRunner*> s_Runner{nullptr};

// Who is told of finished calls. Readers do not wait for one another.
class CObserver {
 public:
  // The one of the process. Never destroyed: threads may still run commands while it ends.
  static CObserver& Instance() {
    static auto* const observer = new CObserver;
    return *observer;
  }

  void Set(CSystem::CRunObserver function) {
    const std::lock_guard guard(m_Mutex);
    m_Function = std::move(function);
  }

  void Tell(const std::string& arguments, const std::string& failure, const std::string& output) {
    const std::shared_lock guard(m_Mutex);
    if (m_Function) m_Function(arguments, failure, output);
  }

 private:
  std::shared_mutex m_Mutex;
  CSystem::CRunObserver m_Function;
};

// Who gets the programs' standard error.
class CErrorSink {
 public:
  // The one of the process. Never destroyed: threads may still run commands while it ends.
  static CErrorSink& Instance() {
    static auto* const sink = new CErrorSink;
    return *sink;
  }

  void Set(CSystem::CErrorSink function) {
    const std::lock_guard guard(m_Mutex);
    m_Function = std::move(function);
  }

  CSystem::CErrorSink Get() const {
    const std::lock_guard guard(m_Mutex);
    return m_Function;
  }

 private:
  mutable std::mutex m_Mutex;
  CSystem::CErrorSink m_Function;
};

// One call of ExecuteCommand.
class CCall {
 public:
  CCall(const std::string& command, const std::string& arguments)
      : m_Text(command + " " + arguments), m_Arguments(arguments) {}

  // Whether the output was collected; it is then in Output(). Delivers a cancellation.
  bool Query() {
    if (!Split()) return false;
    const CRunLimits limits = CRunHistory::Instance().Limits();
    CRunResult result = RunQuery(limits);
    if (limits.m_RepeatPause.count() > 0 && result.IsWorthRepeating()) {
      m_Trace.Steps("once more: %s: %s", m_Text,
                    [&] { return Explain(result, m_Command, m_Bounds); });
      if (Pause(limits.m_RepeatPause)) {
        m_FirstFailure = Explain(result, m_Command, m_Bounds);
        result = RunQuery(limits);
      } else {
        result.m_End = CCancellation::Requested() ? ERunEnd::Cancelled : ERunEnd::Stopped;
      }
    }
    return Finish(std::move(result));
  }

  // The same for a command that changes something: never repeated, its own time limit.
  bool Change() {
    if (!Split()) return false;
    const CRunLimits limits = CRunHistory::Instance().Limits();
    m_Bounds = {limits.m_LinesTimeout, limits.m_LingerTimeout, limits.m_MaxInventoryOutput,
                ERunKind::Change, CErrorSink::Instance().Get()};
    return Finish(RunOnce(m_Command, m_Bounds));
  }

  std::string& Output() { return m_Output; }

 private:
  bool Split() {
    m_Trace.Tool("run: %s", m_Text);
    std::string reason;
    if (SplitCommand(m_Text, m_Command, reason)) return true;
    Count(CRunResult{}, reason);
    return false;
  }

  CRunResult RunQuery(const CRunLimits& limits) {
    CRunHistory& history = CRunHistory::Instance();
    m_Bounds = {history.QueryTimeout(m_Arguments), limits.m_LingerTimeout, MaxOutput(limits),
                ERunKind::Query, CErrorSink::Instance().Get()};
    CRunResult result = RunOnce(m_Command, m_Bounds);
    history.NoteQuery(m_Arguments, result, m_Bounds.m_Timeout);
    return result;
  }

  std::size_t MaxOutput(const CRunLimits& limits) const {
    return IsAboutOneDrive(m_Arguments) ? limits.m_MaxLogOutput : limits.m_MaxInventoryOutput;
  }

  bool Finish(CRunResult result) {
    Count(result, Explain(result, m_Command, m_Bounds));
    if (!result.Collected()) return false;
    m_Output = std::move(result.m_Output);
    return true;
  }

  void Count(const CRunResult& result, const std::string& failure) {
    const auto duration = std::chrono::steady_clock::now() - m_Start;
    CRunHistory::Instance().Count(m_Arguments, result, duration, m_FirstFailure, failure);
    CObserver::Instance().Tell(m_Arguments, failure, result.m_Output);
    if (failure.empty()) {
      m_Trace.Tool("collected %d bytes", result.m_Output.size());
    } else {
      m_Trace.Steps("failed: %s: %s", m_Text, failure);
    }
  }

  const TLX::Misc::CTracer m_Trace = Tracer();
  const std::string m_Text;
  const std::string& m_Arguments;
  const std::chrono::steady_clock::time_point m_Start = std::chrono::steady_clock::now();
  CCommand m_Command;
  CRunBounds m_Bounds;
  std::string m_FirstFailure;  // why it was run a second time; empty when it was not
  std::string m_Output;
};

// Runs the call's operation. Nothing but want of memory is thrown on the way; it makes a failed
// run.
bool Perform(CCall& call, bool (CCall::*operation)()) {
  try {
    return (call.*operation)();
  } catch (const std::exception& failure) {
    Tracer().Steps("%s", failure.what());
    return false;
  }
}

// The lines without their line feeds; text after the last line feed is a line as well.
std::vector<std::string> SplitLines(const std::string& text) {
  std::vector<std::string> lines;
  for (std::size_t begin = 0; begin < text.size();) {
    const std::size_t end = std::min(text.find('\n', begin), text.size());
    lines.push_back(text.substr(begin, end - begin));
    begin = end + 1;
  }
  return lines;
}

// Both leave the output untouched when the calling thread is to be cancelled. They return before
// the cancellation strikes, so that nothing of a run is left on the stack that it unwinds.
int RunQuery(const std::string& command, const std::string& arguments, std::string& output) {
  CCall call(command, arguments);
  const bool collected = Perform(call, &CCall::Query);
  if (!CCancellation::Requested()) output = std::move(call.Output());
  return collected ? COLLECTED : FAILED;
}

int RunChange(const std::string& command, const std::string& arguments,
              std::vector<std::string>& lines) {
  CCall call(command, arguments);
  const bool collected = Perform(call, &CCall::Change);
  if (!CCancellation::Requested()) lines = SplitLines(call.Output());
  return collected ? COLLECTED : FAILED;
}

CProgramResult RunOwn(const CCommand& command) {
  const CRunLimits limits = CRunHistory::Instance().Limits();
  CRunBounds bounds;
  bounds.m_Linger = limits.m_LingerTimeout;
  bounds.m_MaxOutput = limits.m_MaxInventoryOutput;
  CRunResult run = RunOnce(command, bounds);
  CProgramResult result;
  if (run.m_End == ERunEnd::Exited) {
    result.m_Status = run.m_Code;
  } else {
    result.m_Failure = run.Collected() ? ExplainEnd(run, command) : Explain(run, command, bounds);
  }
  result.m_Output = std::move(run.m_Output);
  return result;
}

// Whether the calling thread may still run something. Throws on one that a cancellation has struck;
// in a destructor while its stack unwinds the call fails instead.
bool MayRun() {
  CCancellation::StrikeAgain();
  return !CCancellation::Struck();
}

}  // namespace

ICommandRunner::~ICommandRunner() = default;

int CSystem::ExecuteCommand(const std::string& command, const std::string& arguments,
                            std::string& output) {
  if (!MayRun()) return FAILED;
  if (ICommandRunner* const runner = s_Runner.load()) {
    return runner->Execute(command, arguments, output);
  }
  const int result = RunQuery(command, arguments, output);
  CCancellation::Deliver();
  return result;
}

int CSystem::ExecuteCommand(const std::string& command, const std::string& arguments,
                            std::vector<std::string>& lines) {
  if (!MayRun()) return FAILED;
  if (ICommandRunner* const runner = s_Runner.load()) {
    return runner->Execute(command, arguments, lines);
  }
  const int result = RunChange(command, arguments, lines);
  CCancellation::Deliver();
  return result;
}

std::string CProgramResult::Complaint() const {
  return m_Status < 0 ? m_Failure : m_Output.substr(0, m_Output.find_last_not_of("\r\n ") + 1);
}

CProgramResult CSystem::RunProgram(const std::vector<std::string>& words) {
  CProgramResult result;
  if (MayRun()) result = RunOwn({.m_Environment = {}, .m_Words = words, .m_JoinErrors = true});
  CCancellation::Deliver();
  return result;
}

void CSystem::GetModuleVersion(const std::string& name, std::string& version) {
  version = GetModuleVersion(name);
}

std::string CSystem::GetModuleVersion(const std::string& name) {
  if (!IsFileName(name)) return {};
  return ReadAttribute(SysfsRootPath() + "/module/" + name + "/version").value_or(std::string());
}

void CSystem::SetRunLimits(const CRunLimits& limits) {
  CRunHistory::Instance().SetLimits(limits);
}

CRunLimits CSystem::RunLimits() {
  return CRunHistory::Instance().Limits();
}

std::map<std::string, CRunStatistics> CSystem::RunStatistics() {
  return CRunHistory::Instance().Statistics();
}

void CSystem::SetErrorSink(CErrorSink sink) {
  TLXX::CErrorSink::Instance().Set(std::move(sink));
}

void CSystem::SetRunObserver(CRunObserver observer) {
  CObserver::Instance().Set(std::move(observer));
}

std::vector<std::string> CSystem::EndQueries() {
  return CRunningChildren::Instance().EndQueries();
}

ICommandRunner* CSystem::SetCommandRunner(ICommandRunner* runner) {
  return s_Runner.exchange(runner);
}

}  // namespace TLXX
