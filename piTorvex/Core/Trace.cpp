#include "Core/Trace.h"

#include <exception>

namespace NAMESPACE_piTorvex {

void TraceStopped(const CTracer& trace, const char* what) noexcept {
  try {
    trace.Steps("Exception stopped: %s", what);
  } catch (const std::exception&) {
    // Out of memory for the line itself: it is lost.
  }
}

}  // namespace NAMESPACE_piTorvex
