#pragma once

#include <atomic>
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

  // Writes the whole text, in one piece as seen from other threads. False when the reader has gone
  // or the disk is full; what was not written is lost, which is said once.
  bool Write(std::string_view text);
  bool WriteLine(std::string_view text);

  // Whether something was lost.
  bool HasFailed() const { return failed_; }

  bool IsTerminal() const;

  // For poll, without events: an error or a hang-up on it means that the reader has gone.
  int Descriptor() const { return descriptor_; }

 private:
  std::mutex mutex_;
  int descriptor_;
  std::atomic<bool> failed_ = false;
};

// One line to standard error, in one piece: "vxhost: TEXT". [any thread]
void Say(std::string_view text);

}  // namespace vxhost
