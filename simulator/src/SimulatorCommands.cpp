#include "SimulatorCommands.h"

#include "Edits.h"
#include "Faults.h"
#include "Files.h"
#include "SysfsLayout.h"
#include "ToolCommands.h"

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

// What the options of a command are read into; each command has what it needs.
struct NoOptions {};
struct FleetOptions {
  std::string fleet;
};
struct EditOptions : FleetOptions {
  std::string root;   // of a sysfs tree that follows, if any
  std::string drive;  // serial number or index
};
struct SysfsOptions : FleetOptions {
  std::string root;
  std::string keep;  // an earlier fleet file
};
struct PlugOptions : EditOptions {
  std::string file;
};
struct HeatOptions : EditOptions {
  std::int64_t temperature = 0;
};
struct WearOptions : EditOptions {
  std::optional<std::int64_t> used, spare, mediaErrors, attributeEA, attributeAD;
  std::optional<std::uint64_t> unitsRead, unitsWritten, hours;
};
struct FailOptions : EditOptions {
  std::string how;
};
struct FormatOptions : EditOptions {
  std::uint32_t sectorSize = 0;
  std::optional<std::int64_t> lbaFormat;
};
struct SetOptions : EditOptions {
  std::string answer = NameOf(ToolCommand::Inventory);
  std::string key;
  std::optional<std::string> value;
  bool clear = false;
};
struct FaultOptions : FleetOptions {
  std::string drive;
  std::string command = "any";
  std::string kind;
  std::optional<std::int64_t> ms, status, signal, megabytes, firstCalls, fromCall;
  std::optional<std::string> text;
  bool keepOutput = false;
  bool clear = false;
};

// One edit of the fleet file, and of the sysfs tree when one was named.
void Edit(const EditOptions& options, const std::function<void(FleetEditor&)>& edit) {
  const Fleet fleet = EditFleet(options.fleet, [&](FleetEditor& editor) {
    edit(editor);
    return true;
  });
  if (!options.root.empty()) UpdateDirectory(options.root, SysfsOf(fleet));
}

void EditDrive(const EditOptions& options,
               const std::function<void(FleetEditor&, const Drive&)>& edit) {
  Edit(options, [&](FleetEditor& editor) { edit(editor, editor.Find(options.drive)); });
}

// ---- commands ----

void Identify(const NoOptions&) {
  std::printf("%s\n", kIdentity);
}

void Check(const FleetOptions& options) {
  const Fleet fleet = ParseFleet(ReadWholeFile(options.fleet), options.fleet);
  SysfsOf(fleet);
  const auto present = std::count_if(fleet.drives.begin(), fleet.drives.end(),
                                     [](const Drive& drive) { return drive.present; });
  std::printf("%s: %zu drives, %zu of them present, %zu faults\n", options.fleet.c_str(),
              fleet.drives.size(), static_cast<std::size_t>(present), fleet.faults.size());
}

void Sysfs(const SysfsOptions& options) {
  const Fleet fleet = LoadFleet(options.fleet);
  UpdateDirectory(options.root,
                  options.keep.empty() ? SysfsOf(fleet) : SysfsOf(fleet, LoadFleet(options.keep)));
}

void Pull(const EditOptions& options) {
  EditDrive(options,
            [](FleetEditor& editor, const Drive& drive) { editor.Set(drive, "present", false); });
}

void Plug(const PlugOptions& options) {
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

void HeatDrive(const HeatOptions& options) {
  EditDrive(options, [&](FleetEditor& editor, const Drive& drive) {
    Heat(editor, drive, static_cast<std::int32_t>(options.temperature));
  });
}

bool NamesWear(const WearOptions& options) {
  return options.used || options.spare || options.mediaErrors || options.attributeEA ||
         options.attributeAD || options.unitsRead || options.unitsWritten || options.hours;
}

void Wear(const WearOptions& options) {
  if (!NamesWear(options)) {
    throw CLI::ValidationError("wear", "say what to set, as with --used PERCENT");
  }
  EditDrive(options, [&](FleetEditor& editor, const Drive& drive) {
    const auto set = [&](const char* path, const auto& value) {
      if (value) editor.Set(drive, path, *value);
    };
    set("health.percentageUsed", options.used);
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

void FailDrive(const FailOptions& options) {
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

void RepairDrive(const EditOptions& options) {
  EditDrive(options, Repair);
}

void FormatDrive(const FormatOptions& options) {
  EditDrive(options, [&](FleetEditor& editor, const Drive& drive) {
    const std::int64_t other = drive.lbaFormat.value_or(0) != 0 ? *drive.lbaFormat : 1;
    const std::int64_t format =
        options.lbaFormat.value_or(options.sectorSize == kFactorySectorSize ? 0 : other);
    Format(editor, drive, options.sectorSize, static_cast<std::int32_t>(format));
  });
}

void SetKey(const SetOptions& options) {
  if (options.clear == options.value.has_value()) {
    throw CLI::ValidationError("set", "give a value with --to, or remove the key with --clear");
  }
  EditDrive(options, [&](FleetEditor& editor, const Drive& drive) {
    if (options.clear) {
      editor.RemoveExtra(drive, options.answer, options.key);
    } else {
      editor.SetExtra(drive, options.answer, options.key, *options.value);
    }
  });
}

std::int64_t MicrosecondsNow() {
  const auto now = std::chrono::system_clock::now().time_since_epoch();
  return std::chrono::duration_cast<std::chrono::microseconds>(now).count();
}

// A fault that is limited to certain calls counts them from its injection on, wherever the program
// that is running keeps its counters: the id gives it a counter of its own.
std::string FaultJson(const FaultOptions& options, std::optional<std::int32_t> index) {
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

bool IsNamed(const Fault& fault, const FaultOptions& options, std::optional<std::int32_t> index) {
  const char* command = fault.command ? NameOf(*fault.command) : "any";
  return (options.command == "any" || options.command == command) &&
         (options.kind.empty() || options.kind == NameOf(fault.kind)) &&
         (!index || fault.index == index);
}

void InjectFault(const FaultOptions& options) {
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
void Reset(const FleetOptions& options) {
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
    app_.footer("The tool's commands, answered for the fleet that VXSIM_FLEET names:\n" +
                ToolUsage());  // last: commands take over what is there when they are added
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
  // A command and the options that it runs with.
  template <class Options>
  struct Command {
    CLI::App* app;
    std::shared_ptr<Options> options;
  };

  template <class Options>
  Command<Options> Add(const char* name, const char* help, void (*run)(const Options&)) {
    const auto options = std::make_shared<Options>();
    CLI::App* app = simulator_->add_subcommand(name, help);
    app->callback([options, run] { run(*options); });
    return {app, options};
  }

  template <class Options>
  Command<Options> AddWithFleet(const char* name, const char* help, void (*run)(const Options&)) {
    const auto command = Add(name, help, run);
    command.app->add_option("--fleet", command.options->fleet,
                            "fleet file; else the one that VXSIM_FLEET names");
    RequireFleet(command.app, command.options);
    return command;
  }

  // Not by the library's own look into the environment: what that says would take the place of what
  // the user named.
  static void RequireFleet(CLI::App* app, const std::shared_ptr<FleetOptions>& options) {
    app->parse_complete_callback([options] {
      const char* const named = std::getenv("VXSIM_FLEET");
      if (options->fleet.empty() && named != nullptr) options->fleet = named;
      if (options->fleet.empty()) {
        throw CLI::RequiredError("A fleet file (--fleet or VXSIM_FLEET)");
      }
    });
  }

  template <class Options>
  Command<Options> AddEdit(const char* name, const char* help, void (*run)(const Options&)) {
    const auto command = AddWithFleet(name, help, run);
    command.app->add_option("--root", command.options->root,
                            "sysfs tree to bring up to date as well");
    return command;
  }

  template <class Options>
  Command<Options> AddDriveEdit(const char* name, const char* help, void (*run)(const Options&)) {
    const auto command = AddEdit(name, help, run);
    command.app->add_option("DRIVE", command.options->drive, "serial number or index")->required();
    return command;
  }

  void AddQueries() {
    Add("identify", "print one line by which a host knows that this is the stand-in", Identify);
    const auto check = Add("check", "read a fleet file and say what is wrong with it", Check);
    check.app->add_option("FLEET", check.options->fleet,
                          "fleet file; else the one that VXSIM_FLEET names");
    RequireFleet(check.app, check.options);
    const auto sysfs = AddWithFleet(
        "sysfs", "lay the fleet's sysfs tree, or bring an earlier one up to date", Sysfs);
    sysfs.app
        ->add_option("--root", sysfs.options->root, "directory: new, empty, or of an earlier run")
        ->required();
    sysfs.app->add_option("--keep", sysfs.options->keep,
                          "an earlier fleet file, whose drives stay where no other has come");
  }

  void AddEdits() {
    AddDriveEdit("pull", "take a drive out", Pull);
    const auto plug = AddEdit("plug", "put a pulled drive back in, or a new one", Plug);
    plug.app->add_option("DRIVE", plug.options->drive, "serial number or index of a pulled drive");
    plug.app->add_option("--file", plug.options->file, "file with the JSON object of a new drive");
    const auto heat = AddDriveEdit(
        "heat", "set a drive's temperature, and the warning that belongs to it", HeatDrive);
    heat.app->add_option("--to", heat.options->temperature, "degrees Celsius")
        ->required()
        ->check(CLI::Range(-273, 1000));
    AddWear();
    const auto fail = AddDriveEdit("fail", "let a drive report a failure", FailDrive);
    fail.app
        ->add_option("--how", fail.options->how,
                     "spare, reliability, read-only, backup, or dead: answers nothing")
        ->required()
        ->check(CLI::IsMember(NamesOf(kFailures, {})));
    AddDriveEdit("repair", "take back failures, warnings, heat, media errors and faults of a drive",
                 RepairDrive);
    const auto format =
        AddDriveEdit("format", "change a drive's sector size, losing its contents", FormatDrive);
    format.app->add_option("--sector-size", format.options->sectorSize, "bytes")
        ->required()
        ->check(CLI::IsMember({512, 4096}));
    format.app->add_option("--lba-format", format.options->lbaFormat,
                           "its number; by default 0 for 512 bytes, else the present one or 1");
    AddSet();
  }

  void AddWear() {
    const auto [app, options] = AddDriveEdit("wear", "set a drive's wear and counters", Wear);
    const CLI::Range byte(0, 255);
    app->add_option("--used", options->used, "percent of the rated life")->check(byte);
    app->add_option("--spare", options->spare,
                    "percent; below the threshold it sets the spare warning")
        ->check(byte);
    const auto count = [&app = app](const char* name, auto& value, const char* help) {
      app->add_option(name, value, help)->check(CLI::NonNegativeNumber);
    };
    count("--media-errors", options->mediaErrors, "count");
    count("--ea", options->attributeEA, "normalized attribute EA");
    count("--ad", options->attributeAD, "normalized attribute AD");
    count("--read", options->unitsRead, "data units of 512,000 bytes");
    count("--written", options->unitsWritten, "data units of 512,000 bytes");
    count("--hours", options->hours, "power-on hours");
  }

  void AddSet() {
    const auto [app, options] =
        AddDriveEdit("set", "let the tool print a key of your own for a drive", SetKey);
    app->add_option("--key", options->key, "the key's name")->required();
    app->add_option("--to", options->value, "its value as JSON; anything else is a text");
    app->add_option("--in", options->answer, "the answer that it stands in, by default inventory")
        ->check(CLI::IsMember(ExtraAnswerNames()));
    app->add_flag("--clear", options->clear, "remove the key instead");
  }

  void AddFaultCommands() {
    const auto [app, options] = AddWithFleet("fault", "let the tool itself misbehave", InjectFault);
    app->add_option("DRIVE", options->drive, "only for this drive: serial number or index");
    app->add_option("--command", options->command, "only this command")
        ->check(CLI::IsMember(NamesOf(kToolCommands, {"any"})));
    app->add_option("--kind", options->kind, "what happens")
        ->check(CLI::IsMember(NamesOf(kFaultKinds, {})));
    app->add_option("--ms", options->ms, "latency: milliseconds");
    app->add_option("--status", options->status, "exit: the status");
    app->add_option("--signal", options->signal, "crash: the signal");
    app->add_option("--megabytes", options->megabytes, "flood: how much");
    app->add_option("--text", options->text, "preamble: what stands before the answer");
    app->add_flag("--keep-output", options->keepOutput, "exit, crash: print the answer first");
    app->add_option("--first", options->firstCalls, "only that many calls");
    app->add_option("--from", options->fromCall, "only from that call on, counted from 1");
    app->add_flag("--clear", options->clear, "remove the faults that match instead");
    AddWithFleet("reset", "let faults that are limited to certain calls count anew", Reset);
  }

  template <class Rows>
  static std::vector<std::string> NamesOf(const Rows& rows, std::vector<std::string> names) {
    for (const auto& row : rows) names.emplace_back(row.name);
    return names;
  }

  const Caller caller_ = CallerOf();
  CLI::App app_;
  CLI::App* simulator_ = nullptr;
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
