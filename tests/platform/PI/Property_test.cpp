#include <utility>

#include <gtest/gtest.h>

#include <PI/Catalogue.h>
#include <PI/PluginHelper.h>
#include <PI/Property.h>

namespace {

using PI::CProperty;
using PI::CPropertyValue;

// The order is part of the interface.
TEST(PropertyValue, Kinds_AreElevenInTheAgreedOrder) {
  EXPECT_EQ(CPropertyValue(PI::CChoiceData{}).which(), 0);
  EXPECT_EQ(CPropertyValue(PI::CRangeData{}).which(), 1);
  EXPECT_EQ(CPropertyValue(PI::CStringData{}).which(), 2);
  EXPECT_EQ(CPropertyValue(PI::CBoolData{}).which(), 3);
  EXPECT_EQ(CPropertyValue(PI::CLongData{}).which(), 4);
  EXPECT_EQ(CPropertyValue(PI::CSignedLongData{}).which(), 5);
  EXPECT_EQ(CPropertyValue(PI::CMultiValueData{}).which(), 6);
  EXPECT_EQ(CPropertyValue(PI::CFloatData{}).which(), 7);
  EXPECT_EQ(CPropertyValue(PI::CMultiLongData{}).which(), 8);
  EXPECT_EQ(CPropertyValue(PI::CXMLData{}).which(), 9);
  EXPECT_EQ(CPropertyValue(PI::CMultiStringData{}).which(), 10);
}

template <class Data>
const Data& As(const CProperty& property) {
  return boost::get<Data>(property.m_Value);
}

TEST(Property, New_AsksForAllAndIsNotSettable) {
  const CProperty property;
  EXPECT_EQ(property.m_PropertyID, 1U);
  EXPECT_EQ(property.m_LabelID, 1U);
  EXPECT_FALSE(property.m_Settable);
}

TEST(Property, Constructor_TakesIdAndSettable) {
  const CProperty property(PI::PROPERTY_POLL_INTERVAL, true);
  EXPECT_EQ(property.m_PropertyID, PI::PROPERTY_POLL_INTERVAL);
  EXPECT_TRUE(property.m_Settable);
  EXPECT_EQ(property.m_LabelID, 1U);
}

TEST(Property, SetText_SelectsString) {
  CProperty property;
  property.SetValue("characters");
  EXPECT_EQ(As<PI::CStringData>(property).m_Value, "characters");
  property.SetValue(std::string("with\0zero", 9));
  EXPECT_EQ(As<PI::CStringData>(property).m_Value, std::string("with\0zero", 9));
}

TEST(Property, SetNullText_IsEmptyString) {
  CProperty property;
  property.SetValue("before");
  property.SetValue(static_cast<const char*>(nullptr));
  EXPECT_EQ(As<PI::CStringData>(property).m_Value, "");
}

TEST(Property, SetFloat_SelectsFloat) {
  CProperty property;
  property.SetValue(36.5F);
  EXPECT_EQ(As<PI::CFloatData>(property).m_Value, 36.5F);
}

TEST(Property, SetUnsigned_SelectsLong) {
  CProperty property;
  property.SetValue(~0UL);
  EXPECT_EQ(As<PI::CLongData>(property).m_Value, ~0UL);
}

TEST(Property, SetRange_SelectsRange) {
  CProperty property;
  property.SetValue(30, 2, 255, 1U);
  const auto& range = As<PI::CRangeData>(property);
  EXPECT_EQ(range.m_Value, 30);
  EXPECT_EQ(range.m_Minimum, 2);
  EXPECT_EQ(range.m_Maximum, 255);
  EXPECT_EQ(range.m_Step, 1U);
}

TEST(Property, SetChoice_SelectsChoice) {
  CProperty property;
  const std::vector<int> choices{PI::CHOICE_HEALTH_GOOD, PI::CHOICE_HEALTH_DEGRADED,
                                 PI::CHOICE_HEALTH_CRITICAL};
  property.SetValue(PI::CHOICE_HEALTH_DEGRADED, choices);
  EXPECT_EQ(As<PI::CChoiceData>(property).m_Selected, PI::CHOICE_HEALTH_DEGRADED);
  EXPECT_EQ(As<PI::CChoiceData>(property).m_Choices, choices);
}

TEST(Property, SetMultipleChoice_CopiesAndLeavesTheListsAlone) {
  CProperty property;
  std::vector<int> selected{PI::CHOICE_REASON_TEMPERATURE, PI::CHOICE_REASON_SPARE};
  std::vector<int> choices{PI::CHOICE_REASON_SPARE, PI::CHOICE_REASON_TEMPERATURE,
                           PI::CHOICE_REASON_RELIABILITY};
  property.SetValue(selected, choices);
  EXPECT_EQ(selected, (std::vector<int>{PI::CHOICE_REASON_TEMPERATURE, PI::CHOICE_REASON_SPARE}));
  EXPECT_EQ(choices, (std::vector<int>{PI::CHOICE_REASON_SPARE, PI::CHOICE_REASON_TEMPERATURE,
                                       PI::CHOICE_REASON_RELIABILITY}));
  selected.clear();
  choices.clear();
  EXPECT_EQ(As<PI::CMultiValueData>(property).m_Selected,
            (std::vector<int>{PI::CHOICE_REASON_TEMPERATURE, PI::CHOICE_REASON_SPARE}));
  EXPECT_EQ(As<PI::CMultiValueData>(property).m_Choices.size(), 3U);
}

TEST(Property, GetValue_ReadsRange) {
  CProperty property;
  property.SetValue(-7, -10, 10, 2U);
  int value = 0;
  int minimum = 0;
  int maximum = 0;
  unsigned int step = 0;
  ASSERT_TRUE(property.GetValue(value, minimum, maximum, step));
  EXPECT_EQ(value, -7);
  EXPECT_EQ(minimum, -10);
  EXPECT_EQ(maximum, 10);
  EXPECT_EQ(step, 2U);
}

TEST(Property, GetValue_OfAnotherKind_LeavesOutputsAlone) {
  CProperty property;
  property.SetValue("30");
  int value = 1;
  int minimum = 2;
  int maximum = 3;
  unsigned int step = 4;
  EXPECT_FALSE(property.GetValue(value, minimum, maximum, step));
  EXPECT_EQ(value, 1);
  EXPECT_EQ(minimum, 2);
  EXPECT_EQ(maximum, 3);
  EXPECT_EQ(step, 4U);
}

void ExpectSame(const CProperty& left, const CProperty& right) {
  EXPECT_EQ(left.m_PropertyID, right.m_PropertyID);
  EXPECT_EQ(left.m_LabelID, right.m_LabelID);
  EXPECT_EQ(left.m_Kind, right.m_Kind);
  EXPECT_EQ(left.m_Unit, right.m_Unit);
  EXPECT_EQ(left.m_Settable, right.m_Settable);
  EXPECT_EQ(left.m_Default, right.m_Default);
  EXPECT_EQ(As<PI::CStringData>(left).m_Value, As<PI::CStringData>(right).m_Value);
}

TEST(Property, CopyAndAssignment_KeepEveryField) {
  CProperty property(PI::PROPERTY_SERIAL_NUMBER, true);
  property.m_LabelID = 23327;
  property.m_Kind = PI::KIND_NUMBER_WITH_UNIT;
  property.m_Unit = PI::UNIT_HOURS;
  property.m_Default = -1;
  property.SetValue("serial");
  ExpectSame(CProperty(property), property);
  CProperty assigned;
  assigned.SetValue(1UL);
  assigned = property;
  ExpectSame(assigned, property);
  CProperty moved(std::move(assigned));
  ExpectSame(moved, property);
  CProperty target;
  target = std::move(moved);
  ExpectSame(target, property);
}

// ---- GenerateCProperty ----

PI::_PROPERTY_DESCRIPTION Row(PI::_DATA_KIND kind) {
  return {PI::PROPERTY_TEMPERATURE, 23024, 1, 1, -1, kind, PI::UNIT_CELSIUS, 0};
}

TEST(GenerateCProperty, TakesTheDescriptionOver) {
  CProperty property(static_cast<PI::_PROPERTY_ID>(1), true);
  PI::CPluginHelper::GenerateCProperty(Row(PI::KIND_UNSIGNED), property);
  EXPECT_EQ(property.m_PropertyID, PI::PROPERTY_TEMPERATURE);
  EXPECT_EQ(property.m_LabelID, 23024U);
  EXPECT_EQ(property.m_Kind, PI::KIND_UNSIGNED);
  EXPECT_EQ(property.m_Unit, PI::UNIT_CELSIUS);
  EXPECT_EQ(property.m_Default, -1);
  EXPECT_FALSE(property.m_Settable);
}

TEST(GenerateCProperty, ValueIsOfTheKind) {
  const std::vector<std::pair<PI::_DATA_KIND, int>> kinds{
      {PI::KIND_STRING, 2}, {PI::KIND_CHOICE, 0},          {PI::KIND_UNSIGNED, 4},
      {PI::KIND_RANGE, 1},  {PI::KIND_MULTIPLE_CHOICE, 6}, {PI::KIND_NUMBER_WITH_UNIT, 7},
  };
  for (const auto& [kind, which] : kinds) {
    CProperty property;
    PI::CPluginHelper::GenerateCProperty(Row(kind), property);
    EXPECT_EQ(property.m_Value.which(), which) << "kind " << kind;
  }
}

TEST(GenerateCProperty, UnknownKind_IsEmptyText) {
  CProperty property;
  property.SetValue(5UL);
  PI::CPluginHelper::GenerateCProperty(Row(static_cast<PI::_DATA_KIND>(99)), property);
  EXPECT_EQ(As<PI::CStringData>(property).m_Value, "");
}

TEST(GenerateCProperty, ForgetsTheValueFromBefore) {
  CProperty property;
  property.SetValue("old");
  PI::CPluginHelper::GenerateCProperty(Row(PI::KIND_STRING), property);
  EXPECT_EQ(As<PI::CStringData>(property).m_Value, "");
}

// Temperatures are described as unsigned numbers and numbers with unit, and set as floats.
TEST(GenerateCProperty, AcceptsASetterOfAnotherKind) {
  CProperty property;
  PI::CPluginHelper::GenerateCProperty(Row(PI::KIND_UNSIGNED), property);
  property.SetValue(36.0F);
  EXPECT_EQ(As<PI::CFloatData>(property).m_Value, 36.0F);
  EXPECT_EQ(property.m_Kind, PI::KIND_UNSIGNED);
}

}  // namespace
