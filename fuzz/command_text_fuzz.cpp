// A command text taken apart. Besides not crashing:
//   - the parts, joined by single blanks, are taken apart the same way again;
//   - no part holds a blank, and only what stands before the program is an assignment;
//   - an environment that assignments were merged into ends with the last of each name;
//   - a statistics key is its own key.

#include "CommandText.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

namespace {

void Require(bool condition, const char* statement) {
  if (condition) return;
  std::fprintf(stderr, "does not hold: %s\n", statement);
  std::abort();
}

std::string Join(const TLXX::CCommand& command) {
  std::string text;
  const auto add = [&text](const std::string& word) {
    if (!text.empty()) text += ' ';
    text += word;
  };
  std::ranges::for_each(command.m_Environment, add);
  std::ranges::for_each(command.m_Words, add);
  if (command.m_JoinErrors) add("2>&1");
  return text;
}

bool IsWord(const std::string& part) {
  return !part.empty() && part.find_first_of(" \t") == std::string::npos;
}

void CheckParts(const TLXX::CCommand& command) {
  Require(!command.m_Words.empty(), "a program is named");
  Require(std::ranges::all_of(command.m_Words, IsWord), "words hold no blank");
  Require(std::ranges::all_of(command.m_Environment, IsWord), "assignments hold no blank");
  for (const std::string& assignment : command.m_Environment) {
    Require(assignment.find('=') > 0 && assignment.find('=') != std::string::npos,
            "an assignment names something");
  }
}

void CheckSplitsAgain(const TLXX::CCommand& command) {
  TLXX::CCommand again;
  std::string reason;
  Require(TLXX::SplitCommand(Join(command), again, reason), "the joined parts can be split");
  Require(again.m_Environment == command.m_Environment, "with the same assignments");
  Require(again.m_Words == command.m_Words, "and the same words");
  Require(again.m_JoinErrors == command.m_JoinErrors, "and the same redirection");
}

void CheckEnvironment(const TLXX::CCommand& command) {
  const char* const own[] = {"PATH=/bin", "EMPTY=", "no assignment", nullptr};
  const auto merged = TLXX::MergeEnvironment(own, command.m_Environment);
  for (auto change = command.m_Environment.rbegin(); change != command.m_Environment.rend();
       ++change) {
    const std::string name = change->substr(0, change->find('=') + 1);
    const auto sameName = [&name](const std::string& entry) { return entry.starts_with(name); };
    Require(std::ranges::count_if(merged, sameName) == 1, "a name stands once in an environment");
    const auto last = std::ranges::find_if(command.m_Environment.rbegin(),
                                           command.m_Environment.rend(), sameName);
    Require(std::ranges::find(merged, *last) != merged.end(), "the last assignment counts");
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  const std::string key = TLXX::StatisticsKey(text);
  Require(TLXX::StatisticsKey(key) == key, "a key is its own key");

  TLXX::CCommand command;
  std::string reason;
  if (!TLXX::SplitCommand(text, command, reason)) {
    Require(!reason.empty(), "a refused text has a reason");
    return 0;
  }
  CheckParts(command);
  CheckSplitsAgain(command);
  CheckEnvironment(command);
  return 0;
}
