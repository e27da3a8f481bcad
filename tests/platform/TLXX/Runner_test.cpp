#include "Runner.h"

#include <cerrno>

#include <gtest/gtest.h>

namespace {

using namespace std::chrono_literals;
using TLXX::CRunResult;
using TLXX::ERunEnd;

CRunResult Result(ERunEnd end, int code, const std::string& output = "",
                  std::chrono::nanoseconds duration = 1s) {
  CRunResult result;
  result.m_End = end;
  result.m_Code = code;
  result.m_Output = output;
  result.m_Duration = duration;
  return result;
}

TEST(RunnerTest, SilentFailure_IsWorthRepeatingWithinFiveSeconds) {
  EXPECT_TRUE(Result(ERunEnd::Exited, 1, "", 5s).IsWorthRepeating());
  EXPECT_FALSE(Result(ERunEnd::Exited, 1, "", 5s + 1ns).IsWorthRepeating());
  EXPECT_TRUE(Result(ERunEnd::Signalled, 11, "", 5s).IsWorthRepeating());
  EXPECT_FALSE(Result(ERunEnd::Signalled, 11, "", 5s + 1ns).IsWorthRepeating());
}

TEST(RunnerTest, OutputOrSuccess_IsNotWorthRepeating) {
  EXPECT_FALSE(Result(ERunEnd::Exited, 0).IsWorthRepeating());
  EXPECT_FALSE(Result(ERunEnd::Exited, 1, " ").IsWorthRepeating());
  EXPECT_FALSE(Result(ERunEnd::Signalled, 11, "{").IsWorthRepeating());
  EXPECT_FALSE(Result(ERunEnd::StatusTaken, 0).IsWorthRepeating());
}

TEST(RunnerTest, WhatTheRunnerEnded_IsNotWorthRepeating) {
  for (const ERunEnd end : {ERunEnd::TimedOut, ERunEnd::TooMuch, ERunEnd::Lingered,
                            ERunEnd::Unreadable, ERunEnd::Cancelled}) {
    EXPECT_FALSE(Result(end, EAGAIN).IsWorthRepeating());
    EXPECT_FALSE(Result(end, EAGAIN).Collected());
  }
}

TEST(RunnerTest, OutputThatCannotBeRead_IsExplainedWithItsCause) {
  TLXX::CCommand command;
  command.m_Words = {"/bin/tool", "show"};
  EXPECT_EQ(TLXX::Explain(Result(ERunEnd::Unreadable, EIO), command, {}),
            "cannot read the output of /bin/tool: Input/output error");
  EXPECT_EQ(TLXX::Explain(Result(ERunEnd::StatusTaken, 0), command, {}), "");
}

TEST(RunnerTest, FailedStart_IsWorthRepeatingForAPassingReasonOnly) {
  for (const int error : {EAGAIN, ENOMEM, ETXTBSY, EMFILE, ENFILE}) {
    EXPECT_TRUE(Result(ERunEnd::NotStarted, error).IsWorthRepeating()) << error;
  }
  for (const int error : {ENOENT, EACCES, ENOEXEC, ELOOP, E2BIG, 0}) {
    EXPECT_FALSE(Result(ERunEnd::NotStarted, error).IsWorthRepeating()) << error;
  }
}

}  // namespace
