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

TEST(RunHistoryTest, Timeout_AfterATimeout_IsATenthUntilASuccess) {
  CRunHistory history;
  EXPECT_EQ(history.QueryTimeout(), 60s);
  history.NoteQuery(Ended(ERunEnd::TimedOut), 60s);
  EXPECT_EQ(history.QueryTimeout(), 6s);
  history.NoteQuery(Ended(ERunEnd::TimedOut), 6s);
  EXPECT_EQ(history.QueryTimeout(), 6s);
  history.NoteQuery(Ended(ERunEnd::NotStarted), 6s);
  EXPECT_EQ(history.QueryTimeout(), 6s);
  history.NoteQuery(Ended(ERunEnd::Exited), 6s);
  EXPECT_EQ(history.QueryTimeout(), 60s);
}

TEST(RunHistoryTest, Timeout_AfterTenLimits_IsWholeAgain) {
  CRunHistory history;
  SetQueryTimeout(history, 10ms);
  const auto start = Clock::now();
  history.NoteQuery(Ended(ERunEnd::TimedOut), 10ms);
  EXPECT_EQ(history.QueryTimeout(), 1ms);
  while (history.QueryTimeout() != 10ms) {
    history.NoteQuery(Ended(ERunEnd::TimedOut), 1ms);  // does not prolong it
    sched_yield();
  }
  EXPECT_GE(Clock::now() - start, 100ms);
}

TEST(RunHistoryTest, Timeout_TurnedOff_StaysOff) {
  CRunHistory history;
  SetQueryTimeout(history, 0ms);
  history.NoteQuery(Ended(ERunEnd::TooMuch), 0ms);
  EXPECT_EQ(history.QueryTimeout(), 0ms);
}

TEST(RunHistoryTest, Statistics_OfEverMoreCommands_AreBounded) {
  CRunHistory history;
  for (int index = 0; index < 1000; ++index) {
    history.Count("a" + std::to_string(index), Ended(ERunEnd::Exited), 1ns, false, "");
  }
  auto statistics = history.Statistics();
  EXPECT_EQ(statistics.size(), 257U);
  EXPECT_EQ(statistics["(other)"].m_Runs, 744U);
  history.Count("a0", Ended(ERunEnd::Exited), 1ns, false, "");
  EXPECT_EQ(history.Statistics()["a0"].m_Runs, 2U);
}

}  // namespace
