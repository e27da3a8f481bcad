#pragma once

#include "ClockTime.h"

#include <condition_variable>
#include <mutex>

namespace TLX::Internals {

// A blocked thread of the library sleeps on one of these for the length of one wait; on its stack.
// Whoever has something for it calls Unpark: the thing waited for, a cancellation, a change of the
// time scale. A wake-up says only "look again", so the thread tests its conditions around Park.
class CParker {
 public:
  CParker();
  ~CParker();
  CParker(const CParker&) = delete;
  CParker& operator=(const CParker&) = delete;

  // Sleeps until Unpark or the deadline, returns at once after an Unpark since the last Park. May
  // return early. [its own thread]
  void Park(CClockTime deadline);

  // Only while the parker surely exists. [any thread]
  void Unpark();

  // Wakes everybody in the process who sleeps on a parker. [any thread]
  static void UnparkAll();

 private:
  std::mutex m_Lock;
  std::condition_variable m_Wake;
  bool m_Woken = false;
  // Links of the list of all parkers.
  CParker* m_Previous = nullptr;
  CParker* m_Next = nullptr;
};

}  // namespace TLX::Internals
