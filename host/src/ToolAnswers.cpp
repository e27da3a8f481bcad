#include "ToolAnswers.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <span>

#include <Facts/Kinds.h>
#include <Facts/Tool.h>
#include <fmt/format.h>
#include <strings.h>

namespace vxhost {

namespace {

using Value = JsonValue;
using Facts::EKind;
using Facts::ELog;

constexpr const char* INVENTORY = "inventory";

struct Key {
  std::string_view name;
  EKind kind;
};

constexpr Key DRIVE_KEYS[] = {
#define INVENTORY_KEY(name, kind, ...) {key::name, EKind::kind},
#define INVENTORY_KEY_READ_LAST(name, kind, ...) {key::name, EKind::kind},
#include <Facts/Fields.def>
};

struct LogKey {
  ELog log;
  Key key;
};
constexpr LogKey LOG_KEYS[] = {
#define LOG_KEY(log, key, kind, ...) {ELog::log, {key, EKind::kind}},
#include <Facts/Fields.def>
};

std::vector<Key> KeysOf(ELog log) {
  std::vector<Key> keys;
  for (const LogKey& row : LOG_KEYS) {
    if (row.log == log) keys.push_back(row.key);
  }
  return keys;
}

std::string_view View(const Value& text) {
  return {text.GetString(), text.GetStringLength()};
}

bool BeginsWith(std::string_view name, std::span<const std::string_view> starts) {
  return std::any_of(starts.begin(), starts.end(), [&](std::string_view start) {
    return name.size() >= start.size() &&
           ::strncasecmp(name.data(), start.data(), start.size()) == 0;
  });
}

bool IsHexadecimal(const Value& value) {
  if (!value.IsString()) return false;
  std::string_view text = View(value);
  text.remove_prefix(std::min(text.find_first_not_of(" \t\n\v\f\r"), text.size()));
  if (text.starts_with("0x") || text.starts_with("0X")) text.remove_prefix(2);
  unsigned long number = 0;
  const char* const end = text.data() + text.size();
  const auto parsed = std::from_chars(text.data(), end, number, 16);
  return parsed.ec == std::errc() && parsed.ptr == end;
}

bool Is(const Value& value, EKind kind) {
  switch (kind) {
    case EKind::Text:
    case EKind::ProductFamily:
      return value.IsString();
    case EKind::Integer:
    case EKind::CharacterCode:
      return value.IsInt();
    case EKind::Unsigned:
      return value.IsUint();
    case EKind::Unsigned64:
    case EKind::Unsigned64OrReset:
      return value.IsUint64();
    case EKind::Boolean:
      return value.IsBool();
    case EKind::Hexadecimal:
      return IsHexadecimal(value);
  }
  return true;
}

const char* NameOf(EKind kind) {
  switch (kind) {
    case EKind::Text:
    case EKind::ProductFamily:
      return "a text";
    case EKind::Integer:
    case EKind::CharacterCode:
      return "a whole number of 32 bits";
    case EKind::Unsigned:
      return "a whole number of 32 bits, not negative";
    case EKind::Unsigned64:
    case EKind::Unsigned64OrReset:
      return "a whole number of 64 bits, not negative";
    case EKind::Boolean:
      return "true or false";
    case EKind::Hexadecimal:
      return "a text of hexadecimal digits";
  }
  return "known";
}

const Value* Find(const Value& section, std::string_view key) {
  const auto members = section.GetObject();
  const auto found = std::find_if(members.begin(), members.end(),
                                  [&](const auto& member) { return View(member.name) == key; });
  return found != members.end() ? &found->value : nullptr;
}

void Compare(const std::string& place, const Value& section, std::span<const Key> keys,
             KeyReport& report) {
  for (const Key& key : keys) {
    const Value* const value = Find(section, key.name);
    if (value == nullptr) {
      report.missing.push_back(fmt::format("{}: {}", place, key.name));
    } else if (!Is(*value, key.kind)) {
      report.wrongType.push_back(
          fmt::format("{}: {} is not {}", place, key.name, NameOf(key.kind)));
    }
  }
}

void AddUnknown(const std::string& place, const Value& section, std::span<const Key> keys,
                KeyReport& report) {
  for (const auto& member : section.GetObject()) {
    const std::string_view name = View(member.name);
    const bool known =
        name == Facts::RAID_MEMBER_KEY ||
        std::any_of(keys.begin(), keys.end(), [&](const Key& key) { return name == key.name; });
    if (!known) report.unknown.push_back(fmt::format("{}: {}", place, name));
  }
}

// The attributes are sections of their own, whatever the case of their names.
void CompareAttributes(const std::string& place, const Value& section, std::span<const Key> keys,
                       KeyReport& report) {
  for (const Key& key : keys) {
    const auto members = section.GetObject();
    const auto found = std::find_if(members.begin(), members.end(), [&](const auto& member) {
      const std::string_view name = View(member.name);
      return name.size() == key.name.size() &&
             ::strncasecmp(name.data(), key.name.data(), name.size()) == 0;
    });
    const std::string name = fmt::format("{}: {}", place, key.name);
    if (found == members.end()) {
      report.missing.push_back(name);
    } else if (!found->value.IsObject()) {
      report.wrongType.push_back(name + " is not a section");
    } else {
      const std::array<Key, 1> normalized{{{Facts::NORMALIZED_KEY, key.kind}}};
      Compare(name, found->value, normalized, report);
    }
  }
}

}  // namespace

const char* LogName(std::size_t log) {
  switch (Facts::LOGS.at(log).m_Log) {
    case ELog::Health:
      return "health log";
    case ELog::Temperature:
      return "temperature log";
    case ELog::Attribute:
      return "SMART attributes";
    case ELog::Capacity:
      return "properties";
  }
  return "log";
}

std::string LogArguments(std::size_t log, int index) {
  std::string arguments = Facts::LOGS.at(log).m_Arguments;
  return arguments.replace(arguments.find("%d"), 2, std::to_string(index));
}

void CompareSection(const Value& section, KeyReport& report) {
  Compare(INVENTORY, section, DRIVE_KEYS, report);
  AddUnknown(INVENTORY, section, DRIVE_KEYS, report);
}

bool CompareLog(std::size_t log, const Value& answer, KeyReport& report) {
  const Facts::CLog& facts = Facts::LOGS.at(log);
  const std::vector<Key> keys = KeysOf(facts.m_Log);
  bool found = false;
  for (const auto& member : answer.GetObject()) {
    if (!member.value.IsObject() || !BeginsWith(View(member.name), facts.m_Sections)) continue;
    found = true;
    if (facts.m_Log == ELog::Attribute) {
      CompareAttributes(LogName(log), member.value, keys, report);
      continue;
    }
    Compare(LogName(log), member.value, keys, report);
    // The last log shows the drive once more, for one key.
    if (facts.m_Log != ELog::Capacity) AddUnknown(LogName(log), member.value, keys, report);
  }
  if (!found) report.missing.push_back(fmt::format("{}: its section", LogName(log)));
  return found;
}

SectionVerdict JudgeSection(std::string_view name, const Value& section) {
  if (!BeginsWith(name, Facts::DRIVE_SECTIONS)) {
    std::string names;
    for (const std::string_view start : Facts::DRIVE_SECTIONS) {
      names += fmt::format("{} \"{}\"", names.empty() ? "neither" : " nor", start);
    }
    return {true, "not named like a drive of the tool: " + names};
  }
  if (section.HasMember(Facts::RAID_MEMBER_KEY)) return {true, "member of a platform RAID volume"};
  if (!IndexOf(section)) return {false, "the tool gives it no index"};
  const std::string model = TextOf(section, key::ModelNumber);
  if (model.empty()) return {false, "the tool gives it no model number"};
  if (!IsServedModel(model)) return {true, "its model is not served"};
  return {};
}

bool IsServedModel(std::string_view model) {
  return std::any_of(Facts::SERVED_MODELS.begin(), Facts::SERVED_MODELS.end(),
                     [&](std::string_view start) { return model.starts_with(start); });
}

std::string TextOf(const Value& section, const char* key) {
  const auto member = section.FindMember(key);
  if (member == section.MemberEnd() || !member->value.IsString()) return {};
  return member->value.GetString();
}

std::optional<int> IndexOf(const Value& section) {
  const auto member = section.FindMember(key::Index);
  if (member == section.MemberEnd() || !member->value.IsInt()) return std::nullopt;
  // -1 stands for no index.
  return member->value.GetInt() == -1 ? std::nullopt : std::optional(member->value.GetInt());
}

}  // namespace vxhost
