#pragma once

#include <TLX/Export.h>

// Stands before a function (after the parameter list of a lambda) that has a handler
// "catch (abi::__forced_unwind&) { throw; }". The unwinding of a cancelled thread has no exception
// object, so the handler's reference is null, which UndefinedBehaviorSanitizer would end the
// process for. Not inline, because g++ checks what it inlines by the rules of the caller.
#define VX_CATCHES_CANCELLATION __attribute__((noinline, no_sanitize("null")))

namespace TLX::Threading {

// Cancellation of a CThread. Threads run with it disabled; it takes effect only in Deliver(), which
// the blocking functions of the platform (sleeps, waits, tool runs) call once they have undone what
// they were doing. It unwinds the stack as an exception that nobody may swallow: a catch-all on
// such a thread rethrows abi::__forced_unwind.
class VX_EXPORT CCancellation {
 public:
  // Whether somebody has asked to cancel the calling thread and it has not struck yet: false again
  // while the stack unwinds, so that what destructors do runs undisturbed. False on a thread that
  // is no CThread.
  static bool Requested() noexcept;

  // A descriptor that polls readable while Requested() is true; -1 on a thread that is no CThread.
  // Owned by the thread: do not read from it or close it.
  static int WakeDescriptor() noexcept;

  // The one point where a requested cancellation strikes. Returns at once when none is requested.
  // Not from a destructor or anything else that must not throw.
  static void Deliver();
};

}  // namespace TLX::Threading
