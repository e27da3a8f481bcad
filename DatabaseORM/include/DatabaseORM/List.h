#pragma once

#include <string>
#include <vector>

#include <TLX/Export.h>

namespace DatabaseORM {

// The items of a cell that holds a list, split at DatabaseWrapper::delimiter, in their order; none
// for an empty cell, and empty items where two delimiters meet. Throws for lack of memory only.
// [any thread]
[[nodiscard]] VX_EXPORT std::vector<std::string> Items(const std::string& cell);

}  // namespace DatabaseORM
