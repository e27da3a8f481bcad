#include "FleetReader.h"

#include "simulator/ToolRun.h"

#include <string>

#include <gtest/gtest.h>

namespace {

using vxsim::Fleet;
using vxsim::FleetError;
using vxsim::ParseFleet;

std::string ErrorOf(const std::string& text) {
  try {
    ParseFleet(text, "f");
  } catch (const FleetError& error) {
    return error.what();
  }
  return "no error";
}

// The error of a drive with these members besides the required ones.
std::string DriveError(const std::string& members) {
  return ErrorOf(simtest::OneDrive(members));
}

std::string FaultError(const std::string& fault) {
  return ErrorOf(simtest::OneDrive("", fault));
}

TEST(ParseFleet, DriveWithTheLeast_LeavesTheRestEmpty) {
  const Fleet fleet = ParseFleet(R"({"drives": [{"serial": "S", "model": "M"}]})", "f");
  ASSERT_EQ(fleet.drives.size(), 1U);
  const vxsim::Drive& drive = fleet.drives[0];
  EXPECT_EQ(drive.serial, "S");
  EXPECT_EQ(drive.model, "M");
  EXPECT_EQ(drive.index, 0);
  EXPECT_TRUE(drive.present);
  EXPECT_EQ(drive.state, "live");
  EXPECT_EQ(drive.section, "Intel SSD");
  EXPECT_FALSE(drive.firmware);
  EXPECT_FALSE(drive.health.temperature);
  EXPECT_FALSE(drive.pci);
  EXPECT_EQ(fleet.toolVersion, "simulated");
}

TEST(ParseFleet, IndexLeftOut_IsThePositionInTheList) {
  const Fleet fleet = ParseFleet(
      R"({"drives": [{"serial": "A", "model": "M"}, {"serial": "B", "model": "M"},
          {"serial": "C", "model": "M", "index": null}]})",
      "f");
  EXPECT_EQ(fleet.drives[1].index, 1);
  EXPECT_FALSE(fleet.drives[2].index);
}

TEST(ParseFleet, WidestNumbers_AreKept) {
  const Fleet fleet = ParseFleet(
      simtest::OneDrive(R"("maximumLBA": 18446744073709551615, "health": {"percentageUsed": 255,
                          "temperature": -273, "dataUnitsRead": 18446744073709551615})"),
      "f");
  EXPECT_EQ(fleet.drives[0].maximumLBA, 18446744073709551615U);
  EXPECT_EQ(fleet.drives[0].health.dataUnitsRead, 18446744073709551615U);
  EXPECT_EQ(fleet.drives[0].health.percentageUsed, 255);
  EXPECT_EQ(fleet.drives[0].health.temperature, -273);
}

TEST(ParseFleet, PulledDrive_MayHaveThePlaceOfAnother) {
  const std::string place =
      R"("index": 1, "devicePath": "/dev/nvme0", "pci": {"address": "0000:01:00.0", "device": "0953",
         "slot": "1"}})";
  const std::string first = R"({"drives": [{"serial": "A", "model": "M", )" + place;
  EXPECT_EQ(ErrorOf(first + R"(, {"serial": "B", "model": "M", "present": false, )" + place + "]}"),
            "no error");
  EXPECT_EQ(ErrorOf(first + R"(, {"serial": "B", "model": "M", )" + place + "]}"),
            "f: drives[1].index: index 1 is already used by drives[0].index; give every drive its "
            "own, or pull one of the two first");
}

TEST(ParseFleet, SamePlaceTwice_IsRefused) {
  const auto two = [](const std::string& members) {
    return ErrorOf(R"({"drives": [{"index": 0, "serial": "A", "model": "M", )" + members +
                   R"(}, {"index": 1, "serial": "B", "model": "M", )" + members + "}]}");
  };
  EXPECT_EQ(two(R"("devicePath": "/dev/nvme0n1")"),
            "f: drives[1].devicePath: device path /dev/nvme0n1 is already used by "
            "drives[0].devicePath; give every drive its own, or pull one of the two first");
  EXPECT_EQ(two(R"("pci": {"address": "0000:01:00.0", "device": "0a54"})"),
            "f: drives[1].pci.address: PCI address 0000:01:00.0 is already used by "
            "drives[0].pci.address; give every drive its own, or pull one of the two first");
}

TEST(ParseFleet, SameSerialTwice_IsRefusedUnlessAllowed) {
  const std::string drives =
      R"("drives": [{"serial": "A", "model": "M"}, {"serial": "A", "model": "M"}]})";
  EXPECT_EQ(
      ErrorOf("{" + drives),
      "f: drives[1].serial: serial number A is already used by drives[0].serial; change it, or "
      "set \"allowDuplicateSerials\" to true if it is meant");
  EXPECT_EQ(ErrorOf(R"({"allowDuplicateSerials": true, )" + drives), "no error");
}

TEST(ParseFleet, WholeFileWrong_SaysWhere) {
  EXPECT_EQ(ErrorOf("[]"), "f: the whole file: is a list; give an object with \"drives\"");
  EXPECT_EQ(ErrorOf("{}"), "f: drives: is missing; add the list of drives, [] for none");
  EXPECT_EQ(ErrorOf(R"({"drives": {}})"), "f: drives: is an object; give a list");
  EXPECT_EQ(ErrorOf(R"({"drives": [], "drives": []})"),
            "f: drives: is there twice; keep one of them");
  EXPECT_EQ(ErrorOf(R"({"drives": [], "drive": 1})"),
            "f: drive: is not known; remove it or use one of: comment, toolVersion, "
            "allowDuplicateSerials, drives, faults");
  EXPECT_EQ(
      ErrorOf("{\n\"drives\": [\n"),
      "f: line 3: is not JSON (Invalid value.); correct it, or write the file aside and rename "
      "it into place");
}

TEST(ParseFleet, ExtraKeys_AreKeptByAnswerAsTheyStand) {
  const Fleet fleet = ParseFleet(
      simtest::OneDrive(R"("extra": {"inventory": {"B key": "text", "A": [1, {"b": null}]},
                                     "log202": {"AB": {"Normalized": 18446744073709551615}}})"),
      "f");
  const auto& extra = fleet.drives[0].extra;
  ASSERT_EQ(extra.size(), 2U);
  const auto& inventory = extra.at(vxsim::ToolCommand::Inventory);
  ASSERT_EQ(inventory.size(), 2U);
  EXPECT_EQ(inventory[0].name, "B key");
  EXPECT_EQ(inventory[0].json, "\"text\"");
  EXPECT_EQ(inventory[1].json, R"([1,{"b":null}])");
  EXPECT_EQ(extra.at(vxsim::ToolCommand::Log202)[0].json, R"({"Normalized":18446744073709551615})");
}

TEST(ParseFleet, WrongExtraKeys_AreNamed) {
  EXPECT_EQ(DriveError(R"("extra": 1)"), "f: drives[0].extra: is a number; give an object");
  EXPECT_EQ(DriveError(R"("extra": {"log3": {}})"),
            "f: drives[0].extra.log3: is not known; remove it or use one of: inventory, log2, "
            "log197, log202");
  EXPECT_EQ(DriveError(R"("extra": {"log2": {"A": 1, "A": 2}})"),
            "f: drives[0].extra.log2.A: is there twice; keep one of them");
  const std::string deep = std::string(27, '[') + std::string(27, ']');
  EXPECT_EQ(DriveError(R"("extra": {"log2": {"A": )" + deep + "}}"), "no error");
  EXPECT_EQ(DriveError(R"("extra": {"log2": {"A": [)" + deep + "]}}"),
            "f: drives[0].extra.log2.A: nests too deeply; give at most 27 levels");
}

TEST(ParseFleet, TextThatIsNoJson_IsASyntaxError) {
  for (const char* text : {"", " ", "{", "{\"drives\": [}", "{\"drives\": []} x", "\"\xff\""}) {
    EXPECT_THROW(ParseFleet(text, "f"), vxsim::FleetSyntaxError) << text;
  }
}

TEST(ParseFleet, DeepNesting_EndsInAnError) {
  EXPECT_THROW(ParseFleet(std::string(1000000, '['), "f"), FleetError);
  EXPECT_THROW(ParseFleet(std::string(300000, '[') + std::string(300000, ']'), "f"), FleetError);
}

struct WrongDrive {
  const char* members;
  const char* error;
};

TEST(ParseFleet, WrongMemberOfADrive_IsNamedWithTheWayOut) {
  const WrongDrive cases[] = {
      {R"("sizes": 1)",
       "f: drives[0].sizes: is not known; remove it or use one of: comment, index, present, state, "
       "serial, model, firmware, bootloader, family, section, devicePath, deviceStatus, "
       "errorString, "
       "maximumLBA, nativeMaxLBA, sectorSize, physicalSize, lbaFormat, numLbaFormats, powerState, "
       "powerGovernorMode, tempThreshold, rsteDiskId, controller, driver, usedBytes, maintenance, "
       "settings, health, pci, extra"},
      {R"("present": 1)", "f: drives[0].present: is a number; give true or false"},
      {R"("firmware": null)", "f: drives[0].firmware: is null; give a text"},
      {R"("firmware": "123456789")", "f: drives[0].firmware: has 9 characters; give at most 8"},
      {R"("maximumLBA": -1)",
       "f: drives[0].maximumLBA: is out of range; give a whole number from 0 to "
       "18446744073709551615"},
      {R"("maximumLBA": "5")",
       "f: drives[0].maximumLBA: is a text; give a whole number from 0 to 18446744073709551615"},
      {R"("sectorSize": 1)",
       "f: drives[0].sectorSize: 1 is out of range; give a whole number from 512 to 65536"},
      {R"("health": [])", "f: drives[0].health: is a list; give an object"},
      {R"("health": {"percentageUsed": 256})",
       "f: drives[0].health.percentageUsed: 256 is out of range; give a whole number from 0 to "
       "255"},
      {R"("health": {"temperature": 1.5})",
       "f: drives[0].health.temperature: is out of range; give a whole number from -2147483648 to "
       "2147483647"},
      {R"("health": {"flags": {"hot": true}})",
       "f: drives[0].health.flags.hot: is not known; remove it or use one of: spareBelowThreshold, "
       "reliabilityDegraded, readOnlyMode, volatileBackupFailed"},
      {R"("pci": {"device": "0a54"})",
       "f: drives[0].pci.address: is missing; add the drive's PCI address"},
      {R"("pci": {"address": "0000:01:00.0"})",
       "f: drives[0].pci.device: is missing; add the drive's PCI device id, as in \"0a54\""},
      {R"("pci": {"address": "01:00.0", "device": "0a54"})",
       "f: drives[0].pci.address: \"01:00.0\" is no PCI address; write it as in \"0000:01:00.0\""},
      {R"("pci": {"address": "0000:01:00.0", "device": "a54"})",
       "f: drives[0].pci.device: \"a54\" is no PCI id; write four hexadecimal digits, as in "
       "\"0a54\""},
      {R"("pci": {"address": "0000:01:00.0", "device": "0a54", "slot": "../x"})",
       "f: drives[0].pci.slot: \"../x\" is no name that sysfs could show; use letters, digits, "
       "'_', "
       "'-' and '.'"},
      {R"("pci": {"address": "0000:01:00.0", "device": "0a54", "behind": {}})",
       "f: drives[0].pci.behind.address: is missing; add the controller's own PCI address"},
      {R"("settings": {"N": 5})", "f: drives[0].settings.N: is a number; give a text"},
  };
  for (const WrongDrive& wrong : cases) EXPECT_EQ(DriveError(wrong.members), wrong.error);
}

TEST(ParseFleet, IdentityMissingOrTooLong_IsRefused) {
  EXPECT_EQ(ErrorOf(R"({"drives": [{"model": "M"}]})"),
            "f: drives[0].serial: is missing; add the drive's serial number as a text");
  EXPECT_EQ(ErrorOf(R"({"drives": [{"serial": "S"}]})"),
            "f: drives[0].model: is missing; add the model number, as in \"INTEL SSDPE2KX020T8\"");
  EXPECT_EQ(ErrorOf(R"({"drives": [{"serial": "", "model": "M"}]})"),
            "f: drives[0].serial: is empty; give a text");
  EXPECT_EQ(ErrorOf(R"({"drives": [{"serial": "123456789012345678901", "model": "M"}]})"),
            "f: drives[0].serial: has 21 characters; give at most 20");
}

TEST(ParseFleet, WrongFault_IsNamedWithTheWayOut) {
  EXPECT_EQ(FaultError(R"({"kind": "hang"})"),
            "f: faults[0].command: is missing; add the command that it strikes, or \"any\"");
  EXPECT_EQ(
      FaultError(R"({"command": "log5", "kind": "hang"})"),
      "f: faults[0].command: \"log5\" is not known; use one of: inventory, log2, log197, log202, "
      "log203, version, format, delete, set, any");
  EXPECT_EQ(FaultError(R"({"command": "log2", "kind": "sleep"})"),
            "f: faults[0].kind: \"sleep\" is not known; use one of: latency, hang, exit, crash, "
            "silent, truncated, noDevice, garbage, wrongTypes, flood, preamble");
  EXPECT_EQ(FaultError(R"({"command": "version", "index": 1, "kind": "hang"})"),
            "f: faults[0].index: command \"version\" addresses no drive; remove the index");
  EXPECT_EQ(FaultError(R"({"command": "format", "kind": "wrongTypes"})"),
            "f: faults[0].kind: command \"format\" answers with lines, which have no types; use "
            "another kind");
  EXPECT_EQ(FaultError(R"({"command": "any", "kind": "latency"})"),
            "f: faults[0].ms: is missing; add the milliseconds to wait");
  EXPECT_EQ(FaultError(R"({"command": "any", "kind": "hang", "ms": 5})"),
            "f: faults[0].ms: is not known; remove it or use one of: command, index, kind, id, "
            "firstCalls, fromCall");
  EXPECT_EQ(FaultError(R"({"command": "any", "kind": "exit", "status": 256})"),
            "f: faults[0].status: 256 is out of range; give a whole number from 0 to 255");
}

TEST(ParsePciAddress, AcceptsWideDomainsAndNothingCrooked) {
  const auto address = vxsim::ParsePciAddress("10000:81:1f.7");
  ASSERT_TRUE(address);
  EXPECT_EQ(address->domain, 0x10000U);
  EXPECT_EQ(address->device, 0x1fU);
  EXPECT_EQ(vxsim::ToText(*address), "10000:81:1f.7");
  for (const char* text : {"", "0000:01:00", "000:01:00.0", "0000:01:20.0", "0000:01:00.8",
                           "0000-01:00.0", "0000:0g:00.0", "123456789:01:00.0", "0000:01:00.0 "}) {
    EXPECT_FALSE(vxsim::ParsePciAddress(text)) << text;
  }
}

TEST(ControllerNumber, OfControllersAndNamespacesOnly) {
  EXPECT_EQ(vxsim::ControllerNumber("/dev/nvme7"), 7U);
  EXPECT_EQ(vxsim::ControllerNumber("/dev/nvme12n1"), 12U);
  for (const char* path : {"/dev/sda", "/dev/nvme", "/dev/nvme0n", "/dev/nvme0n1p1", "nvme0"}) {
    EXPECT_FALSE(vxsim::ControllerNumber(path)) << path;
  }
}

TEST(FindDrive, BySerialFirst_ThenByIndexOfAPresentDrive) {
  const Fleet fleet = ParseFleet(
      R"({"drives": [{"serial": "A", "model": "M", "index": 1, "present": false},
                     {"serial": "B", "model": "M", "index": 1},
                     {"serial": "1", "model": "M", "index": 7}]})",
      "f");
  EXPECT_EQ(vxsim::FindDrive(fleet, "1"), &fleet.drives[2]);
  EXPECT_EQ(vxsim::FindDrive(fleet, "A"), &fleet.drives[0]);
  EXPECT_EQ(vxsim::FindDrive(fleet, "7"), &fleet.drives[2]);
  EXPECT_EQ(vxsim::FindDrive(fleet, "8"), nullptr);
  EXPECT_EQ(vxsim::FindDrive(fleet, ""), nullptr);
}

}  // namespace
