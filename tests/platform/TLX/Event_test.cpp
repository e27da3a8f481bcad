#include "Threads.h"

#include <atomic>
#include <memory>
#include <vector>

#include <gtest/gtest.h>

#include <TLX/Threading/Event.h>

namespace {

using namespace TLX::Threading;
using tlxtest::Running;

TEST(Event, Wait_OnUninitialisedEvent_Fails) {
  CEvent event;
  EXPECT_EQ(event.Wait(0), WAIT_FAILED);
  EXPECT_EQ(event.Wait(WAIT_INFINITE), WAIT_FAILED);
}

TEST(Event, SetAndReset_BeforeInit_DoNothing) {
  CEvent event;
  event.Set();
  event.Reset();
  EXPECT_EQ(event.Init(false, true), 1U);
  EXPECT_EQ(event.Wait(0), WAIT_TIMED_OUT);
}

TEST(Event, Init_GivesTheInitialState) {
  CEvent set;
  EXPECT_EQ(set.Init(true, true), 1U);
  EXPECT_EQ(set.Wait(0), 1U);
  CEvent clear;
  EXPECT_EQ(clear.Init(false, true), 1U);
  EXPECT_EQ(clear.Wait(0), WAIT_TIMED_OUT);
}

TEST(Event, AutoReset_IsClearedByTheOneWaitThatReportsIt) {
  CEvent event;
  event.Init(false, false);
  event.Set();
  event.Set();
  EXPECT_EQ(event.Wait(0), 1U);
  EXPECT_EQ(event.Wait(0), WAIT_TIMED_OUT);
}

TEST(Event, ManualReset_StaysSetUntilReset) {
  CEvent event;
  event.Init(false, true);
  event.Set();
  EXPECT_EQ(event.Wait(0), 1U);
  EXPECT_EQ(event.Wait(WAIT_INFINITE), 1U);
  event.Reset();
  EXPECT_EQ(event.Wait(0), WAIT_TIMED_OUT);
}

TEST(Event, Init_Repeated_RestoresStateAndKind) {
  CEvent event;
  event.Init(false, true);
  event.Set();
  EXPECT_EQ(event.Init(false, true), 1U);
  EXPECT_EQ(event.Wait(0), WAIT_TIMED_OUT);
  EXPECT_EQ(event.Init(true, false), 1U);
  EXPECT_EQ(event.Wait(0), 1U);
  EXPECT_EQ(event.Wait(0), WAIT_TIMED_OUT);
}

TEST(Event, Init_RepeatedAsSet_WakesWhoWaits) {
  CEvent event;
  event.Init(false, true);
  Running waiting([&] { EXPECT_EQ(event.Wait(WAIT_INFINITE), 1U); });
  waiting.WaitUntilAsleep();
  event.Init(true, true);
  EXPECT_EQ(waiting.Join(), 1U);
}

TEST(Event, Wait_TimesOutNotBeforeItsTime) {
  CEvent event;
  event.Init(false, false);
  const unsigned long begin = TLX::Misc::now();
  EXPECT_EQ(event.Wait(30), WAIT_TIMED_OUT);
  EXPECT_GE(TLX::Misc::now() - begin, 30U);
}

TEST(Event, ManualReset_WakesAllWhoWait) {
  CEvent event;
  event.Init(false, true);
  std::vector<std::unique_ptr<Running>> threads;
  for (int thread = 0; thread < 4; ++thread)
    threads.push_back(std::make_unique<Running>([&] { EXPECT_EQ(event.Wait(WAIT_INFINITE), 1U); }));
  for (const auto& thread : threads) thread->WaitUntilAsleep();
  event.Set();
  for (const auto& thread : threads) EXPECT_EQ(thread->Join(), 1U);
}

TEST(Event, AutoReset_ReleasesOneThreadPerSet) {
  constexpr int THREADS = 4;
  CEvent event;
  CEvent reported;
  event.Init(false, false);
  reported.Init(false, false);
  std::atomic<int> released = 0;
  std::vector<std::unique_ptr<Running>> threads;
  for (int thread = 0; thread < THREADS; ++thread)
    threads.push_back(std::make_unique<Running>([&] {
      EXPECT_EQ(event.Wait(WAIT_INFINITE), 1U);
      ++released;
      reported.Set();
    }));
  for (const auto& thread : threads) thread->WaitUntilAsleep();
  for (int expected = 1; expected <= THREADS; ++expected) {
    event.Set();
    ASSERT_EQ(reported.Wait(WAIT_INFINITE), 1U);
    EXPECT_EQ(released, expected);
  }
}

}  // namespace
