#pragma once

#include <string>

#include <PI/Property.h>

namespace vxhost {

// Puts the value that a user wrote into the property, in the kind that it has. False, property
// untouched, when the text is no such value or is not allowed (range, step, choices), or when
// values of the kind cannot be written as one word.
[[nodiscard]] bool SetFromText(PI::CProperty& property, const std::string& text);

// What may be set: "2 to 255 s", "good, degraded or critical", "yes or no".
std::string AllowedText(const PI::CProperty& property);

}  // namespace vxhost
