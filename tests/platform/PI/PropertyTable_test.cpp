#include <limits>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <PI/PropertyTable.h>

namespace {

using PI::COperationDescriptor;
using PI::CopyPropertiesToRecord;
using PI::CPropertyRow;
using PI::StoreValue;
using PI::WalkProperties;
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

}  // namespace
