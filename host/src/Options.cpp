#include "Options.h"

#include <algorithm>
#include <sstream>

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

void AddGlobalOptions(CLI::App& app, Options& options) {
  app.add_option("--plugin", options.m_Plugin, "Use this plug-in instead of those in plugins/")
      ->type_name("PATH");
  app.add_option("--config-dir", options.m_ConfigDir, "Directory of the options files")
      ->type_name("DIR");
  auto* const sysfs =
      app.add_option("--sysfs", options.m_Sysfs, "Read PCI facts below DIR instead of /sys")
          ->type_name("DIR");
  app.add_option("--simulate", options.m_Simulate, "Use the simulated drives of a fleet file")
      ->type_name("FLEET.json")
      ->excludes(sysfs);
  app.add_option("--trace", options.m_Trace,
                 "Trace levels of plug-ins: 2 steps, 4 detail, 8 locks, 16 tool")
      ->type_name("MASK");
  app.add_option("--trace-platform", options.m_TracePlatform,
                 "Trace levels of the platform libraries")
      ->type_name("MASK");
  app.add_option("--trace-file", options.m_TraceFile,
                 "Append trace lines to this file instead of standard error")
      ->type_name("PATH");
  app.add_option("--tool-timeout", options.m_ToolTimeout,
                 "End a query of the drive tool after so long (60; 0: never)")
      ->type_name("SECONDS")
      ->check(Within(0, LONGEST_TIMEOUT));
  app.add_option("--time-scale", options.m_TimeScale, "Run the clock N times faster")
      ->type_name("N")
      ->check(Within(1, HIGHEST_SCALE));
  app.add_option("--db", options.m_Database,
                 "Database of the mirror; run writes one in the state directory unless told")
      ->type_name("sqlite:PATH|none");
  app.add_flag("--json", options.m_Json, "Print JSON for scripts");
}

void AddCommand(CLI::App& app, const CommandRow& row, Options& options) {
  CLI::App* const command = app.add_subcommand(row.name, row.help);
  const bool takesRest = std::any_of(row.arguments.begin(), row.arguments.end(),
                                     [](const ArgumentRow& argument) { return argument.rest; });
  // Global options may stand behind the command, unless what stands there belongs to another
  // program.
  command->fallthrough(!takesRest)->prefix_command(takesRest);
  for (std::size_t i = 0; i < row.arguments.size(); ++i) {
    const ArgumentRow& argument = row.arguments[i];
    if (argument.rest) continue;
    command
        ->add_option_function<std::string>(
            argument.name,
            [&options, i](const std::string& value) {
              if (options.m_Arguments.size() <= i) options.m_Arguments.resize(i + 1);
              options.m_Arguments[i] = value;
            },
            argument.help)
        ->required()
        ->type_name("");
  }
}

ParseResult Ending(const CLI::App& app, const CLI::ParseError& error) {
  std::ostringstream out;
  std::ostringstream problem;
  const bool wanted = app.exit(error, out, problem) == static_cast<int>(CLI::ExitCodes::Success);
  ParseResult result;
  result.m_Ends = true;
  result.m_Status = wanted ? EXIT_DONE : EXIT_USAGE;
  result.m_Text = wanted ? out.str() : "vxhost: " + problem.str();
  return result;
}

}  // namespace

ParseResult ParseOptions(int argc, const char* const* argv,
                         const std::vector<CommandRow>& commands) {
  ParseResult result;
  Options& options = result.m_Options;
  CLI::App app("Loads storage plug-ins and shows what they manage.", "vxhost");
  app.set_version_flag("--version", "vxhost " VXHOST_VERSION);
  app.failure_message(CLI::FailureMessage::simple);
  app.require_subcommand(0, 1);
  AddGlobalOptions(app, options);
  for (const CommandRow& row : commands) AddCommand(app, row, options);
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    return Ending(app, error);
  }
  if (app.get_subcommands().empty()) {
    result.m_Ends = true;
    result.m_Status = EXIT_USAGE;
    result.m_Text = "vxhost: which command? \"vxhost --help\" lists them.\n";
    return result;
  }
  const CLI::App* const command = app.get_subcommands().front();
  options.m_Command = command->get_name();
  for (const std::string& rest : command->remaining()) options.m_Arguments.push_back(rest);
  return result;
}

}  // namespace vxhost
