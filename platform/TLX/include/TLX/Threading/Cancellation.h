#pragma once

#include <TLX/Export.h>

namespace TLX::Threading {

// Cancellation of a CThread. Threads run with it disabled; it takes effect only in Deliver(), which
// the blocking functions of the platform (sleeps, waits, tool runs) call once they have undone what
// they were doing. It unwinds the stack as an exception that nobody may swallow: a catch-all on
// such a thread rethrows abi::__forced_unwind.
class VX_EXPORT CCancellation {
 public:
  // Whether somebody has asked to cancel the calling thread. False on a thread that is no CThread.
  static bool Requested() noexcept;

  // A descriptor that polls readable once the calling thread is to be cancelled; -1 on a thread
  // that is no CThread. Owned by the thread: do not read from it or close it.
  static int WakeDescriptor() noexcept;

  // The one point where a requested cancellation strikes. Returns at once when none is requested.
  static void Deliver();
};

}  // namespace TLX::Threading
