#include "ToolCommands.h"

#include "Edits.h"
#include "Files.h"
#include "Replies.h"

#include <algorithm>
#include <charconv>
#include <cstdlib>
#include <optional>

namespace vxsim {

namespace {

namespace fs = std::filesystem;

constexpr int kFailed = 1;
constexpr int kUsage = 2;

// "#" stands for a drive index, "#*" for an index with whatever is glued to it.
struct CommandLine {
  ToolCommand command;
  const char* words;
};
// clang-format off
constexpr CommandLine kCommandLines[] = {
    {ToolCommand::Inventory, "show -all -o json -torvex"},
    {ToolCommand::Log2,      "show -o json -torvex # -nvmelog SmartHealthInfo"},
    {ToolCommand::Log197,    "show -o json -torvex # -nvmelog TemperatureStatistics"},
    {ToolCommand::Log202,    "show -o json -smart -torvex #"},
    {ToolCommand::Log203,    "show -all -o json -torvex #"},
    {ToolCommand::Version,   "version -o json"},
    {ToolCommand::Format,    "start -f -torvex # Function=nvmeformat LBAFormat=0 SecureEraseSetting=0 "
                             "ProtectionInformation=0 MetadataSetting=0"},
    {ToolCommand::Delete,    "delete -f -torvex #*"},
};
// clang-format on

struct Call {
  ToolCommand command = ToolCommand::Inventory;
  std::optional<std::int32_t> index;
  std::string glued;  // what follows the index of a delete: a setting
};

// Takes the decimal number that the word begins with; the rest is left in it.
std::optional<std::int32_t> TakeIndex(std::string_view& word) {
  std::int32_t index = 0;
  const auto [end, error] = std::from_chars(word.data(), word.data() + word.size(), index);
  if (error != std::errc()) return std::nullopt;
  word.remove_prefix(static_cast<std::size_t>(end - word.data()));
  return index;
}

bool MatchWord(std::string_view pattern, std::string_view word, Call& call) {
  if (pattern.front() != '#') return pattern == word;
  call.index = TakeIndex(word);
  call.glued = std::string(word);
  return pattern == "#*" || (call.index && word.empty());
}

std::optional<Call> Match(const CommandLine& line, const std::vector<std::string>& arguments) {
  Call call;
  call.command = line.command;
  std::string_view words = line.words;
  for (const std::string& argument : arguments) {
    if (words.empty()) return std::nullopt;
    const std::string_view word = words.substr(0, words.find(' '));
    if (!MatchWord(word, argument, call)) return std::nullopt;
    words.remove_prefix(std::min(words.size(), word.size() + 1));
  }
  if (!words.empty()) return std::nullopt;
  if (call.command == ToolCommand::Delete && !call.glued.empty()) call.command = ToolCommand::Set;
  return call;
}

std::optional<Call> ParseCall(const std::vector<std::string>& arguments) {
  for (const CommandLine& line : kCommandLines) {
    if (auto call = Match(line, arguments)) return call;
  }
  return std::nullopt;
}

// The present drive that answers to that index.
const Drive* Addressed(const Fleet& fleet, const Call& call) {
  for (const Drive& drive : fleet.drives) {
    if (call.index && drive.present && drive.index == call.index) return &drive;
  }
  return nullptr;
}

Outcome Answer(const Fleet& fleet, const Call& call) {
  if (call.command == ToolCommand::Inventory) return {InventoryReply(fleet), {}};
  if (call.command == ToolCommand::Version) return {VersionReply(fleet), {}};
  const Drive* drive = Addressed(fleet, call);
  if (drive == nullptr || drive->state != "live") return {kNoDeviceSelected, {}, kFailed};
  return {LogReply(*drive, call.command), {}};
}

bool Maintain(FleetEditor& editor, const Call& call, Outcome& outcome) {
  const Drive* drive = Addressed(editor.Current(), call);
  if (drive == nullptr || drive->state != "live") return false;
  const std::string title = drive->section + " " + drive->serial + "\n\n";
  if (call.command == ToolCommand::Format) {
    Format(editor, *drive, kFactorySectorSize, 0);
    outcome = {"Formatting...\n" + title + "Status : Format successful.\n", {}};
    return true;
  }
  if (call.command == ToolCommand::Delete) {
    SecureErase(editor, *drive);
    outcome = {"Deleting...\n" + title + "Status : Delete successful.\n", {}};
    return true;
  }
  const std::size_t sign = call.glued.find('=');
  if (sign == std::string::npos || sign == 0) return false;
  const std::string name = call.glued.substr(0, sign);
  editor.SetSetting(*drive, name, call.glued.substr(sign + 1));
  outcome = {title + "Status : Set " + name + " successful.\n", {}};
  return true;
}

Outcome Maintain(const fs::path& file, const Call& call) {
  Outcome outcome{kInvalidIndex, {}, kFailed};
  EditFleet(file, [&](FleetEditor& editor) { return Maintain(editor, call, outcome); });
  return outcome;
}

Outcome Run(const fs::path& file, const Call& call) {
  const Fleet fleet = LoadFleet(file);
  CallCounters counters(file);
  const std::vector<Fault> faults = FaultsOfCall(fleet, call.command, call.index, counters);
  Delay(faults);
  Outcome outcome;
  if (!EndsEarly(faults)) {
    outcome = DescriptionOf(call.command).answersJson ? Answer(fleet, call) : Maintain(file, call);
  }
  Spoil(faults, outcome);
  return outcome;
}

// A command line as help shows it: "#" is N, a new line before what would be too wide.
std::string UsageOf(std::string_view words) {
  constexpr std::size_t kWidest = 80;
  std::string usage = " ";
  std::size_t column = usage.size();
  while (!words.empty()) {
    const std::string_view word = words.substr(0, words.find(' '));
    words.remove_prefix(std::min(words.size(), word.size() + 1));
    if (column + word.size() >= kWidest) {
      usage += " \\\n       ";
      column = 7;
    }
    usage += " ";
    usage += word.front() == '#' ? "N" : word;
    column += 1 + word.size();
  }
  return usage;
}

}  // namespace

std::string ToolUsage() {
  std::string usage;
  for (const CommandLine& line : kCommandLines) {
    usage += (usage.empty() ? "" : "\n") + UsageOf(line.words);
    if (std::string_view(line.words).ends_with("#*"))
      usage += "\n" + UsageOf(line.words) + "NAME=VALUE";
  }
  return usage;
}

Outcome RunTool(const std::vector<std::string>& arguments) {
  const char* file = std::getenv("VXSIM_FLEET");
  if (file == nullptr || *file == '\0') {
    return {{},
            "isdct: this is a simulator and has no drives of its own; name a fleet file in the "
            "environment variable VXSIM_FLEET, or see isdct --help\n",
            kFailed};
  }
  const auto call = ParseCall(arguments);
  if (!call) {
    return {{},
            "isdct: the simulator does not know this command line; isdct --help lists those it "
            "answers\n",
            kUsage};
  }
  try {
    return Run(file, *call);
  } catch (const std::exception& error) {
    return {{}, std::string("isdct: ") + error.what() + "\n", kFailed};
  }
}

}  // namespace vxsim
