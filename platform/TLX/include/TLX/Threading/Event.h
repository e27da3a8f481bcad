#pragma once

#include <memory>

#include <TLX/Export.h>
#include <TLX/Threading/Results.h>

namespace TLX::Threading {

class CWaiter;

// A flag that threads wait for. Auto-reset: the one wait that reports it clears it. Manual-reset:
// it stays set until Reset. It is a flag, not a counter: setting it twice is setting it once, and
// a Reset that follows a Set at once may hide it from those who wait. Unusable until Init has been
// called.
//
// Who waits and who sets needs no lock in common; what was written before Set is seen behind the
// wait that reports it.
class VX_EXPORT CEvent {
 public:
  CEvent();
  ~CEvent();  // nobody may wait for the event any more
  CEvent(const CEvent&) = delete;
  CEvent& operator=(const CEvent&) = delete;

  // Makes the event usable in the given state. Repeatable: an event in use goes back to that state.
  // Returns WAIT_ACQUIRED (1). [any thread]
  unsigned int Init(bool initialState, bool manualReset);

  // Set wakes who waits: all of them at a manual-reset event, one at an auto-reset event. Neither
  // does anything before Init. [any thread]
  void Set();
  void Reset();

  // As CWaiter::Wait with this event alone: WAIT_ACQUIRED (1), WAIT_TIMED_OUT or WAIT_FAILED. [any
  // thread]
  [[nodiscard]] unsigned int Wait(unsigned int milliseconds);

 private:
  friend class CWaiter;
  struct VX_HIDDEN Impl;
  std::unique_ptr<Impl> m_Impl;
};

}  // namespace TLX::Threading
