#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <type_traits>

#include <gtest/gtest.h>

#include <PI/Catalogue.h>
#include <PI/PluginApi.h>

namespace {

using PI::CAdapterID;
using PI::CETR;
using PI::CEvent;
using PI::CObject;
using PI::COperation;

CObject FilledObject() {
  CObject object;
  object.m_ID = 0x0135000000000007UL;
  object.m_Type = PI::OBJECT_TYPE_ADAPTER;
  object.m_ParentIDs = {1, 2};
  object.m_ChildIDs = {3};
  object.m_ReadCounter = 9;
  object.m_LockFlag = true;
  object.m_Properties.emplace_back(PI::PROPERTY_NAME, true);
  object.m_Operations.emplace_back().SetOperationID(PI::OPERATION_FETCH_EVENTS);
  object.m_Unused = 77;
  return object;
}

void ExpectFilled(const CObject& object) {
  EXPECT_EQ(object.m_ID, 0x0135000000000007UL);
  EXPECT_EQ(object.m_Type, PI::OBJECT_TYPE_ADAPTER);
  EXPECT_EQ(object.m_ParentIDs, (std::vector<unsigned long>{1, 2}));
  EXPECT_EQ(object.m_ChildIDs, (std::vector<unsigned long>{3}));
  EXPECT_EQ(object.m_ReadCounter, 9UL);
  EXPECT_TRUE(object.m_LockFlag);
  ASSERT_EQ(object.m_Properties.size(), 1U);
  EXPECT_EQ(object.m_Properties[0].m_PropertyID, PI::PROPERTY_NAME);
  ASSERT_EQ(object.m_Operations.size(), 1U);
  EXPECT_EQ(object.m_Operations[0].OperationID(), PI::OPERATION_FETCH_EVENTS);
  EXPECT_EQ(object.m_Unused, 77UL);
}

TEST(Object, Copy_KeepsEveryField) {
  ExpectFilled(CObject(FilledObject()));
}

TEST(Object, Assignment_KeepsEveryField) {
  CObject object;
  object = FilledObject();
  ExpectFilled(object);
}

TEST(Object, New_IsEmptyAndUnlocked) {
  const CObject object;
  EXPECT_EQ(object.m_ID, 0UL);
  EXPECT_EQ(object.m_Type, 0U);
  EXPECT_EQ(object.m_ReadCounter, 0UL);
  EXPECT_FALSE(object.m_LockFlag);
  EXPECT_EQ(object.m_Unused, 0UL);
}

TEST(Object, Equality_IgnoresLinksCounterLockAndLists) {
  const CObject first = FilledObject();
  CObject second;
  second.m_ID = first.m_ID;
  second.m_Type = first.m_Type;
  second.m_Unused = first.m_Unused;
  EXPECT_TRUE(first == second);
}

TEST(Object, Equality_SeesIdTypeAndLastField) {
  const CObject object = FilledObject();
  CObject otherId = object;
  otherId.m_ID = 8;
  CObject otherType = object;
  otherType.m_Type = PI::OBJECT_TYPE_PHYSICAL_DRIVE;
  CObject otherLast = object;
  otherLast.m_Unused = 78;
  EXPECT_FALSE(object == otherId);
  EXPECT_FALSE(object == otherType);
  EXPECT_FALSE(object == otherLast);
}

TEST(Object, LockFlag_IsOneByte) {
  EXPECT_EQ(sizeof(PI::CLockFlag), 1U);
}

TEST(Operation, Id_IsFirstOfNineNumbers) {
  COperation operation;
  operation.SetOperationID(PI::OPERATION_DRIVE);
  EXPECT_EQ(operation.m_Numbers.size(), 9U);
  EXPECT_EQ(operation.m_Numbers[0], PI::OPERATION_DRIVE);
  EXPECT_EQ(operation.OperationID(), PI::OPERATION_DRIVE);
}

TEST(Operation, Copy_KeepsNumbersFlagAndEvents) {
  COperation operation;
  operation.m_Numbers = {1, 2, 3, 4, 5, 6, 7, 8, 9};
  operation.m_Flag = true;
  operation.m_Events.emplace_back(PI::EVENT_ADAPTER_ADDED, PI::SEVERITY_INFORMATION,
                                  PI::EVENT_OBJECT_ADAPTERS, 5UL, "drive");
  const COperation copy(operation);
  COperation assigned;
  assigned = operation;
  for (const COperation* each : {&copy, static_cast<const COperation*>(&assigned)}) {
    EXPECT_EQ(each->m_Numbers, operation.m_Numbers);
    EXPECT_TRUE(each->m_Flag);
    ASSERT_EQ(each->m_Events.size(), 1U);
    EXPECT_EQ(each->m_Events[0].m_Name, "drive");
  }
}

void ExpectSame(const CEvent& left, const CEvent& right) {
  EXPECT_EQ(left.m_EventID, right.m_EventID);
  EXPECT_EQ(left.m_Severity, right.m_Severity);
  EXPECT_EQ(left.m_ObjectID, right.m_ObjectID);
  EXPECT_EQ(left.m_Time, right.m_Time);
  EXPECT_EQ(left.m_Name, right.m_Name);
  EXPECT_EQ(left.m_PlaceHolder1, right.m_PlaceHolder1);
  EXPECT_EQ(left.m_PlaceHolder2, right.m_PlaceHolder2);
}

TEST(Event, Constructor_FillsAllButPlaceHolders) {
  const CEvent event(PI::EVENT_DRIVE_CHANGED, PI::SEVERITY_WARNING, 42, 1234567890123UL, "SSD (3)");
  EXPECT_EQ(event.m_EventID, PI::EVENT_DRIVE_CHANGED);
  EXPECT_EQ(event.m_Severity, 3U);
  EXPECT_EQ(event.m_ObjectID, 42UL);
  EXPECT_EQ(event.m_Time, 1234567890123UL);
  EXPECT_EQ(event.m_Name, "SSD (3)");
  EXPECT_EQ(event.m_PlaceHolder1, "");
  EXPECT_EQ(event.m_PlaceHolder2, "");
}

TEST(Event, CopyAndAssignment_KeepEveryField) {
  CEvent event(PI::EVENT_DRIVE_CHANGED, PI::SEVERITY_ERROR, 42, 7, "name");
  event.SetPlaceHolder1("first");
  event.SetPlaceHolder2("second");
  EXPECT_EQ(event.m_PlaceHolder1, "first");
  EXPECT_EQ(event.m_PlaceHolder2, "second");
  ExpectSame(CEvent(event), event);
  CEvent assigned;
  assigned = event;
  ExpectSame(assigned, event);
}

TEST(AdapterID, New_HasNoNameAndNoHostNumber) {
  const CAdapterID id;
  EXPECT_EQ(id.m_Name, "");
  EXPECT_EQ(id.m_Identification, (std::array<unsigned int, 4>{0, 0, 0, 0}));
  EXPECT_EQ(id.m_AdapterIndex, 0U);
  EXPECT_EQ(id.m_HostNumber, -1);
}

TEST(AdapterID, CopyAndAssignment_KeepEveryField) {
  CAdapterID id;
  id.m_Name = "name";
  id.m_Identification = {1, 2, 3, 4};
  id.m_AdapterIndex = 5;
  id.m_HostNumber = 6;
  const CAdapterID copy(id);
  CAdapterID assigned;
  assigned = id;
  for (const CAdapterID* each : {&copy, static_cast<const CAdapterID*>(&assigned)}) {
    EXPECT_EQ(each->m_Name, "name");
    EXPECT_EQ(each->m_Identification, (std::array<unsigned int, 4>{1, 2, 3, 4}));
    EXPECT_EQ(each->m_AdapterIndex, 5U);
    EXPECT_EQ(each->m_HostNumber, 6);
  }
}

TEST(ETR, CopyAndAssignment_KeepEveryField) {
  CETR record;
  record.m_ID = 5;
  record.m_Text = "text";
  const CETR copy(record);
  CETR assigned;
  assigned = record;
  EXPECT_EQ(copy.m_ID, 5UL);
  EXPECT_EQ(copy.m_Text, "text");
  EXPECT_EQ(assigned.m_ID, 5UL);
  EXPECT_EQ(assigned.m_Text, "text");
}

static_assert(std::is_polymorphic_v<CObject> && std::is_polymorphic_v<PI::CProperty> &&
              std::is_polymorphic_v<COperation> && std::is_polymorphic_v<CEvent> &&
              std::is_polymorphic_v<CAdapterID> && std::is_polymorphic_v<CETR>);

// The commands and the other enumerations may hold any 32-bit number.
static_assert(std::is_same_v<std::underlying_type_t<PI::_COMMAND>, unsigned int> &&
              std::is_same_v<std::underlying_type_t<PI::_PROPERTY_ID>, unsigned int> &&
              std::is_same_v<std::underlying_type_t<PI::_UNITS>, unsigned int> &&
              std::is_same_v<std::underlying_type_t<PI::_DATA_KIND>, unsigned int>);

// ---- The layout that hosts and plug-ins rely on ----

// offsetof of a type with a virtual table is conditionally supported; both compilers support it.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Winvalid-offsetof"
static_assert(offsetof(IPLUGINAPI, m_InterfaceVersion) == sizeof(void*));
static_assert(offsetof(IPLUGINAPI, m_ModuleID) == sizeof(void*) + 4);
static_assert(offsetof(IPLUGINAPI, m_NotifyHost) == sizeof(void*) + 8);
static_assert(sizeof(IPLUGINAPI) == sizeof(void*) + 8 + 3 * sizeof(void*));
static_assert(offsetof(CObject, m_ID) == sizeof(void*));
static_assert(offsetof(CObject, m_ID) < offsetof(CObject, m_Type) &&
              offsetof(CObject, m_Type) < offsetof(CObject, m_ParentIDs) &&
              offsetof(CObject, m_ParentIDs) < offsetof(CObject, m_ChildIDs) &&
              offsetof(CObject, m_ChildIDs) < offsetof(CObject, m_ReadCounter) &&
              offsetof(CObject, m_ReadCounter) < offsetof(CObject, m_LockFlag) &&
              offsetof(CObject, m_LockFlag) < offsetof(CObject, m_Properties) &&
              offsetof(CObject, m_Properties) < offsetof(CObject, m_Operations) &&
              offsetof(CObject, m_Operations) < offsetof(CObject, m_Unused));
static_assert(offsetof(CAdapterID, m_Name) < offsetof(CAdapterID, m_Identification) &&
              offsetof(CAdapterID, m_Identification) < offsetof(CAdapterID, m_AdapterIndex) &&
              offsetof(CAdapterID, m_AdapterIndex) < offsetof(CAdapterID, m_HostNumber));
#pragma GCC diagnostic pop
static_assert(sizeof(CObject::m_ID) == 8 && sizeof(CObject::m_Type) == 4 &&
              sizeof(CObject::m_ReadCounter) == 8 && sizeof(CObject::m_Unused) == 8);
static_assert(sizeof(CAdapterID::m_Identification) == 16 &&
              sizeof(CAdapterID::m_AdapterIndex) == 4 &&
              std::is_signed_v<decltype(CAdapterID::m_HostNumber)>);
static_assert(sizeof(IPLUGINAPI::m_InterfaceVersion) == 4 && sizeof(IPLUGINAPI::m_ModuleID) == 4);

class CPlugin : public IPLUGINAPI {
 public:
  explicit CPlugin(int* destroyed = nullptr) : m_Destroyed(destroyed) {}
  ~CPlugin() override {
    if (m_Destroyed != nullptr) ++*m_Destroyed;
  }
  unsigned int Execute(PI::_COMMAND command, unsigned long objectId, void*) override {
    m_Command = command;
    m_ObjectId = objectId;
    return 4711;
  }

  unsigned int m_Command = 0;
  unsigned long m_ObjectId = 0;

 private:
  int* m_Destroyed;
};

TEST(PluginApi, New_SpeaksVersionTwoAndHasNoModuleOrCallback) {
  const CPlugin plugin;
  EXPECT_EQ(plugin.m_InterfaceVersion, 2U);
  EXPECT_EQ(plugin.m_ModuleID, 0U);
  EXPECT_FALSE(plugin.m_NotifyHost);
}

// A pointer to a virtual member function holds one plus its byte offset in the virtual table.
TEST(PluginApi, VirtualTable_HoldsExecuteBeforeDestructor) {
  const auto execute = &IPLUGINAPI::Execute;
  std::uintptr_t word = 0;
  std::memcpy(&word, &execute, sizeof word);
  EXPECT_EQ(word, 1U);
}

TEST(PluginApi, Execute_PassesUnknownCommandsOn) {
  CPlugin plugin;
  IPLUGINAPI& door = plugin;
  EXPECT_EQ(door.Execute(static_cast<PI::_COMMAND>(0xFFFFFFFFU), 9, nullptr), 4711U);
  EXPECT_EQ(plugin.m_Command, 0xFFFFFFFFU);
  EXPECT_EQ(plugin.m_ObjectId, 9UL);
}

TEST(PluginApi, DeleteThroughTheInterface_DestroysThePlugin) {
  int destroyed = 0;
  std::unique_ptr<IPLUGINAPI>(new CPlugin(&destroyed)).reset();
  EXPECT_EQ(destroyed, 1);
}

class CHost : public TLX::Delegates_and_Calls::CDelegateTarget {
 public:
  void Notified(IPLUGINAPI* plugin) { m_Notifier = plugin; }
  IPLUGINAPI* m_Notifier = nullptr;
};

TEST(PluginApi, Callback_ReachesTheHostWithThePlugin) {
  CHost host;
  CPlugin plugin;
  plugin.m_NotifyHost = {&host, &CHost::Notified};
  ASSERT_TRUE(plugin.m_NotifyHost);
  plugin.m_NotifyHost(&plugin);
  EXPECT_EQ(host.m_Notifier, &plugin);
}

}  // namespace
