#include "piTorvex.h"

#include <limits>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using NAMESPACE_piTorvex::COperationDescriptor;
using NAMESPACE_piTorvex::CopyPropertiesToRecord;
using NAMESPACE_piTorvex::CPropertyRow;
using NAMESPACE_piTorvex::FormatText;
using NAMESPACE_piTorvex::StoreValue;
using NAMESPACE_piTorvex::WalkProperties;
using testing::ElementsAre;
using testing::IsEmpty;

struct Thing {
  std::string name;
  unsigned long count = 0;
};

struct Row {
  std::string name = "unset";
  int count = -1;
};

constexpr auto THINGS = std::to_array<CPropertyRow<Thing, Row>>({
    {{PI::_PROPERTY_ID{10}, 100, 1, 1, -1, PI::KIND_STRING, PI::UNIT_NONE, 1},
     [](const Thing& thing, PI::CProperty& property) {
       property.SetValue(thing.name);
       return !thing.name.empty();
     },
     &Row::name},
    {{PI::_PROPERTY_ID{20}, 200, 1, 1, -1, PI::KIND_UNSIGNED, PI::UNIT_HOURS, 1},
     [](const Thing& thing, PI::CProperty& property) {
       property.SetValue(thing.count);
       return true;
     },
     &Row::count},
    {{PI::_PROPERTY_ID{30}, 300, 1, 1, -1, PI::KIND_STRING, PI::UNIT_NONE, 1},
     [](const Thing&, PI::CProperty& property) {
       property.SetValue("constant");
       return true;
     },
     {}},
});

std::vector<unsigned int> Ids(const std::vector<PI::CProperty>& properties) {
  std::vector<unsigned int> ids;
  for (const PI::CProperty& property : properties) ids.push_back(property.m_PropertyID);
  return ids;
}

template <class Field>
Field Stored(const PI::CPropertyValue& value, Field before) {
  StoreValue(value, before);
  return before;
}

TEST(WalkProperties, ForAll_GivesTheRowsInOrderAndEmptiesTheList) {
  std::vector<PI::CProperty> out(4);
  WalkProperties(THINGS, Thing{"n", 7}, 1, out);
  EXPECT_THAT(Ids(out), ElementsAre(10U, 20U, 30U));
  EXPECT_EQ(out[1].m_LabelID, 200U);
  EXPECT_EQ(out[1].m_Unit, PI::UNIT_HOURS);
  EXPECT_FALSE(out[1].m_Settable);
}

TEST(WalkProperties, ForOne_GivesThatRowOrNothing) {
  std::vector<PI::CProperty> out(4);
  WalkProperties(THINGS, Thing{"n", 7}, 20, out);
  EXPECT_THAT(Ids(out), ElementsAre(20U));
  WalkProperties(THINGS, Thing{"n", 7}, 99, out);
  EXPECT_THAT(out, IsEmpty());
}

TEST(WalkProperties, LeavesOutWhatTheObjectDoesNotHave) {
  std::vector<PI::CProperty> out;
  WalkProperties(THINGS, Thing{"", 7}, 1, out);
  EXPECT_THAT(Ids(out), ElementsAre(20U, 30U));
}

TEST(CopyPropertiesToRecord, FillsTheFieldsAndLeavesTheOthers) {
  std::vector<PI::CProperty> properties;
  Row row;
  WalkProperties(THINGS, Thing{"n", 7}, 1, properties);
  CopyPropertiesToRecord(THINGS, properties, row);
  EXPECT_EQ(row.name, "n");
  EXPECT_EQ(row.count, 7);
  Row untouched;
  WalkProperties(THINGS, Thing{"", 7}, 1, properties);
  CopyPropertiesToRecord(THINGS, properties, untouched);
  EXPECT_EQ(untouched.name, "unset");
}

TEST(StoreValue, IntoAnInteger_SaturatesAndNeverGivesItsNull) {
  constexpr int highest = std::numeric_limits<int>::max();
  EXPECT_EQ(Stored(PI::CLongData{7}, 1), 7);
  EXPECT_EQ(Stored(PI::CLongData{~0UL}, 1), highest);
  EXPECT_EQ(Stored(PI::CLongData{2147483648UL}, 1), highest);
  EXPECT_EQ(Stored(PI::CSignedLongData{std::numeric_limits<long>::min()}, 1), -highest);
  EXPECT_EQ(Stored(PI::CFloatData{1e20F}, 1), highest);
  EXPECT_EQ(Stored(PI::CFloatData{-1e20F}, 1), -highest);
  EXPECT_EQ(Stored(PI::CChoiceData{40024, {}}, 1), 40024);
  EXPECT_EQ(Stored(PI::CRangeData{33, 0, 100, 1}, 1), 33);
  EXPECT_EQ(Stored(PI::CBoolData{true}, 5), 1);
}

TEST(StoreValue, IntoAnUnsigned_SaturatesAtTheHighestSigned) {
  EXPECT_EQ(Stored(PI::CLongData{(1UL << 63U) - 1}, 1UL), (1UL << 63U) - 1);
  EXPECT_EQ(Stored(PI::CLongData{1UL << 63U}, 1UL), (1UL << 63U) - 1);
  EXPECT_EQ(Stored(PI::CLongData{~0UL - 1}, 1UL), (1UL << 63U) - 1);
  EXPECT_EQ(Stored(PI::CLongData{~0UL}, 1UL), ~0UL);  // the null
  EXPECT_EQ(Stored(PI::CSignedLongData{-5}, 1UL), 0UL);
  EXPECT_EQ(Stored(PI::CFloatData{2.75F}, 1UL), 2UL);
  EXPECT_EQ(Stored(PI::CChoiceData{3, {}}, 1UL), 3UL);
}

TEST(StoreValue, IntoAReal_TakesWholeNumbersToo) {
  EXPECT_DOUBLE_EQ(Stored(PI::CFloatData{2.75F}, 1.0), 2.75);
  EXPECT_DOUBLE_EQ(Stored(PI::CSignedLongData{-5}, 1.0), -5.0);
  EXPECT_DOUBLE_EQ(Stored(PI::CLongData{1UL << 63U}, 1.0), 9223372036854775808.0);
  EXPECT_DOUBLE_EQ(Stored(PI::CStringData{"5"}, 1.0), 1.0);
}

TEST(StoreValue, OfAnUnknownNumber_LeavesTheField) {
  EXPECT_EQ(Stored(PI::CFloatData{-1.0F}, 9), 9);
  EXPECT_EQ(Stored(PI::CFloatData{-1.0F}, 9UL), 9UL);
  EXPECT_DOUBLE_EQ(Stored(PI::CFloatData{-1.0F}, 9.0), 9.0);
  EXPECT_DOUBLE_EQ(Stored(PI::CFloatData{-1.5F}, 9.0), -1.5);
}

TEST(StoreValue, OfTexts_TakesThemAsTheyStand) {
  EXPECT_EQ(Stored(PI::CStringData{"a'b"}, std::string("x")), "a'b");
  EXPECT_EQ(Stored(PI::CXMLData{"<a/>"}, std::string("x")), "<a/>");
  EXPECT_EQ(Stored(PI::CLongData{5}, std::string("x")), "x");
  EXPECT_EQ(Stored(PI::CStringData{"5"}, 3), 3);
}

TEST(StoreValue, OfMultipleChoices_GivesTheirCodes) {
  const std::vector<std::string> before = {"x"};
  EXPECT_THAT(Stored(PI::CMultiValueData{{40459, 40452}, {1, 2}}, before),
              ElementsAre("40459", "40452"));
  EXPECT_THAT(Stored(PI::CMultiValueData{}, before), IsEmpty());
  EXPECT_THAT(Stored(PI::CMultiLongData{{~0UL}}, before), ElementsAre("18446744073709551615"));
  EXPECT_THAT(Stored(PI::CMultiStringData{{"a", "b"}}, before), ElementsAre("a", "b"));
  EXPECT_THAT(Stored(PI::CStringData{"a"}, before), ElementsAre("x"));
}

TEST(MakeOperation, SetsTheNumbersAndTheFlag) {
  const PI::COperation operation =
      MakeOperation(COperationDescriptor{{1, 2, 3, 4, 5, 6, 7, -1, 9}, true});
  EXPECT_THAT(operation.m_Numbers, ElementsAre(1, 2, 3, 4, 5, 6, 7, -1, 9));
  EXPECT_TRUE(operation.m_Flag);
  EXPECT_THAT(operation.m_Events, IsEmpty());
}

struct Grouping : std::numpunct<char> {
  char do_thousands_sep() const override { return ','; }
  std::string do_grouping() const override { return "\3"; }
};

TEST(ParseNumber, TakesWholeTextsOfDigitsAlone) {
  const auto decimal = [](const std::string& text) {
    return NAMESPACE_piTorvex::ParseNumber(text, std::dec);
  };
  EXPECT_EQ(decimal("30").value(), 30UL);
  EXPECT_EQ(decimal(" 30").value(), 30UL);
  EXPECT_EQ(decimal("\t\n30").value(), 30UL);
  EXPECT_EQ(decimal("+5").value(), 5UL);
  EXPECT_EQ(decimal("010").value(), 10UL);
  EXPECT_EQ(decimal("18446744073709551615").value(), ~0UL);
  for (const char* text : {"", " ", "30 ", "30s", "s30", "0x10", "3.5", "1e3", "-5", " -5", "-0",
                           "-18446744073709551615", "18446744073709551616", "1,000", "3 0"}) {
    EXPECT_FALSE(decimal(text).has_value()) << "'" << text << "'";
  }
}

TEST(FormatText, TakesBytesForNumbersAndTextsForTexts) {
  EXPECT_EQ(FormatText("%d", static_cast<unsigned char>(65)), "65");
  EXPECT_EQ(FormatText("%d", static_cast<signed char>(-65)), "-65");
  EXPECT_EQ(FormatText("%s %s", "%d%n", std::string("%1%")), "%d%n %1%");
}

TEST(FormatText, IgnoresTheLocaleOfTheHost) {
  const std::locale before = std::locale::global(std::locale(std::locale(), new Grouping));
  EXPECT_EQ(FormatText("%d %s %02d", 1000000UL, "x", 7), "1000000 x 07");
  EXPECT_EQ(FormatText("%d", -5), "-5");
  std::locale::global(before);
}

// The number in decimal; "none" when the text is no number.
std::string Parsed(const std::string& text, std::ios_base& (*base)(std::ios_base&) = std::dec) {
  const boost::optional<unsigned long> number = NAMESPACE_piTorvex::ParseNumber(text, base);
  return number ? std::to_string(*number) : "none";
}

TEST(ParseNumber, TakesWholeHexadecimalTexts) {
  EXPECT_EQ(Parsed("1F4", std::hex), "500");
  EXPECT_EQ(Parsed("500", std::hex), "1280");
  EXPECT_EQ(Parsed("0x1f4", std::hex), "500");
  for (const char* text : {"", "1G", "1F4 ", "-1", "10000000000000000"}) {
    EXPECT_EQ(Parsed(text, std::hex), "none") << text;
  }
}

TEST(ParseNumber, IgnoresTheLocaleOfTheHost) {
  const std::locale before = std::locale::global(std::locale(std::locale(), new Grouping));
  EXPECT_EQ(Parsed("1000"), "1000");
  EXPECT_EQ(Parsed("1,000"), "none");
  std::locale::global(before);
}

}  // namespace
