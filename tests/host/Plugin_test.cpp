#include "Plugin.h"

#include <gtest/gtest.h>

#include <TLX/Misc/Clock.h>

namespace {

using TLX::Misc::CClock;

// Notes at what time scale it was called.
class ScaleProbe : public IPLUGINAPI {
 public:
  unsigned int Execute(PI::_COMMAND, unsigned long, void*) override {
    scale = CClock::TimeScale();
    return 20042;
  }
  double scale = 0;
};

class ExecuteCommandTest : public testing::Test {
 protected:
  ExecuteCommandTest() { CClock::SetTimeScale(20); }
  ~ExecuteCommandTest() override { CClock::SetTimeScale(1); }

  ScaleProbe probe_;
};

TEST_F(ExecuteCommandTest, Command3_RunsInRealTimeAndLeavesTheTimeScaleAsItWas) {
  EXPECT_EQ(vxhost::ExecuteCommand(probe_, PI::COMMAND_DEINITIALIZE, 0, nullptr), 20042U);
  EXPECT_EQ(probe_.scale, 1);
  EXPECT_EQ(CClock::TimeScale(), 20);
}

TEST_F(ExecuteCommandTest, OtherCommands_RunAtTheTimeScale) {
  EXPECT_EQ(vxhost::ExecuteCommand(probe_, PI::COMMAND_INITIALIZE, 0, nullptr), 20042U);
  EXPECT_EQ(probe_.scale, 20);
}

}  // namespace
