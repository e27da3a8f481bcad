#include "Frame_fixtures.h"

#include <dlfcn.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

// Start-up when a lock or an event cannot be made usable. The library's own Init never fails but
// for lack of memory, so this executable stands in front of it.

namespace {

constexpr unsigned int FAILED = 7;

int g_Inits = 0;                                  // since the last reset
int g_FailAt = 0;                                 // which of them fails, from 1; 0: none
std::vector<std::pair<bool, bool>> g_EventKinds;  // initial state and manual reset, as asked for

template <class Object, class... Args>
unsigned int InitOf(const char* symbol, Object* object, Args... args) {
  if (++g_Inits == g_FailAt) return FAILED;
  using Function = unsigned int (*)(Object*, Args...);
  return reinterpret_cast<Function>(dlsym(RTLD_NEXT, symbol))(object, args...);
}

}  // namespace

unsigned int TLX::Threading::Native_OS::CFastMutex::Init() {
  return InitOf("_ZN3TLX9Threading9Native_OS10CFastMutex4InitEv", this);
}

unsigned int TLX::Threading::CEvent::Init(bool initialState, bool manualReset) {
  g_EventKinds.emplace_back(initialState, manualReset);
  return InitOf("_ZN3TLX9Threading6CEvent4InitEbb", this, initialState, manualReset);
}

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

// What a host may send after a start-up that failed. A worker that is started all the same ends at
// once, because it has no events to wait for.
void UseUnready(frametest::Guest& guest, vxtest::PluginTrace& trace) {
  PI::CProperty interval(PI::PROPERTY_POLL_INTERVAL, true);
  interval.SetValue(60, 2, 255, 1U);
  EXPECT_EQ(guest.Call(7, 0, &interval), 0U);
  EXPECT_EQ(guest.Impl().PollInterval.load(), 60U);
  EXPECT_EQ(guest.SetAdapterIDs(), 0U);
  EXPECT_TRUE(frametest::Eventually([&trace] { return trace.Has("LEAVE Worker()"); }));
  EXPECT_EQ(guest.Topology().size(), 1U);
  EXPECT_THAT(guest.FetchEvents(), IsEmpty());
  EXPECT_EQ(guest.DeInitialize(), 0U);
  EXPECT_FALSE(trace.Has("Kill Worker"));
}

TEST(Initialize, WithALockThatFails_NamesItAndDoesNothingElse) {
  const std::vector<std::string> names = {"m_DataLock", "m_PrivateEventsLock", "m_ForceWorker",
                                          "m_StopRequest", "m_PrivateEvent"};
  for (std::size_t i = 0; i < names.size(); ++i) {
    vxtest::PluginTrace trace(2 | 4 | 8 | 16);
    frametest::Machine machine;
    machine.AddDrive("SERIAL");
    frametest::Guest guest;
    g_Inits = 0;
    g_FailAt = static_cast<int>(i) + 1;
    std::vector<PI::CAdapterID> ids(1);
    testing::internal::CaptureStdout();
    EXPECT_EQ(guest.Initialize(ids), PI::ERR_LOCK_INITIALIZATION_FAILED) << names[i];
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
    EXPECT_EQ(g_Inits, g_FailAt);
    EXPECT_THAT(ids, IsEmpty());
    EXPECT_THAT(machine.tool.Calls(), IsEmpty());
    EXPECT_THAT(trace.Texts(), ElementsAre("ENTER Initialize()",
                                           "LEAVE Initialize() " + names[i] +
                                               ".Init() -> PI::ERR_LOCK_INITIALIZATION_FAILED 7"));
    g_FailAt = 0;
    UseUnready(guest, trace);
    EXPECT_EQ(guest.Initialize(), 0U) << "a start-up that failed can be repeated";
  }
}

// Only a stop request lasts: it is meant for every wait until the next start-up.
TEST(Initialize, GivesEachEventItsKind) {
  frametest::Machine machine;
  machine.AddDrive("SERIAL");
  frametest::Guest guest;
  g_EventKinds.clear();
  ASSERT_EQ(guest.Initialize(), 0U);
  EXPECT_THAT(g_EventKinds, ElementsAre(std::pair(false, false), std::pair(false, true),
                                        std::pair(false, false)));
}

}  // namespace
