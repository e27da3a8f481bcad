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

// "{}" is where the names that the event carries stand.
constexpr auto EVENTS = std::to_array<Text>({
    {10957, "The backup of the drive's volatile memory has failed: {}"},
    {10959, "Temperature is critical, 80 to 83 °C: {}"},
    {10960, "Temperature is at the shutdown limit, 84 °C or more: {}"},
    {10962, "Temperature is above its limit: {}"},
    {10967, "Temperature is close to its limit, 78 or 79 °C: {}"},
    {10968, "Available spare is below its threshold: {}"},
    {10980, "Back to normal, no warning is left: {}"},
    {10985, "Drive state or sector size has changed: {}"},
    {11088, "Reliability is degraded by media or internal errors: {}"},
    {11093, "Adapter added: {}"},
    {11094, "Adapter removed: {}"},
});

constexpr auto SEVERITIES = std::to_array<Text>({
    {PI::SEVERITY_INFORMATION, "information"},
    {PI::SEVERITY_WARNING, "warning"},
    {PI::SEVERITY_ERROR, "error"},
});

constexpr auto PROPERTIES = std::to_array<PropertyRow>({
    // adapter
    {30007, 23081, "Name"},
    {30003, 23144, "Vendor"},
    {30063, 23102, "Model"},
    {30158, 1, "Mode"},
    {30120, 23003, "Adapter number"},
    {30017, 23127, "Health"},
    {30479, 23134, "PCI segment"},
    {30037, 23132, "PCI bus"},
    {30038, 23133, "PCI device"},
    {30039, 23135, "PCI function"},
    {30137, 1, "Location"},
    {30022, 23116, "Serial number"},
    {30020, 23051, "Firmware"},
    {30500, 23016, "Boot loader"},
    {30247, 23090, "Device path"},
    {30266, 23041, "Driver"},
    {30018, 23042, "Driver version"},
    {30442, 23024, "Temperature"},
    {30483, 23045, "Estimated end of life"},
    {30498, 23101, "Power-on time"},
    {30486, 23110, "Available spare"},
    {30487, 23112, "Warning level"},
    {30488, 23113, "Spare warning threshold"},
    {30489, 23017, "Data read"},
    {30490, 23018, "Data written"},
    {30494, 23105, "Remaining life"},
    {30468, 23147, "Normalized attribute EA"},
    {30189, 23143, "Media errors"},
    {30165, 23004, "Health reasons"},
    // drive
    {30007, 23299, "Name"},
    {30122, 23306, "Channel"},
    {30125, 23285, "Target"},
    {30003, 23332, "Vendor"},
    {30063, 23309, "Model"},
    {30056, 23330, "Interface"},
    {30059, 23305, "Physical size"},
    {30060, 23282, "Total size"},
    {30017, 23325, "State"},
    {30461, 23291, "Usable size"},
    {30462, 23290, "Usable share"},
    {30460, 23279, "Sector size"},
    {30069, 23327, "Temperature"},
    {30022, 23327, "Serial number"},
    // plug-in
    {30007, 23335, "Name"},
    {30099, 23340, "Version"},
    {30003, 23339, "Vendor"},
    {30004, 23340, "Tool version"},
    {30005, 23336, "Poll interval"},
});

constexpr auto UNITS = std::to_array<Text>({
    {PI::UNIT_NONE, ""},
    {PI::UNIT_CELSIUS, "°C"},
    {PI::UNIT_MIB, "MiB"},
    {PI::UNIT_HOURS, "h"},
    {PI::UNIT_PERCENT, "%"},
    {PI::UNIT_BYTES_PER_SECTOR, "B per sector"},
});

constexpr auto RESULTS = std::to_array<Text>({
    {0, "done"},
    {20000, "general failure"},
    {20001, "no supported hardware"},
    {20002, "unknown command"},
    {20003, "the drive tool failed"},
    {20004, "the property cannot be set"},
    {20005, "the operation is not supported"},
    {20006, "unknown log page"},
    {20007, "out of memory"},
    {20008, "no such object"},
    {20011, "a lock could not be made"},
    {20012, "the drive tool answered with no drive that is served, or not at all"},
    {20042, "the operation is not allowed in this state"},
});

constexpr auto OBJECT_TYPES = std::to_array<Text>({
    {PI::OBJECT_TYPE_PLUGIN, "plug-in"},
    {PI::OBJECT_TYPE_PHYSICAL_DRIVE, "drive"},
    {PI::OBJECT_TYPE_ADAPTER, "adapter"},
});

template <std::size_t Size>
constexpr bool Ascending(const std::array<Text, Size>& table) {
  return std::adjacent_find(table.begin(), table.end(), [](const Text& a, const Text& b) {
           return a.number >= b.number;
         }) == table.end();
}
static_assert(Ascending(EVENTS) && Ascending(SEVERITIES) && Ascending(UNITS) &&
                  Ascending(RESULTS) && Ascending(OBJECT_TYPES),
              "a number stands twice in the catalogue, or out of order");

constexpr unsigned long BYTES_PER_DATA_UNIT = 512'000;

// Counters in data units of the drive, as they are reported.
constexpr bool IsDataCounter(unsigned int id) {
  return id == property::DATA_READ || id == property::DATA_WRITTEN;
}

template <std::size_t Size>
const Text* Find(const std::array<Text, Size>& table, unsigned int number) {
  const auto found =
      std::lower_bound(table.begin(), table.end(), number,
                       [](const Text& row, unsigned int n) { return row.number < n; });
  return found != table.end() && found->number == number ? &*found : nullptr;
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
        unit_(id_ == property::POLL_INTERVAL ? "s" : UnitText(property.m_Unit)) {}

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
      row != nullptr ? std::string(row->text) : fmt::format("Event {}: {{}}", event.m_EventID);
  return fmt::format(fmt::runtime(pattern),
                     !names.empty() ? names : (event.m_Name.empty() ? "(no name)" : event.m_Name));
}

bool HasEvent(unsigned int id) {
  return Find(EVENTS, id) != nullptr;
}

std::string SeverityText(unsigned int severity) {
  return TextOr(SEVERITIES, severity, fmt::format("severity {}", severity));
}

std::string PropertyText(unsigned int id, unsigned int label) {
  const PropertyRow* const row = FindProperty(id, label);
  return row != nullptr ? std::string(row->text) : fmt::format("property {}", id);
}

bool HasProperty(unsigned int id, unsigned int label) {
  return std::any_of(PROPERTIES.begin(), PROPERTIES.end(),
                     [&](const PropertyRow& row) { return row.id == id && row.label == label; });
}

std::string ChoiceText(int code) {
  const std::string text = PI::PropertyValueToString(code);
  return text.empty() ? std::to_string(code) : text;
}

bool HasChoice(int code) {
  return !PI::PropertyValueToString(code).empty();
}

std::string_view UnitText(unsigned int unit) {
  const Text* const row = Find(UNITS, unit);
  return row != nullptr ? row->text : std::string_view();
}

bool HasUnit(unsigned int unit) {
  return Find(UNITS, unit) != nullptr;
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
