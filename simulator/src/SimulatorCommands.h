#pragma once

#include <string>
#include <vector>

namespace vxsim {

// The simulator's own commands: what follows "isdct". Prints and returns the exit status: 0 done,
// 1 failed, 2 wrong usage.
int RunSimulator(std::vector<std::string> arguments);

}  // namespace vxsim
