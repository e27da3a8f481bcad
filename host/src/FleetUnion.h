#pragma once

#include <optional>
#include <string>

namespace vxhost {

// A fleet, as its file's text, whose sysfs has the drives of both fleets: those of the new one, and
// those of the old one whose place no drive of the new one takes. No drive has an index of the
// tool, which sysfs does not know. Nothing when one of the texts is no fleet or no drive of the old
// one is missing from the new one, so that the new fleet is the union already.
std::optional<std::string> UnionOfFleets(const std::string& oldFleet, const std::string& newFleet);

// Whether the text is JSON; one that is not may be half written.
bool IsJson(const std::string& text);

}  // namespace vxhost
