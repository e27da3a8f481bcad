// How the host ends while its tool is at work.
#include "DatabaseORM/RawSqlite.h"
#include "HostProcess.h"
#include "Simulated.h"
#include "support/Files.h"

#include <algorithm>
#include <csignal>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using testing::HasSubstr;
using testing::Not;
using vxtest::HANG;
using vxtest::HasEnded;
using vxtest::HostProcess;
using vxtest::WaitForFile;

class Stop : public vxtest::Simulated {
 protected:
  // The program whose tool answers so many queries and hangs in the next one.
  std::filesystem::path ProgramThatHangsAfter(int queries) const {
    return vxtest::ProgramWithTool(home_, "echo >> $HERE/calls\n[ $(wc -l < $HERE/calls) -le " +
                                              std::to_string(queries) +
                                              " ] && exec \"$REAL\" \"$@\"\n" + HANG);
  }

  pid_t Tool() const { return std::stoi(vxtest::ReadFile(home_ / "pid")); }
  std::size_t Calls() const {
    const std::string calls = vxtest::ReadFile(home_ / "calls");
    return static_cast<std::size_t>(std::count(calls.begin(), calls.end(), '\n'));
  }

  const std::filesystem::path home_ = directory_ / "home";
};

TEST_F(Stop, DuringTheInventoryOfAStart_EndsItsToolAndTheService) {
  HostProcess host(Words({"run", "--tool-timeout", "0", "--db", "none"}), Environment(),
                   ProgramThatHangsAfter(0));
  WaitForFile(home_ / "pid");
  host.Signal(SIGTERM);
  EXPECT_EQ(host.Wait(), 0);
  EXPECT_TRUE(HasEnded(Tool()));
  EXPECT_TRUE(NothingIsLeft());
  EXPECT_THAT(host.Errors(), HasSubstr("plug-in piTorvex: its start was broken off\n"));
  EXPECT_THAT(host.Errors(), Not(HasSubstr("started to fail")));
}

TEST_F(Stop, InTheMiddleOfAStart_StartsNoOtherToolAndKeepsNoRow) {
  const auto database = directory_ / "vx.db";
  HostProcess host(Words({"run", "--tool-timeout", "0", "--db", "sqlite:" + database.string()}),
                   Environment(), ProgramThatHangsAfter(4));
  WaitForFile(home_ / "pid");
  host.Signal(SIGTERM);
  EXPECT_EQ(host.Wait(), 0);
  EXPECT_EQ(Calls(), 5U);
  const vxtest::RawSqlite raw(database);
  EXPECT_EQ(raw.One("SELECT COUNT(*) FROM Plugin"), "0");
  EXPECT_EQ(raw.One("SELECT COUNT(*) FROM Adapter"), "0");
  EXPECT_EQ(raw.One("SELECT COUNT(*) FROM PD"), "0");
}

TEST_F(Stop, OfACommandThatWaitsForItsTool_EndsTheTool) {
  const auto program = ProgramThatHangsAfter(0);
  const std::vector<std::vector<std::string>> commands = {
      {"tree"}, {"show", "1"}, {"doctor"}, {"rpc"}};
  for (const auto& words : commands) {
    for (const int signal : {SIGINT, SIGTERM}) {
      HostProcess host(Words(words), Environment(), program);
      if (words.front() == "rpc") host.Send("{\"id\":1,\"command\":1}\n");
      WaitForFile(home_ / "pid");
      // The first one only asks rpc to stop.
      if (words.front() == "rpc") host.Signal(SIGHUP);
      host.Signal(signal);
      EXPECT_EQ(host.Wait(), -signal);
      EXPECT_TRUE(HasEnded(Tool())) << words.front();
      EXPECT_TRUE(NothingIsLeft());
      std::filesystem::remove(home_ / "pid");
    }
  }
}

TEST_F(Stop, ASecondSignalToTheService_EndsTheToolOfItsWorker) {
  // Six drives: version and inventory of the start, then four logs each.
  HostProcess host(Words({"run", "--tool-timeout", "0", "--db", "none"}), Environment(),
                   ProgramThatHangsAfter(40));
  WaitForFile(home_ / "pid");
  ASSERT_TRUE(host.WaitForError("running with 6 adapters")) << host.Errors();
  host.Signal(SIGINT);
  host.Signal(SIGTERM);
  EXPECT_EQ(host.Wait(), -SIGTERM);
  EXPECT_TRUE(HasEnded(Tool()));
  EXPECT_TRUE(NothingIsLeft());
}

}  // namespace
