#pragma once

#include "Topology.h"

#include <string>
#include <string_view>

#include <TLX/Misc/Text.h>

namespace vxhost {

using TLX::Misc::Printable;

// The text in the colour of the health that it says, when colours are wanted.
std::string Coloured(const std::string& text, std::string_view health, bool colour);

// The object tree for people: one line for the plug-in, one for each adapter, one for each drive,
// health first, columns aligned. Ends with a line feed.
std::string RenderTree(const Topology& topology, const std::string& pluginName, bool colour);

}  // namespace vxhost
