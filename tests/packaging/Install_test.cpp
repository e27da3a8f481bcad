// "cmake --install" of the build under test.
#include "HostProcess.h"
#include "support/Files.h"

#include <csignal>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using testing::HasSubstr;
namespace fs = std::filesystem;

void Install(const std::string& prefix, const vxtest::HostProcess::Environment& environment = {}) {
  const auto run = vxtest::RunHost({"--install", VXTEST_BUILD, "--prefix", prefix}, "", environment,
                                   VXTEST_CMAKE);
  ASSERT_EQ(run.status, 0) << run.out << run.err;
}

void ExpectToServeTheFleet(const fs::path& prefix) {
  const auto run = vxtest::RunHost({"tree", "--simulate", VXTEST_FLEETS "/known-drives.json"}, "",
                                   {}, prefix / "bin" / "vxhost");
  EXPECT_EQ(run.status, 0) << run.err;
  EXPECT_THAT(run.out, HasSubstr("6 adapters"));
}

TEST(Install, BelowAnyPrefix_RunsFromThereAndCanBeMoved) {
  const vxtest::TempDir directory;
  const fs::path prefix = directory / "prefix";
  Install(prefix);
  EXPECT_EQ(fs::canonical(prefix / "bin" / "vxhost"),
            fs::canonical(prefix) / "lib" / "vxhost" / "vxhost");
  ExpectToServeTheFleet(prefix);
  const fs::path moved = directory / "moved";
  fs::rename(prefix, moved);
  ExpectToServeTheFleet(moved);
}

TEST(Install, OptionsFilesAreThoseThatTheInstalledProgramUses) {
  const vxtest::TempDir directory;
  Install(directory.Path());
  const auto run = vxtest::RunHost(
      {"set", "Torvex-Plugin", "30005", "45", "--simulate", VXTEST_FLEETS "/known-drives.json"}, "",
      {}, directory / "bin/vxhost");
  EXPECT_EQ(run.status, 0) << run.err;
  EXPECT_THAT(vxtest::ReadFile(directory / "etc/vxhost/piTorvex.ini"),
              HasSubstr("\nPollInterval=45\n"));
}

TEST(Install, LeavesThePlaceOfTheToolToTheAdministrator) {
  const vxtest::TempDir directory;
  Install(directory.Path());
  EXPECT_TRUE(fs::is_empty(directory / "lib/vxhost/bin"));
  EXPECT_TRUE(fs::exists(directory / "lib/vxhost/simulator/bin/isdct"));
}

TEST(Install, UnitNamesThePlacesBelowThePrefix) {
  const vxtest::TempDir directory;
  const std::string prefix = directory.Path();
  Install(prefix);
  const std::string unit = vxtest::ReadFile(directory / "lib/systemd/system/vxhost.service");
  EXPECT_THAT(unit, HasSubstr("\nConditionPathExists=" + prefix + "/lib/vxhost/bin/isdct\n"));
  EXPECT_THAT(unit, HasSubstr("\nExecStart=" + prefix + "/bin/vxhost run\n"));
  EXPECT_THAT(unit, HasSubstr("\nReadWritePaths=-" + prefix + "/etc/vxhost\n"));
}

// What systemd would enforce by itself is left out where no systemd runs; the rules for system
// calls, sockets and memory are the ones that a program trips over unseen.
#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
class HeldAsTheUnit : public testing::Test {
 protected:
  void SetUp() override {
    ASSERT_TRUE(fs::exists("/usr/bin/systemd-analyze")) << "install the package systemd";
    Install(directory_.Path());
  }

  vxtest::HostRun Run(std::vector<std::string> words) const {
    words.insert(words.begin(), unit_);
    return vxtest::RunHost(words, "", {}, VXTEST_PACKAGING "/as-unit");
  }

  vxtest::TempDir directory_;
  std::string unit_ = directory_ / "lib/systemd/system/vxhost.service";
  std::string program_ = directory_ / "bin/vxhost";
};

TEST_F(HeldAsTheUnit, ServesTheFleet) {
  const auto run = Run({program_, "tree", "--simulate", VXTEST_FLEETS "/known-drives.json"});
  EXPECT_EQ(run.status, 0) << run.err;
  EXPECT_THAT(run.out, HasSubstr("6 adapters"));
}

TEST_F(HeldAsTheUnit, RunsAsAServiceAndEndsInOrder) {
  vxtest::HostProcess service(
      {unit_, program_, "run", "--simulate", VXTEST_FLEETS "/known-drives.json", "--db",
       "sqlite:" + (directory_ / "mirror.db").string()},
      {}, VXTEST_PACKAGING "/as-unit");
  ASSERT_TRUE(service.WaitForError("running with 6 adapters")) << service.Errors();
  service.Signal(SIGTERM);
  EXPECT_EQ(service.Wait(), 0) << service.Errors();
  EXPECT_TRUE(fs::exists(directory_ / "mirror.db"));
}

TEST_F(HeldAsTheUnit, NetworkPrioritiesAndWritableCodeAreRefused) {
  for (const std::string refused :
       {"import socket; socket.socket(socket.AF_INET)", "import os; os.nice(1)",
        "import socket; socket.socket(socket.AF_NETLINK, socket.SOCK_RAW)",
        "import mmap; mmap.mmap(-1, 4096, prot=mmap.PROT_WRITE | mmap.PROT_EXEC)"}) {
    EXPECT_EQ(Run({"python3", "-c", refused}).status, 1) << refused;
  }
  EXPECT_EQ(Run({"python3", "-c", "import socket; socket.socket(socket.AF_UNIX)"}).status, 0);
}

// Short values, each of which takes many times its text when it is read: 60 MiB of them are refused
// by a bound of the reader's own, and 30 MiB are not, but do not fit into the unit's memory.
TEST_F(HeldAsTheUnit, AnAnswerThatNeedsTooMuchMemory_EndsTheQueryAndNotTheProgram) {
  const fs::path home = directory_ / "lib/vxhost";
  const std::string preloaded = "libIntel.SSDFeatures.so.2.0.0";
  fs::copy(home / "simulator/bin" / preloaded, home / "bin" / preloaded);
  const fs::path tool = home / "bin/isdct";
  const std::string sysfs = directory_ / "sys";
  const std::string fleet = VXTEST_FLEETS "/known-drives.json";
  ASSERT_EQ(
      vxtest::RunHost({"simulate", "sysfs", "--root", sysfs, "--fleet", fleet}, "", {}, program_)
          .status,
      0);
  for (const int mebibytes : {24, 30, 60}) {
    vxtest::WriteFile(tool,
                      "#!/bin/sh\n"
                      "printf '{\"Intel SSD\":['\n"
                      "yes 0, | tr -d '\\n' | head -c " +
                          std::to_string(mebibytes << 20) +
                          "\n"
                          "printf '0]}'\n");
    fs::permissions(tool, fs::perms::owner_all);
    const auto run = Run({program_, "tree", "--sysfs", sysfs});
    EXPECT_EQ(run.status, 1) << mebibytes << " MiB: " << run.err;
    EXPECT_THAT(run.err, HasSubstr("start-up failed")) << mebibytes << " MiB";
    EXPECT_THAT(run.err, HasSubstr("(20012)")) << mebibytes << " MiB";
  }
}

// The measure of systemd itself, in tenths.
TEST_F(HeldAsTheUnit, ExposureIsAtMostOneAndAHalf) {
  const auto run = vxtest::RunHost({"security", "--offline=true", "--threshold=15", unit_}, "", {},
                                   "/usr/bin/systemd-analyze");
  EXPECT_EQ(run.status, 0) << run.out;
}
#endif

TEST(Install, BelowUsr_TakesTheSystemsConfiguration) {
  const vxtest::TempDir stage;
  Install("/usr", {{"DESTDIR", stage.Path().string()}});
  EXPECT_TRUE(fs::exists(stage / "etc/vxhost/piTorvex.ini"));
  EXPECT_TRUE(fs::exists(stage / "etc/vxhost/CustomOpOpts.ini"));
  EXPECT_EQ(fs::read_symlink(stage / "usr/lib/vxhost/etc"), "/etc/vxhost");
  EXPECT_EQ(fs::read_symlink(stage / "usr/bin/vxhost"), "../lib/vxhost/vxhost");
  const std::string unit = vxtest::ReadFile(stage / "usr/lib/systemd/system/vxhost.service");
  EXPECT_THAT(unit, HasSubstr("\nReadWritePaths=-/etc/vxhost\n"));
}

}  // namespace
