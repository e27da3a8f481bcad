#include "CommandText.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using TLXX::CCommand;
using TLXX::MergeEnvironment;
using TLXX::SplitCommand;
using TLXX::StatisticsKey;

CCommand Split(const std::string& text) {
  CCommand command;
  std::string reason;
  EXPECT_TRUE(SplitCommand(text, command, reason)) << reason;
  return command;
}

TEST(CommandTextTest, Split_OfAPrefixedCommand_TakesItApart) {
  const CCommand command = Split("LD_PRELOAD=/o/bin/lib.so.2.0.0 /o/bin/tool delete -f 3 2>&1");
  EXPECT_THAT(command.m_Environment, ElementsAre("LD_PRELOAD=/o/bin/lib.so.2.0.0"));
  EXPECT_THAT(command.m_Words, ElementsAre("/o/bin/tool", "delete", "-f", "3"));
  EXPECT_TRUE(command.m_JoinErrors);
}

TEST(CommandTextTest, Split_TakesOnlyNamesForAssignments) {
  EXPECT_THAT(Split("_a1=x B=  tool").m_Environment, ElementsAre("_a1=x", "B="));
  for (const char* const word : {"1a=x", "=x", "a-b=x", "a.b=x", "\xC3\xA4=x", "/a=x", "a"}) {
    EXPECT_THAT(Split(word).m_Environment, IsEmpty()) << word;
    EXPECT_THAT(Split(word).m_Words, ElementsAre(word));
  }
}

TEST(CommandTextTest, Split_HonoursOneTrailingRedirectionAlone) {
  EXPECT_FALSE(Split("tool 2>&1 a").m_JoinErrors);
  EXPECT_FALSE(Split("tool a2>&1").m_JoinErrors);
  EXPECT_THAT(Split("tool 2>&1 2>&1").m_Words, ElementsAre("tool", "2>&1"));
  EXPECT_TRUE(Split("tool 2>&1 \t ").m_JoinErrors);
}

TEST(CommandTextTest, Split_OfATextWithoutProgram_Fails) {
  for (const std::string text : {"", " \t ", "2>&1", "A=b", "A=b B=c 2>&1"}) {
    CCommand command;
    std::string reason;
    EXPECT_FALSE(SplitCommand(text, command, reason)) << text;
    EXPECT_EQ(reason, "the command text names no program");
  }
}

TEST(CommandTextTest, MergeEnvironment_ReplacesByNameAndKeepsTheRest) {
  const char* const own[] = {"A=1", "AB=2", "odd", "A=again", nullptr};
  EXPECT_THAT(MergeEnvironment(own, {"A=3", "C=4", "C=5"}),
              ElementsAre("AB=2", "odd", "A=3", "C=5"));
  EXPECT_THAT(MergeEnvironment(nullptr, {"A=1"}), ElementsAre("A=1"));
}

TEST(CommandTextTest, StatisticsKey_ReplacesWholeNumbersOnly) {
  EXPECT_EQ(StatisticsKey("show  -o json -smart -torvex 12"), "show -o json -smart -torvex N");
  EXPECT_EQ(StatisticsKey("delete -f -torvex 0 2>&1"), "delete -f -torvex N 2>&1");
  EXPECT_EQ(StatisticsKey("a LBAFormat=0 3N=50GB -1"), "a LBAFormat=0 3N=50GB -1");
  EXPECT_EQ(StatisticsKey(""), "");
}

TEST(CommandTextTest, ArgumentsWithANumber_AreAboutOneDrive) {
  EXPECT_TRUE(TLXX::IsAboutOneDrive("show -o json -smart -torvex 12"));
  EXPECT_TRUE(TLXX::IsAboutOneDrive("0"));
  EXPECT_FALSE(TLXX::IsAboutOneDrive("show -all -o json -torvex"));
  EXPECT_FALSE(TLXX::IsAboutOneDrive("a LBAFormat=0 -1 3N"));
  EXPECT_FALSE(TLXX::IsAboutOneDrive(""));
}

}  // namespace
