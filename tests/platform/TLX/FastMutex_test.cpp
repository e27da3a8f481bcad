#include "Threads.h"
#include "support/Scale.h"

#include <atomic>
#include <memory>
#include <thread>
#include <vector>

#include <gtest/gtest.h>
#include <sched.h>

#include <TLX/Threading/Event.h>
#include <TLX/Threading/FastMutex.h>

namespace {

using namespace TLX::Threading;
using Native_OS::CFastMutex;
using Native_OS::CFastMutexGuard;
using tlxtest::FreeForOthers;
using tlxtest::OnOtherThread;
using tlxtest::Running;

TEST(FastMutex, Wait_OnUninitialisedMutex_Fails) {
  CFastMutex mutex;
  EXPECT_EQ(mutex.Wait(0), WAIT_FAILED);
  EXPECT_EQ(mutex.Wait(WAIT_INFINITE), WAIT_FAILED);
  EXPECT_NE(WAIT_FAILED, WAIT_ACQUIRED);
  EXPECT_NE(WAIT_FAILED, WAIT_TIMED_OUT);
}

TEST(FastMutex, Release_OnUninitialisedMutex_DoesNothing) {
  CFastMutex mutex;
  mutex.Release();
  EXPECT_EQ(mutex.Init(), 1U);
  EXPECT_TRUE(FreeForOthers(mutex));
}

TEST(FastMutex, Init_Repeated_ReturnsAcquiredAndKeepsTheOwner) {
  CFastMutex mutex;
  EXPECT_EQ(mutex.Init(), 1U);
  EXPECT_EQ(mutex.Init(), 1U);
  ASSERT_EQ(mutex.Wait(0), 1U);
  EXPECT_EQ(mutex.Init(), 1U);
  EXPECT_FALSE(FreeForOthers(mutex));
  mutex.Release();
  EXPECT_TRUE(FreeForOthers(mutex));
}

TEST(FastMutex, WaitTwice_NeedsTwoReleases) {
  CFastMutex mutex;
  mutex.Init();
  ASSERT_EQ(mutex.Wait(WAIT_INFINITE), 1U);
  ASSERT_EQ(mutex.Wait(WAIT_INFINITE), 1U);
  mutex.Release();
  EXPECT_EQ(OnOtherThread([&] { return mutex.Wait(0); }), WAIT_TIMED_OUT);
  mutex.Release();
  EXPECT_TRUE(FreeForOthers(mutex));
}

TEST(FastMutex, Release_MoreOftenThanWaited_DoesNothing) {
  CFastMutex mutex;
  mutex.Init();
  ASSERT_EQ(mutex.Wait(0), 1U);
  mutex.Release();
  mutex.Release();
  ASSERT_EQ(mutex.Wait(0), 1U);
  EXPECT_FALSE(FreeForOthers(mutex));
  mutex.Release();
}

TEST(FastMutex, Release_ByAnotherThread_IsIgnored) {
  CFastMutex mutex;
  mutex.Init();
  ASSERT_EQ(mutex.Wait(0), 1U);
  std::thread([&] { mutex.Release(); }).join();
  EXPECT_FALSE(FreeForOthers(mutex));
  mutex.Release();
  EXPECT_TRUE(FreeForOthers(mutex));
}

TEST(FastMutex, Wait_OwnedByAnother_TimesOutNotBeforeItsTime) {
  CFastMutex mutex;
  mutex.Init();
  ASSERT_EQ(mutex.Wait(0), 1U);
  const unsigned long passed = OnOtherThread([&] {
    const unsigned long begin = TLX::Misc::now();
    EXPECT_EQ(mutex.Wait(30), WAIT_TIMED_OUT);
    return TLX::Misc::now() - begin;
  });
  EXPECT_GE(passed, 30U);
  mutex.Release();
}

TEST(FastMutex, Wait_InQueue_GetsTheMutexWhenItsOwnerReleasesIt) {
  CFastMutex mutex;
  mutex.Init();
  ASSERT_EQ(mutex.Wait(0), 1U);
  std::atomic<unsigned int> result = 99;
  Running waiting([&] {
    result = mutex.Wait(WAIT_INFINITE);
    mutex.Release();
  });
  waiting.WaitUntilAsleep();
  EXPECT_EQ(result, 99U);
  mutex.Release();
  waiting.Join();
  EXPECT_EQ(result, 1U);
  EXPECT_TRUE(FreeForOthers(mutex));
}

// Lets another thread queue for the mutex, takes it again before that thread gets there, and
// releases it once more. Returns whether the other thread then was the owner.
bool GrantedOnceItCameTooLate(CFastMutex& mutex) {
  CEvent done;
  done.Init(false, true);
  EXPECT_EQ(mutex.Wait(0), 1U);
  Running waiting([&] {
    // As a batch job it does not displace the owner when it is woken.
    const sched_param batch{};
    EXPECT_EQ(sched_setscheduler(0, SCHED_BATCH, &batch), 0);
    EXPECT_EQ(mutex.Wait(WAIT_INFINITE), 1U);
    static_cast<void>(done.Wait(WAIT_INFINITE));
    mutex.Release();
  });
  waiting.WaitUntilAsleep();
  bool owned = true;
  // Twice, for the thread may have been seen asleep on its way to the queue.
  for (int attempt = 0; owned && attempt < 2; ++attempt) {
    const long sleeps = waiting.Sleeps();
    mutex.Release();
    owned = mutex.Wait(0) == 1;
    while (owned && waiting.Sleeps() == sleeps) std::this_thread::yield();
    if (!owned) break;
    waiting.WaitUntilAsleep();
    mutex.Release();
    owned = mutex.Wait(0) == 1;
  }
  if (owned) mutex.Release();
  done.Set();
  return !owned;
}

TEST(FastMutex, Wait_ThatCameTooLate_IsGivenTheMutexByTheNextRelease) {
  CFastMutex mutex;
  mutex.Init();
  for (int round = 0; round < 10; ++round) EXPECT_TRUE(GrantedOnceItCameTooLate(mutex));
  EXPECT_TRUE(FreeForOthers(mutex));
}

// The owner never pauses, yet the other one gets its turns.
TEST(FastMutex, Wait_AgainstAnOwnerThatTakesItAgainAtOnce_IsNotStarved) {
  CFastMutex mutex;
  mutex.Init();
  ASSERT_EQ(mutex.Wait(0), 1U);
  std::atomic<int> turns = 0;
  Running waiting([&] {
    for (; turns < 20; ++turns) {
      ASSERT_EQ(mutex.Wait(WAIT_INFINITE), 1U);
      mutex.Release();
    }
  });
  while (turns < 20) {
    mutex.Release();
    ASSERT_EQ(mutex.Wait(WAIT_INFINITE), 1U);
  }
  mutex.Release();
  waiting.Join();
  EXPECT_TRUE(FreeForOthers(mutex));
}

TEST(FastMutex, Wait_ByMany_ExcludesOneAnother) {
  constexpr int THREADS = 6;
  const int rounds = vxtest::Count(500, 20'000);
  CFastMutex mutex;
  mutex.Init();
  long counter = 0;
  int inside = 0;
  int timedOut = 0;
  {
    std::vector<std::unique_ptr<Running>> threads;
    for (int thread = 0; thread < THREADS; ++thread)
      threads.push_back(std::make_unique<Running>([&, thread] {
        for (int round = 0; round < rounds;) {
          // Some with a time-out, so that the queue changes in its middle.
          const unsigned int result = mutex.Wait(thread % 2 == 0 ? WAIT_INFINITE : 1U);
          if (result != 1) continue;
          ++round;
          if (++inside != 1) ++timedOut;
          ++counter;
          --inside;
          mutex.Release();
        }
      }));
  }
  EXPECT_EQ(counter, static_cast<long>(THREADS) * rounds);
  EXPECT_EQ(timedOut, 0);
  EXPECT_TRUE(FreeForOthers(mutex));
}

TEST(FastMutexGuard, HoldsTheMutexForItsScope) {
  CFastMutex mutex;
  mutex.Init();
  {
    const CFastMutexGuard guard(mutex);
    EXPECT_EQ(guard.Result(), 1U);
    EXPECT_FALSE(FreeForOthers(mutex));
  }
  EXPECT_TRUE(FreeForOthers(mutex));
}

TEST(FastMutexGuard, OfUninitialisedMutex_RunsTheScopeWithoutTheLock) {
  CFastMutex mutex;
  {
    const CFastMutexGuard guard(mutex);
    EXPECT_EQ(guard.Result(), WAIT_FAILED);
    // Taken within the scope, so a guard that released without owning would give it up.
    mutex.Init();
    ASSERT_EQ(mutex.Wait(0), 1U);
  }
  EXPECT_FALSE(FreeForOthers(mutex));
  mutex.Release();
}

TEST(FastMutexGuard, OnException_Releases) {
  CFastMutex mutex;
  mutex.Init();
  try {
    const CFastMutexGuard guard(mutex);
    throw std::runtime_error("out");
  } catch (const std::runtime_error&) {
    EXPECT_TRUE(FreeForOthers(mutex));
  }
}

TEST(FastMutex, HeldAtTheEndOfABody_IsReleasedForIt) {
  CFastMutex first;
  CFastMutex second;
  first.Init();
  second.Init();
  Running([&] {
    static_cast<void>(first.Wait(0) == 1);
    static_cast<void>(second.Wait(0) == 1);
    static_cast<void>(second.Wait(0) == 1);
  }).Join();
  EXPECT_TRUE(FreeForOthers(first));
  EXPECT_TRUE(FreeForOthers(second));
}

TEST(FastMutex, ReleasedInAnotherOrderThanTaken_LeavesTheRestToTheEndOfTheBody) {
  CFastMutex mutexes[3];
  for (CFastMutex& mutex : mutexes) mutex.Init();
  Running([&] {
    for (CFastMutex& mutex : mutexes) static_cast<void>(mutex.Wait(0) == 1);
    mutexes[1].Release();
    EXPECT_TRUE(FreeForOthers(mutexes[1]));
  }).Join();
  for (CFastMutex& mutex : mutexes) EXPECT_TRUE(FreeForOthers(mutex));
}

TEST(FastMutex, DestroyedByTheThreadThatHoldsIt_IsForgotten) {
  CFastMutex other;
  other.Init();
  Running([&] {
    static_cast<void>(other.Wait(0) == 1);
    CFastMutex mutex;
    mutex.Init();
    static_cast<void>(mutex.Wait(0) == 1);
  }).Join();
  EXPECT_TRUE(FreeForOthers(other));
}

}  // namespace
