#pragma once

#include "Host.h"
#include "Options.h"

#include <string>
#include <vector>

namespace vxhost {

// One command of the program.
struct Command {
  CommandRow m_Row;
  int (*m_Run)(Host& host);  // returns the exit status, or throws Failure
};

// Every command, in the order of the help text.
const std::vector<Command>& Commands();

int RunTree(Host& host);
int RunShow(Host& host);
int RunGet(Host& host);
int RunSet(Host& host);
int RunOps(Host& host);
int RunService(Host& host);
int RunRpc(Host& host);
int RunSimulate(Host& host);
int RunDatabase(Host& host);
int RunDoctor(Host& host);

}  // namespace vxhost
