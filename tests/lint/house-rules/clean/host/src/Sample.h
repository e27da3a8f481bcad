#pragma once

#include <string>

namespace vxhost {

// False: problem says why. [any thread]
[[nodiscard]] bool Sample(std::string& problem);

}  // namespace vxhost
