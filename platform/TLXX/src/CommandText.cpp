#include "CommandText.h"

#include <algorithm>
#include <string_view>

namespace TLXX {

namespace {

constexpr std::string_view BLANKS = " \t";
constexpr std::string_view JOIN_ERRORS = "2>&1";

std::vector<std::string> SplitAtBlanks(std::string_view text) {
  std::vector<std::string> words;
  std::size_t begin = text.find_first_not_of(BLANKS);
  while (begin != std::string_view::npos) {
    const std::size_t end = std::min(text.find_first_of(BLANKS, begin), text.size());
    words.emplace_back(text.substr(begin, end - begin));
    begin = text.find_first_not_of(BLANKS, end);
  }
  return words;
}

// Letters and digits of ASCII alone: the locale has no say in what a command means.
bool IsDigit(char c) {
  return c >= '0' && c <= '9';
}
bool IsNameStart(char c) {
  return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || c == '_';
}
bool IsNameCharacter(char c) {
  return IsNameStart(c) || IsDigit(c);
}

bool IsNumber(const std::string& word) {
  return std::all_of(word.begin(), word.end(), IsDigit);
}

bool IsAssignment(const std::string& word) {
  const std::size_t equals = word.find('=');
  if (equals == std::string::npos || equals == 0 || !IsNameStart(word[0])) return false;
  return std::all_of(word.begin(), word.begin() + static_cast<std::ptrdiff_t>(equals),
                     IsNameCharacter);
}

std::string_view NameOf(std::string_view assignment) {
  return assignment.substr(0, assignment.find('='));
}

}  // namespace

bool SplitCommand(const std::string& text, CCommand& command, std::string& reason) {
  if (text.find('\0') != std::string::npos) {
    reason = "the command text holds a NUL character";
    return false;
  }
  std::vector<std::string> words = SplitAtBlanks(text);
  command.m_JoinErrors = !words.empty() && words.back() == JOIN_ERRORS;
  if (command.m_JoinErrors) words.pop_back();
  const auto program = std::find_if_not(words.begin(), words.end(), IsAssignment);
  if (program == words.end()) {
    reason = "the command text names no program";
    return false;
  }
  command.m_Environment.assign(words.begin(), program);
  command.m_Words.assign(program, words.end());
  return true;
}

std::vector<std::string> MergeEnvironment(const char* const* environment,
                                          const std::vector<std::string>& changes) {
  std::vector<std::string> merged;
  for (; environment != nullptr && *environment != nullptr; ++environment) {
    merged.emplace_back(*environment);
  }
  for (const std::string& change : changes) {
    const auto sameName = [&change](const std::string& entry) {
      return entry.find('=') != std::string::npos && NameOf(entry) == NameOf(change);
    };
    merged.erase(std::remove_if(merged.begin(), merged.end(), sameName), merged.end());
    merged.push_back(change);
  }
  return merged;
}

bool IsAboutOneDrive(const std::string& arguments) {
  const std::vector<std::string> words = SplitAtBlanks(arguments);
  return std::any_of(words.begin(), words.end(), IsNumber);
}

std::string StatisticsKey(const std::string& arguments) {
  std::string key;
  for (const std::string& word : SplitAtBlanks(arguments)) {
    if (!key.empty()) key += ' ';
    key += IsNumber(word) ? std::string("N") : word;
  }
  return key;
}

}  // namespace TLXX
