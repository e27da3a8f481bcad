#pragma once

#include "Fleet.h"

#include <string>

// What the tool prints, without any fault. Every text ends with a line feed.
namespace vxsim {

std::string InventoryReply(const Fleet& fleet);
std::string VersionReply(const Fleet& fleet);
// command is one of the four logs.
std::string LogReply(const Drive& drive, ToolCommand command);

inline constexpr const char* kNoDeviceSelected = "No device selected\n";
inline constexpr const char* kInvalidIndex = "Error: Given drive index is invalid.\n";

// The same JSON with every value below the sections turned into another type: texts and booleans
// into numbers, numbers into texts.
std::string WithWrongTypes(const std::string& json);

// The same JSON with one more section, grown to at least that many bytes.
std::string Flooded(const std::string& json, std::size_t bytes);

}  // namespace vxsim
