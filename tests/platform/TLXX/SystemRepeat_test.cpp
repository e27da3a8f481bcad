#include "Scripts.h"

#include <csignal>

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <TLX/Misc/Clock.h>
#include <TLXX/System.h>

namespace {

using namespace std::chrono_literals;
using testing::HasSubstr;
using TLXX::CRunLimits;
using TLXX::CRunStatistics;
using TLXX::CSystem;
using tlxxtest::Scripts;
using tlxxtest::TraceCapture;

// A pause of a moment, so that the tests are quick; what is repeated does not depend on it.
class SystemRepeatTest : public testing::Test {
 protected:
  SystemRepeatTest() { SetLimits(60s, 1ms); }
  ~SystemRepeatTest() override {
    CSystem::SetRunLimits(CRunLimits{});
    EXPECT_FALSE(tlxxtest::HasChildren());
  }

  static void SetLimits(std::chrono::milliseconds query, std::chrono::milliseconds pause) {
    CRunLimits limits;
    limits.m_QueryTimeout = query;
    limits.m_RepeatPause = pause;
    CSystem::SetRunLimits(limits);
  }

  // A script that notes each run before it does what the body says; $N is the number of the run.
  std::string Counting(const std::string& body) {
    return scripts_.Add("tool", "echo >> $DIR/runs\nN=$(wc -l < $DIR/runs)\n" + body);
  }
  int Runs() const { return scripts_.Lines("runs"); }

  // Each test counts under its own name.
  static std::string Arguments() {
    return testing::UnitTest::GetInstance()->current_test_info()->name();
  }
  int Run(const std::string& command) {
    return CSystem::ExecuteCommand(command, Arguments(), output_);
  }
  static CRunStatistics Counters() { return CSystem::RunStatistics()[Arguments()]; }

  Scripts scripts_;
  std::string output_;
};

TEST_F(SystemRepeatTest, Query_ThatFailsSilentlyOnce_IsRunOnceMore) {
  EXPECT_EQ(Run(Counting("[ $N = 2 ] && echo text; exit 3")), 1);
  EXPECT_EQ(output_, "text\n");
  EXPECT_EQ(Runs(), 2);
  EXPECT_EQ(Counters().m_Runs, 1U);
  EXPECT_EQ(Counters().m_Repeats, 1U);
  EXPECT_EQ(Counters().m_Failures, 0U);
  EXPECT_THAT(Counters().m_LastRepeat, HasSubstr("ended with status 3 and printed nothing"));
  EXPECT_EQ(Counters().m_LastFailure, "");
}

TEST_F(SystemRepeatTest, Query_ThatFailsSilentlyTwice_ReturnsItsEmptyOutputAndCountsAsFailed) {
  const TraceCapture trace;
  EXPECT_EQ(Run(Counting("exit 3")), 1);
  EXPECT_EQ(output_, "");
  EXPECT_EQ(Runs(), 2);
  EXPECT_EQ(Counters().m_Failures, 1U);
  EXPECT_THAT(Counters().m_LastFailure, HasSubstr("ended with status 3 and printed nothing"));
  EXPECT_THAT(trace.Lines(), testing::ElementsAre(HasSubstr("run: "), HasSubstr("once more: "),
                                                  HasSubstr("failed: ")));
}

TEST_F(SystemRepeatTest, Query_ThatDiesSilentlyBySignal_IsRunOnceMore) {
  EXPECT_EQ(Run(Counting("kill -KILL $$")), 1);
  EXPECT_EQ(Runs(), 2);
  EXPECT_THAT(Counters().m_LastFailure, HasSubstr("signal 9 (Killed)"));
}

TEST_F(SystemRepeatTest, Query_ThatFailsWithText_IsNotRepeated) {
  EXPECT_EQ(Run(Counting("echo text; exit 3")), 1);
  EXPECT_EQ(output_, "text\n");
  EXPECT_EQ(Runs(), 1);
  EXPECT_EQ(Counters().m_Failures, 0U);
}

TEST_F(SystemRepeatTest, Query_ThatSucceedsSilently_IsNotRepeated) {
  EXPECT_EQ(Run(Counting("exit 0")), 1);
  EXPECT_EQ(Runs(), 1);
}

TEST_F(SystemRepeatTest, Query_ThatTheRunnerEnded_IsNotRepeated) {
  SetLimits(500ms, 1ms);
  EXPECT_EQ(Run(Counting("sleep 600")), 0);
  EXPECT_EQ(Runs(), 1);
  EXPECT_EQ(Counters().m_Repeats, 0U);
  SetLimits(60s, 0ms);
  EXPECT_EQ(Run("/bin/true"), 1);
}

TEST_F(SystemRepeatTest, Query_WithRepeatsTurnedOff_IsNotRepeated) {
  SetLimits(60s, 0ms);
  EXPECT_EQ(Run(Counting("exit 3")), 1);
  EXPECT_EQ(Runs(), 1);
}

TEST_F(SystemRepeatTest, Query_OfAMissingProgram_IsNotRepeated) {
  EXPECT_EQ(Run(scripts_.Path("missing")), 0);
  EXPECT_EQ(Counters().m_Repeats, 0U);
  EXPECT_EQ(Counters().m_Failures, 1U);
}

TEST_F(SystemRepeatTest, Lines_AreNeverRepeated) {
  std::vector<std::string> lines;
  EXPECT_EQ(CSystem::ExecuteCommand(Counting("exit 3"), Arguments(), lines), 1);
  EXPECT_TRUE(lines.empty());
  EXPECT_EQ(Runs(), 1);
  EXPECT_EQ(Counters().m_Failures, 1U);
}

TEST_F(SystemRepeatTest, Query_OfAProgramBeingWritten_IsRunOnceItIsThere) {
  const std::string tool = scripts_.Add("tool", "echo text");
  int writer = open(tool.c_str(), O_WRONLY | O_CLOEXEC);
  ASSERT_GE(writer, 0);
  EXPECT_EQ(Run(tool), 0);
  EXPECT_EQ(Counters().m_Repeats, 1U);
  EXPECT_THAT(Counters().m_LastFailure, HasSubstr("Text file busy"));
  // The same, written to the end while the runner pauses.
  const TraceCapture trace([&writer](const std::string& line) {
    if (line.rfind("once more: ", 0) == 0) close(std::exchange(writer, -1));
  });
  EXPECT_EQ(Run(tool), 1);
  EXPECT_EQ(output_, "text\n");
  EXPECT_EQ(Counters().m_Repeats, 2U);
  EXPECT_EQ(writer, -1);
}

TEST_F(SystemRepeatTest, LogAfterATimeout_GetsATenthOfTheLimitUntilItSucceeds) {
  const std::string hang = scripts_.Add("hang", "sleep 600");
  const std::string log = Arguments() + " 3";
  const auto run = [&](const std::string& tool, const std::string& arguments) {
    return CSystem::ExecuteCommand(tool, arguments, output_);
  };
  const auto failure = [] { return CSystem::RunStatistics()[Arguments() + " N"].m_LastFailure; };
  SetLimits(500ms, 1ms);
  EXPECT_EQ(run(hang, log), 0);
  EXPECT_THAT(failure(), HasSubstr("within 500 ms"));
  SetLimits(10s, 1ms);
  EXPECT_EQ(run(hang, log), 0);
  EXPECT_THAT(failure(), testing::Not(HasSubstr("within 10000 ms")));
  // Other queries have the whole limit: a slow inventory is not cut off.
  EXPECT_EQ(run(scripts_.Add("slow", "sleep 1.2; echo text"), Arguments()), 1);
  EXPECT_EQ(output_, "text\n");
  // A good run took so long, so the tenth is no longer enough.
  EXPECT_EQ(run(scripts_.Add("slower", "sleep 1.5; echo text"), log), 1);
}

TEST_F(SystemRepeatTest, Limits_AreRealTimeWhateverTheTimeScale) {
  SetLimits(2s, 1ms);
  TLX::Misc::CClock::SetTimeScale(1'000'000);
  const int result = Run(scripts_.Add("tool", "sleep 0.1; echo text"));
  TLX::Misc::CClock::SetTimeScale(1);
  EXPECT_EQ(result, 1);
  EXPECT_EQ(output_, "text\n");
}

TEST_F(SystemRepeatTest, Lines_AreNotShortenedByATimeoutOfAQuery) {
  SetLimits(200ms, 1ms);
  EXPECT_EQ(Run(scripts_.Add("hang", "sleep 600")), 0);
  std::vector<std::string> lines;
  const std::string slow = scripts_.Add("slow", "sleep 0.3; echo done");
  EXPECT_EQ(CSystem::ExecuteCommand(slow, Arguments(), lines), 1);
  EXPECT_THAT(lines, testing::ElementsAre("done"));
  SetLimits(60s, 0ms);
  EXPECT_EQ(Run("/bin/true"), 1);
}

}  // namespace
