// What the readers of the tool's output take over, from text alone: no command runs here.
#include "Core/Health.h"
#include "PluginTrace.h"
#include "piTorvex.h"
#include "support/Scale.h"
#include "support/ScriptedTool.h"

#include <algorithm>
#include <array>
#include <climits>
#include <functional>
#include <locale>
#include <random>
#include <string>
#include <vector>

#include <boost/optional/bad_optional_access.hpp>
#include <gtest/gtest.h>
#include <rapidjson/document.h>

using namespace NAMESPACE_piTorvex;

namespace {

std::vector<CCmdEmuAdapter> Inventory(const std::string& text) {
  NAMESPACE_piTorvex::CToolDocument document;
  EXPECT_TRUE(ParseToolOutput(text, document)) << text;
  std::vector<CCmdEmuAdapter> drives;
  ReadInventory(document, drives);
  return drives;
}

// One section of a served drive, with the given members behind index and model.
std::string Drive(const std::string& members = "", const std::string& section = "Intel SSD X") {
  return "{\"" + section + R"(":{"Index":0,"ModelNumber":"INTEL SSDPE2KX010T7")" +
         (members.empty() ? "" : "," + members) + "}}";
}

CCmdEmuAdapter OneDrive(const std::string& members) {
  const std::vector<CCmdEmuAdapter> drives = Inventory(Drive(members));
  EXPECT_EQ(drives.size(), 1U) << members;
  return drives.empty() ? CCmdEmuAdapter() : drives.front();
}

std::size_t Accepted(const std::string& text) {
  return Inventory(text).size();
}

using Reader = void (*)(const NAMESPACE_piTorvex::CToolValue&, CCmdEmuGetlog&);

CCmdEmuGetlog Log(Reader reader, const std::string& text, CCmdEmuGetlog log = {}) {
  NAMESPACE_piTorvex::CToolDocument document;
  EXPECT_TRUE(ParseToolOutput(text, document)) << text;
  reader(document, log);
  return log;
}

CCmdEmuGetlog Health(const std::string& members, CCmdEmuGetlog log = {}) {
  return Log(ReadHealthLog, R"({"SMART and Health Information X":{)" + members + "}}", log);
}

// A key, a value that it takes, and how that value is traced.
struct KeyCase {
  const char* name;
  const char* value;
  const char* traced;
};

std::string MembersOf(const std::vector<KeyCase>& keys) {
  std::string members;
  for (const KeyCase& key : keys) {
    members += std::string(members.empty() ? "" : ",") + '"' + key.name + "\":" + key.value;
  }
  return members;
}

std::vector<std::string> TracesOf(const std::vector<KeyCase>& keys) {
  std::vector<std::string> traces;
  for (const KeyCase& key : keys) {
    traces.push_back("Name: " + std::string(key.name) + ", Value: (" + key.traced + ")");
  }
  return traces;
}

// Whatever the order in which the tool prints the keys, they are taken in the given one.
void ExpectTakenInOrder(const std::vector<KeyCase>& keys,
                        const std::function<void(const std::string& members)>& read) {
  std::vector<KeyCase> printed = keys;
  std::mt19937 random(7);
  for (int round = 0; round < 8; ++round) {
    vxtest::PluginTrace trace;
    read(MembersOf(printed));
    EXPECT_EQ(trace.Texts(), TracesOf(keys));
    if (round == 0) {
      std::reverse(printed.begin(), printed.end());
    } else {
      std::shuffle(printed.begin(), printed.end(), random);
    }
  }
}

// The kind of JSON value that a key takes: i(nteger), u(nsigned), q: unsigned with 64 bits,
// b(oolean), t(ext).
struct KindCase {
  const char* name;
  char kind;
};

// Offers every key each kind of value; only that of its own is taken.
void ExpectKinds(const std::vector<KindCase>& keys,
                 const std::function<void(const std::string& members)>& read) {
  struct Value {
    const char* text;
    const char* kinds;  // that take it
  };
  const std::vector<Value> values = {{"-2", "i"},
                                     {"7", "iuq"},
                                     {"2147483647", "iuq"},
                                     {"2147483648", "uq"},
                                     {"4294967295", "uq"},
                                     {"4294967296", "q"},
                                     {"18446744073709551615", "q"},
                                     {"18446744073709551616", ""},
                                     {"1.0", ""},
                                     {"1e3", ""},
                                     {"true", "b"},
                                     {"false", "b"},
                                     {"\"1\"", "t"},
                                     {"null", ""},
                                     {"{}", ""},
                                     {"[]", ""}};
  for (const KindCase& key : keys) {
    const std::string name = key.name;
    const std::string begin = "Name: " + name + ", Value: (";
    for (const Value& value : values) {
      vxtest::PluginTrace trace(2);
      read('"' + name + "\":" + value.text);
      const std::vector<std::string> texts = trace.Texts();
      const auto lines = std::count_if(texts.begin(), texts.end(), [&](const std::string& text) {
        return text.starts_with(begin);
      });
      const bool takes = std::string(value.kinds).find(key.kind) != std::string::npos;
      EXPECT_EQ(lines, takes ? 1 : 0) << name << ": " << value.text;
    }
  }
}

unsigned int BitsAt(int temperature, int offset, unsigned int before = 0) {
  CCmdEmuGetlog log;
  log.CriticalWarnings = before;
  log.CurrentTemperature = temperature;
  log.TemperatureOffset = offset;
  AddTemperatureWarnings(log);
  return log.CriticalWarnings;
}

}  // namespace

// --- Text to document ---------------------------------------------------------------------------

TEST(CmdEmuParsing, TextThatIsNoJson_IsRefused_AndLeavesANullDocument) {
  for (const std::string text :
       {"", " ", "\n\t", "{", R"({"a":)",
        R"({"a":{}})"
        "x",
        "Warning: x\n{}", "{} {}", "\x7f\x45\x4c\x46\x02", R"({"a":1,})", "nul"}) {
    NAMESPACE_piTorvex::CToolDocument document;
    document.SetObject();
    EXPECT_FALSE(ParseToolOutput(text, document)) << text;
    EXPECT_TRUE(document.IsNull()) << text;
  }
}

TEST(CmdEmuParsing, FailedParse_DropsTheEarlierDocument) {
  NAMESPACE_piTorvex::CToolDocument document;
  ASSERT_TRUE(ParseToolOutput(R"({"a":{}})", document));
  EXPECT_FALSE(ParseToolOutput(R"({"b":)", document));
  EXPECT_TRUE(document.IsNull());
}

TEST(CmdEmuParsing, AByteOrderMark_IsAccepted) {
  NAMESPACE_piTorvex::CToolDocument document;
  EXPECT_TRUE(ParseToolOutput("\xEF\xBB\xBF{}", document));
  EXPECT_TRUE(document.IsObject());
}

TEST(CmdEmuParsing, TextBehindANul_IsRefusedLikeAnyTextBehindTheDocument) {
  NAMESPACE_piTorvex::CToolDocument document;
  EXPECT_FALSE(ParseToolOutput(std::string("{}\0junk", 7), document));
  EXPECT_FALSE(ParseToolOutput(std::string("{}\0\0", 4), document));
  EXPECT_FALSE(ParseToolOutput("{}junk", document));
  EXPECT_TRUE(ParseToolOutput(std::string("{}\0", 3), document));
}

// A few bytes of text a value: the document would take many times as much.
TEST(CmdEmuParsing, ATextWhoseDocumentTakesTooMuchMemory_IsRefusedBeforeItIsMade) {
  std::string text = "[0";
  while (text.size() < (std::size_t{48} << 20U)) text += ",0";
  NAMESPACE_piTorvex::CToolDocument document;
  EXPECT_FALSE(ParseToolOutput(text + "]", document));
  EXPECT_TRUE(document.IsNull());
  EXPECT_LT(document.GetAllocator().Capacity(), std::size_t{1} << 20U);
}

TEST(CmdEmuParsing, NestingUpToTheLimitIsRead_OneMoreIsRefused) {
  const auto nested = [](std::size_t depth, char open, char close) {
    std::string text;
    for (std::size_t i = 0; i < depth; ++i)
      text += open == '{' && i > 0 ? "\"a\":{" : std::string(1, open);
    return text + std::string(depth, close);
  };
  NAMESPACE_piTorvex::CToolDocument document;
  EXPECT_TRUE(ParseToolOutput(nested(256, '[', ']'), document));
  EXPECT_FALSE(ParseToolOutput(nested(257, '[', ']'), document));
  EXPECT_TRUE(document.IsNull());
  EXPECT_TRUE(ParseToolOutput(nested(256, '{', '}'), document));
  EXPECT_FALSE(ParseToolOutput(nested(257, '{', '}'), document));
}

TEST(CmdEmuParsing, FiveMillionBrackets_AreRefusedWithoutOverflowingTheStack) {
  NAMESPACE_piTorvex::CToolDocument document;
  EXPECT_FALSE(ParseToolOutput(std::string(5'000'000, '['), document));
}

TEST(CmdEmuParsing, BracketsInStrings_DoNotCountAsNesting) {
  NAMESPACE_piTorvex::CToolDocument document;
  EXPECT_TRUE(ParseToolOutput(R"({"a":")" + std::string(1000, '{') + R"("})", document));
  // An escaped quotation mark does not end the string.
  EXPECT_TRUE(ParseToolOutput(R"({"a":"\")" + std::string(1000, '[') + R"("})", document));
  EXPECT_TRUE(ParseToolOutput(R"({"a":"\\","b":")" + std::string(1000, '[') + R"("})", document));
  // Closed ones are free again.
  std::string flat = "[";
  for (int i = 0; i < 1000; ++i) flat += "[],";
  EXPECT_TRUE(ParseToolOutput(flat + "1]", document));
}

TEST(CmdEmuParsing, MoreThan64MiB_IsRefused) {
  NAMESPACE_piTorvex::CToolDocument document;
  std::string text = "{}";
  text.append((std::size_t{64} << 20U) - text.size(), ' ');
  EXPECT_TRUE(ParseToolOutput(text, document));
  EXPECT_FALSE(ParseToolOutput(text + ' ', document));
}

TEST(CmdEmuParsing, RootThatIsNoObject_HoldsNothing_AndHarmsNobody) {
  for (const std::string text : {"[]", "5", "null", "true", "\"text\"", "[{\"Intel SSD\":{}}]"}) {
    EXPECT_TRUE(Inventory(text).empty()) << text;
    for (const Reader reader :
         {ReadHealthLog, ReadTemperatureLog, ReadAttributeLog, ReadCapacityLog}) {
      const CCmdEmuGetlog log = Log(reader, text);
      EXPECT_EQ(log.CurrentTemperature, 10) << text;
      EXPECT_EQ(log.PhysicalSize, 0U) << text;
    }
    NAMESPACE_piTorvex::CToolDocument document;
    ASSERT_TRUE(ParseToolOutput(text, document));
    std::string version;
    ReadVersion(document, version);
    EXPECT_EQ(version, "") << text;
  }
}

// --- Inventory

TEST(CmdEmuInventory, EveryKey_FillsItsMember) {
  const CCmdEmuAdapter drive = OneDrive(
      R"("Bootloader":"8B1B","ControllerDescription":"cd","ControllerIDEMode":true,)"
      R"("ControllerManufacturer":"cm","ControllerService":"cs","DevicePath":"/dev/nvme0n1",)"
      R"("DeviceStatus":"Healthy","DriverDescription":"dd","DriverMajorVersion":49,)"
      R"("DriverManufacturer":"dm","DriverMinorVersion":50,"ErrorString":"es","Firmware":"QDV1",)"
      R"("LBAFormat":3,"ProductFamily":"Intel SSD DC P4600 Series","MaximumLBA":1000,)"
      R"("NativeMaxLBA":2000,"NumLBAFormats":7,"NVMePowerState":2,"PowerGovernorMode":"pg",)"
      R"("SectorSize":4096,"SerialNumber":"SN1","TempThreshold":85,"PhysicalSize":1)");
  EXPECT_EQ(drive.AdapterNumber, 1U);
  EXPECT_EQ(drive.Index, 0);
  EXPECT_EQ(drive.Bootloader, "8B1B");
  EXPECT_EQ(drive.ControllerDescription, "cd");
  EXPECT_TRUE(drive.ControllerIDEMode);
  EXPECT_EQ(drive.ControllerManufacturer, "cm");
  EXPECT_EQ(drive.ControllerService, "cs");
  EXPECT_EQ(drive.DevicePath, "/dev/nvme0n1");
  EXPECT_EQ(drive.DeviceStatus, "Healthy");
  EXPECT_EQ(drive.DriverDescription, "dd");
  EXPECT_EQ(drive.DriverMajorVersion, "1");
  EXPECT_EQ(drive.DriverManufacturer, "dm");
  EXPECT_EQ(drive.DriverMinorVersion, "2");
  EXPECT_EQ(drive.ErrorString, "es");
  EXPECT_EQ(drive.Firmware, "QDV1");
  EXPECT_EQ(drive.LBAFormat, 3);
  EXPECT_EQ(drive.ProductFamily, "Intel SSD DC P4600 Series");
  EXPECT_EQ(drive.MaximumLBA, 1000U);
  EXPECT_EQ(drive.ModelNumber, "INTEL SSDPE2KX010T7");
  EXPECT_EQ(drive.NativeMaxLBA, 2000U);
  EXPECT_EQ(drive.NumLBAFormats, 7U);
  EXPECT_EQ(drive.NVMePowerState, 2U);
  EXPECT_EQ(drive.PowerGovernorMode, "pg");
  EXPECT_EQ(drive.SectorSize, 4096U);
  EXPECT_EQ(drive.SerialNumber, "SN1");
  EXPECT_EQ(drive.TempThreshold, 85U);
  EXPECT_EQ(drive.PhysicalSize, 2000UL * 4096UL);
}

// A JSON value that the kind takes, and what is stored of it.
template <Facts::EKind Kind>
struct ValueOf {
  static constexpr const char* JSON = "77";
  static Facts::CStoredAs<Kind> Stored() { return 77; }
};
template <Facts::EKind Kind>
requires std::is_same_v<Facts::CStoredAs<Kind>, std::string>
struct ValueOf<Kind> {
  static constexpr const char* JSON = Kind == Facts::EKind::CharacterCode ? "77" : "\"M\"";
  static std::string Stored() { return "M"; }
};
template <>
struct ValueOf<Facts::EKind::Boolean> {
  static constexpr const char* JSON = "true";
  static bool Stored() { return true; }
};

// Two keys decide whether the drive is served, and have tests of their own.
constexpr bool Decides(std::string_view key) {
  return key == "Index" || key == "ModelNumber";
}

TEST(CmdEmuInventory, EachKeyAlone_FillsItsMemberWithAValueOfItsKind) {
#define INVENTORY_KEY(member, kind, ...)                                        \
  if (!Decides(#member)) {                                                      \
    using Value = ValueOf<Facts::EKind::kind>;                                  \
    const std::string key = "\"" #member "\":";                                 \
    EXPECT_EQ(OneDrive(key + Value::JSON).member, Value::Stored()) << #member;  \
    EXPECT_EQ(OneDrive(key + "[]").member, CCmdEmuAdapter().member) << #member; \
  }
#define INVENTORY_KEY_READ_LAST INVENTORY_KEY
#include <Facts/Fields.def>
}

TEST(CmdEmuInventory, Keys_AreTakenInOneOrderWhateverTheToolsIs) {
  ExpectTakenInOrder({{"Index", "3", "3"},
                      {"Bootloader", "\"bl\"", "bl"},
                      {"ControllerDescription", "\"cd\"", "cd"},
                      {"ControllerIDEMode", "true", "true"},
                      {"ControllerManufacturer", "\"cm\"", "cm"},
                      {"ControllerService", "\"cs\"", "cs"},
                      {"DevicePath", "\"/dev/nvme0\"", "/dev/nvme0"},
                      {"DeviceStatus", "\"ds\"", "ds"},
                      {"DriverDescription", "\"dd\"", "dd"},
                      {"DriverMajorVersion", "1", "1"},
                      {"DriverManufacturer", "\"dm\"", "dm"},
                      {"DriverMinorVersion", "2", "2"},
                      {"ErrorString", "\"es\"", "es"},
                      {"Firmware", "\"fw\"", "fw"},
                      {"LBAFormat", "-4", "-4"},
                      {"ProductFamily", "\"pf\"", "pf"},
                      {"MaximumLBA", "5", "5"},
                      {"ModelNumber", "\"INTEL SSDPE2\"", "INTEL SSDPE2"},
                      {"NativeMaxLBA", "6", "6"},
                      {"NumLBAFormats", "7", "7"},
                      {"NVMePowerState", "8", "8"},
                      {"PowerGovernorMode", "\"pg\"", "pg"},
                      {"SectorSize", "9", "9"},
                      {"SerialNumber", "\"sn\"", "sn"},
                      {"TempThreshold", "10", "10"},
                      {"PhysicalSize", "11", "11"}},
                     [](const std::string& members) {
                       EXPECT_EQ(Accepted(R"({"Intel SSD":{)" + members + "}}"), 1U);
                     });
}

TEST(CmdEmuInventory, Keys_TakeTheirKindOfValueAlone) {
  ExpectKinds({{"Index", 'i'},
               {"Bootloader", 't'},
               {"ControllerDescription", 't'},
               {"ControllerIDEMode", 'b'},
               {"ControllerManufacturer", 't'},
               {"ControllerService", 't'},
               {"DevicePath", 't'},
               {"DeviceStatus", 't'},
               {"DriverDescription", 't'},
               {"DriverMajorVersion", 'i'},
               {"DriverManufacturer", 't'},
               {"DriverMinorVersion", 'i'},
               {"ErrorString", 't'},
               {"Firmware", 't'},
               {"LBAFormat", 'i'},
               {"ProductFamily", 't'},
               {"MaximumLBA", 'q'},
               {"ModelNumber", 't'},
               {"NativeMaxLBA", 'q'},
               {"NumLBAFormats", 'u'},
               {"NVMePowerState", 'u'},
               {"PowerGovernorMode", 't'},
               {"SectorSize", 'u'},
               {"SerialNumber", 't'},
               {"TempThreshold", 'u'},
               {"PhysicalSize", 'q'}},
              [](const std::string& members) { Inventory(R"({"Intel SSD":{)" + members + "}}"); });
}

TEST(CmdEmuInventory, MissingKeys_LeaveTheDefaults) {
  const CCmdEmuAdapter drive = OneDrive("");
  const CCmdEmuAdapter fresh;
  for (const std::string* text :
       {&drive.Bootloader, &drive.ControllerDescription, &drive.ControllerManufacturer,
        &drive.ControllerService, &drive.DevicePath, &drive.DeviceStatus, &drive.DriverDescription,
        &drive.DriverMajorVersion, &drive.DriverManufacturer, &drive.DriverMinorVersion,
        &drive.ErrorString, &drive.Firmware, &drive.ProductFamily, &drive.PowerGovernorMode,
        &drive.SerialNumber}) {
    EXPECT_EQ(*text, "");
  }
  EXPECT_FALSE(drive.ControllerIDEMode);
  EXPECT_EQ(drive.LBAFormat, 0);
  EXPECT_EQ(drive.MaximumLBA | drive.NativeMaxLBA | drive.PhysicalSize, 0U);
  EXPECT_EQ(drive.NumLBAFormats | drive.NVMePowerState | drive.SectorSize | drive.TempThreshold,
            0U);
  EXPECT_EQ(drive.Health.AvailableSpare, 100);
  EXPECT_EQ(drive.Spare1 + drive.Spare2 + drive.Spare3 + drive.Spare4, "");
  EXPECT_EQ(fresh.Index, -1);
  EXPECT_EQ(fresh.AdapterNumber, 0U);
}

TEST(CmdEmuInventory, SectionNames_AreComparedByTheirBeginningWithoutCase) {
  for (const char* name : {"Intel SSD", "Intel SSD DC P4600 Series X", "iNTEL ssd DC", "Intel SSDs",
                           "Intel Optane", "INTEL OPTANE(TM) X", "intel optane"}) {
    EXPECT_EQ(Accepted(Drive("", name)), 1U) << name;
  }
  for (const char* name : {"Intel SS", "Optane", "Intel Optan", " Intel SSD", "IntelSSD", "",
                           "Intel\\u0000SSD", "Version Information"}) {
    EXPECT_EQ(Accepted(Drive("", name)), 0U) << name;
  }
}

TEST(CmdEmuInventory, SectionThatIsNoObject_IsPassedOver) {
  EXPECT_EQ(Accepted(R"({"Intel SSD 1":[{"Index":0}],"Intel SSD 2":"x","Intel SSD 3":null})"), 0U);
}

TEST(CmdEmuInventory, RaidMember_IsSkippedWhateverTheKeyHolds) {
  for (const char* value : {"null", "1", "\"x\"", "{}", "false"}) {
    EXPECT_EQ(Accepted(Drive(R"("RSTeDiskId":)" + std::string(value))), 0U) << value;
  }
  EXPECT_EQ(Accepted(Drive(R"("rstediskid":1)")), 1U);
}

TEST(CmdEmuInventory, OnlyServedModels_AreKept) {
  const auto accepted = [](const std::string& model) {
    return Accepted(R"({"Intel SSD":{"Index":0,"ModelNumber":")" + model + "\"}}");
  };
  for (const char* model : {"INTEL SSDPE2", "INTEL SSDPED1K", "INTEL SSDPEC", "INTEL SSDPE7KX",
                            "INTEL SSDPEYKX", "INTEL SSDPELKX", "INTEL SSDPE2KX040T8"}) {
    EXPECT_EQ(accepted(model), 1U) << model;
  }
  for (const char* model : {"INTEL SSDSC2BB480G4", "INTEL SSDPE", "INTEL SSDPE1", "intel ssdpe2kx",
                            "SSDPE2", "", " INTEL SSDPE2", "INTEL  SSDPE2"}) {
    EXPECT_EQ(accepted(model), 0U) << model;
  }
  EXPECT_EQ(Accepted(R"({"Intel SSD":{"Index":0}})"), 0U);
  EXPECT_EQ(Accepted(R"({"Intel SSD":{"Index":0,"ModelNumber":5}})"), 0U);
}

TEST(CmdEmuInventory, DriveWithoutAnIntegerIndex_IsDropped) {
  const auto accepted = [](const std::string& index) {
    return Accepted(R"({"Intel SSD":{)" + index + R"("ModelNumber":"INTEL SSDPE2KX"}})");
  };
  for (const char* index :
       {"", R"("Index":"0",)", R"("Index":-1,)", R"("Index":null,)", R"("Index":1.0,)",
        R"("Index":1e0,)", R"("Index":2147483648,)", R"("index":0,)", R"("Index":true,)"}) {
    EXPECT_EQ(accepted(index), 0U) << index;
  }
  EXPECT_EQ(accepted(R"("Index":-2,)"), 1U);
  EXPECT_EQ(accepted(R"("Index":2147483647,)"), 1U);
}

TEST(CmdEmuInventory, AcceptedDrives_AreNumberedWithoutGaps_InTheToolsOrder) {
  const std::vector<CCmdEmuAdapter> drives = Inventory(
      R"({"Intel SSD A":{"Index":4,"ModelNumber":"INTEL SSDSC2BB480","SerialNumber":"A"},)"
      R"("Intel SSD B":{"Index":7,"ModelNumber":"INTEL SSDPE2KX","SerialNumber":"B"},)"
      R"("Intel SSD C":{"ModelNumber":"INTEL SSDPE2KX","SerialNumber":"C"},)"
      R"("Intel Optane D":{"Index":2,"ModelNumber":"INTEL SSDPED1K","SerialNumber":"D"}})");
  ASSERT_EQ(drives.size(), 2U);
  EXPECT_EQ(drives[0].AdapterNumber, 1U);
  EXPECT_EQ(drives[0].Index, 7);
  EXPECT_EQ(drives[0].SerialNumber, "B");
  EXPECT_EQ(drives[1].AdapterNumber, 2U);
  EXPECT_EQ(drives[1].SerialNumber, "D");
}

TEST(CmdEmuInventory, DuplicateSectionsAreTwoDrives_OfDuplicateKeysTheFirstCounts) {
  const std::string section = R"("Intel SSD":{"Index":1,"Index":2,"ModelNumber":"INTEL SSDPE2",)"
                              R"("SerialNumber":"S"})";
  const std::vector<CCmdEmuAdapter> drives = Inventory("{" + section + "," + section + "}");
  ASSERT_EQ(drives.size(), 2U);
  EXPECT_EQ(drives[0].Index, 1);
  EXPECT_EQ(drives[1].AdapterNumber, 2U);
  // Also when the first is of a kind that is not taken.
  EXPECT_EQ(Accepted(R"({"Intel SSD":{"Index":"1","Index":2,"ModelNumber":"INTEL SSDPE2"}})"), 0U);
}

TEST(CmdEmuInventory, DriverVersions_AreOneCharacterWithTheLow8BitsAsCode) {
  const auto major = [](int number) {
    return OneDrive(R"("DriverMajorVersion":)" + std::to_string(number)).DriverMajorVersion;
  };
  EXPECT_EQ(major(1), std::string(1, '\x01'));
  EXPECT_EQ(major(10), "\n");
  EXPECT_EQ(major(0), std::string(1, '\0'));
  EXPECT_EQ(major(266), "\n");
  EXPECT_EQ(major(-1), "\xFF");
  EXPECT_EQ(OneDrive(R"("DriverMinorVersion":10)").DriverMinorVersion, "\n");
  EXPECT_EQ(OneDrive(R"("DriverMajorVersion":"1")").DriverMajorVersion, "");
}

TEST(CmdEmuInventory, FamilyThatIsJustIntelSsd_IsTheP4800X) {
  const auto family = [](const std::string& text) {
    return OneDrive(R"("ProductFamily":")" + text + "\"").ProductFamily;
  };
  EXPECT_EQ(family("Intel SSD"), "Intel Optane(TM) SSD DC P4800X Series");
  EXPECT_EQ(family("Intel SSD DC"), "Intel SSD DC");
  EXPECT_EQ(family("intel ssd"), "intel ssd");
  EXPECT_EQ(family(""), "");
}

TEST(CmdEmuInventory, PhysicalSize_IsComputedFromTheNativeLbasWhenThereAreAny) {
  const auto size = [](const std::string& members) { return OneDrive(members).PhysicalSize; };
  EXPECT_EQ(size(R"("NativeMaxLBA":1000,"SectorSize":512,"PhysicalSize":7)"), 512000U);
  EXPECT_EQ(size(R"("SectorSize":512,"PhysicalSize":7)"), 7U);
  EXPECT_EQ(size(R"("NativeMaxLBA":0,"SectorSize":512,"PhysicalSize":7)"), 7U);
  EXPECT_EQ(size(R"("NativeMaxLBA":"1000","SectorSize":512,"PhysicalSize":7)"), 7U);
  EXPECT_EQ(size(R"("NativeMaxLBA":1000,"PhysicalSize":7)"), 0U);
  EXPECT_EQ(size(R"("NativeMaxLBA":8589934592,"SectorSize":4096)"), 35184372088832U);
}

TEST(CmdEmuInventory, NumbersOutOfRangeOrOfAnotherType_LeaveTheDefault) {
  EXPECT_EQ(OneDrive(R"("MaximumLBA":9223372036854775808)").MaximumLBA, 1UL << 63U);
  EXPECT_EQ(OneDrive(R"("MaximumLBA":18446744073709551615)").MaximumLBA, ~0UL);
  for (const char* value :
       {"18446744073709551616", "-1", "1.0", "1e3", "\"5\"", "true", "null", "[]", "{}"}) {
    EXPECT_EQ(OneDrive(R"("MaximumLBA":)" + std::string(value)).MaximumLBA, 0U) << value;
    EXPECT_EQ(OneDrive(R"("SectorSize":)" + std::string(value)).SectorSize, 0U) << value;
  }
  EXPECT_EQ(OneDrive(R"("SectorSize":4294967295)").SectorSize, 4294967295U);
  EXPECT_EQ(OneDrive(R"("SectorSize":4294967296)").SectorSize, 0U);
  EXPECT_EQ(OneDrive(R"("LBAFormat":2147483648)").LBAFormat, 0);
  EXPECT_EQ(OneDrive(R"("LBAFormat":-2147483648)").LBAFormat, INT_MIN);
  EXPECT_FALSE(OneDrive(R"("ControllerIDEMode":1)").ControllerIDEMode);
  EXPECT_FALSE(OneDrive(R"("ControllerIDEMode":"true")").ControllerIDEMode);
  EXPECT_EQ(OneDrive(R"("SerialNumber":5)").SerialNumber, "");
}

TEST(CmdEmuInventory, Texts_KeepEveryByteUpToTheFirstNul) {
  const auto serial = [](const std::string& text) {
    return OneDrive(R"("SerialNumber":")" + text + "\"").SerialNumber;
  };
  EXPECT_EQ(serial(R"(AB\u0000CD)"), "AB");
  EXPECT_EQ(serial(R"(\"quoted' -- ;)"), "\"quoted' -- ;");
  EXPECT_EQ(serial("\xFF\xC0\x80"), "\xFF\xC0\x80");
  EXPECT_EQ(serial(R"(\u00e9\ud83d\ude00)"), "\xC3\xA9\xF0\x9F\x98\x80");
  EXPECT_EQ(serial("%s%n%d"), "%s%n%d");
}

TEST(CmdEmuInventory, NameWithANul_IsNotTheNameBeforeIt) {
  EXPECT_EQ(OneDrive(R"("SerialNumber\u0000x":"S")").SerialNumber, "");
  EXPECT_EQ(OneDrive(R"("serialnumber":"S")").SerialNumber, "");
}

TEST(CmdEmuInventory, ValuesTaken_AreTracedInTheOrderOfTheKeys) {
  vxtest::PluginTrace trace;
  OneDrive(
      R"("TempThreshold":85,"ControllerIDEMode":false,"ProductFamily":"Intel SSD",)"
      R"("DriverMajorVersion":10,"SerialNumber":"%s","SectorSize":"512","MaximumLBA":18446744073709551615)");
  const std::vector<std::string> expected = {"Name: Index, Value: (0)",
                                             "Name: ControllerIDEMode, Value: (false)",
                                             "Name: DriverMajorVersion, Value: (10)",
                                             "Name: ProductFamily, Value: (Intel SSD)",
                                             "Name: MaximumLBA, Value: (-1)",
                                             "Name: ModelNumber, Value: (INTEL SSDPE2KX010T7)",
                                             "Name: SerialNumber, Value: (%s)",
                                             "Name: TempThreshold, Value: (85)"};
  EXPECT_EQ(trace.Texts(), expected);
  for (const auto& line : trace.Lines()) {
    EXPECT_EQ(line.level, 2U);
    EXPECT_EQ(line.file, "piTorvex/Src/piTorvexCmdEmu");
    EXPECT_EQ(line.function, "GetAdaptersInfo");
  }
}

// --- Health log

TEST(CmdEmuHealthLog, EveryKey_FillsItsMember) {
  const CCmdEmuGetlog log = Health(
      R"("Critical Warnings":5,"Available Spare Space has fallen below the threshold":true,)"
      R"("Device reliability has degraded":true,"Media is in a read-only mode":true,)"
      R"("Volatile memory backup device has failed":true,)"
      R"("Available Spare Normalized percentage of the remaining spare capacity available":98,)"
      R"("Available Spare Threshold Percentage":11,"Percentage Used":3,"Data Units Read":"1F4",)"
      R"("Data Units Written":"500","Power On Hours":"0x1F4","Media Errors":"0")");
  EXPECT_EQ(log.CriticalWarnings, 5U);
  EXPECT_TRUE(log.SpareBelowThreshold);
  EXPECT_TRUE(log.ReliabilityDegraded);
  EXPECT_TRUE(log.ReadOnlyMode);
  EXPECT_TRUE(log.VolatileBackupFailed);
  EXPECT_EQ(log.AvailableSpare, 98);
  EXPECT_EQ(log.AvailableSpareThreshold, 11);
  EXPECT_EQ(log.PercentageUsed, 3);
  EXPECT_EQ(log.DataUnitsRead, 500U);
  EXPECT_EQ(log.DataUnitsWritten, 1280U);
  EXPECT_EQ(log.PowerOnHours, 500U);
  EXPECT_EQ(log.MediaErrors, 0U);
  EXPECT_FALSE(log.Unused1 || log.Unused2 || log.Unused3 || log.Unused4 || log.Unused5 ||
               log.Unused6 || log.Unused7);
}

TEST(CmdEmuHealthLog, Keys_AreTakenInOneOrderWhateverTheToolsIs) {
  ExpectTakenInOrder(
      {{"Critical Warnings", "1", "1"},
       {"Available Spare Space has fallen below the threshold", "true", "true"},
       {"Device reliability has degraded", "false", "false"},
       {"Media is in a read-only mode", "true", "true"},
       {"Volatile memory backup device has failed", "false", "false"},
       {"Available Spare Normalized percentage of the remaining spare capacity available", "2",
        "2"},
       {"Available Spare Threshold Percentage", "3", "3"},
       {"Percentage Used", "4", "4"},
       {"Data Units Read", "\"A\"", "10"},
       {"Data Units Written", "\"B\"", "11"},
       {"Power On Hours", "\"C\"", "12"},
       {"Media Errors", "\"D\"", "13"}},
      [](const std::string& members) { Health(members); });
}

TEST(CmdEmuLogs, Keys_TakeTheirKindOfValueAlone) {
  ExpectKinds(
      {{"Critical Warnings", 'i'},
       {"Available Spare Space has fallen below the threshold", 'b'},
       {"Device reliability has degraded", 'b'},
       {"Media is in a read-only mode", 'b'},
       {"Volatile memory backup device has failed", 'b'},
       {"Available Spare Normalized percentage of the remaining spare capacity available", 'i'},
       {"Available Spare Threshold Percentage", 'i'},
       {"Percentage Used", 'i'},
       {"Data Units Read", 't'},
       {"Data Units Written", 't'},
       {"Power On Hours", 't'},
       {"Media Errors", 't'}},
      [](const std::string& members) { Health(members); });
  ExpectKinds({{"Current Temperature", 'i'}, {"Estimated offset in Celsius", 'i'}},
              [](const std::string& members) {
                Log(ReadTemperatureLog, R"({"Temp Statistics":{)" + members + "}}");
              });
  ExpectKinds({{"PhysicalSize", 'q'}}, [](const std::string& members) {
    Log(ReadCapacityLog, R"({"x":{)" + members + "}}");
  });
  for (const std::string attribute : {"EA", "AD"}) {
    ExpectKinds({{"Normalized", 'q'}}, [&attribute](const std::string& members) {
      Log(ReadAttributeLog, R"({"SMART Attributes":{")" + attribute + R"(":{)" + members + "}}}");
    });
  }
}

TEST(CmdEmuHealthLog, FreshRecord_HasTheDefaults) {
  const CCmdEmuGetlog log = Health("");
  EXPECT_EQ(log.CriticalWarnings, 0U);
  EXPECT_FALSE(log.SpareBelowThreshold || log.ReliabilityDegraded || log.ReadOnlyMode ||
               log.VolatileBackupFailed);
  EXPECT_EQ(log.AvailableSpare, 100);
  EXPECT_EQ(log.AvailableSpareThreshold, 10);
  EXPECT_EQ(log.PercentageUsed, 0);
  EXPECT_EQ(log.DataUnitsRead + log.DataUnitsWritten + log.PowerOnHours + log.MediaErrors, 0U);
  EXPECT_EQ(log.PhysicalSize, 0U);
  EXPECT_EQ(log.CurrentTemperature, 10);
  EXPECT_EQ(log.TemperatureOffset, 0);
  EXPECT_EQ(log.NormalizedEA, 100U);
  EXPECT_EQ(log.NormalizedAD, 0U);
}

TEST(CmdEmuHealthLog, SectionNames_AreComparedByTheirBeginningWithoutCase) {
  const auto used = [](const std::string& section) {
    return Log(ReadHealthLog, "{\"" + section + R"(":{"Percentage Used":7}})").PercentageUsed;
  };
  for (const char* name :
       {"SMART and Health Information", "smart AND health information SN1", "NVMeLog2", "nvmelog2",
        "NVMeLog202", "NVMeLog SMART and Health Information SN1"}) {
    EXPECT_EQ(used(name), 7) << name;
  }
  for (const char* name :
       {"SMART and Health Informatio", "NVMeLog 2", "NVMeLog", "SMART Attributes", ""}) {
    EXPECT_EQ(used(name), 0) << name;
  }
}

TEST(CmdEmuHealthLog, OfTwoMatchingSections_TheLaterWins) {
  const CCmdEmuGetlog log =
      Log(ReadHealthLog, R"({"NVMeLog2":{"Percentage Used":1,"Critical Warnings":4},)"
                         R"("Other":{"Percentage Used":9},)"
                         R"("SMART and Health Information":{"Percentage Used":2}})");
  EXPECT_EQ(log.PercentageUsed, 2);
  EXPECT_EQ(log.CriticalWarnings, 4U);
}

TEST(CmdEmuHealthLog, ValueOfAnotherType_LeavesTheMemberAsItWas) {
  CCmdEmuGetlog before;
  before.PercentageUsed = 42;
  before.DataUnitsRead = 43;
  before.ReadOnlyMode = true;
  const CCmdEmuGetlog log = Health(
      R"("Percentage Used":"7","Data Units Read":7,"Media is in a read-only mode":0)", before);
  EXPECT_EQ(log.PercentageUsed, 42);
  EXPECT_EQ(log.DataUnitsRead, 43U);
  EXPECT_TRUE(log.ReadOnlyMode);
}

TEST(CmdEmuHealthLog, NegativeWarningWord_KeepsItsBits) {
  EXPECT_EQ(Health(R"("Critical Warnings":-1)").CriticalWarnings, 0xFFFFFFFFU);
}

TEST(CmdEmuHealthLog, BadCounter_Throws_AndWhatWasReadBeforeStays) {
  NAMESPACE_piTorvex::CToolDocument document;
  ASSERT_TRUE(ParseToolOutput(
      R"({"NVMeLog2":{"Percentage Used":7,"Data Units Read":"1F4","Data Units Written":"1G","Power On Hours":"5"}})",
      document));
  CCmdEmuGetlog log;
  EXPECT_THROW(ReadHealthLog(document, log), boost::bad_optional_access);
  EXPECT_EQ(log.PercentageUsed, 7);
  EXPECT_EQ(log.DataUnitsRead, 500U);
  EXPECT_EQ(log.PowerOnHours, 0U);
}

TEST(CmdEmuHealthLog, CounterCutAtANul_IsReadUpToIt) {
  EXPECT_EQ(Health(R"("Power On Hours":"1F\u00004")").PowerOnHours, 31U);
}

TEST(CmdEmuHealthLog, ValuesTaken_AreTraced) {
  vxtest::PluginTrace trace(2);
  Health(R"("Data Units Read":"1F4","Critical Warnings":3,"Media is in a read-only mode":true)");
  const std::vector<std::string> expected = {"Name: Critical Warnings, Value: (3)",
                                             "Name: Media is in a read-only mode, Value: (true)",
                                             "Name: Data Units Read, Value: (500)"};
  EXPECT_EQ(trace.Texts(), expected);
  EXPECT_EQ(trace.Lines().front().function, "GetLogPageInformation");
}

TEST(CmdEmuHealthLog, WithoutTheLevel_NothingIsTraced) {
  vxtest::PluginTrace trace(4 | 8 | 16);
  Health(R"("Data Units Read":"1F4","Critical Warnings":3)");
  EXPECT_TRUE(trace.Lines().empty());
}

// --- Hexadecimal counters

TEST(CmdEmuHexadecimal, WholeTexts_AreRead) {
  const std::array<std::pair<const char*, unsigned long>, 9> good = {{{"1F4", 500},
                                                                      {"1f4", 500},
                                                                      {"500", 1280},
                                                                      {"0x1F4", 500},
                                                                      {"0X1f4", 500},
                                                                      {" 1F4", 500},
                                                                      {"\t\n 1F4", 500},
                                                                      {"0", 0},
                                                                      {"FFFFFFFFFFFFFFFF", ~0UL}}};
  for (const auto& [text, number] : good) EXPECT_EQ(HexadecimalToNumber(text), number) << text;
}

TEST(CmdEmuHexadecimal, AnythingElse_ThrowsTheTextOfTheConversion) {
  for (const std::string text : {"", " ", "1G", "1F4 ", "0x", "1,000", "-1", " -1", "-", "0x-1",
                                 "10000000000000000", "1.5", "x1", "\xC3\xA9"}) {
    try {
      const unsigned long number = HexadecimalToNumber(text);
      ADD_FAILURE() << "'" << text << "' gave " << number;
    } catch (const boost::bad_optional_access& failure) {
      EXPECT_STREQ(failure.what(),
                   "Attempted to access the value of an uninitialized optional object.");
    }
  }
}

// --- Temperature, attributes, capacity

TEST(CmdEmuTemperature, BothKeys_AreReadFromEveryMatchingSection) {
  for (const char* name :
       {"Temp Statistics", "temp statistics SN", "NVMeLog197", "NVMeLog Temp Statistics X"}) {
    const CCmdEmuGetlog log =
        Log(ReadTemperatureLog,
            "{\"" + std::string(name) +
                R"(":{"Current Temperature":35,"Estimated offset in Celsius":-2}})");
    EXPECT_EQ(log.CurrentTemperature, 35) << name;
    EXPECT_EQ(log.TemperatureOffset, -2) << name;
  }
  for (const std::string name :
       {"Temp Statistic", "NVMeLog19", "NVMeLog Temp Statistic", "NVMeLog2", "Statistics", ""}) {
    EXPECT_EQ(Log(ReadTemperatureLog, "{\"" + name + R"(":{"Current Temperature":35}})")
                  .CurrentTemperature,
              10)
        << name;
  }
  const CCmdEmuGetlog log =
      Log(ReadTemperatureLog,
          R"({"NVMeLog197":{"Current Temperature":1,"Estimated offset in Celsius":2},)"
          R"("Temp Statistics":{"Current Temperature":3}})");
  EXPECT_EQ(log.CurrentTemperature, 3);
  EXPECT_EQ(log.TemperatureOffset, 2);
}

TEST(CmdEmuTemperature, Bits_FollowTheTemperatureWithoutTheOffset) {
  for (int t = -300; t <= 300; ++t) {
    const unsigned int expected = t < 78 ? 0U : t < 80 ? 0x20U : t < 84 ? 0x240U : 0x280U;
    EXPECT_EQ(BitsAt(t, 0), expected) << t;
    EXPECT_EQ(BitsAt(t + 7, 7), expected) << t;
    EXPECT_EQ(BitsAt(t - 3, -3), expected) << t;
  }
}

TEST(CmdEmuTemperature, Bits_AreOnlyAdded) {
  EXPECT_EQ(BitsAt(20, 0, 0x2C1), 0x2C1U);
  EXPECT_EQ(BitsAt(84, 0, 0x041), 0x2C1U);
  EXPECT_EQ(BitsAt(78, 0, 0x240), 0x260U);
}

TEST(CmdEmuTemperature, ExtremeOffsets_WrapIn32Bits) {
  EXPECT_EQ(BitsAt(INT_MAX, 0), 0x280U);
  EXPECT_EQ(BitsAt(10, INT_MIN), 0U);  // 10 + 2^31 is negative in 32 bits
  EXPECT_EQ(BitsAt(-1, INT_MIN), 0x280U);
  EXPECT_EQ(BitsAt(INT_MIN, 1), 0x280U);
}

TEST(CmdEmuAttributes, NamesAreWholeAndWithoutCase) {
  const auto read = [](const std::string& attributes) {
    return Log(ReadAttributeLog, R"({"SMART Attributes SN1":{)" + attributes + "}}");
  };
  EXPECT_EQ(read(R"("EA":{"Normalized":97},"AD":{"Normalized":96})").NormalizedEA, 97U);
  EXPECT_EQ(read(R"("EA":{"Normalized":97},"AD":{"Normalized":96})").NormalizedAD, 96U);
  EXPECT_EQ(read(R"("ea":{"Normalized":97},"aD":{"Normalized":96})").NormalizedEA, 97U);
  EXPECT_EQ(read(R"("ea":{"Normalized":97},"aD":{"Normalized":96})").NormalizedAD, 96U);
  for (const char* attribute :
       {R"("EAX":{"Normalized":1})", R"("E":{"Normalized":1})", R"("":{"Normalized":1})",
        R"("EA":5)", R"("EA":{"Normalized":"1"})", R"("EA":{"Normalized":-1})",
        R"("EA":{"normalized":1})", R"("EA":{})", R"("EA":[1])"}) {
    EXPECT_EQ(read(attribute).NormalizedEA, 100U) << attribute;
  }
  for (const char* attribute : {R"("ADX":{"Normalized":1})", R"("A":{"Normalized":1})",
                                R"("AD":{"Normalized":"1"})", R"("AD":5)"}) {
    EXPECT_EQ(read(attribute).NormalizedAD, 0U) << attribute;
  }
  const CCmdEmuGetlog twice = Log(
      ReadAttributeLog, R"({"SMART Attributes A":{"EA":{"Normalized":1},"AD":{"Normalized":2}},)"
                        R"("SMART Attributes B":{"ea":{"Normalized":3}}})");
  EXPECT_EQ(twice.NormalizedEA, 3U);
  EXPECT_EQ(twice.NormalizedAD, 2U);
  EXPECT_EQ(Log(ReadAttributeLog, R"({"SMART Attribute":{"EA":{"Normalized":1}}})").NormalizedEA,
            100U);
  EXPECT_EQ(Log(ReadAttributeLog, R"({"smart attributes":{"EA":{"Normalized":1}}})").NormalizedEA,
            1U);
}

TEST(CmdEmuCapacity, IsReadFromAnySectionThatIsAnObject) {
  const auto size = [](const std::string& text) { return Log(ReadCapacityLog, text).PhysicalSize; };
  EXPECT_EQ(size(R"({"whatever":{"PhysicalSize":5}})"), 5U);
  EXPECT_EQ(size(R"({"":{"PhysicalSize":18446744073709551615}})"), ~0UL);
  EXPECT_EQ(size(R"({"a":{"PhysicalSize":5},"b":{"PhysicalSize":6},"c":{}})"), 6U);
  EXPECT_EQ(size(R"({"PhysicalSize":5})"), 0U);
  EXPECT_EQ(size(R"({"a":{"PhysicalSize":"5"}})"), 0U);
}

// --- Version

TEST(CmdEmuVersion, IsReadFromTheFirstSectionOfThatWholeName) {
  const auto version = [](const std::string& text) {
    NAMESPACE_piTorvex::CToolDocument document;
    EXPECT_TRUE(ParseToolOutput(text, document));
    std::string result;
    ReadVersion(document, result);
    return result;
  };
  EXPECT_EQ(version(R"({"Version Information":{"Version":"3.0.20"}})"), "3.0.20");
  EXPECT_EQ(version(R"({"version information":{"Version":"3.0.20"}})"), "3.0.20");
  EXPECT_EQ(version(R"({"Version Information 2":{"Version":"3"}})"), "");
  EXPECT_EQ(version(R"({"Version Informatio":{"Version":"3"}})"), "");
  EXPECT_EQ(version(R"({"Version Information":"3","VERSION INFORMATION":{"Version":"4"}})"), "4");
  EXPECT_EQ(
      version(R"({"Version Information":{"Version":"1"},"version information":{"Version":"2"}})"),
      "1");
  EXPECT_EQ(version(R"({"Version Information":{},"version information":{"Version":"2"}})"), "");
  EXPECT_EQ(version(R"({"Version Information":{"Version":3}})"), "");
}

// --- The host's locale

namespace {

// Groups digits by three with a comma, as several countries do.
struct Grouping : std::numpunct<char> {
  char do_thousands_sep() const override { return ','; }
  std::string do_grouping() const override { return "\3"; }
};

// Has one capital letter more than others.
struct OddCapital : std::ctype<char> {
  char do_toupper(char c) const override {
    return c == '~' ? 'I' : std::ctype<char>::do_toupper(c);
  }
};

class GlobalLocale {
 public:
  template <class Facet>
  explicit GlobalLocale(Facet* facet)
      : old_(std::locale::global(std::locale(std::locale::classic(), facet))) {}
  ~GlobalLocale() { std::locale::global(old_); }
  GlobalLocale(const GlobalLocale&) = delete;
  GlobalLocale& operator=(const GlobalLocale&) = delete;

 private:
  std::locale old_;
};

}  // namespace

TEST(CmdEmuLocale, GroupingOfTheHost_ChangesNeitherReadingNorCommandLines) {
  const GlobalLocale locale(new Grouping);
  EXPECT_THROW((void)HexadecimalToNumber("1,000"), boost::bad_optional_access);
  EXPECT_EQ(HexadecimalToNumber("123456"), 0x123456U);
  EXPECT_EQ(OneDrive(R"("MaximumLBA":1234567)").MaximumLBA, 1234567U);
  vxtest::ScriptedTool tool;
  IPLUGINAPI_IMPL plugin;
  plugin.CmdEmu_delete(1234567);
  plugin.CmdEmu_set(1000, "N", 1, 50000);
  const std::vector<std::string> expected = {"delete -f -torvex 1234567 2>&1",
                                             "delete -f -torvex 1000N=50000GB"};
  EXPECT_EQ(tool.Calls(), expected);
}

TEST(CmdEmuLocale, CapitalsOfSectionNames_AreTheHosts) {
  const auto read = [] {
    NAMESPACE_piTorvex::CToolDocument document;
    EXPECT_TRUE(ParseToolOutput(R"({"Vers~on Information":{"Version":"3"}})", document));
    std::string version;
    ReadVersion(document, version);
    return version;
  };
  EXPECT_EQ(Accepted(Drive("", "~ntel SSD")), 0U);
  EXPECT_EQ(read(), "");
  const GlobalLocale locale(new OddCapital);
  EXPECT_EQ(Accepted(Drive("", "~ntel SSD")), 1U);
  EXPECT_EQ(read(), "3");
}

// --- Arbitrary input

// Whatever a broken tool prints, the readers either take it or leave it.
TEST(CmdEmuReading, MutatedOutput_NeverHarms) {
  const std::string seed = Drive(
      R"("SerialNumber":"S","NativeMaxLBA":5,"SectorSize":512,"Data Units Read":"1F4","EA":{"Normalized":3})",
      "Intel SSD");
  std::mt19937 random(20231);
  for (int round = 0; round < vxtest::Count(2000, 100000); ++round) {
    std::string text = seed;
    const auto changes = random() % 6U;
    for (unsigned int i = 0; i < changes; ++i) {
      const auto at = random() % text.size();
      switch (random() % 3U) {
        case 0:
          text[at] = static_cast<char>(random() % 256U);
          break;
        case 1:
          text.erase(at, 1 + random() % 4U);
          break;
        default:
          text.insert(at, text.substr(random() % text.size(), random() % 8U));
          break;
      }
      if (text.empty()) text = " ";
    }
    NAMESPACE_piTorvex::CToolDocument document;
    if (!ParseToolOutput(text, document)) {
      EXPECT_TRUE(document.IsNull());
      continue;
    }
    std::vector<CCmdEmuAdapter> drives;
    ReadInventory(document, drives);
    for (std::size_t i = 0; i < drives.size(); ++i) {
      EXPECT_EQ(drives[i].AdapterNumber, i + 1);
      EXPECT_NE(drives[i].Index, -1);
      EXPECT_EQ(drives[i].ModelNumber.compare(0, 11, "INTEL SSDPE"), 0);
    }
  }
}
