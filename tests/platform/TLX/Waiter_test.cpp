#include "Threads.h"

#include <array>
#include <atomic>

#include <gtest/gtest.h>

#include <TLX/Threading/Waiter.h>

namespace {

using namespace TLX::Threading;
using tlxtest::Running;

class Waiter : public testing::Test {
 protected:
  Waiter() {
    for (CEvent& event : events_) {
      event.Init(false, false);
      waiter_.Add(event);
    }
  }

  std::array<CEvent, 3> events_;
  CWaiter waiter_;
};

TEST(WaiterAlone, Wait_ForNothing_Fails) {
  CWaiter waiter;
  EXPECT_EQ(waiter.Wait(0, false), WAIT_FAILED);
  EXPECT_EQ(waiter.Wait(WAIT_INFINITE, true), WAIT_FAILED);
}

TEST(WaiterAlone, Wait_WithAnUninitialisedEvent_FailsAndClearsNothing) {
  CEvent ready;
  CEvent never;
  ready.Init(true, false);
  CWaiter waiter;
  waiter.Add(ready);
  waiter.Add(never);
  EXPECT_EQ(waiter.Wait(0, false), WAIT_FAILED);
  EXPECT_EQ(waiter.Wait(WAIT_INFINITE, true), WAIT_FAILED);
  EXPECT_EQ(ready.Wait(0), 1U);
}

TEST(WaiterAlone, Wait_WithTheSameEventTwice_ReportsTheFirstPlace) {
  CEvent event;
  event.Init(false, false);
  CWaiter waiter;
  waiter.Add(event);
  waiter.Add(event);
  EXPECT_EQ(waiter.Wait(0, false), WAIT_TIMED_OUT);
  event.Set();
  EXPECT_EQ(waiter.Wait(0, true), 1U);
  event.Set();
  EXPECT_EQ(waiter.Wait(0, false), 1U);
  EXPECT_EQ(event.Wait(0), WAIT_TIMED_OUT);
}

TEST_F(Waiter, Wait_ReportsThePlaceOfTheEvent) {
  for (unsigned int place = 1; place <= events_.size(); ++place) {
    events_[place - 1].Set();
    EXPECT_EQ(waiter_.Wait(WAIT_INFINITE, false), place);
  }
  EXPECT_EQ(waiter_.Wait(0, false), WAIT_TIMED_OUT);
}

TEST_F(Waiter, Wait_WithSeveralSet_ReportsTheLowestNumberAndClearsOnlyThat) {
  for (CEvent& event : events_) event.Set();
  EXPECT_EQ(waiter_.Wait(0, false), 1U);
  EXPECT_EQ(waiter_.Wait(0, false), 2U);
  EXPECT_EQ(waiter_.Wait(0, false), 3U);
  EXPECT_EQ(waiter_.Wait(0, false), WAIT_TIMED_OUT);
}

TEST_F(Waiter, Wait_OnManualResetEvent_ReportsItAgain) {
  events_[1].Init(true, true);
  events_[2].Set();
  EXPECT_EQ(waiter_.Wait(0, false), 2U);
  EXPECT_EQ(waiter_.Wait(0, false), 2U);
  events_[1].Reset();
  EXPECT_EQ(waiter_.Wait(0, false), 3U);
}

TEST_F(Waiter, Wait_TimesOutNotBeforeItsTime) {
  const unsigned long begin = TLX::Misc::now();
  EXPECT_EQ(waiter_.Wait(30, false), WAIT_TIMED_OUT);
  EXPECT_GE(TLX::Misc::now() - begin, 30U);
}

TEST_F(Waiter, Wait_Asleep_IsWokenByAnyOfItsEvents) {
  std::atomic<unsigned int> result = 0;
  Running waiting([&] { result = waiter_.Wait(WAIT_INFINITE, false); });
  waiting.WaitUntilAsleep();
  events_[2].Set();
  waiting.Join();
  EXPECT_EQ(result, 3U);
}

TEST_F(Waiter, WaitForAll_WithSomeSet_TimesOutAndClearsNothing) {
  events_[0].Set();
  events_[2].Set();
  EXPECT_EQ(waiter_.Wait(5, true), WAIT_TIMED_OUT);
  EXPECT_EQ(events_[0].Wait(0), 1U);
  EXPECT_EQ(events_[2].Wait(0), 1U);
}

TEST_F(Waiter, WaitForAll_WithAllSet_Returns1AndClearsTheAutoResetOnes) {
  events_[1].Init(false, true);
  for (CEvent& event : events_) event.Set();
  EXPECT_EQ(waiter_.Wait(WAIT_INFINITE, true), 1U);
  EXPECT_EQ(events_[0].Wait(0), WAIT_TIMED_OUT);
  EXPECT_EQ(events_[1].Wait(0), 1U);
  EXPECT_EQ(events_[2].Wait(0), WAIT_TIMED_OUT);
}

TEST_F(Waiter, WaitForAll_Asleep_EndsWithTheLastEvent) {
  std::atomic<unsigned int> result = 0;
  Running waiting([&] { result = waiter_.Wait(WAIT_INFINITE, true); });
  waiting.WaitUntilAsleep();
  events_[2].Set();
  events_[0].Set();
  waiting.WaitUntilAsleep();
  EXPECT_EQ(result, 0U);
  events_[1].Set();
  waiting.Join();
  EXPECT_EQ(result, 1U);
}

// Two waiters over the same events share what is set without losing or doubling any of it.
TEST_F(Waiter, Wait_OfTwoThreads_ReportsEachSetOnce) {
  constexpr int ROUNDS = 200;
  std::atomic<int> reported = 0;
  CEvent next;
  next.Init(false, false);
  const auto take = [&] {
    CWaiter own;
    for (CEvent& event : events_) own.Add(event);
    while (own.Wait(WAIT_INFINITE, false) != 3) {
      ++reported;
      next.Set();
    }
    events_[2].Set();
  };
  {
    Running first(take);
    Running second(take);
    for (int round = 0; round < ROUNDS; ++round) {
      events_[static_cast<std::size_t>(round % 2)].Set();
      ASSERT_EQ(next.Wait(WAIT_INFINITE), 1U);
    }
    events_[2].Set();
  }
  EXPECT_EQ(reported, ROUNDS);
}

}  // namespace
