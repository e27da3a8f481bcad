#include "Sample.h"

#include <cstdlib>

#include <PI/Object.h>
#include <TLX/Misc/Clock.h>

namespace vxhost {

// Says "system(" and "popen(" in words only. [any thread]
bool Sample(std::string& problem) {
  problem = "no fork() here";
  return std::getenv("HOME") != nullptr;
}

}  // namespace vxhost
