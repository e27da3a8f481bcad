#include "SimulatorCommands.h"
#include "ToolCommands.h"

#include <csignal>
#include <string>
#include <vector>

#include <sys/resource.h>
#include <unistd.h>

namespace {

// False when nobody reads any more.
bool WriteAll(int descriptor, const std::string& text) {
  std::size_t done = 0;
  while (done < text.size()) {
    const ssize_t written = write(descriptor, text.data() + done, text.size() - done);
    if (written <= 0) return false;
    done += static_cast<std::size_t>(written);
  }
  return true;
}

[[noreturn]] void EndBySignal(int number) {
  const rlimit noCore{0, 0};
  setrlimit(RLIMIT_CORE, &noCore);
  signal(number, SIG_DFL);
  raise(number);
  _exit(128 + number);  // a signal that is ignored by default
}

}  // namespace

int main(int count, char** words) {
  const std::vector<std::string> arguments(words + (count > 0 ? 1 : 0), words + count);
  const bool help = arguments.empty() || arguments[0] == "--help" || arguments[0] == "-h";
  if (help || arguments[0] == "simulator") return vxsim::RunSimulator(arguments);
  const vxsim::Outcome outcome = vxsim::RunTool(arguments);
  WriteAll(STDERR_FILENO, outcome.message);
  if (!WriteAll(STDOUT_FILENO, outcome.output)) return 1;
  if (outcome.signal != 0) EndBySignal(outcome.signal);
  return outcome.status;
}
