#include "TreeView.h"

#include "Catalogue.h"
#include "Json.h"
#include "TextTable.h"

#include <algorithm>
#include <array>
#include <vector>

#include <fmt/format.h>

namespace vxhost {

namespace {

constexpr std::string_view RED = "\x1b[31m";
constexpr std::string_view GREEN = "\x1b[32m";
constexpr std::string_view YELLOW = "\x1b[33m";
constexpr std::string_view PLAIN = "\x1b[0m";

std::string_view ColourOf(std::string_view health) {
  if (health.starts_with("good") || health.starts_with("working")) return GREEN;
  if (health.starts_with("degraded")) return YELLOW;
  if (health.starts_with("critical") || health.starts_with("not answering")) return RED;
  return "";
}

// One line of the tree before it is laid out.
struct Line {
  std::string branch;
  std::string health;
  std::string number;
  std::vector<std::string> cells;
  bool isDrive = false;
};

std::string Before(const std::string& value, std::string_view what) {
  return value.empty() ? value : fmt::format("{} {}", value, what);
}

// The part of a shown size that people read: without the exact number in brackets.
std::string Short(const std::string& size) {
  return size.substr(0, size.find(" ("));
}

std::vector<std::string> AdapterCells(const PI::CObject& adapter) {
  return {
      Printable(DisplayName(adapter)),
      Printable(TextValue(adapter, PI::PROPERTY_MODEL).value_or("")),
      Printable(TextValue(adapter, PI::PROPERTY_SERIAL_NUMBER).value_or("")),
      Printable(TextValue(adapter, PI::PROPERTY_LOCATION).value_or("")),
      Shown(adapter, PI::PROPERTY_TEMPERATURE),
      Before(Shown(adapter, PI::PROPERTY_REMAINING_LIFE), "life left"),
      // A drive that does not answer has told no spare either: the value would be a default.
      IsNotAnswering(adapter) ? "" : Before(Shown(adapter, PI::PROPERTY_AVAILABLE_SPARE), "spare"),
      Before(Short(Shown(adapter, PI::PROPERTY_DATA_WRITTEN)), "written"),
      Before(Shown(adapter, PI::PROPERTY_POWER_ON_HOURS), "on")};
}

std::vector<std::string> DriveCells(const PI::CObject& drive) {
  return {Printable(DisplayName(drive)), Short(Shown(drive, PI::PROPERTY_PHYSICAL_SIZE)),
          Before(Short(Shown(drive, PI::PROPERTY_USABLE_SIZE)), "usable"),
          Shown(drive, PI::PROPERTY_SECTOR_SIZE)};
}

std::string DriveState(const PI::CObject& drive, const PI::CObject* adapter) {
  if (adapter != nullptr && IsNotAnswering(*adapter)) return "not answering";
  return ChoiceText(ChoiceValue(drive, PI::PROPERTY_HEALTH).value_or(0));
}

std::string PluginLine(const Topology& topology, const std::string& pluginName) {
  std::string line = pluginName;
  if (const PI::CObject* const plugin = topology.Plugin()) {
    line = Printable(TextValue(*plugin, PI::PROPERTY_NAME).value_or(pluginName));
    const std::string version = Printable(TextValue(*plugin, PI::PROPERTY_VERSION).value_or(""));
    if (!version.empty()) line += " " + version;
    const std::string tool = Printable(TextValue(*plugin, PI::PROPERTY_TOOL_VERSION).value_or(""));
    if (!tool.empty()) line += ", tool " + tool;
    const std::string interval = Shown(*plugin, PI::PROPERTY_POLL_INTERVAL);
    if (!interval.empty()) line += ", polls every " + interval;
  }
  const std::size_t count = topology.Adapters().size();
  return fmt::format("{}, {} {}", line, count, count == 1 ? "adapter" : "adapters");
}

std::vector<Line> Lines(const Topology& topology) {
  std::vector<Line> lines;
  const std::size_t branches = topology.Adapters().size() + topology.Strays().size();
  for (std::size_t i = 0; i < topology.Adapters().size(); ++i) {
    const auto& adapter = topology.Adapters()[i];
    const bool last = i + 1 == branches;
    lines.push_back({last ? "└─ " : "├─ ", HealthText(*adapter.object),
                     adapter.hostNumber > 0 ? std::to_string(adapter.hostNumber) : "-",
                     AdapterCells(*adapter.object)});
    for (const PI::CObject* const drive : adapter.drives) {
      const bool lastDrive = drive == adapter.drives.back();
      lines.push_back({std::string(last ? "   " : "│  ") + (lastDrive ? "└─ " : "├─ "),
                       DriveState(*drive, adapter.object), "", DriveCells(*drive), true});
    }
  }
  for (const PI::CObject* const drive : topology.Strays()) {
    lines.push_back({drive == topology.Strays().back() ? "└─ " : "├─ ", DriveState(*drive, nullptr),
                     "", DriveCells(*drive), true});
  }
  return lines;
}

// Adapters and drives have columns of their own behind the number, and so a table each, in which
// the lines of the other kind take part with what stands in front.
std::vector<std::string> Laid(const std::vector<Line>& lines, bool drives) {
  std::vector<TextTable::Column> columns = {{}, {"", true}};
  for (const Line& line : lines) columns.resize(std::max(columns.size(), 2 + line.cells.size()));
  TextTable table(std::move(columns));
  for (const Line& line : lines) {
    std::vector<std::string> row = {line.branch + line.health, line.number};
    if (line.isDrive == drives) row.insert(row.end(), line.cells.begin(), line.cells.end());
    table.Add(std::move(row));
  }
  return table.Lines();
}

std::string Finished(const Line& line, std::string text, bool colour) {
  text.erase(text.find_last_not_of(' ') + 1);
  text.replace(line.branch.size(), line.health.size(), Coloured(line.health, line.health, colour));
  return text + "\n";
}

}  // namespace

std::string Coloured(const std::string& text, std::string_view health, bool colour) {
  const std::string_view start = colour ? ColourOf(health) : std::string_view();
  return start.empty() ? text : fmt::format("{}{}{}", start, text, PLAIN);
}

std::string RenderTree(const Topology& topology, const std::string& pluginName, bool colour) {
  const std::vector<Line> lines = Lines(topology);
  const std::vector<std::string> adapters = Laid(lines, false);
  const std::vector<std::string> drives = Laid(lines, true);
  std::string text = PluginLine(topology, pluginName) + "\n";
  for (std::size_t i = 0; i < lines.size(); ++i) {
    text += Finished(lines[i], lines[i].isDrive ? drives[i] : adapters[i], colour);
  }
  return text;
}

}  // namespace vxhost
