#pragma once

#include <algorithm>

#include <rapidjson/document.h>

namespace vxsim {

// Deeper nesting than any fleet file has. What is written, copied or compared by recursion is
// checked first; the check itself goes no deeper.
inline constexpr int kDeepestJson = 32;

// Whether lists and objects stand in one another on more than that many levels.
inline bool IsDeeper(const rapidjson::Value& value, int levels = kDeepestJson) {
  if (levels == 0) return value.IsObject() || value.IsArray();
  if (value.IsArray()) {
    return std::any_of(value.Begin(), value.End(), [&](const rapidjson::Value& element) {
      return IsDeeper(element, levels - 1);
    });
  }
  return value.IsObject() &&
         std::any_of(value.MemberBegin(), value.MemberEnd(),
                     [&](const auto& member) { return IsDeeper(member.value, levels - 1); });
}

}  // namespace vxsim
