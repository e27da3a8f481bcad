#pragma once

#include "JsonMemory.h"

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

// What the drive tool's answers should hold: the keys and types that the facts name, the sections
// that are drives which are served. Logs go by their place in Facts::LOGS.
namespace vxhost {

// The keys of a drive's section in the inventory, by name.
namespace key {
#define INVENTORY_KEY(name, ...) inline constexpr const char* name = #name;
#define INVENTORY_KEY_READ_LAST(name, ...) inline constexpr const char* name = #name;
#include <Facts/Fields.def>
}  // namespace key

// How an answer differs from what is known, each as "QUERY: KEY".
struct KeyReport {
  std::vector<std::string> missing;
  std::vector<std::string> wrongType;  // with the type that was expected
  std::vector<std::string> unknown;
};

// What the log is called, and the tool's arguments for the drive with that index.
const char* LogName(std::size_t log);
std::string LogArguments(std::size_t log, int index);

// Compares the sections of a query's answer that are read with the known keys and adds what
// differs. False: the answer of a log lacks its section, and all its keys with it.
void CompareSection(const JsonValue& section, KeyReport& report);  // one of the inventory
[[nodiscard]] bool CompareLog(std::size_t log, const JsonValue& answer, KeyReport& report);

// Why a section of the inventory is no drive that is served; empty when it is one.
struct SectionVerdict {
  bool leftOut = true;  // it is meant to be; otherwise something is wrong
  std::string reason;
};
[[nodiscard]] SectionVerdict JudgeSection(std::string_view name, const JsonValue& section);

// Whether drives of the model are served. Blanks at the end do not count.
bool IsServedModel(std::string_view model);

// The text or number of a key; nothing when it is missing or of another type.
std::string TextOf(const JsonValue& section, const char* key);
std::optional<int> IndexOf(const JsonValue& section);

}  // namespace vxhost
