#pragma once

#include "Host.h"
#include "Options.h"

#include <string>
#include <vector>

namespace vxhost {

// One command of the program.
struct Command {
  CommandRow row;
  int (*run)(Host& host);  // returns the exit status, or throws Failure
};

// Every command, in the order of the help text.
const std::vector<Command>& Commands();

[[nodiscard]] int RunTree(Host& host);
[[nodiscard]] int RunShow(Host& host);
[[nodiscard]] int RunGet(Host& host);
[[nodiscard]] int RunSet(Host& host);
[[nodiscard]] int RunOps(Host& host);
[[nodiscard]] int RunService(Host& host);
[[nodiscard]] int RunRpc(Host& host);
[[nodiscard]] int RunSimulate(Host& host);
[[nodiscard]] int RunDatabase(Host& host);
[[nodiscard]] int RunDoctor(Host& host);

}  // namespace vxhost
