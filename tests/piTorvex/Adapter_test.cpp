// An adapter's defaults, equality, status events, properties and operations.
#include "Object_fixtures.h"
#include "PluginTrace.h"

#include <functional>
#include <locale>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include <TLX/Misc/Clock.h>

using namespace NAMESPACE_piTorvex;
using vxtest::AdapterSamples;
using vxtest::Alter;
using vxtest::ExpectShows;
using vxtest::HealthyAdapter;

namespace {

using Ids = std::vector<unsigned int>;

std::vector<PI::CEvent> EventsOf(unsigned int before, unsigned int after) {
  CTorvexAdapter published = HealthyAdapter();
  CTorvexAdapter newer = HealthyAdapter();
  published.StatusBits = before;
  newer.StatusBits = after;
  std::vector<PI::CEvent> events;
  published.Update(newer, events);
  EXPECT_EQ(published.m_ReadCounter, 1U);
  EXPECT_EQ(published.StatusBits, before);
  return events;
}

Ids IdsOf(const std::vector<PI::CEvent>& events) {
  Ids ids;
  for (const PI::CEvent& event : events) ids.push_back(event.m_EventID);
  return ids;
}

class AdapterTest : public ::testing::Test {
 protected:
  std::vector<PI::CProperty> Get(CTorvexAdapter adapter, unsigned long id) {
    std::vector<PI::CProperty> out(2);  // what was in the list must be gone
    EXPECT_EQ(plugin.GetAdapterProperties(adapter, out, id), 0U);
    return out;
  }
  bool Has(const CTorvexAdapter& adapter, unsigned long id) { return !Get(adapter, id).empty(); }

  IPLUGINAPI_IMPL plugin;
};

}  // namespace

// --- Object

static_assert(std::is_base_of_v<PI::CObject, CTorvexAdapter>);
static_assert(std::has_virtual_destructor_v<CTorvexAdapter>);
static_assert(std::is_base_of_v<PI::CObject, CTorvexPlugin>);
static_assert(std::has_virtual_destructor_v<CTorvexPlugin>);
static_assert(sizeof(CTorvexPlugin) == sizeof(PI::CObject), "the plug-in object adds no member");

TEST(Adapter, FreshObject_HasTheDefaults) {
  const CTorvexAdapter adapter;
  EXPECT_EQ(adapter.AdapterNumber, 0U);
  EXPECT_EQ(adapter.GlobalAdapterNumber, 0U);
  for (const std::string* text :
       {&adapter.SerialNumber, &adapter.Vendor, &adapter.ModelNumber, &adapter.Name,
        &adapter.Location, &adapter.DriverName, &adapter.DriverVersion, &adapter.Firmware,
        &adapter.Bootloader, &adapter.DevicePath, &adapter.ModelNumberCopy, &adapter.ExtraText}) {
    EXPECT_EQ(*text, "");
  }
  EXPECT_EQ(adapter.PciSegment + adapter.PciBus + adapter.PciDevice + adapter.PciFunction, 0U);
  EXPECT_EQ(adapter.StatusBits, 0U);
  EXPECT_EQ(adapter.StatusWord2, 100U);
  EXPECT_EQ(adapter.PercentageUsed, 0U);
  EXPECT_EQ(adapter.StatusWord3, 0U);
  EXPECT_EQ(adapter.StatusWord4, 0U);
  EXPECT_EQ(adapter.Temperature, -1.0F);
  EXPECT_EQ(adapter.HealthState, PI::CHOICE_HEALTH_GOOD);
  EXPECT_TRUE(adapter.HealthReasons.empty());
  EXPECT_FALSE(adapter.Flag);
  EXPECT_EQ(adapter.LifeState, PI::CHOICE_LIFE_AS_NEW);
  EXPECT_EQ(adapter.DataUnitsRead, ~0UL);
  EXPECT_EQ(adapter.DataUnitsWritten, ~0UL);
  EXPECT_EQ(adapter.PowerOnHours, ~0UL);
  EXPECT_EQ(adapter.ReserveSpace, 100U);
  EXPECT_EQ(adapter.EnduranceRating, ~0UL);
  EXPECT_EQ(adapter.SelectedLevel, PI::CHOICE_LEVEL_STANDARD);
  EXPECT_EQ(adapter.WarningThreshold, 10U);
}

TEST(Adapter, Equality_SeesAChangeInEachSingleMember) {
  using Change = std::function<void(CTorvexAdapter&)>;
  const std::vector<std::pair<const char*, Change>> changes = {
      {"m_ID", [](auto& a) { Alter(a.m_ID); }},
      {"m_Type", [](auto& a) { Alter(a.m_Type); }},
      {"m_Unused", [](auto& a) { Alter(a.m_Unused); }},
#define ADAPTER_MEMBER(type, member, ...) {#member, [](auto& a) { Alter(a.member); }},
#define ADAPTER_COPY ADAPTER_MEMBER
#define ADAPTER_WEAR ADAPTER_MEMBER
#include <Facts/Fields.def>
  };
  for (const auto& [name, change] : changes) {
    const CTorvexAdapter one = HealthyAdapter();
    CTorvexAdapter other = one;
    EXPECT_TRUE(one.SameAs(other)) << name;
    change(other);
    EXPECT_FALSE(one.SameAs(other)) << name;
    EXPECT_FALSE(other.SameAs(one)) << name;
  }
}

TEST(Adapter, Equality_DoesNotLookAtToolIndexMarksLinksAndCounters) {
  const CTorvexAdapter one = HealthyAdapter();
  CTorvexAdapter other = one;
  other.ToolIndex = 7;
  other.RowIsStale = true;
  other.RowIsMissing = true;
  other.m_ParentIDs = {1};
  other.m_ChildIDs = {2};
  other.m_ReadCounter = 3;
  other.m_LockFlag = true;
  EXPECT_TRUE(one.SameAs(other));
}

TEST(Adapter, Copy_IsWholeAndIndependent) {
  CTorvexAdapter one = HealthyAdapter();
  one.HealthReasons = {PI::CHOICE_REASON_SPARE};
  one.m_ReadCounter = 9;
  one.ToolIndex = 4;
  CTorvexAdapter copy;
  copy = one;
  EXPECT_TRUE(copy.SameAs(one));
  EXPECT_EQ(copy.m_ReadCounter, 9U);
  EXPECT_EQ(copy.ToolIndex, 4);
  copy.HealthReasons.push_back(PI::CHOICE_REASON_TEMPERATURE);
  copy.SerialNumber = "other";
  EXPECT_EQ(one.HealthReasons.size(), 1U);
  EXPECT_EQ(one.SerialNumber, "SN1");
}

// --- Events

TEST(AdapterUpdate, StatusTable) {
  const std::vector<std::pair<std::pair<unsigned int, unsigned int>, Ids>> cases = {
      {{0x10, 0x30}, {PI::EVENT_TEMPERATURE_WARNING}},
      {{0x30, 0}, {PI::EVENT_ALL_CLEAR}},
      {{0, 0x11}, {PI::EVENT_BACKUP_FAILED, PI::EVENT_SPARE_LOW}},
      {{0x01, 0x01}, {}},
      {{0, 0}, {}},
      {{0x01, 0}, {PI::EVENT_ALL_CLEAR}},
      {{0x01, 0x11}, {PI::EVENT_BACKUP_FAILED}},
      {{0, 0x02}, {}},
      {{0, 0x08}, {}},
      {{0x02, 0}, {PI::EVENT_ALL_CLEAR}},
      {{0, 0x240}, {PI::EVENT_TEMPERATURE_HIGH, PI::EVENT_TEMPERATURE_ABOVE_LIMIT}},
      {{0x20, 0x240}, {PI::EVENT_TEMPERATURE_HIGH, PI::EVENT_TEMPERATURE_ABOVE_LIMIT}},
      {{0x240, 0x280}, {PI::EVENT_TEMPERATURE_SHUTDOWN}},
      {{0x280, 0x240}, {PI::EVENT_TEMPERATURE_HIGH}},
      {{0x280, 0x20}, {PI::EVENT_TEMPERATURE_WARNING}},
      {{0x04, 0x01}, {PI::EVENT_SPARE_LOW}},
      {{0, 0xFFFFFFFF},
       {PI::EVENT_BACKUP_FAILED, PI::EVENT_RELIABILITY_DEGRADED, PI::EVENT_TEMPERATURE_HIGH,
        PI::EVENT_TEMPERATURE_SHUTDOWN, PI::EVENT_TEMPERATURE_WARNING,
        PI::EVENT_TEMPERATURE_ABOVE_LIMIT, PI::EVENT_SPARE_LOW}},
      {{0xFFFFFFFF, 0}, {PI::EVENT_ALL_CLEAR}},
  };
  for (const auto& [words, ids] : cases) {
    EXPECT_EQ(IdsOf(EventsOf(words.first, words.second)), ids)
        << std::hex << words.first << " -> " << words.second;
  }
}

// Every way from one set of the seven event bits to another, against the rule told the other way
// round: from the events to the words that call for them.
TEST(AdapterUpdate, EveryTransitionOfTheEventBits_RaisesWhatTheTableSays) {
  struct Rule {
    unsigned int id;
    unsigned int severity;
    unsigned int bit;  // 0: all clear again
  };
  const std::vector<Rule> rules = {
      {PI::EVENT_BACKUP_FAILED, PI::SEVERITY_ERROR, PI::WARNING_BACKUP_FAILED},
      {PI::EVENT_RELIABILITY_DEGRADED, PI::SEVERITY_WARNING, PI::WARNING_RELIABILITY},
      {PI::EVENT_TEMPERATURE_HIGH, PI::SEVERITY_ERROR, PI::WARNING_TEMPERATURE_HIGH},
      {PI::EVENT_TEMPERATURE_SHUTDOWN, PI::SEVERITY_ERROR, PI::WARNING_TEMPERATURE_SHUTDOWN},
      {PI::EVENT_TEMPERATURE_WARNING, PI::SEVERITY_WARNING, PI::WARNING_TEMPERATURE_WARNING},
      {PI::EVENT_TEMPERATURE_ABOVE_LIMIT, PI::SEVERITY_WARNING,
       PI::WARNING_TEMPERATURE_ABOVE_LIMIT},
      {PI::EVENT_SPARE_LOW, PI::SEVERITY_ERROR, PI::WARNING_SPARE_LOW},
      {PI::EVENT_ALL_CLEAR, PI::SEVERITY_INFORMATION, 0},
  };
  const std::vector<unsigned int> bits = {0x01, 0x04, 0x10, 0x20, 0x40, 0x80, 0x200};
  const auto word = [&](unsigned int set) {
    unsigned int result = 0;
    for (unsigned int i = 0; i < bits.size(); ++i) {
      if ((set & (1U << i)) != 0) result += bits[i];
    }
    return result;
  };
  for (unsigned int before = 0; before < 128; ++before) {
    for (unsigned int after = 0; after < 128; ++after) {
      const unsigned int from = word(before);
      const unsigned int to = word(after);
      std::vector<std::pair<unsigned int, unsigned int>> expected;
      for (const Rule& rule : rules) {
        const bool called =
            rule.bit == 0 ? from != 0 && to == 0
                          : from % (2 * rule.bit) < rule.bit && to % (2 * rule.bit) >= rule.bit;
        if (called) expected.emplace_back(rule.id, rule.severity);
      }
      std::vector<std::pair<unsigned int, unsigned int>> raised;
      for (const PI::CEvent& event : EventsOf(from, to))
        raised.emplace_back(event.m_EventID, event.m_Severity);
      ASSERT_EQ(raised, expected) << std::hex << from << " -> " << to;
    }
  }
}

TEST(AdapterUpdate, Event_CarriesThePublishedObjectsIdAndName) {
  CTorvexAdapter published = HealthyAdapter();
  CTorvexAdapter newer = HealthyAdapter();
  newer.m_ID = 99;
  newer.Name = "new name";
  newer.StatusBits = PI::WARNING_RELIABILITY;
  std::vector<PI::CEvent> events(1);  // is appended to
  const unsigned long before = TLX::Misc::now();
  published.Update(newer, events);
  ASSERT_EQ(events.size(), 2U);
  EXPECT_EQ(events[1].m_EventID, PI::EVENT_RELIABILITY_DEGRADED);
  EXPECT_EQ(events[1].m_Severity, PI::SEVERITY_WARNING);
  EXPECT_EQ(events[1].m_ObjectID, 0x0135000000000001UL);
  EXPECT_EQ(events[1].m_Name, "Intel PCIe Device Adapter (SN1)");
  EXPECT_EQ(events[1].m_PlaceHolder1, "Intel PCIe Device Adapter (SN1)");
  EXPECT_EQ(events[1].m_PlaceHolder2, "");
  EXPECT_GE(events[1].m_Time, before);
  EXPECT_LE(events[1].m_Time, TLX::Misc::now());
}

TEST(AdapterUpdate, ReadCounterGrowsByOneWhateverWasRaised) {
  CTorvexAdapter published = HealthyAdapter();
  const CTorvexAdapter newer = HealthyAdapter();
  published.m_ReadCounter = 7;
  std::vector<PI::CEvent> events;
  published.Update(newer, events);
  published.Update(newer, events);
  EXPECT_EQ(published.m_ReadCounter, 9U);
  EXPECT_TRUE(events.empty());
}

TEST(AdapterUpdate, TracesTheTwoWordsAtTheDetailLevel) {
  vxtest::PluginTrace trace;
  EventsOf(0x240, 0xFFFFFFFF);
  ASSERT_EQ(trace.Texts(), std::vector<std::string>{"Update () 240 -> ffffffff"});
  EXPECT_EQ(trace.Lines()[0].level, 4U);
  EXPECT_EQ(trace.Lines()[0].file, "piTorvex/Src/piTorvexAdapter");
  EXPECT_EQ(trace.Lines()[0].function, "Update");
}

// --- Properties

TEST_F(AdapterTest, AllProperties_AreTheSamplesInTheirOrder) {
  ExpectShows(Get(HealthyAdapter(), PI::PROPERTY_ALL), AdapterSamples());
}

TEST_F(AdapterTest, EachSingleId_GivesExactlyItsRow) {
  for (const auto& sample : AdapterSamples()) {
    const std::vector<PI::CProperty> properties = Get(HealthyAdapter(), sample.id);
    ASSERT_EQ(properties.size(), 1U) << sample.id;
    ExpectShows(properties[0], sample);
  }
  for (const unsigned long id :
       std::initializer_list<unsigned long>{0, 2, PI::PROPERTY_TOOL_VERSION, PI::PROPERTY_CHANNEL,
                                            0x100000000UL + PI::PROPERTY_NAME, ~0UL}) {
    EXPECT_TRUE(Get(HealthyAdapter(), id).empty()) << id;
  }
}

TEST_F(AdapterTest, EmptyTexts_LeaveTheirRowOut) {
  CTorvexAdapter adapter = HealthyAdapter();
  adapter.Firmware.clear();
  adapter.Bootloader.clear();
  adapter.DriverVersion.clear();
  EXPECT_FALSE(Has(adapter, PI::PROPERTY_FIRMWARE));
  EXPECT_FALSE(Has(adapter, PI::PROPERTY_BOOTLOADER));
  EXPECT_FALSE(Has(adapter, PI::PROPERTY_DRIVER_VERSION));
  EXPECT_EQ(Get(adapter, PI::PROPERTY_ALL).size(), AdapterSamples().size() - 3);
}

TEST_F(AdapterTest, AdapterThatNoHealthQueryReached_LacksItsRows) {
  const CTorvexAdapter adapter;
  for (const unsigned long id :
       {PI::PROPERTY_TEMPERATURE, PI::PROPERTY_POWER_ON_HOURS, PI::PROPERTY_DATA_READ,
        PI::PROPERTY_DATA_WRITTEN, PI::PROPERTY_REMAINING_LIFE}) {
    EXPECT_FALSE(Has(adapter, id)) << id;
  }
  // A date that is not known is shown empty.
  EXPECT_TRUE(Has(adapter, PI::PROPERTY_END_OF_LIFE));
}

TEST_F(AdapterTest, Temperature_OnlyExactlyMinusOneIsUnknown) {
  CTorvexAdapter adapter = HealthyAdapter();
  for (const float known : {-1.5F, -0.99F, 0.0F, -2.0F}) {
    adapter.Temperature = known;
    EXPECT_TRUE(Has(adapter, PI::PROPERTY_TEMPERATURE)) << known;
  }
  adapter.Temperature = -1.0F;
  EXPECT_FALSE(Has(adapter, PI::PROPERTY_TEMPERATURE));
}

TEST_F(AdapterTest, RemainingLife_NeverFallsBelowZero) {
  const std::vector<std::pair<unsigned int, int>> cases = {{0, 100}, {1, 99},  {100, 0},
                                                           {101, 0}, {255, 0}, {~0U, 0}};
  for (const auto& [used, remaining] : cases) {
    CTorvexAdapter adapter = HealthyAdapter();
    adapter.PercentageUsed = used;
    const std::vector<PI::CProperty> properties = Get(adapter, PI::PROPERTY_REMAINING_LIFE);
    ASSERT_EQ(properties.size(), 1U) << used;
    EXPECT_EQ(boost::get<PI::CRangeData>(properties[0].m_Value).m_Value, remaining) << used;
  }
}

TEST_F(AdapterTest, Choices_FollowTheObject) {
  CTorvexAdapter adapter = HealthyAdapter();
  adapter.Flag = true;
  adapter.HealthState = PI::CHOICE_HEALTH_CRITICAL;
  adapter.LifeState = PI::CHOICE_LIFE_ABOVE_NEW;
  adapter.HealthReasons = {PI::CHOICE_REASON_TEMPERATURE, PI::CHOICE_REASON_BACKUP};
  EXPECT_EQ(boost::get<PI::CChoiceData>(Get(adapter, PI::PROPERTY_MODE)[0].m_Value).m_Selected,
            PI::CHOICE_MODE_SPECIAL);
  EXPECT_EQ(boost::get<PI::CChoiceData>(Get(adapter, PI::PROPERTY_HEALTH)[0].m_Value).m_Selected,
            PI::CHOICE_HEALTH_CRITICAL);
  EXPECT_EQ(
      boost::get<PI::CChoiceData>(Get(adapter, PI::PROPERTY_LIFE_STATE)[0].m_Value).m_Selected,
      PI::CHOICE_LIFE_ABOVE_NEW);
  EXPECT_EQ(boost::get<PI::CMultiValueData>(Get(adapter, PI::PROPERTY_HEALTH_REASONS)[0].m_Value)
                .m_Selected,
            (std::vector<int>{PI::CHOICE_REASON_TEMPERATURE, PI::CHOICE_REASON_BACKUP}));
  EXPECT_EQ(adapter.HealthReasons,
            (std::vector<int>{PI::CHOICE_REASON_TEMPERATURE, PI::CHOICE_REASON_BACKUP}));
}

TEST_F(AdapterTest, NoPropertyIsSettable) {
  CTorvexAdapter adapter = HealthyAdapter();
  const CTorvexAdapter before = adapter;
  for (const unsigned int id : std::initializer_list<unsigned int>{
           PI::PROPERTY_ALL, PI::PROPERTY_NAME, PI::PROPERTY_SPARE_THRESHOLD,
           PI::PROPERTY_POLL_INTERVAL, 0U}) {
    PI::CProperty property(static_cast<PI::_PROPERTY_ID>(id), true);
    property.SetValue("other");
    EXPECT_EQ(plugin.SetAdapterProperty(adapter, property), PI::ERR_PROPERTY_NOT_SETTABLE) << id;
    EXPECT_EQ(boost::get<PI::CStringData>(property.m_Value).m_Value, "other");
  }
  EXPECT_TRUE(adapter.SameAs(before));
}

// --- Operations

TEST_F(AdapterTest, OffersNoOperation) {
  CTorvexAdapter adapter;
  std::vector<PI::COperation> operations(3);
  vxtest::PluginTrace trace;
  EXPECT_EQ(plugin.GetAdapterOperations(adapter, operations), 0U);
  EXPECT_TRUE(operations.empty());
  EXPECT_TRUE(trace.Lines().empty());
}

TEST_F(AdapterTest, AcceptsAndRunsEveryOperationWithoutEffect) {
  CTorvexAdapter adapter = HealthyAdapter();
  const CTorvexAdapter before = adapter;
  plugin.m_Events.resize(1);
  for (const unsigned int id : {PI::OPERATION_FETCH_EVENTS, PI::OPERATION_DRIVE, 0U, ~0U}) {
    PI::COperation operation;
    operation.SetOperationID(id);
    EXPECT_EQ(plugin.CheckAdapterOperation(adapter, operation), 0U);
    EXPECT_EQ(plugin.ExecuteAdapterOperation(adapter, operation), 0U);
    EXPECT_TRUE(operation.m_Events.empty());
  }
  EXPECT_EQ(plugin.m_Events.size(), 1U);
  EXPECT_TRUE(adapter.SameAs(before));
}

TEST_F(AdapterTest, OperationsTraceEntryAndExit) {
  CTorvexAdapter adapter = HealthyAdapter();
  PI::COperation operation;
  operation.SetOperationID(PI::OPERATION_FETCH_EVENTS);
  vxtest::PluginTrace trace;
  plugin.CheckAdapterOperation(adapter, operation);
  plugin.ExecuteAdapterOperation(adapter, operation);
  const std::vector<std::string> expected = {
      "ENTER CheckAdapterOperation operation=50002", "LEAVE CheckAdapterOperation -> 0",
      "ENTER ExecuteAdapterOperation (50002) (3)", "LEAVE ExecuteAdapterOperation () -> 0"};
  EXPECT_EQ(trace.Texts(), expected);
  for (const auto& line : trace.Lines()) {
    EXPECT_EQ(line.level, 2U);
    EXPECT_EQ(line.file, "piTorvex/Src/piTorvexAdapter");
  }
  EXPECT_EQ(trace.Lines()[0].function, "CheckAdapterOperation");
  EXPECT_EQ(trace.Lines()[2].function, "ExecuteAdapterOperation");
}
