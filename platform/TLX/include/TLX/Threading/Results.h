#pragma once

namespace TLX::Threading {

// Results of Init and Wait throughout the library. A waiter over several events returns the 1-based
// number of the event instead of WAIT_ACQUIRED.
inline constexpr unsigned int WAIT_FAILED = 0;        // never initialised, or not to be waited for
inline constexpr unsigned int WAIT_ACQUIRED = 1;      // acquired or initialised
inline constexpr unsigned int WAIT_TIMED_OUT = 0x82;  // the time ran out first

// A wait without end, for every function that takes milliseconds.
inline constexpr unsigned int WAIT_INFINITE = 0xFFFFFFFFU;

}  // namespace TLX::Threading
