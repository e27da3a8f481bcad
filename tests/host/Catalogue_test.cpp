#include "Catalogue.h"

#include "SettableValue.h"

#include <set>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

namespace {

// The plug-in's properties: id and label of every row of its three tables.
const std::vector<std::pair<unsigned int, unsigned int>> PROPERTIES = {
    {30007, 23081}, {30003, 23144}, {30063, 23102}, {30158, 1},     {30120, 23003}, {30017, 23127},
    {30479, 23134}, {30037, 23132}, {30038, 23133}, {30039, 23135}, {30137, 1},     {30022, 23116},
    {30020, 23051}, {30500, 23016}, {30247, 23090}, {30266, 23041}, {30018, 23042}, {30442, 23024},
    {30483, 23045}, {30498, 23101}, {30486, 23110}, {30487, 23112}, {30488, 23113}, {30489, 23017},
    {30490, 23018}, {30494, 23105}, {30468, 23147}, {30189, 23143}, {30165, 23004}, {30007, 23299},
    {30122, 23306}, {30125, 23285}, {30003, 23332}, {30063, 23309}, {30056, 23330}, {30059, 23305},
    {30060, 23282}, {30017, 23325}, {30461, 23291}, {30462, 23290}, {30460, 23279}, {30069, 23327},
    {30022, 23327}, {30007, 23335}, {30099, 23340}, {30003, 23339}, {30004, 23340}, {30005, 23336}};

PI::CEvent Event(unsigned int id, const std::string& first, const std::string& second) {
  PI::CEvent event(id, 3, 1, 0, "event name");
  event.SetPlaceHolder1(first);
  event.SetPlaceHolder2(second);
  return event;
}

template <class Value>
std::string Shown(unsigned int id, PI::_UNITS unit, const Value& value) {
  PI::CProperty property(static_cast<PI::_PROPERTY_ID>(id), false);
  property.m_Unit = unit;
  property.m_Value = value;
  return vxhost::ValueText(property);
}

TEST(Catalogue, EveryEvent_HasATextWithTheNames) {
  for (const unsigned int id :
       {10957U, 10959U, 10960U, 10962U, 10967U, 10968U, 10980U, 10985U, 11088U, 11093U, 11094U}) {
    EXPECT_TRUE(vxhost::HasEvent(id)) << id;
    const std::string text = vxhost::EventText(Event(id, "NAME", ""));
    EXPECT_TRUE(text.ends_with(": NAME")) << text;
  }
}

TEST(Catalogue, UnknownEvent_IsShownByItsNumber) {
  EXPECT_FALSE(vxhost::HasEvent(11095));
  EXPECT_EQ(vxhost::EventText(Event(11095, "", "")), "Event 11095: event name");
}

TEST(Catalogue, EventNames_AreJoinedAsTheEventMeansThem) {
  EXPECT_EQ(vxhost::EventText(Event(11094, "Intel PCIe Device Adapter", " SERIAL")),
            "Adapter removed: Intel PCIe Device Adapter SERIAL");
  EXPECT_EQ(vxhost::EventText(Event(11093, "NAME", " ")), "Adapter added: NAME");
  EXPECT_EQ(vxhost::EventText(Event(10985, "ADAPTER", "DRIVE")),
            "Drive state or sector size has changed: DRIVE on ADAPTER");
}

TEST(Catalogue, EveryProperty_HasAText) {
  for (const auto& [id, label] : PROPERTIES) {
    EXPECT_TRUE(vxhost::HasProperty(id, label)) << id << " " << label;
  }
}

TEST(Catalogue, PropertiesThatShareALabel_HaveTheirOwnText) {
  EXPECT_EQ(vxhost::PropertyText(30069, 23327), "Temperature");
  EXPECT_EQ(vxhost::PropertyText(30022, 23327), "Serial number");
  EXPECT_EQ(vxhost::PropertyText(30099, 23340), "Version");
  EXPECT_EQ(vxhost::PropertyText(30004, 23340), "Tool version");
}

TEST(Catalogue, UnknownProperty_FallsBackToLabelThenIdThenNumber) {
  EXPECT_EQ(vxhost::PropertyText(1234, 23051), "Firmware");
  EXPECT_EQ(vxhost::PropertyText(30020, 1), "Firmware");
  EXPECT_EQ(vxhost::PropertyText(1234, 1), "property 1234");
}

TEST(Catalogue, EveryChoiceAndUnit_HasAText) {
  for (const int code : {40024, 40150, 40095, 40099, 40459, 40460, 40449, 40487, 40452, 40252,
                         40410, 40411, 40473, 40488, 40480, 40200}) {
    EXPECT_TRUE(vxhost::HasChoice(code)) << code;
    EXPECT_NE(vxhost::ChoiceText(code), std::to_string(code));
  }
  for (const unsigned int unit : {1U, 21000U, 21002U, 21005U, 21010U, 21025U}) {
    EXPECT_TRUE(vxhost::HasUnit(unit)) << unit;
  }
  EXPECT_EQ(vxhost::ChoiceText(7), "7");
  EXPECT_EQ(vxhost::ChoiceText(-7), "-7");
}

TEST(Catalogue, EveryResult_HasAText) {
  for (const unsigned int result : {0U, 20000U, 20001U, 20002U, 20003U, 20004U, 20005U, 20006U,
                                    20007U, 20008U, 20011U, 20012U, 20042U}) {
    EXPECT_NE(vxhost::ResultText(result), "result " + std::to_string(result));
  }
  EXPECT_EQ(vxhost::ResultText(5), "result 5");
}

TEST(Catalogue, Values_AreShownWithTheirUnits) {
  EXPECT_EQ(Shown(30442, PI::UNIT_CELSIUS, PI::CFloatData{36.5F}), "36.5 °C");
  EXPECT_EQ(Shown(30442, PI::UNIT_CELSIUS, PI::CFloatData{36.0F}), "36 °C");
  EXPECT_EQ(Shown(30498, PI::UNIT_HOURS, PI::CLongData{1549}), "1549 h");
  EXPECT_EQ(Shown(30494, PI::UNIT_PERCENT, PI::CRangeData{98, 0, 100, 1}), "98 %");
  EXPECT_EQ(Shown(30005, PI::UNIT_NONE, PI::CRangeData{30, 2, 255, 1}), "30 s");
  EXPECT_EQ(Shown(30059, PI::UNIT_MIB, PI::CLongData{1526186}), "1.60 TB (1526186 MiB)");
  EXPECT_EQ(Shown(30490, PI::UNIT_NONE, PI::CLongData{18492023}),
            "9.47 TB (18492023 units of 512000 B)");
  EXPECT_EQ(Shown(30017, PI::UNIT_NONE, PI::CChoiceData{40150, {}}), "degraded");
  EXPECT_EQ(Shown(30165, PI::UNIT_NONE, PI::CMultiValueData{{40459, 40460}, {}}),
            "spare low, temperature high");
  EXPECT_EQ(Shown(30165, PI::UNIT_NONE, PI::CMultiValueData{}), "none");
}

TEST(Catalogue, PropertyNames_AreFoundWhateverTheirSpelling) {
  PI::CProperty property(static_cast<PI::_PROPERTY_ID>(30005), true);
  property.m_LabelID = 23336;
  for (const char* const word :
       {"30005", "Poll interval", "pollinterval", "POLL-INTERVAL", "poll_interval"}) {
    EXPECT_TRUE(vxhost::NamesProperty(word, property)) << word;
  }
  EXPECT_FALSE(vxhost::NamesProperty("poll", property));
  EXPECT_FALSE(vxhost::NamesProperty("", property));
}

TEST(SettableValue, Range_TakesWhatLiesInItAndSaysWhatDoes) {
  PI::CProperty property(static_cast<PI::_PROPERTY_ID>(30005), true);
  property.SetValue(30, 2, 255, 1U);
  for (const char* const text : {"1", "256", "x", "", "3x", "-5", "2.5", "99999999999"}) {
    EXPECT_FALSE(vxhost::SetFromText(property, text)) << text;
  }
  EXPECT_EQ(boost::get<PI::CRangeData>(property.m_Value).m_Value, 30);
  EXPECT_TRUE(vxhost::SetFromText(property, "255"));
  EXPECT_EQ(boost::get<PI::CRangeData>(property.m_Value).m_Value, 255);
  EXPECT_EQ(vxhost::AllowedText(property), "2 to 255 s");
}

TEST(SettableValue, OtherKinds_TakeTheirOwnTexts) {
  PI::CProperty property;
  property.m_Value = PI::CChoiceData{40024, {40024, 40150}};
  EXPECT_TRUE(vxhost::SetFromText(property, "degraded"));
  EXPECT_EQ(boost::get<PI::CChoiceData>(property.m_Value).m_Selected, 40150);
  EXPECT_FALSE(vxhost::SetFromText(property, "critical"));
  EXPECT_EQ(vxhost::AllowedText(property), "good or degraded");
  property.m_Value = PI::CBoolData{};
  EXPECT_TRUE(vxhost::SetFromText(property, "yes"));
  EXPECT_TRUE(boost::get<PI::CBoolData>(property.m_Value).m_Value);
  EXPECT_FALSE(vxhost::SetFromText(property, "maybe"));
  property.m_Value = PI::CLongData{};
  EXPECT_TRUE(vxhost::SetFromText(property, "18446744073709551615"));
  EXPECT_FALSE(vxhost::SetFromText(property, "-1"));
  property.m_Value = PI::CMultiStringData{};
  EXPECT_FALSE(vxhost::SetFromText(property, "a"));
}

}  // namespace
