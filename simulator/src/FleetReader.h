#pragma once

#include "Fleet.h"

#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>

namespace vxsim {

// What is wrong with a fleet file; what() is "FILE: PLACE: PROBLEM; WAY OUT".
class FleetError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// The text is not JSON: wrong, or caught while somebody was writing it in place.
class FleetSyntaxError : public FleetError {
 public:
  using FleetError::FleetError;
};

// Reads and checks the text of a fleet file. fileName only appears in errors. Throws FleetError; no
// text whatever makes it throw anything else but std::bad_alloc.
Fleet ParseFleet(std::string_view text, std::string_view fileName);

}  // namespace vxsim
