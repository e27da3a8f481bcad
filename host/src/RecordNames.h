#pragma once

#include <array>
#include <string_view>

namespace vxhost {

// Names of the kinds of value, in the order of PI::CPropertyValue.
inline constexpr std::array<std::string_view, 11> KIND_NAMES = {
    "choice",     "range", "string",    "bool", "unsigned",   "signed",
    "multiValue", "float", "multiLong", "xml",  "multiString"};

inline constexpr std::string_view KindName(int which) {
  return KIND_NAMES.at(static_cast<std::size_t>(which));
}

}  // namespace vxhost
