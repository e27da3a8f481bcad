#include "Catalogue.h"

#include "SettableValue.h"

#include <set>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include <PI/Catalogue.h>

namespace {

// The number of a row of the catalogue.
#define PI_NUMBER(name, number, ...) number,

// The plug-in's properties: id and label of every row of its three tables.
const std::vector<std::pair<unsigned int, unsigned int>> PROPERTIES = {
    {PI::PROPERTY_NAME, 23081},
    {PI::PROPERTY_VENDOR, 23144},
    {PI::PROPERTY_MODEL, 23102},
    {PI::PROPERTY_MODE, 1},
    {PI::PROPERTY_ADAPTER_NUMBER, 23003},
    {PI::PROPERTY_HEALTH, 23127},
    {PI::PROPERTY_PCI_SEGMENT, 23134},
    {PI::PROPERTY_PCI_BUS, 23132},
    {PI::PROPERTY_PCI_DEVICE, 23133},
    {PI::PROPERTY_PCI_FUNCTION, 23135},
    {PI::PROPERTY_LOCATION, 1},
    {PI::PROPERTY_SERIAL_NUMBER, 23116},
    {PI::PROPERTY_FIRMWARE, 23051},
    {PI::PROPERTY_BOOTLOADER, 23016},
    {PI::PROPERTY_DEVICE_PATH, 23090},
    {PI::PROPERTY_DRIVER_NAME, 23041},
    {PI::PROPERTY_DRIVER_VERSION, 23042},
    {PI::PROPERTY_TEMPERATURE, 23024},
    {PI::PROPERTY_END_OF_LIFE, 23045},
    {PI::PROPERTY_POWER_ON_HOURS, 23101},
    {PI::PROPERTY_AVAILABLE_SPARE, 23110},
    {PI::PROPERTY_WARNING_LEVEL, 23112},
    {PI::PROPERTY_SPARE_THRESHOLD, 23113},
    {PI::PROPERTY_DATA_READ, 23017},
    {PI::PROPERTY_DATA_WRITTEN, 23018},
    {PI::PROPERTY_REMAINING_LIFE, 23105},
    {PI::PROPERTY_LIFE_STATE, 23147},
    {PI::PROPERTY_MEDIA_ERRORS, 23143},
    {PI::PROPERTY_HEALTH_REASONS, 23004},
    {PI::PROPERTY_NAME, 23299},
    {PI::PROPERTY_CHANNEL, 23306},
    {PI::PROPERTY_TARGET, 23285},
    {PI::PROPERTY_VENDOR, 23332},
    {PI::PROPERTY_MODEL, 23309},
    {PI::PROPERTY_INTERFACE, 23330},
    {PI::PROPERTY_PHYSICAL_SIZE, 23305},
    {PI::PROPERTY_TOTAL_SIZE, 23282},
    {PI::PROPERTY_HEALTH, 23325},
    {PI::PROPERTY_USABLE_SIZE, 23291},
    {PI::PROPERTY_USABLE_SHARE, 23290},
    {PI::PROPERTY_SECTOR_SIZE, 23279},
    {PI::PROPERTY_DRIVE_TEMPERATURE, 23327},
    {PI::PROPERTY_SERIAL_NUMBER, 23327},
    {PI::PROPERTY_NAME, 23335},
    {PI::PROPERTY_VERSION, 23340},
    {PI::PROPERTY_VENDOR, 23339},
    {PI::PROPERTY_TOOL_VERSION, 23340},
    {PI::PROPERTY_POLL_INTERVAL, 23336}};

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
  for (const unsigned int id : {PI_CATALOGUE_EVENTS(PI_NUMBER)}) {
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
  EXPECT_EQ(
      vxhost::EventText(Event(PI::EVENT_ADAPTER_REMOVED, "Intel PCIe Device Adapter", " SERIAL")),
      "Adapter removed: Intel PCIe Device Adapter SERIAL");
  EXPECT_EQ(vxhost::EventText(Event(PI::EVENT_ADAPTER_ADDED, "NAME", " ")), "Adapter added: NAME");
  EXPECT_EQ(vxhost::EventText(Event(PI::EVENT_DRIVE_CHANGED, "ADAPTER", "DRIVE")),
            "Drive state or sector size has changed: DRIVE on ADAPTER");
}

TEST(Catalogue, EveryProperty_HasAText) {
  for (const auto& [id, label] : PROPERTIES) {
    EXPECT_TRUE(vxhost::HasProperty(id, label)) << id << " " << label;
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

TEST(Catalogue, EveryChoiceAndUnit_HasAText) {
  for (const int code : {PI_CATALOGUE_CHOICES(PI_NUMBER)}) {
    EXPECT_TRUE(vxhost::HasChoice(code)) << code;
    EXPECT_NE(vxhost::ChoiceText(code), std::to_string(code));
  }
  for (const unsigned int unit : {PI::UNIT_NONE, PI::UNIT_CELSIUS, PI::UNIT_MIB, PI::UNIT_HOURS,
                                  PI::UNIT_PERCENT, PI::UNIT_BYTES_PER_SECTOR}) {
    EXPECT_TRUE(vxhost::HasUnit(unit)) << unit;
  }
  EXPECT_EQ(vxhost::ChoiceText(7), "7");
  EXPECT_EQ(vxhost::ChoiceText(-7), "-7");
}

TEST(Catalogue, EveryResult_HasAText) {
  for (const unsigned int result : {PI_CATALOGUE_RESULTS(PI_NUMBER)}) {
    EXPECT_NE(vxhost::ResultText(result), "result " + std::to_string(result));
  }
  EXPECT_EQ(vxhost::ResultText(5), "result 5");
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
