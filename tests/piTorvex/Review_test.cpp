#include "Frame_fixtures.h"

#include <algorithm>
#include <functional>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

// What holds across the borders of the single steps: repeated calls, failing databases, numbers at
// the ends of their ranges.

namespace {

using frametest::FrameDatabase;
using frametest::Guest;
using frametest::IPLUGINAPI_IMPL;
using frametest::Machine;
using NAMESPACE_piTorvex::CTorvexAdapter;
using NAMESPACE_piTorvex::CTorvexPhysicalDrive;
using testing::ElementsAre;
using testing::IsEmpty;

bool Holds(const std::string& statement, const std::string& word) {
  return statement.find(word) != std::string::npos;
}

CTorvexAdapter MakeAdapter(const std::string& serial, unsigned int number) {
  CTorvexAdapter adapter;
  adapter.m_ID = 2000 + number;
  adapter.AdapterNumber = number;
  adapter.SerialNumber = serial;
  return adapter;
}

CTorvexPhysicalDrive MakeDrive(const std::string& serial, unsigned int number) {
  CTorvexPhysicalDrive drive;
  drive.m_ID = 3000 + number;
  drive.SerialNumber = serial;
  return drive;
}

// An interface object with a database, without machine and worker.
class RowsTest : public testing::Test {
 protected:
  RowsTest() { plugin.m_EventsLock.Init(); }

  // Makes the adapters and their drives what the host sees.
  void Report(std::vector<CTorvexAdapter> adapters) {
    std::vector<CTorvexPhysicalDrive> drives;
    for (const CTorvexAdapter& adapter : adapters) {
      drives.push_back(MakeDrive(adapter.SerialNumber, adapter.AdapterNumber));
    }
    plugin.UpdateSystem(adapters, drives);
  }

  FrameDatabase database;
  IPLUGINAPI_IMPL plugin;
};

TEST(Members, StandInTheOrderOfTheirDestruction) {
  IPLUGINAPI_IMPL plugin;
  const std::vector<const void*> members = {
      &plugin.m_InterfaceVersion, &plugin.m_ModuleID,      &plugin.m_NotifyHost,
      &plugin.m_DataLock,         &plugin.m_EventsLock,    &plugin.m_ForceWorker,
      &plugin.m_StopRequest,      &plugin.m_PrivateEvent,  &plugin.m_CommandPrefix,
      &plugin.m_ToolPath,         &plugin.m_Plugin,        &plugin.m_Adapters,
      &plugin.m_PhysicalDrives,   &plugin.m_ToolRecords,   &plugin.m_ETRs,
      &plugin.m_HostAdapterIDs,   &plugin.m_Events,        &plugin.m_AdapterCount,
      &plugin.PollInterval,       &plugin.m_NextID,        &plugin.m_TopologyRefreshInterval,
      &plugin.m_WorkerThread,     &plugin.m_CustomOptions, &plugin.m_PluginOptions,
      &plugin.m_ToolVersion,      &plugin.m_Database};
  EXPECT_TRUE(std::is_sorted(members.begin(), members.end(), std::less<>()));
}

// --- Repeated calls

TEST(Initialize, ThatFailsTheSecondTime_LeavesNoLinks) {
  Machine machine;
  machine.AddDrive("SERIAL");
  machine.AddManagedDrive("MANAGED");
  Guest guest;
  ASSERT_EQ(guest.Initialize(), 0U);
  machine.tool.Change([](auto& drives) { drives.erase(drives.begin()); });
  EXPECT_EQ(guest.Initialize(), 20001U);
  const std::vector<PI::CObject> objects = guest.Topology();
  ASSERT_EQ(objects.size(), 1U);
  EXPECT_THAT(objects.front().m_ChildIDs, IsEmpty());
}

TEST(HostNumbers, SentASecondTime_LeaveTheEarlierOnes) {
  Machine machine;
  machine.AddDrive("SERIAL");
  Guest guest;
  guest.Initialize();
  guest.SetAdapterIDs();
  guest.ids.front().m_HostNumber = 7;
  EXPECT_EQ(guest.Call(2, 0, &guest.ids), 0U);
  std::vector<PI::CAdapterID> kept;
  {
    const TLX::Threading::Native_OS::CFastMutexGuard guard(guest.Impl().m_DataLock);
    kept = guest.Impl().m_HostAdapterIDs;
    // The worker's first scan may already have put the serial number there.
    EXPECT_NE(guest.Impl().m_Adapters.front().Name, "Intel PCIe Device Adapter (7)");
  }
  EXPECT_EQ(kept.size(), 2U);
  EXPECT_EQ(guest.Impl().m_OlderWorkers.size(), 1U);
  EXPECT_EQ(guest.DeInitialize(), 0U);
  EXPECT_EQ(guest.Impl().m_WorkerThread->Wait(0), TLX::Threading::WAIT_ACQUIRED);
  EXPECT_EQ(guest.Impl().m_OlderWorkers.front()->Wait(0), TLX::Threading::WAIT_ACQUIRED);
}

// --- Rows

TEST(Initialize, WithoutADatabase_PublishesAndSaysSo) {
  frametest::FrameTrace trace(2);
  Machine machine;
  machine.AddDrive("SERIAL");
  Guest guest;
  EXPECT_EQ(guest.Initialize(), 0U);
  EXPECT_EQ(guest.Topology().size(), 3U);
  for (const char* line :
       {"Exception thrown during inserting Torvex plugin object to db. (The host has no database.)",
        "Storage query exception thrown during inserting Adapter () (1) to db. (The host has no "
        "database.)",
        "Storage query exception thrown during inserting PD (SERIAL) to db. (The host has no "
        "database.)"}) {
    EXPECT_TRUE(trace.Has(line)) << line;
  }
}

TEST_F(RowsTest, NamingThatFails_IsSentAgainAtTheNextScan) {
  Report({MakeAdapter("A", 1)});
  database.FailWhen([](const std::string& text) { return Holds(text, "UPDATE Adapter"); });
  std::vector<PI::CAdapterID> ids(1);
  ids.front().m_HostNumber = 3;
  EXPECT_EQ(plugin.SetAdapterIDs(ids), 0U);
  plugin.m_WorkerThread->Wait(TLX::Threading::WAIT_INFINITE);  // without its events it ends
  EXPECT_TRUE(plugin.m_Adapters.front().RowIsStale);
  database.FailWhen(nullptr);
  CTorvexAdapter same = plugin.m_Adapters.front();
  Report({same});
  EXPECT_THAT(database.Column("Adapter", "Name"), ElementsAre("Intel PCIe Device Adapter (3)"));
}

TEST_F(RowsTest, Naming_WritesNothingUnderANumberWhoseRowCouldNotBeDeleted) {
  Report({MakeAdapter("OLD", 1)});
  database.FailWhen([](const std::string& text) { return Holds(text, "DELETE"); });
  Report({MakeAdapter("NEW", 1)});
  std::vector<PI::CAdapterID> ids(1);
  ids.front().m_HostNumber = 3;
  EXPECT_EQ(plugin.SetAdapterIDs(ids), 0U);
  plugin.m_WorkerThread->Wait(TLX::Threading::WAIT_INFINITE);
  EXPECT_EQ(plugin.m_Adapters.front().Name, "Intel PCIe Device Adapter (3)");
  EXPECT_THAT(database.Column("Adapter", "SerialNumber, Name"), ElementsAre("OLD", ""));
  database.FailWhen(nullptr);
  Report({plugin.m_Adapters.front()});
  EXPECT_THAT(database.Column("Adapter", "SerialNumber, Name"),
              ElementsAre("NEW", "Intel PCIe Device Adapter (3)"));
}

// A serial number that reads like the database's null is found by no key: each time such a drive is
// plugged in, one more row would stay.
TEST_F(RowsTest, OfADriveWithoutAKey_AreNotPiledUpByScans) {
  for (int round = 0; round < 3; ++round) {
    Report({MakeAdapter("NULL", 1)});
    Report({});
  }
  EXPECT_THAT(database.Column("PD", "ID"), IsEmpty());
}

TEST_F(RowsTest, OfANumberBeyondAnInteger_AreFoundAgain) {
  CTorvexAdapter adapter = MakeAdapter("A", 0x80000000U);
  EXPECT_EQ(plugin.InsertObjectToDatabase(adapter, false), 0U);
  adapter.Firmware = "NEW";
  EXPECT_EQ(plugin.UpdateObjectInDatabase(adapter), 0U);
  EXPECT_THAT(database.Column("Adapter", "Firmware"), ElementsAre("NEW"));
  EXPECT_EQ(plugin.DeleteObjectFromDatabase(adapter), 0U);
  EXPECT_THAT(database.Column("Adapter", "ID"), IsEmpty());
}

// The database holds signed numbers; above their end it would keep an approximation.
TEST_F(RowsTest, OfCountersBeyondTheDatabase_HoldItsHighestNumber) {
  CTorvexAdapter adapter = MakeAdapter("A", 1);
  adapter.DataUnitsRead = 1UL << 63U;
  adapter.DataUnitsWritten = ~0UL - 1;
  adapter.PowerOnHours = (1UL << 63U) - 1;
  adapter.StatusWord3 = ~0UL;  // reads like the null
  EXPECT_EQ(plugin.InsertObjectToDatabase(adapter, false), 0U);
  EXPECT_THAT(
      database.Column("Adapter", "DataUnitsRead, DataUnitsWritten, PowerOnHours, MediaErrors"),
      ElementsAre("9223372036854775807", "9223372036854775807", "9223372036854775807", "NULL"));
  EXPECT_EQ(plugin.UpdateObjectInDatabase(adapter), 0U);
}

}  // namespace
