#include "Core/Schedule.h"

#include <gtest/gtest.h>

#include <TLX/Threading/Results.h>

namespace {

using NAMESPACE_piTorvex::CSchedule;
using NAMESPACE_piTorvex::EWakeUp;
using NAMESPACE_piTorvex::WakeUpOf;

constexpr unsigned long START = 1'000'000;
constexpr unsigned long REFRESH = 30'000;

// The worker adds its events in this order: force, stop, private.
TEST(WakeUp, IsToldByTheOrderOfTheWorkersEvents) {
  EXPECT_EQ(WakeUpOf(1), EWakeUp::Force);
  EXPECT_EQ(WakeUpOf(2), EWakeUp::Stop);
  EXPECT_EQ(WakeUpOf(3), EWakeUp::Private);
  EXPECT_EQ(WakeUpOf(TLX::Threading::WAIT_TIMED_OUT), EWakeUp::Timeout);
}

TEST(WakeUp, AWaiterThatFails_EndsTheWorker) {
  for (const unsigned int result : {0U, 4U, 12345U, ~0U}) {
    if (result == TLX::Threading::WAIT_TIMED_OUT) continue;
    EXPECT_EQ(WakeUpOf(result), EWakeUp::Stop) << result;
  }
}

// A schedule whose first scan ended at START.
CSchedule Scanned() {
  CSchedule schedule(START - 1);
  schedule.Scanned(START);
  return schedule;
}

bool IsDueAfter(EWakeUp wakeUp, unsigned long milliseconds, unsigned long refresh = REFRESH) {
  CSchedule schedule = Scanned();
  schedule.Wake(wakeUp, START + milliseconds, refresh);
  return schedule.IsScanDue();
}

TEST(Schedule, TheFirstWakeUp_ScansWheneverItComes) {
  CSchedule schedule(START);
  schedule.Wake(EWakeUp::Timeout, START, REFRESH);
  EXPECT_TRUE(schedule.IsScanDue());
}

TEST(Schedule, AfterAScan_NoneIsDue) {
  EXPECT_FALSE(Scanned().IsScanDue());
}

TEST(Schedule, ByTimeout_AScanIsDueWhenMoreThanTheIntervalHasPassed) {
  EXPECT_FALSE(IsDueAfter(EWakeUp::Timeout, 0));
  EXPECT_FALSE(IsDueAfter(EWakeUp::Timeout, REFRESH));
  EXPECT_TRUE(IsDueAfter(EWakeUp::Timeout, REFRESH + 1));
}

TEST(Schedule, ByForce_AScanIsDueAtOnce) {
  EXPECT_TRUE(IsDueAfter(EWakeUp::Force, 0));
}

TEST(Schedule, WithAnIntervalOf0_EachLaterMillisecondScans) {
  EXPECT_FALSE(IsDueAfter(EWakeUp::Timeout, 0, 0));
  EXPECT_TRUE(IsDueAfter(EWakeUp::Timeout, 1, 0));
}

TEST(Schedule, WithTheLongestInterval_OnlyForceScans) {
  EXPECT_FALSE(IsDueAfter(EWakeUp::Timeout, 1UL << 40U, ~0UL));
  EXPECT_TRUE(IsDueAfter(EWakeUp::Force, 1UL << 40U, ~0UL));
}

TEST(Schedule, AScanThatALogPassAsksFor_IsDueUntilOneHasEnded) {
  CSchedule schedule = Scanned();
  schedule.RequestScan();
  EXPECT_TRUE(schedule.IsScanDue());
  schedule.Wake(EWakeUp::Timeout, START + 1, REFRESH);
  EXPECT_TRUE(schedule.IsScanDue());
  schedule.Scanned(START + 2);
  EXPECT_FALSE(schedule.IsScanDue());
}

TEST(Schedule, TheInterval_CountsFromTheEndOfTheLastScan) {
  CSchedule schedule = Scanned();
  schedule.Scanned(START + REFRESH);
  schedule.Wake(EWakeUp::Timeout, START + 2 * REFRESH, REFRESH);
  EXPECT_FALSE(schedule.IsScanDue());
  schedule.Wake(EWakeUp::Timeout, START + 2 * REFRESH + 1, REFRESH);
  EXPECT_TRUE(schedule.IsScanDue());
}

}  // namespace
