#include "Signals.h"

#include "Output.h"

#include <array>
#include <cerrno>
#include <system_error>

#include <poll.h>
#include <sys/signalfd.h>
#include <unistd.h>

#include <TLXX/System.h>

namespace vxhost {

namespace {

constexpr std::array SIGNALS = {SIGINT, SIGTERM, SIGHUP, SIGUSR1};

// Without those that are ignored: a blocked signal is kept, although it would be ignored.
sigset_t Taken() {
  sigset_t taken{};
  sigemptyset(&taken);
  for (const int signal : SIGNALS) {
    struct sigaction action {};
    ::sigaction(signal, nullptr, &action);
    if (action.sa_handler != SIG_IGN) sigaddset(&taken, signal);
  }
  return taken;
}

int Checked(int descriptor, const char* what) {
  if (descriptor < 0) throw std::system_error(errno, std::generic_category(), what);
  return descriptor;
}

}  // namespace

SignalWatch::SignalWatch() {
  const sigset_t taken = Taken();
  signals_ = Checked(::signalfd(-1, &taken, SFD_CLOEXEC), "descriptor for signals");
  ::pthread_sigmask(SIG_BLOCK, &taken, &before_);
  thread_ = std::thread([this] { Watch(); });
}

SignalWatch::~SignalWatch() {
  end_.Set();
  thread_.join();
  std::signal(SIGUSR1, SIG_IGN);  // one that came too late to be answered is dropped as well
  ::pthread_sigmask(SIG_SETMASK, &before_, nullptr);
  ::close(signals_);
}

void SignalWatch::SetAction(std::function<void(int)> action) {
  const std::lock_guard lock(actionMutex_);
  action_ = std::move(action);
}

void SignalWatch::SetCleanUp(std::function<void()> cleanUp) {
  const std::lock_guard lock(cleanUpMutex_);
  cleanUp_ = std::move(cleanUp);
}

void SignalWatch::EndBy(int signal) {
  // Before the queries end: whoever waits for one and then ends by an earlier signal comes too
  // late.
  const std::lock_guard lock(cleanUpMutex_);
  for (const std::string& command : TLXX::CSystem::EndQueries()) {
    SayOrDrop("this goes on, since it changes a drive: " + command);
  }
  if (cleanUp_) cleanUp_();
  std::signal(signal, SIG_DFL);
  sigset_t own{};
  sigemptyset(&own);
  sigaddset(&own, signal);
  ::pthread_sigmask(SIG_UNBLOCK, &own, nullptr);
  std::raise(signal);
  ::_exit(128 + signal);
}

void SignalWatch::Watch() {
  std::array<pollfd, 2> waits = {{{signals_, POLLIN, 0}, {end_.Descriptor(), POLLIN, 0}}};
  while (::poll(waits.data(), waits.size(), -1) >= 0 || errno == EINTR) {
    if ((waits[1].revents & POLLIN) != 0) return;
    signalfd_siginfo info{};
    if ((waits[0].revents & POLLIN) == 0 || ::read(signals_, &info, sizeof info) != sizeof info) {
      continue;
    }
    const auto signal = static_cast<int>(info.ssi_signo);
    const std::lock_guard lock(actionMutex_);
    if (action_) {
      action_(signal);
    } else if (signal != SIGUSR1) {
      EndBy(signal);
    }
  }
}

StopRequest::StopRequest(SignalWatch& signals, std::function<void()> onUser,
                         std::function<void()> onStop)
    : signals_(signals), onUser_(std::move(onUser)), onStop_(std::move(onStop)) {
  signals_.SetAction([this](int signal) { OnSignal(signal); });
}

StopRequest::~StopRequest() {
  signals_.SetAction(nullptr);
}

void StopRequest::OnSignal(int signal) {
  if (signal == SIGUSR1) {
    if (onUser_) onUser_();
    return;
  }
  if (signal_ != 0) signals_.EndBy(signal);
  signal_ = signal;
  request_.Set();
  if (onStop_) onStop_();
}

}  // namespace vxhost
