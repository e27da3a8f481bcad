#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <rapidjson/document.h>

// What is known of the drive tool's answers: its queries, the keys of each answer and their types.
namespace vxhost {

// One query of the tool. "%d" in the arguments stands for the drive's index.
struct ToolQuery {
  const char* name;
  const char* arguments;
};
inline constexpr ToolQuery INVENTORY = {"inventory", "show -all -o json -torvex"};
inline constexpr ToolQuery LOGS[] = {
    {"health log", "show -o json -torvex %d -nvmelog SmartHealthInfo"},
    {"temperature log", "show -o json -torvex %d -nvmelog TemperatureStatistics"},
    {"SMART attributes", "show -o json -smart -torvex %d"},
    {"properties", "show -all -o json -torvex %d"},
};

// How an answer differs from what is known, each as "QUERY: KEY".
struct KeyReport {
  std::vector<std::string> m_Missing;
  std::vector<std::string> m_WrongType;  // with the type that was expected
  std::vector<std::string> m_Unknown;
};

// Compares the sections of a query's answer that are read with the known keys and adds what
// differs. An answer without such a section lacks all its keys.
void CompareSection(const rapidjson::Value& section, KeyReport& report);  // one of the inventory
void CompareLog(std::size_t log, const rapidjson::Value& answer, KeyReport& report);

// Why a section of the inventory is no drive that is served; empty when it is one.
struct SectionVerdict {
  bool m_Accepted = true;  // it is meant to be left out
  std::string m_Reason;
};
SectionVerdict JudgeSection(std::string_view name, const rapidjson::Value& section);

// Whether drives of the model are served. Blanks at the end do not count.
bool IsServedModel(std::string_view model);

// The text or number of a key; nothing when it is missing or of another type.
std::string TextOf(const rapidjson::Value& section, const char* key);
std::optional<int> IndexOf(const rapidjson::Value& section);

}  // namespace vxhost
