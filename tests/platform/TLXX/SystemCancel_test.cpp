#include "Scripts.h"

#include <atomic>
#include <future>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <TLX/Threading/Cancellation.h>
#include <TLX/Threading/Thread.h>
#include <TLXX/System.h>

namespace {

using namespace std::chrono_literals;
using TLX::Threading::CThread;
using TLXX::CRunLimits;
using TLXX::CSystem;
using tlxxtest::LifeLine;
using tlxxtest::Scripts;
using tlxxtest::TraceCapture;

// Runs a command on a thread that can be cancelled.
class Caller : public TLX::Delegates_and_Calls::CDelegateTarget {
 public:
  Caller(std::string command, bool lines)
      : command_(std::move(command)), arguments_("cancel"), lines_(lines) {}

  void Body() {
    if (lines_) {
      static_cast<void>(CSystem::ExecuteCommand(command_, arguments_, outputLines_));
    } else {
      static_cast<void>(CSystem::ExecuteCommand(command_, arguments_, output_));
    }
    returned_ = true;
  }

  CThread::CBody Delegate() { return CThread::CBody(this, &Caller::Body); }
  bool Returned() const { return returned_; }
  bool IsUntouched() const {
    return output_ == "untouched" && outputLines_ == std::vector<std::string>{"untouched"};
  }

 private:
  const std::string command_;
  const std::string arguments_;
  const bool lines_;
  std::string output_ = "untouched";
  std::vector<std::string> outputLines_{"untouched"};
  std::atomic<bool> returned_ = false;
};

class SystemCancelTest : public testing::Test {
 protected:
  ~SystemCancelTest() override {
    CSystem::SetRunLimits(CRunLimits{});
    EXPECT_FALSE(tlxxtest::HasChildren());
    EXPECT_EQ(tlxxtest::OpenDescriptors(), descriptors_);
  }

  // Cancels a run in its middle and says what is wrong afterwards, nothing when all is well.
  std::string WrongAfterCancel(bool lines) {
    LifeLine line(scripts_.Path("line"));
    Caller caller(scripts_.Add("tool", line.Hold() + "trap '' TERM\nsleep 600 & sleep 600"), lines);
    CThread thread(caller.Delegate(), 0);
    if (!line.WaitUntilHeld()) return "the program did not start";
    if (!thread.Native().Cancel()) return "the thread did not end";
    if (caller.Returned()) return "the call returned";
    if (!caller.IsUntouched()) return "the output was touched";
    if (tlxxtest::HasChildren()) return "a child is left";
    return line.WaitUntilReleased() ? "" : "a process of the group is left";
  }

  const std::size_t descriptors_ = tlxxtest::OpenDescriptors();
  Scripts scripts_;
};

TEST_F(SystemCancelTest, Cancel_DuringAQuery_KillsAndReapsTheProgramFirst) {
  EXPECT_EQ(WrongAfterCancel(false), "");
}

TEST_F(SystemCancelTest, Cancel_DuringAChange_KillsAndReapsTheProgramFirst) {
  EXPECT_EQ(WrongAfterCancel(true), "");
}

TEST_F(SystemCancelTest, Cancel_WhileTheProgramPrintsWithoutEnd_EndsTheRun) {
  CRunLimits limits;
  limits.m_MaxInventoryOutput = 0;
  CSystem::SetRunLimits(limits);
  LifeLine line(scripts_.Path("line"));
  Caller caller(scripts_.Add("tool", line.Hold() + "while :; do sleep 0.01; echo; done"), false);
  CThread thread(caller.Delegate(), 0);
  ASSERT_TRUE(line.WaitUntilHeld());
  EXPECT_TRUE(thread.Native().Cancel());
  EXPECT_FALSE(caller.Returned());
  EXPECT_TRUE(line.WaitUntilReleased());
}

TEST_F(SystemCancelTest, Cancel_DuringThePauseBeforeARepeat_EndsIt) {
  CRunLimits limits;
  limits.m_RepeatPause = 10min;
  CSystem::SetRunLimits(limits);
  std::promise<void> pausing;
  const TraceCapture trace([&pausing](const std::string& line) {
    if (line.rfind("once more: ", 0) == 0) pausing.set_value();
  });
  Caller caller(scripts_.Add("tool", "echo >> $DIR/runs; exit 3"), false);
  CThread thread(caller.Delegate(), 0);
  pausing.get_future().wait();
  EXPECT_TRUE(thread.Native().Cancel());
  EXPECT_FALSE(caller.Returned());
  EXPECT_EQ(scripts_.Lines("runs"), 1);
}

// Is cancelled before it runs anything.
class LateCaller : public TLX::Delegates_and_Calls::CDelegateTarget {
 public:
  explicit LateCaller(std::string command) : command_(std::move(command)) {}
  void Body() {
    // Things to destroy while the stack unwinds, as every real caller has.
    const std::string arguments = "late " + command_;
    std::vector<std::string> lines(3, arguments);
    while (!TLX::Threading::CCancellation::Requested()) sched_yield();
    static_cast<void>(CSystem::ExecuteCommand(command_, arguments, lines));
    returned_ = true;
  }
  bool Returned() const { return returned_; }

 private:
  const std::string command_;
  std::atomic<bool> returned_ = false;
};

// Swallows its cancellation and goes on running tools: here, there, and while the stack unwinds.
class StubbornCaller : public TLX::Delegates_and_Calls::CDelegateTarget {
 public:
  explicit StubbornCaller(std::string command) : command_(std::move(command)) {}

  void Body() {
    while (!TLX::Threading::CCancellation::Requested()) sched_yield();
    Run(output_);
    Run(output_);
    Run(lines_);
    const Unwinding unwinding(*this);
    static_cast<void>(CSystem::ExecuteCommand(command_, "last", output_));
    returned_ = true;
  }
  int Swallowed() const { return swallowed_; }
  int WhileUnwinding() const { return whileUnwinding_; }
  bool Returned() const { return returned_; }

 private:
  class Unwinding {
   public:
    explicit Unwinding(StubbornCaller& caller) : caller_(caller) {}
    ~Unwinding() {
      caller_.whileUnwinding_ = CSystem::ExecuteCommand(caller_.command_, "late", caller_.output_);
    }
    Unwinding(const Unwinding&) = delete;
    Unwinding& operator=(const Unwinding&) = delete;

   private:
    StubbornCaller& caller_;
  };

  template <class Output>
  void Run(Output& output) {
    try {
      static_cast<void>(CSystem::ExecuteCommand(command_, "again", output));
    } catch (...) {
      ++swallowed_;
    }
  }

  const std::string command_;
  std::string output_;
  std::vector<std::string> lines_;
  int swallowed_ = 0;
  int whileUnwinding_ = -1;
  bool returned_ = false;
};

TEST_F(SystemCancelTest, Runs_OfAThreadThatSwallowedItsCancellation_ThrowAgainAndStartNothing) {
  StubbornCaller caller(scripts_.Add("tool", "echo > $DIR/ran"));
  CThread thread(CThread::CBody(&caller, &StubbornCaller::Body), 0);
  EXPECT_TRUE(thread.Native().Cancel());
  EXPECT_EQ(caller.Swallowed(), 3);
  EXPECT_EQ(caller.WhileUnwinding(), 0);
  EXPECT_FALSE(caller.Returned());
  EXPECT_FALSE(scripts_.Has("ran"));
}

// Counts what reaches it.
class CountingRunner final : public TLXX::ICommandRunner {
 public:
  int Execute(const std::string&, const std::string&, std::string&) override { return ++runs_; }
  int Execute(const std::string&, const std::string&, std::vector<std::string>&) override {
    return ++runs_;
  }
  int runs_ = 0;
};

TEST_F(SystemCancelTest, Runs_OfAStruckThread_DoNotReachAnInjectedRunner) {
  CountingRunner runner;
  struct Body : TLX::Delegates_and_Calls::CDelegateTarget {
    void Run() {
      while (!TLX::Threading::CCancellation::Requested()) sched_yield();
      try {
        TLX::Threading::CCancellation::Deliver();
      } catch (...) {  // NOLINT(bugprone-empty-catch): the mistake that is tried here
      }
      std::string output;
      static_cast<void>(CSystem::ExecuteCommand("tool", "", output));
    }
  } body;
  TLXX::ICommandRunner* const before = CSystem::SetCommandRunner(&runner);
  CThread thread(CThread::CBody(&body, &Body::Run), 0);
  EXPECT_TRUE(thread.Native().Cancel());
  CSystem::SetCommandRunner(before);
  EXPECT_EQ(runner.runs_, 0);
}

TEST_F(SystemCancelTest, Run_OnACancelledThread_StartsNothing) {
  LateCaller caller(scripts_.Add("tool", "echo > $DIR/ran"));
  CThread thread(CThread::CBody(&caller, &LateCaller::Body), 0);
  EXPECT_TRUE(thread.Native().Cancel());
  EXPECT_FALSE(caller.Returned());
  EXPECT_FALSE(scripts_.Has("ran"));
}

}  // namespace
