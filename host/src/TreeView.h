#pragma once

#include "Topology.h"

#include <string>
#include <string_view>

namespace vxhost {

// Bytes made fit for a terminal: UTF-8, control characters as \xNN.
std::string Printable(std::string_view bytes);

// The text in the colour of the health that it says, when colours are wanted.
std::string Coloured(const std::string& text, std::string_view health, bool colour);

// The object tree for people: one line for the plug-in, one for each adapter, one for each drive,
// health first, columns aligned. Ends with a line feed.
std::string RenderTree(const Topology& topology, const std::string& pluginName, bool colour);

}  // namespace vxhost
