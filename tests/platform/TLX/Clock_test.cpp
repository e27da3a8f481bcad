#include "Threads.h"

#include <chrono>
#include <cstdlib>
#include <limits>

#include <gtest/gtest.h>

#include <TLX/Misc/Clock.h>
#include <TLX/Threading/Event.h>
#include <TLX/Threading/FastMutex.h>
#include <TLX/Threading/Waiter.h>

namespace {

using namespace TLX::Misc;
using namespace TLX::Threading;
using namespace std::chrono_literals;
using tlxtest::HOUR;
using tlxtest::Running;
using tlxtest::TimeScale;

unsigned long WallClock() {
  return static_cast<unsigned long>(std::chrono::duration_cast<std::chrono::milliseconds>(
                                        std::chrono::system_clock::now().time_since_epoch())
                                        .count());
}

// In a process of its own: the tests that change the scale move the clock ahead for good.
TEST(ClockDeathTest, Now_IsMillisecondsSinceTheEpoch) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  const auto compare = [] {
    const unsigned long wall = WallClock();
    const unsigned long clock = now();
    return clock + 60'000 > wall && clock < wall + 60'000 ? EXIT_SUCCESS : EXIT_FAILURE;
  };
  EXPECT_EXIT(std::exit(compare()), testing::ExitedWithCode(EXIT_SUCCESS), "");
}

TEST(Clock, Now_NeverFalls) {
  unsigned long last = now();
  for (int round = 0; round < 2000; ++round) {
    CClock::SetTimeScale(round % 2 == 0 ? 100 : 1);
    const unsigned long present = now();
    ASSERT_GE(present, last);
    last = present;
  }
  CClock::SetTimeScale(1);
}

TEST(Clock, SetTimeScale_DoesNotMakeTheClockJump) {
  const unsigned long before = now();
  const TimeScale fast(1000);
  const unsigned long after = now();
  // A clock that applied the scale to the time since the start, or since the epoch, would be off by
  // far more than a loaded machine can be late.
  EXPECT_LT(after - before, HOUR);
}

TEST(Clock, TimeScale_BelowOneOrNoNumber_CountsAsOne) {
  EXPECT_EQ(CClock::TimeScale(), 1);
  for (const double scale : {0.5, 0.0, -3.0, std::numeric_limits<double>::quiet_NaN(),
                             -std::numeric_limits<double>::infinity()}) {
    const TimeScale given(scale);
    EXPECT_EQ(CClock::TimeScale(), 1) << scale;
  }
  const TimeScale fast(2.5);
  EXPECT_EQ(CClock::TimeScale(), 2.5);
}

TEST(Clock, TimeScale_HasAnUpperEnd) {
  const TimeScale fast(std::numeric_limits<double>::infinity());
  EXPECT_EQ(CClock::TimeScale(), 1e6);
}

TEST(Clock, ToRealTime_DividesByTheScale) {
  EXPECT_EQ(CClock::ToRealTime(1500), 1500ms);
  EXPECT_EQ(CClock::ToRealTime(0), 0ns);
  const TimeScale fast(10);
  EXPECT_EQ(CClock::ToRealTime(1500), 150ms);
  EXPECT_GT(CClock::ToRealTime(std::numeric_limits<unsigned long>::max()), 24h);
}

TEST(Clock, Sleep_LastsSoLongByTheClock) {
  for (const double scale : {1.0, 50.0}) {
    const TimeScale given(scale);
    const unsigned long begin = now();
    Sleep(20);
    EXPECT_GE(now() - begin, 20U);
  }
}

TEST(Clock, Sleep_OfNothing_Returns) {
  const unsigned long begin = now();
  Sleep(0);
  EXPECT_GE(now(), begin);
}

TEST(Clock, Sleep_AtAHighScale_RunsByTheClockNotInRealTime) {
  const TimeScale fast(1e6);
  const auto begin = std::chrono::steady_clock::now();
  Sleep(10 * HOUR);
  EXPECT_LT(std::chrono::steady_clock::now() - begin, 1h);
}

// Each of the waits below would outlast the test by far if the change did not reach it.
TEST(Clock, SetTimeScale_ReachesASleepUnderWay) {
  Running sleeping([] { Sleep(10 * HOUR); });
  sleeping.WaitUntilAsleep();
  const TimeScale fast(1e6);
  EXPECT_EQ(sleeping.Join(), 1U);
}

TEST(Clock, SetTimeScale_ReachesAWaitForAnEventUnderWay) {
  CEvent event;
  event.Init(false, false);
  Running waiting([&] { EXPECT_EQ(event.Wait(10 * HOUR), WAIT_TIMED_OUT); });
  waiting.WaitUntilAsleep();
  const TimeScale fast(1e6);
  EXPECT_EQ(waiting.Join(), 1U);
}

TEST(Clock, SetTimeScale_ReachesAWaiterUnderWay) {
  CEvent event;
  event.Init(false, false);
  CWaiter waiter;
  waiter.Add(event);
  Running waiting([&] { EXPECT_EQ(waiter.Wait(10 * HOUR, true), WAIT_TIMED_OUT); });
  waiting.WaitUntilAsleep();
  const TimeScale fast(1e6);
  EXPECT_EQ(waiting.Join(), 1U);
}

TEST(Clock, SetTimeScale_ReachesAWaitForAMutexUnderWay) {
  Native_OS::CFastMutex mutex;
  mutex.Init();
  ASSERT_EQ(mutex.Wait(0), 1U);
  Running waiting([&] { EXPECT_EQ(mutex.Wait(10 * HOUR), WAIT_TIMED_OUT); });
  waiting.WaitUntilAsleep();
  {
    const TimeScale fast(1e6);
    EXPECT_EQ(waiting.Join(), 1U);
  }
  mutex.Release();
}

TEST(Clock, SetTimeScale_BackToOne_SlowsAWaitUnderWayDown) {
  CEvent event;
  event.Init(false, false);
  CClock::SetTimeScale(2);
  std::atomic<unsigned int> result = 99;
  Running waiting([&] { result = event.Wait(10 * HOUR); });
  waiting.WaitUntilAsleep();
  CClock::SetTimeScale(1);
  EXPECT_EQ(result, 99U);
  event.Set();
  waiting.Join();
  EXPECT_EQ(result, 1U);
}

}  // namespace
