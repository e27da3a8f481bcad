#include "Signals.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <system_error>

#include <fcntl.h>
#include <unistd.h>

namespace vxhost {

namespace {

constexpr std::array SIGNALS = {SIGINT, SIGTERM, SIGHUP, SIGUSR1};

// The ends of the pipe that the handler writes into; a handler can reach nothing else.
std::array<int, 2> g_pipe = {-1, -1};
std::array<struct sigaction, SIGNALS.size()> g_before;

extern "C" void OnSignal(int number) {
  const int kept = errno;
  const auto byte = static_cast<unsigned char>(number);
  // A full pipe means that many are waiting already.
  const ssize_t written = ::write(g_pipe[1], &byte, 1);
  static_cast<void>(written);
  errno = kept;
}

}  // namespace

SignalWatch::SignalWatch() {
  if (::pipe2(g_pipe.data(), O_CLOEXEC) != 0) {
    throw std::system_error(errno, std::generic_category(), "pipe for signals");
  }
  ::fcntl(g_pipe[1], F_SETFL, O_NONBLOCK);
  thread_ = std::thread([this] { Watch(); });
  struct sigaction action {};
  action.sa_handler = OnSignal;
  action.sa_flags = SA_RESTART;
  for (std::size_t i = 0; i < SIGNALS.size(); ++i) {
    ::sigaction(SIGNALS.at(i), nullptr, &g_before.at(i));
    // What was ignored from the start (nohup) stays ignored.
    if (g_before.at(i).sa_handler != SIG_IGN) ::sigaction(SIGNALS.at(i), &action, nullptr);
  }
}

SignalWatch::~SignalWatch() {
  for (std::size_t i = 0; i < SIGNALS.size(); ++i) {
    ::sigaction(SIGNALS.at(i), &g_before.at(i), nullptr);
  }
  ::close(g_pipe[1]);
  thread_.join();
  ::close(g_pipe[0]);
  g_pipe = {-1, -1};
}

void SignalWatch::SetAction(std::function<void(int)> action) {
  const std::lock_guard lock(mutex_);
  action_ = std::move(action);
}

void SignalWatch::SetCleanUp(std::function<void()> cleanUp) {
  const std::lock_guard lock(mutex_);
  cleanUp_ = std::move(cleanUp);
}

void SignalWatch::EndBy(int signal) {
  std::function<void()> cleanUp;
  {
    const std::lock_guard lock(mutex_);
    cleanUp = std::move(cleanUp_);
    cleanUp_ = nullptr;
  }
  if (cleanUp) cleanUp();
  std::signal(signal, SIG_DFL);
  std::raise(signal);
  ::_exit(128 + signal);
}

void SignalWatch::Watch() {
  unsigned char byte = 0;
  ssize_t got = 0;
  while ((got = ::read(g_pipe[0], &byte, 1)) == 1 || (got < 0 && errno == EINTR)) {
    if (got != 1) continue;
    std::function<void(int)> action;
    {
      const std::lock_guard lock(mutex_);
      action = action_;
    }
    if (!action) EndBy(byte);
    action(byte);
  }
}

}  // namespace vxhost
