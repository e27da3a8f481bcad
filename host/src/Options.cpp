#include "Options.h"

#include "Nearest.h"

#include <algorithm>
#include <sstream>
#include <type_traits>

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#ifndef VXHOST_VERSION
#error "the build sets VXHOST_VERSION"
#endif

namespace vxhost {

namespace {

constexpr double LONGEST_TIMEOUT = 1e6;  // seconds
constexpr double HIGHEST_SCALE = 1e6;

// Compares so that what is no number ("nan") is outside, too.
CLI::Validator Within(double least, double most) {
  return CLI::Validator(
      [least, most](const std::string& text) {
        double number = 0;
        const bool inside =
            CLI::detail::lexical_cast(text, number) && number >= least && number <= most;
        return inside ? std::string() : fmt::format("{} is not in {} to {}", text, least, most);
      },
      "");
}

// One option, and how it gets its value.
struct OptionRow {
  Option option;
  const char* name;
  const char* value;  // what follows it; null: nothing
  const char* help;
  CLI::Option* (*bind)(CLI::App& app, const OptionRow& row, Options& options);
  double least = 0;  // of a number; with most 0 all are allowed
  double most = 0;
  const char* without = nullptr;  // the value that says what a command does that does not take it
};

template <auto Member>
CLI::Option* Bind(CLI::App& app, const OptionRow& row, Options& options) {
  auto& target = options.*Member;
  if constexpr (std::is_same_v<decltype(target), bool&>) {
    return app.add_flag(row.name, target, row.help);
  } else {
    CLI::Option* const option = app.add_option(row.name, target, row.help)->type_name(row.value);
    return row.most > 0 ? option->check(Within(row.least, row.most)) : option;
  }
}

// In the order of the help text.
// clang-format off
constexpr OptionRow OPTIONS[] = {
    {Option::Plugin, "--plugin", "PATH",
     "Use this plug-in instead of those in plugins/", Bind<&Options::plugin>},
    {Option::ConfigDir, "--config-dir", "DIR",
     "Directory of the options files", Bind<&Options::configDir>},
    {Option::Sysfs, "--sysfs", "DIR",
     "Read PCI facts below DIR instead of /sys", Bind<&Options::sysfs>},
    {Option::Simulate, "--simulate", "FLEET.json",
     "Use the simulated drives of a fleet file", Bind<&Options::simulate>},
    {Option::Trace, "--trace", "MASK",
     "Trace levels of plug-ins: 2 steps, 4 detail, 8 locks, 16 tool", Bind<&Options::trace>},
    {Option::TracePlatform, "--trace-platform", "MASK",
     "Trace levels of the platform libraries", Bind<&Options::tracePlatform>},
    {Option::TraceFile, "--trace-file", "PATH",
     "Append trace lines to this file instead of standard error", Bind<&Options::traceFile>},
    {Option::ToolTimeout, "--tool-timeout", "SECONDS",
     "End a query of the drive tool after so long (60; 0: never)",
     Bind<&Options::toolTimeout>, 0, LONGEST_TIMEOUT},
    {Option::TimeScale, "--time-scale", "N",
     "Run the clock N times faster", Bind<&Options::timeScale>, 1, HIGHEST_SCALE},
    {Option::Database, "--db", "sqlite:PATH|none",
     "Database of the mirror; run writes one in the state directory unless told",
     Bind<&Options::database>, 0, 0, "none"},
    {Option::Json, "--json", nullptr, "Print JSON for scripts", Bind<&Options::json>},
    {Option::Verbose, "--verbose", nullptr, "Show what is in order, too", Bind<&Options::verbose>},
};
// clang-format on

bool Takes(const CommandRow& command, Option option) {
  return std::find(command.options.begin(), command.options.end(), option) != command.options.end();
}

bool TakesRest(const CommandRow& command) {
  return std::any_of(command.arguments.begin(), command.arguments.end(),
                     [](const ArgumentRow& argument) { return argument.rest; });
}

// Behind a command that takes the rest all words are the rest.
bool TakesBehind(const CommandRow& command, Option option) {
  return Takes(command, option) && !TakesRest(command);
}

void AddCommand(CLI::App& app, const CommandRow& row, Options& options) {
  CLI::App* const command = app.add_subcommand(row.name, row.help);
  // Options that stand behind a command that does not take them are the program's, to be refused by
  // name, unless what stands there belongs to another program.
  command->fallthrough(!TakesRest(row))->prefix_command(TakesRest(row));
  if (TakesRest(row)) command->set_help_flag();  // the other program has a help of its own
  for (std::size_t i = 0; i < row.arguments.size(); ++i) {
    const ArgumentRow& argument = row.arguments[i];
    if (argument.rest) continue;
    command
        ->add_option_function<std::string>(
            argument.name,
            [&options, i](const std::string& value) {
              if (options.arguments.size() <= i) options.arguments.resize(i + 1);
              options.arguments[i] = value;
            },
            argument.help)
        ->required()
        ->type_name("");
  }
  for (const OptionRow& option : OPTIONS) {
    if (TakesBehind(row, option.option)) option.bind(*command, option, options);
  }
}

ParseResult Refusal(const std::string& reason) {
  ParseResult result;
  result.ends = true;
  result.status = EXIT_USAGE;
  result.text = "vxhost: " + reason + "\n";
  return result;
}

std::string Listed(const std::vector<std::string>& words) {
  std::string text;
  for (std::size_t i = 0; i < words.size(); ++i) {
    text += (i == 0 ? "" : (i + 1 == words.size() ? " and " : ", ")) + words[i];
  }
  return text;
}

// The words of one command line, taken apart by the library, and what the tables say of them.
class CommandLine {
 public:
  explicit CommandLine(const std::vector<CommandRow>& commands)
      : commands_(commands), app_("Loads storage plug-ins and shows what they manage.", "vxhost") {
    app_.set_version_flag("--version", "vxhost " VXHOST_VERSION);
    app_.failure_message(CLI::FailureMessage::simple);
    app_.require_subcommand(0, 1);
    // What is left over is named here, with what was probably meant.
    app_.allow_extras();
    for (const OptionRow& row : OPTIONS) row.bind(app_, row, result_.options);
    for (const CommandRow& row : commands) AddCommand(app_, row, result_.options);
  }

  ParseResult Parse(int argc, const char* const* argv) {
    try {
      app_.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
      return Ending(error);
    }
    if (const std::string problem = Problem(); !problem.empty()) return Refusal(problem);
    const CommandRow& command = *Chosen();
    result_.options.command = command.name;
    if (TakesRest(command)) {
      for (const std::string& rest : Parsed()->remaining()) {
        result_.options.arguments.push_back(rest);
      }
    }
    return std::move(result_);
  }

 private:
  const CLI::App* Parsed() const {
    return app_.get_subcommands().empty() ? nullptr : app_.get_subcommands().front();
  }

  // The row of the command that was named, or null.
  const CommandRow* Chosen() const {
    if (Parsed() == nullptr) return nullptr;
    const auto found = std::find_if(commands_.begin(), commands_.end(), [&](const auto& row) {
      return Parsed()->get_name() == row.name;
    });
    return &*found;
  }

  // How often the option was given. In front of the command it is the program's, behind it the
  // command's, if that takes it.
  std::size_t Count(const OptionRow& row) const {
    const CommandRow* const command = Chosen();
    const bool two = command != nullptr && TakesBehind(*command, row.option);
    return app_.count(row.name) + (two ? Parsed()->count(row.name) : 0);
  }

  ParseResult Ending(const CLI::ParseError& error) const {
    std::ostringstream out;
    std::ostringstream problem;
    const bool wanted = app_.exit(error, out, problem) == static_cast<int>(CLI::ExitCodes::Success);
    // A mistyped option is also why something else is missing.
    const std::string leftOver = wanted ? std::string() : LeftOver();
    if (!leftOver.empty()) return Refusal(leftOver);
    ParseResult result;
    result.ends = true;
    result.status = wanted ? EXIT_DONE : EXIT_USAGE;
    result.text = wanted ? out.str() : "vxhost: " + problem.str();
    return result;
  }

  // Why the command line means nothing; empty when it does.
  std::string Problem() const {
    if (const std::string leftOver = LeftOver(); !leftOver.empty()) return leftOver;
    if (Chosen() == nullptr) return "which command? \"vxhost --help\" lists them.";
    for (const OptionRow& row : OPTIONS) {
      const std::size_t count = Count(row);
      if (count > 1 && row.value != nullptr) return fmt::format("{} stands twice", row.name);
      if (count == 0 || Takes(*Chosen(), row.option)) continue;
      const bool harmless =
          row.without != nullptr && app_.get_option(row.name)->results().front() == row.without;
      if (!harmless) return NotTaken(row);
    }
    const Options& options = result_.options;
    if (!options.simulate.empty() && !options.sysfs.empty()) {
      return "--simulate excludes --sysfs: a simulated machine has a sysfs of its own";
    }
    return {};
  }

  std::string NotTaken(const OptionRow& row) const {
    std::vector<std::string> takers;
    for (const CommandRow& command : commands_) {
      if (Takes(command, row.option)) takers.emplace_back(command.name);
    }
    return fmt::format("\"{}\" takes no {}; {} {}", Chosen()->name, row.name, Listed(takers),
                       takers.size() == 1 ? "does" : "do");
  }

  // The first word that nothing takes, named; empty when there is none.
  std::string LeftOver() const {
    std::vector<std::string> words = app_.remaining();
    const CommandRow* const command = Chosen();
    if (command != nullptr && !TakesRest(*command)) {
      for (const std::string& word : Parsed()->remaining()) words.push_back(word);
    }
    if (words.empty()) return {};
    const std::string word = words.front().substr(0, words.front().find('='));
    if (word.starts_with('-')) return Unknown("option", word, OptionNames());
    if (command == nullptr) return Unknown("command", word, CommandNames());
    return fmt::format(
        "\"{}\" is one word too many for \"{}\"; \"vxhost {} --help\" shows what it takes", word,
        command->name, command->name);
  }

  static std::string Unknown(const char* what, const std::string& word,
                             const std::vector<std::string>& known) {
    const std::string nearest = Nearest(word, known);
    return fmt::format("no {} \"{}\"{} \"vxhost --help\" lists them", what, word,
                       nearest.empty() ? ";" : fmt::format("; did you mean \"{}\"?", nearest));
  }

  std::vector<std::string> OptionNames() const {
    std::vector<std::string> names = {"--help", "--version"};
    for (const OptionRow& row : OPTIONS) names.emplace_back(row.name);
    return names;
  }

  std::vector<std::string> CommandNames() const {
    std::vector<std::string> names;
    for (const CommandRow& row : commands_) names.emplace_back(row.name);
    return names;
  }

  const std::vector<CommandRow>& commands_;
  ParseResult result_;
  CLI::App app_;
};

}  // namespace

ParseResult ParseOptions(int argc, const char* const* argv,
                         const std::vector<CommandRow>& commands) {
  return CommandLine(commands).Parse(argc, argv);
}

}  // namespace vxhost
