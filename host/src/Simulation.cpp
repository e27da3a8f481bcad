#include "Simulation.h"

#include "Failure.h"
#include "JsonMemory.h"
#include "Output.h"

#include <array>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>
#include <sstream>
#include <system_error>
#include <vector>

#include <fcntl.h>
#include <fmt/format.h>
#include <poll.h>
#include <rapidjson/memorystream.h>
#include <rapidjson/reader.h>
#include <sys/eventfd.h>
#include <sys/inotify.h>
#include <unistd.h>

#include <TLX/Misc/Application.h>
#include <TLXX/ConfigManager.h>
#include <TLXX/System.h>

namespace vxhost {

namespace {

// What the stand-in says of itself, and so what its file holds; no other tool has these words.
constexpr std::string_view IDENTITY = "isdct simulator ";

// How long a fleet file that is no JSON may be one that is being written, and how often to look.
constexpr std::chrono::milliseconds PATIENCE{500};
constexpr std::chrono::milliseconds LOOK_AGAIN{50};

// How long the removal waits for the thread that is changing the tree. The programs that it runs
// have been killed by then, so that only a fleet read from a pipe can keep it longer, and reading
// leaves nothing behind.
constexpr std::chrono::milliseconds LAYER_PATIENCE{2'000};
constexpr std::chrono::milliseconds ASKING_INTERVAL{5};

std::filesystem::path TemporaryDirectory() {
  const char* const given = std::getenv("TMPDIR");
  return given != nullptr && *given != '\0' ? given : "/tmp";
}

[[noreturn]] void RefuseDirectory(const std::error_code& reason) {
  throw Failure(EXIT_FAILED,
                fmt::format("the simulated drives need room in {}: {}; name another directory in "
                            "the environment variable TMPDIR",
                            TemporaryDirectory().string(), reason.message()));
}

bool HoldsIdentity(const std::string& tool) {
  std::ifstream file(tool, std::ios::binary);
  const std::string content{std::istreambuf_iterator<char>(file), {}};
  return content.find(IDENTITY) != std::string::npos;
}

// The directory that plug-ins are told is the host's: the tool is bin/isdct below it.
std::filesystem::path HomeOfStandIn(const std::filesystem::path& home) {
  std::error_code error;
  const bool own = std::filesystem::exists(home / "simulator" / "bin" / "isdct", error);
  return own ? home / "simulator" : home;
}

bool ReadFile(const std::filesystem::path& path, std::string& text, std::string& problem) {
  errno = 0;
  std::ifstream file(path, std::ios::binary);
  std::ostringstream content;
  if (file && content << file.rdbuf()) {
    text = content.str();
    return true;
  }
  std::error_code error;
  problem = std::filesystem::is_directory(path, error) ? "a directory, not a fleet file"
            : errno != 0                               ? std::strerror(errno)
                                                       : "empty";
  return false;
}

// Whether the text is JSON; one that is not may be half written.
bool IsJson(const std::string& text) {
  rapidjson::GenericReader<rapidjson::UTF8<>, rapidjson::UTF8<>, JsonMemory> reader;
  rapidjson::BaseReaderHandler<> nothing;
  rapidjson::MemoryStream bytes(text.data(), text.size());
  return !reader.Parse<rapidjson::kParseIterativeFlag>(bytes, nothing).IsError();
}

// The file's text. One that is no JSON is looked at again for a while: editors write in place.
bool ReadFleet(const std::filesystem::path& path, std::string& text, std::string& problem) {
  for (auto waited = std::chrono::milliseconds(0);; waited += LOOK_AGAIN) {
    const bool read = ReadFile(path, text, problem);
    if ((read && IsJson(text)) || waited >= PATIENCE) return read;
    std::this_thread::sleep_for(LOOK_AGAIN);
  }
}

// Written aside and renamed, so that a reader finds the old text or the new one.
bool Publish(const std::filesystem::path& path, const std::string& text, std::string& problem) {
  const std::filesystem::path aside = path.string() + ".new";
  std::ofstream file(aside, std::ios::binary);
  file << text;
  file.close();
  std::error_code error;
  if (file) std::filesystem::rename(aside, path, error);
  if (file && !error) return true;
  problem = fmt::format("{} cannot be written: {}", aside.string(),
                        error ? error.message() : std::strerror(errno));
  return false;
}

// Whether one of the events in the buffer is about the file.
bool Names(const char* buffer, std::size_t length, const std::string& file) {
  std::size_t at = 0;
  bool named = false;
  while (at + sizeof(inotify_event) <= length) {
    inotify_event event{};
    std::memcpy(&event, buffer + at, sizeof event);
    const char* const name = buffer + at + sizeof event;
    named = named || (event.mask & IN_Q_OVERFLOW) != 0 ||
            (event.len > 0 && file == std::string(name, ::strnlen(name, event.len)));
    at += sizeof event + event.len;
  }
  return named;
}

}  // namespace

Simulation::Simulation(const std::filesystem::path& home, const std::filesystem::path& fleet,
                       SignalWatch& signals)
    : tool_(CheckedTool(home)),
      fleet_(std::filesystem::absolute(fleet)),
      onSignal_(signals, [this] { Remove(); }) {
  try {
    Lay();
  } catch (...) {
    StopFollowing();
    Remove();
    throw;
  }
  Enter();
  follower_ = std::thread([this] { Follow(); });
}

Simulation::~Simulation() {
  StopFollowing();
  Remove();
  TLX::Misc::CTlxApplication::SetProcessPath("");
}

void Simulation::Lay() {
  MakeDirectories();
  snapshot_ = directory_ / "fleet" / fleet_.filename();
  StartFollowing();
  std::string problem;
  if (!Update(problem)) throw Failure(EXIT_FAILED, problem);
}

void Simulation::MakeDirectories() {
  const std::lock_guard lock(mutex_);
  if (removed_) throw Failure(EXIT_FAILED, "ended by a signal");
  std::string name = (TemporaryDirectory() / "vxhost-XXXXXX").string();
  if (::mkdtemp(name.data()) == nullptr) RefuseDirectory({errno, std::generic_category()});
  directory_ = name;
  for (const char* const part : {"sys", "state", "fleet"}) {
    std::error_code error;
    std::filesystem::create_directory(directory_ / part, error);
    if (error) RefuseDirectory(error);
  }
}

// What the platform, the plug-ins and the stand-in look at from now on.
void Simulation::Enter() {
  ::setenv("VXSIM_FLEET", snapshot_.c_str(), 1);
  ::setenv("VXSIM_STATE", (directory_ / "state").c_str(), 1);
  TLXX::CConfigManager::SetSysfsRoot((directory_ / "sys").string());
  const std::filesystem::path home = std::filesystem::path(tool_).parent_path().parent_path();
  TLX::Misc::CTlxApplication::SetProcessPath((home / "vxhost").string());
}

std::string Simulation::CheckedTool(const std::filesystem::path& home) {
  std::string tool = (HomeOfStandIn(home) / "bin" / "isdct").string();
  // Its file first: not even a question is put to a tool that may be the vendor's.
  if (HoldsIdentity(tool)) {
    const auto identity = TLXX::CSystem::RunProgram({tool, "simulator", "identify"});
    if (identity.m_Status == 0 && identity.m_Output.starts_with(IDENTITY)) return tool;
  }
  throw Failure(EXIT_FAILED,
                fmt::format("simulated drives need the simulator, and {} is not it", tool));
}

// Watched before the first reading, so that no edit falls between the two.
void Simulation::StartFollowing() {
  watch_ = ::inotify_init1(IN_CLOEXEC | IN_NONBLOCK);
  wake_ = ::eventfd(0, EFD_CLOEXEC);
  const std::filesystem::path directory = fleet_.parent_path();
  if (::inotify_add_watch(watch_, directory.c_str(), IN_CLOSE_WRITE | IN_MOVED_TO) >= 0) return;
  const int reason = errno;
  std::error_code error;
  if (!std::filesystem::exists(fleet_, error)) return;  // said when it is read
  Say(fmt::format("changes of the fleet {} will not be seen: {}: {}", fleet_.string(),
                  directory.string(), std::strerror(reason)));
}

void Simulation::StopFollowing() {
  if (follower_.joinable()) {
    const std::uint64_t one = 1;
    const ssize_t written = ::write(wake_, &one, sizeof one);
    static_cast<void>(written);
    follower_.join();
  }
  for (int* const descriptor : {&watch_, &wake_}) {
    if (*descriptor >= 0) ::close(*descriptor);
    *descriptor = -1;
  }
}

// Removes the tree; it is not laid again. [any thread]
void Simulation::Remove() {
  removed_ = true;
  std::unique_lock lock(mutex_, std::try_to_lock);
  for (auto waited = std::chrono::milliseconds(0); !lock && waited < LAYER_PATIENCE;
       waited += ASKING_INTERVAL) {
    std::this_thread::sleep_for(ASKING_INTERVAL);
    lock.try_lock();
  }
  if (directory_.empty()) return;
  // Out of the way first: a run of the stand-in that has lost its host finds nothing to write to.
  const std::filesystem::path aside = directory_.string() + ".removed";
  std::error_code error;
  std::filesystem::rename(directory_, aside, error);
  std::filesystem::remove_all(error ? directory_ : aside, error);
}

void Simulation::Follow() {
  std::array<pollfd, 2> waits = {{{watch_, POLLIN, 0}, {wake_, POLLIN, 0}}};
  alignas(inotify_event) std::array<char, 8192> buffer{};
  while (::poll(waits.data(), waits.size(), -1) >= 0 || errno == EINTR) {
    if ((waits[1].revents & POLLIN) != 0) return;
    bool changed = false;
    ssize_t got = 0;
    while ((got = ::read(watch_, buffer.data(), buffer.size())) > 0) {
      changed |= Names(buffer.data(), static_cast<std::size_t>(got), fleet_.filename().string());
    }
    std::string problem;
    if (changed && !Update(problem)) Say(problem + "; the simulated drives stay as they were");
  }
}

// Takes over what the fleet file says now.
bool Simulation::Update(std::string& problem) {
  const std::lock_guard lock(mutex_);
  if (removed_) return true;
  std::string text;
  if (!ReadFleet(fleet_, text, problem)) {
    problem = fmt::format("fleet {}: {}", fleet_.string(), problem);
    return false;
  }
  return text == published_ || TakeOver(text, problem);
}

// Drives that come are in sysfs before the stand-in lists them; drives that leave stay there until
// it has ceased to. A step in between that cannot be laid is done without.
bool Simulation::TakeOver(const std::string& text, std::string& problem) {
  if (!RunOn(text, {"check"}, problem)) return false;
  const std::string root = (directory_ / "sys").string();
  const std::vector<std::string> lay = {"sysfs", "--root", root, "--fleet"};
  std::string unused;
  const bool stepwise =
      !published_.empty() &&
      RunOn(text, {"sysfs", "--root", root, "--keep", snapshot_.string(), "--fleet"}, unused);
  if (!stepwise && !RunOn(text, lay, problem)) return false;
  if (!Publish(snapshot_, text, problem)) return false;
  published_ = text;
  return !stepwise || RunOn(text, lay, problem);
}

// Runs a command of the stand-in on a fleet that is not published, named last.
bool Simulation::RunOn(const std::string& text, std::vector<std::string> command,
                       std::string& problem) {
  const std::string draft = (directory_ / "draft.json").string();
  if (!Publish(draft, text, problem)) return false;
  command.insert(command.begin(), {tool_, "simulator"});
  command.push_back(draft);
  const TLXX::CProgramResult result = TLXX::CSystem::RunProgram(command);
  if (result.m_Status == 0) return true;
  problem = result.Complaint();
  if (const auto at = problem.find(draft); at != std::string::npos) {
    problem.replace(at, draft.size(), fleet_.string());
  }
  problem = fmt::format("fleet {}: {}", fleet_.string(), problem);
  return false;
}

}  // namespace vxhost
