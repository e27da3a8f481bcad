#include "Parker.h"
#include "ThreadState.h"

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <mutex>
#include <vector>

#include <TLX/Threading/Cancellation.h>
#include <TLX/Threading/FastMutex.h>

namespace TLX::Threading::Native_OS {
namespace {

// A thread's number, never given twice: the system's own ids return with new threads.
using CThreadNumber = std::uint64_t;
constexpr CThreadNumber NOBODY = 0;

CThreadNumber ThisThread() noexcept {
  static std::atomic<CThreadNumber> last = NOBODY;
  thread_local const CThreadNumber number = ++last;
  return number;
}

// One thread in the queue of a mutex, on its stack.
struct CQueued {
  const CThreadNumber m_Thread;
  Internals::CParker m_Parker;
  bool m_PassedOver = false;  // woken once and found the mutex taken again
  bool m_Granted = false;     // made the owner by the one before
};

enum class EOutcome { Acquired, TimedOut, Cancelled };

}  // namespace

// A release wakes the first in the queue and leaves the mutex free for whoever comes first, which
// is fast. A thread that was passed over that way is made the owner by the next release, so nobody
// starves.
struct CFastMutex::Impl final : Internals::CHeldLock {
  std::mutex m_Guard;  // of what follows
  bool m_Initialised = false;
  CThreadNumber m_Owner = NOBODY;
  unsigned int m_Depth = 0;
  std::vector<CQueued*> m_Queue;

  // These hold m_Guard.
  void Take(CThreadNumber thread) {
    m_Owner = thread;
    m_Depth = 1;
  }
  EOutcome WaitInQueue(std::unique_lock<std::mutex>& guard, Internals::CClockTime deadline);
  EOutcome WaitForTurn(std::unique_lock<std::mutex>& guard, CQueued& self,
                       Internals::CClockTime deadline);
  void GiveUp();

  void Release(CThreadNumber thread, bool whole);
  void ReleaseWhole() override { Release(ThisThread(), true); }
};

EOutcome CFastMutex::Impl::WaitInQueue(std::unique_lock<std::mutex>& guard,
                                       Internals::CClockTime deadline) {
  CQueued self{.m_Thread = ThisThread(), .m_Parker = {}};
  m_Queue.push_back(&self);
  const EOutcome outcome = WaitForTurn(guard, self, deadline);
  std::erase(m_Queue, &self);
  return outcome;
}

EOutcome CFastMutex::Impl::WaitForTurn(std::unique_lock<std::mutex>& guard, CQueued& self,
                                       Internals::CClockTime deadline) {
  for (;;) {
    if (self.m_Granted) return EOutcome::Acquired;
    if (m_Owner == NOBODY) {
      Take(self.m_Thread);
      return EOutcome::Acquired;
    }
    if (Internals::CancellationPending()) return EOutcome::Cancelled;
    if (Internals::ClockNow() >= deadline) return EOutcome::TimedOut;
    guard.unlock();
    self.m_Parker.Park(deadline);
    guard.lock();
    self.m_PassedOver = true;
  }
}

void CFastMutex::Impl::GiveUp() {
  m_Owner = NOBODY;
  m_Depth = 0;
  if (m_Queue.empty()) return;
  CQueued& first = *m_Queue.front();
  if (first.m_PassedOver) {
    Take(first.m_Thread);
    first.m_Granted = true;
    m_Queue.erase(m_Queue.begin());
  }
  first.m_Parker.Unpark();
}

void CFastMutex::Impl::Release(CThreadNumber thread, bool whole) {
  const std::lock_guard guard(m_Guard);
  if (m_Owner != thread) return;
  if (!whole && --m_Depth > 0) return;
  if (Internals::CThreadState* const state = Internals::CThreadState::Current())
    state->RemoveHeld(*this);
  GiveUp();
}

CFastMutex::CFastMutex() : m_Impl(std::make_unique<Impl>()) {}

// A thread that takes its own mutex away holds it no longer.
CFastMutex::~CFastMutex() {
  m_Impl->ReleaseWhole();
}

unsigned int CFastMutex::Init() {
  const std::lock_guard guard(m_Impl->m_Guard);
  m_Impl->m_Initialised = true;
  return WAIT_ACQUIRED;
}

unsigned int CFastMutex::Wait(unsigned int milliseconds) {
  const Internals::CClockTime deadline = Internals::WaitDeadline(milliseconds);
  for (;;) {
    std::unique_lock guard(m_Impl->m_Guard);
    if (!m_Impl->m_Initialised) return WAIT_FAILED;
    if (m_Impl->m_Owner == ThisThread()) {
      ++m_Impl->m_Depth;
      return WAIT_ACQUIRED;
    }
    EOutcome outcome = EOutcome::Acquired;
    if (m_Impl->m_Owner == NOBODY) {
      m_Impl->Take(ThisThread());
    } else {
      outcome = m_Impl->WaitInQueue(guard, deadline);
    }
    guard.unlock();
    if (outcome == EOutcome::TimedOut) return WAIT_TIMED_OUT;
    if (outcome == EOutcome::Acquired) {
      if (Internals::CThreadState* const state = Internals::CThreadState::Current())
        state->AddHeld(*m_Impl);
      return WAIT_ACQUIRED;
    }
    CCancellation::Deliver();
  }
}

void CFastMutex::Release() {
  m_Impl->Release(ThisThread(), false);
}

}  // namespace TLX::Threading::Native_OS
