#pragma once

#include <atomic>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>

namespace vxhost {

class LineWriter;

// The host's real standard output. While it lives, file descriptor 1 leads to standard error, so
// that nothing that a plug-in prints gets between the host's lines. [any thread]
class Output {
 public:
  // Takes standard output aside; one at a time. Throws std::system_error.
  Output();
  ~Output();  // Finish, and puts it back
  Output(const Output&) = delete;
  Output& operator=(const Output&) = delete;

  // For commands that stay: from now on Post and Say, and plug-ins that print, never wait for a
  // reader. Lines that nobody takes wait in memory, up to LineWriter::LIMIT; beyond it the oldest
  // are dropped, and the next line that gets out says how many. json: it says so as an object.
  // [before other threads start]
  void MoveToBackground(bool json);

  // Writes the whole text, in one piece as seen from other threads, after what was said before, and
  // waits until the reader has it. False when the reader has gone or the disk is full; what was not
  // written is lost, which is said once.
  bool Write(std::string_view text);
  bool WriteLine(std::string_view text);

  // The same without waiting, after MoveToBackground.
  void PostLine(std::string_view text);

  // The command is to stop: whoever waits in Write for the reader waits no longer than PATIENCE.
  void Hurry();

  // Gives readers PATIENCE to take what waits, standard error's too. Then nothing waits any more.
  void Finish();

  // Whether something was lost, on standard error too where nobody took what was said there.
  [[nodiscard]] bool HasFailed() const;

  [[nodiscard]] bool IsTerminal() const;

  // For poll, without events: an error or a hang-up on it means that the reader has gone.
  [[nodiscard]] int Descriptor() const { return descriptor_; }

 private:
  void NoteError(int error);
  void AwaitSaid();

  std::mutex mutex_;
  int descriptor_;
  std::atomic<bool> failed_ = false;
  std::unique_ptr<LineWriter> writer_;  // null until MoveToBackground
  bool finished_ = false;
  bool saidIsStuck_ = false;  // nobody reads standard error
  bool saidWasLost_ = false;
};

// One line to standard error, in one piece: "vxhost: TEXT". [any thread]
void Say(std::string_view text);

// The same for the end of the process: at once, or not at all where nobody takes it. [any thread]
void SayOrDrop(std::string_view text);

}  // namespace vxhost
