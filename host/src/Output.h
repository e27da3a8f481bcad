#pragma once

#include <mutex>
#include <string>
#include <string_view>

namespace vxhost {

// The host's real standard output. While it lives, file descriptor 1 leads to standard error, so
// that nothing that a plug-in prints gets between the host's lines. [any thread]
class Output {
 public:
  // Takes standard output aside; one at a time. Throws std::system_error.
  Output();
  ~Output();  // puts it back
  Output(const Output&) = delete;
  Output& operator=(const Output&) = delete;

  // Writes the whole text, in one piece as seen from other threads. False once the reader has gone
  // or the disk is full; what was not written is lost.
  bool Write(std::string_view text);
  bool WriteLine(std::string_view text);

  bool IsTerminal() const;

 private:
  std::mutex mutex_;
  int descriptor_;
};

// One line to standard error, in one piece: "vxhost: TEXT". [any thread]
void Say(std::string_view text);

}  // namespace vxhost
