#include "Threads.h"
#include "support/Scale.h"

#include <atomic>
#include <chrono>
#include <memory>
#include <stdexcept>
#include <thread>

#include <gtest/gtest.h>
#include <sys/resource.h>

#include <TLX/Internals/TraceSink.h>
#include <TLX/Misc/ModuleInfo.h>
#include <TLX/Threading/Event.h>
#include <TLX/Threading/Thread.h>

namespace {

using namespace TLX::Threading;
using tlxtest::Body;
using tlxtest::Running;

TEST(Thread, RunsItsBodyOnAThreadOfItsOwn) {
  std::thread::id id;
  Body body([&] { id = std::this_thread::get_id(); });
  CThread thread(body.Delegate(), 0);
  EXPECT_TRUE(thread.Native().HasHandle());
  EXPECT_EQ(thread.Wait(WAIT_INFINITE), 1U);
  EXPECT_NE(id, std::thread::id());
  EXPECT_NE(id, std::this_thread::get_id());
}

TEST(Thread, Wait_TimesOutWhileTheBodyRunsAndIsRepeatableAfterwards) {
  CEvent go;
  go.Init(false, false);
  Body body([&] { static_cast<void>(go.Wait(WAIT_INFINITE)); });
  CThread thread(body.Delegate(), 0);
  EXPECT_EQ(thread.Wait(0), WAIT_TIMED_OUT);
  EXPECT_EQ(thread.Wait(5), WAIT_TIMED_OUT);
  go.Set();
  EXPECT_EQ(thread.Wait(WAIT_INFINITE), 1U);
  EXPECT_EQ(thread.Wait(0), 1U);
  EXPECT_EQ(thread.Wait(0), 1U);
}

TEST(Thread, WithoutABoundBody_IsNotStarted) {
  CThread thread(CThread::CBody(), 0);
  EXPECT_FALSE(thread.Native().HasHandle());
  EXPECT_EQ(thread.Wait(WAIT_INFINITE), WAIT_FAILED);
  EXPECT_TRUE(thread.Native().Cancel());
}

TEST(Thread, ThatTheSystemRefuses_HasNoHandle) {
  rlimit before{};
  ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &before), 0);
  bool ran = false;
  Body body([&] { ran = true; });
  const rlimit none = {.rlim_cur = 0, .rlim_max = before.rlim_max};
  ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &none), 0);
  CThread thread(body.Delegate(), 0);
  ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &before), 0);
  EXPECT_FALSE(thread.Native().HasHandle());
  EXPECT_EQ(thread.Wait(WAIT_INFINITE), WAIT_FAILED);
  EXPECT_TRUE(thread.Native().Cancel());
  EXPECT_FALSE(ran);
}

// Destroyed by the system's thread behind everything else that it does.
class Trailing {
 public:
  ~Trailing() {
    if (gone_ == nullptr) return;
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
    *gone_ = true;
  }
  std::atomic<bool>* gone_ = nullptr;
};
thread_local Trailing t_trailing;

TEST(Thread, Destroyed_OnceAWaitHasSeenItsEnd_IsJoined) {
  const int rounds = vxtest::Count(200, 5000);
  for (int round = 0; round < rounds; ++round) {
    std::atomic<bool> gone = false;
    Body body([&] { t_trailing.gone_ = &gone; });
    {
      CThread thread(body.Delegate(), 0);
      ASSERT_EQ(thread.Wait(WAIT_INFINITE), 1U);
    }
    ASSERT_TRUE(gone) << "round " << round;
  }
}

TEST(Thread, TwoThreads_RunTheSameTarget) {
  CEvent first;
  CEvent second;
  first.Init(false, false);
  second.Init(false, false);
  std::atomic<int> turns = 0;
  // Each needs the other to get on: one after the other they would hang.
  Body body([&] {
    const bool leads = turns++ == 0;
    CEvent& own = leads ? first : second;
    CEvent& other = leads ? second : first;
    for (int round = 0; round < 50; ++round) {
      if (leads) other.Set();
      static_cast<void>(own.Wait(WAIT_INFINITE));
      if (!leads) other.Set();
    }
  });
  CThread one(body.Delegate(), 0);
  CThread two(body.Delegate(), 0);
  EXPECT_EQ(one.Wait(WAIT_INFINITE), 1U);
  EXPECT_EQ(two.Wait(WAIT_INFINITE), 1U);
  EXPECT_EQ(turns, 2);
}

TEST(Thread, Destroyed_WhileTheBodyRuns_LetsItRunToItsEnd) {
  CEvent go;
  CEvent ended;
  go.Init(false, false);
  ended.Init(false, false);
  Body body([&] {
    static_cast<void>(go.Wait(WAIT_INFINITE));
    ended.Set();
  });
  { const CThread thread(body.Delegate(), 0); }
  go.Set();
  EXPECT_EQ(ended.Wait(WAIT_INFINITE), 1U);
}

TEST(Thread, Destroyed_ByItsOwnBody_LetsItRunToItsEnd) {
  CEvent go;
  CEvent ended;
  go.Init(false, false);
  ended.Init(false, false);
  std::unique_ptr<CThread> thread;
  Body body([&] {
    static_cast<void>(go.Wait(WAIT_INFINITE));
    thread.reset();
    ended.Set();
  });
  thread = std::make_unique<CThread>(body.Delegate(), 0);
  go.Set();
  EXPECT_EQ(ended.Wait(WAIT_INFINITE), 1U);
}

class TextSink final : public TLX::Internals::ITraceSink {
 public:
  void Write(const TLX::Internals::CTraceLine& line) override { text_ += line.m_Text + '\n'; }
  std::string text_;
};

TEST(Thread, AnExceptionThatLeavesTheBody_IsReportedAndEndsTheThreadOnly) {
  const auto sink = std::make_shared<TextSink>();
  TLX::Internals::SetTraceSink(sink);
  TLX::Misc::CModuleInfo::SetPlatformTraceMask(TLX::Misc::TRACE_STEPS);
  testing::internal::CaptureStderr();
  EXPECT_EQ(Running([] { throw std::runtime_error("no way on"); }).Join(), 1U);
  EXPECT_EQ(Running([] { throw 5; }).Join(), 1U);
  TLX::Misc::CModuleInfo::SetPlatformTraceMask(0);
  TLX::Internals::SetTraceSink(nullptr);
  EXPECT_EQ(testing::internal::GetCapturedStderr(),
            "vxTLX: a thread has ended by an exception that left its body: no way on\n"
            "vxTLX: a thread has ended by an exception that left its body: not a std::exception\n");
  EXPECT_EQ(sink->text_,
            "thread ended by exception: no way on\n"
            "thread ended by exception: not a std::exception\n");
}

}  // namespace
