#include "SimulatorCommands.h"

#include "Edits.h"
#include "Faults.h"
#include "Files.h"
#include "SysfsLayout.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <iostream>
#include <memory>
#include <optional>

#include <CLI/CLI.hpp>
#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

namespace vxsim {

namespace {

constexpr int kDone = 0;
constexpr int kFailed = 1;
constexpr int kUsage = 2;

constexpr const char* kIdentity = "isdct simulator 1";
constexpr const char* kToolHelp =
    "The tool's commands, answered for the fleet that VXSIM_FLEET names:\n"
    "  show -all -o json -torvex\n"
    "  show -o json -torvex N -nvmelog SmartHealthInfo\n"
    "  show -o json -torvex N -nvmelog TemperatureStatistics\n"
    "  show -o json -smart -torvex N\n"
    "  show -all -o json -torvex N\n"
    "  version -o json\n"
    "  start -f -torvex N Function=nvmeformat LBAFormat=0 SecureEraseSetting=0 \\\n"
    "        ProtectionInformation=0 MetadataSetting=0\n"
    "  delete -f -torvex N\n"
    "  delete -f -torvex NNAME=VALUE";

// What the user has typed: us, or a program that hands its words on to us and then shows what we
// say as its own. VXSIM_CALLED_AS holds that program's name and its command.
struct Caller {
  bool own = true;
  std::string program = "isdct";
  std::string command = "simulator";
};

Caller CallerOf() {
  const char* const given = std::getenv("VXSIM_CALLED_AS");
  const std::string text = given != nullptr ? given : "";
  const std::size_t blank = text.find(' ');
  if (blank == std::string::npos) return {};
  return {false, text.substr(0, blank), text.substr(blank + 1)};
}

// What the options of one command line are read into.
struct Options {
  std::string fleet;
  std::string root;
  std::string drive;
  std::string file;
  std::optional<std::int64_t> number;  // the main figure: degrees, percent used, bytes per sector
  std::optional<std::int64_t> spare, mediaErrors, attributeEA, attributeAD, lbaFormat;
  std::optional<std::uint64_t> unitsRead, unitsWritten, hours;
  std::string how;
  std::string command = "any";
  std::string kind;
  std::optional<std::int64_t> ms, status, signal, megabytes, firstCalls, fromCall;
  std::optional<std::string> text;
  bool keepOutput = false;
  bool clear = false;
};

void LayTree(const Options& options, const Fleet& fleet) {
  if (!options.root.empty()) UpdateDirectory(options.root, SysfsOf(fleet));
}

// One edit of the fleet file, and of the sysfs tree when one was named.
void Edit(const Options& options, const std::function<void(FleetEditor&)>& edit) {
  const Fleet fleet = EditFleet(options.fleet, [&](FleetEditor& editor) {
    edit(editor);
    return true;
  });
  LayTree(options, fleet);
}

void EditDrive(const Options& options,
               const std::function<void(FleetEditor&, const Drive&)>& edit) {
  Edit(options, [&](FleetEditor& editor) { edit(editor, editor.Find(options.drive)); });
}

// ---- commands ----

void Identify(const Options&) {
  std::printf("%s\n", kIdentity);
}

void Check(const Options& options) {
  const Fleet fleet = ParseFleet(ReadWholeFile(options.fleet), options.fleet);
  SysfsOf(fleet);
  const auto present = std::count_if(fleet.drives.begin(), fleet.drives.end(),
                                     [](const Drive& drive) { return drive.present; });
  std::printf("%s: %zu drives, %zu of them present, %zu faults\n", options.fleet.c_str(),
              fleet.drives.size(), static_cast<std::size_t>(present), fleet.faults.size());
}

void Sysfs(const Options& options) {
  LayTree(options, LoadFleet(options.fleet));
}

void Pull(const Options& options) {
  EditDrive(options,
            [](FleetEditor& editor, const Drive& drive) { editor.Set(drive, "present", false); });
}

void Plug(const Options& options) {
  if (options.drive.empty() == options.file.empty()) {
    throw CLI::ValidationError("plug", "name a drive of the fleet or a file with --file, not both");
  }
  Edit(options, [&](FleetEditor& editor) {
    if (options.file.empty()) {
      editor.Set(editor.Find(options.drive), "present", true);
    } else {
      editor.AddDrive(ReadWholeFile(options.file));
    }
  });
}

void HeatDrive(const Options& options) {
  EditDrive(options, [&](FleetEditor& editor, const Drive& drive) {
    Heat(editor, drive, static_cast<std::int32_t>(*options.number));
  });
}

bool NamesWear(const Options& options) {
  return options.number || options.spare || options.mediaErrors || options.attributeEA ||
         options.attributeAD || options.unitsRead || options.unitsWritten || options.hours;
}

void Wear(const Options& options) {
  if (!NamesWear(options)) {
    throw CLI::ValidationError("wear", "say what to set, as with --used PERCENT");
  }
  EditDrive(options, [&](FleetEditor& editor, const Drive& drive) {
    const auto set = [&](const char* path, const auto& value) {
      if (value) editor.Set(drive, path, *value);
    };
    set("health.percentageUsed", options.number);
    set("health.availableSpare", options.spare);
    set("health.mediaErrors", options.mediaErrors);
    set("health.normalizedEA", options.attributeEA);
    set("health.normalizedAD", options.attributeAD);
    set("health.dataUnitsRead", options.unitsRead);
    set("health.dataUnitsWritten", options.unitsWritten);
    set("health.powerOnHours", options.hours);
    if (!options.spare || !drive.health.availableSpareThreshold) return;
    constexpr std::uint32_t kSpare = kWarningFlags[0].bit;
    const std::uint32_t word = drive.health.criticalWarnings.value_or(0);
    const bool below = *options.spare < *drive.health.availableSpareThreshold;
    editor.Set(drive, "health.criticalWarnings",
               std::uint64_t{below ? word | kSpare : word & ~kSpare});
  });
}

struct Failure {
  const char* name;
  std::uint32_t warning;  // critical-warning bit; 0: the controller is dead
};
constexpr Failure kFailures[] = {
    {"spare", 0x01}, {"reliability", 0x04}, {"read-only", 0x08}, {"backup", 0x10}, {"dead", 0},
};

void FailDrive(const Options& options) {
  EditDrive(options, [&](FleetEditor& editor, const Drive& drive) {
    for (const Failure& failure : kFailures) {
      if (options.how != failure.name) continue;
      if (failure.warning == 0) {
        editor.Set(drive, "state", std::string("dead"));
      } else {
        editor.Set(drive, "health.criticalWarnings",
                   std::uint64_t{drive.health.criticalWarnings.value_or(0) | failure.warning});
      }
    }
  });
}

void RepairDrive(const Options& options) {
  EditDrive(options, Repair);
}

void FormatDrive(const Options& options) {
  EditDrive(options, [&](FleetEditor& editor, const Drive& drive) {
    const auto sectorSize = static_cast<std::uint32_t>(*options.number);
    const std::int64_t other = drive.lbaFormat.value_or(0) != 0 ? *drive.lbaFormat : 1;
    const std::int64_t format =
        options.lbaFormat.value_or(sectorSize == kFactorySectorSize ? 0 : other);
    Format(editor, drive, sectorSize, static_cast<std::int32_t>(format));
  });
}

std::int64_t MicrosecondsNow() {
  const auto now = std::chrono::system_clock::now().time_since_epoch();
  return std::chrono::duration_cast<std::chrono::microseconds>(now).count();
}

// A fault that is limited to certain calls counts them from its injection on, wherever the program
// that is running keeps its counters: the id gives it a counter of its own.
std::string FaultJson(const Options& options, std::optional<std::int32_t> index) {
  rapidjson::StringBuffer buffer;
  rapidjson::Writer<rapidjson::StringBuffer> writer(buffer);
  const auto put = [&](const char* key, const std::optional<std::int64_t>& value) {
    if (value) writer.Key(key), writer.Int64(*value);
  };
  writer.StartObject();
  writer.Key("command"), writer.String(options.command.c_str());
  put("index", index);
  writer.Key("kind"), writer.String(options.kind.c_str());
  put("ms", options.ms);
  put("status", options.status);
  put("signal", options.signal);
  put("megabytes", options.megabytes);
  if (options.text) writer.Key("text"), writer.String(options.text->c_str());
  if (options.keepOutput) writer.Key("keepOutput"), writer.Bool(true);
  put("firstCalls", options.firstCalls);
  put("fromCall", options.fromCall);
  if (options.firstCalls || options.fromCall) put("id", MicrosecondsNow());
  writer.EndObject();
  return buffer.GetString();
}

bool IsNamed(const Fault& fault, const Options& options, std::optional<std::int32_t> index) {
  const char* command = fault.command ? NameOf(*fault.command) : "any";
  return (options.command == "any" || options.command == command) &&
         (options.kind.empty() || options.kind == NameOf(fault.kind)) &&
         (!index || fault.index == index);
}

void InjectFault(const Options& options) {
  if (!options.clear && options.kind.empty()) {
    throw CLI::ValidationError("fault", "name a --kind, or remove faults with --clear");
  }
  EditFleet(options.fleet, [&](FleetEditor& editor) {
    std::optional<std::int32_t> index;
    if (!options.drive.empty()) {
      index = editor.Find(options.drive).index;
      if (!index) throw FleetError("drive " + options.drive + ": has no index; give it one first");
    }
    if (options.clear) {
      editor.RemoveFaults([&](const Fault& fault) { return IsNamed(fault, options, index); });
    } else {
      editor.AddFault(FaultJson(options, index));
    }
    return true;
  });
}

// A program that is running may keep its counters elsewhere, so the faults get new ones as well.
void Reset(const Options& options) {
  EditFleet(options.fleet, [](FleetEditor& editor) {
    return editor.RenewFaults(static_cast<std::uint64_t>(MicrosecondsNow()));
  });
  CallCounters(options.fleet).Forget();
}

// ---- command line ----

class CommandLine {
 public:
  CommandLine()
      : app_("Stand-in for the drive vendor's tool: answers for a fleet of simulated drives",
             caller_.program) {
    simulator_ = app_.add_subcommand(caller_.command, "the simulator's own commands");
    // Not "exactly one": a word that is no command is then named in the error.
    simulator_->require_subcommand(0, 1);
    simulator_->callback([this] {
      if (simulator_->get_subcommands().empty()) throw CLI::RequiredError("A command");
    });
    AddQueries();
    AddEdits();
    AddFaultCommands();
    app_.footer(kToolHelp);  // last: commands take over what is there when they are added
  }

  int Run(std::vector<std::string> arguments) {
    if (arguments.empty()) {
      std::fputs(app_.help().c_str(), stderr);
      return kUsage;
    }
    if (arguments.front() == Caller().command) arguments.front() = caller_.command;
    std::reverse(arguments.begin(), arguments.end());
    try {
      app_.parse(std::move(arguments));
      return kDone;
    } catch (const CLI::ParseError& error) {
      return app_.exit(error) == 0 ? kDone : kUsage;
    } catch (const std::exception& error) {
      std::fprintf(stderr, "%s%s\n", caller_.own ? "isdct: " : "", error.what());
      return kFailed;
    }
  }

 private:
  CLI::App* Add(const char* name, const char* help, void (*run)(const Options&)) {
    CLI::App* command = simulator_->add_subcommand(name, help);
    command->callback([this, run] { run(options_); });
    return command;
  }

  CLI::App* WithFleet(CLI::App* command) {
    command->add_option("--fleet", options_.fleet,
                        "fleet file; else the one that VXSIM_FLEET names");
    RequireFleet(command);
    return command;
  }

  // Not by the library's own look into the environment: the commands share one variable, and what
  // the environment says would take the place of what the user named.
  void RequireFleet(CLI::App* command) {
    command->parse_complete_callback([this] {
      const char* const named = std::getenv("VXSIM_FLEET");
      if (options_.fleet.empty() && named != nullptr) options_.fleet = named;
      if (options_.fleet.empty()) throw CLI::RequiredError("A fleet file (--fleet or VXSIM_FLEET)");
    });
  }

  CLI::App* AddEdit(const char* name, const char* help, void (*run)(const Options&)) {
    CLI::App* command = WithFleet(Add(name, help, run));
    command->add_option("--root", options_.root, "sysfs tree to bring up to date as well");
    return command;
  }

  CLI::App* AddDriveEdit(const char* name, const char* help, void (*run)(const Options&)) {
    CLI::App* command = AddEdit(name, help, run);
    command->add_option("DRIVE", options_.drive, "serial number or index")->required();
    return command;
  }

  void AddQueries() {
    Add("identify", "print one line by which a host knows that this is the stand-in", Identify);
    CLI::App* check = Add("check", "read a fleet file and say what is wrong with it", Check);
    check->add_option("FLEET", options_.fleet, "fleet file; else the one that VXSIM_FLEET names");
    RequireFleet(check);
    CLI::App* sysfs = WithFleet(
        Add("sysfs", "lay the fleet's sysfs tree, or bring an earlier one up to date", Sysfs));
    sysfs->add_option("--root", options_.root, "directory: new, empty, or of an earlier run")
        ->required();
  }

  void AddEdits() {
    AddDriveEdit("pull", "take a drive out", Pull);
    CLI::App* plug = AddEdit("plug", "put a pulled drive back in, or a new one", Plug);
    plug->add_option("DRIVE", options_.drive, "serial number or index of a pulled drive");
    plug->add_option("--file", options_.file, "file with the JSON object of a new drive");
    AddDriveEdit("heat", "set a drive's temperature, and the warning that belongs to it", HeatDrive)
        ->add_option("--to", options_.number, "degrees Celsius")
        ->required()
        ->check(CLI::Range(-273, 1000));
    AddWear();
    AddDriveEdit("fail", "let a drive report a failure", FailDrive)
        ->add_option("--how", options_.how,
                     "spare, reliability, read-only, backup, or dead: answers nothing")
        ->required()
        ->check(CLI::IsMember({"spare", "reliability", "read-only", "backup", "dead"}));
    AddDriveEdit("repair", "take back failures, warnings, heat, media errors and faults of a drive",
                 RepairDrive);
    CLI::App* format =
        AddDriveEdit("format", "change a drive's sector size, losing its contents", FormatDrive);
    format->add_option("--sector-size", options_.number, "bytes")
        ->required()
        ->check(CLI::IsMember({512, 4096}));
    format->add_option("--lba-format", options_.lbaFormat,
                       "its number; by default 0 for 512 bytes, else the present one or 1");
  }

  void AddWear() {
    CLI::App* wear = AddDriveEdit("wear", "set a drive's wear and counters", Wear);
    wear->add_option("--used", options_.number, "percent of the rated life")
        ->check(CLI::Range(0, 255));
    wear->add_option("--spare", options_.spare,
                     "percent; below the threshold it sets the spare warning")
        ->check(CLI::Range(0, 255));
    wear->add_option("--media-errors", options_.mediaErrors, "count")
        ->check(CLI::NonNegativeNumber);
    wear->add_option("--ea", options_.attributeEA, "normalized attribute EA")
        ->check(CLI::NonNegativeNumber);
    wear->add_option("--ad", options_.attributeAD, "normalized attribute AD")
        ->check(CLI::NonNegativeNumber);
    wear->add_option("--read", options_.unitsRead, "data units of 512,000 bytes")
        ->check(CLI::NonNegativeNumber);
    wear->add_option("--written", options_.unitsWritten, "data units of 512,000 bytes")
        ->check(CLI::NonNegativeNumber);
    wear->add_option("--hours", options_.hours, "power-on hours")->check(CLI::NonNegativeNumber);
  }

  void AddFaultCommands() {
    CLI::App* fault = WithFleet(Add("fault", "let the tool itself misbehave", InjectFault));
    fault->add_option("DRIVE", options_.drive, "only for this drive: serial number or index");
    fault->add_option("--command", options_.command, "only this command")
        ->check(CLI::IsMember(NamesOf(kToolCommands, {"any"})));
    fault->add_option("--kind", options_.kind, "what happens")
        ->check(CLI::IsMember(NamesOf(kFaultKinds, {})));
    fault->add_option("--ms", options_.ms, "latency: milliseconds");
    fault->add_option("--status", options_.status, "exit: the status");
    fault->add_option("--signal", options_.signal, "crash: the signal");
    fault->add_option("--megabytes", options_.megabytes, "flood: how much");
    fault->add_option("--text", options_.text, "preamble: what stands before the answer");
    fault->add_flag("--keep-output", options_.keepOutput, "exit, crash: print the answer first");
    fault->add_option("--first", options_.firstCalls, "only that many calls");
    fault->add_option("--from", options_.fromCall, "only from that call on, counted from 1");
    fault->add_flag("--clear", options_.clear, "remove the faults that match instead");
    WithFleet(Add("reset", "let faults that are limited to certain calls count anew", Reset));
  }

  template <class Rows>
  static std::vector<std::string> NamesOf(const Rows& rows, std::vector<std::string> names) {
    for (const auto& row : rows) names.emplace_back(row.name);
    return names;
  }

  const Caller caller_ = CallerOf();
  CLI::App app_;
  CLI::App* simulator_ = nullptr;
  Options options_;
};

}  // namespace

int RunSimulator(std::vector<std::string> arguments) {
  const int status = CommandLine().Run(std::move(arguments));
  std::cout.flush();
  if (std::fflush(stdout) == 0 && std::cout.good()) return status;
  std::fputs("isdct: standard output cannot be written\n", stderr);
  return status == kDone ? kFailed : status;
}

}  // namespace vxsim
