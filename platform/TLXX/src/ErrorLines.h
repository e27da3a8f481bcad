#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <string_view>

namespace TLXX {

// How much of a run's standard error is handed on, in bytes.
inline constexpr std::size_t MAX_ERROR_TEXT = std::size_t{64} << 10U;

// What a program writes to its standard error, handed on line by line. A program that never stops
// complaining fills neither memory nor the terminal: what is beyond MAX_ERROR_TEXT is counted only.
// [one thread at a time]
class CErrorLines {
 public:
  using CSink = std::function<void(const std::string& line)>;

  explicit CErrorLines(CSink sink);

  // Whether somebody wants the lines.
  bool IsWanted() const { return m_Sink != nullptr; }
  // Hands on what is whole; the text may end in the middle of a line.
  void Take(std::string_view text);
  // Hands on the last line, if it has no line feed, and says how much was left out.
  void End();

 private:
  void HandOn();

  const CSink m_Sink;
  std::string m_Line;  // so far
  std::size_t m_Taken = 0;
  std::size_t m_LeftOut = 0;
};

}  // namespace TLXX
