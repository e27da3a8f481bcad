// The host with the real plug-in on simulated drives.
#include "DatabaseORM/RawSqlite.h"
#include "HostProcess.h"
#include "Simulated.h"
#include "support/Files.h"

#include <chrono>
#include <csignal>
#include <string>
#include <thread>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/resource.h>

namespace {

using testing::HasSubstr;
using testing::Not;
using vxtest::HasEnded;
using vxtest::HostProcess;
using vxtest::RunHost;
using vxtest::WaitForFile;

using Simulated = vxtest::Simulated;

const std::string FIRST = "CVFT7203005M400LGN";  // the serial numbers of the fleet
const std::string SECOND = "CVFT7383007K400BGN";

// The next line that is about an event. A scan that is under way while the fleet is edited may find
// a drive silent for once, which the service tells as well.
std::string EventLine(HostProcess& host) {
  std::string line = host.Line();
  while (line.find("Drive not answering") != std::string::npos ||
         line.find("Drive answers again") != std::string::npos) {
    line = host.Line();
  }
  return line;
}

// Waits until the database holds the count; returns the last one seen after half a minute.
std::string Awaited(const std::filesystem::path& database, const std::string& statement,
                    const std::string& count) {
  const vxtest::RawSqlite raw(database);
  for (int attempt = 0; attempt < 300 && raw.One(statement) != count; ++attempt) {
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
  }
  return raw.One(statement);
}

TEST_F(Simulated, Tree_ShowsEveryDriveWithHealthAndSize) {
  const auto run = Run({"tree"});
  EXPECT_EQ(run.status, 0) << run.err;
  EXPECT_THAT(run.out, testing::StartsWith("Torvex-Plugin 7.22.0"));
  EXPECT_THAT(run.out, HasSubstr(", 6 adapters\n├─ good        1  "));
  EXPECT_THAT(run.out, HasSubstr("PCI:Bus=23&Device=0&Function=0   35 °C  100 % life left"));
  EXPECT_THAT(run.out, HasSubstr("Intel SSD DC P4600, SSDPE2KE020T7              2.00 TB"));
  EXPECT_EQ(std::count(run.out.begin(), run.out.end(), '\n'), 13);
  EXPECT_TRUE(NothingIsLeft());
}

TEST_F(Simulated, FleetWithoutServedDrive_IsStatus3) {
  for (int drive = 0; drive < 6; ++drive) Edit({"pull", std::to_string(drive)});
  const auto run = Run({"tree"});
  EXPECT_EQ(run.status, 3);
  EXPECT_EQ(run.out, "");
  EXPECT_THAT(run.err, HasSubstr("no supported hardware"));
}

TEST_F(Simulated, BadFleet_IsSaidAndNothingIsLeft) {
  vxtest::WriteFile(fleet_, "{\"drives\": 5}");
  const auto run = Run({"tree"});
  EXPECT_EQ(run.status, 1);
  EXPECT_THAT(run.err, HasSubstr("vxhost: fleet "));
  EXPECT_TRUE(NothingIsLeft());
}

TEST_F(Simulated, SignalDuringAnyCommand_LeavesNothingBehind) {
  HostProcess host(Words({"rpc"}), Environment());
  host.Send("{\"id\":1,\"command\":1}\n");
  EXPECT_THAT(host.Line(), HasSubstr("\"result\":0"));
  EXPECT_FALSE(NothingIsLeft());
  host.Signal(SIGTERM);
  EXPECT_EQ(host.Wait(), -SIGTERM);
  EXPECT_TRUE(NothingIsLeft());
}

// The program in a tree of its own, with a stand-in that says that it is one and then hangs.
std::filesystem::path ProgramWithHangingStandIn(const std::filesystem::path& home) {
  std::filesystem::create_directory(home);
  std::filesystem::copy(HostProcess::Tree() / "lib", home / "lib");
  std::filesystem::copy(HostProcess::Program(), home / "vxhost");
  vxtest::WriteFile(home / "bin" / "isdct",
                    "#!/bin/sh\n[ $2 = identify ] && exec echo isdct simulator 1\n"
                    "echo $$ > '" +
                        (home / "pid.new").string() + "'\nmv '" + (home / "pid.new").string() +
                        "' '" + (home / "pid").string() + "'\nexec sleep 600\n",
                    true);
  return home / "vxhost";
}

TEST_F(Simulated, SignalWhileTheTreeIsLaid_LeavesNeitherDirectoryNorProgram) {
  const auto home = directory_ / "home";
  HostProcess host(Words({"tree"}), Environment(), ProgramWithHangingStandIn(home));
  WaitForFile(home / "pid");
  EXPECT_FALSE(NothingIsLeft());
  host.Signal(SIGTERM);
  EXPECT_EQ(host.Wait(), -SIGTERM);
  EXPECT_TRUE(NothingIsLeft());
  EXPECT_TRUE(HasEnded(std::stoi(vxtest::ReadFile(home / "pid"))));
}

TEST_F(Simulated, SecondSignalWhileTheToolHangs_LeavesNothingBehind) {
  HostProcess host(Words({"run", "--db", "none", "--time-scale", "20"}), Environment());
  ASSERT_TRUE(host.WaitForError("running with 6 adapters")) << host.Errors();
  Edit({"fault", "--command", "inventory", "--kind", "hang", "--first", "1000"});
  const auto simulation = std::filesystem::directory_iterator(directory_ / "tmp")->path();
  WaitForFile(simulation / "state" / "fleet.json.calls");
  host.Signal(SIGINT);
  host.Signal(SIGTERM);
  EXPECT_EQ(host.Wait(), -SIGTERM);
  EXPECT_TRUE(NothingIsLeft());
}

TEST_F(Simulated, TemporaryDirectoryThatCannotBeUsed_IsNamedWithTheWayOut) {
  const auto missing = directory_ / "missing";
  const auto run = RunHost(Words({"tree"}), "", {{"TMPDIR", missing.string()}});
  EXPECT_EQ(run.status, 1);
  EXPECT_EQ(run.err, "vxhost: the simulated drives need room in " + missing.string() +
                         ": No such file or directory; name another directory in the environment "
                         "variable TMPDIR\n");
}

TEST_F(Simulated, PollInterval_IsSetForTheNextStart) {
  const auto set = Run({"set", "piTorvex", "poll interval", "77"});
  EXPECT_EQ(set.status, 0) << set.err;
  EXPECT_EQ(vxtest::ReadFile(directory_ / "etc" / "piTorvex.ini"), "PollInterval=77\n");
  EXPECT_EQ(Run({"get", "piTorvex", "30005"}).out, "77 s\n");
}

TEST_F(Simulated, Objects_AreFoundByWhatPeopleCallThem) {
  for (const std::string& name : {FIRST, std::string("1"), std::string("/dev/nvme0")}) {
    EXPECT_EQ(Run({"get", name, "serial number"}).out, FIRST + "\n") << name;
  }
  EXPECT_THAT(Run({"ops", "piTorvex"}).out, HasSubstr("50002 (fetch events)"));
}

// The events that people care about, each once, in the order in which things happened.
TEST_F(Simulated, Service_TellsWhatHappensAndMirrorsIt) {
  const std::string database = "sqlite:" + (directory_ / "mirror.db").string();
  HostProcess host(Words({"run", "--time-scale", "20", "--db", database}), Environment());
  ASSERT_TRUE(host.WaitForError("running with 6 adapters")) << host.Errors();
  Edit({"pull", FIRST});
  EXPECT_THAT(EventLine(host), HasSubstr("warning      Adapter removed: "));
  Edit({"heat", SECOND, "--to", "79"});
  EXPECT_THAT(EventLine(host), HasSubstr("warning      Temperature is close to its limit"));
  Edit({"heat", SECOND, "--to", "40"});
  EXPECT_THAT(EventLine(host), HasSubstr("information  Back to normal"));
  Edit({"plug", FIRST});
  EXPECT_THAT(EventLine(host), HasSubstr("information  Adapter added: "));
  const auto rows = RunHost({"db", "--json", "--db", database});
  EXPECT_EQ(rows.status, 0) << rows.err;
  EXPECT_THAT(rows.out, HasSubstr("\"SerialNumber\":\"" + FIRST + "\""));
  host.Signal(SIGTERM);
  std::string rest;
  EXPECT_EQ(host.Wait(&rest), 0);
  EXPECT_EQ(rest, "");
  EXPECT_THAT(host.Errors(), HasSubstr("show -all -o json -torvex N"));
  EXPECT_TRUE(NothingIsLeft());
}

TEST_F(Simulated, SilentDrive_IsShownAsNotAnswering) {
  Edit({"fail", FIRST, "--how", "dead"});
  const auto run = Run({"tree"});
  EXPECT_EQ(run.status, 0) << run.err;
  EXPECT_THAT(run.out, HasSubstr("├─ not answering     1  "));
  EXPECT_THAT(run.out, HasSubstr("├─ good              2  "));
  EXPECT_THAT(run.out.substr(0, run.out.find("├─ good")), Not(HasSubstr("spare")));
}

TEST_F(Simulated, ToolThatFails_IsSaidOnceAndGivenAsTheReason) {
  HostProcess host(Words({"run", "--time-scale", "20", "--db", "none"}), Environment());
  ASSERT_TRUE(host.WaitForError("running with 6 adapters")) << host.Errors();
  Edit({"fault", "--command", "inventory", "--kind", "exit", "--status", "1"});
  for (int drive = 0; drive < 6; ++drive) {
    const std::string line = EventLine(host);
    EXPECT_THAT(line, HasSubstr("Adapter removed: "));
    EXPECT_THAT(line, HasSubstr("(in a scan in which the drive tool failed: "));
  }
  Edit({"fault", "--command", "inventory", "--clear"});
  for (int drive = 0; drive < 6; ++drive) {
    EXPECT_THAT(EventLine(host), HasSubstr("Adapter added: "));
  }
  host.Signal(SIGTERM);
  EXPECT_EQ(host.Wait(), 0);
  const std::string said = host.Errors();
  EXPECT_EQ(said.find("has started to fail"), said.rfind("has started to fail")) << said;
  EXPECT_THAT(said, HasSubstr("the drive tool works again, after "));
}

TEST_F(Simulated, ToolThatFails_IsSaidByOneShotCommandsToo) {
  Edit({"fault", "--command", "inventory", "--kind", "exit", "--status", "4"});
  const auto run = Run({"tree"});
  EXPECT_EQ(run.status, 1);
  EXPECT_EQ(run.out, "");
  const std::string line = "vxhost: the drive tool has started to fail: ";
  const auto at = run.err.find(line);
  ASSERT_NE(at, std::string::npos) << run.err;
  EXPECT_EQ(run.err.rfind(line), at) << run.err;
  EXPECT_THAT(
      run.err.substr(at),
      HasSubstr("isdct ended with status 4 and printed nothing (show -all -o json -torvex)\n"));
}

// The service manager may give several directories: the first one is the database's.
TEST_F(Simulated, Database_LiesInTheFirstStateDirectory) {
  auto environment = Environment();
  const std::string first = (directory_ / "first").string();
  environment["STATE_DIRECTORY"] = first + ":" + (directory_ / "second").string();
  const auto run = RunHost({"db"}, "", environment);
  EXPECT_EQ(run.status, 1);
  EXPECT_THAT(run.err, HasSubstr("\"" + first + "/vxhost.db\" cannot be opened"));
}

// The mirror keeps every drive that it has ever seen: those that do not exist must not get into it.
TEST_F(Simulated, Run_WithoutDatabaseOption_WritesNone) {
  const std::filesystem::path state = directory_ / "state";
  std::filesystem::create_directory(state);
  auto environment = Environment();
  environment["STATE_DIRECTORY"] = state.string();
  HostProcess host(Words({"run"}), environment);
  ASSERT_TRUE(host.WaitForError("running with 6 adapters")) << host.Errors();
  host.Signal(SIGTERM);
  EXPECT_EQ(host.Wait(), 0);
  EXPECT_TRUE(std::filesystem::is_empty(state));
}

// Which rows another program reads while the host starts: never none.
TEST_F(Simulated, Restart_ShowsTheRowsOfTheRunBeforeUntilThoseOfTheNewOne) {
  const auto database = directory_ / "vx.db";
  const auto words = Words({"run", "--db", "sqlite:" + database.string()});
  {
    HostProcess host(words, Environment());
    ASSERT_TRUE(host.WaitForError("running with 6 adapters")) << host.Errors();
    host.Signal(SIGTERM);
    EXPECT_EQ(host.Wait(), 0);
  }
  const std::string numbers = "SELECT COUNT(*) FROM Adapter";
  {
    Edit({"fault", "--command", "inventory", "--kind", "latency", "--ms", "500"});
    HostProcess host(words, Environment());
    const vxtest::RawSqlite raw(database);
    while (host.Errors().find("running with") == std::string::npos) {
      ASSERT_EQ(raw.One(numbers), "6");
      std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    host.Signal(SIGKILL);
    host.Wait();
  }
  Edit({"fault", "--command", "inventory", "--kind", "hang"});
  HostProcess host(words, Environment());
  ASSERT_EQ(Awaited(database, numbers, "6"), "6");
  std::this_thread::sleep_for(std::chrono::milliseconds(300));
  host.Signal(SIGKILL);
  host.Wait();
  EXPECT_EQ(vxtest::RawSqlite(database).One(numbers), "6");
}

// The service looks after a mirror that it did not get at first.
TEST_F(Simulated, DatabaseThatIsLockedAtTheStart_IsWrittenLater) {
  const auto database = directory_ / "vx.db";
  const auto words = Words({"run", "--db", "sqlite:" + database.string()});
  {
    HostProcess host(words, Environment());
    ASSERT_TRUE(host.WaitForError("running with 6 adapters")) << host.Errors();
    host.Signal(SIGTERM);
    EXPECT_EQ(host.Wait(), 0);
  }
  Edit({"pull", "0"});
  const vxtest::RawSqlite other(database);
  other.Run("BEGIN EXCLUSIVE");
  HostProcess host(words, Environment());
  ASSERT_TRUE(host.WaitForError("running with 5 adapters")) << host.Errors();
  EXPECT_THAT(host.Errors(), HasSubstr("is locked by another program"));
  other.Run("ROLLBACK");
  EXPECT_EQ(Awaited(database, "SELECT COUNT(*) FROM Adapter", "5"), "5");
  EXPECT_EQ(other.One("SELECT COUNT(*) FROM Plugin"), "1");
  EXPECT_TRUE(host.WaitForError("the mirror in the database is written again")) << host.Errors();
  host.Signal(SIGTERM);
  EXPECT_EQ(host.Wait(), 0);
}

TEST_F(Simulated, SecondWriter_SaysWhoIsFirstAndGoesOn) {
  const std::string database = "sqlite:" + (directory_ / "mirror.db").string();
  HostProcess first(Words({"rpc", "--db", database}), Environment());
  first.Send("{\"id\":1,\"command\":1}\n");
  EXPECT_THAT(first.Line(), HasSubstr("\"result\":0"));
  const auto second =
      RunHost(Words({"rpc", "--db", database}), "{\"id\":1,\"command\":1}\n", Environment());
  EXPECT_EQ(second.status, 0);
  EXPECT_THAT(second.out, HasSubstr("\"result\":0"));
  EXPECT_THAT(second.err, HasSubstr("no mirror in a database: "));
  first.EndInput();
  EXPECT_EQ(first.Wait(), 0);
}

// A mirror with a long log, in which a reader keeps the next writer from beginning anew, so that
// the size of the log says how much room is left.
class FullLog {
 public:
  explicit FullLog(const std::filesystem::path& database) : database_(database), pin_(database) {
    pin_.Run("PRAGMA wal_autocheckpoint = 0");
    for (int row = 0; row < 12; ++row) pin_.Run("INSERT INTO PD(Host) VALUES('elsewhere')");
    pin_.Run("BEGIN; SELECT COUNT(*) FROM PD");
  }

  // A limit that lets the log grow by so many pages.
  std::uintmax_t SizeWithRoomFor(unsigned pages) const {
    constexpr unsigned frame = 4096 + 24;
    return std::filesystem::file_size(database_.string() + "-wal") + pages * frame;
  }

 private:
  std::filesystem::path database_;
  vxtest::RawSqlite pin_;
};

// Starts the host with a limit on the size of its files, which is a full disk that every machine
// has.
std::filesystem::path LimitedProgram(const std::filesystem::path& directory, std::uintmax_t size) {
  vxtest::WriteFile(directory / "limited",
                    "#!/bin/sh\ntrap '' XFSZ\necho $$ > '" + (directory / "pid").string() +
                        "'\nulimit -S -f " + std::to_string(size / 512) + "\nexec '" +
                        HostProcess::Program().string() + "' \"$@\"\n",
                    true);
  return directory / "limited";
}

void SetLimit(const std::filesystem::path& directory, rlim_t size) {
  const rlimit limit{size, RLIM_INFINITY};
  const pid_t host = std::stoi(vxtest::ReadFile(directory / "pid"));
  ASSERT_EQ(prlimit(host, RLIMIT_FSIZE, &limit, nullptr), 0);
}

void LiftLimit(const std::filesystem::path& directory) {
  SetLimit(directory, RLIM_INFINITY);
}

TEST_F(Simulated, StartThatTheDatabaseLost_IsWrittenWhenThereIsRoom) {
  const auto database = directory_ / "vx.db";
  const auto words = Words({"run", "--db", "sqlite:" + database.string()});
  {
    HostProcess host(words, Environment());
    ASSERT_TRUE(host.WaitForError("running with 6 adapters")) << host.Errors();
    host.Signal(SIGTERM);
    EXPECT_EQ(host.Wait(), 0);
  }
  const FullLog log(database);
  // Enough for the removal of the earlier rows, too little for the start.
  HostProcess host(words, Environment(),
                   LimitedProgram(directory_.Path(), log.SizeWithRoomFor(3) + 512));
  ASSERT_TRUE(host.WaitForError("running with 6 adapters")) << host.Errors();
  EXPECT_THAT(host.Errors(), HasSubstr("the database has not taken the start: "));
  LiftLimit(directory_.Path());
  EXPECT_EQ(Awaited(database, "SELECT COUNT(*) FROM Adapter", "6"), "6");
  EXPECT_EQ(Awaited(database, "SELECT COUNT(*) FROM Plugin", "1"), "1");
  EXPECT_EQ(vxtest::RawSqlite(database).One("SELECT COUNT(*) FROM PD WHERE Host = 'localhost'"),
            "6");
  host.Signal(SIGTERM);
  EXPECT_EQ(host.Wait(), 0);
}

TEST_F(Simulated, RowsThatCannotBeRemoved_AreSaidAndGoBeforeTheNextRow) {
  const auto database = directory_ / "vx.db";
  constexpr rlim_t PLENTY = 1U << 30U;
  HostProcess host(Words({"rpc", "--db", "sqlite:" + database.string()}), Environment(),
                   LimitedProgram(directory_.Path(), PLENTY));
  host.Send("{\"id\":1,\"command\":1}\n{\"id\":2,\"control\":\"release\"}\n");
  EXPECT_THAT(host.Line(), HasSubstr("\"result\":0"));
  EXPECT_EQ(host.Line(), R"({"id":2,"result":0})");
  const FullLog log(database);
  SetLimit(directory_.Path(), log.SizeWithRoomFor(0));
  host.Send("{\"id\":3,\"control\":\"create\"}\n{\"id\":4,\"control\":\"release\"}\n");
  EXPECT_EQ(host.Line(), R"({"id":3,"result":0})");
  EXPECT_EQ(host.Line(), R"({"id":4,"result":0})");
  EXPECT_THAT(host.Errors(), HasSubstr("the mirror in the database is not written: "));
  EXPECT_EQ(vxtest::RawSqlite(database).One("SELECT COUNT(*) FROM Adapter"), "6");
  LiftLimit(directory_.Path());
  host.Send("{\"id\":5,\"control\":\"create\"}\n");
  EXPECT_EQ(host.Line(), R"({"id":5,"result":0})");
  EXPECT_EQ(vxtest::RawSqlite(database).One("SELECT COUNT(*) FROM Adapter"), "0");
  EXPECT_TRUE(host.WaitForError("the mirror in the database is written again"));
  host.EndInput();
  EXPECT_EQ(host.Wait(), 0);
}

}  // namespace
