#include "Frame_fixtures.h"

#include <algorithm>
#include <atomic>
#include <filesystem>
#include <functional>
#include <stdexcept>
#include <thread>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <TLX/Misc/Application.h>

namespace {

using frametest::FakeDrive;
using frametest::FrameDatabase;
using frametest::Guest;
using frametest::IPLUGINAPI_IMPL;
using frametest::Machine;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::internal::CaptureStdout;
using testing::internal::GetCapturedStdout;
using vxtest::PluginTrace;

// --- The object itself

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

TEST(Members, AtFirst_AreEmpty) {
  IPLUGINAPI_IMPL plugin;
  EXPECT_EQ(plugin.m_InterfaceVersion, 2U);
  EXPECT_EQ(plugin.m_ModuleID, 0U);
  EXPECT_FALSE(static_cast<bool>(plugin.m_NotifyHost));
  EXPECT_NE(plugin.m_DataLock.Wait(0), TLX::Threading::WAIT_ACQUIRED);  // not initialised yet
  EXPECT_NE(plugin.m_EventsLock.Wait(0), TLX::Threading::WAIT_ACQUIRED);
  for (TLX::Threading::CEvent* event :
       {&plugin.m_ForceWorker, &plugin.m_StopRequest, &plugin.m_PrivateEvent}) {
    EXPECT_EQ(event->Wait(0), TLX::Threading::WAIT_FAILED);
  }
  EXPECT_EQ(plugin.m_CommandPrefix, "");
  EXPECT_TRUE(plugin.m_ToolPath.empty());
  EXPECT_EQ(plugin.m_Plugin.m_ID, 0UL);
  EXPECT_THAT(plugin.m_Adapters, IsEmpty());
  EXPECT_THAT(plugin.m_PhysicalDrives, IsEmpty());
  EXPECT_THAT(plugin.m_ToolRecords, IsEmpty());
  EXPECT_THAT(plugin.m_ETRs, IsEmpty());
  EXPECT_THAT(plugin.m_HostAdapterIDs, IsEmpty());
  EXPECT_THAT(plugin.m_Events, IsEmpty());
  EXPECT_EQ(plugin.m_AdapterCount, 0UL);
  EXPECT_EQ(plugin.m_NextID, 0UL);
  EXPECT_EQ(plugin.m_WorkerThread, nullptr);
  EXPECT_EQ(plugin.m_CustomOptions.FileName(), "CustomOpOpts.ini");
  EXPECT_EQ(plugin.m_PluginOptions.FileName(), "piTorvex.ini");
  EXPECT_EQ(plugin.m_ToolVersion, "");
  EXPECT_EQ(plugin.m_Database, nullptr);  // the host has none
}

// Hosts and plug-ins of other compilations find these by their places.
TEST(Members, OfTheInterface_StandWhereHostsLookForThem) {
  IPLUGINAPI_IMPL plugin;
  IPLUGINAPI* const api = &plugin;
  EXPECT_EQ(static_cast<void*>(api), static_cast<void*>(&plugin));
  const auto placeOf = [api](const void* member) {
    return static_cast<const char*>(member) - reinterpret_cast<const char*>(api);
  };
  EXPECT_EQ(placeOf(&api->m_InterfaceVersion), 8);
  EXPECT_EQ(placeOf(&api->m_ModuleID), 12);
  EXPECT_EQ(placeOf(&api->m_NotifyHost), 16);
}

static_assert(std::is_same_v<std::underlying_type_t<PI::_COMMAND>, unsigned int>,
              "any number may come in as a command");

// Stopping the worker is command 3's work. The object stands in memory that is never given back, so
// that the sleeping worker harms nobody; it ends with the process.
void DestroyWithAWorkerInTheTool() {
  static Machine machine;
  machine.AddDrive("SERIAL");
  alignas(IPLUGINAPI_IMPL) static unsigned char memory[sizeof(IPLUGINAPI_IMPL)];
  auto* const plugin = new (memory) IPLUGINAPI_IMPL;
  std::vector<PI::CAdapterID> ids;
  if (plugin->Initialize(ids) != 0) _exit(2);
  static std::atomic<bool> isInTool{false};
  machine.tool.SetHook([](const std::string&) {
    isInTool = true;
    while (true) pause();
  });
  plugin->SetAdapterIDs(ids);
  if (!frametest::Eventually([] { return isInTool.load(); })) _exit(3);
  plugin->~IPLUGINAPI_IMPL();
  _exit(0);
}

TEST(Destruction, LeavesTheWorkerRunning) {
  EXPECT_EXIT(DestroyWithAWorkerInTheTool(), testing::ExitedWithCode(0), "");
}

// --- Options

unsigned int PollIntervalOf(const std::string& text) {
  Machine machine;
  machine.Option("piTorvex.ini", "PollInterval=" + text + "\n");
  return IPLUGINAPI_IMPL().PollInterval.load();
}

unsigned long RefreshIntervalOf(const std::string& text) {
  Machine machine;
  machine.Option("CustomOpOpts.ini", "IntelPCIeTopologologyRefreshRate=" + text + "\n");
  return IPLUGINAPI_IMPL().m_TopologyRefreshInterval;
}

TEST(Options, PollInterval_IsReadAndClamped) {
  EXPECT_EQ(PollIntervalOf("40"), 40U);
  EXPECT_EQ(PollIntervalOf("1"), 2U);
  EXPECT_EQ(PollIntervalOf("0"), 2U);
  EXPECT_EQ(PollIntervalOf("2"), 2U);
  EXPECT_EQ(PollIntervalOf("255"), 255U);
  EXPECT_EQ(PollIntervalOf("300"), 255U);
}

TEST(Options, PollInterval_ThatIsNoNumber_IsTheDefault) {
  for (const char* text : {"abc", "12x", "", "-5", "4294967296", "0x10", "3.5"}) {
    EXPECT_EQ(PollIntervalOf(text), 30U) << text;
  }
}

TEST(Options, WithoutFiles_AreTheDefaults) {
  Machine machine;
  IPLUGINAPI_IMPL plugin;
  EXPECT_EQ(plugin.PollInterval.load(), 30U);
  EXPECT_EQ(plugin.m_TopologyRefreshInterval, 30000UL);
}

TEST(Options, RefreshInterval_IsReadAndNotClamped) {
  EXPECT_EQ(RefreshIntervalOf("0"), 0UL);
  EXPECT_EQ(RefreshIntervalOf("1"), 1UL);
  EXPECT_EQ(RefreshIntervalOf("99999999999"), 99999999999UL);
  for (const char* text : {"5s", "", "-1", "soon"}) {
    EXPECT_EQ(RefreshIntervalOf(text), 30000UL) << text;
  }
}

// --- Initialize

TEST(Initialize, WithoutSupportedHardware_SaysSoAndRunsNoTool) {
  PluginTrace trace(2 | 16);
  Machine machine;
  machine.sysfs.Pci("pci0000:00/0000:00:01.0", "0x8086", "0x0a55");  // no supported device
  Guest guest;
  std::vector<PI::CAdapterID> ids(2);
  CaptureStdout();
  EXPECT_EQ(guest.Initialize(ids), PI::ERR_NO_SUPPORTED_HARDWARE);
  EXPECT_EQ(GetCapturedStdout(), "piTorvex:  Initialize:  adapter count is 0\n");
  EXPECT_THAT(ids, IsEmpty());
  EXPECT_THAT(machine.tool.Calls(), IsEmpty());
  EXPECT_THAT(trace.Texts(), ElementsAre("ENTER Initialize()",
                                         "LEAVE Initialize() -> PI::ERR_NO_SUPPORTED_HARDWARE"));
}

TEST(Initialize, EachOfTheThreeDevices_CountsAsHardware) {
  for (const char* device : {"0x0953", "0x0a54", "0x2701"}) {
    Machine machine;
    machine.AddDrive("SERIAL", device);
    Guest guest;
    EXPECT_EQ(guest.Initialize(), 0U) << device;
  }
}

TEST(Initialize, WithAToolThatFails_SaysSoAndKeepsNothing) {
  PluginTrace trace(2 | 16);
  Machine machine;
  machine.AddDrive("SERIAL");
  machine.tool.FailInventory(true);
  Guest guest;
  CaptureStdout();
  EXPECT_EQ(guest.Initialize(), PI::ERR_API_INITIALIZATION_FAILED);
  EXPECT_EQ(GetCapturedStdout(), "piTorvex:  Initialize:  adapter count is 0\n");
  EXPECT_EQ(guest.Topology().size(), 1U);
  EXPECT_TRUE(trace.Has("Initialize, CmdEmu_getAdapterCount returned = 0"));
  EXPECT_TRUE(trace.Has("Initialize, CmdEmu_getAdapterCount called = 20003"));
  EXPECT_TRUE(trace.Has("LEAVE Initialize() -> PI::ERR_API_INITIALIZATION_FAILED"));
}

TEST(Initialize, WithNoServedDrive_FailsLikeATool) {
  PluginTrace trace(16);
  Machine machine;
  machine.AddDrive("SERIAL");
  machine.tool.Change([](std::vector<FakeDrive>& drives) { drives.clear(); });
  Guest guest;
  CaptureStdout();
  EXPECT_EQ(guest.Initialize(), PI::ERR_API_INITIALIZATION_FAILED);
  EXPECT_EQ(GetCapturedStdout(), "piTorvex:  Initialize:  adapter count is 0\n");
  EXPECT_TRUE(trace.Has("Initialize, CmdEmu_getAdapterCount called = 20001"));
}

TEST(Initialize, ThatSkipsEveryDrive_TakesThePluginRowBack) {
  PluginTrace trace(16);
  FrameDatabase database;
  Machine machine;
  machine.AddManagedDrive("SERIAL");
  Guest guest;
  CaptureStdout();
  EXPECT_EQ(guest.Initialize(), PI::ERR_NO_SUPPORTED_HARDWARE);
  EXPECT_EQ(GetCapturedStdout(), "piTorvex:  Initialize:  adapter count is 0\n");
  EXPECT_THAT(guest.ids, IsEmpty());
  EXPECT_THAT(database.Writes(), ElementsAre("INSERT Plugin", "DELETE Plugin"));
  EXPECT_TRUE(trace.Has("ScanSystem() ret = 0 m_PhysicalDrives=0"));
  EXPECT_EQ(guest.Topology().front().m_ReadCounter, 1U);
}

// The trace counts what the tool reports, the line on standard output what the host gets.
TEST(Initialize, ThatSkipsADrive_CountsItInTheTraceAlone) {
  PluginTrace trace(16);
  Machine machine;
  machine.AddManagedDrive("MANAGED");
  machine.AddDrive("PLAIN");
  Guest guest;
  CaptureStdout();
  EXPECT_EQ(guest.Initialize(), 0U);
  EXPECT_EQ(GetCapturedStdout(), "piTorvex:  Initialize:  adapter count is 1\n");
  EXPECT_TRUE(trace.Has("Initialize, CmdEmu_getAdapterCount returned = 2"));
  EXPECT_TRUE(trace.Has("ScanSystem() ret = 0 m_PhysicalDrives=1"));
}

// A host whose output goes through a pipe must not hold the line back until it ends.
TEST(Initialize, TheCount_LeavesTheProcessAtOnce) {
  Machine machine;
  Guest guest;
  CaptureStdout();
  (void)guest.Initialize();
  struct stat output {};
  EXPECT_EQ(fstat(STDOUT_FILENO, &output), 0);
  const std::string text = GetCapturedStdout();  // flushes
  EXPECT_EQ(text, "piTorvex:  Initialize:  adapter count is 0\n");
  EXPECT_EQ(static_cast<std::size_t>(output.st_size), text.size());
}

TEST(Initialize, WithTwoDrives_PublishesAndStoresThem) {
  PluginTrace trace(2);
  FrameDatabase database;
  Machine machine;
  machine.AddDrive("SERIAL-A");
  machine.AddDrive("SERIAL-B");
  Guest guest;
  std::vector<PI::CAdapterID> ids(1);  // kept: the adapters are appended
  CaptureStdout();
  EXPECT_EQ(guest.Initialize(ids), 0U);
  EXPECT_EQ(GetCapturedStdout(), "piTorvex:  Initialize:  adapter count is 2\n");
  EXPECT_EQ(trace.Texts().back(), "LEAVE Initialize() -> 0");
  ASSERT_EQ(ids.size(), 3U);
  EXPECT_EQ(ids[1].m_Name, "");
  EXPECT_THAT(ids[1].m_Identification, ElementsAre(0U, 1U, 0U, 0U));
  EXPECT_EQ(ids[1].m_AdapterIndex, 1U);
  EXPECT_EQ(ids[1].m_HostNumber, -1);
  EXPECT_THAT(ids[2].m_Identification, ElementsAre(0U, 2U, 0U, 0U));
  EXPECT_EQ(ids[2].m_AdapterIndex, 2U);
  EXPECT_THAT(database.Writes(),
              ElementsAre("INSERT Plugin", "INSERT Adapter", "INSERT PD", "INSERT PD",
                          "INSERT Adapter", "INSERT PD", "INSERT PD"));
  EXPECT_THAT(database.Column("PD", "SerialNumber"), ElementsAre("SERIAL-A", "SERIAL-B"));
}

TEST(Initialize, LinksPluginAndAdaptersByTheirIds) {
  Machine machine;
  machine.AddDrive("SERIAL-A");
  machine.AddDrive("SERIAL-B");
  Guest guest;
  guest.Initialize();
  const std::vector<PI::CObject> objects = guest.Topology();
  ASSERT_EQ(objects.size(), 5U);
  EXPECT_EQ(objects[0].m_ID, 0x0135000000000000UL);
  EXPECT_EQ(objects[0].m_Type, PI::OBJECT_TYPE_PLUGIN);
  EXPECT_THAT(objects[0].m_ChildIDs, ElementsAre(0x0135000000000001UL, 0x0135000000000003UL));
  EXPECT_EQ(objects[1].m_ID, 0x0135000000000001UL);
  EXPECT_EQ(objects[1].m_Type, PI::OBJECT_TYPE_ADAPTER);
  EXPECT_THAT(objects[1].m_ParentIDs, ElementsAre(objects[0].m_ID));
  EXPECT_EQ(objects[3].m_ID, 0x0135000000000002UL);
  EXPECT_EQ(objects[3].m_Type, PI::OBJECT_TYPE_PHYSICAL_DRIVE);
  EXPECT_THAT(objects[3].m_ParentIDs, IsEmpty());
}

TEST(Initialize, MakesTheStopRequestLastAndTheOtherEventsPass) {
  Machine machine;
  machine.AddDrive("SERIAL");
  Guest guest;
  ASSERT_EQ(guest.Initialize(), 0U);
  const auto isSet = [](TLX::Threading::CEvent& event) {
    return event.Wait(0) == TLX::Threading::WAIT_ACQUIRED;
  };
  for (auto* event : {&guest.Impl().m_ForceWorker, &guest.Impl().m_PrivateEvent}) {
    EXPECT_FALSE(isSet(*event));
    event->Set();
    EXPECT_TRUE(isSet(*event));
    EXPECT_FALSE(isSet(*event));
  }
  EXPECT_FALSE(isSet(guest.Impl().m_StopRequest));
  guest.Impl().m_StopRequest.Set();
  EXPECT_TRUE(isSet(guest.Impl().m_StopRequest));
  EXPECT_TRUE(isSet(guest.Impl().m_StopRequest));
}

TEST(Initialize, BuildsTheToolsPathBesideTheHost) {
  Machine machine;
  machine.AddDrive("SERIAL");
  TLX::Misc::CTlxApplication::SetProcessPath("/opt/h/svc");
  Guest guest;
  const unsigned int result = guest.Initialize();
  TLX::Misc::CTlxApplication::SetProcessPath("");
  EXPECT_EQ(result, 0U);
  EXPECT_EQ(machine.tool.Prefixes().back(),
            "LD_PRELOAD=/opt/h/bin/libIntel.SSDFeatures.so.2.0.0 /opt/h/bin/isdct");
}

TEST(Initialize, ASecondTime_StartsAnewWithOtherIds) {
  Machine machine;
  machine.AddDrive("SERIAL");
  Guest guest;
  guest.Initialize();
  EXPECT_EQ(guest.Initialize(), 0U);
  const std::vector<PI::CObject> objects = guest.Topology();
  ASSERT_EQ(objects.size(), 3U);
  EXPECT_EQ(objects[0].m_ID, 0x0135000000000003UL);
  EXPECT_THAT(objects[0].m_ChildIDs, ElementsAre(objects[1].m_ID));
  EXPECT_THAT(objects[1].m_ParentIDs, ElementsAre(objects[0].m_ID));
}

TEST(Initialize, ThatFailsTheSecondTime_LeavesNoLinks) {
  Machine machine;
  machine.AddDrive("SERIAL");
  machine.AddManagedDrive("MANAGED");
  Guest guest;
  ASSERT_EQ(guest.Initialize(), 0U);
  machine.tool.Change([](auto& drives) { drives.erase(drives.begin()); });
  EXPECT_EQ(guest.Initialize(), PI::ERR_NO_SUPPORTED_HARDWARE);
  const std::vector<PI::CObject> objects = guest.Topology();
  ASSERT_EQ(objects.size(), 1U);
  EXPECT_THAT(objects.front().m_ChildIDs, IsEmpty());
}

// A start-up that has worked, and then one that fails.
class SecondInitialize : public testing::Test {
 protected:
  SecondInitialize() {
    machine.AddDrive("SERIAL-A");
    machine.AddDrive("SERIAL-B");
    if (guest.Initialize() != 0) throw std::runtime_error("Initialize failed");
  }

  void ExpectNoObjects() {
    const std::vector<PI::CObject> objects = guest.Topology();
    ASSERT_EQ(objects.size(), 1U);
    EXPECT_THAT(objects.front().m_ChildIDs, IsEmpty());
    EXPECT_EQ(guest.Impl().m_AdapterCount, 0UL);
    EXPECT_THAT(guest.ids, IsEmpty());
  }
  void ExpectNoRows() {
    EXPECT_THAT(database.Column("Plugin", "ID"), IsEmpty());
    EXPECT_THAT(database.Column("Adapter", "SerialNumber"), IsEmpty());
  }

  FrameDatabase database;
  Machine machine;
  Guest guest;
};

TEST_F(SecondInitialize, WithoutHardware_LeavesNoObjectsAndNoRows) {
  std::filesystem::remove_all(machine.sysfs.Root() / "bus");
  EXPECT_EQ(guest.Initialize(), PI::ERR_NO_SUPPORTED_HARDWARE);
  ExpectNoObjects();
  ExpectNoRows();
}

TEST_F(SecondInitialize, WithAToolThatFails_LeavesNoObjectsAndNoRows) {
  machine.tool.FailInventory(true);
  EXPECT_EQ(guest.Initialize(), PI::ERR_API_INITIALIZATION_FAILED);
  ExpectNoObjects();
  ExpectNoRows();
}

TEST_F(SecondInitialize, ThatSkipsEveryDrive_LeavesNoObjectsAndNoRows) {
  machine.AddManagedDrive("MANAGED");
  machine.tool.Change([](auto& drives) { drives.erase(drives.begin(), drives.begin() + 2); });
  EXPECT_EQ(guest.Initialize(), PI::ERR_NO_SUPPORTED_HARDWARE);
  ExpectNoObjects();
  ExpectNoRows();
}

TEST_F(SecondInitialize, ThatFails_IsFollowedByOneThatWorks) {
  machine.tool.FailInventory(true);
  ASSERT_EQ(guest.Initialize(), PI::ERR_API_INITIALIZATION_FAILED);
  machine.tool.FailInventory(false);
  EXPECT_EQ(guest.Initialize(), PI::SUCCESS);
  EXPECT_EQ(guest.Topology().size(), 5U);
  EXPECT_THAT(database.Column("Adapter", "SerialNumber"), ElementsAre("SERIAL-A", "SERIAL-B"));
}

TEST(Initialize, ThatFailsTheSecondTimeWithoutADatabase_LeavesNoObjects) {
  Machine machine;
  machine.AddDrive("SERIAL");
  Guest guest;
  ASSERT_EQ(guest.Initialize(), PI::SUCCESS);
  machine.tool.FailInventory(true);
  EXPECT_EQ(guest.Initialize(), PI::ERR_API_INITIALIZATION_FAILED);
  EXPECT_EQ(guest.Topology().size(), 1U);
}

TEST(Initialize, OfTwoDrivesWithOneSerialNumber_PublishesTheFirst) {
  PluginTrace trace(16);
  Machine machine;
  machine.AddDrive("SAME");
  machine.AddDrive("SAME");
  machine.AddDrive("OTHER");
  Guest guest;
  EXPECT_EQ(guest.Initialize(), 0U);
  EXPECT_EQ(guest.ids.size(), 2U);
  const std::vector<PI::CObject> objects = guest.Topology();
  ASSERT_EQ(objects.size(), 5U);
  EXPECT_EQ(frametest::TextOf(objects[1], PI::PROPERTY_DEVICE_PATH), "/dev/nvme0");
  EXPECT_TRUE(trace.Has("Dropped 1 adapters whose serial number is taken"));
}

TEST(Initialize, WithoutADatabase_PublishesAndSaysSo) {
  vxtest::PluginTrace trace(2);
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

TEST(Initialize, WithADatabaseThatFails_WorksWithoutIt) {
  FrameDatabase database;
  database.FailWhen([](const std::string&) { return true; });
  Machine machine;
  machine.AddDrive("SERIAL");
  Guest guest;
  EXPECT_EQ(guest.Initialize(), 0U);
  EXPECT_TRUE(guest.Impl().m_Adapters.front().RowIsMissing);
  EXPECT_TRUE(guest.Impl().m_PhysicalDrives.front().RowIsMissing);
}

// --- SetAdapterIDs

class SetAdapterIDs : public testing::Test {
 protected:
  SetAdapterIDs() {
    machine.AddDrive("SERIAL-A");
    machine.AddDrive("SERIAL-B");
    guest.Initialize();
    // The names are looked up by the PCI device and function numbers; with these two they are
    // found.
    guest.Impl().m_Adapters[0].PciDevice = 0x0A54;
    guest.Impl().m_Adapters[0].PciFunction = 0x4712;
    guest.ids[0].m_Identification = {0, 1, 0x0A54, 0x4712};
  }

  // The adapters' names after the command, before the worker's first scan renames them.
  std::vector<std::string> NamesAfter(std::vector<PI::CAdapterID> given) {
    machine.tool.SetHook([](const std::string&) { TLX::Misc::Sleep(60'000); });
    std::vector<std::string> names;
    EXPECT_EQ(guest.Call(2, 0, &given), 0U);
    for (const auto& adapter : guest.Impl().m_Adapters) names.push_back(adapter.Name);
    EXPECT_TRUE(guest.Impl().m_WorkerThread->Native().Cancel());
    return names;
  }

  Machine machine;
  Guest guest;
};

TEST_F(SetAdapterIDs, WithAHostNumber_NamesTheAdapterAndWritesItsRow) {
  FrameDatabase database;
  guest.Impl().m_Database = getDatabasePointer();
  guest.Impl().InsertObjectToDatabase(guest.Impl().m_Adapters[0], false);
  database.ClearWrites();
  PluginTrace trace(2);
  guest.ids[0].m_HostNumber = 3;
  EXPECT_THAT(NamesAfter(guest.ids), ElementsAre("SSD PCIe3 P4600 (3)", ""));
  EXPECT_EQ(trace.Texts().front(), "ENTER SetAdapterIDs");
  EXPECT_THAT(database.Writes(), ElementsAre("UPDATE Adapter"));
  EXPECT_THAT(database.Column("Adapter", "Name"), ElementsAre("SSD PCIe3 P4600 (3)"));
}

TEST_F(SetAdapterIDs, OfOneAddress_TakesTheFirstThatIsNumbered) {
  std::vector<PI::CAdapterID> given = {guest.ids[0], guest.ids[0], guest.ids[0]};
  given[1].m_HostNumber = 8;
  given[2].m_HostNumber = 9;
  EXPECT_THAT(NamesAfter(given), ElementsAre("SSD PCIe3 P4600 (8)", ""));
  EXPECT_EQ(guest.Impl().m_HostAdapterIDs.size(), 3U);
}

TEST_F(SetAdapterIDs, WithoutANumber_RenamesNothing) {
  EXPECT_THAT(NamesAfter(guest.ids), ElementsAre("", ""));
}

// The host's numbers have 32 bits, those of an address may have more.
TEST_F(SetAdapterIDs, ComparesTheLower32BitsOfTheAddress) {
  guest.Impl().m_Adapters[0].PciSegment = 1UL << 32U;
  guest.Impl().m_Adapters[1].PciBus = 0x99;
  guest.ids[0].m_HostNumber = 3;
  guest.ids[1].m_HostNumber = 4;
  EXPECT_THAT(NamesAfter(guest.ids), ElementsAre("SSD PCIe3 P4600 (3)", ""));
}

// Nobody else changes the objects before the first worker, so that a request in progress does not
// matter.
TEST_F(SetAdapterIDs, TheFirstTime_WaitsForNoLock) {
  std::atomic<bool> done{false};
  ASSERT_EQ(guest.Impl().m_DataLock.Wait(0), 1U);
  std::thread host([this, &done] {
    guest.SetAdapterIDs();
    done = true;
  });
  EXPECT_TRUE(frametest::Eventually([&done] { return done.load(); }));
  EXPECT_EQ(guest.Impl().m_Adapters[0].Name, "SSD PCIe3 P4600 (1)");
  guest.Impl().m_DataLock.Release();
  host.join();
}

TEST_F(SetAdapterIDs, StartsAWorkerEachTime) {
  EXPECT_EQ(guest.Impl().m_WorkerThread, nullptr);
  ASSERT_EQ(guest.SetAdapterIDs(), 0U);
  ASSERT_NE(guest.Impl().m_WorkerThread, nullptr);
  const auto* const first = guest.Impl().m_WorkerThread.get();
  ASSERT_EQ(guest.SetAdapterIDs(), 0U);
  EXPECT_NE(guest.Impl().m_WorkerThread.get(), first);
  ASSERT_EQ(frametest::CInspection::OlderWorkers(guest.Impl()).size(), 1U);
  EXPECT_EQ(guest.DeInitialize(), 0U);
  EXPECT_EQ(guest.Impl().m_WorkerThread->Wait(0), TLX::Threading::WAIT_ACQUIRED);
  EXPECT_EQ(frametest::CInspection::OlderWorkers(guest.Impl()).front()->Wait(0),
            TLX::Threading::WAIT_ACQUIRED);
}

// --- DeInitialize

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
  EXPECT_EQ(frametest::CInspection::OlderWorkers(guest.Impl()).size(), 1U);
  EXPECT_EQ(guest.DeInitialize(), 0U);
  EXPECT_EQ(guest.Impl().m_WorkerThread->Wait(0), TLX::Threading::WAIT_ACQUIRED);
  EXPECT_EQ(frametest::CInspection::OlderWorkers(guest.Impl()).front()->Wait(0),
            TLX::Threading::WAIT_ACQUIRED);
}

TEST(DeInitialize, WithoutAWorkerOrTwice_IsFine) {
  PluginTrace trace(2 | 16);
  Guest guest;
  EXPECT_EQ(guest.DeInitialize(), 0U);
  EXPECT_EQ(guest.DeInitialize(), 0U);
  ASSERT_THAT(trace.Texts(), ElementsAre("ENTER DeInitialize", "LEAVE DeInitialize",
                                         "ENTER DeInitialize", "LEAVE DeInitialize"));
  const std::vector<vxtest::TraceLine> lines = trace.Lines();
  EXPECT_GE(lines[1].time - lines[0].time, 100U + 100U);  // a pause at both ends
  EXPECT_GE(lines[3].time - lines[2].time, 100U + 100U);
}

TEST(DeInitialize, ThenStartUpAgain_WorksInTheSameProcess) {
  frametest::FasterClock clock(20);
  Machine machine;
  machine.AddDrive("SERIAL");
  Guest guest;
  for (int round = 0; round < 3; ++round) {
    machine.tool.ClearCalls();
    ASSERT_EQ(guest.Initialize(), 0U);
    ASSERT_EQ(guest.SetAdapterIDs(), 0U);
    EXPECT_TRUE(frametest::Eventually([&machine] {
      return machine.tool.CountCalls("show -all -o json -torvex") >= 2 + 2;  // a scan of its own
    }));
    ASSERT_EQ(guest.DeInitialize(), 0U);
  }
}

}  // namespace
