#include "RunningChildren.h"

#include "Scripts.h"

#include <array>
#include <cerrno>
#include <csignal>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using TLXX::CRunningChildren;
using TLXX::ERunKind;

// Starts a script as the leader of its own process group, which ends with the test.
class RunningChildrenTest : public testing::Test {
 protected:
  pid_t Start(ERunKind kind, const std::string& text, const std::string& script) {
    pid_t pid = -1;
    error_ = children_.Start(
        kind, text, [&](pid_t& started) { return Spawn(started, script); }, pid);
    return pid;
  }

  static int Spawn(pid_t& pid, std::string script) {
    posix_spawnattr_t attributes;
    posix_spawnattr_init(&attributes);
    posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETPGROUP);
    std::array<char*, 2> words = {script.data(), nullptr};
    const int error =
        posix_spawn(&pid, script.c_str(), nullptr, &attributes, words.data(), environ);
    posix_spawnattr_destroy(&attributes);
    return error;
  }

  static int SignalOf(pid_t pid) {
    int status = 0;
    return waitpid(pid, &status, 0) == pid && WIFSIGNALED(status) ? WTERMSIG(status) : 0;
  }

  tlxxtest::Scripts scripts_;
  CRunningChildren children_;
  int error_ = 0;
};

TEST_F(RunningChildrenTest, EndQueries_KillsTheGroupsOfQueriesAndNamesTheChangesThatGoOn) {
  tlxxtest::LifeLine query(scripts_.Path("query.line"));
  tlxxtest::LifeLine change(scripts_.Path("change.line"));
  const pid_t first = Start(ERunKind::Query, "tool show",
                            scripts_.Add("query", query.Hold() + "sleep 600 & sleep 600"));
  const pid_t second = Start(ERunKind::Change, "tool start 1",
                             scripts_.Add("change", change.Hold() + "exec sleep 600"));
  ASSERT_TRUE(query.WaitUntilHeld());
  ASSERT_TRUE(change.WaitUntilHeld());
  EXPECT_THAT(children_.EndQueries(), ElementsAre("tool start 1"));
  EXPECT_EQ(SignalOf(first), SIGKILL);
  EXPECT_TRUE(query.WaitUntilReleased());
  EXPECT_TRUE(change.IsHeld());
  kill(-second, SIGTERM);
  EXPECT_EQ(SignalOf(second), SIGTERM);
}

TEST_F(RunningChildrenTest, AfterEndQueries_NothingIsStarted) {
  EXPECT_THAT(children_.EndQueries(), IsEmpty());
  EXPECT_EQ(Start(ERunKind::Query, "tool show", scripts_.Add("query", "echo > $DIR/ran")), -1);
  EXPECT_EQ(error_, ECANCELED);
  EXPECT_EQ(Start(ERunKind::Change, "tool start", scripts_.Path("query")), -1);
  EXPECT_EQ(error_, ECANCELED);
  EXPECT_FALSE(scripts_.Has("ran"));
}

TEST_F(RunningChildrenTest, ForgottenChild_IsNotKilled) {
  tlxxtest::LifeLine line(scripts_.Path("line"));
  const pid_t pid =
      Start(ERunKind::Query, "tool show", scripts_.Add("query", line.Hold() + "exec sleep 600"));
  ASSERT_TRUE(line.WaitUntilHeld());
  children_.Forget(pid);
  EXPECT_THAT(children_.EndQueries(), IsEmpty());
  kill(-pid, SIGTERM);
  EXPECT_EQ(SignalOf(pid), SIGTERM);
}

}  // namespace
