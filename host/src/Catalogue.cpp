#include "Catalogue.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <cmath>

#include <fmt/format.h>

#include <PI/PluginHelper.h>

namespace vxhost {

namespace {

struct Text {
  unsigned int number;
  std::string_view text;
};

struct PropertyRow {
  unsigned int id;
  unsigned int label;  // 1: the property has none
  std::string_view text;
};

// {names} is where the names that the event carries stand; the others are the bounds of the bands
// of temperature, in degrees Celsius.
constexpr auto EVENTS = std::to_array<Text>({
    {PI::EVENT_BACKUP_FAILED, "The backup of the drive's volatile memory has failed: {names}"},
    {PI::EVENT_TEMPERATURE_HIGH, "Temperature is critical, {high} to {below_shutdown} °C: {names}"},
    {PI::EVENT_TEMPERATURE_SHUTDOWN,
     "Temperature is at the shutdown limit, {shutdown} °C or more: {names}"},
    {PI::EVENT_TEMPERATURE_ABOVE_LIMIT, "Temperature is above its limit: {names}"},
    {PI::EVENT_TEMPERATURE_WARNING,
     "Temperature is close to its limit, {warning} or {below_high} °C: {names}"},
    {PI::EVENT_SPARE_LOW, "Available spare is below its threshold: {names}"},
    {PI::EVENT_ALL_CLEAR, "Back to normal, no warning is left: {names}"},
    {PI::EVENT_DRIVE_CHANGED, "Drive state or sector size has changed: {names}"},
    {PI::EVENT_RELIABILITY_DEGRADED,
     "Reliability is degraded by media or internal errors: {names}"},
    {PI::EVENT_ADAPTER_ADDED, "Adapter added: {names}"},
    {PI::EVENT_ADAPTER_REMOVED, "Adapter removed: {names}"},
});
static_assert(PI::TEMPERATURE_HIGH_FROM - PI::TEMPERATURE_WARNING_FROM == 2,
              "the text of the warning names two temperatures");

constexpr auto SEVERITIES = std::to_array<Text>({
    {PI::SEVERITY_INFORMATION, "information"},
    {PI::SEVERITY_WARNING, "warning"},
    {PI::SEVERITY_ERROR, "error"},
});

constexpr auto PROPERTIES = std::to_array<PropertyRow>({
#define ADAPTER_PROPERTY(name, label, text, ...) {PI::PROPERTY_##name, label, text},
#define DRIVE_PROPERTY(name, label, text, ...) {PI::PROPERTY_##name, label, text},
#define PLUGIN_PROPERTY(name, label, text, ...) {PI::PROPERTY_##name, label, text},
#include <Facts/Fields.def>
});

constexpr auto UNITS = std::to_array<Text>({
    {PI::UNIT_NONE, ""},
    {PI::UNIT_CELSIUS, "°C"},
    {PI::UNIT_KIB, "KiB"},
    {PI::UNIT_MIB, "MiB"},
    {PI::UNIT_GIB, "GiB"},
    {PI::UNIT_TIB, "TiB"},
    {PI::UNIT_HOURS, "h"},
    {PI::UNIT_BYTES, "B"},
    {PI::UNIT_PIB, "PiB"},
    {PI::UNIT_EIB, "EiB"},
    {PI::UNIT_PERCENT, "%"},
    {PI::UNIT_BYTES_PER_SECTOR, "B per sector"},
});

constexpr auto RESULTS = std::to_array<Text>({
    {PI::SUCCESS, "done"},
    {PI::ERR_GENERAL_FAILURE, "general failure"},
    {PI::ERR_NO_SUPPORTED_HARDWARE, "no supported hardware"},
    {PI::ERR_UNKNOWN_COMMAND, "unknown command"},
    {PI::ERR_TOOL_COMMAND_FAILED, "the drive tool failed"},
    {PI::ERR_PROPERTY_NOT_SETTABLE, "the property cannot be set"},
    {PI::ERR_OPERATION_NOT_SUPPORTED, "the operation is not supported"},
    {PI::ERR_UNKNOWN_LOG_PAGE, "unknown log page"},
    {PI::ERR_OUT_OF_MEMORY, "out of memory"},
    {PI::ERR_OBJECT_NOT_FOUND, "no such object"},
    {PI::ERR_LOCK_INITIALIZATION_FAILED, "a lock could not be made"},
    {PI::ERR_API_INITIALIZATION_FAILED,
     "the drive tool answered with no drive that is served, or not at all"},
    {PI::ERR_OPERATION_NOT_ALLOWED, "the operation is not allowed in this state"},
});

constexpr auto OBJECT_TYPES = std::to_array<Text>({
    {PI::OBJECT_TYPE_PLUGIN, "plug-in"},
    {PI::OBJECT_TYPE_PHYSICAL_DRIVE, "drive"},
    {PI::OBJECT_TYPE_ADAPTER, "adapter"},
});

// Whether the table has one row for each of the numbers, and for no other.
template <std::size_t Rows, std::size_t Numbers>
consteval bool Covers(const std::array<Text, Rows>& table,
                      const std::array<unsigned int, Numbers>& numbers) {
  return Rows == Numbers && std::all_of(numbers.begin(), numbers.end(), [&](unsigned int number) {
           return std::count_if(table.begin(), table.end(),
                                [&](const Text& row) { return row.number == number; }) == 1;
         });
}
#define NUMBER(name, number, ...) number##U,
#define NUMBERS(ROWS) std::to_array<unsigned int>({ROWS(NUMBER)})
static_assert(Covers(EVENTS, NUMBERS(PI_CATALOGUE_EVENTS)), "an event without a text");
static_assert(Covers(SEVERITIES, NUMBERS(PI_CATALOGUE_SEVERITIES)), "a severity without a text");
static_assert(Covers(UNITS, NUMBERS(PI_CATALOGUE_UNITS)), "a unit without a text");
static_assert(Covers(RESULTS, NUMBERS(PI_CATALOGUE_RESULTS)), "a result without a text");
static_assert(Covers(OBJECT_TYPES, NUMBERS(PI_CATALOGUE_OBJECT_TYPES)),
              "an object type without a text");
#undef NUMBERS
#undef NUMBER

constexpr unsigned long BYTES_PER_DATA_UNIT = 512'000;

// Counters in data units of the drive, as they are reported.
constexpr bool IsDataCounter(unsigned int id) {
  return id == PI::PROPERTY_DATA_READ || id == PI::PROPERTY_DATA_WRITTEN;
}

template <std::size_t Size>
const Text* Find(const std::array<Text, Size>& table, unsigned int number) {
  const auto found = std::find_if(table.begin(), table.end(),
                                  [&](const Text& row) { return row.number == number; });
  return found != table.end() ? &*found : nullptr;
}

template <std::size_t Size>
std::string TextOr(const std::array<Text, Size>& table, unsigned int number,
                   const std::string& otherwise) {
  const Text* const row = Find(table, number);
  return row != nullptr ? std::string(row->text) : otherwise;
}

const PropertyRow* FindProperty(unsigned int id, unsigned int label) {
  const auto by = [&](auto&& matches) {
    const auto found = std::find_if(PROPERTIES.begin(), PROPERTIES.end(), matches);
    return found != PROPERTIES.end() ? &*found : nullptr;
  };
  if (const auto* row = by([&](const auto& r) { return r.id == id && r.label == label; })) {
    return row;
  }
  const auto* row = by([&](const auto& r) { return label != 1 && r.label == label; });
  return row != nullptr ? row : by([&](const auto& r) { return r.id == id; });
}

// Letters and digits in lower case: how names are compared.
std::string Plain(std::string_view text) {
  std::string plain;
  for (const char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    if (std::isalnum(byte) != 0) plain += static_cast<char>(std::tolower(byte));
  }
  return plain;
}

// A decimal size with three significant digits: "1.60 TB".
std::string DecimalSize(double bytes) {
  constexpr std::array<std::string_view, 7> NAMES = {"B", "kB", "MB", "GB", "TB", "PB", "EB"};
  std::size_t unit = 0;
  while (bytes >= 999.5 && unit + 1 < NAMES.size()) {
    bytes /= 1000;
    ++unit;
  }
  const int digits = unit == 0 || bytes >= 99.95 ? 0 : (bytes >= 9.995 ? 1 : 2);
  return fmt::format("{:.{}f} {}", bytes, digits, NAMES.at(unit));
}

std::string WithUnit(const std::string& number, std::string_view unit) {
  return unit.empty() ? number : fmt::format("{} {}", number, unit);
}

std::string Joined(const std::vector<std::string>& texts) {
  return fmt::format("{}", fmt::join(texts, ", "));
}

class ValueFormatter : public boost::static_visitor<std::string> {
 public:
  explicit ValueFormatter(const PI::CProperty& property)
      : id_(property.m_PropertyID),
        unit_(id_ == PI::PROPERTY_POLL_INTERVAL ? "s" : UnitText(property.m_Unit)) {}

  std::string operator()(const PI::CChoiceData& data) const { return ChoiceText(data.m_Selected); }
  std::string operator()(const PI::CRangeData& data) const {
    return WithUnit(std::to_string(data.m_Value), unit_);
  }
  std::string operator()(const PI::CStringData& data) const { return data.m_Value; }
  std::string operator()(const PI::CXMLData& data) const { return data.m_Value; }
  std::string operator()(const PI::CBoolData& data) const { return data.m_Value ? "yes" : "no"; }
  std::string operator()(const PI::CLongData& data) const {
    const auto number = static_cast<double>(data.m_Value);
    if (IsDataCounter(id_)) {
      return fmt::format("{} ({} units of 512000 B)",
                         DecimalSize(number * static_cast<double>(BYTES_PER_DATA_UNIT)),
                         data.m_Value);
    }
    const std::string text = WithUnit(std::to_string(data.m_Value), unit_);
    return unit_ == UnitText(PI::UNIT_MIB)
               ? fmt::format("{} ({})", DecimalSize(number * 1024 * 1024), text)
               : text;
  }
  std::string operator()(const PI::CSignedLongData& data) const {
    return WithUnit(std::to_string(data.m_Value), unit_);
  }
  std::string operator()(const PI::CMultiValueData& data) const {
    std::vector<std::string> texts;
    for (const int code : data.m_Selected) texts.push_back(ChoiceText(code));
    return texts.empty() ? "none" : Joined(texts);
  }
  std::string operator()(const PI::CFloatData& data) const {
    return WithUnit(std::isfinite(data.m_Value) ? fmt::format("{}", data.m_Value) : "unknown",
                    unit_);
  }
  std::string operator()(const PI::CMultiLongData& data) const {
    return fmt::format("{}", fmt::join(data.m_Values, ", "));
  }
  std::string operator()(const PI::CMultiStringData& data) const { return Joined(data.m_Values); }

 private:
  const unsigned int id_;
  const std::string_view unit_;
};

// The names that an event carries, for its text. The second one of an added or removed adapter
// begins with a blank, the one of a drive event is the drive's and comes first.
std::string EventNames(const PI::CEvent& event) {
  const std::string_view second = event.m_PlaceHolder2;
  std::string rest(second.substr(std::min(second.find_first_not_of(' '), second.size())));
  if (rest.empty()) return event.m_PlaceHolder1;
  if (event.m_PlaceHolder1.empty()) return rest;
  if (second.starts_with(' ')) return event.m_PlaceHolder1 + " " + rest;
  return fmt::format("{} on {}", rest, event.m_PlaceHolder1);
}

}  // namespace

std::string EventText(const PI::CEvent& event) {
  const std::string names = EventNames(event);
  const Text* const row = Find(EVENTS, event.m_EventID);
  const std::string pattern =
      row != nullptr ? std::string(row->text) : fmt::format("Event {}: {{names}}", event.m_EventID);
  const std::string own = event.m_Name.empty() ? "(no name)" : event.m_Name;
  return fmt::format(fmt::runtime(pattern), fmt::arg("names", names.empty() ? own : names),
                     fmt::arg("warning", PI::TEMPERATURE_WARNING_FROM),
                     fmt::arg("high", PI::TEMPERATURE_HIGH_FROM),
                     fmt::arg("below_high", PI::TEMPERATURE_HIGH_FROM - 1),
                     fmt::arg("shutdown", PI::TEMPERATURE_SHUTDOWN_FROM),
                     fmt::arg("below_shutdown", PI::TEMPERATURE_SHUTDOWN_FROM - 1));
}

std::string SeverityText(unsigned int severity) {
  return TextOr(SEVERITIES, severity, fmt::format("severity {}", severity));
}

std::string PropertyText(unsigned int id, unsigned int label) {
  const PropertyRow* const row = FindProperty(id, label);
  return row != nullptr ? std::string(row->text) : fmt::format("property {}", id);
}

std::string ChoiceText(int code) {
  const std::string text = PI::PropertyValueToString(code);
  return text.empty() ? std::to_string(code) : text;
}

std::string_view UnitText(unsigned int unit) {
  const Text* const row = Find(UNITS, unit);
  return row != nullptr ? row->text : std::string_view();
}

std::string ResultText(unsigned int result) {
  return TextOr(RESULTS, result, fmt::format("result {}", result));
}

std::string_view ObjectTypeText(unsigned int type) {
  const Text* const row = Find(OBJECT_TYPES, type);
  return row != nullptr ? row->text : "object";
}

bool NamesProperty(std::string_view word, const PI::CProperty& property) {
  return word == std::to_string(property.m_PropertyID) ||
         Plain(word) == Plain(PropertyText(property.m_PropertyID, property.m_LabelID));
}

std::string ValueText(const PI::CProperty& property) {
  return boost::apply_visitor(ValueFormatter(property), property.m_Value);
}

}  // namespace vxhost
