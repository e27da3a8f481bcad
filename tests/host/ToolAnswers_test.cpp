#include "ToolAnswers.h"

#include <string>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using vxhost::KeyReport;

constexpr const char* TEXT = "a text";
constexpr const char* INTEGER = "a whole number of 32 bits";
constexpr const char* UNSIGNED = "a whole number of 32 bits, not negative";
constexpr const char* UNSIGNED64 = "a whole number of 64 bits, not negative";
constexpr const char* TRUTH = "true or false";
constexpr const char* HEXADECIMAL = "a text of hexadecimal digits";

// What a type takes and what it does not, as JSON.
struct Values {
  const char* type;
  std::vector<std::string> good;
  std::vector<std::string> bad;
};
const std::vector<Values> VALUES = {
    {TEXT, {R"("x")", R"("")"}, {"1", "null", "true", "[]", "{}"}},
    {INTEGER, {"1", "-2147483648", "2147483647"}, {"2147483648", "-2147483649", "1.0", R"("1")"}},
    {UNSIGNED, {"0", "4294967295"}, {"-1", "4294967296", "1.5", R"("1")", "null"}},
    {UNSIGNED64, {"0", "18446744073709551615"}, {"-1", "18446744073709551616", "1e3", R"("1")"}},
    {TRUTH, {"true", "false"}, {"0", R"("true")", "null"}},
    {HEXADECIMAL,
     {R"("0")", R"("1F")", R"("0xffffffffffffffff")", R"(" 0XaB")"},
     {"5", R"("")", R"("0x")", R"("xyz")", R"("1 2")", R"("10000000000000000")", "null"}},
};

const Values& ValuesOf(const char* type) {
  for (const Values& values : VALUES) {
    if (values.type == type) return values;
  }
  throw std::logic_error(type);
}

using Keys = std::vector<std::pair<std::string, const char*>>;

const Keys DRIVE_KEYS = {
    {"Index", INTEGER},
    {"Bootloader", TEXT},
    {"ControllerDescription", TEXT},
    {"ControllerIDEMode", TRUTH},
    {"ControllerManufacturer", TEXT},
    {"ControllerService", TEXT},
    {"DevicePath", TEXT},
    {"DeviceStatus", TEXT},
    {"DriverDescription", TEXT},
    {"DriverMajorVersion", INTEGER},
    {"DriverManufacturer", TEXT},
    {"DriverMinorVersion", INTEGER},
    {"ErrorString", TEXT},
    {"Firmware", TEXT},
    {"LBAFormat", INTEGER},
    {"ProductFamily", TEXT},
    {"MaximumLBA", UNSIGNED64},
    {"ModelNumber", TEXT},
    {"NativeMaxLBA", UNSIGNED64},
    {"NumLBAFormats", UNSIGNED},
    {"NVMePowerState", UNSIGNED},
    {"PowerGovernorMode", TEXT},
    {"SectorSize", UNSIGNED},
    {"SerialNumber", TEXT},
    {"TempThreshold", UNSIGNED},
    {"PhysicalSize", UNSIGNED64},
};
const Keys HEALTH_KEYS = {
    {"Critical Warnings", INTEGER},
    {"Available Spare Space has fallen below the threshold", TRUTH},
    {"Device reliability has degraded", TRUTH},
    {"Media is in a read-only mode", TRUTH},
    {"Volatile memory backup device has failed", TRUTH},
    {"Available Spare Normalized percentage of the remaining spare capacity available", INTEGER},
    {"Available Spare Threshold Percentage", INTEGER},
    {"Percentage Used", INTEGER},
    {"Data Units Read", HEXADECIMAL},
    {"Data Units Written", HEXADECIMAL},
    {"Power On Hours", HEXADECIMAL},
    {"Media Errors", HEXADECIMAL},
};
const Keys TEMPERATURE_KEYS = {{"Current Temperature", INTEGER},
                               {"Estimated offset in Celsius", INTEGER}};

constexpr std::size_t HEALTH_LOG = 0;
constexpr std::size_t TEMPERATURE_LOG = 1;
constexpr std::size_t SMART_ATTRIBUTES = 2;
constexpr std::size_t PROPERTIES = 3;

rapidjson::Document Parsed(const std::string& json) {
  rapidjson::Document document;
  document.Parse(json.c_str());
  EXPECT_FALSE(document.HasParseError()) << json;
  return document;
}

// A section with all keys, but for one that has another value or, when that is empty, is missing.
std::string Section(const Keys& keys, const std::string& other = "", const std::string& value = "",
                    const std::string& more = "") {
  std::string json;
  for (const auto& [key, type] : keys) {
    const std::string& text = key == other ? value : ValuesOf(type).good.front();
    if (!text.empty()) json += (json.empty() ? "\"" : ",\"") + key + "\":" + text;
  }
  return "{" + json + (more.empty() || json.empty() ? "" : ",") + more + "}";
}

KeyReport OfSection(const std::string& json) {
  KeyReport report;
  vxhost::CompareSection(Parsed(json), report);
  return report;
}

KeyReport OfLog(std::size_t log, const std::string& json) {
  KeyReport report;
  vxhost::CompareLog(log, Parsed(json), report);
  return report;
}

void ExpectNothing(const KeyReport& report, const std::string& what) {
  EXPECT_THAT(report.m_Missing, IsEmpty()) << what;
  EXPECT_THAT(report.m_WrongType, IsEmpty()) << what;
  EXPECT_THAT(report.m_Unknown, IsEmpty()) << what;
}

// Every key of a section, taken away and given each value of its type and of others.
template <class Compare>
void ExpectEachKeyToBeWatched(const Keys& keys, const std::string& place, Compare compare) {
  ExpectNothing(compare(Section(keys)), place);
  for (const auto& [key, type] : keys) {
    const KeyReport without = compare(Section(keys, key));
    EXPECT_THAT(without.m_Missing, ElementsAre(place + ": " + key));
    EXPECT_THAT(without.m_WrongType, IsEmpty()) << key;
    for (const std::string& good : ValuesOf(type).good) {
      ExpectNothing(compare(Section(keys, key, good)), key + " " + good);
    }
    for (const std::string& bad : ValuesOf(type).bad) {
      const KeyReport wrong = compare(Section(keys, key, bad));
      EXPECT_THAT(wrong.m_WrongType, ElementsAre(place + ": " + key + " is not " + type)) << bad;
      EXPECT_THAT(wrong.m_Missing, IsEmpty()) << key;
    }
  }
  const KeyReport more = compare(Section(keys, "", "", R"("New one":1,"index":2)"));
  EXPECT_THAT(more.m_Unknown, ElementsAre(place + ": New one", place + ": index"));
  EXPECT_THAT(more.m_Missing, IsEmpty());
  EXPECT_THAT(more.m_WrongType, IsEmpty());
}

TEST(ToolAnswers, Inventory_EachKeyIsWatched) {
  ExpectEachKeyToBeWatched(DRIVE_KEYS, "inventory", OfSection);
}

TEST(ToolAnswers, RaidKey_IsKnownThoughNotMissed) {
  ExpectNothing(OfSection(Section(DRIVE_KEYS, "", "", R"("RSTeDiskId":7)")), "RAID");
}

TEST(ToolAnswers, HealthLog_EachKeyIsWatchedUnderEachName) {
  for (const std::string name :
       {"SMART and Health Information X", "NVMeLog2", "nvmelog smart AND health information 7"}) {
    ExpectEachKeyToBeWatched(HEALTH_KEYS, "health log", [&](const std::string& section) {
      return OfLog(HEALTH_LOG, "{\"" + name + "\":" + section + "}");
    });
  }
}

TEST(ToolAnswers, TemperatureLog_EachKeyIsWatchedUnderEachName) {
  for (const std::string name : {"Temp Statistics", "NVMeLog197 X", "NVMeLog Temp Statistics"}) {
    ExpectEachKeyToBeWatched(TEMPERATURE_KEYS, "temperature log", [&](const std::string& section) {
      return OfLog(TEMPERATURE_LOG, "{\"" + name + "\":" + section + "}");
    });
  }
}

TEST(ToolAnswers, AnswerWithoutItsSection_LacksIt) {
  for (const std::string answer :
       {"{}", R"({"Another":{}})",
        R"({"Temp Statistics":5,"NVMeLog2":[],"SMART Attributes":null})"}) {
    EXPECT_THAT(OfLog(HEALTH_LOG, answer).m_Missing, ElementsAre("health log: its section"));
    EXPECT_THAT(OfLog(TEMPERATURE_LOG, answer).m_Missing,
                ElementsAre("temperature log: its section"));
    EXPECT_THAT(OfLog(SMART_ATTRIBUTES, answer).m_Missing,
                ElementsAre("SMART attributes: its section"));
  }
  EXPECT_THAT(OfLog(PROPERTIES, "{}").m_Missing, ElementsAre("properties: its section"));
}

TEST(ToolAnswers, SmartAttributes_AreWatchedOneByOne) {
  const auto report = [](const std::string& ad, const std::string& ea) {
    return OfLog(SMART_ATTRIBUTES, R"({"SMART Attributes X":{"ad":)" + ad + R"(,"EA":)" + ea +
                                       R"(,"E9":{"Normalized":1}}})");
  };
  const std::string good = R"({"Normalized":100,"Raw":"0"})";
  ExpectNothing(report(good, good), "complete");
  EXPECT_THAT(report("{}", good).m_Missing, ElementsAre("SMART attributes: AD: Normalized"));
  EXPECT_THAT(report(good, R"({"Normalized":"100"})").m_WrongType,
              ElementsAre("SMART attributes: EA: Normalized is not a whole number of 64 bits, not "
                          "negative"));
  EXPECT_THAT(report("100", good).m_WrongType,
              ElementsAre("SMART attributes: AD is not a section"));
  EXPECT_THAT(OfLog(SMART_ATTRIBUTES, R"({"SMART Attributes":{}})").m_Missing,
              ElementsAre("SMART attributes: AD", "SMART attributes: EA"));
}

TEST(ToolAnswers, Properties_AreReadForTheSizeAlone) {
  ExpectNothing(OfLog(PROPERTIES, R"({"Any":{"PhysicalSize":1,"Other":2}})"), "complete");
  EXPECT_THAT(OfLog(PROPERTIES, R"({"Any":{}})").m_Missing,
              ElementsAre("properties: PhysicalSize"));
  EXPECT_THAT(OfLog(PROPERTIES, R"({"Any":{"PhysicalSize":-1}})").m_WrongType,
              ElementsAre("properties: PhysicalSize is not a whole number of 64 bits, not "
                          "negative"));
}

TEST(ToolAnswers, Section_IsJudgedByTheFirstReasonThatApplies) {
  struct Case {
    const char* name;
    const char* section;
    bool accepted;
    const char* reason;
  };
  const std::string other =
      "not named like a drive of the tool: neither \"Intel SSD\" nor \"Intel Optane\"";
  const std::vector<Case> cases = {
      {"Intel SSD X", R"({"Index":0,"ModelNumber":"INTEL SSDPE2KX040T8"})", true, ""},
      {"intel optane X", R"({"Index":7,"ModelNumber":"INTEL SSDPED1K375GA"})", true, ""},
      {"Other SSD", R"({"Index":0,"ModelNumber":"INTEL SSDPE2KX040T8"})", true, other.c_str()},
      {"Other SSD", R"({"RSTeDiskId":1})", true, other.c_str()},
      {"Intel SSD X", R"({"RSTeDiskId":null})", true, "member of a platform RAID volume"},
      {"Intel SSD X", R"({"ModelNumber":"INTEL SSDPE2KX040T8"})", false,
       "the tool gives it no index"},
      {"Intel SSD X", R"({"Index":-1,"ModelNumber":"OTHER"})", false, "the tool gives it no index"},
      {"Intel SSD X", R"({"Index":"0"})", false, "the tool gives it no index"},
      {"Intel SSD X", R"({"Index":0})", false, "the tool gives it no model number"},
      {"Intel SSD X", R"({"Index":0,"ModelNumber":5})", false, "the tool gives it no model number"},
      {"Intel SSD X", R"({"Index":0,"ModelNumber":"MO001600KWVUU"})", true,
       "its model is not served"},
  };
  for (const Case& row : cases) {
    const auto verdict = vxhost::JudgeSection(row.name, Parsed(row.section));
    EXPECT_EQ(verdict.m_Reason, row.reason) << row.name << row.section;
    EXPECT_EQ(verdict.m_Accepted, row.accepted) << row.name << row.section;
  }
}

TEST(ToolAnswers, ServedModels_AreThoseOfTheFamilies) {
  for (const char* const model : {"INTEL SSDPE2X", "INTEL SSDPED", "INTEL SSDPECKE064T7",
                                  "INTEL SSDPE7", "INTEL SSDPEY", "INTEL SSDPEL1K100GA  "}) {
    EXPECT_TRUE(vxhost::IsServedModel(model)) << model;
  }
  for (const char* const model : {"", "INTEL SSDPE", "INTEL SSDPE3", "SSDPE2KX040T8",
                                  "INTEL SSDSC2", "intel ssdpe2kx040t8"}) {
    EXPECT_FALSE(vxhost::IsServedModel(model)) << model;
  }
}

}  // namespace
