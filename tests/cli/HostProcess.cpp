#include "HostProcess.h"

#include "support/Files.h"

#include <array>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <stdexcept>
#include <thread>

#include <fcntl.h>
#include <poll.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

namespace vxtest {

namespace {

constexpr int PATIENCE = 30'000;  // milliseconds

std::filesystem::path NewErrorFile() {
  std::string name = (std::filesystem::temp_directory_path() / "vxhost-test-XXXXXX").string();
  const int descriptor = ::mkstemp(name.data());
  if (descriptor < 0) throw std::runtime_error("no temporary file");
  ::close(descriptor);
  return name;
}

std::array<int, 2> Pipe() {
  std::array<int, 2> ends{};
  if (::pipe2(ends.data(), O_CLOEXEC) != 0) throw std::runtime_error("no pipe");
  return ends;
}

[[noreturn]] void Become(const std::filesystem::path& program,
                         const std::vector<std::string>& words) {
  std::vector<char*> arguments = {const_cast<char*>(program.c_str())};
  for (const std::string& word : words) arguments.push_back(const_cast<char*>(word.c_str()));
  arguments.push_back(nullptr);
  ::execv(program.c_str(), arguments.data());
  ::_exit(127);
}

}  // namespace

std::filesystem::path HostProcess::Tree() {
  return VXTEST_TREE;
}
std::filesystem::path HostProcess::Program() {
  return Tree() / "vxhost";
}

HostProcess::HostProcess(const std::vector<std::string>& words, const Environment& environment,
                         const std::filesystem::path& program)
    : errors_(NewErrorFile()) {
  const auto input = Pipe();
  const auto output = Pipe();
  child_ = ::fork();
  if (child_ == 0) {
    ::dup2(input[0], STDIN_FILENO);
    ::dup2(output[1], STDOUT_FILENO);
    ::dup2(::open(errors_.c_str(), O_WRONLY | O_APPEND), STDERR_FILENO);
    for (const auto& [name, value] : environment) ::setenv(name.c_str(), value.c_str(), 1);
    Become(program, words);
  }
  ::close(input[0]);
  ::close(output[1]);
  input_ = input[1];
  output_ = output[0];
}

HostProcess::~HostProcess() {
  if (child_ > 0) {
    ::kill(child_, SIGKILL);
    ::waitpid(child_, nullptr, 0);
  }
  EndInput();
  CloseOutput();
  std::error_code error;
  std::filesystem::remove(errors_, error);
}

void HostProcess::Send(const std::string& text) {
  std::size_t done = 0;
  while (done < text.size()) {
    const ssize_t written = ::write(input_, text.data() + done, text.size() - done);
    if (written <= 0) throw std::runtime_error("the host reads no more");
    done += static_cast<std::size_t>(written);
  }
}

void HostProcess::EndInput() {
  if (input_ >= 0) ::close(input_);
  input_ = -1;
}

void HostProcess::CloseOutput() {
  if (output_ >= 0) ::close(output_);
  output_ = -1;
}

void HostProcess::Signal(int number) const {
  ::kill(child_, number);
}

bool HostProcess::Fill(int milliseconds) {
  pollfd waiting{output_, POLLIN, 0};
  if (output_ < 0 || ::poll(&waiting, 1, milliseconds) <= 0) return false;
  std::array<char, 65536> part{};
  const ssize_t got = ::read(output_, part.data(), part.size());
  if (got > 0) pending_.append(part.data(), static_cast<std::size_t>(got));
  if (got <= 0) CloseOutput();
  return got > 0;
}

std::string HostProcess::Line() {
  while (pending_.find('\n') == std::string::npos) {
    if (!Fill(PATIENCE)) return output_ < 0 ? "(end)" : "(nothing)";
  }
  const std::size_t end = pending_.find('\n');
  const std::string line = pending_.substr(0, end);
  pending_.erase(0, end + 1);
  return line;
}

bool HostProcess::EndsUnread() const {
  const int end = static_cast<int>(::syscall(SYS_pidfd_open, child_, 0));
  pollfd waiting{end, POLLIN, 0};
  const bool ended = end < 0 || ::poll(&waiting, 1, PATIENCE) != 0;
  ::close(end);
  return ended;
}

int HostProcess::Wait(std::string* rest) {
  while (Fill(PATIENCE)) {
  }
  if (rest != nullptr) *rest = pending_;
  // One that does not end is ended, so that the test fails instead of hanging.
  if (!EndsUnread()) ::kill(child_, SIGKILL);
  int status = 0;
  if (::waitpid(child_, &status, 0) != child_) return -1000;
  child_ = -1;
  return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
}

std::string HostProcess::Errors() const {
  return ReadFile(errors_);
}

bool HostProcess::WaitForError(const std::string& text) const {
  for (int waited = 0; waited < PATIENCE; waited += 10) {
    if (Errors().find(text) != std::string::npos) return true;
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  return false;
}

HostRun RunHost(const std::vector<std::string>& words, const std::string& input,
                const HostProcess::Environment& environment, const std::filesystem::path& program) {
  HostProcess host(words, environment, program);
  // A thread of its own: the host may answer before it has read all.
  std::thread writer([&] {
    try {
      host.Send(input);
    } catch (const std::runtime_error&) {
      // It has ended without reading all; what it answered shows.
    }
    host.EndInput();
  });
  HostRun run;
  run.status = host.Wait(&run.out);
  writer.join();
  run.err = host.Errors();
  return run;
}

}  // namespace vxtest
