#include "ToolWatch.h"

#include "support/Files.h"

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <string>

#include <Facts/Tool.h>
#include <gtest/gtest.h>

#include <TLXX/System.h>

namespace {

// A tool whose answer is decided by a file beside it: it fails while the file is there.
class Tool {
 public:
  Tool() {
    vxtest::WriteFile(directory_ / "tool",
                      "#!/bin/sh\n[ -e \"${0%/*}/broken\" ] && exit 1\necho fine\n", true);
    TLXX::CRunLimits limits = TLXX::CSystem::RunLimits();
    limits.m_RepeatPause = std::chrono::milliseconds(0);
    TLXX::CSystem::SetRunLimits(limits);
  }
  void Break() { vxtest::WriteFile(directory_ / "broken", ""); }
  void Mend() { std::filesystem::remove(directory_ / "broken"); }
  void Run(const std::string& arguments) {
    std::string output;
    static_cast<void>(
        TLXX::CSystem::ExecuteCommand((directory_ / "tool").string(), arguments, output));
  }

 private:
  vxtest::TempDir directory_;
};

std::size_t LinesIn(const std::string& text) {
  return static_cast<std::size_t>(std::count(text.begin(), text.end(), '\n'));
}

TEST(ToolWatch, Failures_AreSaidOnceAndRecoveryOnce) {
  Tool tool;
  const vxhost::ToolWatch watch;
  testing::internal::CaptureStderr();
  tool.Run("show 1");
  EXPECT_EQ(vxhost::ToolWatch::LastFailureOfThisThread(), "");
  tool.Break();
  tool.Run("show 1");
  tool.Run("show 2");
  tool.Run("show 1");
  EXPECT_NE(vxhost::ToolWatch::LastFailureOfThisThread(), "");
  tool.Mend();
  tool.Run("show 1");
  tool.Run("show 2");
  tool.Run("show 2");
  const std::string said = testing::internal::GetCapturedStderr();
  EXPECT_EQ(LinesIn(said), 2U) << said;
  EXPECT_NE(said.find("has started to fail"), std::string::npos) << said;
  EXPECT_NE(said.find("works again, after 3 failed runs"), std::string::npos) << said;
}

TEST(ToolWatch, WorksAgain_OnlyWhenEveryCommandThatFailedDoes) {
  Tool tool;
  const vxhost::ToolWatch watch;
  testing::internal::CaptureStderr();
  tool.Break();
  tool.Run("show 1");
  tool.Run("show 2");
  tool.Mend();
  tool.Run("show 1");
  EXPECT_EQ(LinesIn(testing::internal::GetCapturedStderr()), 1U);
}

TEST(ToolWatch, AnInventoryThatCannotBeRead_IsAFailureWithTheToolsOwnWords) {
  vxtest::TempDir directory;
  const auto answer = [&](const std::string& text, const std::string& arguments) {
    vxtest::WriteFile(directory / "answer", text);
    std::string output;
    EXPECT_EQ(TLXX::CSystem::ExecuteCommand("/bin/sh " + (directory / "tool").string(), arguments,
                                            output),
              1);
    return vxhost::ToolWatch::LastFailureOfThisThread();
  };
  vxtest::WriteFile(directory / "tool", "cat \"${0%/*}/answer\"\n", true);
  const vxhost::ToolWatch watch;
  testing::internal::CaptureStderr();
  const std::string inventory = Facts::INVENTORY_ARGUMENTS;
  EXPECT_EQ(answer("{}", inventory), "");
  EXPECT_EQ(answer("You must be root\n", inventory),
            "the tool's answer is no JSON object (at byte 0 of 17); it says \"You must be root\"");
  EXPECT_EQ(answer("{\"A\":", inventory),
            "the tool's answer is no JSON object (at byte 5 of 5); it says \"{\"A\":\"");
  EXPECT_EQ(answer("", inventory), "the tool is silent");
  // A drive that was pulled has no log.
  EXPECT_EQ(answer("No device selected\n", "show -all -o json -torvex 0"), "");
  EXPECT_EQ(answer("{}", inventory), "");
  const std::string said = testing::internal::GetCapturedStderr();
  EXPECT_EQ(LinesIn(said), 2U) << said;
  EXPECT_NE(said.find("it says \"You must be root\" (show -all"), std::string::npos) << said;
}

TEST(ToolWatch, Statistics_AreATableByCommand) {
  Tool tool;
  tool.Run("table 1");
  tool.Run("table 2");
  const std::string table = vxhost::RenderRunStatistics();
  EXPECT_NE(table.find("table N"), std::string::npos) << table;
  EXPECT_TRUE(table.starts_with("command")) << table;
}

}  // namespace
