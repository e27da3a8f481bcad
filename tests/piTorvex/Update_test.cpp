#include "Frame_fixtures.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using frametest::FrameDatabase;
using frametest::IdsOf;
using frametest::IPLUGINAPI_IMPL;
using NAMESPACE_piTorvex::CTorvexAdapter;
using NAMESPACE_piTorvex::CTorvexPhysicalDrive;
using testing::ElementsAre;
using testing::IsEmpty;
using vxtest::PluginTrace;

constexpr unsigned long PLUGIN_ID = 1000;
constexpr unsigned long NOTHING_CHANGED = PI::ERR_GENERAL_FAILURE;  // how a scan tells it

CTorvexAdapter MakeAdapter(const std::string& serial, unsigned int number) {
  CTorvexAdapter adapter;
  adapter.m_ID = 2000 + number;
  adapter.m_Type = PI::OBJECT_TYPE_ADAPTER;
  adapter.AdapterNumber = number;
  adapter.GlobalAdapterNumber = 50 + number;
  adapter.SerialNumber = serial;
  adapter.Name = "Adapter " + serial;
  adapter.DriverName = "nvme";
  return adapter;
}

CTorvexPhysicalDrive MakeDrive(const std::string& serial, unsigned int number) {
  CTorvexPhysicalDrive drive;
  drive.m_ID = 3000 + number;
  drive.m_Type = PI::OBJECT_TYPE_PHYSICAL_DRIVE;
  drive.DriveNumber = number - 1;
  drive.ParentAdapterNumber = 50 + number;
  drive.SerialNumber = serial;
  drive.Name = "Drive " + serial;
  drive.SectorSize = 512;
  return drive;
}

// Two published pairs, A and B, and new lists that begin as their copies.
class UpdateTest : public testing::Test {
 protected:
  UpdateTest() {
    plugin.m_EventsLock.Init();
    plugin.m_Plugin.m_ID = PLUGIN_ID;
    for (const auto& [serial, number] : {std::pair{"A", 1U}, std::pair{"B", 2U}}) {
      plugin.m_Adapters.push_back(MakeAdapter(serial, number));
      plugin.m_Adapters.back().m_ParentIDs = {PLUGIN_ID};
      plugin.m_PhysicalDrives.push_back(MakeDrive(serial, number));
    }
    adapters = {MakeAdapter("A", 1), MakeAdapter("B", 2)};
    drives = {MakeDrive("A", 1), MakeDrive("B", 2)};
  }

  // Stores the published objects' rows.
  void Store() {
    plugin.InsertObjectToDatabase(plugin.m_Plugin, false);
    for (CTorvexAdapter& adapter : plugin.m_Adapters) {
      plugin.InsertObjectToDatabase(adapter, false);
    }
    for (CTorvexPhysicalDrive& drive : plugin.m_PhysicalDrives) {
      plugin.InsertObjectToDatabase(drive, false);
    }
    database.ClearWrites();
  }

  unsigned long Update() { return plugin.UpdateSystem(adapters, drives); }
  std::vector<unsigned int> Events() const { return IdsOf(plugin.m_Events); }
  std::vector<std::string> Serials() const {
    std::vector<std::string> serials;
    for (const CTorvexAdapter& adapter : plugin.m_Adapters) serials.push_back(adapter.SerialNumber);
    return serials;
  }

  PluginTrace trace{0};
  FrameDatabase database;
  IPLUGINAPI_IMPL plugin;
  std::vector<CTorvexAdapter> adapters;
  std::vector<CTorvexPhysicalDrive> drives;
};

TEST_F(UpdateTest, WithNothingNew_ChangesNothing) {
  Store();
  EXPECT_EQ(Update(), NOTHING_CHANGED);
  EXPECT_THAT(Events(), IsEmpty());
  EXPECT_THAT(database.Writes(), IsEmpty());
  EXPECT_EQ(plugin.m_Adapters[0].m_ReadCounter, 0UL);
  EXPECT_EQ(plugin.m_Plugin.m_ReadCounter, 0UL);
  EXPECT_THAT(plugin.m_Plugin.m_ChildIDs, ElementsAre(2001UL, 2002UL));
}

TEST_F(UpdateTest, LocksLinksAndCounters_AreNoDifference) {
  plugin.m_Adapters[0].m_LockFlag = true;
  plugin.m_Adapters[0].m_ReadCounter = 12;
  plugin.m_PhysicalDrives[0].m_LockFlag = true;
  plugin.m_PhysicalDrives[0].m_ReadCounter = 13;
  EXPECT_EQ(Update(), NOTHING_CHANGED);
  EXPECT_TRUE(plugin.m_Adapters[0].m_LockFlag);
  EXPECT_EQ(plugin.m_Adapters[0].m_ReadCounter, 12UL);
  EXPECT_THAT(plugin.m_Adapters[0].m_ParentIDs, ElementsAre(PLUGIN_ID));
  EXPECT_TRUE(plugin.m_PhysicalDrives[0].m_LockFlag);
  EXPECT_EQ(plugin.m_PhysicalDrives[0].m_ReadCounter, 13UL);
}

struct StatusCase {
  unsigned int before;
  unsigned int after;
  std::vector<unsigned int> events;
};

TEST_F(UpdateTest, StatusBits_RaiseTheirEventsInOrder) {
  const std::vector<StatusCase> cases = {
      {0x10, 0x30, {PI::EVENT_TEMPERATURE_WARNING}},
      {0x30, 0, {PI::EVENT_ALL_CLEAR}},
      {0, 0x11, {PI::EVENT_BACKUP_FAILED, PI::EVENT_SPARE_LOW}},
      {0x01, 0, {PI::EVENT_ALL_CLEAR}},
      {0x01, 0x11, {PI::EVENT_BACKUP_FAILED}},
      {0, 0x02, {}},
      {0, 0x08, {}},
      {0x02, 0, {PI::EVENT_ALL_CLEAR}},
      {0, 0x240, {PI::EVENT_TEMPERATURE_HIGH, PI::EVENT_TEMPERATURE_ABOVE_LIMIT}},
      {0x20, 0x240, {PI::EVENT_TEMPERATURE_HIGH, PI::EVENT_TEMPERATURE_ABOVE_LIMIT}},
      {0x240, 0x280, {PI::EVENT_TEMPERATURE_SHUTDOWN}},
      {0x280, 0x240, {PI::EVENT_TEMPERATURE_HIGH}},
      {0x280, 0x20, {PI::EVENT_TEMPERATURE_WARNING}},
      {0x04, 0x01, {PI::EVENT_SPARE_LOW}},
      {0,
       0xFFFFFFFF,
       {PI::EVENT_BACKUP_FAILED, PI::EVENT_RELIABILITY_DEGRADED, PI::EVENT_TEMPERATURE_HIGH,
        PI::EVENT_TEMPERATURE_SHUTDOWN, PI::EVENT_TEMPERATURE_WARNING,
        PI::EVENT_TEMPERATURE_ABOVE_LIMIT, PI::EVENT_SPARE_LOW}},
  };
  for (const StatusCase& each : cases) {
    plugin.m_Events.clear();
    plugin.m_Adapters[0].StatusBits = each.before;
    adapters[0].StatusBits = each.after;
    EXPECT_EQ(Update(), 0UL);
    EXPECT_EQ(Events(), each.events) << std::hex << each.before << " -> " << each.after;
    EXPECT_EQ(plugin.m_Adapters[0].StatusBits, each.after);
  }
}

TEST_F(UpdateTest, OfAStatus_NamesTheAdapter) {
  adapters[1].StatusBits = 0x04;
  const unsigned long before = TLX::Misc::now();
  Update();
  ASSERT_EQ(plugin.m_Events.size(), 1U);
  const PI::CEvent& event = plugin.m_Events.front();
  EXPECT_EQ(event.m_EventID, PI::EVENT_RELIABILITY_DEGRADED);
  EXPECT_EQ(event.m_Severity, PI::SEVERITY_WARNING);
  EXPECT_EQ(event.m_ObjectID, 2002UL);
  EXPECT_EQ(event.m_Name, "Adapter B");
  EXPECT_EQ(event.m_PlaceHolder1, "Adapter B");
  EXPECT_EQ(event.m_PlaceHolder2, "");
  EXPECT_GE(event.m_Time, before);
}

TEST_F(UpdateTest, OfAnotherField_CountsAsChangedWithoutAnEvent) {
  Store();
  plugin.m_Adapters[0].StatusBits = adapters[0].StatusBits = 0x01;
  adapters[0].Firmware = "NEW";
  EXPECT_EQ(Update(), 0UL);
  EXPECT_THAT(Events(), IsEmpty());
  EXPECT_EQ(plugin.m_Adapters[0].Firmware, "NEW");
  EXPECT_EQ(plugin.m_Adapters[0].m_ReadCounter, 1UL);
  EXPECT_THAT(database.Writes(), ElementsAre("UPDATE Adapter", "UPDATE Plugin"));
}

TEST_F(UpdateTest, OfAChange_KeepsIdLockAndCounter) {
  for (auto& adapter : plugin.m_Adapters) adapter.m_LockFlag = true;
  for (auto& drive : plugin.m_PhysicalDrives) drive.m_LockFlag = true;
  plugin.m_Adapters[0].m_ReadCounter = 41;
  plugin.m_Adapters[1].m_ReadCounter = 43;
  plugin.m_PhysicalDrives[0].m_ReadCounter = 51;
  plugin.m_PhysicalDrives[1].m_ReadCounter = 53;
  adapters[0].m_ID = 9999;
  adapters[0].Firmware = "NEW";
  drives[0].SectorSize = 4096;
  Update();
  EXPECT_EQ(plugin.m_Adapters[0].m_ID, 2001UL);
  for (const auto& adapter : plugin.m_Adapters) EXPECT_TRUE(adapter.m_LockFlag);
  for (const auto& drive : plugin.m_PhysicalDrives) EXPECT_TRUE(drive.m_LockFlag);
  EXPECT_EQ(plugin.m_Adapters[0].m_ReadCounter, 42UL);
  EXPECT_EQ(plugin.m_Adapters[1].m_ReadCounter, 43UL);  // nothing changed there
  EXPECT_EQ(plugin.m_PhysicalDrives[0].m_ReadCounter, 52UL);
  EXPECT_EQ(plugin.m_PhysicalDrives[1].m_ReadCounter, 53UL);
  EXPECT_THAT(plugin.m_Plugin.m_ChildIDs, ElementsAre(2001UL, 2002UL));
}

TEST_F(UpdateTest, OfATemperature_UpdatesTheDriveWithoutAnEvent) {
  drives[0].Temperature = 44.0F;
  EXPECT_EQ(Update(), 0UL);
  EXPECT_THAT(Events(), IsEmpty());
  EXPECT_FLOAT_EQ(plugin.m_PhysicalDrives[0].Temperature, 44.0F);
}

TEST_F(UpdateTest, OfASize_RaisesNothing) {
  drives[0].UsableSizeMiB = 7;
  EXPECT_EQ(Update(), 0UL);
  EXPECT_THAT(Events(), IsEmpty());
}

TEST_F(UpdateTest, OfSectorSizeOrState_RaisesTheDriveEvent) {
  drives[0].SectorSize = 4096;
  drives[1].HealthState = PI::CHOICE_HEALTH_CRITICAL;
  drives[1].Name = "Renamed";
  adapters[1].Name = "New name of B";
  EXPECT_EQ(Update(), 0UL);
  EXPECT_THAT(Events(), ElementsAre(PI::EVENT_DRIVE_CHANGED, PI::EVENT_DRIVE_CHANGED));
  const PI::CEvent& event = plugin.m_Events[1];
  EXPECT_EQ(event.m_Severity, PI::SEVERITY_INFORMATION);
  EXPECT_EQ(event.m_ObjectID, 3002UL);
  EXPECT_EQ(event.m_Name, "Drive B");                // as it was published
  EXPECT_EQ(event.m_PlaceHolder1, "New name of B");  // the new adapter's
  EXPECT_EQ(event.m_PlaceHolder2, "Drive B");
}

TEST_F(UpdateTest, OfADriveWithoutItsAdapter_ChangesItSilently) {
  adapters.erase(adapters.begin());
  drives[0].SectorSize = 4096;
  EXPECT_EQ(Update(), 0UL);
  EXPECT_THAT(Events(), ElementsAre(PI::EVENT_ADAPTER_REMOVED));
}

TEST_F(UpdateTest, WithANewAdapter_AddsItAtTheEnd) {
  Store();
  adapters.insert(adapters.begin(), MakeAdapter("C", 3));
  drives.insert(drives.begin(), MakeDrive("C", 3));
  drives[0].ParentAdapterNumber = 0;
  const unsigned long before = TLX::Misc::now();
  EXPECT_EQ(Update(), 0UL);
  EXPECT_THAT(Serials(), ElementsAre("A", "B", "C"));
  EXPECT_THAT(plugin.m_Plugin.m_ChildIDs, ElementsAre(2003UL, 2001UL, 2002UL));  // tool's order
  EXPECT_THAT(plugin.m_Adapters[2].m_ParentIDs, ElementsAre(PLUGIN_ID));
  EXPECT_EQ(plugin.m_PhysicalDrives[0].ParentAdapterNumber, 53U);
  EXPECT_EQ(plugin.m_Plugin.m_ReadCounter, 1UL);
  ASSERT_THAT(Events(), ElementsAre(PI::EVENT_ADAPTER_ADDED));
  const PI::CEvent& event = plugin.m_Events.front();
  EXPECT_EQ(event.m_Severity, PI::SEVERITY_INFORMATION);
  EXPECT_EQ(event.m_ObjectID, PI::EVENT_OBJECT_ADAPTERS);
  EXPECT_GE(event.m_Time, before);
  EXPECT_LE(event.m_Time, TLX::Misc::now());
  EXPECT_EQ(event.m_Name, "Adapter C");
  EXPECT_EQ(event.m_PlaceHolder1, "Adapter C");
  EXPECT_EQ(event.m_PlaceHolder2, " ");
  EXPECT_THAT(database.Writes(), ElementsAre("INSERT Adapter", "INSERT PD", "UPDATE Plugin"));
}

TEST_F(UpdateTest, WithAnAdapterGone_RemovesItAndKeepsTheDrivesRow) {
  Store();
  adapters.erase(adapters.begin());
  drives.erase(drives.begin());
  EXPECT_EQ(Update(), 0UL);
  EXPECT_THAT(Serials(), ElementsAre("B"));
  EXPECT_EQ(plugin.m_PhysicalDrives.size(), 1U);
  EXPECT_EQ(plugin.m_Plugin.m_ReadCounter, 1UL);
  ASSERT_THAT(Events(), ElementsAre(PI::EVENT_ADAPTER_REMOVED));
  EXPECT_EQ(plugin.m_Events[0].m_Severity, PI::SEVERITY_WARNING);
  EXPECT_EQ(plugin.m_Events[0].m_ObjectID, PI::EVENT_OBJECT_ADAPTERS);
  EXPECT_EQ(plugin.m_Events[0].m_Name, "Adapter A");
  EXPECT_THAT(database.Writes(), ElementsAre("DELETE Adapter", "UPDATE Plugin"));
  EXPECT_THAT(database.Column("Adapter", "AdapterNumber"), ElementsAre("2"));
  EXPECT_THAT(database.Column("PD", "SerialNumber"), ElementsAre("A", "B"));
}

TEST_F(UpdateTest, OfVolumeManagementDrivers_NamesTheKey) {
  for (const char* driver : {"iaVROC", "IaNVMe"}) {
    plugin.m_Events.clear();
    plugin.m_Adapters.clear();
    adapters = {MakeAdapter("A", 1)};
    adapters[0].DriverName = driver;
    drives.clear();
    Update();
    adapters.clear();
    Update();
    ASSERT_THAT(Events(), ElementsAre(PI::EVENT_ADAPTER_ADDED, PI::EVENT_ADAPTER_REMOVED));
    for (const PI::CEvent& event : plugin.m_Events) {
      EXPECT_EQ(event.m_Name, "Intel PCIe Device Adapter (A)");
      EXPECT_EQ(event.m_PlaceHolder1, "Intel PCIe Device Adapter");
      EXPECT_EQ(event.m_PlaceHolder2, " A");
      EXPECT_EQ(event.m_ObjectID, PI::EVENT_OBJECT_ADAPTERS);
    }
  }
}

TEST_F(UpdateTest, OfDriversThatAreSpeltOtherwise_NamesTheAdapter) {
  for (const char* driver : {"IaVROC", "iaNVMe", "IANVME", "iaVROC ", ""}) {
    plugin.m_Events.clear();
    plugin.m_Adapters = {MakeAdapter("A", 1)};
    plugin.m_Adapters[0].DriverName = driver;
    adapters.clear();
    drives.clear();
    Update();
    ASSERT_THAT(Events(), ElementsAre(PI::EVENT_ADAPTER_REMOVED)) << driver;
    EXPECT_EQ(plugin.m_Events[0].m_Name, "Adapter A") << driver;
    EXPECT_EQ(plugin.m_Events[0].m_PlaceHolder1, "Adapter A") << driver;
    EXPECT_EQ(plugin.m_Events[0].m_PlaceHolder2, " ") << driver;
  }
}

// Nothing drops an event but its delivery, however long the host stays away.
TEST_F(UpdateTest, EventsThatNobodyFetches_AreAllKept) {
  constexpr int SCANS = 2000;
  for (int scan = 0; scan < SCANS; ++scan) {
    adapters = {MakeAdapter("A", 1), MakeAdapter("B", 2)};
    drives = {MakeDrive("A", 1), MakeDrive("B", 2)};
    adapters[0].StatusBits = scan % 2 == 0 ? 0x20 : 0x240;  // 79 and 80 degrees
    EXPECT_EQ(Update(), 0UL);
  }
  PI::COperation operation;
  operation.SetOperationID(PI::OPERATION_FETCH_EVENTS);
  EXPECT_EQ(plugin.GetEvents(plugin.m_Plugin, operation), 0U);
  EXPECT_EQ(operation.m_Events.size(), SCANS / 2 * 3U);
  EXPECT_THAT(Events(), IsEmpty());
}

TEST_F(UpdateTest, WithOneGoneAndOneNew_TellsAndWritesInOrder) {
  Store();
  adapters[0] = MakeAdapter("C", 3);
  drives[0] = MakeDrive("C", 3);
  adapters[1].StatusBits = 0x04;
  drives[1].SectorSize = 4096;
  EXPECT_EQ(Update(), 0UL);
  EXPECT_THAT(Events(), ElementsAre(PI::EVENT_ADAPTER_ADDED, PI::EVENT_RELIABILITY_DEGRADED,
                                    PI::EVENT_ADAPTER_REMOVED, PI::EVENT_DRIVE_CHANGED));
  EXPECT_EQ(plugin.m_Plugin.m_ReadCounter, 2UL);
  EXPECT_THAT(database.Writes(), ElementsAre("DELETE Adapter", "UPDATE Adapter", "UPDATE PD",
                                             "INSERT Adapter", "INSERT PD", "UPDATE Plugin"));
}

TEST_F(UpdateTest, InAnotherOrder_MatchesBySerialNumber) {
  Store();
  std::swap(adapters[0], adapters[1]);
  EXPECT_EQ(Update(), NOTHING_CHANGED);
  std::swap(drives[0], drives[1]);
  drives[0].SectorSize = 4096;    // B's
  adapters[1].StatusBits = 0x04;  // A's
  EXPECT_EQ(Update(), 0UL);
  EXPECT_THAT(Events(), ElementsAre(PI::EVENT_RELIABILITY_DEGRADED, PI::EVENT_DRIVE_CHANGED));
  EXPECT_EQ(plugin.m_Events[0].m_ObjectID, 2001UL);
  EXPECT_EQ(plugin.m_Events[1].m_ObjectID, 3002UL);
  EXPECT_EQ(plugin.m_Events[1].m_PlaceHolder1, "Adapter B");
  EXPECT_THAT(Serials(), ElementsAre("A", "B"));
  EXPECT_EQ(plugin.m_Adapters[0].StatusBits, 0x04U);
  EXPECT_EQ(database.Column("PD", "SectorSize"), (std::vector<std::string>{"512", "4096"}));
}

TEST_F(UpdateTest, WithTheEventsLockHeld_Works) {
  static_cast<void>(plugin.m_EventsLock.Wait(TLX::Threading::WAIT_INFINITE));
  adapters[0].StatusBits = 1;
  EXPECT_EQ(Update(), 0UL);
  plugin.m_EventsLock.Release();
  EXPECT_THAT(Events(), ElementsAre(PI::EVENT_SPARE_LOW));
}

TEST_F(UpdateTest, OfEmptyKeys_MatchesTheFirst) {
  plugin.m_Adapters[0].SerialNumber.clear();
  plugin.m_PhysicalDrives[0].SerialNumber.clear();
  adapters[0].SerialNumber.clear();
  drives[0].SerialNumber.clear();
  EXPECT_EQ(Update(), NOTHING_CHANGED);
  EXPECT_EQ(plugin.m_Adapters[0].m_ID, 2001UL);
}

TEST_F(UpdateTest, Keys_AreComparedByteForByte) {
  adapters[0].SerialNumber = drives[0].SerialNumber = "a";
  adapters[1].SerialNumber = drives[1].SerialNumber = "B ";
  EXPECT_EQ(Update(), 0UL);
  EXPECT_THAT(Events(), ElementsAre(PI::EVENT_ADAPTER_ADDED, PI::EVENT_ADAPTER_ADDED,
                                    PI::EVENT_ADAPTER_REMOVED, PI::EVENT_ADAPTER_REMOVED));
  EXPECT_THAT(Serials(), ElementsAre("a", "B "));
}

TEST_F(UpdateTest, WithOneKeyTwice_TakesTheFirst) {
  trace.SetMask(16);
  adapters.push_back(MakeAdapter("A", 7));
  drives.push_back(MakeDrive("A", 7));
  EXPECT_EQ(Update(), NOTHING_CHANGED);
  EXPECT_THAT(Serials(), ElementsAre("A", "B"));
  EXPECT_EQ(plugin.m_PhysicalDrives.size(), 2U);
  EXPECT_TRUE(trace.Has("Dropped 1 adapters whose serial number is taken"));
}

TEST_F(UpdateTest, RefreshesTheToolsIndexOfUnchangedAdapters) {
  adapters[0].ToolIndex = 5;
  EXPECT_EQ(Update(), NOTHING_CHANGED);
  EXPECT_EQ(plugin.m_Adapters[0].ToolIndex, 5);
}

TEST_F(UpdateTest, ToEmptyLists_RemovesEverythingAndBack) {
  Store();
  const std::vector<CTorvexAdapter> all = adapters;
  const std::vector<CTorvexPhysicalDrive> allDrives = drives;
  adapters.clear();
  drives.clear();
  EXPECT_EQ(Update(), 0UL);
  EXPECT_THAT(Events(), ElementsAre(PI::EVENT_ADAPTER_REMOVED, PI::EVENT_ADAPTER_REMOVED));
  adapters = all;
  drives = allDrives;
  EXPECT_EQ(Update(), 0UL);
  EXPECT_THAT(Events(), ElementsAre(PI::EVENT_ADAPTER_REMOVED, PI::EVENT_ADAPTER_REMOVED,
                                    PI::EVENT_ADAPTER_ADDED, PI::EVENT_ADAPTER_ADDED));
  EXPECT_THAT(database.Column("Adapter", "AdapterNumber"), ElementsAre("1", "2"));
  EXPECT_THAT(database.Column("PD", "SerialNumber"), ElementsAre("A", "B"));
}

TEST_F(UpdateTest, Trace_TellsSizesLockAndResult) {
  trace.SetMask(2 | 8);
  Update();
  EXPECT_THAT(trace.Texts(),
              ElementsAre("ENTER UpdateSystem for 2 adapter, 2 physicalDrives",
                          "Before m_EventsLock.Wait (sg)", "After m_EventsLock.Wait (sg)",
                          "LEAVE UpdateSystem ret = 20000"));
}

// --- Rows that could not be written

bool Begins(const std::string& statement, const std::string& word) {
  return statement.find(word) != std::string::npos;
}

TEST_F(UpdateTest, WithADatabaseThatFails_RaisesItsEventsOnce) {
  Store();
  database.FailWhen([](const std::string&) { return true; });
  adapters[0].StatusBits = 0x04;
  EXPECT_EQ(Update(), 0UL);
  EXPECT_EQ(Update(), NOTHING_CHANGED);
  EXPECT_THAT(Events(), ElementsAre(PI::EVENT_RELIABILITY_DEGRADED));
}

// A database that fails must find the new lists and their events published.
TEST_F(UpdateTest, ListsAndEvents_ArePublishedBeforeAnyStatement) {
  Store();
  adapters.erase(adapters.begin());
  drives.erase(drives.begin());
  adapters[0].StatusBits = 0x04;
  std::size_t statements = 0;
  database.FailWhen([&](const std::string&) {
    ++statements;
    EXPECT_THAT(Serials(), ElementsAre("B"));
    EXPECT_EQ(plugin.m_PhysicalDrives.size(), 1U);
    EXPECT_THAT(Events(), ElementsAre(PI::EVENT_RELIABILITY_DEGRADED, PI::EVENT_ADAPTER_REMOVED));
    return true;
  });
  EXPECT_EQ(Update(), 0UL);
  EXPECT_GE(statements, 3U);
}

TEST_F(UpdateTest, AnUpdateThatFailed_IsSentAgainAtTheNextScan) {
  Store();
  database.FailWhen([](const std::string& text) { return Begins(text, "UPDATE"); });
  adapters[0].Firmware = "NEW";
  drives[1].UsableSizeMiB = 7;
  Update();
  database.FailWhen(nullptr);
  database.ClearWrites();
  EXPECT_EQ(Update(), NOTHING_CHANGED);
  EXPECT_THAT(database.Writes(), ElementsAre("UPDATE Adapter", "UPDATE PD", "UPDATE Plugin"));
  EXPECT_THAT(database.Column("Adapter", "Firmware"), ElementsAre("NEW", "NULL"));
  database.ClearWrites();
  EXPECT_EQ(Update(), NOTHING_CHANGED);
  EXPECT_THAT(database.Writes(), IsEmpty());
}

TEST_F(UpdateTest, AnInsertThatFailed_IsSentAgainAtTheNextScan) {
  Store();
  adapters.push_back(MakeAdapter("C", 3));
  drives.push_back(MakeDrive("C", 3));
  database.FailWhen([](const std::string& text) { return Begins(text, "INSERT"); });
  Update();
  database.FailWhen(nullptr);
  database.ClearWrites();
  EXPECT_EQ(Update(), NOTHING_CHANGED);
  EXPECT_THAT(database.Writes(), ElementsAre("INSERT Adapter", "INSERT PD"));
  EXPECT_THAT(database.Column("Adapter", "AdapterNumber"), ElementsAre("1", "2", "3"));
}

TEST_F(UpdateTest, ADeleteThatFailed_ComesBeforeAnythingUnderItsNumber) {
  Store();
  database.FailWhen([](const std::string& text) { return Begins(text, "DELETE"); });
  adapters[0] = MakeAdapter("C", 1);  // takes the number of the one that is gone
  drives[0] = MakeDrive("C", 1);
  Update();
  EXPECT_THAT(database.Writes(), ElementsAre("DELETE Adapter", "INSERT PD", "UPDATE Plugin"));
  database.ClearWrites();
  Update();  // still failing: the number stays blocked
  EXPECT_THAT(database.Writes(), ElementsAre("DELETE Adapter"));
  database.FailWhen(nullptr);
  database.ClearWrites();
  EXPECT_EQ(Update(), NOTHING_CHANGED);
  EXPECT_THAT(database.Writes(), ElementsAre("DELETE Adapter", "INSERT Adapter"));
  EXPECT_THAT(database.Column("Adapter", "SerialNumber"), ElementsAre("B", "C"));
}

TEST_F(UpdateTest, ThePluginsRow_IsSentAgainToo) {
  Store();
  database.FailWhen([](const std::string& text) { return text.starts_with("UPDATE"); });
  PI::COperation operation;
  (void)plugin.ExecutePluginOperation(plugin.m_Plugin, operation);
  database.FailWhen(nullptr);
  database.ClearWrites();
  EXPECT_EQ(Update(), NOTHING_CHANGED);
  EXPECT_THAT(database.Writes(), ElementsAre("UPDATE Plugin"));
  database.ClearWrites();
  EXPECT_EQ(Update(), NOTHING_CHANGED);
  EXPECT_THAT(database.Writes(), IsEmpty());
}

TEST_F(UpdateTest, AMarkedRow_IsWrittenThoughNothingChanged) {
  Store();
  plugin.m_Adapters[1].RowIsStale = true;
  plugin.m_Adapters[1].PercentageUsed = adapters[1].PercentageUsed = 33;
  EXPECT_EQ(Update(), NOTHING_CHANGED);
  EXPECT_THAT(database.Writes(), ElementsAre("UPDATE Adapter"));
  EXPECT_THAT(database.Column("Adapter", "RemainingLife"), ElementsAre("NULL", "NULL"));
  EXPECT_EQ(plugin.m_Adapters[1].m_ReadCounter, 0UL);
}

TEST_F(UpdateTest, ARowThatCannotBeRead_StopsNoOther) {
  Store();
  adapters[0].Firmware = "NEW";
  adapters[1].Firmware = "NEWER";
  database.Run("UPDATE Adapter SET HealthState = 'nonsense' WHERE AdapterNumber = 1");
  EXPECT_EQ(Update(), 0UL);
  EXPECT_THAT(database.Column("Adapter", "Firmware"), ElementsAre("NULL", "NEWER"));
  PI::COperation operation;
  operation.SetOperationID(PI::OPERATION_FETCH_EVENTS);
  EXPECT_EQ(plugin.ExecutePluginOperation(plugin.m_Plugin, operation), 0U);
}

TEST_F(UpdateTest, NumbersThatStay_KeepTheRowsApart) {
  Store();
  adapters.erase(adapters.begin());
  drives.erase(drives.begin());
  adapters[0].Firmware = "ONE";
  Update();
  adapters[0].Firmware = "TWO";
  Update();
  EXPECT_THAT(database.Column("Adapter", "AdapterNumber"), ElementsAre("2"));
  EXPECT_THAT(database.Column("Adapter", "Firmware"), ElementsAre("TWO"));
}

// --- The row of the plug-in object

TEST_F(UpdateTest, PluginRow_HoldsWhatThePluginShows) {
  plugin.m_ToolVersion = "3.0.26";
  plugin.PollInterval = 300;
  EXPECT_EQ(plugin.InsertObjectToDatabase(plugin.m_Plugin, true), 0U);
  EXPECT_THAT(
      database.Column("Plugin",
                      "ToolVersion, ObjectID, Name, PollInterval, SettableProperties, Unused1, "
                      "Unused2, Description, Vendor, Version"),
      ElementsAre(
          "3.0.26", "1000", "Torvex-Plugin", "255",
          R"({"settableProperties":[{"name":"pollinterval","formatStr":"<int32>[2..255, 1]"}]})",
          "NULL", "NULL", "Plugin:ID=309", "Vioteis.", "7.22.0"));
}

TEST_F(UpdateTest, PluginRow_OfTooShortAnInterval_HoldsTheLowest) {
  for (const unsigned int interval : {0U, 1U, 2U}) {
    plugin.PollInterval = interval;
    RaidDataModels::Plugin record;
    record.Unused1 = 5;
    plugin.SetDatabaseObjectProperties(record, plugin.m_Plugin);
    EXPECT_EQ(record.PollInterval, 2);
    EXPECT_EQ(record.Unused1, RaidDataModels::NULL_INTEGER);
  }
}

TEST_F(UpdateTest, PluginRecord_WithoutAToolVersion_HoldsItsNullAndNoIdentity) {
  RaidDataModels::Plugin record;
  record.ID = 5;
  record.ToolVersion = "of an earlier use";
  EXPECT_EQ(plugin.SetDatabaseObjectProperties(record, plugin.m_Plugin), 0U);
  EXPECT_EQ(record.ID, RaidDataModels::NULL_INTEGER);
  EXPECT_EQ(record.ToolVersion, "NULL");
}

TEST_F(UpdateTest, PluginRow_ThatCannotBeRead_KeepsNoEventFromTheHost) {
  Store();
  adapters[0].StatusBits = 0x04;
  Update();
  database.Run("UPDATE Plugin SET ObjectID = 9223372036854775808");
  PI::COperation operation;
  operation.SetOperationID(PI::OPERATION_FETCH_EVENTS);
  EXPECT_EQ(plugin.ExecutePluginOperation(plugin.m_Plugin, operation), 0U);
  EXPECT_THAT(IdsOf(operation.m_Events), ElementsAre(PI::EVENT_RELIABILITY_DEGRADED));
}

TEST_F(UpdateTest, PluginRow_IsUpdatedOnlyWhenItIsThere) {
  trace.SetMask(2);
  EXPECT_EQ(plugin.UpdateObjectInDatabase(plugin.m_Plugin), 0U);
  EXPECT_THAT(trace.Texts(), IsEmpty());
  EXPECT_THAT(database.Writes(), IsEmpty());
  EXPECT_EQ(plugin.InsertObjectToDatabase(plugin.m_Plugin, false), 0U);
  EXPECT_EQ(plugin.UpdateObjectInDatabase(plugin.m_Plugin), 0U);
  EXPECT_EQ(plugin.DeleteObjectFromDatabase(plugin.m_Plugin), 0U);
  EXPECT_THAT(trace.Texts(),
              ElementsAre("Plugin Torvex inserted to db.", "Plugin Torvex updated in db.",
                          "Plugin Torvex removed from db."));
  EXPECT_THAT(database.Column("Plugin", "Name"), IsEmpty());
}

TEST_F(UpdateTest, PluginRow_ThatFails_SaysWhy) {
  trace.SetMask(2);
  database.FailWhen([](const std::string&) { return true; });
  EXPECT_EQ(plugin.InsertObjectToDatabase(plugin.m_Plugin, false), PI::ERR_GENERAL_FAILURE);
  EXPECT_EQ(plugin.UpdateObjectInDatabase(plugin.m_Plugin), PI::ERR_GENERAL_FAILURE);
  EXPECT_EQ(plugin.DeleteObjectFromDatabase(plugin.m_Plugin), PI::ERR_GENERAL_FAILURE);
  const std::vector<std::string> texts = trace.Texts();
  ASSERT_EQ(texts.size(), 3U);
  EXPECT_THAT(texts[0], testing::StartsWith(
                            "Exception thrown during inserting Torvex plugin object to db. ("));
  EXPECT_EQ(texts[1],
            "Exception thrown during updating Torvex plugin object entry in db. (Storage query "
            "exception thrown! (disk on fire))");
  EXPECT_EQ(texts[2],
            "Exception thrown during removing Torvex plugin object from db. (Storage query "
            "exception thrown! (disk on fire))");
}

TEST_F(UpdateTest, PluginRow_WithoutADatabase_FailsWithItsLine) {
  plugin.m_Database = nullptr;
  trace.SetMask(2);
  EXPECT_EQ(plugin.InsertObjectToDatabase(plugin.m_Plugin, false), PI::ERR_GENERAL_FAILURE);
  EXPECT_TRUE(trace.Has(
      "Exception thrown during inserting Torvex plugin object to db. (The host has no database.)"));
}

TEST_F(UpdateTest, AnyOperationOfThePlugin_RewritesItsRow) {
  Store();
  PI::COperation operation;
  operation.SetOperationID(4711);
  EXPECT_EQ(plugin.ExecutePluginOperation(plugin.m_Plugin, operation),
            PI::ERR_OPERATION_NOT_SUPPORTED);
  EXPECT_THAT(database.Writes(), ElementsAre("UPDATE Plugin"));
  database.FailWhen([](const std::string&) { return true; });
  operation.SetOperationID(PI::OPERATION_FETCH_EVENTS);
  EXPECT_EQ(plugin.ExecutePluginOperation(plugin.m_Plugin, operation), 0U);
}

}  // namespace
