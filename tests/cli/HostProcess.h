#pragma once

#include <filesystem>
#include <map>
#include <string>
#include <vector>

#include <sys/types.h>

namespace vxtest {

// The host program as a process of its own, with its standard input and output in our hands and its
// standard error in a file.
class HostProcess {
 public:
  using Environment = std::map<std::string, std::string>;

  // Starts the program of the runtime tree under test, or another one.
  explicit HostProcess(const std::vector<std::string>& words, const Environment& environment = {},
                       const std::filesystem::path& program = Program());
  ~HostProcess();  // kills it if it still runs
  HostProcess(const HostProcess&) = delete;
  HostProcess& operator=(const HostProcess&) = delete;

  void Send(const std::string& text);  // to its standard input, as it is
  void EndInput();
  void CloseOutput();  // nobody reads what it prints any more
  void Signal(int number) const;

  // The next line of its standard output, without line feed; "(end)" when there is none any more
  // and
  // "(nothing)" after half a minute.
  std::string Line();

  // Reads the rest of its output and waits for its end, half a minute each; the exit status, or
  // minus the signal.
  int Wait(std::string* rest = nullptr);

  // Waits half a minute for its end without reading what it prints.
  bool EndsUnread() const;

  // What it has said on standard error so far.
  std::string Errors() const;
  // Waits until it has said the text on standard error; false after half a minute.
  bool WaitForError(const std::string& text) const;

  // Files of the tree under test.
  static std::filesystem::path Tree();
  static std::filesystem::path Program();

 private:
  bool Fill(int milliseconds);

  pid_t child_ = -1;
  int input_ = -1;
  int output_ = -1;
  std::filesystem::path errors_;
  std::string pending_;
};

// A run from start to end.
struct HostRun {
  int status = 0;
  std::string out;
  std::string err;
};
HostRun RunHost(const std::vector<std::string>& words, const std::string& input = "",
                const HostProcess::Environment& environment = {},
                const std::filesystem::path& program = HostProcess::Program());

}  // namespace vxtest
