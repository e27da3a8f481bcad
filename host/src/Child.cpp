#include "Child.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <mutex>

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

extern char** environ;  // NOLINT: the C library's own name

namespace vxhost {

namespace {

// What a child starts with: its output into the pipe, nothing else inherited, no signal blocked or
// ignored of those that the host blocks or ignores for itself.
class SpawnSetup {
 public:
  explicit SpawnSetup(int pipe) {
    posix_spawn_file_actions_init(&actions_);
    posix_spawn_file_actions_addopen(&actions_, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_adddup2(&actions_, pipe, STDOUT_FILENO);
    posix_spawn_file_actions_adddup2(&actions_, pipe, STDERR_FILENO);
    sigset_t none;
    sigset_t ignored;
    sigemptyset(&none);
    sigemptyset(&ignored);
    sigaddset(&ignored, SIGPIPE);
    sigaddset(&ignored, SIGXFSZ);
    posix_spawnattr_init(&attributes_);
    posix_spawnattr_setflags(&attributes_, POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);
    posix_spawnattr_setsigmask(&attributes_, &none);
    posix_spawnattr_setsigdefault(&attributes_, &ignored);
  }
  ~SpawnSetup() {
    posix_spawnattr_destroy(&attributes_);
    posix_spawn_file_actions_destroy(&actions_);
  }
  SpawnSetup(const SpawnSetup&) = delete;
  SpawnSetup& operator=(const SpawnSetup&) = delete;

  int Spawn(pid_t& child, char* const* words) const {
    return posix_spawn(&child, words[0], &actions_, &attributes_, words, environ);
  }

 private:
  posix_spawn_file_actions_t actions_{};
  posix_spawnattr_t attributes_{};
};

// The children that run.
class Children {
 public:
  // Starts one, unless all have been ended. Returns an error number.
  int Start(const SpawnSetup& setup, char* const* words, pid_t& child) {
    const std::lock_guard lock(mutex_);
    if (ended_) return ECANCELED;
    const int error = setup.Spawn(child, words);
    if (error == 0) running_.push_back(child);
    return error;
  }

  // Waits for its end; its exit status or -1.
  int Reap(pid_t child) {
    siginfo_t info{};
    while (::waitid(P_PID, static_cast<id_t>(child), &info, WEXITED | WNOWAIT) != 0) {
      if (errno != EINTR) break;
    }
    // Its number may be given anew as soon as it is reaped, so that nobody may kill it any more.
    const std::lock_guard lock(mutex_);
    running_.erase(std::remove(running_.begin(), running_.end(), child), running_.end());
    int status = 0;
    return ::waitpid(child, &status, 0) == child && WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  }

  void End() {
    const std::lock_guard lock(mutex_);
    ended_ = true;
    for (const pid_t child : running_) ::kill(child, SIGKILL);
  }

 private:
  std::mutex mutex_;
  std::vector<pid_t> running_;  // guarded by mutex_
  bool ended_ = false;          // guarded by mutex_
};

// Never destroyed: a signal may end the process while it ends by itself.
Children& AllChildren() {
  static auto* const children = new Children;
  return *children;
}

std::string ReadAll(int descriptor) {
  std::string text;
  std::array<char, 4096> part{};
  ssize_t got = 0;
  while ((got = ::read(descriptor, part.data(), part.size())) > 0 || (got < 0 && errno == EINTR)) {
    if (got > 0) text.append(part.data(), static_cast<std::size_t>(got));
  }
  return text;
}

}  // namespace

std::string WithoutLineEnd(std::string text) {
  text.erase(text.find_last_not_of("\r\n ") + 1);
  return text;
}

ChildResult RunChild(const std::vector<std::string>& words) {
  std::array<int, 2> pipe{};
  if (::pipe2(pipe.data(), O_CLOEXEC) != 0) return {-1, std::strerror(errno)};
  std::vector<char*> arguments;
  arguments.reserve(words.size() + 1);
  for (const std::string& word : words) arguments.push_back(const_cast<char*>(word.c_str()));
  arguments.push_back(nullptr);
  pid_t child = 0;
  const int error = AllChildren().Start(SpawnSetup(pipe[1]), arguments.data(), child);
  ::close(pipe[1]);
  ChildResult result;
  if (error != 0) {
    result.m_Output = std::strerror(error);
  } else {
    result.m_Output = ReadAll(pipe[0]);
    result.m_Status = AllChildren().Reap(child);
  }
  ::close(pipe[0]);
  return result;
}

void EndChildren() {
  AllChildren().End();
}

}  // namespace vxhost
