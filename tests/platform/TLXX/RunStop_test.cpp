#include "Scripts.h"

#include <thread>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <TLXX/RunStop.h>
#include <TLXX/System.h>

namespace {

using namespace std::chrono_literals;
using testing::HasSubstr;
using TLXX::CRunLimits;
using TLXX::CRunStop;
using TLXX::CSystem;

// No limit of time, so that only the stop ends what hangs.
class RunStopTest : public testing::Test {
 protected:
  RunStopTest() {
    CRunLimits limits;
    limits.m_QueryTimeout = 0ms;
    limits.m_RepeatPause = 1h;
    CSystem::SetRunLimits(limits);
  }
  ~RunStopTest() override {
    CSystem::SetRunLimits(CRunLimits{});
    EXPECT_FALSE(tlxxtest::HasChildren());
    EXPECT_EQ(tlxxtest::OpenDescriptors(), descriptors_);
  }

  static std::string LastFailure(const std::string& arguments) {
    return CSystem::RunStatistics()[arguments].m_LastFailure;
  }

  const std::size_t descriptors_ = tlxxtest::OpenDescriptors();
  tlxxtest::Scripts scripts_;
};

TEST_F(RunStopTest, Request_KillsTheGroupOfARunningQueryWhichFails) {
  tlxxtest::LifeLine line(scripts_.Path("line"));
  const std::string tool = scripts_.Add("tool", line.Hold() + "sleep 600 & sleep 600");
  CRunStop stop;
  int result = -1;
  std::string output = "from before";
  std::thread caller([&] {
    const CRunStop::CScope scope(stop);
    result = CSystem::ExecuteCommand(tool, "killed", output);
  });
  EXPECT_TRUE(line.WaitUntilHeld());
  stop.Request();
  caller.join();
  EXPECT_EQ(result, 0);
  EXPECT_EQ(output, "");
  EXPECT_TRUE(line.WaitUntilReleased());
  EXPECT_THAT(LastFailure("killed"), HasSubstr("because its caller is to stop"));
}

TEST_F(RunStopTest, Request_EndsThePauseBeforeARepeat) {
  const std::string tool = scripts_.Add("tool", "echo >> $DIR/runs\nexit 1");
  CRunStop stop;
  int result = -1;
  std::thread caller([&] {
    const CRunStop::CScope scope(stop);
    std::string output;
    result = CSystem::ExecuteCommand(tool, "paused", output);
  });
  while (scripts_.Lines("runs") == 0) std::this_thread::sleep_for(1ms);
  stop.Request();
  caller.join();
  EXPECT_EQ(result, 0);
  EXPECT_EQ(scripts_.Lines("runs"), 1);
}

TEST_F(RunStopTest, AfterTheRequest_QueriesOfTheScopeStartNothing) {
  const std::string tool = scripts_.Add("tool", "echo >> $DIR/runs\necho out");
  CRunStop stop;
  stop.Request();
  std::string output;
  {
    const CRunStop::CScope scope(stop);
    EXPECT_EQ(CSystem::ExecuteCommand(tool, "refused", output), 0);
    EXPECT_EQ(scripts_.Lines("runs"), 0);
    std::thread other([&] { EXPECT_EQ(CSystem::ExecuteCommand(tool, "other", output), 1); });
    other.join();
    EXPECT_EQ(scripts_.Lines("runs"), 1);
  }
  EXPECT_EQ(CSystem::ExecuteCommand(tool, "after", output), 1);
}

TEST_F(RunStopTest, AfterTheRequest_CommandsThatChangeDrivesStillRun) {
  const std::string tool = scripts_.Add("tool", "echo done");
  CRunStop stop;
  stop.Request();
  const CRunStop::CScope scope(stop);
  std::vector<std::string> lines;
  EXPECT_EQ(CSystem::ExecuteCommand(tool, "change", lines), 1);
  EXPECT_THAT(lines, testing::ElementsAre("done"));
}

}  // namespace
