#include "Frame_fixtures.h"
#include "platform/TLX/Threads.h"

#include <algorithm>
#include <atomic>
#include <mutex>
#include <optional>
#include <thread>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <TLX/Delegates_and_Calls/Delegate.h>

namespace {

using frametest::Eventually;
using frametest::FakeDrive;
using frametest::FasterClock;
using frametest::FrameDatabase;
using frametest::Guest;
using frametest::IdsOf;
using frametest::IPLUGINAPI_IMPL;
using frametest::IsFree;
using frametest::Machine;
using testing::ElementsAre;
using testing::IsEmpty;
using vxtest::PluginTrace;

constexpr const char* WAKE_UP_ENDED = "Worker() before restart interval";
constexpr const char* ROUND = "Wait for termination... (Worker)";
constexpr const char* RELEASE_DATA = "Before m_DataLock.Release ()";
constexpr const char* INVENTORY = "show -all -o json -torvex";  // the tool's, begins a scan
constexpr const char* FIRST_LOG = "SmartHealthInfo";  // begins the health query of a drive

// The host's end of the notification callback.
class Listener : public TLX::Delegates_and_Calls::CDelegateTarget {
 public:
  void Attach(IPLUGINAPI& api) {
    api.m_NotifyHost =
        TLX::Delegates_and_Calls::CDelegate<void(IPLUGINAPI*)>(this, &Listener::OnNotify);
  }
  int Count() const { return count_; }

  std::function<void(IPLUGINAPI*)> action;

 private:
  void OnNotify(IPLUGINAPI* api) {
    if (action) action(api);
    ++count_;
  }
  std::atomic<int> count_{0};
};

// A running worker over two drives, fifty times faster than life. Unless a test says otherwise it
// does nothing by itself after the first scan: the intervals are too long.
class WorkerTest : public testing::Test {
 protected:
  WorkerTest() : trace(2 | 4 | 8 | 16) {
    machine.AddDrive("SERIAL-A");
    machine.AddDrive("SERIAL-B");
    machine.Option("piTorvex.ini", "PollInterval=255\n");
    machine.Option("CustomOpOpts.ini", "IntelPCIeTopologologyRefreshRate=1000000000\n");
    guest = std::make_unique<Guest>();
    listener.Attach(guest->Api());
    if (guest->Initialize() != 0) throw std::runtime_error("Initialize failed");
  }
  ~WorkerTest() override { guest.reset(); }

  IPLUGINAPI_IMPL& Plugin() { return guest->Impl(); }

  // Starts the worker and waits for its first scan.
  void Start() {
    guest->SetAdapterIDs();
    ASSERT_TRUE(Eventually([this] { return WakeUps() >= 1; }));
    guest->FetchEvents();
    trace.Clear();
  }

  std::size_t WakeUps() const { return trace.Count(WAKE_UP_ENDED); }

  // Sets the event and waits for the end of the wake-up.
  void WakeUp(TLX::Threading::CEvent& event) {
    const std::size_t before = WakeUps();
    event.Set();
    ASSERT_TRUE(Eventually([this, before] { return WakeUps() > before; }));
  }
  void Scan() { WakeUp(Plugin().m_ForceWorker); }

  // Lets the worker make log passes, and waits until one that began after this call has ended.
  void LogPass() {
    Plugin().PollInterval = 2;
    WakeUp(Plugin().m_PrivateEvent);
    const std::size_t wakeUps = WakeUps();
    ASSERT_TRUE(Eventually([this, wakeUps] { return WakeUps() > wakeUps; }));
  }

  void Change(std::size_t drive, const std::function<void(FakeDrive&)>& change) {
    machine.tool.Change([&](std::vector<FakeDrive>& all) { change(all.at(drive)); });
  }

  // The lines from the first wake-up on, of some levels, without the tool's.
  std::vector<std::string> WorkerLines(unsigned int mask) const {
    std::vector<std::string> texts;
    for (const vxtest::TraceLine& line : trace.Lines()) {
      if (line.function == "Worker" && (line.level & mask) != 0) texts.push_back(line.text);
    }
    return texts;
  }

  unsigned long TimeOf(const std::string& text) const {
    for (const vxtest::TraceLine& line : trace.Lines()) {
      if (line.text == text) return line.time;
    }
    ADD_FAILURE() << text;
    return 0;
  }

  // The shortest time, by the clock, from a line with the one text to the next with the other.
  unsigned long SmallestGap(const std::string& from, const std::string& to) const {
    unsigned long smallest = ~0UL;
    std::optional<unsigned long> begin;
    for (const vxtest::TraceLine& line : trace.Lines()) {
      if (line.text == to && begin) smallest = std::min(smallest, line.time - *begin);
      if (line.text == to) begin.reset();
      if (line.text == from) begin = line.time;
    }
    return smallest;
  }

  PluginTrace trace{0};
  Machine machine;
  Listener listener;
  std::unique_ptr<Guest> guest;
  FasterClock clock{50};
};

TEST_F(WorkerTest, Start_ScansOnceAtOnce) {
  machine.tool.ClearCalls();
  guest->SetAdapterIDs();
  ASSERT_TRUE(Eventually([this] { return WakeUps() >= 1; }));
  EXPECT_EQ(machine.tool.CountCalls(INVENTORY), 1U + 2U);  // and log 203 of two
  EXPECT_THAT(WorkerLines(2 | 4),
              ElementsAre("ENTER Worker()", "Worker() timeout event received",
                          "Worker() after bscan", "Worker() before restart interval"));
}

TEST_F(WorkerTest, ForcedScan_FollowsAtOnceAndLocksInOrder) {
  Start();
  Scan();
  EXPECT_THAT(WorkerLines(31),
              ElementsAre("Worker() m_ForceWorker event received, force scan",
                          "Before m_DataLock.Wait(INFINITE)", "After m_DataLock.Wait(INFINITE)",
                          "Before m_EventsLock.Wait(INFINITE)", "After m_EventsLock.Wait(INFINITE)",
                          "Before ScanSystem()", "After ScanSystem() ret = 0",
                          "Before UpdateSystem()", "After UpdateSystem() ret = 20000",
                          "Worker() after bscan", "Before m_EventsLock.Release ()",
                          "After m_EventsLock.Release ()", "Before m_DataLock.Release ()",
                          "After m_DataLock.Release ()", "Worker() before restart interval"));
}

TEST_F(WorkerTest, Scan_CountsAsAReadOfPluginAndAdapters) {
  Start();
  const std::vector<PI::CObject> before = guest->Topology();
  Scan();
  const std::vector<PI::CObject> after = guest->Topology();
  EXPECT_EQ(after[0].m_ReadCounter, before[0].m_ReadCounter + 1);
  EXPECT_EQ(after[1].m_ReadCounter, before[1].m_ReadCounter + 1);
  EXPECT_EQ(after[3].m_ReadCounter, before[3].m_ReadCounter);
}

TEST_F(WorkerTest, Notification_FollowsChangesAndUnfetchedEvents) {
  Start();
  const int quiet = listener.Count();
  Scan();
  EXPECT_EQ(listener.Count(), quiet);  // nothing changed, nothing queued
  Change(0, [](FakeDrive& drive) { drive.temperature = 31; });
  Scan();
  EXPECT_EQ(listener.Count(), quiet + 1);  // changed, without an event
  Change(0, [](FakeDrive& drive) { drive.warnings = 4; });
  Scan();
  EXPECT_EQ(listener.Count(), quiet + 2);
  Scan();
  EXPECT_EQ(listener.Count(), quiet + 3);  // the event still waits
  EXPECT_THAT(IdsOf(guest->FetchEvents()), ElementsAre(PI::EVENT_RELIABILITY_DEGRADED));
  Scan();
  EXPECT_EQ(listener.Count(), quiet + 3);
}

TEST_F(WorkerTest, Notification_TakesObjectLocksBack) {
  Start();
  Plugin().m_Adapters[0].m_LockFlag = true;
  Scan();
  EXPECT_TRUE(guest->Topology()[1].m_LockFlag);  // nothing to tell, nothing unlocked
  Change(0, [](FakeDrive& drive) { drive.temperature = 31; });
  Scan();
  EXPECT_FALSE(guest->Topology()[1].m_LockFlag);
}

TEST_F(WorkerTest, PulledAndPluggedDrives_ComeAndGoWithOneEventEach) {
  Start();
  const std::vector<PI::CObject> before = guest->Topology();
  FakeDrive pulled;
  machine.tool.Change([&pulled](std::vector<FakeDrive>& all) {
    pulled = all.front();
    all.erase(all.begin());
  });
  Scan();
  EXPECT_THAT(IdsOf(guest->FetchEvents()), ElementsAre(PI::EVENT_ADAPTER_REMOVED));
  machine.tool.Change([&pulled](std::vector<FakeDrive>& all) { all.insert(all.begin(), pulled); });
  Scan();
  EXPECT_THAT(IdsOf(guest->FetchEvents()), ElementsAre(PI::EVENT_ADAPTER_ADDED));
  const std::vector<PI::CObject> objects = guest->Topology();
  ASSERT_EQ(objects.size(), 5U);
  EXPECT_EQ(frametest::TextOf(objects[1], PI::PROPERTY_SERIAL_NUMBER),
            "SERIAL-B");  // kept its place, the other one not
  EXPECT_THAT(objects[0].m_ChildIDs, ElementsAre(objects[1].m_ID, objects[2].m_ID));
  for (const std::size_t gone : {1U, 3U}) {  // its adapter and drive under their earlier ids
    std::vector<PI::CProperty> properties;
    EXPECT_EQ(guest->Call(5, before.at(gone).m_ID, &properties), PI::ERR_OBJECT_NOT_FOUND);
  }
}

TEST_F(WorkerTest, AToolThatFails_EmptiesTheListsUntilItAnswers) {
  Start();
  machine.tool.FailInventory(true);
  Scan();
  EXPECT_EQ(guest->Topology().size(), 1U);
  {
    const TLX::Threading::Native_OS::CFastMutexGuard guard(Plugin().m_DataLock);
    EXPECT_EQ(Plugin().m_AdapterCount, 0UL);
  }
  EXPECT_THAT(IdsOf(guest->FetchEvents()),
              ElementsAre(PI::EVENT_ADAPTER_REMOVED, PI::EVENT_ADAPTER_REMOVED));
  machine.tool.FailInventory(false);
  Scan();
  EXPECT_EQ(guest->Topology().size(), 5U);
  EXPECT_THAT(IdsOf(guest->FetchEvents()),
              ElementsAre(PI::EVENT_ADAPTER_ADDED, PI::EVENT_ADAPTER_ADDED));
}

TEST_F(WorkerTest, PrivateEvent_NotifiesWithoutToolOrLock) {
  Start();
  machine.tool.ClearCalls();
  const int before = listener.Count();
  Plugin().m_Plugin.m_LockFlag = true;
  Plugin().m_Adapters[1].m_LockFlag = true;
  Plugin().m_PhysicalDrives[1].m_LockFlag = true;
  WakeUp(Plugin().m_PrivateEvent);
  EXPECT_EQ(listener.Count(), before + 1);
  for (const PI::CObject& object : guest->Topology()) EXPECT_FALSE(object.m_LockFlag);
  EXPECT_THAT(machine.tool.Calls(), IsEmpty());
  EXPECT_THAT(WorkerLines(31), ElementsAre("Worker() m_PrivateEvent event received",
                                           "Worker() before restart interval"));
}

TEST_F(WorkerTest, PrivateEvent_IsHandledWhileARequestHoldsTheLock) {
  Start();
  const int before = listener.Count();
  {
    const TLX::Threading::Native_OS::CFastMutexGuard request(Plugin().m_DataLock);
    (void)Plugin().LockObjects(0, 0);
    WakeUp(Plugin().m_PrivateEvent);
    EXPECT_FALSE(Plugin().m_PhysicalDrives[0].m_LockFlag);
  }
  EXPECT_EQ(listener.Count(), before + 1);
}

// The other worker may be replacing the lists.
TEST_F(WorkerTest, PrivateEvent_WithSeveralWorkers_WaitsForTheLock) {
  Start();
  ASSERT_EQ(guest->SetAdapterIDs(), 0U);
  ASSERT_TRUE(Eventually([this] { return WakeUps() >= 1; }));
  const int before = listener.Count();
  {
    const TLX::Threading::Native_OS::CFastMutexGuard request(Plugin().m_DataLock);
    (void)Plugin().LockObjects(0, 0);
    Plugin().m_PrivateEvent.Set();
    std::this_thread::sleep_for(std::chrono::milliseconds(30));
    EXPECT_TRUE(Plugin().m_PhysicalDrives[0].m_LockFlag);
  }
  EXPECT_TRUE(Eventually([this, before] { return listener.Count() > before; }));
  const TLX::Threading::Native_OS::CFastMutexGuard request(Plugin().m_DataLock);
  EXPECT_FALSE(Plugin().m_PhysicalDrives[0].m_LockFlag);
}

TEST_F(WorkerTest, PrivateEvent_OfASingleWorkerAfterSeveral_NeedsNoLockEither) {
  Start();
  ASSERT_EQ(guest->SetAdapterIDs(), 0U);
  EXPECT_TRUE(frametest::CInspection::HasSeveralWorkers(Plugin()));
  ASSERT_EQ(guest->DeInitialize(), 0U);
  ASSERT_EQ(guest->Initialize(), 0U);
  trace.Clear();
  Start();
  EXPECT_FALSE(frametest::CInspection::HasSeveralWorkers(Plugin()));
  EXPECT_THAT(frametest::CInspection::OlderWorkers(Plugin()),
              IsEmpty());  // those that have ended are not kept
  const int before = listener.Count();
  const TLX::Threading::Native_OS::CFastMutexGuard busy(Plugin().m_DataLock);
  Plugin().m_PrivateEvent.Set();
  EXPECT_TRUE(Eventually([this, before] { return listener.Count() > before; }));
}

TEST_F(WorkerTest, ANewPollInterval_CountsFromTheNextWait) {
  Start();
  PI::CProperty property(PI::PROPERTY_POLL_INTERVAL, true);
  property.SetValue(2, 2, 255, 1U);
  ASSERT_EQ(guest->Call(7, guest->PluginId(), &property), 0U);
  ASSERT_TRUE(Eventually([this] { return trace.Has("Worker() timeout event received"); }));
  EXPECT_TRUE(trace.Has("Worker() m_PrivateEvent event received"));
}

TEST_F(WorkerTest, Callback_MayCallEveryRequest) {
  std::vector<unsigned int> results;
  std::atomic<bool> called{false};
  listener.action = [&](IPLUGINAPI* api) {
    if (called) return;
    std::vector<PI::CObject> objects;
    std::vector<PI::CProperty> properties;
    std::vector<PI::COperation> operations;
    PI::CProperty property(PI::PROPERTY_NAME, false);
    PI::COperation operation;
    operation.SetOperationID(PI::OPERATION_FETCH_EVENTS);
    const auto call = [&](unsigned int command, unsigned long object, void* data) {
      results.push_back(api->Execute(static_cast<PI::_COMMAND>(command), object, data));
    };
    call(4, 0, &objects);
    const unsigned long plugin = objects.front().m_ID;
    call(5, plugin, &properties);
    call(6, plugin, &property);
    call(7, plugin, &property);
    call(8, plugin, &operations);
    call(9, plugin, &operation);
    call(10, plugin, &operation);
    called = true;
  };
  Start();
  Change(0, [](FakeDrive& drive) { drive.warnings = 4; });
  Scan();
  ASSERT_TRUE(called);
  EXPECT_THAT(results, ElementsAre(0U, 0U, 0U, PI::ERR_PROPERTY_NOT_SETTABLE, 0U, 0U, 0U));
}

// The worker itself could take them again: they are recursive.
TEST_F(WorkerTest, Callback_FindsBothLocksFree) {
  Start();
  std::atomic<int> free{0};
  listener.action = [this, &free](IPLUGINAPI*) {
    if (IsFree(Plugin().m_DataLock) && IsFree(Plugin().m_EventsLock)) ++free;
  };
  WakeUp(Plugin().m_PrivateEvent);
  EXPECT_EQ(free, 1);
  Change(0, [](FakeDrive& drive) { drive.warnings = 4; });
  Scan();
  EXPECT_EQ(free, 2);
}

TEST_F(WorkerTest, Callback_IsGivenTheInterfaceObject) {
  Start();
  IPLUGINAPI* given = nullptr;
  listener.action = [&given](IPLUGINAPI* api) { given = api; };
  WakeUp(Plugin().m_PrivateEvent);
  EXPECT_EQ(given, &guest->Api());
}

TEST_F(WorkerTest, CallbackThatThrows_DoesNotEndTheWorker) {
  listener.action = [](IPLUGINAPI*) { throw std::runtime_error("host"); };
  Start();
  WakeUp(Plugin().m_PrivateEvent);
  WakeUp(Plugin().m_PrivateEvent);
  EXPECT_TRUE(trace.Has("Exception stopped: host"));
}

// By the clock that everything keeps time by; that a pause is not much longer, no test can say.
TEST_F(WorkerTest, Pauses_AreNotShorterThanTheyShouldBe) {
  trace.Clear();
  guest->SetAdapterIDs();
  ASSERT_TRUE(Eventually([this] { return WakeUps() >= 1; }));
  EXPECT_GE(SmallestGap("ENTER Worker()", "Worker() timeout event received"), 100U);
  trace.Clear();
  LogPass();
  LogPass();
  EXPECT_GE(SmallestGap(WAKE_UP_ENDED, "Worker() timeout event received"), 2000U);
  EXPECT_GE(SmallestGap("Worker GetLogPageInformation()", "Worker GetLogPageInformation()"), 1000U);
  EXPECT_GE(SmallestGap("Worker GetLogPageInformation()", WAKE_UP_ENDED), 1000U);
}

TEST_F(WorkerTest, CallbackThatThrowsNoException_DoesNotEndTheWorker) {
  listener.action = [](IPLUGINAPI*) { throw 7; };
  Start();
  WakeUp(Plugin().m_PrivateEvent);
  WakeUp(Plugin().m_PrivateEvent);
  EXPECT_TRUE(trace.Has("Exception stopped: unknown exception"));
}

// --- Log pass

TEST_F(WorkerTest, LogPass_RefreshesValuesThatRaiseNoEvent) {
  Start();
  Change(1, [](FakeDrive& drive) {
    drive.temperature = 41;
    drive.percentageUsed = 7;
    drive.unitsRead = "10";
    drive.unitsWritten = "20";
    drive.hours = "30";
    drive.spare = 90;
    drive.spareThreshold = 11;
    drive.mediaErrors = "5";
  });
  machine.tool.ClearCalls();
  LogPass();
  guest->DeInitialize();
  const auto& adapter = Plugin().m_Adapters[1];
  EXPECT_FLOAT_EQ(adapter.Temperature, 41.0F);
  EXPECT_EQ(adapter.PercentageUsed, 7U);
  EXPECT_EQ(adapter.DataUnitsRead, 16UL);
  EXPECT_EQ(adapter.DataUnitsWritten, 32UL);
  EXPECT_EQ(adapter.PowerOnHours, 48UL);
  EXPECT_EQ(adapter.ReserveSpace, 90U);
  EXPECT_EQ(adapter.WarningThreshold, 11U);
  EXPECT_EQ(adapter.StatusWord3, 5UL);
  EXPECT_TRUE(adapter.RowIsStale);
  EXPECT_FLOAT_EQ(Plugin().m_PhysicalDrives[1].Temperature, 41.0F);
  EXPECT_FALSE(Plugin().m_Adapters[0].RowIsStale);
  EXPECT_TRUE(Plugin().m_Events.empty());
  EXPECT_EQ(machine.tool.CountCalls("SmartHealthInfo") % 2, 0U);
}

TEST_F(WorkerTest, LogPass_ThatSeesAWarning_LetsTheScanRaiseItAtOnce) {
  Start();
  Change(0, [](FakeDrive& drive) { drive.warnings = 4; });
  LogPass();
  ASSERT_TRUE(Eventually([this] { return trace.Has("Before ScanSystem()"); }));
  std::vector<unsigned int> events;
  EXPECT_TRUE(Eventually([&] {
    for (const unsigned int id : IdsOf(guest->FetchEvents())) events.push_back(id);
    return !events.empty();
  }));
  EXPECT_THAT(events, ElementsAre(PI::EVENT_RELIABILITY_DEGRADED));
}

TEST_F(WorkerTest, LogPass_ThatFindsDrivesRenumbered_ScansInTheSameWakeUp) {
  Start();
  Plugin().m_Adapters[0].ToolIndex = 77;
  LogPass();
  guest->DeInitialize();
  const std::vector<std::string> lines = WorkerLines(8 | 16);
  const auto scan = std::find(lines.begin(), lines.end(), "Before ScanSystem()");
  ASSERT_NE(scan, lines.end());
  EXPECT_EQ(std::count(lines.begin(), scan, RELEASE_DATA), 0);
  EXPECT_EQ(Plugin().m_Adapters[0].ToolIndex, 0);  // and it does not happen again
  EXPECT_EQ(std::count(lines.begin(), lines.end(), "Before ScanSystem()"), 1);
}

// Two drives have swapped their indexes since the scan: each index still answers, with the other
// drive's values.
TEST_F(WorkerTest, LogPass_WhoseAnswerNamesAnotherDrive_CopiesNothingAndScans) {
  Change(0, [](FakeDrive& drive) { drive.hours = "A"; });
  Change(1, [](FakeDrive& drive) { drive.hours = "B"; });
  Start();
  machine.tool.Change(
      [](std::vector<FakeDrive>& drives) { std::swap(drives.at(0).index, drives.at(1).index); });
  std::vector<unsigned long> hoursBeforeTheScan;
  machine.tool.SetHook([&](const std::string& arguments) {
    if (arguments != "show -all -o json -torvex" || !hoursBeforeTheScan.empty()) return;
    for (const auto& adapter : Plugin().m_Adapters) {  // the worker's thread, which holds the lock
      hoursBeforeTheScan.push_back(adapter.PowerOnHours);
    }
  });
  LogPass();
  guest->DeInitialize();
  EXPECT_THAT(hoursBeforeTheScan, ElementsAre(10UL, 11UL));
  EXPECT_EQ(Plugin().m_Adapters[0].PowerOnHours, 10UL);
  EXPECT_EQ(Plugin().m_Adapters[1].PowerOnHours, 11UL);
  EXPECT_EQ(Plugin().m_Adapters[0].ToolIndex, 1);
  EXPECT_EQ(Plugin().m_Adapters[1].ToolIndex, 0);
  EXPECT_TRUE(Plugin().m_Events.empty());
}

TEST_F(WorkerTest, LogPass_OverARecordThatFailsHalfWay_LeavesItAndGoesOn) {
  Start();
  for (const std::size_t drive : {0U, 1U}) {
    Change(drive, [](FakeDrive& each) { each.temperature = 51, each.hours = "65"; });
  }
  machine.tool.SetHook([](const std::string& arguments) {
    if (arguments == "show -o json -torvex 0 -nvmelog TemperatureStatistics") {
      throw std::runtime_error("the first log is read");
    }
  });
  LogPass();
  guest->DeInitialize();
  EXPECT_FLOAT_EQ(Plugin().m_Adapters[0].Temperature, 30.0F);
  EXPECT_EQ(Plugin().m_Adapters[0].PowerOnHours, 100UL);
  EXPECT_EQ(Plugin().m_ToolRecords[0].Health.PowerOnHours, 100UL);
  EXPECT_FLOAT_EQ(Plugin().m_Adapters[1].Temperature, 51.0F);
  EXPECT_EQ(Plugin().m_ToolRecords[1].Health.PowerOnHours, 101UL);
}

TEST_F(WorkerTest, LogPass_GivesTheTemperatureToTheFirstDriveOfThatPosition) {
  Start();
  {
    const TLX::Threading::Native_OS::CFastMutexGuard guard(Plugin().m_DataLock);
    Plugin().m_PhysicalDrives[0].DriveNumber = 1;  // and so is the second
  }
  Change(0, [](FakeDrive& drive) { drive.temperature = 40; });
  Change(1, [](FakeDrive& drive) { drive.temperature = 41; });
  LogPass();
  guest->DeInitialize();
  EXPECT_FLOAT_EQ(Plugin().m_Adapters[0].Temperature, 40.0F);
  EXPECT_FLOAT_EQ(Plugin().m_Adapters[1].Temperature, 41.0F);
  EXPECT_FLOAT_EQ(Plugin().m_PhysicalDrives[0].Temperature, 41.0F);
  EXPECT_FLOAT_EQ(Plugin().m_PhysicalDrives[1].Temperature, 30.0F);
}

TEST_F(WorkerTest, LogPass_WithoutRecords_DoesNothing) {
  Start();
  machine.tool.FailInventory(true);
  Scan();
  machine.tool.ClearCalls();
  trace.Clear();
  LogPass();
  guest->DeInitialize();
  EXPECT_THAT(machine.tool.Calls(), IsEmpty());
  EXPECT_TRUE(trace.Has(RELEASE_DATA));
  EXPECT_FALSE(trace.Has("Before ScanSystem()"));
}

// From the drive's log to what people see.
TEST_F(WorkerTest, ADriveThatBecomesUnreliable_ShowsInEventRowAndProperties) {
  FrameDatabase database;
  Plugin().m_Database = getDatabasePointer();
  ASSERT_EQ(guest->Initialize(), 0U);
  Start();
  Change(1, [](FakeDrive& drive) { drive.warnings = 4, drive.unreliable = true; });
  Scan();
  const std::vector<PI::CEvent> events = guest->FetchEvents();
  ASSERT_THAT(IdsOf(events), ElementsAre(PI::EVENT_RELIABILITY_DEGRADED, PI::EVENT_DRIVE_CHANGED));
  EXPECT_EQ(events[0].m_PlaceHolder1, "Intel PCIe Device Adapter (SERIAL-B)");
  EXPECT_THAT(database.Column("Adapter", "HealthState"), ElementsAre("40024", "40095"));
  EXPECT_THAT(database.Column("PD", "State"), ElementsAre("40099", "40095"));
  const std::vector<PI::CObject> objects = guest->Topology();
  for (const std::size_t position : {2U, 4U}) {  // the second adapter and its drive
    PI::CProperty state(PI::PROPERTY_HEALTH, false);
    EXPECT_EQ(guest->Call(6, objects.at(position).m_ID, &state), 0U);
    EXPECT_EQ(boost::get<PI::CChoiceData>(state.m_Value).m_Selected, PI::CHOICE_HEALTH_CRITICAL);
  }
}

// By the plug-in's own clock: no earlier; how much later is the machine's business.
TEST_F(WorkerTest, LogPass_PausesASecondAfterEachRecord_FailedOrNot) {
  Start();
  Change(0, [](FakeDrive& drive) { drive.healthFails = true; });
  std::mutex mutex;
  std::vector<unsigned long> asked;
  machine.tool.SetHook([&](const std::string& arguments) {
    if (arguments.find("SmartHealthInfo") == std::string::npos) return;
    const std::lock_guard<std::mutex> guard(mutex);
    asked.push_back(TLX::Misc::now());
  });
  Plugin().PollInterval = 2;
  Plugin().m_PrivateEvent.Set();
  EXPECT_TRUE(Eventually([&] {
    const std::lock_guard<std::mutex> guard(mutex);
    return asked.size() >= 4;
  }));
  guest->DeInitialize();
  machine.tool.SetHook(nullptr);
  EXPECT_GE(asked[1] - asked[0], 1000UL);         // behind the record that failed
  EXPECT_GE(asked[2] - asked[1], 1000UL + 2000);  // behind the last one, and then the interval
}

TEST_F(WorkerTest, ACounterThatIsNoNumber_EndsNeitherPassNorScan) {
  Start();
  Change(0, [](FakeDrive& drive) { drive.temperature = 50, drive.hours = "twelve"; });
  LogPass();
  Scan();
  Scan();
  EXPECT_FLOAT_EQ(Plugin().m_Adapters[0].Temperature, -1.0F);
  EXPECT_EQ(guest->Topology().size(), 5U);
}

TEST_F(WorkerTest, WhatAPassChanged_ReachesTheDatabaseAtTheNextScan) {
  FrameDatabase database;
  Plugin().m_Database = getDatabasePointer();
  ASSERT_EQ(guest->Initialize(), 0U);
  Start();
  Change(0, [](FakeDrive& drive) { drive.temperature = 44; });
  LogPass();
  Scan();
  guest->DeInitialize();
  EXPECT_THAT(database.Column("Adapter", "Temperature"), ElementsAre("44", "30"));
}

TEST(Worker, WithAManagedDriveFirst_ScansEveryTimeAndLives) {
  PluginTrace trace(2 | 16);
  FasterClock clock(50);
  Machine machine;
  machine.AddManagedDrive("MANAGED");
  machine.AddDrive("PLAIN");
  machine.Option("piTorvex.ini", "PollInterval=2\n");
  machine.Option("CustomOpOpts.ini", "IntelPCIeTopologologyRefreshRate=1000000000\n");
  Guest guest;
  ASSERT_EQ(guest.Initialize(), 0U);
  guest.SetAdapterIDs();
  EXPECT_TRUE(Eventually([&trace] { return trace.Count("Before ScanSystem()") >= 3; }));
  EXPECT_EQ(guest.Topology().size(), 3U);
  EXPECT_EQ(guest.DeInitialize(), 0U);
  EXPECT_EQ(guest.Impl().m_AdapterCount, 2UL);  // what the tool reports
}

// The times at which the worker of a machine with one drive begins scans and log passes.
class WakeUpTimes {
 public:
  struct Begin {
    unsigned long time;
    bool isScan;
  };

  explicit WakeUpTimes(Machine& machine) {
    machine.tool.SetHook([this](const std::string& arguments) {
      const bool isInventory = arguments == INVENTORY;
      const bool isHealth = arguments.find(FIRST_LOG) != std::string::npos;
      if (!isInventory && !isHealth) return;
      const std::lock_guard<std::mutex> guard(mutex_);
      if (isInventory || !inScan_) begins_.push_back({TLX::Misc::now(), isInventory});
      inScan_ = isInventory;  // the scan's own health query comes next
    });
  }

  std::vector<Begin> All() const {
    const std::lock_guard<std::mutex> guard(mutex_);
    return begins_;
  }
  std::size_t Count(bool isScan) const {
    const std::vector<Begin> begins = All();
    return static_cast<std::size_t>(
        std::count_if(begins.begin(), begins.end(),
                      [isScan](const Begin& begin) { return begin.isScan == isScan; }));
  }

 private:
  mutable std::mutex mutex_;
  std::vector<Begin> begins_;
  bool inScan_ = false;
};

// No wake-up comes before its interval has passed, which begins after the pass and its pause; no
// scan before the refresh interval has.
void ExpectPaced(const std::vector<WakeUpTimes::Begin>& begins, unsigned long poll,
                 unsigned long refresh) {
  ASSERT_FALSE(begins.empty());
  EXPECT_TRUE(begins.front().isScan);
  unsigned long lastScan = 0;
  for (std::size_t i = 0; i < begins.size(); ++i) {
    if (i != 0) {
      EXPECT_GE(begins[i].time - begins[i - 1].time, poll + (begins[i - 1].isScan ? 0U : 1000U));
    }
    if (!begins[i].isScan) continue;
    EXPECT_GT(begins[i].time - lastScan, refresh);
    lastScan = begins[i].time;
  }
}

TEST(Worker, OnShortIntervals_PassesBetweenScans) {
  FasterClock clock(100);
  Machine machine;
  machine.AddDrive("SERIAL");
  machine.Option("piTorvex.ini", "PollInterval=2\n");
  machine.Option("CustomOpOpts.ini", "IntelPCIeTopologologyRefreshRate=9000\n");
  Guest guest;
  ASSERT_EQ(guest.Initialize(), 0U);
  const WakeUpTimes times(machine);
  guest.SetAdapterIDs();
  // A wake-up every three seconds or somewhat more: 2 s wait, 1 s pass.
  ASSERT_TRUE(Eventually([&times] { return times.Count(true) >= 3 && times.Count(false) >= 2; }));
  guest.DeInitialize();
  ExpectPaced(times.All(), 2000, 9000);
}

TEST(Worker, WithoutOptions_WakesUpAndScansEveryHalfMinute) {
  FasterClock clock(1000);
  Machine machine;
  machine.AddDrive("SERIAL");
  Guest guest;
  ASSERT_EQ(guest.Initialize(), 0U);
  const WakeUpTimes times(machine);
  guest.SetAdapterIDs();
  ASSERT_TRUE(Eventually([&times] { return times.Count(true) >= 3; }));
  guest.DeInitialize();
  ExpectPaced(times.All(), 30'000, 30'000);
}

TEST(Worker, WithoutRefreshPause_ScansAtEveryWakeUp) {
  PluginTrace trace(16);
  FasterClock clock(100);
  Machine machine;
  machine.AddDrive("SERIAL");
  machine.Option("piTorvex.ini", "PollInterval=2\n");
  machine.Option("CustomOpOpts.ini", "IntelPCIeTopologologyRefreshRate=0\n");
  Guest guest;
  ASSERT_EQ(guest.Initialize(), 0U);
  guest.SetAdapterIDs();
  EXPECT_TRUE(Eventually([&trace] { return trace.Count("Before ScanSystem()") >= 4; }));
  EXPECT_EQ(trace.Count("Worker GetLogPageInformation()"), 0U);
}

// --- Stopping

TEST_F(WorkerTest, StopRequest_EndsAnIdleWorker) {
  Start();
  EXPECT_EQ(guest->DeInitialize(), 0U);
  const std::vector<std::string> lines = WorkerLines(2 | 4);
  EXPECT_THAT(lines,
              ElementsAre("Worker() something else perhaps m_StopRequest", "LEAVE Worker()"));
  EXPECT_FALSE(trace.Has("Kill Worker"));
}

// Once a worker runs, the adapters are its as well.
TEST_F(WorkerTest, ALaterNumbering_WaitsForTheLock) {
  Start();
  std::atomic<bool> done{false};
  std::thread host;
  {
    const TLX::Threading::Native_OS::CFastMutexGuard busy(Plugin().m_DataLock);
    host = std::thread([this, &done] {
      EXPECT_EQ(guest->SetAdapterIDs(), 0U);
      done = true;
    });
    std::this_thread::sleep_for(std::chrono::milliseconds(30));
    EXPECT_FALSE(done);
    EXPECT_EQ(Plugin().m_HostAdapterIDs.size(), 2U);
  }
  host.join();
  EXPECT_EQ(Plugin().m_HostAdapterIDs.size(), 4U);
}

// Each numbering of the adapters starts a worker; the earlier ones go on beside it.
TEST_F(WorkerTest, SeveralWorkers_ShareTheListsAndEndTogether) {
  Start();
  ASSERT_EQ(guest->SetAdapterIDs(), 0U);
  ASSERT_EQ(guest->SetAdapterIDs(), 0U);
  Plugin().PollInterval = 2;
  for (int round = 0; round < 5; ++round) {
    Change(0, [round](FakeDrive& drive) { drive.warnings = round % 2 == 0 ? 4 : 0; });
    Plugin().m_PrivateEvent.Set();
    Plugin().m_ForceWorker.Set();
    std::vector<unsigned int> ids;
    ASSERT_TRUE(Eventually([&] {
      ids = IdsOf(guest->FetchEvents());
      return !ids.empty();
    }));
    EXPECT_THAT(ids,
                ElementsAre(round % 2 == 0 ? PI::EVENT_RELIABILITY_DEGRADED : PI::EVENT_ALL_CLEAR));
    EXPECT_EQ(guest->Topology().size(), 5U);
  }
  EXPECT_EQ(guest->DeInitialize(), 0U);
  EXPECT_EQ(trace.Count("LEAVE Worker()"), 3U);
  EXPECT_FALSE(trace.Has("Kill Worker"));
}

TEST_F(WorkerTest, StopRequest_EndsAPassBetweenTwoRecords) {
  TLX::Misc::CClock::SetTimeScale(1);  // the pause is a whole second now
  Plugin().PollInterval = 2;
  std::atomic<bool> inPass{false};
  guest->SetAdapterIDs();
  ASSERT_TRUE(Eventually([this] { return WakeUps() >= 1; }));
  machine.tool.SetHook([&inPass](const std::string& arguments) {
    if (arguments.find("-torvex 0") != std::string::npos) inPass = true;
  });
  ASSERT_TRUE(Eventually([&inPass] { return inPass.load(); }));
  machine.tool.ClearCalls();
  guest->DeInitialize();
  EXPECT_EQ(machine.tool.CountCalls("-torvex 1"), 0U);
  EXPECT_EQ(trace.Count("Before ScanSystem()"), 1U);  // the pass asked for no scan
}

TEST_F(WorkerTest, StopRequest_InAScan_MergesNothing) {
  Start();
  Change(1, [](FakeDrive& drive) { drive.warnings = 4; });
  machine.tool.SetHook([this](const std::string& arguments) {
    if (arguments.find("-torvex 0") != std::string::npos) Plugin().m_StopRequest.Set();
  });
  machine.tool.ClearCalls();
  const unsigned long reads = guest->Topology().front().m_ReadCounter;
  Plugin().m_ForceWorker.Set();
  ASSERT_TRUE(Eventually([this] { return trace.Has("LEAVE Worker()"); }));
  EXPECT_EQ(guest->Topology().front().m_ReadCounter, reads + 1);  // a scan that failed counts
  // The run in progress was the last one.
  EXPECT_EQ(machine.tool.CountCalls("-torvex 0"), 1U);
  EXPECT_EQ(machine.tool.CountCalls("-torvex 1"), 0U);
  EXPECT_TRUE(trace.Has("After ScanSystem() ret = 20000"));
  EXPECT_FALSE(trace.Has("Before UpdateSystem()"));
  EXPECT_EQ(Plugin().m_Adapters[1].StatusBits, 0U);
}

// A tool that does not answer; only a cancellation ends it.
void Hang(const std::string&) {
  TLX::Misc::Sleep(1'000'000'000);
}

class HangingTool : public WorkerTest {
 protected:
  void CancelAndUseAgain() {
    ASSERT_TRUE(Eventually([this] { return trace.Has("After m_DataLock.Wait(INFINITE)"); }));
    ASSERT_TRUE(Eventually([this] { return !machine.tool.Calls().empty(); }));
    EXPECT_EQ(guest->DeInitialize(), 0U);
    EXPECT_TRUE(trace.Has("Kill Worker"));
    EXPECT_FALSE(trace.Has("LEAVE Worker()"));
    // A pause, then rounds of half a second until more than 24999 ms have passed.
    EXPECT_GT(TimeOf("Kill Worker") - TimeOf("ENTER DeInitialize"), 100U + 24999U);
    EXPECT_GE(trace.Count(ROUND), 1U);
    EXPECT_LE(trace.Count(ROUND), 51U);
    EXPECT_GE(SmallestGap(ROUND, ROUND), 500U);
    machine.tool.SetHook(nullptr);
    EXPECT_EQ(guest->Topology().size(), 5U);  // the lock is free
    EXPECT_THAT(guest->FetchEvents(), IsEmpty());
    EXPECT_EQ(guest->Initialize(), 0U);
    guest.reset();
    guest = std::make_unique<Guest>();
    EXPECT_EQ(guest->Initialize(), 0U);
  }
};

TEST_F(HangingTool, InAScan_IsCancelledAndThePluginStaysUsable) {
  Start();
  machine.tool.ClearCalls();
  machine.tool.SetHook(Hang);
  Plugin().m_ForceWorker.Set();
  CancelAndUseAgain();
}

TEST_F(HangingTool, InALogPass_IsCancelledAndThePluginStaysUsable) {
  Start();
  machine.tool.ClearCalls();
  machine.tool.SetHook(Hang);
  Plugin().PollInterval = 2;
  Plugin().m_PrivateEvent.Set();
  CancelAndUseAgain();
}

// The two doors that catch everything else must let a cancellation through, or the thread goes on.
TEST_F(HangingTool, InARequestOfAHostThread_IsCancelledWithThatThread) {
  Start();
  ASSERT_EQ(guest->DeInitialize(), 0U);
  std::atomic<bool> inTool{false};
  std::atomic<bool> returned{false};
  machine.tool.SetHook([&inTool](const std::string&) {
    inTool = true;
    Hang({});
  });
  tlxtest::Running host([&] {
    std::vector<PI::CAdapterID> ids;
    guest->Call(1, 0, &ids);
    returned = true;
  });
  ASSERT_TRUE(Eventually([&inTool] { return inTool.load(); }));
  EXPECT_TRUE(host.Cancel());
  EXPECT_FALSE(returned);
  machine.tool.SetHook(nullptr);
  EXPECT_EQ(guest->Initialize(), 0U);  // the lock is free
}

TEST_F(WorkerTest, CallbackThatHangs_IsCancelledWithTheWorker) {
  std::atomic<bool> isCalled{false};
  Start();
  listener.action = [&isCalled](IPLUGINAPI*) {
    isCalled = true;
    Hang({});
  };
  Plugin().m_PrivateEvent.Set();
  ASSERT_TRUE(Eventually([&isCalled] { return isCalled.load(); }));
  EXPECT_EQ(guest->DeInitialize(), 0U);
  EXPECT_TRUE(trace.Has("Kill Worker"));
  EXPECT_EQ(Plugin().m_WorkerThread->Wait(0), TLX::Threading::WAIT_ACQUIRED);
  EXPECT_FALSE(trace.Has("LEAVE Worker()"));
  EXPECT_EQ(guest->Topology().size(), 5U);
}

// The system's own points of cancellation mean nothing: what is being written is written whole.
TEST_F(WorkerTest, Cancellation_DoesNotStrikeInTheDatabase) {
  FrameDatabase database;
  Plugin().m_Database = getDatabasePointer();
  ASSERT_EQ(guest->Initialize(), 0U);
  Start();
  std::atomic<bool> isWriting{false};
  database.FailWhen([&](const std::string& statement) {
    if (!isWriting && statement.find("UPDATE Adapter") != std::string::npos) {
      isWriting = true;
      Eventually([this] { return trace.Has("Kill Worker"); });
      std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    return false;
  });
  Change(0, [](FakeDrive& drive) { drive.temperature = 44; });
  Change(1, [](FakeDrive& drive) { drive.temperature = 45; });
  Plugin().m_ForceWorker.Set();
  ASSERT_TRUE(Eventually([&isWriting] { return isWriting.load(); }));
  EXPECT_EQ(guest->DeInitialize(), 0U);
  EXPECT_EQ(Plugin().m_WorkerThread->Wait(0), TLX::Threading::WAIT_ACQUIRED);
  EXPECT_FALSE(trace.Has("LEAVE Worker()"));  // it was struck at its next wait
  EXPECT_THAT(database.Column("Adapter", "Temperature"), ElementsAre("44", "45"));
  EXPECT_THAT(database.Column("PD", "Temperature"), ElementsAre("44", "45"));
}

// A tool that answers when it is told to.
class SlowTool : public WorkerTest {
 protected:
  ~SlowTool() override { release_ = true; }

  // Makes the worker wake up and waits until it waits for the tool.
  void HoldIn(TLX::Threading::CEvent& event) {
    machine.tool.SetHook([this](const std::string&) {
      inTool_ = true;
      Eventually([this] { return release_.load(); });
    });
    event.Set();
    ASSERT_TRUE(Eventually([this] { return inTool_.load(); }));
  }
  void HoldInScan() { HoldIn(Plugin().m_ForceWorker); }
  void HoldInLogPass() {
    Plugin().PollInterval = 2;
    HoldIn(Plugin().m_PrivateEvent);
    EXPECT_FALSE(trace.Has("Before ScanSystem()"));
  }

  // Sends every request that waits for the objects, each from a thread of its own, and lets the
  // tool answer. No request may be answered before.
  void ExpectRequestsToWait() {
    std::atomic<int> answered{0};
    std::vector<std::thread> hosts;
    for (unsigned int command = 4; command <= 10; ++command) {
      hosts.emplace_back([this, command, &answered] {
        Ask(command);
        ++answered;
      });
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(30));
    EXPECT_EQ(answered, 0);
    release_ = true;
    for (std::thread& host : hosts) host.join();
    EXPECT_EQ(answered, 7);
  }

  // Whether the member that fetches events, called past the door, is answered while the tool is
  // not.
  bool FetchesEventsMeanwhile() {
    std::atomic<bool> answered{false};
    std::thread host([this, &answered] {
      PI::COperation operation;
      EXPECT_EQ(Plugin().GetEvents(Plugin().m_Plugin, operation), 0U);
      answered = true;
    });
    const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(100);
    while (!answered && std::chrono::steady_clock::now() < end) std::this_thread::yield();
    const bool meanwhile = answered;
    release_ = true;
    host.join();
    return meanwhile;
  }

 private:
  void Ask(unsigned int command) {
    constexpr unsigned long PLUGIN = 0x0135000000000000UL;
    constexpr unsigned long ADAPTER = PLUGIN + 1;
    std::vector<PI::CObject> objects;
    std::vector<PI::CProperty> properties;
    std::vector<PI::COperation> operations;
    PI::CProperty serial(PI::PROPERTY_SERIAL_NUMBER, false);
    PI::COperation fetch;
    fetch.SetOperationID(PI::OPERATION_FETCH_EVENTS);
    switch (command) {
      case 4:
        EXPECT_EQ(guest->Call(4, 0, &objects), 0U);
        EXPECT_EQ(objects.size(), 5U);
        break;
      case 5:
        EXPECT_EQ(guest->Call(5, ADAPTER, &properties), 0U);
        EXPECT_EQ(properties.size(), 28U);
        break;
      case 6:
        EXPECT_EQ(guest->Call(6, ADAPTER, &serial), 0U);
        EXPECT_EQ(boost::get<PI::CStringData>(serial.m_Value).m_Value, "SERIAL-A");
        break;
      case 7:
        EXPECT_EQ(guest->Call(7, ADAPTER, &serial), PI::ERR_PROPERTY_NOT_SETTABLE);
        break;
      case 8:
        EXPECT_EQ(guest->Call(8, PLUGIN, &operations), 0U);
        EXPECT_EQ(operations.size(), 1U);
        break;
      default:
        EXPECT_EQ(guest->Call(command, PLUGIN, &fetch), 0U);
        break;
    }
  }

  std::atomic<bool> inTool_{false};
  std::atomic<bool> release_{false};
};

TEST_F(SlowTool, InAScan_KeepsEveryRequestWaiting) {
  Start();
  HoldInScan();
  ExpectRequestsToWait();
}

TEST_F(SlowTool, InALogPass_KeepsEveryRequestWaiting) {
  Start();
  HoldInLogPass();
  ExpectRequestsToWait();
}

TEST_F(SlowTool, InAScan_KeepsTheQueueLocked) {
  Start();
  HoldInScan();
  EXPECT_FALSE(FetchesEventsMeanwhile());
}

TEST_F(SlowTool, InALogPass_LeavesTheQueueFree) {
  Start();
  HoldInLogPass();
  EXPECT_TRUE(FetchesEventsMeanwhile());
}

// --- What goes wrong

TEST_F(WorkerTest, AScanThatThrows_CountsAsDoneAndTheWorkerLives) {
  Start();
  machine.tool.SetHook([](const std::string& arguments) {
    if (arguments == "show -all -o json -torvex") throw std::runtime_error("no memory");
  });
  Scan();
  EXPECT_TRUE(trace.Has("Exception stopped: no memory"));
  machine.tool.SetHook(nullptr);
  EXPECT_EQ(guest->Topology().size(), 5U);  // both locks are free
  EXPECT_THAT(guest->FetchEvents(), IsEmpty());
  // Not repeated until the next one is due.
  trace.Clear();
  LogPass();
  EXPECT_TRUE(trace.Has("Worker() timeout event received"));
  EXPECT_FALSE(trace.Has("Before ScanSystem()"));
  Scan();
}

TEST_F(WorkerTest, AScanThatThrowsNoException_CountsAsDoneAndTheWorkerLives) {
  Start();
  machine.tool.SetHook([](const std::string&) { throw 7; });
  Scan();
  EXPECT_TRUE(trace.Has("Exception stopped: unknown exception"));
  machine.tool.SetHook(nullptr);
  EXPECT_EQ(guest->Topology().size(), 5U);
  Scan();
}

// A worker of its own, over locks of which some were never initialised.
class HalfInitialised : public testing::Test {
 protected:
  HalfInitialised() : trace(2 | 4 | 8) {
    plugin.m_ForceWorker.Init(true, false);
    plugin.m_StopRequest.Init(false, true);
    plugin.m_PrivateEvent.Init(false, false);
    plugin.PollInterval = 255;
  }

  std::vector<std::string> RunOneWakeUp() {
    std::thread worker([this] { plugin.Worker(); });
    EXPECT_TRUE(Eventually([this] { return trace.Has(WAKE_UP_ENDED); }));
    plugin.m_StopRequest.Set();
    worker.join();
    return trace.Texts();
  }

  PluginTrace trace{0};
  Machine machine;
  IPLUGINAPI_IMPL plugin;
};

TEST_F(HalfInitialised, WithoutTheDataLock_SkipsTheWakeUp) {
  EXPECT_THAT(RunOneWakeUp(),
              ElementsAre("ENTER Worker()", "Worker() m_ForceWorker event received, force scan",
                          "Before m_DataLock.Wait(INFINITE)", "After m_DataLock.Wait(INFINITE)",
                          "Worker() before restart interval",
                          "Worker() something else perhaps m_StopRequest", "LEAVE Worker()"));
}

TEST_F(HalfInitialised, WithoutTheEventsLock_GivesTheDataLockBack) {
  plugin.m_DataLock.Init();
  EXPECT_THAT(RunOneWakeUp(),
              ElementsAre("ENTER Worker()", "Worker() m_ForceWorker event received, force scan",
                          "Before m_DataLock.Wait(INFINITE)", "After m_DataLock.Wait(INFINITE)",
                          "Before m_EventsLock.Wait(INFINITE)", "After m_EventsLock.Wait(INFINITE)",
                          "Before m_DataLock.Release ()", "After m_DataLock.Release ()",
                          "Worker() before restart interval",
                          "Worker() something else perhaps m_StopRequest", "LEAVE Worker()"));
  EXPECT_THAT(machine.tool.Calls(), IsEmpty());
}

TEST_F(HalfInitialised, WithoutTheEventsLock_ScansAsSoonAsItIsThere) {
  FasterClock clock(50);
  machine.AddDrive("SERIAL");
  plugin.m_DataLock.Init();
  plugin.PollInterval = 2;
  plugin.m_TopologyRefreshInterval = 1'000'000'000;
  std::thread worker([this] { plugin.Worker(); });
  EXPECT_TRUE(Eventually([this] { return trace.Count(WAKE_UP_ENDED) >= 2; }));
  EXPECT_THAT(machine.tool.Calls(), IsEmpty());
  plugin.m_EventsLock.Init();
  EXPECT_TRUE(Eventually([this] { return trace.Has("LEAVE ScanSystem() -> 0"); }));
  plugin.m_StopRequest.Set();
  worker.join();
}

TEST_F(HalfInitialised, OfSeveralEvents_TheForcedScanComesFirstAndTheStopSecond) {
  plugin.m_PrivateEvent.Set();
  plugin.m_StopRequest.Set();
  EXPECT_THAT(RunOneWakeUp(),
              ElementsAre("ENTER Worker()", "Worker() m_ForceWorker event received, force scan",
                          "Before m_DataLock.Wait(INFINITE)", "After m_DataLock.Wait(INFINITE)",
                          "Worker() before restart interval",
                          "Worker() something else perhaps m_StopRequest", "LEAVE Worker()"));
}

TEST(Worker, WithoutItsEvents_EndsAtOnce) {
  PluginTrace trace(2);
  IPLUGINAPI_IMPL plugin;
  plugin.Worker();
  EXPECT_THAT(trace.Texts(), ElementsAre("ENTER Worker()", "LEAVE Worker()"));
}

}  // namespace
