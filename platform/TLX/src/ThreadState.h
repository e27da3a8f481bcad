#pragma once

#include <atomic>
#include <mutex>

namespace TLX::Internals {

class CParker;

// A lock that a CThread holds, as its thread sees it: a link in the list of those it holds. Only
// the owning thread touches the link.
class CHeldLock {
 public:
  // Gives the lock up, however often it was taken. [its own thread]
  virtual void ReleaseWhole() = 0;

 protected:
  ~CHeldLock() = default;

 private:
  friend class CThreadState;
  CHeldLock* m_NextHeld = nullptr;
};

// What the waits and locks of the library need to know about the CThread that they run on.
class CThreadState {
 public:
  CThreadState();
  ~CThreadState();
  CThreadState(const CThreadState&) = delete;
  CThreadState& operator=(const CThreadState&) = delete;

  // The state of the calling thread, null when it is no CThread.
  static CThreadState* Current() noexcept;
  static void SetCurrent(CThreadState* state) noexcept;

  // Polls readable while a cancellation is pending; -1 when the system gave none.
  int WakeDescriptor() const noexcept { return m_WakeDescriptor; }

  // Asks for cancellation and wakes the thread from whatever it waits in. [any thread]
  void RequestCancellation();

  // From here on: [its own thread]

  // Whether a cancellation waits to be delivered: asked for, not yet delivered, not held back.
  bool CancellationPending() const noexcept {
    return !m_Delivered && m_HeldBack == 0 && m_Requested.load(std::memory_order_acquire);
  }
  bool IsStruck() const noexcept { return m_Delivered; }
  // Both throw CCancelled: when a cancellation is pending; when one has struck and the stack does
  // not unwind.
  void DeliverCancellation();
  void StrikeAgain() const;
  void HoldBack() noexcept { ++m_HeldBack; }
  void LetThrough() noexcept { --m_HeldBack; }

  void SetParker(CParker* parker);

  void AddHeld(CHeldLock& lock) noexcept;
  void RemoveHeld(CHeldLock& lock) noexcept;
  void ReleaseAllHeld();

 private:
  int m_WakeDescriptor;
  std::atomic<bool> m_Requested = false;
  std::mutex m_Lock;  // guards m_Parker; held while a request is made
  CParker* m_Parker = nullptr;
  bool m_Delivered = false;
  unsigned int m_HeldBack = 0;
  CHeldLock* m_FirstHeld = nullptr;
};

// Whether a cancellation of the calling thread waits to be delivered.
bool CancellationPending() noexcept;

// Holds cancellation of the calling thread back for a scope that it must not strike in.
class CNoCancellation {
 public:
  CNoCancellation() noexcept;
  ~CNoCancellation();
  CNoCancellation(const CNoCancellation&) = delete;
  CNoCancellation& operator=(const CNoCancellation&) = delete;

 private:
  CThreadState* const m_State;
};

}  // namespace TLX::Internals
