// An adapter's defaults, equality, status events, properties and operations.
#include "Object_fixtures.h"
#include "PluginTrace.h"

#include <concepts>
#include <functional>
#include <locale>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include <TLX/Misc/Clock.h>

using namespace NAMESPACE_piTorvex;
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
  EXPECT_EQ(adapter.HealthState, 40024U);
  EXPECT_TRUE(adapter.HealthReasons.empty());
  EXPECT_FALSE(adapter.Flag);
  EXPECT_EQ(adapter.LifeState, 40252U);
  EXPECT_EQ(adapter.DataUnitsRead, ~0UL);
  EXPECT_EQ(adapter.DataUnitsWritten, ~0UL);
  EXPECT_EQ(adapter.PowerOnHours, ~0UL);
  EXPECT_EQ(adapter.ReserveSpace, 100U);
  EXPECT_EQ(adapter.EnduranceRating, ~0UL);
  EXPECT_EQ(adapter.SelectedLevel, 40473U);
  EXPECT_EQ(adapter.WarningThreshold, 10U);
}

namespace {

void Alter(std::string& text) {
  text += '\0';
}
void Alter(std::vector<int>& codes) {
  codes.push_back(PI::CHOICE_REASON_SPARE);
}
void Alter(bool& flag) {
  flag = !flag;
}
void Alter(float& number) {
  number += 0.125F;
}
void Alter(std::integral auto& number) {
  ++number;
}

}  // namespace

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
  one.HealthReasons = {40459};
  one.m_ReadCounter = 9;
  one.ToolIndex = 4;
  CTorvexAdapter copy;
  copy = one;
  EXPECT_TRUE(copy.SameAs(one));
  EXPECT_EQ(copy.m_ReadCounter, 9U);
  EXPECT_EQ(copy.ToolIndex, 4);
  copy.HealthReasons.push_back(40460);
  copy.SerialNumber = "other";
  EXPECT_EQ(one.HealthReasons.size(), 1U);
  EXPECT_EQ(one.SerialNumber, "SN1");
}

// --- Events

TEST(AdapterUpdate, StatusTable) {
  const std::vector<std::pair<std::pair<unsigned int, unsigned int>, Ids>> cases = {
      {{0x10, 0x30}, {10967}},
      {{0x30, 0}, {10980}},
      {{0, 0x11}, {10957, 10968}},
      {{0x01, 0x01}, {}},
      {{0, 0}, {}},
      {{0x01, 0}, {10980}},
      {{0x01, 0x11}, {10957}},
      {{0, 0x02}, {}},
      {{0, 0x08}, {}},
      {{0x02, 0}, {10980}},
      {{0, 0x240}, {10959, 10962}},
      {{0x20, 0x240}, {10959, 10962}},
      {{0x240, 0x280}, {10960}},
      {{0x280, 0x240}, {10959}},
      {{0x280, 0x20}, {10967}},
      {{0x04, 0x01}, {10968}},
      {{0, 0xFFFFFFFF}, {10957, 11088, 10959, 10960, 10967, 10962, 10968}},
      {{0xFFFFFFFF, 0}, {10980}},
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
  const std::vector<Rule> rules = {{10957, 4, 0x10}, {11088, 3, 0x04}, {10959, 4, 0x40},
                                   {10960, 4, 0x80}, {10967, 3, 0x20}, {10962, 3, 0x200},
                                   {10968, 4, 0x01}, {10980, 2, 0}};
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
  newer.StatusBits = 0x04;
  std::vector<PI::CEvent> events(1);  // is appended to
  const unsigned long before = TLX::Misc::now();
  published.Update(newer, events);
  ASSERT_EQ(events.size(), 2U);
  EXPECT_EQ(events[1].m_EventID, 11088U);
  EXPECT_EQ(events[1].m_Severity, 3U);
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

namespace {

using vxtest::AdapterSamples;
using vxtest::Render;
using vxtest::Sample;

void ExpectShows(const PI::CProperty& property, const Sample& sample) {
  EXPECT_EQ(property.m_PropertyID, sample.id);
  EXPECT_EQ(property.m_LabelID, sample.label) << sample.id;
  EXPECT_EQ(property.m_Kind, sample.kind) << sample.id;
  EXPECT_EQ(property.m_Unit, sample.unit) << sample.id;
  EXPECT_EQ(property.m_Default, sample.label == 1 ? 0 : -1) << sample.id;
  EXPECT_FALSE(property.m_Settable) << sample.id;
  EXPECT_EQ(boost::apply_visitor(Render(), property.m_Value), sample.value) << sample.id;
}

}  // namespace

TEST_F(AdapterTest, AllProperties_AreTheSamplesInTheirOrder) {
  const std::vector<PI::CProperty> properties = Get(HealthyAdapter(), PI::PROPERTY_ALL);
  ASSERT_EQ(properties.size(), AdapterSamples().size()) << "a property lacks its sample";
  for (std::size_t i = 0; i < properties.size(); ++i) {
    ExpectShows(properties[i], AdapterSamples()[i]);
  }
}

TEST_F(AdapterTest, EachSingleId_GivesExactlyItsRow) {
  for (const Sample& sample : AdapterSamples()) {
    const std::vector<PI::CProperty> properties = Get(HealthyAdapter(), sample.id);
    ASSERT_EQ(properties.size(), 1U) << sample.id;
    ExpectShows(properties[0], sample);
  }
  for (const unsigned long id : {0UL, 2UL, 30004UL, 30122UL, 0x100000000UL + 30007UL, ~0UL}) {
    EXPECT_TRUE(Get(HealthyAdapter(), id).empty()) << id;
  }
}

TEST_F(AdapterTest, EmptyTexts_LeaveTheirRowOut) {
  CTorvexAdapter adapter = HealthyAdapter();
  adapter.Firmware.clear();
  adapter.Bootloader.clear();
  adapter.DriverVersion.clear();
  EXPECT_FALSE(Has(adapter, 30020));
  EXPECT_FALSE(Has(adapter, 30500));
  EXPECT_FALSE(Has(adapter, 30018));
  EXPECT_EQ(Get(adapter, PI::PROPERTY_ALL).size(), AdapterSamples().size() - 3);
}

TEST_F(AdapterTest, AdapterThatNoHealthQueryReached_LacksItsRows) {
  const CTorvexAdapter adapter;
  for (const unsigned long id : {30442UL, 30498UL, 30489UL, 30490UL, 30494UL}) {
    EXPECT_FALSE(Has(adapter, id)) << id;
  }
  // A date that is not known is shown empty.
  EXPECT_TRUE(Has(adapter, 30483));
}

TEST_F(AdapterTest, Temperature_OnlyExactlyMinusOneIsUnknown) {
  CTorvexAdapter adapter = HealthyAdapter();
  for (const float known : {-1.5F, -0.99F, 0.0F, -2.0F}) {
    adapter.Temperature = known;
    EXPECT_TRUE(Has(adapter, 30442)) << known;
  }
  adapter.Temperature = -1.0F;
  EXPECT_FALSE(Has(adapter, 30442));
}

TEST_F(AdapterTest, RemainingLife_NeverFallsBelowZero) {
  const std::vector<std::pair<unsigned int, int>> cases = {{0, 100}, {1, 99},  {100, 0},
                                                           {101, 0}, {255, 0}, {~0U, 0}};
  for (const auto& [used, remaining] : cases) {
    CTorvexAdapter adapter = HealthyAdapter();
    adapter.PercentageUsed = used;
    const std::vector<PI::CProperty> properties = Get(adapter, 30494);
    ASSERT_EQ(properties.size(), 1U) << used;
    EXPECT_EQ(boost::get<PI::CRangeData>(properties[0].m_Value).m_Value, remaining) << used;
  }
}

TEST_F(AdapterTest, Choices_FollowTheObject) {
  CTorvexAdapter adapter = HealthyAdapter();
  adapter.Flag = true;
  adapter.HealthState = 40095;
  adapter.LifeState = 40411;
  adapter.HealthReasons = {40460, 40452};
  EXPECT_EQ(boost::get<PI::CChoiceData>(Get(adapter, 30158)[0].m_Value).m_Selected, 40488);
  EXPECT_EQ(boost::get<PI::CChoiceData>(Get(adapter, 30017)[0].m_Value).m_Selected, 40095);
  EXPECT_EQ(boost::get<PI::CChoiceData>(Get(adapter, 30468)[0].m_Value).m_Selected, 40411);
  EXPECT_EQ(boost::get<PI::CMultiValueData>(Get(adapter, 30165)[0].m_Value).m_Selected,
            (std::vector<int>{40460, 40452}));
  EXPECT_EQ(adapter.HealthReasons, (std::vector<int>{40460, 40452}));
}

TEST_F(AdapterTest, NoPropertyIsSettable) {
  CTorvexAdapter adapter = HealthyAdapter();
  const CTorvexAdapter before = adapter;
  for (const unsigned int id : {1U, 30007U, 30488U, 30005U, 0U}) {
    PI::CProperty property(static_cast<PI::_PROPERTY_ID>(id), true);
    property.SetValue("other");
    EXPECT_EQ(plugin.SetAdapterProperty(adapter, property), 20004U) << id;
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
  for (const unsigned int id : {50002U, 50026U, 0U, ~0U}) {
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
  operation.SetOperationID(50002);
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
