#include "Simulation.h"

#include "Child.h"
#include "Host.h"

#include <array>
#include <cstdlib>
#include <cstring>
#include <vector>

#include <fcntl.h>
#include <fmt/format.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/inotify.h>
#include <unistd.h>

#include <TLXX/ConfigManager.h>

namespace vxhost {

namespace {

// What the stand-in says of itself first, and no other tool.
constexpr std::string_view IDENTITY = "isdct simulator ";

std::filesystem::path MakeDirectory() {
  std::string name = (std::filesystem::temp_directory_path() / "vxhost-XXXXXX").string();
  if (::mkdtemp(name.data()) == nullptr) {
    throw Failure(EXIT_FAILED, fmt::format("no directory for the simulated drives: {}: {}", name,
                                           std::strerror(errno)));
  }
  return name;
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

Simulation::Simulation(const std::filesystem::path& home, const std::filesystem::path& fleet)
    : tool_(CheckedTool(home)), fleet_(std::filesystem::absolute(fleet)) {
  directory_ = MakeDirectory();
  std::filesystem::create_directory(directory_ / "sys");
  std::filesystem::create_directory(directory_ / "state");
  // Watched before the first reading, so that no edit falls between the two.
  watch_ = ::inotify_init1(IN_CLOEXEC | IN_NONBLOCK);
  wake_ = ::eventfd(0, EFD_CLOEXEC);
  ::inotify_add_watch(watch_, fleet_.parent_path().c_str(), IN_CLOSE_WRITE | IN_MOVED_TO);
  std::string problem;
  if (!Lay(problem)) {
    StopFollowing();
    Remove();
    throw Failure(EXIT_FAILED, problem);
  }
  ::setenv("VXSIM_FLEET", fleet_.c_str(), 1);
  ::setenv("VXSIM_STATE", (directory_ / "state").c_str(), 1);
  TLXX::CConfigManager::SetSysfsRoot((directory_ / "sys").string());
  follower_ = std::thread([this] { Follow(); });
}

Simulation::~Simulation() {
  StopFollowing();
  Remove();
}

std::string Simulation::CheckedTool(const std::filesystem::path& home) {
  const std::string tool = (home / "bin" / "isdct").string();
  const ChildResult identity = RunChild({tool, "simulator", "identify"});
  if (identity.m_Status == 0 && identity.m_Output.starts_with(IDENTITY)) return tool;
  throw Failure(EXIT_FAILED,
                fmt::format("simulated drives need the simulator, and {} is not it", tool));
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

void Simulation::Remove() {
  const std::lock_guard lock(mutex_);
  removed_ = true;
  std::error_code error;
  std::filesystem::remove_all(directory_, error);
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
    if (changed && !Lay(problem)) Say(problem);
  }
}

bool Simulation::Lay(std::string& problem) {
  const std::lock_guard lock(mutex_);
  if (removed_) return true;
  const ChildResult result = RunChild({tool_, "simulator", "sysfs", "--fleet", fleet_.string(),
                                       "--root", (directory_ / "sys").string()});
  if (result.m_Status == 0) return true;
  problem = fmt::format("fleet {}: {}", fleet_.string(), WithoutLineEnd(result.m_Output));
  return false;
}

}  // namespace vxhost
