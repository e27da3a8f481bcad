#include "Commands.h"
#include "Host.h"
#include "Options.h"
#include "Output.h"

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <exception>
#include <string>
#include <vector>

#include <fcntl.h>
#include <unistd.h>

namespace {

// So that no file of ours ever gets the number of a standard descriptor that the caller has closed.
void OpenStandardDescriptors() {
  int descriptor = 0;
  do {
    descriptor = ::open("/dev/null", O_RDWR);
  } while (descriptor >= 0 && descriptor <= STDERR_FILENO);
  if (descriptor >= 0) ::close(descriptor);
}

std::vector<vxhost::CommandRow> Rows() {
  std::vector<vxhost::CommandRow> rows;
  for (const vxhost::Command& command : vxhost::Commands()) rows.push_back(command.row);
  return rows;
}

int RunCommand(const vxhost::Options& options, vxhost::SignalWatch& signals) {
  const auto& commands = vxhost::Commands();
  const auto command = std::find_if(commands.begin(), commands.end(), [&](const auto& known) {
    return options.command == known.row.name;
  });
  vxhost::Output output;
  vxhost::Host host(options, output, signals);
  const int status = command->run(host);
  output.Finish();
  return status == vxhost::EXIT_DONE && output.HasFailed() ? vxhost::EXIT_FAILED : status;
}

int Print(const std::string& text) {
  vxhost::Output output;
  return output.Write(text) ? vxhost::EXIT_DONE : vxhost::EXIT_FAILED;
}

}  // namespace

int main(int argc, char** argv) {
  OpenStandardDescriptors();
  // A reader that goes away, or a file that may not grow, shows as a failed write.
  std::signal(SIGPIPE, SIG_IGN);
  std::signal(SIGXFSZ, SIG_IGN);
  try {
    // First, so that every thread is made with the signals blocked.
    vxhost::SignalWatch signals;
    const vxhost::ParseResult parsed = vxhost::ParseOptions(argc, argv, Rows());
    if (parsed.ends) {
      if (parsed.status == vxhost::EXIT_DONE) return Print(parsed.text);
      std::fputs(parsed.text.c_str(), stderr);
      return parsed.status;
    }
    return RunCommand(parsed.options, signals);
  } catch (const vxhost::Failure& failure) {
    vxhost::Say(failure.what());
    return failure.Status();
  } catch (const std::exception& error) {
    vxhost::Say(error.what());
    return vxhost::EXIT_FAILED;
  }
}
