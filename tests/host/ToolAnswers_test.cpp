#include "ToolAnswers.h"

#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include <Facts/Kinds.h>
#include <Facts/Tool.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using Facts::EKind;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::UnorderedElementsAre;
using vxhost::KeyReport;

// What a kind takes and what it does not, as JSON, and what a wrong one is said to lack.
struct Values {
  std::vector<std::string> good;
  std::vector<std::string> bad;
  const char* words;
};

Values ValuesOf(EKind kind) {
  switch (kind) {
    case EKind::Text:
    case EKind::ProductFamily:
      return {{R"("x")", R"("")"}, {"1", "null", "true", "[]", "{}"}, "a text"};
    case EKind::Integer:
    case EKind::CharacterCode:
      return {{"1", "-2147483648", "2147483647"},
              {"2147483648", "-2147483649", "1.0", R"("1")"},
              "a whole number of 32 bits"};
    case EKind::Unsigned:
      return {{"0", "4294967295"},
              {"-1", "4294967296", "1.5", R"("1")", "null"},
              "a whole number of 32 bits, not negative"};
    case EKind::Unsigned64:
    case EKind::Unsigned64OrReset:
      return {{"0", "18446744073709551615"},
              {"-1", "18446744073709551616", "1e3", R"("1")"},
              "a whole number of 64 bits, not negative"};
    case EKind::Boolean:
      return {{"true", "false"}, {"0", R"("true")", "null"}, "true or false"};
    case EKind::Hexadecimal:
      return {{R"("0")", R"("1F")", R"("0xffffffffffffffff")", R"(" 0XaB")"},
              {"5", R"("")", R"("0x")", R"("xyz")", R"("1 2")", R"("10000000000000000")", "null"},
              "a text of hexadecimal digits"};
  }
  throw std::logic_error("a kind without values");
}

using Keys = std::vector<std::pair<std::string, EKind>>;

const Keys DRIVE_KEYS = {
#define INVENTORY_KEY(key, kind, ...) {#key, EKind::kind},
#define INVENTORY_KEY_READ_LAST(key, kind, ...) {#key, EKind::kind},
#include <Facts/Fields.def>
};

Keys KeysOf(Facts::ELog wanted) {
  Keys keys;
#define LOG_KEY(log, key, kind, ...) \
  if (Facts::ELog::log == wanted) keys.emplace_back(key, EKind::kind);
#include <Facts/Fields.def>
  return keys;
}
const Keys HEALTH_KEYS = KeysOf(Facts::ELog::Health);
const Keys TEMPERATURE_KEYS = KeysOf(Facts::ELog::Temperature);

constexpr std::size_t HEALTH_LOG = 0;
constexpr std::size_t TEMPERATURE_LOG = 1;
constexpr std::size_t SMART_ATTRIBUTES = 2;
constexpr std::size_t PROPERTIES = 3;

vxhost::JsonDocument Parsed(const std::string& json) {
  vxhost::JsonDocument document;
  document.Parse(json.c_str());
  EXPECT_FALSE(document.HasParseError()) << json;
  return document;
}

// A section with all keys, but for one that has another value or, when that is empty, is missing.
std::string Section(const Keys& keys, const std::string& other = "", const std::string& value = "",
                    const std::string& more = "") {
  std::string json;
  for (const auto& [key, kind] : keys) {
    const std::string text = key == other ? value : ValuesOf(kind).good.front();
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
  const bool found = vxhost::CompareLog(log, Parsed(json), report);
  const std::string section = std::string(vxhost::LogName(log)) + ": its section";
  EXPECT_EQ(!found, report.missing == std::vector<std::string>{section});
  return report;
}

void ExpectNothing(const KeyReport& report, const std::string& what) {
  EXPECT_THAT(report.missing, IsEmpty()) << what;
  EXPECT_THAT(report.wrongType, IsEmpty()) << what;
  EXPECT_THAT(report.unknown, IsEmpty()) << what;
}

// Every key of a section, taken away and given each value of its type and of others.
template <class Compare>
void ExpectEachKeyToBeWatched(const Keys& keys, const std::string& place, Compare compare) {
  ExpectNothing(compare(Section(keys)), place);
  for (const auto& [key, kind] : keys) {
    const Values values = ValuesOf(kind);
    const KeyReport without = compare(Section(keys, key));
    EXPECT_THAT(without.missing, ElementsAre(place + ": " + key));
    EXPECT_THAT(without.wrongType, IsEmpty()) << key;
    for (const std::string& good : values.good) {
      ExpectNothing(compare(Section(keys, key, good)), key + " " + good);
    }
    for (const std::string& bad : values.bad) {
      const KeyReport wrong = compare(Section(keys, key, bad));
      EXPECT_THAT(wrong.wrongType, ElementsAre(place + ": " + key + " is not " + values.words))
          << bad;
      EXPECT_THAT(wrong.missing, IsEmpty()) << key;
    }
  }
  const KeyReport more = compare(Section(keys, "", "", R"("New one":1,"index":2)"));
  EXPECT_THAT(more.unknown, ElementsAre(place + ": New one", place + ": index"));
  EXPECT_THAT(more.missing, IsEmpty());
  EXPECT_THAT(more.wrongType, IsEmpty());
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
    EXPECT_THAT(OfLog(HEALTH_LOG, answer).missing, ElementsAre("health log: its section"));
    EXPECT_THAT(OfLog(TEMPERATURE_LOG, answer).missing,
                ElementsAre("temperature log: its section"));
    EXPECT_THAT(OfLog(SMART_ATTRIBUTES, answer).missing,
                ElementsAre("SMART attributes: its section"));
  }
  EXPECT_THAT(OfLog(PROPERTIES, "{}").missing, ElementsAre("properties: its section"));
}

TEST(ToolAnswers, SmartAttributes_AreWatchedOneByOne) {
  const auto report = [](const std::string& ad, const std::string& ea) {
    return OfLog(SMART_ATTRIBUTES, R"({"SMART Attributes X":{"ad":)" + ad + R"(,"EA":)" + ea +
                                       R"(,"E9":{"Normalized":1}}})");
  };
  const std::string good = R"({"Normalized":100,"Raw":"0"})";
  ExpectNothing(report(good, good), "complete");
  EXPECT_THAT(report("{}", good).missing, ElementsAre("SMART attributes: AD: Normalized"));
  EXPECT_THAT(report(good, R"({"Normalized":"100"})").wrongType,
              ElementsAre("SMART attributes: EA: Normalized is not a whole number of 64 bits, not "
                          "negative"));
  EXPECT_THAT(report("100", good).wrongType, ElementsAre("SMART attributes: AD is not a section"));
  EXPECT_THAT(OfLog(SMART_ATTRIBUTES, R"({"SMART Attributes":{}})").missing,
              UnorderedElementsAre("SMART attributes: AD", "SMART attributes: EA"));
}

TEST(ToolAnswers, Properties_AreReadForTheSizeAlone) {
  ExpectNothing(OfLog(PROPERTIES, R"({"Any":{"PhysicalSize":1,"Other":2}})"), "complete");
  EXPECT_THAT(OfLog(PROPERTIES, R"({"Any":{}})").missing, ElementsAre("properties: PhysicalSize"));
  EXPECT_THAT(OfLog(PROPERTIES, R"({"Any":{"PhysicalSize":-1}})").wrongType,
              ElementsAre("properties: PhysicalSize is not a whole number of 64 bits, not "
                          "negative"));
}

TEST(ToolAnswers, Section_IsJudgedByTheFirstReasonThatApplies) {
  struct Case {
    const char* name;
    const char* section;
    bool leftOut;
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
    EXPECT_EQ(verdict.reason, row.reason) << row.name << row.section;
    EXPECT_EQ(verdict.leftOut, row.leftOut) << row.name << row.section;
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
