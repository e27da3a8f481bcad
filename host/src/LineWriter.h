#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <string>

namespace vxhost {

// Writes lines to a descriptor from a thread of its own, so that whoever has a line need not wait
// for its reader. Lines that nobody takes wait in memory; beyond LIMIT the oldest are dropped and
// counted, and the next line that gets out says how many. [any thread]
class LineWriter {
 public:
  static constexpr std::size_t LIMIT = std::size_t{1} << 20U;  // bytes that wait

  // gapLine: the line for so many that were dropped, with its line feed. onError is told the error
  // number when a line could not be written; must be quick and not come back here. What follows is
  // tried all the same.
  // The descriptor is duplicated. Throws std::system_error.
  LineWriter(int descriptor, std::function<std::string(unsigned long)> gapLine,
             std::function<void(int)> onError);
  ~LineWriter();  // what still waits is lost
  LineWriter(const LineWriter&) = delete;
  LineWriter& operator=(const LineWriter&) = delete;

  // The lines, each with its line feed, get out in the order in which they came. Never waits.
  void Post(std::string text);

  // The same for text that must not be dropped: waits until it has been written, or could not be.
  // False when it could not, or when Hurry cut the wait short.
  [[nodiscard]] bool Write(std::string text);

  // From now on nobody waits for the reader longer than so.
  void Hurry(std::chrono::milliseconds patience);

  // Waits, as long as given, until all lines are out; whether they are.
  [[nodiscard]] bool WaitUntilIdle(std::chrono::milliseconds patience);

  // The same for the end: what is left then is lost.
  void Finish(std::chrono::milliseconds patience);

  // Whether a line was dropped, or was left at Finish.
  [[nodiscard]] bool HasLost() const;

 private:
  struct State;
  static void Run(const std::shared_ptr<State>& state);

  // Shared with the thread, which outlives the writer where the descriptor takes nothing.
  const std::shared_ptr<State> state_;
};

}  // namespace vxhost
