// What the host reads of the tool's answers itself.
#include "DriveTool.h"

#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using testing::EndsWith;
using testing::HasSubstr;
using testing::StartsWith;
using vxhost::ToolAnswer;

std::string ProblemOf(const std::string& output) {
  ToolAnswer answer;
  return answer.Read(output);
}

TEST(ToolAnswer, AnObject_IsRead) {
  ToolAnswer answer;
  ASSERT_EQ(answer.Read(R"( {"A":{"B":"\u00e9\n","C":[1,2]}} )"), "");
  EXPECT_STREQ(answer.Root()["A"]["B"].GetString(), "\u00e9\n");
  EXPECT_EQ(answer.Root()["A"]["C"].Size(), 2U);
  ASSERT_EQ(answer.Read("\xEF\xBB\xBF{\"A\":1}"), "");
  EXPECT_EQ(answer.Root()["A"].GetInt(), 1);
  // And then another one.
  ASSERT_EQ(answer.Read("{}"), "");
  EXPECT_EQ(answer.Root().MemberCount(), 0U);
}

TEST(ToolAnswer, WhatIsNone_IsToldWithTheToolsOwnFirstWords) {
  EXPECT_EQ(ProblemOf("You must be root to run this tool\n"),
            "the tool's answer is no JSON object (at byte 0 of 34); it says \"You must be root to "
            "run this tool\"");
  EXPECT_EQ(ProblemOf(R"([{"a":1}])"),
            "the tool's answer is no JSON object (at byte 0 of 9); it says \"[{\"a\":1}]\"");
  EXPECT_THAT(ProblemOf(R"({"a":1)"), HasSubstr("(at byte 6 of 6); it says \"{\"a\":1\""));
  EXPECT_THAT(ProblemOf("{} and more"), EndsWith("it says \"{} and more\""));
  EXPECT_THAT(ProblemOf("\x1b[31mwarning\x07\n{}"), EndsWith("\"\\x1b[31mwarning\\x07\\x0a{}\""));
  EXPECT_THAT(ProblemOf(std::string(5000, 'x')), EndsWith("\"" + std::string(200, 'x') + "...\""));
  EXPECT_THAT(ProblemOf(std::string(300, '[')),
              StartsWith("the tool's answer nests deeper than 256 levels; it says \"[[["));
  EXPECT_EQ(ProblemOf("\xEF\xBB\xBF{,}"),
            "the tool's answer is no JSON object (at byte 4 of 6); it says \"\\u{feff}{,}\"");
  EXPECT_THAT(ProblemOf("No device selected"), EndsWith("it says \"No device selected\""));
}

TEST(ToolAnswer, WhatStandsBehindANul_IsNoAnswer) {
  EXPECT_THAT(ProblemOf(std::string("{}\0x", 4)),
              StartsWith("the tool's answer is no JSON object (at byte 2 of 4)"));
  EXPECT_EQ(ProblemOf(std::string("{}\0", 3)), "");
}

TEST(ToolAnswer, OneThatTakesTooMuchMemory_IsRefusedAndTheNextOneIsRead) {
  // Two bytes a number, sixteen in memory.
  constexpr std::size_t NUMBERS = std::size_t{20} << 20U;
  std::string list = R"({"a":[)";
  for (std::size_t i = 0; i < NUMBERS; ++i) list += "0,";
  ToolAnswer answer;
  EXPECT_THAT(answer.Read(list + "0]}"),
              StartsWith("the tool's answer of " + std::to_string(list.size() + 3) +
                         " bytes takes more memory than there is for it; it says \"{\"a\":[0,0,"));
  EXPECT_EQ(answer.Read("{}"), "");
}

TEST(ToolAnswer, ABigInventory_IsRead) {
  std::string inventory = "{";
  for (int drive = 0; drive < 20'000; ++drive) {
    inventory += (drive == 0 ? "\"Intel SSD " : ",\"Intel SSD ") + std::to_string(drive) + "\":{";
    for (int key = 0; key < 30; ++key) {
      inventory += (key == 0 ? "\"Key number " : ",\"Key number ") + std::to_string(key) + "\":\"" +
                   std::string(60, 'x') + "\"";
    }
    inventory += "}";
  }
  ToolAnswer answer;
  ASSERT_EQ(answer.Read(inventory + "}"), "");
  EXPECT_EQ(answer.Root().MemberCount(), 20'000U);
}

TEST(JsonMemory, WhatIsNotThere_IsThrownAndNotNull) {
  vxhost::JsonMemory memory(100);
  void* const block = memory.Malloc(60);
  EXPECT_THROW(static_cast<void>(memory.Malloc(41)), std::bad_alloc);
  void* const grown = memory.Realloc(block, 60, 100);
  ASSERT_NE(grown, nullptr);
  EXPECT_THROW(static_cast<void>(memory.Realloc(grown, 100, 101)), std::bad_alloc);
  EXPECT_EQ(memory.Malloc(0), nullptr);
  vxhost::JsonMemory::Free(grown);
  vxhost::JsonMemory none;
  EXPECT_THROW(static_cast<void>(none.Malloc(std::size_t{1} << 60U)), std::bad_alloc);
}

}  // namespace
