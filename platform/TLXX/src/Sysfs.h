#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace TLXX {

// The sysfs root as set. Set before threads look things up.
const std::string& SysfsRootPath();
void SetSysfsRootPath(const std::string& root);

// Whether the text can name a file in a directory: neither empty, nor "." or "..", no "/" or NUL.
bool IsFileName(std::string_view name);

// The text of an attribute file without the line end; nothing when it cannot be read. [any thread]
std::optional<std::string> ReadAttribute(const std::string& path);

// The path with all links followed; nothing when something on the way is missing or loops. [any
// thread]
std::optional<std::string> Resolve(const std::string& path);

}  // namespace TLXX
