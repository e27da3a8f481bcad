#pragma once

#include <string>
#include <vector>

#include <TLX/Export.h>

namespace DatabaseORM {

// The items of a cell that holds a list; none for an empty cell. [any thread]
[[nodiscard]] VX_EXPORT std::vector<std::string> Items(const std::string& cell);

}  // namespace DatabaseORM
