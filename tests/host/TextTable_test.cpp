#include "TextTable.h"

#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace {

using vxhost::TextTable;
using Lines = std::vector<std::string>;

TEST(TextTable, Columns_AreAsWideAsTheirWidestCell) {
  TextTable table({{"name"}, {"size", true}, {"text"}});
  table.Add({"a", "1", "x"});
  table.Add({"longer", "12345", ""});
  EXPECT_EQ(table.Lines(), (Lines{"name     size  text", "a           1  x", "longer  12345  "}));
  EXPECT_EQ(TextTable({{"only"}, {"headings"}}).Text(), "");
}

TEST(TextTable, Widths_AreColumnsOfTheTerminal) {
  TextTable table({{}, {}});
  table.Add({"36 °C", "|"});
  table.Add({"漢字", "|"});            // two columns each
  table.Add({"e\u0301t\u00E9", "|"});  // an accent of its own takes none
  table.Add({"five5", "|"});
  EXPECT_EQ(table.Lines(), (Lines{"36 °C  |", "漢字   |", "e\u0301t\u00E9    |", "five5  |"}));
}

TEST(TextTable, AColumnInWhichNothingStands_TakesNoRoom) {
  TextTable table({{}, {}, {}});
  table.Add({"a", "", "c"});
  table.Add({"b"});
  EXPECT_EQ(table.Text("> "), "> a  c\n> b  \n");
  EXPECT_EQ(TextTable({{}, {}}).Text(), "");
}

TEST(TextTable, Texts_ArePutAsTheyAre) {
  TextTable table({{}, {}});
  table.Add({"\\x1b[31m", " two  blanks "});
  EXPECT_EQ(table.Lines(), (Lines{"\\x1b[31m   two  blanks "}));
}

TEST(TextTable, AWideRow_StaysOneLine) {
  TextTable table({{}, {}});
  table.Add({std::string(500, 'x'), std::string(5000, 'y')});
  EXPECT_EQ(table.Lines(), (Lines{std::string(500, 'x') + "  " + std::string(5000, 'y')}));
}

}  // namespace
