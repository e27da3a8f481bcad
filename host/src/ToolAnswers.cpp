#include "ToolAnswers.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <span>

#include <fmt/format.h>
#include <strings.h>

namespace vxhost {

namespace {

using rapidjson::Value;

enum class Type { Text, Integer, Unsigned, Unsigned64, Truth, Hexadecimal };

struct Key {
  const char* name;
  Type type;
};

// clang-format off
constexpr Key DRIVE_KEYS[] = {
    {"Index", Type::Integer}, {"Bootloader", Type::Text}, {"ControllerDescription", Type::Text},
    {"ControllerIDEMode", Type::Truth}, {"ControllerManufacturer", Type::Text},
    {"ControllerService", Type::Text}, {"DevicePath", Type::Text}, {"DeviceStatus", Type::Text},
    {"DriverDescription", Type::Text}, {"DriverMajorVersion", Type::Integer},
    {"DriverManufacturer", Type::Text}, {"DriverMinorVersion", Type::Integer},
    {"ErrorString", Type::Text}, {"Firmware", Type::Text}, {"LBAFormat", Type::Integer},
    {"ProductFamily", Type::Text}, {"MaximumLBA", Type::Unsigned64}, {"ModelNumber", Type::Text},
    {"NativeMaxLBA", Type::Unsigned64}, {"NumLBAFormats", Type::Unsigned},
    {"NVMePowerState", Type::Unsigned}, {"PowerGovernorMode", Type::Text},
    {"SectorSize", Type::Unsigned}, {"SerialNumber", Type::Text},
    {"TempThreshold", Type::Unsigned}, {"PhysicalSize", Type::Unsigned64},
};
constexpr Key HEALTH_KEYS[] = {
    {"Critical Warnings", Type::Integer},
    {"Available Spare Space has fallen below the threshold", Type::Truth},
    {"Device reliability has degraded", Type::Truth},
    {"Media is in a read-only mode", Type::Truth},
    {"Volatile memory backup device has failed", Type::Truth},
    {"Available Spare Normalized percentage of the remaining spare capacity available", Type::Integer},
    {"Available Spare Threshold Percentage", Type::Integer}, {"Percentage Used", Type::Integer},
    {"Data Units Read", Type::Hexadecimal}, {"Data Units Written", Type::Hexadecimal},
    {"Power On Hours", Type::Hexadecimal}, {"Media Errors", Type::Hexadecimal},
};
constexpr Key TEMPERATURE_KEYS[] = {
    {"Current Temperature", Type::Integer}, {"Estimated offset in Celsius", Type::Integer},
};
constexpr Key ATTRIBUTE_KEYS[] = {{"Normalized", Type::Unsigned64}};
constexpr Key SIZE_KEYS[] = {{"PhysicalSize", Type::Unsigned64}};

constexpr const char* HEALTH_SECTIONS[] = {"SMART and Health Information", "NVMeLog2",
                                           "NVMeLog SMART and Health Information"};
constexpr const char* TEMPERATURE_SECTIONS[] = {"Temp Statistics", "NVMeLog197", "NVMeLog Temp Statistics"};
constexpr const char* ATTRIBUTE_SECTIONS[] = {"SMART Attributes"};
constexpr const char* ANY_SECTION[] = {""};

constexpr const char* DRIVE_SECTIONS[] = {"Intel SSD", "Intel Optane"};
constexpr const char* MODELS[] = {"INTEL SSDPE2", "INTEL SSDPED", "INTEL SSDPEC",
                                  "INTEL SSDPE7", "INTEL SSDPEY", "INTEL SSDPEL"};
constexpr const char* RAID_KEY = "RSTeDiskId";
constexpr const char* ATTRIBUTES[] = {"AD", "EA"};
// clang-format on

std::string_view View(const Value& text) {
  return {text.GetString(), text.GetStringLength()};
}

bool BeginsWith(std::string_view name, std::span<const char* const> starts) {
  return std::any_of(starts.begin(), starts.end(), [&](std::string_view start) {
    return name.size() >= start.size() &&
           ::strncasecmp(name.data(), start.data(), start.size()) == 0;
  });
}

bool IsHexadecimal(const Value& value) {
  if (!value.IsString()) return false;
  std::string_view text = View(value);
  text.remove_prefix(std::min(text.find_first_not_of(" \t"), text.size()));
  if (text.starts_with("0x") || text.starts_with("0X")) text.remove_prefix(2);
  unsigned long number = 0;
  const char* const end = text.data() + text.size();
  const auto parsed = std::from_chars(text.data(), end, number, 16);
  return parsed.ec == std::errc() && parsed.ptr == end;
}

bool Is(const Value& value, Type type) {
  switch (type) {
    case Type::Text:
      return value.IsString();
    case Type::Integer:
      return value.IsInt();
    case Type::Unsigned:
      return value.IsUint();
    case Type::Unsigned64:
      return value.IsUint64();
    case Type::Truth:
      return value.IsBool();
    case Type::Hexadecimal:
      return IsHexadecimal(value);
  }
  return true;
}

const char* NameOf(Type type) {
  constexpr const char* NAMES[] = {"a text",
                                   "a whole number of 32 bits",
                                   "a whole number of 32 bits, not negative",
                                   "a whole number of 64 bits, not negative",
                                   "true or false",
                                   "a text of hexadecimal digits"};
  return NAMES[static_cast<std::size_t>(type)];
}

void Compare(const std::string& place, const Value& section, std::span<const Key> keys,
             bool unknownCount, KeyReport& report) {
  for (const Key& key : keys) {
    const auto member = section.FindMember(key.name);
    if (member == section.MemberEnd()) {
      report.m_Missing.push_back(fmt::format("{}: {}", place, key.name));
    } else if (!Is(member->value, key.type)) {
      report.m_WrongType.push_back(
          fmt::format("{}: {} is not {}", place, key.name, NameOf(key.type)));
    }
  }
  if (!unknownCount) return;
  for (const auto& member : section.GetObject()) {
    const std::string_view name = View(member.name);
    const bool known =
        name == RAID_KEY ||
        std::any_of(keys.begin(), keys.end(), [&](const Key& key) { return name == key.name; });
    if (!known) report.m_Unknown.push_back(fmt::format("{}: {}", place, name));
  }
}

void CompareAttributes(const std::string& place, const Value& section, KeyReport& report) {
  for (const char* const attribute : ATTRIBUTES) {
    const auto members = section.GetObject();
    const auto found = std::find_if(members.begin(), members.end(), [&](const auto& member) {
      return ::strcasecmp(member.name.GetString(), attribute) == 0;
    });
    const std::string name = fmt::format("{}: {}", place, attribute);
    if (found == members.end()) {
      report.m_Missing.push_back(name);
    } else if (!found->value.IsObject()) {
      report.m_WrongType.push_back(name + " is not a section");
    } else {
      Compare(name, found->value, ATTRIBUTE_KEYS, false, report);
    }
  }
}

struct LogShape {
  std::span<const char* const> sections;
  std::span<const Key> keys;  // none: the attributes
  bool unknownCount;          // the last answer shows the drive once more, for one key
};
constexpr std::array<LogShape, std::size(LOGS)> SHAPES{
    {{HEALTH_SECTIONS, HEALTH_KEYS, true},
     {TEMPERATURE_SECTIONS, TEMPERATURE_KEYS, true},
     {ATTRIBUTE_SECTIONS, {}, false},
     {ANY_SECTION, SIZE_KEYS, false}}};

}  // namespace

void CompareSection(const Value& section, KeyReport& report) {
  Compare(INVENTORY.name, section, DRIVE_KEYS, true, report);
}

void CompareLog(std::size_t log, const Value& answer, KeyReport& report) {
  const LogShape& shape = SHAPES.at(log);
  bool found = false;
  for (const auto& member : answer.GetObject()) {
    if (!member.value.IsObject() || !BeginsWith(View(member.name), shape.sections)) continue;
    found = true;
    if (shape.keys.empty()) {
      CompareAttributes(LOGS[log].name, member.value, report);
    } else {
      Compare(LOGS[log].name, member.value, shape.keys, shape.unknownCount, report);
    }
  }
  if (!found) report.m_Missing.push_back(fmt::format("{}: its section", LOGS[log].name));
}

SectionVerdict JudgeSection(std::string_view name, const Value& section) {
  if (!BeginsWith(name, DRIVE_SECTIONS)) {
    return {true, "not named like a drive of the tool: neither \"Intel SSD\" nor \"Intel Optane\""};
  }
  if (section.HasMember(RAID_KEY)) return {true, "member of a platform RAID volume"};
  if (!IndexOf(section)) return {false, "the tool gives it no index"};
  const std::string model = TextOf(section, "ModelNumber");
  if (model.empty()) return {false, "the tool gives it no model number"};
  if (!IsServedModel(model)) return {true, "its model is not served"};
  return {};
}

bool IsServedModel(std::string_view model) {
  return std::any_of(std::begin(MODELS), std::end(MODELS),
                     [&](const char* start) { return model.starts_with(start); });
}

std::string TextOf(const Value& section, const char* key) {
  const auto member = section.FindMember(key);
  if (member == section.MemberEnd() || !member->value.IsString()) return {};
  return member->value.GetString();
}

std::optional<int> IndexOf(const Value& section) {
  const auto member = section.FindMember("Index");
  if (member == section.MemberEnd() || !member->value.IsInt()) return std::nullopt;
  // -1 stands for no index.
  return member->value.GetInt() == -1 ? std::nullopt : std::optional(member->value.GetInt());
}

}  // namespace vxhost
