#include "Frame_fixtures.h"

#include <functional>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

// What one scan leaves to the next: rows that are still owed, warnings that come and go, calls that
// are repeated.

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

// --- Rows

TEST_F(RowsTest, NamingThatFails_IsSentAgainAtTheNextScan) {
  Report({MakeAdapter("A", 1)});
  database.FailWhen([](const std::string& text) { return Holds(text, "UPDATE Adapter"); });
  std::vector<PI::CAdapterID> ids(1);
  ids.front().m_HostNumber = 3;
  EXPECT_EQ(plugin.SetAdapterIDs(ids), 0U);
  static_cast<void>(
      plugin.m_WorkerThread->Wait(TLX::Threading::WAIT_INFINITE));  // without its events it ends
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
  static_cast<void>(plugin.m_WorkerThread->Wait(TLX::Threading::WAIT_INFINITE));
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

// --- From one scan to the next

// A machine that has started up; scans are made one by one, without a worker.
class RescanTest : public testing::Test {
 protected:
  RescanTest() {
    machine.AddDrive("SERIAL-A");
    machine.AddDrive("SERIAL-B");
  }

  void Change(std::size_t drive, const std::function<void(frametest::FakeDrive&)>& change) {
    machine.tool.Change([&](auto& drives) { change(drives.at(drive)); });
  }

  unsigned long Rescan() {
    IPLUGINAPI_IMPL& plugin = guest.Impl();
    (void)plugin.GetAdaptersInfo();
    std::vector<CTorvexAdapter> adapters;
    std::vector<CTorvexPhysicalDrive> drives;
    if (const unsigned long result = plugin.ScanSystem(adapters, drives, false); result != 0) {
      return result;
    }
    return plugin.UpdateSystem(adapters, drives);
  }

  std::vector<unsigned int> Events() { return frametest::IdsOf(guest.FetchEvents()); }

  FrameDatabase database;
  Machine machine;
  Guest guest;
};

TEST_F(RescanTest, WarningsThatWereThereFromTheStart_RaiseNothing) {
  Change(0, [](auto& drive) { drive.warnings = 4; });
  ASSERT_EQ(guest.Initialize(), 0U);
  EXPECT_EQ(Rescan(), PI::ERR_GENERAL_FAILURE);
  EXPECT_THAT(Events(), IsEmpty());
}

TEST_F(RescanTest, ADriveThatComesWithAWarning_IsOnlyAdded) {
  ASSERT_EQ(guest.Initialize(), 0U);
  machine.AddDrive("SERIAL-C");
  Change(2, [](auto& drive) { drive.warnings = 4; });
  EXPECT_EQ(Rescan(), 0UL);
  EXPECT_THAT(Events(), ElementsAre(PI::EVENT_ADAPTER_ADDED));
  EXPECT_EQ(guest.Impl().m_PhysicalDrives[2].ParentAdapterNumber,
            guest.Impl().m_Adapters[2].GlobalAdapterNumber);
  EXPECT_EQ(Rescan(), PI::ERR_GENERAL_FAILURE);  // and its numbers stay what they are
}

// The values of a drive that does not answer are unknown, and unknown reads like good.
TEST_F(RescanTest, AHealthQueryThatFails_LooksLikeAllClear_AndTheWarningComesBack) {
  Change(0, [](auto& drive) { drive.warnings = 4, drive.unreliable = true; });
  ASSERT_EQ(guest.Initialize(), 0U);
  Change(0, [](auto& drive) { drive.healthFails = true; });
  EXPECT_EQ(Rescan(), 0UL);
  EXPECT_THAT(Events(), ElementsAre(PI::EVENT_ALL_CLEAR, PI::EVENT_DRIVE_CHANGED));
  EXPECT_EQ(guest.Impl().m_Adapters[0].Temperature, -1.0F);
  EXPECT_EQ(Rescan(), PI::ERR_GENERAL_FAILURE);
  Change(0, [](auto& drive) { drive.healthFails = false; });
  EXPECT_EQ(Rescan(), 0UL);
  EXPECT_THAT(Events(), ElementsAre(PI::EVENT_RELIABILITY_DEGRADED, PI::EVENT_DRIVE_CHANGED));
}

// The line names the file of the operation that failed, whoever catches the exception.
TEST_F(RescanTest, AnExceptionInAHealthQuery_IsTracedUnderTheQueryAndItsFile) {
  ASSERT_EQ(guest.Initialize(), PI::SUCCESS);
  Change(0, [](auto& drive) { drive.hours = "no number"; });
  vxtest::PluginTrace trace(TLX::Misc::TRACE_STEPS);
  (void)Rescan();
  std::vector<std::string> places;
  for (const vxtest::TraceLine& line : trace.Lines()) {
    if (!line.text.starts_with("Exception stopped: ")) continue;
    places.push_back(line.file + ", " + line.function);
  }
  EXPECT_THAT(places, ElementsAre("piTorvex/Src/piTorvexCmdEmu, GetLogPageInformation"));
}

// Whoever ends the host may end the tool along with it: that is no empty machine.
TEST_F(RescanTest, AnInventoryThatFailsWhileAStopIsRequested_RemovesNothing) {
  ASSERT_EQ(guest.Initialize(), 0U);
  machine.tool.FailInventory(true);
  guest.Impl().m_StopRequest.Set();
  EXPECT_EQ(Rescan(), PI::ERR_GENERAL_FAILURE);
  EXPECT_EQ(guest.Topology().size(), 5U);
  EXPECT_THAT(Events(), IsEmpty());
  guest.Impl().m_StopRequest.Reset();
  EXPECT_EQ(Rescan(), 0UL);
  EXPECT_THAT(Events(), ElementsAre(PI::EVENT_ADAPTER_REMOVED, PI::EVENT_ADAPTER_REMOVED));
}

TEST_F(RescanTest, APlaceThatCannotBeFound_TakesTheNameForAsLong) {
  ASSERT_EQ(guest.Initialize(), 0U);
  guest.Impl().m_HostAdapterIDs = guest.ids;
  guest.Impl().m_HostAdapterIDs[1].m_HostNumber = 2;
  ASSERT_EQ(Rescan(), 0UL);
  EXPECT_EQ(guest.Impl().m_Adapters[1].Name, "Intel PCIe Device Adapter (SERIAL-B)");
  Change(1, [](auto& drive) { drive.devicePath = "/dev/gone"; });
  ASSERT_EQ(Rescan(), 0UL);
  EXPECT_EQ(guest.Impl().m_Adapters[1].Name, "");
  EXPECT_EQ(guest.Impl().m_Adapters[1].Location, "PCI:Bus=0&Device=0&Function=0");
  Change(1, [](auto& drive) { drive.devicePath = "/dev/nvme1"; });
  ASSERT_EQ(Rescan(), 0UL);
  EXPECT_EQ(guest.Impl().m_Adapters[1].Name, "Intel PCIe Device Adapter (SERIAL-B)");
  EXPECT_THAT(Events(), IsEmpty());
}

TEST_F(RescanTest, ALogPassThatChangedNothingElse_LeavesTheResultAndRefreshesTheRows) {
  ASSERT_EQ(guest.Initialize(), 0U);
  Change(0, [](auto& drive) { drive.temperature = 41; });
  guest.Impl().m_Adapters[0].Temperature = guest.Impl().m_PhysicalDrives[0].Temperature = 41.0F;
  guest.Impl().m_Adapters[0].RowIsStale = guest.Impl().m_PhysicalDrives[0].RowIsStale = true;
  database.FailWhen([](const std::string& text) { return Holds(text, "UPDATE PD"); });
  EXPECT_EQ(Rescan(), PI::ERR_GENERAL_FAILURE);
  database.FailWhen(nullptr);
  database.ClearWrites();
  EXPECT_EQ(Rescan(), PI::ERR_GENERAL_FAILURE);  // what failed, and nothing else
  EXPECT_THAT(database.Writes(), ElementsAre("UPDATE PD"));
  EXPECT_THAT(database.Column("Adapter", "Temperature"), ElementsAre("41", "30"));
  EXPECT_THAT(database.Column("PD", "Temperature"), ElementsAre("41", "30"));
  EXPECT_EQ(guest.Impl().m_Adapters[0].m_ReadCounter, 0UL);
}

TEST_F(RescanTest, InsertsThatFailedAtStartUp_AreSentAgain) {
  database.FailWhen([](const std::string& text) { return Holds(text, "INSERT"); });
  ASSERT_EQ(guest.Initialize(), 0U);
  database.FailWhen(nullptr);
  database.ClearWrites();
  EXPECT_EQ(Rescan(), PI::ERR_GENERAL_FAILURE);
  EXPECT_THAT(database.Writes(), ElementsAre("INSERT Adapter", "INSERT PD", "INSERT Adapter",
                                             "INSERT PD", "INSERT Plugin"));
  database.ClearWrites();
  EXPECT_EQ(Rescan(), PI::ERR_GENERAL_FAILURE);
  EXPECT_THAT(database.Writes(), IsEmpty());
}

// The numbers count from 1 again: a delete of the time before would hit a new row.
TEST_F(RescanTest, DeletesThatFailed_AreForgottenAtTheNextStartUp) {
  ASSERT_EQ(guest.Initialize(), 0U);
  frametest::FakeDrive pulled;
  machine.tool.Change([&pulled](auto& drives) {
    pulled = drives.front();
    drives.erase(drives.begin());
  });
  database.FailWhen([](const std::string& text) { return Holds(text, "DELETE"); });
  ASSERT_EQ(Rescan(), 0UL);
  database.FailWhen(nullptr);
  machine.tool.Change([&pulled](auto& drives) { drives.insert(drives.begin(), pulled); });
  ASSERT_EQ(guest.Initialize(), 0U);
  database.ClearWrites();
  EXPECT_EQ(Rescan(), PI::ERR_GENERAL_FAILURE);
  EXPECT_THAT(database.Writes(), IsEmpty());
}

TEST_F(RescanTest, AScanThatThrowsAtStartUp_EndsLikeOneWithoutAdapters) {
  vxtest::PluginTrace trace(16);
  boost::function<void()>& used = frametest::CInspection::RecordCallback(guest.Impl());
  const boost::function<void()> callback = used;
  used.clear();
  EXPECT_EQ(guest.Initialize(), PI::ERR_NO_SUPPORTED_HARDWARE);
  EXPECT_TRUE(trace.Has("ScanSystem() ret = 20000 m_PhysicalDrives=0"));
  EXPECT_THAT(database.Writes(), ElementsAre("INSERT Plugin", "DELETE Plugin"));
  used = callback;
  EXPECT_EQ(guest.Initialize(), 0U);
}

TEST_F(RescanTest, AScanThatThrowsHalfWay_TakesBackWhatItHadFound) {
  int records = 0;
  frametest::CInspection::RecordCallback(guest.Impl()) = [&records] {
    if (++records == 2) throw std::runtime_error("no memory");
  };
  vxtest::PluginTrace trace(2 | 16);
  std::vector<PI::CAdapterID> ids(1);
  testing::internal::CaptureStdout();
  EXPECT_EQ(guest.Initialize(ids), PI::ERR_NO_SUPPORTED_HARDWARE);
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "piTorvex:  Initialize:  adapter count is 0\n");
  EXPECT_THAT(ids, IsEmpty());
  EXPECT_TRUE(trace.Has("ScanSystem() ret = 20000 m_PhysicalDrives=1"));
  EXPECT_TRUE(trace.Has("LEAVE Initialize() -> 20001"));
  EXPECT_THAT(database.Writes(), ElementsAre("INSERT Plugin", "DELETE Plugin", "DELETE Adapter"));
  EXPECT_EQ(guest.Impl().m_AdapterCount, 0UL);
  const std::vector<PI::CObject> objects = guest.Topology();
  ASSERT_EQ(objects.size(), 1U);
  EXPECT_EQ(objects.front().m_ReadCounter, 1UL);
}

// A setting stored before the worker starts is what it sees first: the scan has to wait for a whole
// interval.
TEST_F(RescanTest, APrivateEventBeforeTheWorker_PutsItsFirstScanOff) {
  ASSERT_EQ(guest.Initialize(), 0U);
  PI::CProperty property(PI::PROPERTY_POLL_INTERVAL, true);
  property.SetValue(255, 2, 255, 1U);
  ASSERT_EQ(guest.Call(7, guest.PluginId(), &property), 0U);
  machine.tool.ClearCalls();
  vxtest::PluginTrace trace(2 | 4);
  guest.SetAdapterIDs();
  ASSERT_TRUE(frametest::Eventually([&] { return trace.Has("Worker() before restart interval"); }));
  EXPECT_EQ(guest.DeInitialize(), 0U);
  EXPECT_FALSE(trace.Has("Worker() timeout event received"));
  EXPECT_TRUE(trace.Has("Worker() m_PrivateEvent event received"));
  EXPECT_THAT(machine.tool.Calls(), IsEmpty());
}

}  // namespace
