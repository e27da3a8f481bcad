#include "Catalogue.h"

#include "SettableValue.h"

#include <cctype>
#include <set>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <PI/Catalogue.h>

namespace {

// The texts of the properties of each kind of object.
const std::vector<std::vector<std::string>> TEXTS = {{
#define ADAPTER_PROPERTY(name, label, ...) vxhost::PropertyText(PI::PROPERTY_##name, label),
#include <Facts/Fields.def>
                                                     },
                                                     {
#define DRIVE_PROPERTY(name, label, ...) vxhost::PropertyText(PI::PROPERTY_##name, label),
#include <Facts/Fields.def>
                                                     },
                                                     {
#define PLUGIN_PROPERTY(name, label, ...) vxhost::PropertyText(PI::PROPERTY_##name, label),
#include <Facts/Fields.def>
                                                     }};

std::string Lower(std::string text) {
  for (char& c : text) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return text;
}

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

TEST(Catalogue, EveryEvent_NamesItsObjectOnce) {
#define NUMBER(name, number, ...) number,
  for (const unsigned int id : {PI_CATALOGUE_EVENTS(NUMBER)}) {
#undef NUMBER
    const std::string text = vxhost::EventText(Event(id, "NAME", ""));
    EXPECT_TRUE(text.ends_with(": NAME")) << text;
    EXPECT_EQ(text.find_first_of("{}"), std::string::npos) << text;
    EXPECT_FALSE(text.starts_with("Event ")) << text;
  }
}

TEST(Catalogue, Temperatures_StandInTheTextsOfTheirEvents) {
  const auto text = [](unsigned int id) { return vxhost::EventText(Event(id, "A", "")); };
  EXPECT_EQ(text(PI::EVENT_TEMPERATURE_WARNING),
            "Temperature is close to its limit, 78 or 79 °C: A");
  EXPECT_EQ(text(PI::EVENT_TEMPERATURE_HIGH), "Temperature is critical, 80 to 83 °C: A");
  EXPECT_EQ(text(PI::EVENT_TEMPERATURE_SHUTDOWN),
            "Temperature is at the shutdown limit, 84 °C or more: A");
}

TEST(Catalogue, UnknownEvent_IsShownByItsNumber) {
  EXPECT_EQ(vxhost::EventText(Event(11095, "", "")), "Event 11095: event name");
  EXPECT_EQ(vxhost::EventText(Event(11095, "{names}", "")), "Event 11095: {names}");
}

TEST(Catalogue, EventNames_AreJoinedAsTheEventMeansThem) {
  EXPECT_EQ(
      vxhost::EventText(Event(PI::EVENT_ADAPTER_REMOVED, "Intel PCIe Device Adapter", " SERIAL")),
      "Adapter removed: Intel PCIe Device Adapter SERIAL");
  EXPECT_EQ(vxhost::EventText(Event(PI::EVENT_ADAPTER_ADDED, "NAME", " ")), "Adapter added: NAME");
  EXPECT_EQ(vxhost::EventText(Event(PI::EVENT_DRIVE_CHANGED, "ADAPTER", "DRIVE")),
            "Drive state or sector size has changed: DRIVE on ADAPTER");
}

TEST(Catalogue, NoTwoPropertiesOfAnObject_AnswerToOneName) {
  for (const auto& texts : TEXTS) {
    EXPECT_GT(texts.size(), 5U);
    std::set<std::string> different;
    for (const std::string& text : texts) {
      EXPECT_FALSE(text.starts_with("property ")) << text;
      EXPECT_TRUE(different.insert(Lower(text)).second) << text << " stands twice";
    }
  }
}

TEST(Catalogue, PropertiesThatShareALabel_HaveTheirOwnText) {
  EXPECT_EQ(vxhost::PropertyText(PI::PROPERTY_DRIVE_TEMPERATURE, 23327), "Temperature");
  EXPECT_EQ(vxhost::PropertyText(PI::PROPERTY_SERIAL_NUMBER, 23327), "Serial number");
  EXPECT_EQ(vxhost::PropertyText(PI::PROPERTY_VERSION, 23340), "Version");
  EXPECT_EQ(vxhost::PropertyText(PI::PROPERTY_TOOL_VERSION, 23340), "Tool version");
}

TEST(Catalogue, UnknownProperty_FallsBackToLabelThenIdThenNumber) {
  EXPECT_EQ(vxhost::PropertyText(1234, 23051), "Firmware");
  EXPECT_EQ(vxhost::PropertyText(PI::PROPERTY_FIRMWARE, 1), "Firmware");
  EXPECT_EQ(vxhost::PropertyText(1234, 1), "property 1234");
}

TEST(Catalogue, NumbersWithoutAText_AreShownAsNumbers) {
  EXPECT_EQ(vxhost::ChoiceText(PI::CHOICE_REASON_READ_ONLY), "read-only");
  EXPECT_EQ(vxhost::ChoiceText(7), "7");
  EXPECT_EQ(vxhost::ChoiceText(-7), "-7");
  EXPECT_EQ(vxhost::UnitText(7), "");
  EXPECT_EQ(vxhost::ResultText(PI::ERR_OUT_OF_MEMORY), "out of memory");
  EXPECT_EQ(vxhost::ResultText(5), "result 5");
  EXPECT_EQ(vxhost::SeverityText(5), "severity 5");
}

TEST(Catalogue, Values_AreShownWithTheirUnits) {
  EXPECT_EQ(Shown(PI::PROPERTY_TEMPERATURE, PI::UNIT_CELSIUS, PI::CFloatData{36.5F}), "36.5 °C");
  EXPECT_EQ(Shown(PI::PROPERTY_TEMPERATURE, PI::UNIT_CELSIUS, PI::CFloatData{36.0F}), "36 °C");
  EXPECT_EQ(Shown(PI::PROPERTY_POWER_ON_HOURS, PI::UNIT_HOURS, PI::CLongData{1549}), "1549 h");
  EXPECT_EQ(Shown(PI::PROPERTY_REMAINING_LIFE, PI::UNIT_PERCENT, PI::CRangeData{98, 0, 100, 1}),
            "98 %");
  EXPECT_EQ(Shown(PI::PROPERTY_POLL_INTERVAL, PI::UNIT_NONE, PI::CRangeData{30, 2, 255, 1}),
            "30 s");
  EXPECT_EQ(Shown(PI::PROPERTY_PHYSICAL_SIZE, PI::UNIT_MIB, PI::CLongData{1526186}),
            "1.60 TB (1526186 MiB)");
  EXPECT_EQ(Shown(PI::PROPERTY_DATA_WRITTEN, PI::UNIT_NONE, PI::CLongData{18492023}),
            "9.47 TB (18492023 units of 512000 B)");
  EXPECT_EQ(
      Shown(PI::PROPERTY_HEALTH, PI::UNIT_NONE, PI::CChoiceData{PI::CHOICE_HEALTH_DEGRADED, {}}),
      "degraded");
  EXPECT_EQ(
      Shown(PI::PROPERTY_HEALTH_REASONS, PI::UNIT_NONE,
            PI::CMultiValueData{{PI::CHOICE_REASON_SPARE, PI::CHOICE_REASON_TEMPERATURE}, {}}),
      "spare low, temperature high");
  EXPECT_EQ(Shown(PI::PROPERTY_HEALTH_REASONS, PI::UNIT_NONE, PI::CMultiValueData{}), "none");
}

TEST(Catalogue, PropertyNames_AreFoundWhateverTheirSpelling) {
  PI::CProperty property(PI::PROPERTY_POLL_INTERVAL, true);
  property.m_LabelID = 23336;
  for (const char* const word :
       {"30005", "Poll interval", "pollinterval", "POLL-INTERVAL", "poll_interval"}) {
    EXPECT_TRUE(vxhost::NamesProperty(word, property)) << word;
  }
  EXPECT_FALSE(vxhost::NamesProperty("poll", property));
  EXPECT_FALSE(vxhost::NamesProperty("", property));
}

TEST(SettableValue, Range_TakesWhatLiesInItAndSaysWhatDoes) {
  PI::CProperty property(PI::PROPERTY_POLL_INTERVAL, true);
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
  property.m_Value =
      PI::CChoiceData{PI::CHOICE_HEALTH_GOOD, {PI::CHOICE_HEALTH_GOOD, PI::CHOICE_HEALTH_DEGRADED}};
  EXPECT_TRUE(vxhost::SetFromText(property, "degraded"));
  EXPECT_EQ(boost::get<PI::CChoiceData>(property.m_Value).m_Selected, PI::CHOICE_HEALTH_DEGRADED);
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
