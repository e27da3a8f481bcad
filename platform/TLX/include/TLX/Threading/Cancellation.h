#pragma once

#include <exception>
#include <utility>

#include <TLX/Export.h>

namespace TLX::Internals {
class CThreadState;
}

namespace TLX::Threading {

// What a cancelled thread throws, to leave its body. Not derived from std::exception, so that a
// handler for errors does not take it for one. Only CCancellation makes one. Handlers for
// everything use Guarded, or let it through by "catch (const CCancelled&) { throw; }" before them.
// It carries nothing: who asked, and why, is known to whoever asked. It ends with the body of the
// thread, and waits for the thread see an ordinary end.
class VX_EXPORT CCancelled final {
 public:
  ~CCancelled();

 private:
  friend class Internals::CThreadState;
  CCancelled() noexcept;
};

// Cancellation of a CThread. It takes effect only in Deliver(), which the blocking functions of the
// platform (sleeps, waits, tool runs) call once they have undone what they were doing: there
// CCancelled is thrown, once. Whoever swallows it keeps the thread alive, with its later sleeps and
// waits undisturbed; its later tool runs start nothing and throw again. The system's own
// cancellation is disabled on a CThread and plays no part.
class VX_EXPORT CCancellation {
 public:
  // Whether somebody has asked to cancel the calling thread and it has not struck yet: false again
  // while the stack unwinds, so that what destructors do runs undisturbed. False on a thread that
  // is no CThread. [any thread]
  [[nodiscard]] static bool Requested() noexcept;

  // Whether a cancellation has struck the calling thread; true from then on. False on a thread that
  // is no CThread. [any thread]
  [[nodiscard]] static bool Struck() noexcept;

  // A descriptor that polls readable while Requested() is true; -1 on a thread that is no CThread.
  // Owned by the thread: do not read from it or close it.
  // [any thread]
  [[nodiscard]] static int WakeDescriptor() noexcept;

  // The one point where a requested cancellation strikes. Returns at once when none is requested.
  // Not from a destructor or anything else that must not throw. Throws CCancelled. [any thread]
  static void Deliver();

  // For what a cancelled thread must not begin any more, such as a tool run: throws CCancelled
  // again when Struck(), except while the stack unwinds, where it returns. [any thread]
  static void StrikeAgain();
};

// The one handler for everything, for places that nothing else may leave: the doors of a plug-in, a
// callback, one round of a worker. Runs the body. What it throws is reported in one text ("unknown
// exception" for what is no std::exception) and goes no further; a cancellation alone passes
// through, unreported. Returns whether the body came to its end. report takes a const char* that is
// valid during the call. [any thread]
template <class Body, class Report>
bool Guarded(Body&& body, Report&& report) {
  try {
    std::forward<Body>(body)();
    return true;
  } catch (const CCancelled&) {
    throw;
  } catch (const std::exception& error) {
    std::forward<Report>(report)(error.what());
  } catch (...) {
    std::forward<Report>(report)("unknown exception");
  }
  return false;
}

}  // namespace TLX::Threading
