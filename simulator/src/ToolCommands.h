#pragma once

#include "Faults.h"

#include <string>
#include <vector>

namespace vxsim {

// The vendor tool's command lines, without the program's name, answered for the fleet that the
// environment variable VXSIM_FLEET names. Without a fleet, with a fleet that cannot be read, and
// for a command line that is not known, nothing is printed and the status is not 0.
Outcome RunTool(const std::vector<std::string>& arguments);

// Those command lines for people, one a line, with N for an index; no line end after the last.
std::string ToolUsage();

}  // namespace vxsim
