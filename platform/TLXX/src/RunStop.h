#pragma once

#include <TLXX/RunStop.h>

namespace TLXX {

// Polls readable once the stop that the calling thread works under is requested; -1 without one.
int RunStopDescriptor() noexcept;

// Whether it is requested. [any thread]
bool RunStopRequested() noexcept;

}  // namespace TLXX
