#include "simulator/ToolRun.h"
#include "support/Scale.h"

#include <atomic>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <thread>

#include <gtest/gtest.h>
#include <rapidjson/document.h>

namespace {

namespace fs = std::filesystem;
using rapidjson::Document;
using rapidjson::Value;
using simtest::FleetDirectory;
using simtest::OneDrive;
using simtest::RunTool;
using simtest::ToolRun;

// The fleet file's first drive.
class FirstDrive {
 public:
  explicit FirstDrive(const FleetDirectory& fleet) { document_.Parse(fleet.Text().c_str()); }
  const Value& operator[](const char* key) const { return document_["drives"][0][key]; }
  bool Has(const char* key) const { return document_["drives"][0].HasMember(key); }
  const Document& Whole() const { return document_; }

 private:
  Document document_;
};

constexpr const char* kHealthy =
    R"("tempThreshold": 70, "maximumLBA": 4096, "nativeMaxLBA": 8192, "sectorSize": 512,
       "health": {"criticalWarnings": 0, "availableSpare": 100, "availableSpareThreshold": 10,
                  "temperature": 35, "mediaErrors": 0})";

TEST(Simulator, Identify_PrintsOneLineWithoutAnyFleet) {
  const ToolRun run = RunTool("simulator identify");
  EXPECT_EQ(run.status, 0);
  EXPECT_EQ(run.out, "isdct simulator 1\n");
  EXPECT_EQ(run.err, "");
}

TEST(Simulator, Help_IsThereForEveryCommand) {
  EXPECT_NE(RunTool("--help").out.find("show -all -o json -torvex"), std::string::npos);
  for (const char* command : {"", "identify", "check", "sysfs", "pull", "plug", "heat", "wear",
                              "fail", "repair", "format", "set", "fault", "reset"}) {
    const ToolRun run = RunTool(std::string("simulator ") + command + " --help");
    EXPECT_EQ(run.status, 0) << command;
    EXPECT_NE(run.out.find("Usage: isdct"), std::string::npos) << command;
  }
}

TEST(Simulator, WrongUsage_EndsWithTwoAndPrintsNothingOnStandardOutput) {
  const FleetDirectory fleet(OneDrive());
  for (const char* arguments :
       {"", "simulator", "simulator fly", "simulator pull", "simulator heat 3",
        "simulator heat 3 --to x", "simulator fail 3 --how gently",
        "simulator format 3 --sector-size 1", "simulator fault 3", "simulator fault 3 --kind sleep",
        "simulator plug", "simulator sysfs", "simulator identify now",
        "simulator wear 3 --used 300", "simulator set 3 --key K",
        "simulator set 3 --key K --to 1 --clear", "simulator set 3 --key K --to 1 --in log203",
        "simulator wear 3", "simulator wear 3 --written -1"}) {
    const ToolRun run = fleet.Run(arguments);
    EXPECT_EQ(run.status, 2) << arguments;
    EXPECT_EQ(run.out, "") << arguments;
    EXPECT_NE(run.err, "") << arguments;
  }
  EXPECT_EQ(RunTool("simulator pull 3").status, 2);  // no fleet named
}

TEST(Simulator, UnknownCommand_IsNamed) {
  EXPECT_NE(RunTool("simulator fly").err.find("fly"), std::string::npos);
}

TEST(Simulator, Check_CountsOrSaysWhatIsWrong) {
  const FleetDirectory fleet(FleetDirectory::Example("mixed.json"));
  const ToolRun good = RunTool("simulator check " + fleet.File().string());
  EXPECT_EQ(good.status, 0);
  EXPECT_EQ(good.out, fleet.File().string() + ": 7 drives, 6 of them present, 0 faults\n");
  fleet.Write(R"({"drives": [{"serial": "A"}]})");
  const ToolRun bad = RunTool("simulator check " + fleet.File().string());
  EXPECT_EQ(bad.status, 1);
  EXPECT_EQ(bad.out, "");
  EXPECT_EQ(bad.err, "isdct: " + fleet.File().string() +
                         ": drives[0].model: is missing; add the model number, as in \"INTEL "
                         "SSDPE2KX020T8\"\n");
}

TEST(Simulator, PullAndPlug_ChangeOnlyWhetherTheDriveIsThere) {
  const FleetDirectory fleet(OneDrive(kHealthy));
  fleet.Edit("pull SERIAL3");
  EXPECT_FALSE(FirstDrive(fleet)["present"].GetBool());
  EXPECT_EQ(fleet.Run(simtest::kInventory).out, "{}\n");
  fleet.Edit("plug 3");
  EXPECT_TRUE(FirstDrive(fleet)["present"].GetBool());
  EXPECT_EQ(FirstDrive(fleet)["health"]["temperature"].GetInt(), 35);
}

TEST(Simulator, PlugFile_AddsANewDrive) {
  const FleetDirectory fleet(OneDrive());
  vxtest::WriteFile(fleet.Path() / "new.json", R"({"index": 9, "serial": "NEW", "model": "M"})");
  fleet.Edit("plug --file " + (fleet.Path() / "new.json").string());
  EXPECT_NE(fleet.Run(simtest::kInventory).out.find("\"SerialNumber\": \"NEW\""),
            std::string::npos);
}

TEST(Simulator, PlugIntoAPlaceThatIsTaken_IsRefusedAndChangesNothing) {
  const FleetDirectory fleet(
      R"({"drives": [{"index": 1, "serial": "A", "model": "M"},
                     {"index": 1, "serial": "B", "model": "M", "present": false}]})");
  const std::string before = fleet.Text();
  const ToolRun run = fleet.Run("simulator plug B");
  EXPECT_EQ(run.status, 1);
  EXPECT_NE(run.err.find("index 1 is already used by drives[0].index"), std::string::npos);
  EXPECT_EQ(fleet.Text(), before);
}

TEST(Simulator, UnknownDrive_IsNamedWithThoseThatAreThere) {
  const FleetDirectory fleet(OneDrive());
  const ToolRun run = fleet.Run("simulator pull 8");
  EXPECT_EQ(run.status, 1);
  EXPECT_EQ(run.err, "isdct: " + fleet.File().string() +
                         ": no drive \"8\"; name one by its index or serial number: SERIAL3\n");
}

TEST(Simulator, Heat_SetsTheTemperatureAndTheWarningOfTheThreshold) {
  const FleetDirectory fleet(OneDrive(kHealthy));
  fleet.Edit("heat 3 --to 70");
  EXPECT_EQ(FirstDrive(fleet)["health"]["temperature"].GetInt(), 70);
  EXPECT_EQ(FirstDrive(fleet)["health"]["criticalWarnings"].GetInt(), 2);
  fleet.Edit("heat 3 --to 69");
  EXPECT_EQ(FirstDrive(fleet)["health"]["criticalWarnings"].GetInt(), 0);
  fleet.Edit("heat 3 --to -5");
  EXPECT_EQ(FirstDrive(fleet)["health"]["temperature"].GetInt(), -5);
}

TEST(Simulator, Heat_WithoutAThresholdSetsNoWarning) {
  const FleetDirectory fleet(OneDrive());
  fleet.Edit("heat 3 --to 90");
  EXPECT_EQ(FirstDrive(fleet)["health"]["temperature"].GetInt(), 90);
  EXPECT_FALSE(FirstDrive(fleet)["health"].HasMember("criticalWarnings"));
}

TEST(Simulator, Wear_SetsWhatIsGivenAndTheSpareWarning) {
  const FleetDirectory fleet(OneDrive(kHealthy));
  fleet.Edit(
      "wear 3 --used 101 --spare 9 --media-errors 4 --ea 95 --ad 90 --read 1 --written "
      "18446744073709551615 --hours 7");
  const FirstDrive drive(fleet);
  const Value& health = drive["health"];
  EXPECT_EQ(health["percentageUsed"].GetInt(), 101);
  EXPECT_EQ(health["availableSpare"].GetInt(), 9);
  EXPECT_EQ(health["mediaErrors"].GetInt(), 4);
  EXPECT_EQ(health["normalizedEA"].GetInt(), 95);
  EXPECT_EQ(health["normalizedAD"].GetInt(), 90);
  EXPECT_EQ(health["dataUnitsRead"].GetInt(), 1);
  EXPECT_EQ(health["dataUnitsWritten"].GetUint64(), 18446744073709551615U);
  EXPECT_EQ(health["powerOnHours"].GetInt(), 7);
  EXPECT_EQ(health["criticalWarnings"].GetInt(), 1);
  EXPECT_EQ(health["temperature"].GetInt(), 35);
  fleet.Edit("wear 3 --spare 10");
  EXPECT_EQ(FirstDrive(fleet)["health"]["criticalWarnings"].GetInt(), 0);
}

TEST(Simulator, FailAndRepair_GoAndComeBack) {
  const FleetDirectory fleet(
      OneDrive(kHealthy, R"({"command": "log2", "index": 3, "kind": "silent"},
                                                   {"command": "log2", "index": 4, "kind": "silent"})"));
  for (const char* how : {"spare", "reliability", "read-only", "backup"}) {
    fleet.Edit(std::string("fail 3 --how ") + how);
  }
  EXPECT_EQ(FirstDrive(fleet)["health"]["criticalWarnings"].GetInt(), 0x1d);
  fleet.Edit("fail 3 --how dead");
  EXPECT_EQ(fleet.Run(simtest::Log203(3)).out, "No device selected\n");
  fleet.Edit("heat 3 --to 90");
  fleet.Edit("repair 3");
  const FirstDrive drive(fleet);
  EXPECT_EQ(drive["health"]["criticalWarnings"].GetInt(), 0);
  EXPECT_EQ(drive["health"]["temperature"].GetInt(), 35);
  EXPECT_FALSE(drive.Has("state"));
  EXPECT_EQ(drive.Whole()["faults"].Size(), 1U);  // that of the other index stays
  EXPECT_NE(fleet.Run(simtest::Log2(3)).out, "");
}

TEST(Simulator, Format_ChangesTheSectorSizeAndTheCounts) {
  const FleetDirectory fleet(OneDrive(kHealthy));
  fleet.Edit("format 3 --sector-size 4096");
  EXPECT_EQ(FirstDrive(fleet)["sectorSize"].GetInt(), 4096);
  EXPECT_EQ(FirstDrive(fleet)["lbaFormat"].GetInt(), 1);
  EXPECT_EQ(FirstDrive(fleet)["maximumLBA"].GetInt(), 512);
  EXPECT_EQ(FirstDrive(fleet)["nativeMaxLBA"].GetInt(), 1024);
  fleet.Edit("format 3 --sector-size 4096 --lba-format 3");
  EXPECT_EQ(FirstDrive(fleet)["lbaFormat"].GetInt(), 3);
  EXPECT_EQ(FirstDrive(fleet)["maximumLBA"].GetInt(), 512);
}

TEST(Simulator, Fault_IsInjectedCountedFromThenOnAndCleared) {
  const FleetDirectory fleet(OneDrive(kHealthy));
  for (int i = 0; i < 2; ++i) {  // the second injection starts counting again
    fleet.Edit("fault 3 --command log2 --kind exit --status 6 --first 1");
    EXPECT_EQ(fleet.Run(simtest::Log2(3)).status, 6);
    EXPECT_EQ(fleet.Run(simtest::Log2(3)).status, 0);
    fleet.Edit("fault 3 --clear --command log2");
    EXPECT_EQ(FirstDrive(fleet).Whole()["faults"].Size(), 0U);
  }
}

TEST(Simulator, FaultClear_RemovesOnlyWhatMatches) {
  const FleetDirectory fleet(OneDrive());
  fleet.Edit("fault --command version --kind latency --ms 1");
  fleet.Edit("fault --command version --kind silent");
  fleet.Edit("fault --command inventory --kind silent");
  fleet.Edit("fault --clear --command version --kind silent");
  EXPECT_EQ(FirstDrive(fleet).Whole()["faults"].Size(), 2U);
  fleet.Edit("fault --clear --kind silent");
  EXPECT_EQ(FirstDrive(fleet).Whole()["faults"].Size(), 1U);
  fleet.Edit("fault --clear");
  EXPECT_EQ(FirstDrive(fleet).Whole()["faults"].Size(), 0U);
}

TEST(Simulator, FaultThatIsNone_IsRefusedAndChangesNothing) {
  const FleetDirectory fleet(OneDrive());
  const std::string before = fleet.Text();
  const ToolRun run = fleet.Run("simulator fault --command version --kind hang --ms 5");
  EXPECT_EQ(run.status, 1);
  EXPECT_NE(run.err.find("faults[0].ms: is not known"), std::string::npos);
  EXPECT_EQ(fleet.Text(), before);
}

TEST(Simulator, Set_ChangesOneExtraKey) {
  const FleetDirectory fleet(OneDrive(R"("extra": {"inventory": {"Other": 1}})"));
  const auto inventory = [&] { return fleet.Run(simtest::kInventory).out; };
  fleet.Edit("set 3 --key Namespaces --to 2");
  EXPECT_NE(inventory().find("\"Namespaces\": 2"), std::string::npos);
  fleet.Edit("set SERIAL3 --key Namespaces --to 3");
  fleet.Edit("set 3 --key a.b --to X5");
  const std::string after = inventory();
  EXPECT_EQ(after.find("\"Namespaces\": 2"), std::string::npos);
  EXPECT_NE(after.find("\"Namespaces\": 3"), std::string::npos);
  EXPECT_NE(after.find("\"a.b\": \"X5\""), std::string::npos);
  EXPECT_NE(after.find("\"Other\": 1"), std::string::npos);
  fleet.Edit("set 3 --key Namespaces --clear");
  EXPECT_EQ(inventory().find("Namespaces"), std::string::npos);
}

TEST(Simulator, SetInALog_LeavesTheInventoryAlone) {
  const FleetDirectory fleet(OneDrive());
  const std::string before = fleet.Run(simtest::kInventory).out;
  fleet.Edit(R"(set 3 --in log202 --key AB --to {"Normalized":5})");
  EXPECT_EQ(FirstDrive(fleet)["extra"]["log202"]["AB"]["Normalized"].GetInt(), 5);
  EXPECT_NE(fleet.Run(simtest::Log202(3)).out.find("{\"Normalized\":5}"), std::string::npos);
  EXPECT_EQ(fleet.Run(simtest::kInventory).out, before);
}

TEST(Simulator, SetThatCannotBeDone_IsRefusedAndChangesNothing) {
  const FleetDirectory fleet(OneDrive());
  const std::string before = fleet.Text();
  const ToolRun missing = fleet.Run("simulator set 3 --key K --clear");
  EXPECT_EQ(missing.status, 1);
  EXPECT_EQ(missing.err, "isdct: " + fleet.File().string() +
                             ": drive SERIAL3 has no extra key \"K\" in inventory; name one of "
                             "those that \"extra\" lists\n");
  const std::string deep = std::string(30000, '[') + std::string(30000, ']');
  const ToolRun tooDeep = fleet.Run("simulator set 3 --key K --to " + deep);
  EXPECT_EQ(tooDeep.status, 1);
  EXPECT_NE(tooDeep.err.find("nest"), std::string::npos) << tooDeep.err;
  EXPECT_EQ(fleet.Text(), before);
}

TEST(Simulator, Edit_KeepsWhatItDoesNotTouch) {
  const FleetDirectory fleet(FleetDirectory::Example("known-drives.json"));
  const std::string before = fleet.Text();
  fleet.Edit("heat 2 --to 40");
  fleet.Edit("heat 2 --to 35");
  EXPECT_EQ(fleet.Text(), before);
}

TEST(Simulator, Edit_ReplacesTheFileSoThatNoReaderSeesHalfOfIt) {
  const FleetDirectory fleet(FleetDirectory::Example("fleet-64.json"));
  std::atomic<bool> editing = true;
  std::jthread editor([&] {
    for (int i = 0; i < vxtest::Count(5, 50); ++i)
      fleet.Edit("heat 63 --to " + std::to_string(40 + i));
    editing = false;
  });
  while (editing) {
    Document document;
    document.Parse(fleet.Text().c_str());
    ASSERT_FALSE(document.HasParseError());
    ASSERT_EQ(document["drives"].Size(), 64U);
  }
  editor.join();
  const auto entries = fs::directory_iterator(fleet.Path());
  EXPECT_EQ(std::distance(begin(entries), end(entries)), 1);  // nothing is left beside it
}

TEST(Simulator, Edit_LeavesTheOldTextToWhoeverHasItOpen) {
  const FleetDirectory fleet(OneDrive());
  const std::string before = fleet.Text();
  std::ifstream reader(fleet.File());
  fleet.Edit("pull 3");
  const std::string seen{std::istreambuf_iterator<char>(reader), std::istreambuf_iterator<char>()};
  EXPECT_EQ(seen, before);
  EXPECT_NE(fleet.Text(), before);
}

TEST(Simulator, Edit_LeavesALinkALinkAndKeepsThePermissions) {
  const FleetDirectory fleet(OneDrive());
  fs::permissions(fleet.File(), fs::perms(0640));
  fs::create_symlink("fleet.json", fleet.Path() / "link.json");
  const ToolRun run = RunTool("simulator pull 3 --fleet " + (fleet.Path() / "link.json").string());
  EXPECT_EQ(run.status, 0) << run.err;
  EXPECT_TRUE(fs::is_symlink(fleet.Path() / "link.json"));
  EXPECT_EQ(fs::status(fleet.File()).permissions(), fs::perms(0640));
  EXPECT_FALSE(FirstDrive(fleet)["present"].GetBool());
}

TEST(Simulator, FleetThatIsNamed_CountsBeforeTheEnvironments) {
  const FleetDirectory fleet(OneDrive());
  const FleetDirectory other(OneDrive());
  const std::string before = other.Text();
  const ToolRun run = RunTool("simulator pull 3 --fleet " + fleet.File().string(),
                              {{"VXSIM_FLEET", other.File().string()}});
  EXPECT_EQ(run.status, 0) << run.err;
  EXPECT_FALSE(FirstDrive(fleet)["present"].GetBool());
  EXPECT_EQ(other.Text(), before);
}

TEST(Simulator, WithoutAnyFleet_SaysHowToNameOne) {
  const ToolRun run = RunTool("simulator pull 3");
  EXPECT_EQ(run.status, 2);
  EXPECT_NE(run.err.find("--fleet or VXSIM_FLEET"), std::string::npos) << run.err;
}

}  // namespace
