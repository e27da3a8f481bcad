#include "RunHistory.h"

#include <gtest/gtest.h>
#include <sched.h>

namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;
using TLXX::CRunHistory;
using TLXX::CRunLimits;
using TLXX::CRunResult;
using TLXX::ERunEnd;

CRunResult Ended(ERunEnd end) {
  CRunResult result;
  result.m_End = end;
  return result;
}

void SetQueryTimeout(CRunHistory& history, std::chrono::milliseconds timeout) {
  CRunLimits limits;
  limits.m_QueryTimeout = timeout;
  history.SetLimits(limits);
}

constexpr const char* LOG = "show -smart 3";
constexpr const char* OTHER_LOG = "show -smart 4";
constexpr const char* INVENTORY = "show -all";

CRunResult Good(std::chrono::milliseconds duration) {
  CRunResult result = Ended(ERunEnd::Exited);
  result.m_Duration = duration;
  return result;
}

TEST(RunHistoryTest, Timeout_AfterATimeout_IsATenthUntilASuccess) {
  CRunHistory history;
  EXPECT_EQ(history.QueryTimeout(LOG), 60s);
  history.NoteQuery(LOG, Ended(ERunEnd::TimedOut), 60s);
  EXPECT_EQ(history.QueryTimeout(LOG), 6s);
  history.NoteQuery(LOG, Ended(ERunEnd::TimedOut), 6s);
  EXPECT_EQ(history.QueryTimeout(LOG), 6s);
  history.NoteQuery(LOG, Ended(ERunEnd::NotStarted), 6s);
  EXPECT_EQ(history.QueryTimeout(LOG), 6s);
  history.NoteQuery(LOG, Ended(ERunEnd::Exited), 6s);
  EXPECT_EQ(history.QueryTimeout(LOG), 60s);
}

TEST(RunHistoryTest, Timeout_IsShortenedForTheQueryThatTimedOutAlone) {
  CRunHistory history;
  history.NoteQuery(LOG, Ended(ERunEnd::TimedOut), 60s);
  EXPECT_EQ(history.QueryTimeout(OTHER_LOG), 60s);
  EXPECT_EQ(history.QueryTimeout(INVENTORY), 60s);
  history.NoteQuery(OTHER_LOG, Good(1s), 60s);
  history.NoteQuery(INVENTORY, Good(1s), 60s);
  EXPECT_EQ(history.QueryTimeout(LOG), 6s);
}

TEST(RunHistoryTest, Timeout_OfAnInventory_IsNeverShortened) {
  CRunHistory history;
  history.NoteQuery(INVENTORY, Ended(ERunEnd::TimedOut), 60s);
  EXPECT_EQ(history.QueryTimeout(INVENTORY), 60s);
  EXPECT_EQ(history.QueryTimeout(LOG), 60s);
}

TEST(RunHistoryTest, Timeout_IsNotShorterThanTwiceTheLongestGoodQuery) {
  CRunHistory history;
  history.NoteQuery(INVENTORY, Good(8s), 60s);
  history.NoteQuery(OTHER_LOG, Good(2s), 60s);
  history.NoteQuery(LOG, Ended(ERunEnd::TimedOut), 60s);
  EXPECT_EQ(history.QueryTimeout(LOG), 16s);
  history.NoteQuery(INVENTORY, Good(50s), 60s);
  EXPECT_EQ(history.QueryTimeout(LOG), 60s);
}

TEST(RunHistoryTest, Timeout_AfterTenLimits_IsWholeAgain) {
  CRunHistory history;
  SetQueryTimeout(history, 10ms);
  const auto start = Clock::now();
  history.NoteQuery(LOG, Ended(ERunEnd::TimedOut), 10ms);
  EXPECT_EQ(history.QueryTimeout(LOG), 1ms);
  while (history.QueryTimeout(LOG) != 10ms) {
    history.NoteQuery(LOG, Ended(ERunEnd::TimedOut), 1ms);  // does not prolong it
    sched_yield();
  }
  EXPECT_GE(Clock::now() - start, 100ms);
}

TEST(RunHistoryTest, Timeout_TurnedOff_StaysOff) {
  CRunHistory history;
  SetQueryTimeout(history, 0ms);
  history.NoteQuery(LOG, Ended(ERunEnd::TooMuch), 0ms);
  EXPECT_EQ(history.QueryTimeout(LOG), 0ms);
}

// What is remembered of queries that hang is bounded; the others keep the whole limit.
TEST(RunHistoryTest, Timeout_OfEverMoreQueriesThatHang_IsShortenedForSomeOfThem) {
  CRunHistory history;
  for (int index = 0; index < 1000; ++index) {
    history.NoteQuery("log " + std::to_string(index), Ended(ERunEnd::TimedOut), 60s);
  }
  EXPECT_EQ(history.QueryTimeout("log 255"), 6s);
  EXPECT_EQ(history.QueryTimeout("log 256"), 60s);
}

TEST(RunHistoryTest, Statistics_OfEverMoreCommands_AreBounded) {
  CRunHistory history;
  for (int index = 0; index < 1000; ++index) {
    history.Count("a" + std::to_string(index), Ended(ERunEnd::Exited), 1ns, "", "");
  }
  auto statistics = history.Statistics();
  EXPECT_EQ(statistics.size(), 257U);
  EXPECT_EQ(statistics["(other)"].m_Runs, 744U);
  history.Count("a0", Ended(ERunEnd::Exited), 1ns, "", "");
  EXPECT_EQ(history.Statistics()["a0"].m_Runs, 2U);
}

}  // namespace
