#include "Threads.h"
#include "support/Scale.h"

#include <atomic>
#include <chrono>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <TLX/Internals/TraceSink.h>
#include <TLX/Internals/TraceStreamBuffer.h>
#include <TLX/Threading/Cancellation.h>
#include <TLX/Threading/Event.h>
#include <TLX/Threading/FastMutex.h>
#include <TLX/Threading/Waiter.h>

namespace {

std::atomic<bool> g_writesLate = false;

}  // namespace

// In the place of the C library's, for the library under test too.
extern "C" [[gnu::visibility("default")]] int eventfd_write(int descriptor, eventfd_t value) {
  if (g_writesLate) std::this_thread::sleep_for(std::chrono::milliseconds(20));
  return write(descriptor, &value, sizeof value) == sizeof value ? 0 : -1;
}

namespace {

using namespace TLX::Threading;
using Native_OS::CFastMutex;
using Native_OS::CFastMutexGuard;
using tlxtest::FreeForOthers;
using tlxtest::HOUR;
using tlxtest::OnLeave;
using tlxtest::Running;
using tlxtest::TimeScale;

// Returns without passing a point where a cancellation could strike.
void SpinUntilRequested() {
  while (!CCancellation::Requested()) std::this_thread::yield();
}

TEST(Cancellation, OnAThreadThatIsNoCThread_IsNothing) {
  EXPECT_FALSE(CCancellation::Requested());
  EXPECT_EQ(CCancellation::WakeDescriptor(), -1);
  CCancellation::Deliver();
}

TEST(Cancellation, Deliver_WithoutARequest_Returns) {
  bool passed = false;
  Running([&] {
    EXPECT_FALSE(CCancellation::Requested());
    CCancellation::Deliver();
    passed = true;
  }).Join();
  EXPECT_TRUE(passed);
}

TEST(Cancellation, DuringASleep_UnwindsTheBodyAndEndsTheThread) {
  std::atomic<bool> unwound = false;
  std::atomic<bool> passed = false;
  Running thread([&] {
    const OnLeave leave([&] { unwound = true; });
    TLX::Misc::Sleep(10 * HOUR);
    passed = true;
  });
  thread.WaitUntilAsleep();
  EXPECT_TRUE(thread.Cancel());
  EXPECT_EQ(thread.Thread().Wait(0), 1U);
  EXPECT_TRUE(unwound);
  EXPECT_FALSE(passed);
  EXPECT_TRUE(thread.Cancel());
}

TEST(Cancellation, OfAThreadThatHasEnded_ReturnsTrue) {
  Running thread([] {});
  thread.Join();
  EXPECT_TRUE(thread.Cancel());
  EXPECT_TRUE(thread.Cancel());
}

TEST(Cancellation, PassesThroughHandlersOfOrdinaryExceptions) {
  std::atomic<bool> caught = false;
  Running thread([&] {
    try {
      TLX::Misc::Sleep(10 * HOUR);
    } catch (const std::exception&) {
      caught = true;
    }
  });
  thread.WaitUntilAsleep();
  EXPECT_TRUE(thread.Cancel());
  EXPECT_FALSE(caught);
}

// A handler for everything in some library or host may not know of cancellation: it ends neither
// the process nor what the thread does afterwards.
TEST(Cancellation, SwallowedByAHandlerForEverything_LetsTheThreadGoOnUndisturbed) {
  CEvent event;
  event.Init(false, false);
  CEvent swallowed;
  swallowed.Init(false, false);
  bool requested = true;
  bool struck = false;
  unsigned int waited = 0;
  Running thread([&] {
    try {
      TLX::Misc::Sleep(10 * HOUR);
    } catch (...) {  // NOLINT(bugprone-empty-catch): the mistake that is tried here
    }
    requested = CCancellation::Requested();
    struck = CCancellation::Struck();
    swallowed.Set();
    CCancellation::Deliver();
    waited = event.Wait(WAIT_INFINITE);
  });
  thread.WaitUntilAsleep();
  std::thread canceller([&] { EXPECT_TRUE(thread.Cancel()); });
  EXPECT_EQ(swallowed.Wait(WAIT_INFINITE), 1U);
  event.Set();
  canceller.join();
  EXPECT_FALSE(requested);
  EXPECT_TRUE(struck);
  EXPECT_EQ(waited, 1U);
}

TEST(Cancellation, StrikeAgain_ThrowsOnAStruckThreadOnlyAndNotWhileItUnwinds) {
  CCancellation::StrikeAgain();
  EXPECT_FALSE(CCancellation::Struck());
  bool beforeReturned = false;
  bool unwindingReturned = false;
  int again = 0;
  Running thread([&] {
    CCancellation::StrikeAgain();
    beforeReturned = true;
    try {
      const OnLeave leave([&] {
        CCancellation::StrikeAgain();
        unwindingReturned = true;
      });
      TLX::Misc::Sleep(10 * HOUR);
    } catch (const CCancelled&) {
      ++again;
    }
    for (int round = 0; round < 2; ++round) {
      try {
        CCancellation::StrikeAgain();
      } catch (const CCancelled&) {
        ++again;
      }
    }
    CCancellation::StrikeAgain();
    again = -1;
  });
  thread.WaitUntilAsleep();
  EXPECT_TRUE(thread.Cancel());
  EXPECT_TRUE(beforeReturned);
  EXPECT_TRUE(unwindingReturned);
  EXPECT_EQ(again, 3);
}

TEST(Cancellation, Guarded_ReportsWhatIsThrownAndGoesOn) {
  std::vector<std::string> reports;
  const auto report = [&](const char* what) { reports.emplace_back(what); };
  EXPECT_TRUE(Guarded([] {}, report));
  EXPECT_FALSE(Guarded([] { throw std::runtime_error("no way on"); }, report));
  EXPECT_FALSE(Guarded([] { throw 5; }, report));
  EXPECT_EQ(reports, (std::vector<std::string>{"no way on", "unknown exception"}));
}

TEST(Cancellation, PassesThroughGuarded) {
  std::atomic<bool> passed = false;
  std::atomic<bool> reported = false;
  Running thread([&] {
    Guarded([] { TLX::Misc::Sleep(10 * HOUR); }, [&](const char*) { reported = true; });
    passed = true;
  });
  thread.WaitUntilAsleep();
  EXPECT_TRUE(thread.Cancel());
  EXPECT_FALSE(passed);
  EXPECT_FALSE(reported);
}

TEST(Cancellation, IsReportedNowhere) {
  testing::internal::CaptureStderr();
  Running thread([] { TLX::Misc::Sleep(10 * HOUR); });
  thread.WaitUntilAsleep();
  EXPECT_TRUE(thread.Cancel());
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

TEST(Cancellation, DuringAWaitForAnEvent_LeavesTheEventToOthers) {
  CEvent event;
  event.Init(false, false);
  Running thread([&] { static_cast<void>(event.Wait(WAIT_INFINITE)); });
  thread.WaitUntilAsleep();
  EXPECT_TRUE(thread.Cancel());
  event.Set();
  EXPECT_EQ(event.Wait(0), 1U);
  EXPECT_EQ(event.Wait(0), WAIT_TIMED_OUT);
}

TEST(Cancellation, PendingWhenAWaitBegins_StrikesBeforeASetEventIsConsumed) {
  CEvent event;
  event.Init(true, false);
  std::atomic<bool> passed = false;
  Running thread([&] {
    SpinUntilRequested();
    static_cast<void>(event.Wait(WAIT_INFINITE));
    passed = true;
  });
  EXPECT_TRUE(thread.Cancel());
  EXPECT_FALSE(passed);
  EXPECT_EQ(event.Wait(0), 1U);
}

TEST(Cancellation, DuringAWaitForAll_ClearsNothing) {
  CEvent first;
  CEvent second;
  first.Init(true, false);
  second.Init(false, false);
  CWaiter waiter;
  waiter.Add(first);
  waiter.Add(second);
  Running thread([&] { static_cast<void>(waiter.Wait(WAIT_INFINITE, true)); });
  thread.WaitUntilAsleep();
  EXPECT_TRUE(thread.Cancel());
  EXPECT_EQ(first.Wait(0), 1U);
}

TEST(Cancellation, DuringAWaitForAMutex_LeavesTheQueue) {
  CFastMutex mutex;
  mutex.Init();
  ASSERT_EQ(mutex.Wait(0), 1U);
  std::atomic<bool> passed = false;
  Running cancelled([&] {
    static_cast<void>(mutex.Wait(WAIT_INFINITE) == 1);
    passed = true;
  });
  cancelled.WaitUntilAsleep();
  Running behind([&] { EXPECT_EQ(mutex.Wait(WAIT_INFINITE), 1U); });
  behind.WaitUntilAsleep();
  EXPECT_TRUE(cancelled.Cancel());
  EXPECT_FALSE(passed);
  mutex.Release();
  EXPECT_EQ(behind.Join(), 1U);
  EXPECT_TRUE(FreeForOthers(mutex));
}

TEST(Cancellation, DoesNotStrikeInAWaitForAFreeMutex) {
  CFastMutex mutex;
  mutex.Init();
  std::atomic<unsigned int> result = 99;
  Running thread([&] {
    SpinUntilRequested();
    result = mutex.Wait(WAIT_INFINITE);
    CCancellation::Deliver();
    result = 98;
  });
  EXPECT_TRUE(thread.Cancel());
  EXPECT_EQ(result, 1U);
  EXPECT_TRUE(FreeForOthers(mutex));
}

TEST(Cancellation, WakesAPollOnTheWakeDescriptor) {
  std::atomic<int> ready = 0;
  std::atomic<bool> requested = false;
  Running thread([&] {
    pollfd wake = {.fd = CCancellation::WakeDescriptor(), .events = POLLIN, .revents = 0};
    EXPECT_EQ(poll(&wake, 1, 0), 0);
    ready = poll(&wake, 1, -1);
    requested = CCancellation::Requested();
    CCancellation::Deliver();
    ready = -1;
  });
  thread.WaitUntilAsleep();
  EXPECT_TRUE(thread.Cancel());
  EXPECT_EQ(ready, 1);
  EXPECT_TRUE(requested);
}

// What destructors do while the stack unwinds must neither be cut short nor spin.
TEST(Cancellation, WhileTheStackUnwinds_IsSpentAndWaitsRunTheirTime) {
  CEvent event;
  event.Init(false, false);
  bool requested = true;
  int ready = -1;
  unsigned int waited = 0;
  unsigned long slept = 0;
  Running thread([&] {
    const OnLeave leave([&] {
      requested = CCancellation::Requested();
      pollfd wake = {.fd = CCancellation::WakeDescriptor(), .events = POLLIN, .revents = 0};
      ready = poll(&wake, 1, 0);
      waited = event.Wait(1);
      const unsigned long begin = TLX::Misc::now();
      TLX::Misc::Sleep(10);
      slept = TLX::Misc::now() - begin;
    });
    TLX::Misc::Sleep(10 * HOUR);
  });
  thread.WaitUntilAsleep();
  EXPECT_TRUE(thread.Cancel());
  EXPECT_FALSE(requested);
  EXPECT_EQ(ready, 0);
  EXPECT_EQ(waited, WAIT_TIMED_OUT);
  EXPECT_GE(slept, 10U);
}

// The thread sees the request before its canceller has written to the descriptor.
TEST(Cancellation, StruckAtOnce_LeavesTheWakeDescriptorQuiet) {
  int ready = -1;
  Running thread([&] {
    const OnLeave leave([&] {
      TLX::Misc::Sleep(50);
      pollfd wake = {.fd = CCancellation::WakeDescriptor(), .events = POLLIN, .revents = 0};
      ready = poll(&wake, 1, 0);
    });
    SpinUntilRequested();
    CCancellation::Deliver();
  });
  g_writesLate = true;
  EXPECT_TRUE(thread.Cancel());
  g_writesLate = false;
  EXPECT_EQ(ready, 0);
}

TEST(Cancellation, GuardReleasesWhileTheStackUnwinds) {
  CFastMutex mutex;
  mutex.Init();
  bool free = false;
  Running thread([&] {
    const OnLeave leave([&] { free = FreeForOthers(mutex); });
    const CFastMutexGuard guard(mutex);
    TLX::Misc::Sleep(10 * HOUR);
  });
  thread.WaitUntilAsleep();
  EXPECT_TRUE(thread.Cancel());
  EXPECT_TRUE(free);
}

TEST(Cancellation, WhatTheThreadStillHolds_IsReleasedBeforeItCountsAsEnded) {
  CFastMutex outer;
  CFastMutex inner;
  outer.Init();
  inner.Init();
  Running thread([&] {
    static_cast<void>(outer.Wait(0) == 1);
    static_cast<void>(inner.Wait(0) == 1);
    static_cast<void>(inner.Wait(0) == 1);
    TLX::Misc::Sleep(10 * HOUR);
  });
  Running waiting([&] { EXPECT_EQ(outer.Wait(WAIT_INFINITE), 1U); });
  thread.WaitUntilAsleep();
  EXPECT_TRUE(thread.Cancel());
  EXPECT_EQ(waiting.Join(), 1U);
  EXPECT_TRUE(FreeForOthers(outer));
  EXPECT_TRUE(FreeForOthers(inner));
}

TEST(Cancellation, FromTheThreadItself_StrikesAtItsNextWait) {
  CEvent go;
  go.Init(false, false);
  std::unique_ptr<CThread> thread;
  std::atomic<int> ended = -1;
  std::atomic<bool> passed = false;
  tlxtest::Body body([&] {
    static_cast<void>(go.Wait(WAIT_INFINITE));
    ended = thread->Native().Cancel() ? 1 : 0;
    TLX::Misc::Sleep(0);
    passed = true;
  });
  thread = std::make_unique<CThread>(body.Delegate(), 0);
  go.Set();
  EXPECT_EQ(thread->Wait(WAIT_INFINITE), 1U);
  EXPECT_EQ(ended, 0);
  EXPECT_FALSE(passed);
}

// Also shows that the wait for the end runs in real time: scaled, it would be over in a moment.
TEST(Cancellation, OfAThreadThatLooksLate_WaitsForItInRealTime) {
  const TimeScale fast(1e6);
  Running thread([] {
    SpinUntilRequested();
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    CCancellation::Deliver();
  });
  EXPECT_TRUE(thread.Cancel());
}

TEST(Cancellation, OfAThreadThatNeverLooks_GivesUp) {
  std::atomic<bool> stop = false;
  Running thread([&] {
    while (!stop) std::this_thread::sleep_for(std::chrono::milliseconds(1));
  });
  EXPECT_FALSE(thread.Cancel());
  EXPECT_EQ(thread.Thread().Wait(0), WAIT_TIMED_OUT);
  stop = true;
  EXPECT_EQ(thread.Join(), 1U);
}

TEST(Cancellation, TheThreadObjectMayGoWhileTheCancelledThreadUnwinds) {
  CEvent unwinding;
  CEvent ended;
  unwinding.Init(false, false);
  ended.Init(false, false);
  tlxtest::Body body([&] {
    const OnLeave leave([&] {
      unwinding.Set();
      TLX::Misc::Sleep(20);
      ended.Set();
    });
    TLX::Misc::Sleep(10 * HOUR);
  });
  {
    CThread thread(body.Delegate(), 0);
    body.WaitUntilAsleep();
    std::thread canceller([&] { EXPECT_TRUE(thread.Native().Cancel()); });
    EXPECT_EQ(unwinding.Wait(WAIT_INFINITE), 1U);
    canceller.join();
  }
  EXPECT_EQ(ended.Wait(WAIT_INFINITE), 1U);
}

class BlockingSink final : public TLX::Internals::ITraceSink {
 public:
  void Write(const TLX::Internals::CTraceLine& line) override {
    TLX::Misc::Sleep(1);
    if (mutex_.Wait(0) == 1) mutex_.Release();
    lines_.push_back(line.m_Text);
  }
  CFastMutex mutex_;
  std::vector<std::string> lines_;
};

// The line is written by a destructor, which must not throw.
TEST(Cancellation, DoesNotStrikeInTheTraceSink) {
  const auto sink = std::make_shared<BlockingSink>();
  TLX::Internals::SetTraceSink(sink);
  const TLX::Misc::CModuleInfo module(TLX::Misc::MODULE_piTorvex, "test", "1", nullptr, nullptr);
  std::atomic<bool> passed = false;
  Running thread([&] {
    SpinUntilRequested();
    { TLX::Internals::CTraceStreamBuffer(2, module, "file", "function", 1).Append("line", 4); }
    CCancellation::Deliver();
    passed = true;
  });
  EXPECT_TRUE(thread.Cancel());
  TLX::Internals::SetTraceSink(nullptr);
  EXPECT_FALSE(passed);
  EXPECT_EQ(sink->lines_, std::vector<std::string>{"line"});
}

// Threads that lock, wait and sleep are cancelled wherever they happen to be.
TEST(Cancellation, AtAnyMoment_LeavesLocksFreeAndEventsUsable) {
  const int rounds = vxtest::Count(60, 5000);
  CFastMutex mutex;
  CEvent event;
  mutex.Init();
  event.Init(false, false);
  const auto work = [&] {
    for (unsigned int round = 0;; ++round) {
      const CFastMutexGuard outer(mutex);
      event.Set();
      static_cast<void>(mutex.Wait(0) == 1);
      static_cast<void>(event.Wait(round % 2));
      mutex.Release();
      TLX::Misc::Sleep(round % 3);
    }
  };
  for (int round = 0; round < rounds; ++round) {
    Running first(work);
    Running second(work);
    Running third(work);
    ASSERT_TRUE(first.Cancel());
    ASSERT_TRUE(third.Cancel());
    ASSERT_TRUE(second.Cancel());
    ASSERT_TRUE(FreeForOthers(mutex));
  }
  event.Init(true, false);
  EXPECT_EQ(event.Wait(0), 1U);
  EXPECT_EQ(event.Wait(0), WAIT_TIMED_OUT);
}

}  // namespace
