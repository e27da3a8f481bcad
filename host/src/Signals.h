#pragma once

#include <functional>
#include <mutex>
#include <thread>

namespace vxhost {

// Takes SIGINT, SIGTERM, SIGHUP and SIGUSR1 off the process and hands them to a function, on a
// thread of its own, so that the process can tidy up. Programs that are run later have the signals
// as usual. One per process.
class SignalWatch {
 public:
  SignalWatch();
  ~SignalWatch();  // the signals are as they were
  SignalWatch(const SignalWatch&) = delete;
  SignalWatch& operator=(const SignalWatch&) = delete;

  // What a signal does from now on. Without a function: the clean-up, then the signal's own effect.
  void SetAction(std::function<void(int signal)> action);

  // What is done before a signal ends the process.
  void SetCleanUp(std::function<void()> cleanUp);

  // Does the clean-up and lets the signal end the process.
  [[noreturn]] void EndBy(int signal);

 private:
  void Watch();

  std::mutex mutex_;
  std::function<void(int)> action_;
  std::function<void()> cleanUp_;
  std::thread thread_;
};

}  // namespace vxhost
