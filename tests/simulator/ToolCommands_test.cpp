#include "simulator/ToolRun.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>
#include <rapidjson/document.h>

namespace {

namespace fs = std::filesystem;
using rapidjson::Document;
using rapidjson::Value;
using simtest::FleetDirectory;
using simtest::RunTool;
using simtest::ToolRun;

Document Parse(const std::string& text) {
  Document document;
  document.Parse(text.data(), text.size());
  EXPECT_FALSE(document.HasParseError()) << text;
  EXPECT_TRUE(document.IsObject()) << text;
  if (!document.IsObject()) document.SetObject();
  return document;
}

// The keys of the only section, whose name must be this.
const Value& OnlySection(const Document& document, const char* name) {
  static const Value kNone(rapidjson::kObjectType);
  EXPECT_EQ(document.MemberCount(), 1U);
  EXPECT_TRUE(document.HasMember(name));
  return document.HasMember(name) ? document[name] : kNone;
}

constexpr const char* kFull =
    R"("bootloader": "8B1B", "firmware": "FW1", "devicePath": "/dev/nvme3n1", "deviceStatus": "Healthy",
       "errorString": "none", "maximumLBA": 1000, "nativeMaxLBA": 1100, "sectorSize": 4096,
       "lbaFormat": 3, "numLbaFormats": 7, "powerState": 0, "powerGovernorMode": "25W",
       "tempThreshold": 70,
       "controller": {"description": "cd", "manufacturer": "cm", "service": "cs", "ideMode": false},
       "driver": {"description": "dd", "manufacturer": "dm", "majorVersion": 1, "minorVersion": 10},
       "health": {"criticalWarnings": 9, "flags": {"volatileBackupFailed": true}, "availableSpare": 98,
                  "availableSpareThreshold": 10, "percentageUsed": 3, "dataUnitsRead": 500,
                  "dataUnitsWritten": 18446744073709551615, "powerOnHours": 4096, "mediaErrors": 0,
                  "temperature": 85, "temperatureOffset": 7, "normalizedEA": 99, "normalizedAD": 97})";

TEST(Tool, WithoutAFleet_SaysThatItIsASimulatorAndPrintsNothing) {
  for (const std::string& command :
       {simtest::kInventory, simtest::kVersion, simtest::Log2(0), std::string("anything else")}) {
    const ToolRun run = RunTool(command);
    EXPECT_EQ(run.out, "");
    EXPECT_EQ(run.status, 1);
    EXPECT_NE(run.err.find("this is a simulator"), std::string::npos);
    EXPECT_NE(run.err.find("VXSIM_FLEET"), std::string::npos);
  }
}

TEST(Tool, FleetThatCannotBeRead_IsAnErrorAndNotAnEmptyFleet) {
  const ToolRun run = RunTool(simtest::kInventory, {{"VXSIM_FLEET", "/nonexistent/fleet.json"}});
  EXPECT_EQ(run.out, "");
  EXPECT_EQ(run.status, 1);
  EXPECT_EQ(run.err, "isdct: cannot read /nonexistent/fleet.json: No such file or directory\n");
}

TEST(Tool, UnknownCommandLine_PrintsNothing) {
  const FleetDirectory fleet(simtest::OneDrive());
  for (const char* command : {"show", "show -all -o json", "show -all -o json -torvex 3 3",
                              "show -o json -torvex x -nvmelog SmartHealthInfo", "version",
                              "delete -f -torvex", "start -f -torvex 3 Function=nvmeformat"}) {
    const ToolRun run = fleet.Run(command);
    EXPECT_EQ(run.out, "") << command;
    EXPECT_EQ(run.status, 2) << command;
    EXPECT_NE(run.err.find("does not know this command line"), std::string::npos);
  }
}

TEST(Tool, Inventory_PrintsEveryKeyWithItsType) {
  const FleetDirectory fleet(simtest::OneDrive(kFull));
  const ToolRun run = fleet.Run(simtest::kInventory);
  EXPECT_EQ(run.status, 0);
  EXPECT_EQ(run.err, "");
  EXPECT_EQ(run.out, R"({
  "Intel SSD Test Series SERIAL3": {
    "Bootloader": "8B1B",
    "ControllerDescription": "cd",
    "ControllerIDEMode": false,
    "ControllerManufacturer": "cm",
    "ControllerService": "cs",
    "DevicePath": "/dev/nvme3n1",
    "DeviceStatus": "Healthy",
    "DriverDescription": "dd",
    "DriverMajorVersion": 1,
    "DriverManufacturer": "dm",
    "DriverMinorVersion": 10,
    "ErrorString": "none",
    "Firmware": "FW1",
    "Index": 3,
    "LBAFormat": 3,
    "MaximumLBA": 1000,
    "ModelNumber": "INTEL SSDPE2TEST",
    "NVMePowerState": 0,
    "NativeMaxLBA": 1100,
    "NumLBAFormats": 7,
    "PhysicalSize": 4505600,
    "PowerGovernorMode": "25W",
    "ProductFamily": "Intel SSD Test Series",
    "SectorSize": 4096,
    "SerialNumber": "SERIAL3",
    "TempThreshold": 70
  }
}
)");
}

TEST(Tool, Inventory_LeavesOutWhatTheFleetLeavesOut) {
  const FleetDirectory fleet(
      R"({"drives": [{"index": null, "serial": "S", "model": "M", "section": "Intel Optane X"}]})");
  EXPECT_EQ(
      fleet.Run(simtest::kInventory).out,
      "{\n  \"Intel Optane X S\": {\n    \"ModelNumber\": \"M\",\n    \"SerialNumber\": \"S\"\n  "
      "}\n}\n");
}

TEST(Tool, Inventory_ListsPresentDrivesInTheFleetsOrder) {
  const FleetDirectory fleet(FleetDirectory::Example("mixed.json"));
  const Document document = Parse(fleet.Run(simtest::kInventory).out);
  std::vector<std::string> names;
  for (const auto& section : document.GetObject()) names.emplace_back(section.name.GetString());
  EXPECT_EQ(names, (std::vector<std::string>{"Intel SSD DC P4600 Series PHLE727300XA1P6CGN",
                                             "Intel SSD DC P4510 Series PHLJ000000004P0000",
                                             "Intel SSD DC P4510 Series PHLJ000000002P0001",
                                             "Intel SSD DC P4510 Series PHLJ000000002P0002",
                                             "Intel SSD DC P4610 Series PHLN000000003P2001",
                                             "Intel SSD PHLN003400R81P6AGN"}));
  EXPECT_TRUE(document["Intel SSD DC P4610 Series PHLN000000003P2001"].HasMember("RSTeDiskId"));
}

TEST(Tool, Inventory_OfAnEmptyFleetIsAnEmptyObject) {
  const FleetDirectory fleet(R"({"drives": []})");
  EXPECT_EQ(Parse(fleet.Run(simtest::kInventory).out).MemberCount(), 0U);
}

TEST(Tool, HealthLog_PrintsCountersAsHexadecimalTexts) {
  const FleetDirectory fleet(simtest::OneDrive(kFull));
  EXPECT_EQ(fleet.Run(simtest::Log2(3)).out, R"({
  "NVMeLog SMART and Health Information SERIAL3": {
    "Critical Warnings": 9,
    "Available Spare Space has fallen below the threshold": true,
    "Device reliability has degraded": false,
    "Media is in a read-only mode": true,
    "Volatile memory backup device has failed": true,
    "Available Spare Normalized percentage of the remaining spare capacity available": 98,
    "Available Spare Threshold Percentage": 10,
    "Percentage Used": 3,
    "Data Units Read": "1F4",
    "Data Units Written": "FFFFFFFFFFFFFFFF",
    "Power On Hours": "1000",
    "Media Errors": "0"
  }
}
)");
}

TEST(Tool, OtherLogs_PrintTheirSections) {
  const FleetDirectory fleet(simtest::OneDrive(kFull));
  const Document temperature = Parse(fleet.Run(simtest::Log197(3)).out);
  const Value& statistics = OnlySection(temperature, "NVMeLog Temp Statistics SERIAL3");
  EXPECT_EQ(statistics["Current Temperature"].GetInt(), 85);
  EXPECT_EQ(statistics["Estimated offset in Celsius"].GetInt(), 7);
  const Document attributes = Parse(fleet.Run(simtest::Log202(3)).out);
  const Value& smart = OnlySection(attributes, "SMART Attributes SERIAL3");
  EXPECT_EQ(smart["EA"]["Normalized"].GetUint64(), 99U);
  EXPECT_EQ(smart["AD"]["Normalized"].GetUint64(), 97U);
  EXPECT_EQ(fleet.Run(simtest::Log203(3)).out, fleet.Run(simtest::kInventory).out);
}

TEST(Tool, LogOfADriveThatSaysNothing_HasAnEmptySection) {
  const FleetDirectory fleet(simtest::OneDrive());
  for (const std::string& log : {simtest::Log2(3), simtest::Log197(3), simtest::Log202(3)}) {
    const Document document = Parse(fleet.Run(log).out);
    ASSERT_EQ(document.MemberCount(), 1U);
    EXPECT_EQ(document.MemberBegin()->value.MemberCount(), 0U);
  }
}

TEST(Tool, ExtraKeys_StandAtTheEndOfTheirSection) {
  const FleetDirectory fleet(simtest::OneDrive(
      R"("firmware": "FW1", "extra": {"inventory": {"Namespaces": 2, "A key": ["x", {"y": 1.5}]}})"));
  EXPECT_EQ(fleet.Run(simtest::kInventory).out, R"({
  "Intel SSD Test Series SERIAL3": {
    "Firmware": "FW1",
    "Index": 3,
    "ModelNumber": "INTEL SSDPE2TEST",
    "ProductFamily": "Intel SSD Test Series",
    "SerialNumber": "SERIAL3",
    "Namespaces": 2,
    "A key": ["x",{"y":1.5}]
  }
}
)");
  EXPECT_EQ(fleet.Run(simtest::Log203(3)).out, fleet.Run(simtest::kInventory).out);
}

TEST(Tool, ExtraKeysOfALog_StandInThatLogOnly) {
  const FleetDirectory fleet(simtest::OneDrive(
      R"("extra": {"log2": {"Endurance Group": "7"}, "log197": {"Highest": 99},
                   "log202": {"AB": {"Normalized": 5}}})"));
  const Document health = Parse(fleet.Run(simtest::Log2(3)).out);
  const Value& log2 = OnlySection(health, "NVMeLog SMART and Health Information SERIAL3");
  EXPECT_STREQ(log2["Endurance Group"].GetString(), "7");
  const Document temperature = Parse(fleet.Run(simtest::Log197(3)).out);
  const Value& log197 = OnlySection(temperature, "NVMeLog Temp Statistics SERIAL3");
  EXPECT_EQ(log197.MemberCount(), 1U);
  EXPECT_EQ(log197["Highest"].GetInt(), 99);
  const Document attributes = Parse(fleet.Run(simtest::Log202(3)).out);
  EXPECT_EQ(OnlySection(attributes, "SMART Attributes SERIAL3")["AB"]["Normalized"].GetInt(), 5);
  EXPECT_EQ(fleet.Run(simtest::kInventory).out.find("Highest"), std::string::npos);
}

TEST(Tool, ExtraKeyWithTheNameOfAKeyOfTheTool_TakesItsPlace) {
  const FleetDirectory fleet(simtest::OneDrive(
      R"("firmware": "FW1", "health": {"mediaErrors": 3, "normalizedEA": 99},
         "extra": {"inventory": {"Firmware": 5}, "log2": {"Media Errors": null},
                   "log202": {"EA": "gone"}})"));
  const Document inventory = Parse(fleet.Run(simtest::kInventory).out);
  const Value& drive = OnlySection(inventory, "Intel SSD Test Series SERIAL3");
  EXPECT_EQ(drive.MemberCount(), 5U);
  EXPECT_EQ(drive["Firmware"].GetInt(), 5);
  const Document health = Parse(fleet.Run(simtest::Log2(3)).out);
  const Value& log2 = OnlySection(health, "NVMeLog SMART and Health Information SERIAL3");
  EXPECT_EQ(log2.MemberCount(), 1U);
  EXPECT_TRUE(log2["Media Errors"].IsNull());
  const Document attributes = Parse(fleet.Run(simtest::Log202(3)).out);
  const Value& log202 = OnlySection(attributes, "SMART Attributes SERIAL3");
  EXPECT_EQ(log202.MemberCount(), 1U);
  EXPECT_STREQ(log202["EA"].GetString(), "gone");
}

TEST(Tool, Version_IsThatOfTheFleet) {
  const FleetDirectory fleet(R"({"toolVersion": "3.0.26", "drives": []})");
  const Document document = Parse(fleet.Run(simtest::kVersion).out);
  EXPECT_STREQ(OnlySection(document, "Version Information")["Version"].GetString(), "3.0.26");
}

TEST(Tool, LogOfADriveThatIsNotThere_SaysNoDeviceSelected) {
  for (const char* members : {R"("present": false)", R"("state": "dead")"}) {
    const FleetDirectory fleet(simtest::OneDrive(members));
    for (const std::string& log :
         {simtest::Log2(3), simtest::Log197(3), simtest::Log202(3), simtest::Log203(3)}) {
      EXPECT_EQ(fleet.Run(log).out, "No device selected\n") << members;
    }
  }
  const FleetDirectory fleet(simtest::OneDrive());
  EXPECT_EQ(fleet.Run(simtest::Log2(4)).out, "No device selected\n");
  EXPECT_EQ(fleet.Run(simtest::Log2(-3)).out, "No device selected\n");
}

TEST(Tool, Format_PutsTheDriveBackToFormatZeroAndKeepsItsBytes) {
  const FleetDirectory fleet(simtest::OneDrive(kFull));
  const ToolRun run = fleet.Run(simtest::FormatCommand(3));
  EXPECT_EQ(run.status, 0);
  EXPECT_NE(run.out.find("successful"), std::string::npos);
  const Document after = Parse(fleet.Run(simtest::kInventory).out);
  const Value& drive = OnlySection(after, "Intel SSD Test Series SERIAL3");
  EXPECT_EQ(drive["SectorSize"].GetUint(), 512U);
  EXPECT_EQ(drive["LBAFormat"].GetInt(), 0);
  EXPECT_EQ(drive["MaximumLBA"].GetUint64(), 8000U);
  EXPECT_EQ(drive["NativeMaxLBA"].GetUint64(), 8800U);
  EXPECT_EQ(drive["PhysicalSize"].GetUint64(), 4505600U);
  EXPECT_EQ(Parse(fleet.Text())["drives"][0]["maintenance"]["formats"].GetUint64(), 1U);
}

TEST(Tool, Delete_EmptiesTheDriveAndCounts) {
  const FleetDirectory fleet(simtest::OneDrive(R"("usedBytes": 5000)"));
  for (int i = 0; i < 2; ++i) {
    const ToolRun run = fleet.Run("delete -f -torvex 3");
    EXPECT_EQ(run.status, 0);
    EXPECT_NE(run.out.find("successful"), std::string::npos);
  }
  const Document document = Parse(fleet.Text());
  EXPECT_EQ(document["drives"][0]["usedBytes"].GetUint64(), 0U);
  EXPECT_EQ(document["drives"][0]["maintenance"]["erases"].GetUint64(), 2U);
}

TEST(Tool, Set_KeepsTheSettingGluedToTheIndex) {
  const FleetDirectory fleet(simtest::OneDrive());
  for (const char* setting : {"N=5GB", "Power=X5", "a.b=5", "N2=native", "N=50GB"}) {
    const ToolRun run = fleet.Run(std::string("delete -f -torvex 3") + setting);
    EXPECT_EQ(run.status, 0) << setting;
    EXPECT_NE(run.out.find("successful"), std::string::npos) << setting;
  }
  const Document document = Parse(fleet.Text());
  const Value& drive = document["drives"][0];
  ASSERT_TRUE(drive.HasMember("settings"));
  EXPECT_STREQ(drive["settings"]["N"].GetString(), "50GB");
  EXPECT_STREQ(drive["settings"]["Power"].GetString(), "X5");
  EXPECT_STREQ(drive["settings"]["a.b"].GetString(), "5");
  EXPECT_STREQ(drive["settings"]["N2"].GetString(), "native");
  EXPECT_FALSE(drive.HasMember("maintenance"));  // nothing was deleted
}

TEST(Tool, MaintenanceOfADriveThatIsNotThere_ChangesNothing) {
  const FleetDirectory fleet(simtest::OneDrive());
  const std::string before = fleet.Text();
  for (const std::string& command :
       {simtest::FormatCommand(4), std::string("delete -f -torvex 4"),
        std::string("delete -f -torvex 4N=5"), std::string("delete -f -torvex x"),
        std::string("delete -f -torvex 3N"), std::string("delete -f -torvex 3=5")}) {
    const ToolRun run = fleet.Run(command);
    EXPECT_EQ(run.out, "Error: Given drive index is invalid.\n") << command;
    EXPECT_EQ(run.status, 1) << command;
  }
  EXPECT_EQ(fleet.Text(), before);
}

TEST(Tool, MaintenanceByManyAtOnce_LosesNone) {
  const FleetDirectory fleet(simtest::OneDrive());
  constexpr int kRuns = 12;
  std::vector<std::thread> threads;
  for (int i = 0; i < kRuns; ++i) {
    threads.emplace_back([&fleet] { fleet.Run("delete -f -torvex 3"); });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(Parse(fleet.Text())["drives"][0]["maintenance"]["erases"].GetInt(), kRuns);
}

TEST(Tool, SameFleet_GivesTheSameBytesEveryTime) {
  const FleetDirectory one(FleetDirectory::Example("known-drives.json"));
  const FleetDirectory other(FleetDirectory::Example("known-drives.json"));
  for (const std::string& command :
       {simtest::kInventory, simtest::kVersion, simtest::Log2(0), simtest::Log197(1),
        simtest::Log202(2), simtest::Log203(3), simtest::FormatCommand(0), simtest::Log203(0)}) {
    const std::string first = one.Run(command).out;
    EXPECT_NE(first, "");
    EXPECT_EQ(other.Run(command).out, first) << command;
  }
  EXPECT_EQ(one.Text(), other.Text());
}

TEST(Tool, FileBeingWrittenInPlace_IsReadAgainUntilItIsWhole) {
  const FleetDirectory fleet("{\"drives\": [");
  ToolRun run;
  std::jthread reader([&] { run = fleet.Run(simtest::kInventory); });
  fleet.Write(simtest::OneDrive());
  reader.join();
  EXPECT_EQ(run.status, 0) << run.err;
  EXPECT_NE(run.out.find("SERIAL3"), std::string::npos);
}

TEST(Tool, BehindThePreloadedLibrary_PrintsTheSame) {
  const FleetDirectory fleet(simtest::OneDrive(kFull));
  const ToolRun plain = fleet.Run(simtest::kInventory);
  const ToolRun preloaded = RunTool(
      simtest::kInventory, {{"VXSIM_FLEET", fleet.File().string()}, {"LD_PRELOAD", VXSIM_PRELOAD}});
  EXPECT_EQ(preloaded.out, plain.out);
  EXPECT_EQ(preloaded.err, "");
  EXPECT_EQ(preloaded.status, 0);
}

TEST(Tool, ExampleFleets_AnswerEveryQueryOfEveryPresentDrive) {
  for (const char* name : {"known-drives.json", "mixed.json", "fleet-64.json"}) {
    const FleetDirectory fleet(FleetDirectory::Example(name));
    const Document inventory = Parse(fleet.Run(simtest::kInventory).out);
    EXPECT_GE(inventory.MemberCount(), 6U);
    for (const auto& section : inventory.GetObject()) {
      const int index = section.value["Index"].GetInt();
      if (index > 8) continue;  // the others are made alike
      for (const std::string& log :
           {simtest::Log2(index), simtest::Log197(index), simtest::Log202(index)}) {
        EXPECT_EQ(Parse(fleet.Run(log).out).MemberCount(), 1U) << name << ": " << log;
      }
    }
  }
}

}  // namespace
