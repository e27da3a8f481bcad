#pragma once

#include "Failure.h"

#include <string>
#include <vector>

namespace vxhost {

// What the command line says.
struct Options {
  std::string m_Plugin;
  std::string m_ConfigDir;
  std::string m_Sysfs;
  std::string m_Simulate;
  unsigned int m_Trace = 0;
  unsigned int m_TracePlatform = 0;
  std::string m_TraceFile;
  double m_ToolTimeout = 60;  // seconds; 0: none
  double m_TimeScale = 1;
  std::string m_Database;  // "sqlite:PATH" or "none"; empty: what the command has by default
  bool m_Json = false;
  bool m_Verbose = false;

  std::string m_Command;
  std::vector<std::string> m_Arguments;  // of the command, in the order of its table row
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
  Options m_Options;
  bool m_Ends = false;
  int m_Status = EXIT_DONE;
  std::string m_Text;
};

// An option may stand before or behind the command, once. One that the command does not take is
// refused, unless it says what the command does without it (--db none).
[[nodiscard]] ParseResult ParseOptions(int argc, const char* const* argv,
                                       const std::vector<CommandRow>& commands);

}  // namespace vxhost
