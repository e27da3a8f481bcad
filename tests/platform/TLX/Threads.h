#pragma once

#include <atomic>
#include <fstream>
#include <functional>
#include <string>
#include <string_view>
#include <thread>
#include <utility>

#include <sys/syscall.h>
#include <unistd.h>

#include <TLX/Delegates_and_Calls/Delegate.h>
#include <TLX/Misc/Clock.h>
#include <TLX/Threading/FastMutex.h>
#include <TLX/Threading/Thread.h>

// The tests do with locks what the analysis of locking is there to forbid; what it finds has tests
// of its own.
#if defined(__clang__)
#pragma clang diagnostic ignored "-Wthread-safety-analysis"
#endif

namespace tlxtest {

inline constexpr unsigned long HOUR = 3'600'000;

// A callable as the body of a CThread. Knows the system's number of the thread that runs it.
class Body : public TLX::Delegates_and_Calls::CDelegateTarget {
 public:
  explicit Body(std::function<void()> run) : run_(std::move(run)) {}

  TLX::Threading::CThread::CBody Delegate() { return {this, &Body::Run}; }

  // Waits until the thread runs and the system shows it asleep. The thread may be on its way to
  // where it is meant to sleep, so tests must hold in either case.
  void WaitUntilAsleep() const {
    while (thread_ == 0 || !Asleep()) std::this_thread::yield();
  }

  // How often the thread has gone to sleep so far, as the system counts it.
  long Sleeps() const {
    std::ifstream file(File("status"));
    constexpr std::string_view NAME = "voluntary_ctxt_switches:";
    for (std::string line; std::getline(file, line);)
      if (line.starts_with(NAME)) return std::stol(line.substr(NAME.size()));
    return -1;
  }

 private:
  void Run() {
    thread_ = static_cast<int>(syscall(SYS_gettid));
    run_();
  }

  std::string File(const char* name) const {
    return "/proc/self/task/" + std::to_string(thread_) + '/' + name;
  }

  // Waiting for a thread that has ended is pointless, so it counts as asleep.
  bool Asleep() const {
    std::ifstream file(File("stat"));
    std::string text;
    std::getline(file, text);
    const std::size_t place = text.rfind(") ");
    return place == std::string::npos || text[place + 2] == 'S';
  }

  const std::function<void()> run_;
  std::atomic<int> thread_ = 0;
};

// A CThread that runs a callable, waited for at the end.
class Running {
 public:
  explicit Running(std::function<void()> run)
      : body_(std::move(run)), thread_(body_.Delegate(), 0) {}
  ~Running() { Join(); }
  Running(const Running&) = delete;
  Running& operator=(const Running&) = delete;

  void WaitUntilAsleep() const { body_.WaitUntilAsleep(); }
  long Sleeps() const { return body_.Sleeps(); }
  unsigned int Join() { return thread_.Wait(TLX::Threading::WAIT_INFINITE); }
  bool Cancel() { return thread_.Native().Cancel(); }
  TLX::Threading::CThread& Thread() { return thread_; }

 private:
  Body body_;
  TLX::Threading::CThread thread_;
};

// What the callable returns when another thread runs it.
template <class Callable>
auto OnOtherThread(Callable callable) {
  decltype(callable()) result{};
  std::thread([&] { result = callable(); }).join();
  return result;
}

// Whether another thread gets the mutex at once; gives it back.
inline bool FreeForOthers(TLX::Threading::Native_OS::CFastMutex& mutex) {
  return OnOtherThread([&] {
    if (mutex.Wait(0) != 1) return false;
    mutex.Release();
    return true;
  });
}

// Sets the time scale for a scope.
class TimeScale {
 public:
  explicit TimeScale(double scale) { TLX::Misc::CClock::SetTimeScale(scale); }
  ~TimeScale() { TLX::Misc::CClock::SetTimeScale(1); }
  TimeScale(const TimeScale&) = delete;
  TimeScale& operator=(const TimeScale&) = delete;
};

// Says that a scope was left, by whatever way.
class OnLeave {
 public:
  explicit OnLeave(std::function<void()> call) : call_(std::move(call)) {}
  ~OnLeave() { call_(); }
  OnLeave(const OnLeave&) = delete;
  OnLeave& operator=(const OnLeave&) = delete;

 private:
  const std::function<void()> call_;
};

}  // namespace tlxtest
