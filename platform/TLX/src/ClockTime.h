#pragma once

#include <chrono>

// The clock behind now(), finer than milliseconds and with deadlines.
namespace TLX::Internals {

// A point in the clock's (scaled) time, as microseconds since the epoch. Microseconds leave room
// for any span that an unsigned long of milliseconds is likely to name, at any scale.
using CClockTime = std::chrono::microseconds;
inline constexpr CClockTime NEVER = CClockTime::max();

CClockTime ClockNow();

// The point that lies the given milliseconds ahead; NEVER when it is too far to be counted.
CClockTime ClockAfter(unsigned long milliseconds);

// As ClockAfter, for the library's wait arguments: WAIT_INFINITE gives NEVER.
CClockTime WaitDeadline(unsigned int milliseconds);

// When the given point comes at the present scale, not earlier; at most one day ahead, so that the
// caller looks again.
std::chrono::steady_clock::time_point RealTimeOf(CClockTime point);

}  // namespace TLX::Internals
