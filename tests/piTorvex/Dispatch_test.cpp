#include "Frame_fixtures.h"

#include <atomic>
#include <new>
#include <set>
#include <stdexcept>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <PI/Codes.h>
#include <TLX/Delegates_and_Calls/Delegate.h>
#include <TLX/Threading/FastMutex.h>
#include <TLX/Threading/Results.h>
#include <TLX/Threading/Thread.h>

extern "C" unsigned int createIf(IPLUGINAPI** out);
extern "C" void releaseIf(IPLUGINAPI** in);

namespace {
bool refuseMemory = false;  // of the allocation that may fail without an exception
}  // namespace

// The program's own, so that a test can let the door run out of memory.
void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
  if (refuseMemory) return nullptr;
  try {
    return ::operator new(size);
  } catch (const std::bad_alloc&) {
    return nullptr;
  }
}

namespace {

using frametest::Guest;
using frametest::IsFree;
using frametest::Machine;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;
using vxtest::PluginTrace;

constexpr unsigned long UNKNOWN_OBJECT = 0xDEAD;
constexpr unsigned int EVERY_LEVEL = 31;

PI::CProperty Named(unsigned int id) {
  return PI::CProperty(static_cast<PI::_PROPERTY_ID>(id), false);
}

PI::COperation OperationNamed(unsigned int id) {
  PI::COperation operation;
  operation.SetOperationID(id);
  return operation;
}

// A plug-in with two drives behind it, started but without a worker.
class DispatchTest : public testing::Test {
 protected:
  DispatchTest() {
    machine.AddDrive("SERIAL-A");
    machine.AddDrive("SERIAL-B");
    if (guest.Initialize() != 0) throw std::runtime_error("Initialize failed");
    plugin = guest.Impl().m_Plugin.m_ID;
    adapter = guest.Impl().m_Adapters.front().m_ID;
    drive = guest.Impl().m_PhysicalDrives.front().m_ID;
    trace.Clear();
  }

  std::vector<std::pair<unsigned int, std::string>> LevelsAndTexts() const {
    std::vector<std::pair<unsigned int, std::string>> lines;
    for (const vxtest::TraceLine& line : trace.Lines()) {
      lines.emplace_back(line.level, line.text);
    }
    return lines;
  }

  PluginTrace trace{0};
  Machine machine;
  Guest guest;
  unsigned long plugin = 0;
  unsigned long adapter = 0;
  unsigned long drive = 0;
};

// --- The two exported functions

TEST(EntryPoints, CreateIf_GivesAnObjectThatKnowsItsVersionAndModule) {
  IPLUGINAPI* api = nullptr;
  ASSERT_EQ(createIf(&api), 0U);
  EXPECT_EQ(api->m_InterfaceVersion, 2U);
  EXPECT_EQ(api->m_ModuleID, 309U);
  EXPECT_FALSE(static_cast<bool>(api->m_NotifyHost));
  releaseIf(&api);
  EXPECT_EQ(api, nullptr);
}

TEST(EntryPoints, CreateIf_WithoutMemory_StoresNullAndSaysSo) {
  int anything = 0;
  auto* api = reinterpret_cast<IPLUGINAPI*>(&anything);
  refuseMemory = true;
  const unsigned int result = createIf(&api);
  refuseMemory = false;
  EXPECT_EQ(result, PI::ERR_OUT_OF_MEMORY);
  EXPECT_EQ(api, nullptr);
}

TEST(EntryPoints, NullPointers_AreHarmless) {
  EXPECT_EQ(createIf(nullptr), PI::ERR_OUT_OF_MEMORY);
  releaseIf(nullptr);
  IPLUGINAPI* api = nullptr;
  releaseIf(&api);
  EXPECT_EQ(api, nullptr);
}

// Tells of its end.
class Resident : public IPLUGINAPI {
 public:
  explicit Resident(int& ends) : ends_(ends) {}
  ~Resident() override { ++ends_; }
  unsigned int Execute(PI::_COMMAND, unsigned long, void*) override { return 0; }

 private:
  int& ends_;
};

TEST(EntryPoints, ReleaseIf_DestroysTheObjectOnce) {
  int ends = 0;
  IPLUGINAPI* api = new Resident(ends);
  releaseIf(&api);
  EXPECT_EQ(ends, 1);
  EXPECT_EQ(api, nullptr);
  releaseIf(&api);
  EXPECT_EQ(ends, 1);
}

// --- Commands

TEST_F(DispatchTest, Execute_UnknownCommand_IsRefusedBeforeAnythingElse) {
  trace.SetMask(EVERY_LEVEL);
  void* const nowhere = reinterpret_cast<void*>(std::uintptr_t{1});
  for (const unsigned int command : {0U, 11U, 12U, 0xFFFFFFFFU}) {
    EXPECT_EQ(guest.Call(command, plugin, nowhere), PI::ERR_UNKNOWN_COMMAND) << command;
  }
  EXPECT_THAT(trace.Texts(), IsEmpty());
}

TEST_F(DispatchTest, Execute_WithoutData_IsAFailureAndTouchesNothing) {
  trace.SetMask(EVERY_LEVEL);
  for (const unsigned int command : {1U, 2U, 4U, 5U, 6U, 7U, 8U, 9U, 10U}) {
    EXPECT_EQ(guest.Call(command, plugin, nullptr), PI::ERR_GENERAL_FAILURE) << command;
  }
  EXPECT_THAT(trace.Texts(), IsEmpty());
}

// A thread of the host that the host cancels.
class Requester : public TLX::Delegates_and_Calls::CDelegateTarget {
 public:
  explicit Requester(Guest& guest) : guest_(guest) {}
  TLX::Threading::CThread::CBody Body() { return {this, &Requester::Ask}; }
  bool IsAnswered() const { return answered_; }

 private:
  void Ask() {
    std::vector<PI::CObject> objects;
    guest_.Call(4, 0, &objects);
    answered_ = true;
  }
  Guest& guest_;
  std::atomic<bool> answered_{false};
};

TEST_F(DispatchTest, CancellationOfAWaitingRequest_EndsItsThreadAndLeavesTheLockToOthers) {
  trace.SetMask(EVERY_LEVEL);
  Requester requester(guest);
  {
    const TLX::Threading::Native_OS::CFastMutexGuard guard(guest.Impl().m_DataLock);
    TLX::Threading::CThread thread(requester.Body(), 0);
    ASSERT_TRUE(frametest::Eventually([this] { return trace.Has("Before m_DataLock.Wait (sg)"); }));
    EXPECT_TRUE(thread.Native().Cancel());
    EXPECT_EQ(thread.Wait(0), TLX::Threading::WAIT_ACQUIRED);
  }
  EXPECT_FALSE(requester.IsAnswered());
  EXPECT_EQ(trace.Texts().back(), "Before m_DataLock.Wait (sg)");
  EXPECT_EQ(guest.Topology().size(), 5U);
}

TEST_F(DispatchTest, UnknownObject_IsNotFoundByAnyCommand) {
  PI::CProperty property = Named(PI::PROPERTY_NAME);
  property.SetValue("mine");
  PI::COperation operation = OperationNamed(PI::OPERATION_FETCH_EVENTS);
  std::vector<PI::CProperty> properties(3);
  std::vector<PI::COperation> operations(3);
  EXPECT_EQ(guest.Call(5, UNKNOWN_OBJECT, &properties), PI::ERR_OBJECT_NOT_FOUND);
  EXPECT_THAT(properties, IsEmpty());
  EXPECT_EQ(guest.Call(6, UNKNOWN_OBJECT, &property), PI::ERR_OBJECT_NOT_FOUND);
  EXPECT_EQ(boost::get<PI::CStringData>(property.m_Value).m_Value, "mine");
  EXPECT_EQ(guest.Call(7, UNKNOWN_OBJECT, &property), PI::ERR_OBJECT_NOT_FOUND);
  EXPECT_EQ(guest.Call(8, UNKNOWN_OBJECT, &operations), PI::ERR_OBJECT_NOT_FOUND);
  EXPECT_THAT(operations, IsEmpty());
  EXPECT_EQ(boost::get<PI::CStringData>(property.m_Value).m_Value, "mine");
  operation.m_Events.emplace_back(1, 1, 1, 1, "mine");
  EXPECT_EQ(guest.Call(9, UNKNOWN_OBJECT, &operation), PI::ERR_OBJECT_NOT_FOUND);
  EXPECT_EQ(guest.Call(10, UNKNOWN_OBJECT, &operation), PI::ERR_OBJECT_NOT_FOUND);
  EXPECT_EQ(operation.OperationID(), PI::OPERATION_FETCH_EVENTS);
  EXPECT_EQ(operation.m_Events.size(), 1U);
  for (const PI::CObject& object : guest.Topology()) EXPECT_EQ(object.m_ReadCounter, 0U);
}

TEST_F(DispatchTest, GetProperties_AnswersForEachKindOfObject) {
  std::vector<PI::CProperty> properties;
  EXPECT_EQ(guest.Call(5, plugin, &properties), 0U);
  EXPECT_EQ(properties.front().m_PropertyID, PI::PROPERTY_LOCATION);
  EXPECT_EQ(guest.Call(5, adapter, &properties), 0U);
  EXPECT_EQ(properties.size(), 28U);  // all but the driver's version, which no module tells
  EXPECT_EQ(guest.Call(5, drive, &properties), 0U);
  EXPECT_EQ(properties.size(), 14U);
}

TEST_F(DispatchTest, GetProperty_GivesTheValueAndCountsTheRead) {
  PI::CProperty property = Named(PI::PROPERTY_SERIAL_NUMBER);
  EXPECT_EQ(guest.Call(6, drive, &property), 0U);
  EXPECT_EQ(boost::get<PI::CStringData>(property.m_Value).m_Value, "SERIAL-A");
  EXPECT_EQ(guest.Impl().m_PhysicalDrives.front().m_ReadCounter, 1U);
}

TEST_F(DispatchTest, GetProperty_ThatTheObjectLacks_FailsButCountsTheRead) {
  PI::CProperty property = Named(4711);
  property.SetValue("mine");
  EXPECT_EQ(guest.Call(6, adapter, &property), PI::ERR_GENERAL_FAILURE);
  EXPECT_EQ(boost::get<PI::CStringData>(property.m_Value).m_Value, "mine");
  EXPECT_EQ(guest.Topology()[1].m_ReadCounter, 1U);
}

TEST_F(DispatchTest, GetProperty_WithTheIdOfAll_GivesTheFirst) {
  PI::CProperty property = Named(1);
  EXPECT_EQ(guest.Call(6, adapter, &property), 0U);
  EXPECT_EQ(property.m_PropertyID, PI::PROPERTY_NAME);
}

TEST_F(DispatchTest, AnIdOfAdapterAndDrive_MeansTheAdapter) {
  guest.Impl().m_PhysicalDrives.front().m_ID = adapter;
  PI::CProperty property = Named(PI::PROPERTY_ADAPTER_NUMBER);  // only adapters have it
  EXPECT_EQ(guest.Call(6, adapter, &property), 0U);
  guest.Impl().m_Adapters.front().m_ID = plugin;
  property = Named(PI::PROPERTY_POLL_INTERVAL);  // only the plug-in has it
  EXPECT_EQ(guest.Call(6, plugin, &property), 0U);
}

TEST_F(DispatchTest, AnIdOfTwoAdaptersOrDrives_MeansTheFirst) {
  guest.Impl().m_Adapters[1].m_ID = adapter;
  guest.Impl().m_PhysicalDrives[1].m_ID = drive;
  for (const unsigned long object : {adapter, drive}) {
    PI::CProperty property = Named(PI::PROPERTY_SERIAL_NUMBER);
    EXPECT_EQ(guest.Call(6, object, &property), 0U);
    EXPECT_EQ(boost::get<PI::CStringData>(property.m_Value).m_Value, "SERIAL-A");
  }
}

TEST_F(DispatchTest, SetProperty_OfAdaptersAndDrives_IsRefused) {
  PI::CProperty property = Named(PI::PROPERTY_NAME);
  EXPECT_EQ(guest.Call(7, adapter, &property), PI::ERR_PROPERTY_NOT_SETTABLE);
  EXPECT_EQ(guest.Call(7, drive, &property), PI::ERR_PROPERTY_NOT_SETTABLE);
  EXPECT_EQ(guest.Call(7, plugin, &property), PI::ERR_PROPERTY_NOT_SETTABLE);
}

TEST_F(DispatchTest, Operations_AreRoutedByObject) {
  std::vector<PI::COperation> operations(2);
  EXPECT_EQ(guest.Call(8, adapter, &operations), 0U);
  EXPECT_THAT(operations, IsEmpty());
  operations.resize(2);
  EXPECT_EQ(guest.Call(8, drive, &operations), 0U);
  EXPECT_THAT(operations, IsEmpty());
  PI::COperation operation = OperationNamed(PI::OPERATION_DRIVE);
  EXPECT_EQ(guest.Call(9, drive, &operation), 0U);
  guest.Impl().m_PhysicalDrives.front().HealthState = PI::CHOICE_HEALTH_CRITICAL;
  EXPECT_EQ(guest.Call(9, drive, &operation), PI::ERR_OPERATION_NOT_ALLOWED);
  EXPECT_EQ(guest.Call(10, drive, &operation), PI::ERR_OPERATION_NOT_SUPPORTED);
  EXPECT_EQ(guest.Call(10, adapter, &operation), 0U);
}

TEST_F(DispatchTest, AnExceptionOfAHandler_StopsAtTheDoor) {
  machine.tool.SetHook([](const std::string&) { throw std::runtime_error("out of luck"); });
  trace.SetMask(2);
  std::vector<PI::CAdapterID> ids(2);
  EXPECT_EQ(guest.Call(1, 0, &ids), PI::ERR_GENERAL_FAILURE);
  EXPECT_THAT(ids, IsEmpty());
  EXPECT_TRUE(trace.Has("Exception stopped: out of luck"));
  EXPECT_TRUE(IsFree(guest.Impl().m_DataLock));
  machine.tool.SetHook(nullptr);
  EXPECT_EQ(guest.Call(1, 0, &ids), 0U);
  EXPECT_TRUE(IsFree(guest.Impl().m_DataLock));
}

TEST_F(DispatchTest, Requests_GiveTheLocksBack) {
  for (const unsigned long object : {plugin, adapter, drive, UNKNOWN_OBJECT}) {
    std::vector<PI::CObject> objects;
    std::vector<PI::CProperty> properties;
    std::vector<PI::COperation> operations;
    PI::CProperty property = Named(PI::PROPERTY_NAME);
    PI::COperation operation = OperationNamed(PI::OPERATION_FETCH_EVENTS);
    const std::vector<std::pair<unsigned int, void*>> calls = {
        {4, &objects},    {5, &properties}, {6, &property},  {7, &property},
        {8, &operations}, {9, &operation},  {10, &operation}};
    for (const auto& [command, data] : calls) {
      (void)guest.Call(command, object, data);
      EXPECT_TRUE(IsFree(guest.Impl().m_DataLock)) << command;
      EXPECT_TRUE(IsFree(guest.Impl().m_EventsLock)) << command;
    }
  }
}

TEST(Dispatch, BeforeStartUp_ASettingIsStoredAndWakesNobody) {
  Machine machine;
  Guest guest;
  PI::CProperty property = Named(PI::PROPERTY_POLL_INTERVAL);
  property.SetValue(60, 2, 255, 1U);
  EXPECT_EQ(guest.Call(7, 0, &property), 0U);
  EXPECT_EQ(guest.Impl().PollInterval.load(), 60U);
  guest.Impl().m_PrivateEvent.Init(false, false);
  EXPECT_EQ(guest.Impl().m_PrivateEvent.Wait(0), TLX::Threading::WAIT_TIMED_OUT);
}

TEST(Dispatch, BeforeStartUp_RequestsAreAnswered) {
  Guest guest;
  EXPECT_EQ(guest.Topology().size(), 1U);
  std::vector<PI::CProperty> properties;
  EXPECT_EQ(guest.Call(5, 0, &properties), 0U);
  EXPECT_EQ(properties.size(), 5U);
  EXPECT_EQ(guest.Call(5, UNKNOWN_OBJECT, &properties), PI::ERR_OBJECT_NOT_FOUND);
  PI::COperation operation = OperationNamed(PI::OPERATION_FETCH_EVENTS);
  EXPECT_EQ(guest.Call(10, 0, &operation), 0U);  // the events lock is not there: no events
}

// --- Traces

TEST_F(DispatchTest, GetProperties_OnTheLockLevel_WritesTwoLines) {
  trace.SetMask(8);
  std::vector<PI::CProperty> properties;
  guest.Call(5, plugin, &properties);
  EXPECT_THAT(trace.Texts(),
              ElementsAre("Before m_DataLock.Wait (sg)", "After m_DataLock.Wait (sg)"));
}

TEST_F(DispatchTest, CheckOperation_OnTheLockLevel_WritesFourLines) {
  trace.SetMask(8);
  PI::COperation operation = OperationNamed(PI::OPERATION_DRIVE);
  guest.Call(9, drive, &operation);
  EXPECT_THAT(trace.Texts(),
              ElementsAre("ENTER CheckOperation operation=50026", "Before m_DataLock.Wait (sg)",
                          "After m_DataLock.Wait (sg)", "LEAVE CheckOperation(0)"));
}

TEST_F(DispatchTest, GetOperations_SaysEnterTwice) {
  trace.SetMask(16);
  std::vector<PI::COperation> operations;
  guest.Call(8, adapter, &operations);
  EXPECT_THAT(trace.Texts(), ElementsAre("ENTER GetOperations object=0x135000000000001",
                                         "ENTER GetOperations ret=0"));
}

TEST_F(DispatchTest, SetPropertyAndExecuteOperation_TellOfTheLockAlone) {
  trace.SetMask(EVERY_LEVEL);
  PI::CProperty property = Named(PI::PROPERTY_NAME);
  guest.Call(7, adapter, &property);
  EXPECT_THAT(LevelsAndTexts(), ElementsAre(Pair(8, "Before m_DataLock.Wait (sg)"),
                                            Pair(8, "After m_DataLock.Wait (sg)")));
  trace.Clear();
  PI::COperation operation = OperationNamed(PI::OPERATION_DRIVE);
  guest.Call(10, drive, &operation);
  EXPECT_THAT(
      LevelsAndTexts(),
      ElementsAre(Pair(8, "Before m_DataLock.Wait (sg)"), Pair(8, "After m_DataLock.Wait (sg)"),
                  Pair(2, "ENTER ExecutePhysicalDriveOperation()"),
                  Pair(2, "LEAVE ExecutePhysicalDriveOperation() -> 20005")));
}

TEST_F(DispatchTest, Lookups_TellHowFarTheyWent) {
  trace.SetMask(4);
  std::vector<PI::CProperty> properties;
  PI::CProperty property = Named(PI::PROPERTY_NAME);
  guest.Call(5, plugin, &properties);
  guest.Call(6, plugin, &property);
  EXPECT_THAT(trace.Texts(), IsEmpty());
  guest.Call(5, adapter, &properties);
  guest.Call(6, adapter, &property);
  guest.Call(5, drive, &properties);
  guest.Call(6, UNKNOWN_OBJECT, &property);
  EXPECT_THAT(trace.Texts(),
              ElementsAre("GetProperties() Adapter = 2", "GetProperty() Adapter = 2",
                          "GetProperties() Adapter = 2", "GetProperties() PhysicalDrives = 2",
                          "GetProperty() Adapter = 2", "GetProperty() PhysicalDrives = 2"));
}

TEST_F(DispatchTest, Topology_TellsOfEveryObject) {
  trace.SetMask(EVERY_LEVEL);
  guest.Topology();
  EXPECT_THAT(
      LevelsAndTexts(),
      ElementsAre(Pair(2, "ENTER GetTopology"), Pair(8, "Before m_DataLock.Wait (sg)"),
                  Pair(8, "After m_DataLock.Wait (sg)"),
                  Pair(4, "GetTopology() Adapter m_ID=0x135000000000001"),
                  Pair(4, "GetTopology() Adapter m_ID=0x135000000000003"),
                  Pair(4, "GetTopology() m_Adapters = 2"),
                  Pair(4, "GetTopology() PhysicalDrive m_ID=0x135000000000002"),
                  Pair(4, "GetTopology() PhysicalDrive m_ID=0x135000000000004"),
                  Pair(4, "GetTopology() m_PhysicalDrives = 2"), Pair(2, "LEAVE GetTopology")));
}

// The release is written without a blank here.
TEST_F(DispatchTest, EventFetch_TellsOfItsLock) {
  trace.SetMask(EVERY_LEVEL);
  PI::COperation operation = OperationNamed(PI::OPERATION_FETCH_EVENTS);
  EXPECT_EQ(guest.Impl().GetEvents(guest.Impl().m_Plugin, operation), 0U);
  EXPECT_THAT(
      LevelsAndTexts(),
      ElementsAre(Pair(2, "ENTER GetEvents()"), Pair(8, "Before m_EventsLock.Wait(INFINITE)"),
                  Pair(8, "After m_EventsLock.Wait(INFINITE)"),
                  Pair(8, "Before m_EventsLock.Release()"), Pair(8, "After m_EventsLock.Release()"),
                  Pair(2, "LEAVE GetEvents() -> 0")));
}

TEST_F(DispatchTest, EachLevelAlone_WritesItsOwnLinesAndNoOther) {
  const auto live = [this](unsigned int mask) {
    PI::CProperty property = Named(PI::PROPERTY_NAME);
    PI::COperation operation = OperationNamed(PI::OPERATION_FETCH_EVENTS);
    std::vector<PI::COperation> operations;
    trace.Clear();
    trace.SetMask(mask);
    guest.Topology();
    guest.Call(6, drive, &property);
    guest.Call(8, drive, &operations);
    guest.Call(9, drive, &operation);
    guest.Call(10, plugin, &operation);
    return LevelsAndTexts();
  };
  const auto all = live(EVERY_LEVEL);
  for (const unsigned int level : {2U, 4U, 8U, 16U}) {
    std::vector<std::pair<unsigned int, std::string>> expected;
    for (const auto& line : all) {
      if (line.first == level) expected.push_back(line);
    }
    EXPECT_THAT(expected, testing::Not(IsEmpty())) << level;
    EXPECT_EQ(live(level), expected) << level;
  }
}

TEST_F(DispatchTest, EveryLine_NamesItsFileAndFunction) {
  trace.SetMask(EVERY_LEVEL);
  PI::COperation operation = OperationNamed(PI::OPERATION_FETCH_EVENTS);
  std::vector<PI::CObject> objects;
  guest.Call(9, plugin, &operation);
  guest.Call(10, plugin, &operation);
  guest.Call(4, 0, &objects);
  std::set<std::string> places;
  for (const vxtest::TraceLine& line : trace.Lines()) {
    places.insert(line.file + ":" + line.function);
  }
  EXPECT_THAT(places, ElementsAre("piTorvex/Src/piTorvex:CheckOperation",
                                  "piTorvex/Src/piTorvex:ExecuteOperation",
                                  "piTorvex/Src/piTorvexPlugin:ExecutePluginOperation",
                                  "piTorvex/Src/piTorvexPlugin:GetEvents",
                                  "piTorvex/Src/piTorvexPlugin:GetTopology",
                                  "piTorvex/Src/piTorvexPlugin:UpdateObjectInDatabase"));
}

// --- Topology

TEST_F(DispatchTest, Topology_GivesEachObjectWithItsPropertiesAndOperations) {
  const std::vector<PI::CObject> objects = guest.Topology();
  ASSERT_EQ(objects.size(), 5U);
  for (const PI::CObject& object : objects) {
    std::vector<PI::CProperty> properties;
    std::vector<PI::COperation> operations;
    ASSERT_EQ(guest.Call(5, object.m_ID, &properties), 0U);
    ASSERT_EQ(guest.Call(8, object.m_ID, &operations), 0U);
    ASSERT_EQ(object.m_Properties.size(), properties.size());
    for (std::size_t i = 0; i < properties.size(); ++i) {
      EXPECT_EQ(object.m_Properties[i].m_PropertyID, properties[i].m_PropertyID);
      EXPECT_EQ(frametest::TextOf(object, properties[i].m_PropertyID),
                boost::get<PI::CStringData>(&properties[i].m_Value) == nullptr
                    ? ""
                    : boost::get<PI::CStringData>(properties[i].m_Value).m_Value);
    }
    ASSERT_EQ(object.m_Operations.size(), operations.size());
    EXPECT_EQ(operations.size(), object.m_ID == plugin ? 1U : 0U);
  }
  // The objects themselves stay without; what the host gets are copies.
  EXPECT_THAT(guest.Impl().m_Adapters.front().m_Properties, IsEmpty());
  EXPECT_THAT(guest.Impl().m_PhysicalDrives.front().m_Properties, IsEmpty());
  EXPECT_THAT(guest.Impl().m_Plugin.m_Properties, IsEmpty());
  EXPECT_THAT(guest.Impl().m_Plugin.m_Operations, IsEmpty());
}

// --- The plug-in object

TEST_F(DispatchTest, PluginProperties_StandInOrder) {
  std::vector<PI::CProperty> properties(2);
  ASSERT_EQ(guest.Call(5, plugin, &properties), 0U);
  std::vector<std::string> shown;
  for (const PI::CProperty& property : properties) {
    const auto* text = boost::get<PI::CStringData>(&property.m_Value);
    shown.push_back(
        std::to_string(property.m_PropertyID) + " " + std::to_string(property.m_LabelID) + " " +
        (text == nullptr ? "-" : text->m_Value) + (property.m_Settable ? " settable" : ""));
  }
  for (const PI::CProperty& property : properties) {
    const bool isInterval = property.m_PropertyID == PI::PROPERTY_POLL_INTERVAL;
    EXPECT_EQ(property.m_Kind, isInterval ? PI::KIND_RANGE : PI::KIND_STRING);
    EXPECT_EQ(property.m_Unit, PI::UNIT_NONE);
  }
  EXPECT_THAT(
      shown, ElementsAre("30137 1 Plugin:ID=309", "30007 23335 Torvex-Plugin", "30099 23340 7.22.0",
                         "30003 23339 Vioteis.", "30004 23340 3.0.26", "30005 23336 - settable"));
  int value = 0;
  int minimum = 0;
  int maximum = 0;
  unsigned int step = 0;
  ASSERT_TRUE(properties.back().GetValue(value, minimum, maximum, step));
  EXPECT_EQ(value, 30);
  EXPECT_EQ(minimum, 2);
  EXPECT_EQ(maximum, 255);
  EXPECT_EQ(step, 1U);
}

TEST_F(DispatchTest, PluginProperties_WithoutAToolVersion_LackOne) {
  guest.Impl().m_ToolVersion.clear();
  std::vector<PI::CProperty> properties;
  guest.Call(5, plugin, &properties);
  EXPECT_EQ(properties.size(), 5U);
  PI::CProperty property = Named(PI::PROPERTY_TOOL_VERSION);
  EXPECT_EQ(guest.Call(6, plugin, &property), PI::ERR_GENERAL_FAILURE);
}

TEST_F(DispatchTest, PluginProperty_OfOneId_IsItsRowOrNothingWithoutAFailure) {
  const auto get = [this](unsigned long id) {
    std::vector<PI::CProperty> properties(2);
    EXPECT_EQ(guest.Impl().GetPluginProperties(guest.Impl().m_Plugin, properties, id), 0UL) << id;
    return properties;
  };
  for (const unsigned int id :
       {PI::PROPERTY_LOCATION, PI::PROPERTY_NAME, PI::PROPERTY_VERSION, PI::PROPERTY_VENDOR,
        PI::PROPERTY_TOOL_VERSION, PI::PROPERTY_POLL_INTERVAL}) {
    const std::vector<PI::CProperty> properties = get(id);
    ASSERT_EQ(properties.size(), 1U) << id;
    EXPECT_EQ(properties.front().m_PropertyID, id);
  }
  for (const unsigned long id : std::initializer_list<unsigned long>{
           0, 2, PI::PROPERTY_SERIAL_NUMBER, 0x100000000UL + PI::PROPERTY_NAME, ~0UL}) {
    EXPECT_THAT(get(id), IsEmpty()) << id;
  }
}

TEST_F(DispatchTest, PollInterval_IsClampedStoredAndWritten) {
  const auto set = [this](int value, int minimum, int maximum) {
    PI::CProperty property = Named(PI::PROPERTY_POLL_INTERVAL);
    property.SetValue(value, minimum, maximum, 1U);
    EXPECT_EQ(guest.Call(7, plugin, &property), 0U);
    std::string text;
    PI::CConfigFile file;
    file.SetFileName("piTorvex.ini");
    EXPECT_EQ(file.ReadKeyValue("PollInterval", text, -1, -1), 0U);
    EXPECT_EQ(text, std::to_string(guest.Impl().PollInterval.load()));
    return guest.Impl().PollInterval.load();
  };
  EXPECT_EQ(set(60, 2, 255), 60U);
  EXPECT_EQ(set(1, 2, 255), 2U);
  EXPECT_EQ(set(1000, 2, 255), 255U);
  EXPECT_EQ(set(5000, 0, 100000), 255U);  // bounds of the host's own making do not widen it
  EXPECT_EQ(set(-7, -100, 100), 2U);
  EXPECT_EQ(set(10, 20, 40), 20U);
  EXPECT_EQ(set(50, 20, 40), 40U);
  EXPECT_EQ(guest.Topology().front().m_ReadCounter, 7U);
}

TEST_F(DispatchTest, PollInterval_ThatIsNoRange_IsRefused) {
  PI::CProperty property = Named(PI::PROPERTY_POLL_INTERVAL);
  property.SetValue("60");
  EXPECT_EQ(guest.Call(7, plugin, &property), PI::ERR_GENERAL_FAILURE);
  EXPECT_EQ(guest.Impl().PollInterval.load(), 30U);
  EXPECT_EQ(guest.Topology().front().m_ReadCounter, 0U);
}

TEST_F(DispatchTest, PollInterval_ThatCannotBeWritten_StaysInMemoryAndSaysSo) {
  PI::CConfigFile::SetConfigDirectory("/nowhere/at/all");
  PI::CProperty property = Named(PI::PROPERTY_POLL_INTERVAL);
  property.SetValue(60, 2, 255, 1U);
  EXPECT_EQ(guest.Call(7, plugin, &property), PI::ERR_GENERAL_FAILURE);
  EXPECT_EQ(guest.Impl().PollInterval.load(), 60U);
  EXPECT_EQ(guest.Impl().m_PrivateEvent.Wait(0), TLX::Threading::WAIT_ACQUIRED);
}

TEST_F(DispatchTest, SettingAnythingElse_WakesNobody) {
  PI::CProperty property = Named(PI::PROPERTY_NAME);
  property.SetValue("name");
  EXPECT_EQ(guest.Call(7, plugin, &property), PI::ERR_PROPERTY_NOT_SETTABLE);
  EXPECT_EQ(guest.Impl().m_PrivateEvent.Wait(0), TLX::Threading::WAIT_TIMED_OUT);
}

TEST_F(DispatchTest, PluginOperations_AreTheEventFetchAlone) {
  std::vector<PI::COperation> operations(5);
  for (int round = 0; round < 2; ++round) {
    ASSERT_EQ(guest.Call(8, plugin, &operations), 0U);
    ASSERT_EQ(operations.size(), 1U);
  }
  EXPECT_THAT(operations.front().m_Numbers, ElementsAre(50002, 50002, 6, 1, 1, 1, 1, 0, 1));
  EXPECT_FALSE(operations.front().m_Flag);
  EXPECT_EQ(guest.Call(9, plugin, &operations.front()), 0U);
}

TEST_F(DispatchTest, Events_AreDeliveredOnceAndOnlyByThePluginObject) {
  guest.Impl().m_Events.emplace_back(PI::EVENT_ADAPTER_ADDED, PI::SEVERITY_INFORMATION,
                                     PI::EVENT_OBJECT_ADAPTERS, 1, "first");
  guest.Impl().m_Events.emplace_back(PI::EVENT_ADAPTER_REMOVED, PI::SEVERITY_WARNING,
                                     PI::EVENT_OBJECT_ADAPTERS, 2, "second");
  PI::COperation operation = OperationNamed(PI::OPERATION_FETCH_EVENTS);
  operation.m_Events.emplace_back(1, 1, 1, 1, "old");
  EXPECT_EQ(guest.Call(10, adapter, &operation), 0U);
  EXPECT_EQ(operation.m_Events.size(), 1U);  // nothing is fetched there
  EXPECT_EQ(guest.Call(10, plugin, &operation), 0U);
  EXPECT_THAT(frametest::IdsOf(operation.m_Events),
              ElementsAre(PI::EVENT_ADAPTER_ADDED, PI::EVENT_ADAPTER_REMOVED));
  EXPECT_EQ(operation.m_Events[1].m_Name, "second");
  EXPECT_EQ(guest.Call(10, plugin, &operation), 0U);
  EXPECT_THAT(operation.m_Events, IsEmpty());
}

TEST_F(DispatchTest, UnknownOperationOfThePlugin_IsRefusedAndTraced) {
  trace.SetMask(2);
  PI::COperation operation = OperationNamed(4711);
  EXPECT_EQ(guest.Call(10, plugin, &operation), PI::ERR_OPERATION_NOT_SUPPORTED);
  const std::vector<std::string> texts = trace.Texts();
  EXPECT_EQ(texts.front(), "ENTER ExecutePluginOperation()");
  EXPECT_EQ(texts.back(), "LEAVE ExecutePluginOperation() -> 20005");
}

TEST(Events, WithoutTheirLock_StayQueuedAndTheFetchSaysNothing) {
  PluginTrace trace(2 | 8);
  frametest::IPLUGINAPI_IMPL plugin;  // no lock is initialised
  plugin.m_Events.emplace_back(PI::EVENT_ADAPTER_ADDED, PI::SEVERITY_INFORMATION,
                               PI::EVENT_OBJECT_ADAPTERS, 1, "kept");
  PI::COperation operation = OperationNamed(PI::OPERATION_FETCH_EVENTS);
  operation.m_Events.emplace_back(1, 1, 1, 1, "old");
  EXPECT_EQ(plugin.GetEvents(plugin.m_Plugin, operation), 0U);
  EXPECT_THAT(operation.m_Events, IsEmpty());
  EXPECT_EQ(plugin.m_Events.size(), 1U);
  EXPECT_THAT(trace.Texts(), ElementsAre("ENTER GetEvents()", "Before m_EventsLock.Wait(INFINITE)",
                                         "After m_EventsLock.Wait(INFINITE)"));
}

}  // namespace
