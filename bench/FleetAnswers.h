#pragma once

#include "support/ScriptedTool.h"

namespace vxbench {

// The answers of the tool for a fleet of the given size, by argument string. temperature: of
// every drive, degrees Celsius.
vxtest::ScriptedTool::Script FleetAnswers(int drives, int temperature);

}  // namespace vxbench
