// Simulated drives and "doctor", with the plug-in and the stand-in of the tree.
#include "HostProcess.h"
#include "support/Files.h"

#include <csignal>
#include <string>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <rapidjson/document.h>
#include <sys/stat.h>

namespace {

using testing::Contains;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::UnorderedElementsAreArray;
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

// The host in a tree of its own, with a tool that answers like the stand-in after a stream editor
// has gone over the answers to one query.
class ScriptedTool : public SimulatedFleet {
 protected:
  ScriptedTool() {
    fs::create_directory(home_);
    for (const char* const part : {"lib", "plugins", "bin"}) {
      fs::copy(vxtest::HostProcess::Tree() / part, home_ / part);
    }
    fs::copy(vxtest::HostProcess::Program(), home_ / "vxhost");
    fs::rename(home_ / "bin" / "isdct", home_ / "bin" / "answers");
    fs::create_directory(home_ / "etc");
    const auto run =
        vxtest::RunHost({"simulate", "sysfs", "--root", Sysfs(), "--fleet", fleet_.string()});
    EXPECT_EQ(run.status, 0) << run.err;
  }
  std::string Sysfs() const { return (directory_ / "sys").string(); }

  // What is done to the answer of the queries whose words the pattern matches.
  void Distort(const std::string& pattern, const std::string& filter) {
    const std::string call = "'" + (home_ / "bin" / "answers").string() + "' \"$@\"";
    vxtest::WriteFile(home_ / "bin" / "isdct",
                      "#!/bin/sh\ncase \"$*\" in\n'" + pattern + "') " + call + " | " + filter +
                          ";;\n*) exec " + call + ";;\nesac\n",
                      true);
  }

  vxtest::HostRun RunDoctor(const std::vector<std::string>& options) const {
    std::vector<std::string> words = {"doctor", "--sysfs", Sysfs()};
    words.insert(words.end(), options.begin(), options.end());
    return vxtest::RunHost(words, "", {{"VXSIM_FLEET", fleet_.string()}}, home_ / "vxhost");
  }

  // What doctor says of the drive with that serial number.
  struct Finding {
    int status = 0;
    std::string verdict;
    std::string reason;
    std::vector<std::string> missing, wrongType, unknown;
  };
  Finding Doctor(const std::string& serial) const {
    const auto run = RunDoctor({"--json"});
    rapidjson::Document document;
    document.Parse(run.out.c_str());
    EXPECT_FALSE(document.HasParseError()) << run.out << run.err;
    Finding finding;
    finding.status = run.status;
    if (document.HasParseError()) return finding;
    for (const auto& device : document["devices"].GetArray()) {
      if (device["serial"].GetString() != serial) continue;
      finding.verdict = device["verdict"].GetString();
      finding.reason = device["reason"].GetString();
      finding.missing = Texts(device["missing"]);
      finding.wrongType = Texts(device["wrongType"]);
      finding.unknown = Texts(device["unknown"]);
    }
    return finding;
  }

  static std::vector<std::string> Texts(const rapidjson::Value& list) {
    std::vector<std::string> texts;
    for (const auto& text : list.GetArray()) texts.emplace_back(text.GetString());
    return texts;
  }

  const std::string served_ = "PHLE727300XA1P6CGN";
  const fs::path home_ = directory_ / "home";
};

TEST_F(ScriptedTool, Doctor_GivesEachDriveTheReasonThatIsItsOwn) {
  Distort("none", "cat");
  const Finding served = Doctor(served_);
  EXPECT_EQ(served.status, 0);
  EXPECT_EQ(served.verdict, "adapter");
  EXPECT_EQ(served.reason, "");
  const std::vector<std::pair<std::string, std::string>> leftOut = {
      {"PHLN000000003P2001", "member of a platform RAID volume"},
      {"PHLN003400R81P6AGN", "its model is not served"},
      {"PHLJ000000002P0001", "behind a volume-management controller"},
      {"PHLJ000000002P0002", "behind a volume-management controller"}};
  for (const auto& [serial, reason] : leftOut) {
    const Finding finding = Doctor(serial);
    EXPECT_EQ(finding.verdict, "left out") << serial;
    EXPECT_EQ(finding.reason, reason) << serial;
  }
}

TEST_F(ScriptedTool, Doctor_TellsASectionWithoutIndexOrModel) {
  Distort("show -all -o json -torvex", "sed 's/\"Index\": 0,//'");
  const Finding index = Doctor(served_);
  EXPECT_EQ(index.status, 1);
  EXPECT_EQ(index.verdict, "wrong");
  EXPECT_EQ(index.reason, "the tool gives it no index");
  Distort("show -all -o json -torvex", "sed '/SSDPE2KE016T7/d'");
  EXPECT_EQ(Doctor(served_).reason, "the tool gives it no model number");
}

TEST_F(ScriptedTool, Doctor_TellsASilentToolFromOneThatDoesNotListTheDrive) {
  Distort("show -all -o json -torvex", "true");
  const Finding silent = Doctor(served_);
  EXPECT_EQ(silent.status, 1);
  EXPECT_EQ(silent.verdict, "wrong");
  EXPECT_EQ(silent.reason, "the tool is silent");
  // What would not be served anyway has its own reason all the same.
  EXPECT_EQ(Doctor("PHLJ000000002P0001").reason, "behind a volume-management controller");
  Distort("show -all -o json -torvex", "sed 's/\"Intel SSD[^\"]*\": {/\"Renamed\": {/'");
  EXPECT_EQ(Doctor(served_).reason,
            "not named like a drive of the tool: neither \"Intel SSD\" nor \"Intel Optane\"");
  Distort("show -all -o json -torvex", "printf '{}'");
  EXPECT_EQ(Doctor(served_).reason, "the tool does not list it");
  Distort("show -all -o json -torvex", "printf 'No device selected\\n'");
  EXPECT_EQ(
      Doctor(served_).reason,
      "the tool's answer is no JSON object (at byte 0 of 19); it says \"No device selected\"");
  Distort("show -all -o json -torvex", "{ head -c 200000 /dev/zero | tr '\\0' '['; }");
  EXPECT_THAT(Doctor(served_).reason,
              testing::StartsWith("the tool's answer nests deeper than 256 levels; it says \"[[["));
}

TEST_F(ScriptedTool, Doctor_QuotesAToolThatAnswersInWords) {
  Distort("show -all -o json -torvex", "{ echo 'You must be root to run this tool'; }");
  EXPECT_EQ(
      Doctor(served_).reason,
      "the tool's answer is no JSON object (at byte 0 of 34); it says \"You must be root to run "
      "this tool\"");
  Distort("show -o json -torvex 0 -nvmelog SmartHealthInfo", "{ echo '{\"Error\":\"busy\"}'; }");
  const Finding lacks = Doctor(served_);
  EXPECT_EQ(lacks.status, 1);
  EXPECT_EQ(lacks.verdict, "wrong");
  EXPECT_EQ(lacks.reason,
            "an adapter without health values, health log: the tool's answer lacks its section; it "
            "says \"{\"Error\":\"busy\"}\"");
}

TEST_F(ScriptedTool, Doctor_NamesTheOneOfTwoDrivesWithOneSerialNumberThatNobodyWatches) {
  vxtest::WriteFile(
      fleet_, R"({"drives":[{"serial":"SAME","model":"INTEL SSDPE2KX040T8","index":0,)"
              R"("devicePath":"/dev/nvme0n1","pci":{"address":"0000:01:00.0","device":"0a54"}},)"
              R"({"serial":"OTHER","model":"INTEL SSDPE2KX040T8","index":1,)"
              R"("devicePath":"/dev/nvme1n1","pci":{"address":"0000:02:00.0","device":"0a54"}}]})");
  EXPECT_EQ(
      vxtest::RunHost({"simulate", "sysfs", "--root", Sysfs(), "--fleet", fleet_.string()}).status,
      0);
  Distort("show -all -o json -torvex", "sed 's/OTHER/SAME/'");
  const auto run = RunDoctor({});
  EXPECT_EQ(run.status, 1) << run.out;
  EXPECT_THAT(run.out, HasSubstr("adapter  SAME  INTEL SSDPE2KX040T8  /dev/nvme0n1"));
  EXPECT_THAT(run.out, HasSubstr("wrong  SAME  INTEL SSDPE2KX040T8  /dev/nvme1n1"));
  EXPECT_THAT(run.out, HasSubstr("/dev/nvme0n1 has the same serial number and is shown; one of the "
                                 "two is not watched"));
}

TEST_F(ScriptedTool, Doctor_NamesTheLibraryThatTheToolLacks) {
  Distort("none", "cat");
  EXPECT_THAT(RunDoctor({}).out, Not(HasSubstr("library")));
  const fs::path library = home_ / "bin" / "libIntel.SSDFeatures.so.2.0.0";
  fs::remove(library);
  EXPECT_THAT(RunDoctor({}).out, HasSubstr("its library " + library.string() + " is missing"));
  EXPECT_THAT(RunDoctor({"--json"}).out, HasSubstr("\"installationProblem\":\"its library "));
  // Without the tool there is a worse problem.
  fs::remove(home_ / "bin" / "isdct");
  EXPECT_THAT(RunDoctor({}).out, Not(HasSubstr("library")));
}

TEST_F(ScriptedTool, Doctor_ShowsTheKeysOfAHealthyDriveOnlyWhenAsked) {
  Distort("none", "cat");
  const auto run = RunDoctor({});
  EXPECT_EQ(run.status, 0) << run.out;
  EXPECT_THAT(run.out, Not(HasSubstr("missing: ")));
  const auto verbose = RunDoctor({"--verbose"});
  EXPECT_EQ(verbose.status, 0);
  EXPECT_THAT(verbose.out, HasSubstr("\n    missing: inventory: "));
  Distort("show -o json -torvex 0 -nvmelog TemperatureStatistics", "sed 's/: 35/: 35.5/'");
  EXPECT_THAT(
      RunDoctor({}).out,
      HasSubstr("\n    wrong type: temperature log: Current Temperature is not a whole number"));
}

TEST_F(ScriptedTool, Doctor_NeverWaitsForAFileOfAnotherSysfs) {
  Distort("none", "cat");
  const fs::path function = fs::path(Sysfs()) / "bus" / "pci" / "devices" / "0000:01:00.0";
  for (const char* const attribute : {"vendor", "class"}) {
    fs::remove(function / attribute);
    ASSERT_EQ(::mkfifo((function / attribute).c_str(), 0600), 0);
  }
  fs::remove(function / "nvme" / "nvme0" / "serial");
  fs::create_symlink("/dev/zero", function / "nvme" / "nvme0" / "serial");
  const auto run = RunDoctor({});
  EXPECT_EQ(run.status, 0) << run.out << run.err;
  EXPECT_LT(run.out.size(), 10'000U);
}

TEST_F(ScriptedTool, Doctor_SaysWhyTheToolFailed) {
  Distort("show -all -o json -torvex", "exit 4");
  EXPECT_THAT(Doctor(served_).reason, HasSubstr("ended with status 4 and printed nothing"));
  Distort("show -o json -torvex 0 -nvmelog SmartHealthInfo", "exit 5");
  EXPECT_THAT(Doctor(served_).reason,
              testing::MatchesRegex("an adapter without health values, health log: the tool is "
                                    "silent: .* ended with status 5 and printed nothing"));
  fs::remove(home_ / "bin" / "isdct");
  EXPECT_THAT(Doctor(served_).reason,
              testing::MatchesRegex("the tool failed: cannot start .*: No such file or directory"));
}

TEST_F(ScriptedTool, Doctor_ReportsTheKeysOfEveryAnswer) {
  struct Case {
    const char* query;
    const char* filter;
    const char* missing;    // empty: as without the filter
    const char* wrongType;  // empty: none
    const char* unknown;    // empty: none
  };
  const std::vector<Case> cases = {
      {"show -all -o json -torvex", "s/\"Firmware\"/\"Firmwares\"/", "inventory: Firmware", "",
       "inventory: Firmwares"},
      {"show -all -o json -torvex", "s/\"TempThreshold\": 70/\"TempThreshold\": \"70\"/", "",
       "inventory: TempThreshold is not a whole number of 32 bits, not negative", ""},
      {"show -o json -torvex 0 -nvmelog SmartHealthInfo", "s/\"Media Errors\"/\"Errors\"/",
       "health log: Media Errors", "", "health log: Errors"},
      {"show -o json -torvex 0 -nvmelog SmartHealthInfo",
       "s/\"Media Errors\": \"0\"/\"Media Errors\": 0/", "",
       "health log: Media Errors is not a text of hexadecimal digits", ""},
      {"show -o json -torvex 0 -nvmelog TemperatureStatistics",
       "s/\"Estimated offset in Celsius\"/\"Offset\"/",
       "temperature log: Estimated offset in Celsius", "", "temperature log: Offset"},
      {"show -o json -torvex 0 -nvmelog TemperatureStatistics", "s/: 35/: 35.5/", "",
       "temperature log: Current Temperature is not a whole number of 32 bits", ""},
      {"show -o json -smart -torvex 0", "s/\"EA\"/\"EB\"/", "SMART attributes: EA", "", ""},
      {"show -o json -smart -torvex 0", "s/: 100/: true/", "",
       "SMART attributes: AD: Normalized is not a whole number of 64 bits, not negative", ""},
      {"show -all -o json -torvex 0", "s/\"PhysicalSize\"/\"Size\"/", "properties: PhysicalSize",
       "", ""},
      {"show -all -o json -torvex 0", "s/\"PhysicalSize\": /\"PhysicalSize\": -/", "",
       "properties: PhysicalSize is not a whole number of 64 bits, not negative", ""},
  };
  Distort("none", "cat");
  const Finding before = Doctor(served_);
  EXPECT_THAT(before.wrongType, IsEmpty());
  EXPECT_THAT(before.unknown, IsEmpty());
  for (const Case& row : cases) {
    Distort(row.query, std::string("sed '") + row.filter + "'");
    const Finding finding = Doctor(served_);
    std::vector<std::string> missing = before.missing;
    if (*row.missing != '\0') missing.emplace_back(row.missing);
    EXPECT_THAT(finding.missing, UnorderedElementsAreArray(missing)) << row.filter;
    if (*row.wrongType == '\0') {
      EXPECT_THAT(finding.wrongType, IsEmpty()) << row.filter;
      EXPECT_EQ(finding.status, 0) << row.filter;
    } else {
      EXPECT_THAT(finding.wrongType, Contains(row.wrongType)) << row.filter;
      EXPECT_EQ(finding.status, 1) << row.filter;
      EXPECT_EQ(finding.reason, "an adapter, but keys of the tool's answer have another type");
    }
    if (*row.unknown == '\0') {
      EXPECT_THAT(finding.unknown, IsEmpty()) << row.filter;
    } else {
      EXPECT_THAT(finding.unknown, Contains(row.unknown)) << row.filter;
    }
  }
}

TEST_F(SimulatedFleet, NestingTooDeep_IsRefusedWithTheFilesName) {
  const std::string list = std::string(200'000, '[') + std::string(200'000, ']');
  for (const std::string& text : {list, "{\"drives\":" + list + "}"}) {
    vxtest::WriteFile(fleet_, text);
    const auto run = Run({"tree"});
    EXPECT_EQ(run.status, 1);
    EXPECT_THAT(run.err, HasSubstr(fleet_.string()));
  }
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
  const fs::path trace = directory_ / "was run";
  vxtest::WriteFile(tool, "#!/bin/sh\ntouch '" + trace.string() + "'\n");
  fs::permissions(tool, fs::perms::owner_all);
  const auto other = vxtest::RunHost(words, "", {}, home / "vxhost");
  EXPECT_EQ(other.status, 1);
  EXPECT_THAT(other.err, HasSubstr("simulator/bin/isdct is not it"));
  EXPECT_FALSE(fs::exists(trace));
}

TEST_F(SimulatedFleet, HelpAndErrors_NameWhatTheUserHasTyped) {
  const auto help = vxtest::RunHost({"simulate", "--help"});
  EXPECT_EQ(help.status, 0) << help.err;
  EXPECT_EQ(help.out, vxtest::RunHost({"simulate"}).out);
  EXPECT_THAT(help.out, HasSubstr("Usage: vxhost simulate "));
  EXPECT_THAT(vxtest::RunHost({"simulate", "pull", "--help"}).out,
              HasSubstr("Usage: vxhost simulate pull "));
  const auto wrong =
      vxtest::RunHost({"simulate", "pull", "0", "--fleet", (directory_ / "none.json").string()});
  EXPECT_EQ(wrong.status, 1);
  EXPECT_THAT(wrong.err, testing::StartsWith("vxhost: cannot read " +
                                             (directory_ / "none.json").string() + ": "));
  EXPECT_THAT(help.out + wrong.err, Not(HasSubstr("isdct")));
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
