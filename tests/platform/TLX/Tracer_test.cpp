#include "Threads.h"

#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <TLX/Internals/TraceSink.h>
#include <TLX/Misc/Tracer.h>
#include <TLX/Threading/TracedGuard.h>

namespace {

using namespace TLX::Misc;
using TLX::Threading::CTracedGuard;
using TLX::Threading::Native_OS::CFastMutex;

// Keeps each line as "level file function text", and its number.
class Lines final : public TLX::Internals::ITraceSink {
 public:
  void Write(const TLX::Internals::CTraceLine& line) override {
    texts_.push_back(std::to_string(line.m_Level) + ' ' + line.m_File + ' ' + line.m_Function +
                     ' ' + line.m_Text);
    numbers_.push_back(line.m_Line);
    module_ = line.m_Module;
  }
  std::vector<std::string> texts_;
  std::vector<unsigned int> numbers_;
  std::string module_;
};

class Tracer : public testing::Test {
 protected:
  Tracer() { TLX::Internals::SetTraceSink(lines_); }
  ~Tracer() override { TLX::Internals::SetTraceSink(nullptr); }

  CModuleInfo module_{MODULE_piTorvex, "mine", "1", nullptr, nullptr};
  const CTraceSource source_{module_, "folder/File"};
  const std::shared_ptr<Lines> lines_ = std::make_shared<Lines>();
};

TEST_F(Tracer, WritesEachLevelWithItsBit) {
  module_.SetTraceMask(~0U);
  const CTracer trace(source_, "Operation");
  trace.Steps("steps");
  trace.Detail("detail");
  trace.Locks("locks");
  trace.Tool("tool");
  trace.Write(32, "other");
  EXPECT_EQ(lines_->texts_, (std::vector<std::string>{
                                "2 folder/File Operation steps", "4 folder/File Operation detail",
                                "8 folder/File Operation locks", "16 folder/File Operation tool",
                                "32 folder/File Operation other"}));
  EXPECT_EQ(lines_->module_, "mine");
}

TEST_F(Tracer, WritesTheLevelsOfTheMaskOnly) {
  const CTracer trace(source_, "Operation");
  for (const unsigned int level : {TRACE_STEPS, TRACE_DETAIL, TRACE_LOCKS, TRACE_TOOL}) {
    module_.SetTraceMask(level);
    lines_->texts_.clear();
    trace.Steps("2");
    trace.Detail("4");
    trace.Locks("8");
    trace.Tool("16");
    EXPECT_EQ(lines_->texts_,
              std::vector<std::string>{std::to_string(level) + " folder/File Operation " +
                                       std::to_string(level)});
    EXPECT_TRUE(trace.IsOn(level));
    EXPECT_FALSE(trace.IsOn(32));
  }
}

TEST_F(Tracer, IsNamedAfterTheFunctionThatItIsMadeIn) {
  module_.SetTraceMask(TRACE_STEPS);
  const CTracer trace(source_);
  trace.Steps("line");
  EXPECT_EQ(lines_->texts_, std::vector<std::string>{"2 folder/File TestBody line"});
}

TEST_F(Tracer, GivesTheLineOfTheCall) {
  module_.SetTraceMask(TRACE_STEPS | TRACE_LOCKS);
  const CTracer trace(source_);
  CFastMutex mutex;
  mutex.Init();
  trace.Steps("line");
  const unsigned int steps = __LINE__ - 1;
  const CTracedGuard guard(trace, mutex, "mutex");
  EXPECT_EQ(lines_->numbers_, (std::vector<unsigned int>{steps, steps + 2, steps + 2}));
}

enum class Colour : unsigned char { Red = 7 };

TEST_F(Tracer, FillsThePlacesByTheKindAndWidthOfTheArguments) {
  module_.SetTraceMask(TRACE_STEPS);
  const CTracer trace(source_, "f");
  const std::string text = "text";
  trace.Steps("%s %s %s", "literal", text, static_cast<const char*>(nullptr));
  trace.Steps("%d %d %d", -1, ~0U, ~0UL);
  trace.Steps("%d %d %d", -1L, 0x100000000UL, std::size_t{3});
  trace.Steps("%d %x %d", true, 0xABCU, static_cast<unsigned char>(Colour::Red));
  trace.Steps("100%%");
  EXPECT_EQ(lines_->texts_,
            (std::vector<std::string>{"2 folder/File f literal text ", "2 folder/File f -1 -1 -1",
                                      "2 folder/File f -1 4294967296 3", "2 folder/File f 1 abc 7",
                                      "2 folder/File f 100%"}));
}

TEST_F(Tracer, CallsAnArgumentOnlyWhileTheLevelIsOn) {
  int calls = 0;
  const auto costly = [&calls] {
    ++calls;
    return std::string("costly");
  };
  const CTracer trace(source_, "f");
  trace.Detail("%s", costly);
  EXPECT_EQ(calls, 0);
  module_.SetTraceMask(TRACE_DETAIL);
  trace.Steps("%s", costly);
  EXPECT_EQ(calls, 0);
  trace.Detail("%s %d", costly, [] { return 5; });
  EXPECT_EQ(calls, 1);
  EXPECT_EQ(lines_->texts_, std::vector<std::string>{"4 folder/File f costly 5"});
}

TEST_F(Tracer, PassesOnWhatAnArgumentThrows) {
  module_.SetTraceMask(TRACE_STEPS);
  const CTracer trace(source_, "f");
  const auto fail = []() -> int { throw std::runtime_error("no value"); };
  EXPECT_THROW(trace.Steps("%d", fail), std::runtime_error);
}

class TracedGuard : public Tracer {
 protected:
  TracedGuard() {
    module_.SetTraceMask(TRACE_LOCKS);
    mutex_.Init();
  }
  CFastMutex mutex_;
};

TEST_F(TracedGuard, HoldsTheMutexForItsScopeAndTracesTheWait) {
  {
    const CTracedGuard guard(CTracer(source_, "f"), mutex_, "m_DataLock");
    EXPECT_EQ(guard.Result(), 1U);
    EXPECT_FALSE(tlxtest::FreeForOthers(mutex_));
    EXPECT_EQ(lines_->texts_,
              (std::vector<std::string>{"8 folder/File f Before m_DataLock.Wait (sg)",
                                        "8 folder/File f After m_DataLock.Wait (sg)"}));
  }
  EXPECT_TRUE(tlxtest::FreeForOthers(mutex_));
  EXPECT_EQ(lines_->texts_.size(), 2U);
}

TEST_F(TracedGuard, WithTheLevelOff_LocksWithoutAWord) {
  module_.SetTraceMask(0);
  const CTracedGuard guard(CTracer(source_, "f"), mutex_, "m_DataLock");
  EXPECT_FALSE(tlxtest::FreeForOthers(mutex_));
  EXPECT_EQ(lines_->texts_, std::vector<std::string>{});
}

TEST_F(TracedGuard, OverAMutexThatWasNeverInitialised_SaysSoAndReleasesNothing) {
  CFastMutex unusable;
  const CTracedGuard guard(CTracer(source_, "f"), unusable, "m_DataLock");
  EXPECT_EQ(guard.Result(), 0U);
}

TEST_F(TracedGuard, WhoseWaitIsCancelled_HoldsNothingAndLeavesTheSecondLineOut) {
  ASSERT_EQ(mutex_.Wait(0), 1U);
  tlxtest::Running thread(
      [&] { const CTracedGuard guard(CTracer(source_, "f"), mutex_, "m_DataLock"); });
  thread.WaitUntilAsleep();
  EXPECT_TRUE(thread.Cancel());
  mutex_.Release();
  EXPECT_TRUE(tlxtest::FreeForOthers(mutex_));
  EXPECT_EQ(lines_->texts_,
            std::vector<std::string>{"8 folder/File f Before m_DataLock.Wait (sg)"});
}

}  // namespace
