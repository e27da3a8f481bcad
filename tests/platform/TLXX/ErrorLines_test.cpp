#include "ErrorLines.h"

#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using TLXX::CErrorLines;
using TLXX::MAX_ERROR_TEXT;

class ErrorLinesTest : public testing::Test {
 protected:
  std::vector<std::string> got_;
  CErrorLines lines_{[this](const std::string& line) { got_.push_back(line); }};
};

TEST_F(ErrorLinesTest, Lines_AreHandedOnAsSoonAsTheyAreWhole) {
  lines_.Take("a\nb");
  EXPECT_THAT(got_, ElementsAre("a"));
  lines_.Take("c\n\nd");
  EXPECT_THAT(got_, ElementsAre("a", "bc", ""));
  lines_.End();
  EXPECT_THAT(got_, ElementsAre("a", "bc", "", "d"));
}

TEST_F(ErrorLinesTest, NoText_IsNoLine) {
  lines_.Take("");
  lines_.End();
  EXPECT_THAT(got_, IsEmpty());
}

TEST_F(ErrorLinesTest, TextUpToTheCap_IsHandedOnWhole) {
  lines_.Take(std::string(MAX_ERROR_TEXT - 1, 'x') + '\n');
  lines_.End();
  EXPECT_THAT(got_, ElementsAre(std::string(MAX_ERROR_TEXT - 1, 'x')));
}

TEST_F(ErrorLinesTest, TextBeyondTheCap_IsCountedAndSaidOnce) {
  for (std::size_t taken = 0; taken < MAX_ERROR_TEXT; taken += 4) lines_.Take("abc\n");
  got_.clear();
  lines_.Take("more\n");
  lines_.Take("and more");
  EXPECT_THAT(got_, IsEmpty());
  lines_.End();
  EXPECT_THAT(got_, ElementsAre("(13 more bytes are not shown)"));
  lines_.End();
  EXPECT_EQ(got_.size(), 1U);
}

}  // namespace
