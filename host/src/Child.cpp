#include "Child.h"

#include <array>
#include <cerrno>
#include <cstring>

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

extern char** environ;  // NOLINT: the C library's own name

namespace vxhost {

namespace {

// What a child starts with: its output into the pipe, nothing else inherited.
class SpawnActions {
 public:
  explicit SpawnActions(int pipe) {
    posix_spawn_file_actions_init(&actions_);
    posix_spawn_file_actions_addopen(&actions_, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_adddup2(&actions_, pipe, STDOUT_FILENO);
    posix_spawn_file_actions_adddup2(&actions_, pipe, STDERR_FILENO);
  }
  ~SpawnActions() { posix_spawn_file_actions_destroy(&actions_); }
  SpawnActions(const SpawnActions&) = delete;
  SpawnActions& operator=(const SpawnActions&) = delete;
  const posix_spawn_file_actions_t* Get() const { return &actions_; }

 private:
  posix_spawn_file_actions_t actions_{};
};

std::string ReadAll(int descriptor) {
  std::string text;
  std::array<char, 4096> part{};
  ssize_t got = 0;
  while ((got = ::read(descriptor, part.data(), part.size())) > 0 || (got < 0 && errno == EINTR)) {
    if (got > 0) text.append(part.data(), static_cast<std::size_t>(got));
  }
  return text;
}

int Reap(pid_t child) {
  int status = 0;
  while (::waitpid(child, &status, 0) < 0) {
    if (errno != EINTR) return -1;
  }
  return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
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
  const int error = posix_spawn(&child, words.front().c_str(), SpawnActions(pipe[1]).Get(), nullptr,
                                arguments.data(), environ);
  ::close(pipe[1]);
  ChildResult result;
  if (error != 0) {
    result.m_Output = std::strerror(error);
  } else {
    result.m_Output = ReadAll(pipe[0]);
    result.m_Status = Reap(child);
  }
  ::close(pipe[0]);
  return result;
}

}  // namespace vxhost
