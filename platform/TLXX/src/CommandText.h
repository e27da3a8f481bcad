#pragma once

#include <string>
#include <vector>

namespace TLXX {

// A command text taken apart.
struct CCommand {
  std::vector<std::string> m_Environment;  // NAME=VALUE
  std::vector<std::string> m_Words;        // the program and its arguments; never empty
  bool m_JoinErrors = false;               // standard error goes where standard output goes
};

// Splits a text at blanks (spaces and tabs): leading NAME=VALUE words, the program, its arguments,
// one trailing "2>&1". Returns whether a program is named; otherwise reason says what is wrong with
// the text and command is unspecified. [any thread]
[[nodiscard]] bool SplitCommand(const std::string& text, CCommand& command, std::string& reason);

// The environment of the process with the given NAME=VALUE words in place of, or behind, its own.
std::vector<std::string> MergeEnvironment(const char* const* environment,
                                          const std::vector<std::string>& changes);

// Whether a word of the arguments is a decimal number: what they ask is about one drive.
bool IsAboutOneDrive(const std::string& arguments);

// The arguments with every word that is a decimal number replaced by "N" and words one blank apart.
std::string StatisticsKey(const std::string& arguments);

}  // namespace TLXX
