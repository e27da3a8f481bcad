#include "Frame_fixtures.h"

#include <atomic>
#include <set>
#include <stdexcept>

#include <dlfcn.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <PI/PluginHelper.h>
#include <TLX/Delegates_and_Calls/Delegate.h>
#include <TLX/Threading/Thread.h>
#include <TLXX/ConfigManager.h>

// What the platform does only once in a blue moon, or never twice alike: this executable stands in
// front of some of its functions.

extern "C" unsigned int createIf(IPLUGINAPI** out);

namespace {

enum class Trouble { None, Known, Unknown };  // what is thrown

Trouble g_Database = Trouble::None;
std::atomic<bool> g_DatabaseHangs{false};
std::atomic<bool> g_DatabaseWasAsked{false};
Trouble g_Properties = Trouble::None;
std::set<std::string> g_Hardware = {"0A54"};
std::vector<std::string> g_HardwareQuestions;
std::atomic<unsigned long> g_Now{0};  // the time at which the clock stands; 0: it runs

void Throw(Trouble trouble) {
  if (trouble == Trouble::Known) throw std::runtime_error("out of luck");
  if (trouble == Trouble::Unknown) throw 4711;
}

template <class Result, class... Args>
Result Forward(const char* symbol, Args... args) {
  return reinterpret_cast<Result (*)(Args...)>(dlsym(RTLD_NEXT, symbol))(args...);
}

}  // namespace

std::shared_ptr<DatabaseWrapper::CHostDatabase> getDatabasePointer() {
  if (g_DatabaseHangs) {
    g_DatabaseWasAsked = true;
    TLX::Misc::Sleep(1'000'000'000);
  }
  Throw(g_Database);
  return nullptr;
}

void PI::CPluginHelper::GenerateCProperty(const _PROPERTY_DESCRIPTION& description,
                                          CProperty& property) {
  Throw(g_Properties);
  Forward<void, const _PROPERTY_DESCRIPTION&, CProperty&>(
      "_ZN2PI13CPluginHelper17GenerateCPropertyERKNS_21_PROPERTY_DESCRIPTIONERNS_9CPropertyE",
      description, property);
}

bool TLXX::CConfigManager::GetLocation(const std::string& vendor, const std::string& device,
                                       unsigned int occurrence, unsigned long&, unsigned long&,
                                       unsigned long&) {
  g_HardwareQuestions.push_back(vendor + ":" + device + " " + std::to_string(occurrence));
  return g_Hardware.count(device) != 0;
}

unsigned long TLX::Misc::now() {
  const unsigned long standing = g_Now;
  return standing != 0 ? standing : Forward<unsigned long>("_ZN3TLX4Misc3nowEv");
}

namespace {

using frametest::Eventually;
using frametest::Guest;
using frametest::IsFree;
using frametest::Machine;
using testing::ElementsAre;
using testing::IsEmpty;
using vxtest::PluginTrace;

TEST(EntryPoints, CreateIf_WhoseConstructorThrows_StoresNullAndLetsNothingOut) {
  for (const Trouble trouble : {Trouble::Known, Trouble::Unknown}) {
    int anything = 0;
    auto* api = reinterpret_cast<IPLUGINAPI*>(&anything);
    g_Database = trouble;
    unsigned int result = 0;
    EXPECT_NO_THROW(result = createIf(&api));
    g_Database = Trouble::None;
    EXPECT_EQ(result, PI::ERR_OUT_OF_MEMORY);
    EXPECT_EQ(api, nullptr);
  }
}

// Makes a plug-in object on a thread of its own.
class Creator : public TLX::Delegates_and_Calls::CDelegateTarget {
 public:
  TLX::Threading::CThread::CBody Body() { return {this, &Creator::Create}; }

  IPLUGINAPI* api = nullptr;
  std::atomic<bool> returned{false};

 private:
  void Create() {
    createIf(&api);
    returned = true;
  }
};

TEST(EntryPoints, CreateIf_WhoseThreadIsCancelled_EndsItAndStoresNull) {
  PluginTrace trace(2);
  Creator creator;
  g_DatabaseHangs = true;
  TLX::Threading::CThread thread(creator.Body(), 0);
  ASSERT_TRUE(Eventually([] { return g_DatabaseWasAsked.load(); }));
  EXPECT_TRUE(thread.Native().Cancel());
  g_DatabaseHangs = false;
  EXPECT_FALSE(creator.returned);
  EXPECT_EQ(creator.api, nullptr);
  EXPECT_THAT(trace.Texts(), IsEmpty());
}

TEST(Initialize, LooksForTheThreeDevicesInOrderUpToTheFirst) {
  const std::vector<std::string> all = {"8086:0953 1", "8086:0A54 1", "8086:2701 1"};
  const auto asked = [](const std::set<std::string>& present) {
    Machine machine;
    machine.AddDrive("SERIAL");
    Guest guest;
    g_Hardware = present;
    g_HardwareQuestions.clear();
    EXPECT_EQ(guest.Initialize(), present.empty() ? PI::ERR_NO_SUPPORTED_HARDWARE : PI::SUCCESS);
    g_Hardware = {"0A54"};
    return g_HardwareQuestions;
  };
  EXPECT_THAT(asked({"0953", "0A54", "2701"}), ElementsAre(all[0]));
  EXPECT_THAT(asked({"0A54", "2701"}), ElementsAre(all[0], all[1]));
  EXPECT_THAT(asked({"2701"}), ElementsAre(all[0], all[1], all[2]));
  EXPECT_THAT(asked({}), ElementsAre(all[0], all[1], all[2]));
}

TEST(Requests, ThatThrowHalfWay_LeaveAnEmptyListAndFreeLocks) {
  Machine machine;
  machine.AddDrive("SERIAL");
  Guest guest;
  ASSERT_EQ(guest.Initialize(), 0U);
  const unsigned long adapter = guest.Impl().m_Adapters.front().m_ID;
  for (const Trouble trouble : {Trouble::Known, Trouble::Unknown}) {
    std::vector<PI::CObject> objects(3);
    std::vector<PI::CProperty> properties(3);
    PI::CProperty property(PI::PROPERTY_SERIAL_NUMBER, false);
    property.SetValue("mine");
    g_Properties = trouble;
    EXPECT_EQ(guest.Call(4, 0, &objects), PI::ERR_GENERAL_FAILURE);
    EXPECT_EQ(guest.Call(5, adapter, &properties), PI::ERR_GENERAL_FAILURE);
    EXPECT_EQ(guest.Call(6, adapter, &property), PI::ERR_GENERAL_FAILURE);
    g_Properties = Trouble::None;
    EXPECT_THAT(objects, IsEmpty());
    EXPECT_THAT(properties, IsEmpty());
    EXPECT_EQ(boost::get<PI::CStringData>(property.m_Value).m_Value, "mine");
    EXPECT_TRUE(IsFree(guest.Impl().m_DataLock));
  }
}

// With the clock standing at the very end of the interval nothing is due yet.
TEST(Worker, ScansAgain_OnlyOnceMoreThanTheIntervalHasPassed) {
  constexpr unsigned long START = 5'000'000;
  constexpr unsigned long INTERVAL = 1000;
  PluginTrace trace(2 | 16);
  frametest::FasterClock faster(50);
  Machine machine;
  machine.AddDrive("SERIAL");
  machine.Option("piTorvex.ini", "PollInterval=2\n");
  machine.Option("CustomOpOpts.ini", "IntelPCIeTopologologyRefreshRate=1000\n");
  Guest guest;
  ASSERT_EQ(guest.Initialize(), 0U);
  const auto awaitWakeUps = [&trace](std::size_t more) {
    const std::size_t wakeUps = trace.Count("Worker() before restart interval") + more;
    ASSERT_TRUE(
        Eventually([&] { return trace.Count("Worker() before restart interval") >= wakeUps; }));
  };
  g_Now = START;
  guest.SetAdapterIDs();
  awaitWakeUps(1);
  g_Now = START + INTERVAL;
  awaitWakeUps(3);
  EXPECT_EQ(trace.Count("Before ScanSystem()"), 1U);
  g_Now = START + INTERVAL + 1;
  awaitWakeUps(3);
  EXPECT_EQ(trace.Count("Before ScanSystem()"), 2U);  // and it counts from its own end
  g_Now = 0;
}

}  // namespace
