#pragma once

#include <chrono>

#include <TLX/Export.h>

namespace TLX::Misc {

// Milliseconds since the epoch: the wall clock at process start, carried on by the monotonic clock,
// so that elapsed time never jumps. Runs faster by the time scale. [any thread]
VX_EXPORT unsigned long now();

// Sleeps for the given milliseconds of now(). Delivers a pending cancellation, also one that is
// pending when it begins; it then ends early. [any thread]
VX_EXPORT void Sleep(unsigned long milliseconds);

// The one clock behind now(), sleeps, waits and the waiter.
class VX_EXPORT CClock {
 public:
  // How many times faster than real time the clock runs: 1 unless set; values below 1, and what is
  // no number, count as 1, values above 1,000,000 as that. now() carries on without a jump; waits
  // under way are re-timed. [any thread]
  static void SetTimeScale(double scale);
  static double TimeScale();  // [any thread]

  // The real time that the given milliseconds of now() take at the present scale, rounded up. [any
  // thread]
  static std::chrono::nanoseconds ToRealTime(unsigned long milliseconds);
};

}  // namespace TLX::Misc
