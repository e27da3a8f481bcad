#pragma once

#include <chrono>
#include <span>
#include <vector>

#include <TLX/Export.h>
#include <TLX/Threading/Event.h>

namespace TLX::Threading {

// Waits for several events at once. Owns none of them: the events must outlive the waiter. Several
// waiters may wait for one event; an auto-reset event is reported by one of them. Waiting costs
// nothing while nothing happens: no polling. [one thread at a time]
class VX_EXPORT CWaiter {
 public:
  // Adds an event behind those already there; its number is its place, from 1. The same event may
  // be there twice and is then found at its first place. Throws for lack of memory only.
  void Add(CEvent& event);

  // Throws for lack of memory and the cancellation alone.
  //
  // Waits up to the given milliseconds (scaled by the clock's time scale; WAIT_INFINITE: for ever).
  // waitForAll false: returns the number of the first event in order that is set, and clears only
  // that one if it is auto-reset. waitForAll true: returns 1 once all are set, and clears the
  // auto-reset ones together. WAIT_TIMED_OUT when the time runs out, WAIT_FAILED when there is no
  // event or one of them was never initialised. Delivers a pending cancellation of the calling
  // thread, and then clears nothing. [one thread at a time]
  [[nodiscard]] unsigned int Wait(unsigned int milliseconds, bool waitForAll);

 private:
  friend class CEvent;
  class VX_HIDDEN CRegistration;
  VX_HIDDEN static unsigned int WaitFor(std::span<CEvent* const> events, unsigned int milliseconds,
                                        bool waitForAll);
  VX_HIDDEN static unsigned int WaitOnce(std::span<CEvent* const> events,
                                         std::chrono::microseconds deadline, bool waitForAll);
  VX_HIDDEN static unsigned int TakeFirst(std::span<CEvent* const> events);
  VX_HIDDEN static unsigned int TakeAll(std::span<CEvent* const> events);

  std::vector<CEvent*> m_Events;
};

}  // namespace TLX::Threading
