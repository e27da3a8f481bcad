#include "Frame_fixtures.h"
#include "support/Scale.h"

#include <algorithm>
#include <atomic>
#include <map>
#include <set>
#include <thread>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using frametest::Eventually;
using frametest::FakeDrive;
using frametest::FasterClock;
using frametest::Guest;
using frametest::Machine;
using testing::ElementsAre;

constexpr const char* INVENTORY = "show -all -o json -torvex";
constexpr unsigned int EVERY_EVENT_BIT = 0x10 | 0x04 | 0x40 | 0x80 | 0x20 | 0x200 | 0x01;

// What one adapter told in one scan.
struct Report {
  unsigned long object;
  unsigned long time;
  bool operator<(const Report& other) const {
    return std::tie(object, time) < std::tie(other.object, other.time);
  }
};
using Reports = std::map<Report, std::vector<unsigned int>>;

void Add(const std::vector<PI::CEvent>& events, Reports& reports) {
  for (const PI::CEvent& event : events) {
    reports[{event.m_ObjectID, event.m_Time}].push_back(event.m_EventID);
  }
}

// Of each of so many drives the first report tells every bit, the next one that all is clear, and
// so on.
void ExpectSetAndClearedInTurn(const Reports& reports, std::size_t drives) {
  std::map<unsigned long, bool> wasSet;
  for (const auto& [report, ids] : reports) {
    bool& set = wasSet[report.object];
    set = !set;  // sorted by time
    if (set) {
      EXPECT_THAT(ids, ElementsAre(PI::EVENT_BACKUP_FAILED, PI::EVENT_RELIABILITY_DEGRADED,
                                   PI::EVENT_TEMPERATURE_HIGH, PI::EVENT_TEMPERATURE_SHUTDOWN,
                                   PI::EVENT_TEMPERATURE_WARNING, PI::EVENT_TEMPERATURE_ABOVE_LIMIT,
                                   PI::EVENT_SPARE_LOW));
    } else {
      EXPECT_THAT(ids, ElementsAre(PI::EVENT_ALL_CLEAR));
    }
  }
  EXPECT_EQ(wasSet.size(), drives);
}

// The worker sets all seven bits of every drive, clears them in the next scan, and so on; four host
// threads fetch what it tells. A scan's reports of an adapter share one time, and the scans are two
// seconds of the plug-in's clock apart.
TEST(Events, FetchedByFourThreads_ArriveOnceAndInOrder) {
  constexpr int DRIVES = 16;
  const auto wanted = static_cast<std::size_t>(vxtest::Count(4'000, 20'000));
  FasterClock clock(2000);
  Machine machine;
  for (int i = 0; i < DRIVES; ++i) machine.AddDrive("SERIAL-" + std::to_string(i));
  machine.Option("piTorvex.ini", "PollInterval=2\n");
  machine.Option("CustomOpOpts.ini", "IntelPCIeTopologologyRefreshRate=0\n");
  Guest guest;
  ASSERT_EQ(guest.Initialize(), 0U);
  const unsigned long plugin = guest.PluginId();
  std::atomic<int> scans{0};
  machine.tool.SetHook([&](const std::string& arguments) {
    if (arguments != INVENTORY) return;
    const int warnings = ++scans % 2 == 1 ? static_cast<int>(EVERY_EVENT_BIT) : 0;
    machine.tool.Change([warnings](std::vector<FakeDrive>& drives) {
      for (FakeDrive& drive : drives) drive.warnings = warnings;
    });
  });
  guest.SetAdapterIDs();

  std::atomic<std::size_t> fetched{0};
  std::atomic<bool> done{false};
  std::vector<Reports> byThread(4);
  std::vector<std::thread> hosts;
  for (Reports& reports : byThread) {
    hosts.emplace_back([&] {
      while (!done) {
        PI::COperation operation;
        operation.SetOperationID(PI::OPERATION_FETCH_EVENTS);
        if (guest.Call(10, plugin, &operation) != 0) return;
        Add(operation.m_Events, reports);
        fetched += operation.m_Events.size();
      }
    });
  }
  EXPECT_TRUE(Eventually([&] { return fetched >= wanted; }));
  done = true;
  for (std::thread& host : hosts) host.join();
  TLX::Misc::CClock::SetTimeScale(1);
  guest.DeInitialize();
  Reports all;
  Add(guest.FetchEvents(), all);  // what came after the threads had ended
  for (const Reports& reports : byThread) {
    for (const auto& [report, ids] : reports) {
      EXPECT_TRUE(all.emplace(report, ids).second) << "told to two threads";
    }
  }
  ExpectSetAndClearedInTurn(all, DRIVES);
  // Every scan that was merged has told its part: the last one may have been stopped.
  EXPECT_GE(all.size(), static_cast<std::size_t>(DRIVES * (scans - 1)));
  EXPECT_LE(all.size(), static_cast<std::size_t>(DRIVES * scans));
}

// An interface object without a worker, with one event queued, and a thread that fetches it.
class EventFetch : public testing::Test {
 protected:
  EventFetch() {
    plugin.m_DataLock.Init();
    plugin.m_EventsLock.Init();
    plugin.m_Events.emplace_back(PI::EVENT_ADAPTER_ADDED, PI::SEVERITY_INFORMATION,
                                 PI::EVENT_OBJECT_ADAPTERS, 1, "queued");
  }
  ~EventFetch() override {
    if (host.joinable()) host.join();
  }

  void Fetch() {
    host = std::thread([this] {
      plugin.GetEvents(plugin.m_Plugin, operation);
      done = true;
    });
  }
  bool IsDone() const { return done; }

  frametest::IPLUGINAPI_IMPL plugin;
  PI::COperation operation;
  std::atomic<bool> done{false};
  std::thread host;
};

TEST_F(EventFetch, WaitsForTheEventsLock) {
  vxtest::PluginTrace trace(8);
  static_cast<void>(plugin.m_EventsLock.Wait(TLX::Threading::WAIT_INFINITE));
  Fetch();
  EXPECT_TRUE(Eventually([&trace] { return trace.Has("Before m_EventsLock.Wait(INFINITE)"); }));
  std::this_thread::sleep_for(std::chrono::milliseconds(30));
  EXPECT_FALSE(IsDone());
  EXPECT_FALSE(trace.Has("After m_EventsLock.Wait(INFINITE)"));
  plugin.m_EventsLock.Release();
  EXPECT_TRUE(Eventually([this] { return IsDone(); }));
  host.join();
  EXPECT_EQ(operation.m_Events.size(), 1U);
}

// A log pass holds the data lock; the fetch itself does not ask for it.
TEST_F(EventFetch, DoesNotWaitForTheDataLock) {
  static_cast<void>(plugin.m_DataLock.Wait(TLX::Threading::WAIT_INFINITE));
  Fetch();
  EXPECT_TRUE(Eventually([this] { return IsDone(); }));
  plugin.m_DataLock.Release();
  host.join();
  EXPECT_EQ(operation.m_Events.size(), 1U);
}

// What must hold for every topology that the host gets.
void CheckTopology(const std::vector<PI::CObject>& objects) {
  ASSERT_FALSE(objects.empty());
  EXPECT_EQ(objects.front().m_Type, PI::OBJECT_TYPE_PLUGIN);
  EXPECT_EQ(objects.front().m_Operations.size(), 1U);
  std::vector<unsigned long> adapterIds;
  std::set<unsigned long> ids;
  std::multiset<std::string> adapterSerials;
  std::multiset<std::string> driveSerials;
  for (const PI::CObject& object : objects) {
    EXPECT_TRUE(ids.insert(object.m_ID).second);
    if (object.m_Type == PI::OBJECT_TYPE_ADAPTER) {
      adapterIds.push_back(object.m_ID);
      adapterSerials.insert(frametest::TextOf(object, PI::PROPERTY_SERIAL_NUMBER));
      EXPECT_THAT(object.m_ParentIDs, ElementsAre(objects.front().m_ID));
    } else if (object.m_Type == PI::OBJECT_TYPE_PHYSICAL_DRIVE) {
      driveSerials.insert(frametest::TextOf(object, PI::PROPERTY_SERIAL_NUMBER));
    }
  }
  EXPECT_EQ(objects.front().m_ChildIDs, adapterIds);
  EXPECT_EQ(adapterSerials, driveSerials);
  EXPECT_EQ(std::set<std::string>(adapterSerials.begin(), adapterSerials.end()).size(),
            adapterSerials.size());
}

// Every request once, with whatever objects there are.
void AskEverything(Guest& guest) {
  const std::vector<PI::CObject> objects = guest.Topology();
  CheckTopology(objects);
  for (const PI::CObject& object : objects) {
    std::vector<PI::CProperty> properties;
    std::vector<PI::COperation> operations;
    PI::CProperty property(PI::PROPERTY_NAME, false);
    PI::COperation operation;
    operation.SetOperationID(PI::OPERATION_DRIVE);
    guest.Call(5, object.m_ID, &properties);
    guest.Call(6, object.m_ID, &property);
    guest.Call(7, object.m_ID, &property);
    guest.Call(8, object.m_ID, &operations);
    guest.Call(9, object.m_ID, &operation);
    guest.Call(10, object.m_ID, &operation);
  }
  guest.FetchEvents();
}

TEST(Requests, FromEightThreadsDuringScansOfAChangingFleet_SeeWholeLists) {
  FasterClock clock(500);
  Machine machine;
  for (int i = 0; i < 6; ++i) machine.AddDrive("SERIAL-" + std::to_string(i));
  machine.Option("piTorvex.ini", "PollInterval=2\n");
  machine.Option("CustomOpOpts.ini", "IntelPCIeTopologologyRefreshRate=0\n");
  Guest guest;
  ASSERT_EQ(guest.Initialize(), 0U);
  std::atomic<unsigned int> scans{0};
  machine.tool.SetHook([&](const std::string& arguments) {
    if (arguments != INVENTORY) return;
    const unsigned int scan = ++scans;
    machine.tool.Change([scan](std::vector<FakeDrive>& drives) {
      std::rotate(drives.begin(), drives.begin() + 1, drives.end());
      drives.front().temperature = 30 + static_cast<int>(scan % 60);
      drives.back().sectorSize = scan % 3 == 0 ? 4096 : 512;
      // One drive after the other is somebody else's for a while.
      for (std::size_t i = 0; i < drives.size(); ++i) {
        drives[i].model = (scan + i) % 6 < 2 ? "SAMSUNG" : "INTEL SSDPE2KX020T8";
      }
    });
  });
  guest.SetAdapterIDs();

  const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(vxtest::Count(2, 10));
  std::vector<std::thread> hosts;
  for (int i = 0; i < 8; ++i) {
    hosts.emplace_back([&] {
      while (std::chrono::steady_clock::now() < end) AskEverything(guest);
    });
  }
  for (std::thread& host : hosts) host.join();
  EXPECT_GE(scans, 3U);
  TLX::Misc::CClock::SetTimeScale(1);
  EXPECT_EQ(guest.DeInitialize(), 0U);
}

}  // namespace
