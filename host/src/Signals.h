#pragma once

#include "WakeEvent.h"

#include <atomic>
#include <csignal>
#include <functional>
#include <mutex>
#include <thread>

namespace vxhost {

// Takes SIGINT, SIGTERM, SIGHUP and SIGUSR1 off the process and hands them to a function, on a
// thread of its own, so that the process can tidy up. They are blocked in every thread that starts
// while it lives, so that no call is interrupted and none has to be for a signal to be seen. What
// was ignored from the start (nohup) stays ignored. One per process.
class SignalWatch {
 public:
  SignalWatch();   // throws std::system_error [before other threads start]
  ~SignalWatch();  // the calling thread's mask is as it was; SIGUSR1 is ignored
  SignalWatch(const SignalWatch&) = delete;
  SignalWatch& operator=(const SignalWatch&) = delete;

  // What a signal does from now on. Without a function: the clean-up, then the signal's own effect;
  // SIGUSR1, which is a question and no order to end, is dropped.
  // Returns when an earlier function that is at work has returned; not to be called by one.
  void SetAction(std::function<void(int signal)> action);

  // What is done before a signal ends the process. Does not return while the earlier one is at
  // work, which is until the process has ended.
  void SetCleanUp(std::function<void()> cleanUp);

  // Ends the programs that the runner runs, does the clean-up and lets the signal end the process.
  // Commands that change drives go on, which is said. [any thread]
  [[noreturn]] void EndBy(int signal);

 private:
  void Watch();

  sigset_t before_{};
  int signals_ = -1;
  WakeEvent end_;
  std::mutex actionMutex_;  // held while the action runs
  std::function<void(int)> action_;
  std::mutex cleanUpMutex_;  // held while the clean-up runs
  std::function<void()> cleanUp_;
  std::thread thread_;
};

// The clean-up of what an object has made, for as long as that object lives.
class CleanUpOnSignal {
 public:
  CleanUpOnSignal(SignalWatch& signals, std::function<void()> cleanUp) : signals_(signals) {
    signals_.SetCleanUp(std::move(cleanUp));
  }
  ~CleanUpOnSignal() { signals_.SetCleanUp(nullptr); }
  CleanUpOnSignal(const CleanUpOnSignal&) = delete;
  CleanUpOnSignal& operator=(const CleanUpOnSignal&) = delete;

 private:
  SignalWatch& signals_;
};

// What a command that ends in order does with signals while it lives: the first one asks it to
// stop, the second ends the process at once.
class StopRequest {
 public:
  // onUser: what SIGUSR1 does; without it, nothing. onStop: what is done when the first of the
  // others comes. Both run on the signals' thread.
  explicit StopRequest(SignalWatch& signals, std::function<void()> onUser = nullptr,
                       std::function<void()> onStop = nullptr);
  ~StopRequest();
  StopRequest(const StopRequest&) = delete;
  StopRequest& operator=(const StopRequest&) = delete;

  // Becomes readable with the request and stays so; for poll. [any thread]
  [[nodiscard]] int Descriptor() const { return request_.Descriptor(); }

  // The signal that has asked, or 0. [any thread]
  [[nodiscard]] int Signal() const { return signal_; }

 private:
  void OnSignal(int signal);

  SignalWatch& signals_;
  const std::function<void()> onUser_;
  const std::function<void()> onStop_;
  WakeEvent request_;
  std::atomic<int> signal_ = 0;
};

}  // namespace vxhost
