// Simulated drives and "doctor", with the plug-in and the stand-in of the tree.
#include "HostProcess.h"
#include "support/Files.h"

#include <csignal>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using testing::HasSubstr;
using testing::Not;
namespace fs = std::filesystem;

class SimulatedFleet : public testing::Test {
 protected:
  SimulatedFleet() {
    fs::create_directory(directory_ / "with blanks");
    fs::copy(VXTEST_MIXED_FLEET, fleet_);
  }
  vxtest::HostRun Run(std::vector<std::string> words) const {
    words.insert(words.end(), {"--simulate", fleet_.string()});
    return vxtest::RunHost(words);
  }
  void Edit(std::vector<std::string> words) const {
    words.insert(words.begin(), "simulate");
    words.insert(words.end(), {"--fleet", fleet_.string()});
    const auto run = vxtest::RunHost(words);
    EXPECT_EQ(run.status, 0) << run.err;
  }

  vxtest::TempDir directory_;
  const fs::path fleet_ = directory_ / "with blanks" / "fleet 1.json";
};

TEST_F(SimulatedFleet, Doctor_GivesEachDeviceItsReason) {
  const auto run = Run({"doctor"});
  EXPECT_EQ(run.status, 0) << run.out << run.err;
  EXPECT_THAT(run.out, HasSubstr("adapter  PHLE727300XA1P6CGN"));
  EXPECT_THAT(run.out, HasSubstr("0000:19:00.0: member of a platform RAID volume\n"));
  EXPECT_THAT(run.out, HasSubstr("0000:1a:00.0: its model is not served\n"));
  EXPECT_THAT(run.out, HasSubstr("10001:81:00.0: behind a volume-management controller\n"));
  EXPECT_THAT(run.out, Not(HasSubstr("wrong")));
}

TEST_F(SimulatedFleet, Doctor_TellsASilentToolAndWrongTypes) {
  Edit({"fault", "0", "--command", "log197", "--kind", "silent"});
  Edit({"fault", "1", "--command", "log2", "--kind", "wrongTypes"});
  const auto run = Run({"doctor", "--json"});
  EXPECT_EQ(run.status, 1) << run.out;
  EXPECT_THAT(run.out, HasSubstr("temperature log: the tool is silent"));
  EXPECT_THAT(run.out, HasSubstr("health log: Power On Hours is not a text of hexadecimal digits"));
}

TEST_F(SimulatedFleet, Doctor_TellsAFailedInventoryOfEveryDriveThatWouldBeServed) {
  Edit({"fault", "--command", "inventory", "--kind", "garbage"});
  const auto run = Run({"doctor"});
  EXPECT_EQ(run.status, 1);
  EXPECT_THAT(run.out, HasSubstr("wrong  PHLE727300XA1P6CGN"));
  EXPECT_THAT(run.out, HasSubstr("the tool's answer is no JSON object"));
  EXPECT_THAT(run.out, HasSubstr("0000:1a:00.0: its model is not served\n"));
}

TEST_F(SimulatedFleet, Doctor_TellsADriveWithoutDriverOrIndex) {
  vxtest::WriteFile(
      fleet_,
      R"({"drives":[{"serial":"A","model":"INTEL SSDPE2KX040T8","index":null,"devicePath":"/dev/nvme0n1",)"
      R"("pci":{"address":"0000:01:00.0","device":"0a54"}},)"
      R"({"serial":"B","model":"INTEL SSDPE2KX040T8","index":1,"present":true,)"
      R"("pci":{"address":"0000:02:00.0","device":"0a54","driver":""}}]})");
  const auto run = Run({"doctor"});
  EXPECT_EQ(run.status, 1);
  EXPECT_THAT(run.out, HasSubstr("0000:01:00.0: the tool gives it no index\n"));
  EXPECT_THAT(run.out, HasSubstr("0000:02:00.0: no NVMe driver is bound\n"));
}

TEST_F(SimulatedFleet, Doctor_WithoutAnyDevice_IsStatus3) {
  vxtest::WriteFile(fleet_, R"({"drives":[]})");
  EXPECT_EQ(Run({"doctor"}).status, 3);
}

TEST_F(SimulatedFleet, InstalledTree_UsesTheStandInOfItsOwn) {
  const fs::path home = directory_ / "installed";
  fs::create_directories(home / "simulator");
  fs::create_directory(home / "bin");
  fs::copy(vxtest::HostProcess::Tree() / "lib", home / "lib");
  fs::copy(vxtest::HostProcess::Tree() / "plugins", home / "plugins");
  fs::copy(vxtest::HostProcess::Tree() / "bin", home / "simulator" / "bin");
  fs::copy(vxtest::HostProcess::Program(), home / "vxhost");
  const std::vector<std::string> words = {"tree", "--simulate", fleet_.string()};
  const auto run = vxtest::RunHost(words, "", {}, home / "vxhost");
  EXPECT_EQ(run.status, 0) << run.err;
  EXPECT_THAT(run.out, HasSubstr("2 adapters"));
  // No other tool is run in its place.
  const fs::path tool = home / "simulator" / "bin" / "isdct";
  vxtest::WriteFile(tool, "#!/bin/sh\necho '{}'\n");
  fs::permissions(tool, fs::perms::owner_all);
  const auto other = vxtest::RunHost(words, "", {}, home / "vxhost");
  EXPECT_EQ(other.status, 1);
  EXPECT_THAT(other.err, HasSubstr("simulator/bin/isdct is not it"));
}

TEST_F(SimulatedFleet, WrongEdit_KeepsTheDrivesAndIsSaid) {
  vxtest::HostProcess host({"run", "--db", "none", "--simulate", fleet_.string()});
  ASSERT_TRUE(host.WaitForError("running with 2 adapters")) << host.Errors();
  vxtest::WriteFile(fleet_, R"({"drives": 5})");
  EXPECT_TRUE(host.WaitForError("the simulated drives stay as they were")) << host.Errors();
  EXPECT_THAT(host.Errors(), HasSubstr("fleet " + fleet_.string()));
  host.Signal(SIGTERM);
  EXPECT_EQ(host.Wait(), 0);
}

TEST_F(SimulatedFleet, FleetThatIsMissingOrNoFile_IsNamed) {
  for (const fs::path& fleet : {directory_ / "none.json", directory_ / "with blanks"}) {
    const auto run = vxtest::RunHost({"tree", "--simulate", fleet.string()});
    EXPECT_EQ(run.status, 1);
    EXPECT_THAT(run.err, testing::StartsWith("vxhost: fleet " + fleet.string()));
  }
}

}  // namespace
