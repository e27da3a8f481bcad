#pragma once

#include "Failure.h"

#include <string>
#include <vector>

namespace vxhost {

// What the command line says.
struct Options {
  std::string plugin;
  std::string configDir;
  std::string sysfs;
  std::string simulate;
  unsigned int trace = 0;
  unsigned int tracePlatform = 0;
  std::string traceFile;
  double toolTimeout = 60;  // seconds; 0: none
  double timeScale = 1;
  std::string database;  // "sqlite:PATH" or "none"; empty: what the command has by default
  bool json = false;
  bool verbose = false;

  std::string command;
  std::vector<std::string> arguments;  // of the command, in the order of its table row
};

// An argument of a command.
struct ArgumentRow {
  const char* name;
  const char* help;
  bool rest = false;  // takes everything that follows, options included
};

// The options of the program. Which of them a command takes stands in its row.
enum class Option {
  Plugin,
  ConfigDir,
  Sysfs,
  Simulate,
  Trace,
  TracePlatform,
  TraceFile,
  ToolTimeout,
  TimeScale,
  Database,
  Json,
  Verbose,
};

// How a command looks on the command line.
struct CommandRow {
  const char* name;
  const char* help;
  std::vector<ArgumentRow> arguments;
  std::vector<Option> options;
};

// What parsing ended with: the options, or a text to print and the status to end with.
struct ParseResult {
  Options options;
  bool ends = false;
  int status = EXIT_DONE;
  std::string text;
};

// An option may stand before or behind the command, once. One that the command does not take is
// refused, unless it says what the command does without it (--db none).
[[nodiscard]] ParseResult ParseOptions(int argc, const char* const* argv,
                                       const std::vector<CommandRow>& commands);

}  // namespace vxhost
