#include "Frame_fixtures.h"
#include "support/Scale.h"

#include <cstdlib>
#include <new>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <TLX/Delegates_and_Calls/Delegate.h>

// Every allocation of a request, a start-up or a scan refused, one after the other: nothing may
// leave the door but a result, and what was to be told must still be told once there is memory.
// On its own: the program allocates through the functions below.

extern "C" unsigned int createIf(IPLUGINAPI** out);
extern "C" void releaseIf(IPLUGINAPI** in);

namespace {

// Of the calling thread: how many allocations are still granted; below 0 all of them.
thread_local long t_granted = -1;
thread_local bool t_refusesOnce = false;  // the rest is granted again
thread_local bool t_refused = false;

void* Allocate(std::size_t size) noexcept {
  if (t_granted == 0) {
    t_refused = true;
    if (t_refusesOnce) t_granted = -1;
    return nullptr;
  }
  if (t_granted > 0) --t_granted;
  return std::malloc(size == 0 ? 1 : size);
}

}  // namespace

void* operator new(std::size_t size) {
  void* const memory = Allocate(size);
  if (memory == nullptr) throw std::bad_alloc();
  return memory;
}
void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
  return Allocate(size);
}
void operator delete(void* memory) noexcept {
  std::free(memory);
}
void operator delete(void* memory, std::size_t) noexcept {
  std::free(memory);
}
void operator delete(void* memory, const std::nothrow_t&) noexcept {
  std::free(memory);
}

namespace {

using frametest::FakeDrive;
using frametest::FrameDatabase;
using frametest::Guest;
using frametest::Machine;
using testing::AnyOf;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

// Whether memory comes back after the allocation that was refused.
enum class Shortage { Single, Lasting };

// Grants so many allocations to the call and refuses the next. Whether one was refused.
template <class Call>
bool RunShort(long granted, Shortage shortage, const Call& call) {
  t_refused = false;
  t_refusesOnce = shortage == Shortage::Single;
  t_granted = granted;
  try {
    call();
  } catch (...) {
    t_granted = -1;
    throw;
  }
  t_granted = -1;
  return t_refused;
}

// The machine's tool with all the memory it wants: it is another process in life.
class RichTool : public TLXX::ICommandRunner {
 public:
  RichTool() : tool_(*TLXX::CSystem::SetCommandRunner(this)) {}
  ~RichTool() override { TLXX::CSystem::SetCommandRunner(&tool_); }

  int Execute(const std::string& command, const std::string& arguments,
              std::string& output) override {
    const long granted = t_granted;
    t_granted = -1;
    const int result = tool_.Execute(command, arguments, output);
    t_granted = granted;
    ++runs;
    return result;
  }
  int Execute(const std::string& command, const std::string& arguments,
              std::vector<std::string>& lines) override {
    return tool_.Execute(command, arguments, lines);
  }

  int runs = 0;

 private:
  TLXX::ICommandRunner& tool_;
};

class MemoryTest : public testing::TestWithParam<Shortage>,
                   public TLX::Delegates_and_Calls::CDelegateTarget {
 protected:
  MemoryTest() {
    machine.AddDrive("SERIAL-A");
    machine.AddDrive("SERIAL-B");
    guest = std::make_unique<Guest>();
    guest->Api().m_NotifyHost =
        TLX::Delegates_and_Calls::CDelegate<void(IPLUGINAPI*)>(this, &MemoryTest::EndWorker);
  }

  // Has one command refused each of its allocations in turn until it gets through. Its results may
  // be success, a general failure, and the ones given.
  void Shorten(unsigned int command, unsigned long object, const std::function<void*()>& makeData,
               const std::function<void(unsigned int)>& check) {
    bool refused = true;
    for (long granted = 0; refused; ++granted) {
      void* const data = makeData();
      unsigned int result = 0;
      refused = RunShort(granted, GetParam(), [&] { result = guest->Call(command, object, data); });
      check(result);
    }
  }

  // A wake-up of the worker for a forced scan, on this thread. The notification ends it.
  void WakeUp() {
    auto& plugin = guest->Impl();
    plugin.m_StopRequest.Reset();
    plugin.m_ForceWorker.Set();
    plugin.m_PrivateEvent.Set();  // notifies behind the scan when the scan does not
    plugin.Worker();
    plugin.m_StopRequest.Reset();
    plugin.m_PrivateEvent.Reset();
  }

  // The same with so many allocations. Whether one was refused. Before its first wake-up the worker
  // may end for want of memory.
  bool WakeUpShort(long granted) {
    tool.runs = 0;
    return RunShort(granted, GetParam(), [this] {
      try {
        WakeUp();
      } catch (const std::bad_alloc&) {
        t_granted = -1;
        EXPECT_EQ(tool.runs, 0) << "the worker has ended";
      }
    });
  }

  // What the host and the database see must agree.
  void CheckMirror() {
    const std::vector<PI::CObject> objects = guest->Topology();
    std::vector<unsigned long> children;
    std::vector<std::string> serials;
    for (const PI::CObject& object : objects) {
      if (object.m_Type != PI::OBJECT_TYPE_ADAPTER) continue;
      children.push_back(object.m_ID);
      serials.push_back(frametest::TextOf(object, PI::PROPERTY_SERIAL_NUMBER));
      EXPECT_THAT(
          database.Column("Adapter", "HealthState", "SerialNumber = '" + serials.back() + "'"),
          ElementsAre(
              std::to_string(boost::get<PI::CChoiceData>(
                                 frametest::PropertyOf(object, PI::PROPERTY_HEALTH)->m_Value)
                                 .m_Selected)));
    }
    EXPECT_EQ(objects.front().m_ChildIDs, children);
    EXPECT_EQ(objects.size(), 1 + 2 * children.size());
    EXPECT_THAT(database.Column("Adapter", "SerialNumber"),
                testing::UnorderedElementsAreArray(serials));
  }

  FrameDatabase database;
  Machine machine;
  RichTool tool;
  std::unique_ptr<Guest> guest;

 private:
  void EndWorker(IPLUGINAPI*) { guest->Impl().m_StopRequest.Set(); }
};

INSTANTIATE_TEST_SUITE_P(Shortages, MemoryTest,
                         testing::Values(Shortage::Single, Shortage::Lasting),
                         [](const auto& info) {
                           return info.param == Shortage::Single ? "Single" : "Lasting";
                         });

TEST_P(MemoryTest, CreateIf_GivesAnObjectOrSaysThatThereIsNoMemory) {
  bool refused = true;
  for (long granted = 0; refused; ++granted) {
    int anything = 0;
    auto* api = reinterpret_cast<IPLUGINAPI*>(&anything);
    unsigned int result = 0;
    refused = RunShort(granted, GetParam(), [&] { result = createIf(&api); });
    EXPECT_EQ(result == 0, api != nullptr);
    EXPECT_THAT(result, AnyOf(PI::SUCCESS, PI::ERR_OUT_OF_MEMORY));
    EXPECT_TRUE(refused || result == 0);
    releaseIf(&api);
  }
}

TEST_P(MemoryTest, Initialize_FailsWithAResultAndCanBeRepeated) {
  bool refused = true;
  testing::internal::CaptureStdout();
  for (long granted = 0; refused; granted += refused ? vxtest::Count(5, 1) : 1) {
    std::vector<PI::CAdapterID> ids;
    unsigned int result = 0;
    refused = RunShort(granted, GetParam(), [&] { result = guest->Initialize(ids); });
    // An inventory or a scan without memory reads like one without drives.
    EXPECT_THAT(result, AnyOf(PI::SUCCESS, PI::ERR_GENERAL_FAILURE, PI::ERR_NO_SUPPORTED_HARDWARE,
                              PI::ERR_API_INITIALIZATION_FAILED));
    EXPECT_THAT(ids, SizeIs(result == 0 ? 2 : 0));
  }
  EXPECT_EQ(guest->Initialize(), 0U);
  testing::internal::GetCapturedStdout();
  EXPECT_THAT(guest->Topology(), SizeIs(5));
  const TLX::Threading::Native_OS::CFastMutexGuard guard(guest->Impl().m_DataLock);
  EXPECT_EQ(guard.Result(), TLX::Threading::WAIT_ACQUIRED);
}

TEST_P(MemoryTest, Requests_GiveTheirResultOrAGeneralFailureAndNothingHalf) {
  ASSERT_EQ(guest->Initialize(), 0U);
  const unsigned long plugin = guest->PluginId();
  const unsigned long adapter = guest->Impl().m_Adapters.front().m_ID;
  const auto succeedsOrFails = [](unsigned int result) {
    EXPECT_THAT(result, AnyOf(PI::SUCCESS, PI::ERR_GENERAL_FAILURE));
  };

  std::vector<PI::CObject> objects;
  Shorten(
      4, 0, [&] { return &objects; },
      [&](unsigned int result) {
        succeedsOrFails(result);
        EXPECT_THAT(objects, SizeIs(result == 0 ? 5 : 0));
      });
  std::vector<PI::CProperty> properties;
  Shorten(
      5, adapter, [&] { return &properties; },
      [&](unsigned int result) {
        succeedsOrFails(result);
        EXPECT_THAT(properties, SizeIs(result == 0 ? 28 : 0));
      });
  PI::CProperty property;
  Shorten(
      6, adapter,
      [&] {
        property = PI::CProperty(PI::PROPERTY_MODEL, false);
        return &property;
      },
      [&](unsigned int result) {
        succeedsOrFails(result);
        if (result == 0) return;
        EXPECT_EQ(property.m_LabelID, 1U);  // nothing of the record is touched
        EXPECT_EQ(property.m_Value.which(), 0);
      });
  EXPECT_EQ(boost::get<PI::CStringData>(property.m_Value).m_Value, "INTEL SSDPE2KX020T8");
  property = PI::CProperty(PI::PROPERTY_POLL_INTERVAL, true);
  property.SetValue(60, 2, 255, 1U);
  Shorten(
      7, plugin, [&] { return &property; }, succeedsOrFails);
  EXPECT_EQ(guest->Impl().PollInterval.load(), 60U);
  std::vector<PI::COperation> operations;
  Shorten(
      8, plugin, [&] { return &operations; },
      [&](unsigned int result) {
        succeedsOrFails(result);
        EXPECT_THAT(operations, SizeIs(result == 0 ? 1 : 0));
      });
}

TEST_P(MemoryTest, EventFetch_LosesNoEventAndTellsNoneTwice) {
  ASSERT_EQ(guest->Initialize(), 0U);
  const unsigned long plugin = guest->PluginId();
  bool refused = true;
  for (long granted = 0; refused; ++granted) {
    guest->Impl().m_Events.emplace_back(PI::EVENT_ADAPTER_ADDED, PI::SEVERITY_INFORMATION,
                                        PI::EVENT_OBJECT_ADAPTERS, 1,
                                        "a name too long for the short form");
    guest->Impl().m_Events.emplace_back(PI::EVENT_ADAPTER_REMOVED, PI::SEVERITY_WARNING,
                                        PI::EVENT_OBJECT_ADAPTERS, 2,
                                        "another name of such a length");
    PI::COperation operation;
    operation.SetOperationID(PI::OPERATION_FETCH_EVENTS);
    unsigned int result = 0;
    refused = RunShort(granted, GetParam(), [&] { result = guest->Call(10, plugin, &operation); });
    EXPECT_THAT(result, AnyOf(PI::SUCCESS, PI::ERR_GENERAL_FAILURE));
    std::vector<unsigned int> told;
    if (result == 0) told = frametest::IdsOf(operation.m_Events);
    for (const unsigned int id : frametest::IdsOf(guest->FetchEvents())) told.push_back(id);
    EXPECT_THAT(told, ElementsAre(PI::EVENT_ADAPTER_ADDED, PI::EVENT_ADAPTER_REMOVED)) << granted;
  }
}

TEST_P(MemoryTest, SetAdapterIDs_CanBeRepeated) {
  frametest::FasterClock clock(1000);
  ASSERT_EQ(guest->Initialize(), 0U);
  bool refused = true;
  for (long granted = 0; refused; ++granted) {
    unsigned int result = 0;
    refused = RunShort(granted, GetParam(), [&] { result = guest->SetAdapterIDs(); });
    EXPECT_THAT(result, AnyOf(PI::SUCCESS, PI::ERR_GENERAL_FAILURE));
    EXPECT_EQ(guest->DeInitialize(), 0U);
    database.Run("DELETE FROM Adapter");  // or each round would have more rows to look through
    ASSERT_EQ(guest->Initialize(), 0U);
  }
  EXPECT_THAT(guest->Topology(), SizeIs(5));
}

TEST_P(MemoryTest, AScanOfANewWarning_TellsItOnceAndWritesItsRow) {
  ASSERT_EQ(guest->Initialize(), 0U);
  bool refused = true;
  bool warned = false;
  for (long granted = 0; refused; granted += refused ? vxtest::Count(7, 1) : 1) {
    warned = !warned;
    machine.tool.Change([warned](std::vector<FakeDrive>& drives) {
      drives[1].warnings = warned ? 4 : 0;
      drives[1].unreliable = warned;
    });
    refused = WakeUpShort(granted);
    WakeUp();
    // A health query without memory is a failed one, after which all looks clear.
    const std::vector<unsigned int> events = frametest::IdsOf(guest->FetchEvents());
    const std::vector<unsigned int> expected = {
        warned ? PI::EVENT_RELIABILITY_DEGRADED : PI::EVENT_ALL_CLEAR, PI::EVENT_DRIVE_CHANGED};
    EXPECT_THAT(events, ElementsAre(expected[0], expected[1])) << granted;
    CheckMirror();
  }
}

TEST_P(MemoryTest, AScanOfAPulledDrive_TellsItOnceAndDeletesItsRow) {
  ASSERT_EQ(guest->Initialize(), 0U);
  FakeDrive pulled;
  bool refused = true;
  for (long granted = 0; refused; granted += refused ? vxtest::Count(7, 1) : 1) {
    machine.tool.Change([&pulled](std::vector<FakeDrive>& drives) {
      pulled = drives.back();
      drives.pop_back();
    });
    refused = WakeUpShort(granted);
    WakeUp();
    EXPECT_THAT(frametest::IdsOf(guest->FetchEvents()),
                testing::Contains(PI::EVENT_ADAPTER_REMOVED).Times(1))
        << granted;
    CheckMirror();
    machine.tool.Change([&pulled](std::vector<FakeDrive>& drives) { drives.push_back(pulled); });
    WakeUp();
    EXPECT_THAT(frametest::IdsOf(guest->FetchEvents()), ElementsAre(PI::EVENT_ADAPTER_ADDED))
        << granted;
    CheckMirror();
  }
}

}  // namespace
