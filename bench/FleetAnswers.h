#pragma once

#include "support/ScriptedTool.h"

namespace vxbench {

// What the tool would print for a fleet of so many drives, by argument string. temperature: of
// every drive, degrees Celsius.
vxtest::ScriptedTool::Script FleetAnswers(int drives, int temperature);

}  // namespace vxbench
