#include "Parker.h"
#include "ThreadState.h"

#include <algorithm>
#include <array>
#include <mutex>

#include <TLX/Threading/Cancellation.h>
#include <TLX/Threading/Event.h>
#include <TLX/Threading/Waiter.h>

namespace TLX::Threading {
namespace {

// Guards the state of every event. One lock for all makes "all of them at once" simple, and events
// are few. Constant-initialised and trivially destructible.
std::mutex g_EventLock;

// Internal result of one attempt to wait.
constexpr unsigned int CANCELLED = 0xFFFF'FFFE;

}  // namespace

// Every member is guarded by g_EventLock.
struct CEvent::Impl {
  bool m_Initialised = false;
  bool m_Set = false;
  bool m_ManualReset = false;
  std::vector<Internals::CParker*> m_Waiting;

  void WakeAll() const {
    for (Internals::CParker* const parker : m_Waiting) parker->Unpark();
  }
  void Consume() { m_Set = m_ManualReset; }
};

CEvent::CEvent() : m_Impl(std::make_unique<Impl>()) {}
CEvent::~CEvent() = default;

unsigned int CEvent::Init(bool initialState, bool manualReset) {
  const std::lock_guard lock(g_EventLock);
  m_Impl->m_Initialised = true;
  m_Impl->m_ManualReset = manualReset;
  m_Impl->m_Set = initialState;
  if (initialState) m_Impl->WakeAll();
  return WAIT_ACQUIRED;
}

void CEvent::Set() {
  const std::lock_guard lock(g_EventLock);
  if (!m_Impl->m_Initialised) return;
  m_Impl->m_Set = true;
  m_Impl->WakeAll();
}

void CEvent::Reset() {
  const std::lock_guard lock(g_EventLock);
  m_Impl->m_Set = false;
}

unsigned int CEvent::Wait(unsigned int milliseconds) {
  const std::array<CEvent*, 1> events = {this};
  return CWaiter::WaitFor(events, milliseconds, false);
}

// Enters a waiting thread with its events for the length of a wait. Both ends hold g_EventLock.
class CWaiter::CRegistration {
 public:
  CRegistration(std::span<CEvent* const> events, Internals::CParker& parker)
      : m_Events(events), m_Parker(parker) {
    for (CEvent* const event : m_Events) event->m_Impl->m_Waiting.push_back(&m_Parker);
  }
  ~CRegistration() {
    for (CEvent* const event : m_Events) std::erase(event->m_Impl->m_Waiting, &m_Parker);
  }
  CRegistration(const CRegistration&) = delete;
  CRegistration& operator=(const CRegistration&) = delete;

 private:
  const std::span<CEvent* const> m_Events;
  Internals::CParker& m_Parker;
};

void CWaiter::Add(CEvent& event) {
  m_Events.push_back(&event);
}

unsigned int CWaiter::Wait(unsigned int milliseconds, bool waitForAll) {
  return WaitFor(m_Events, milliseconds, waitForAll);
}

unsigned int CWaiter::WaitFor(std::span<CEvent* const> events, unsigned int milliseconds,
                              bool waitForAll) {
  const Internals::CClockTime deadline = Internals::WaitDeadline(milliseconds);
  for (;;) {
    const unsigned int result = WaitOnce(events, deadline, waitForAll);
    if (result != CANCELLED) return result;
    CCancellation::Deliver();
  }
}

unsigned int CWaiter::WaitOnce(std::span<CEvent* const> events, Internals::CClockTime deadline,
                               bool waitForAll) {
  Internals::CParker parker;
  std::unique_lock lock(g_EventLock);
  const auto usable = [](const CEvent* event) { return event->m_Impl->m_Initialised; };
  if (events.empty() || !std::ranges::all_of(events, usable)) return WAIT_FAILED;
  const CRegistration registration(events, parker);
  for (;;) {
    // Before the events: a wait that is cancelled consumes none.
    if (Internals::CancellationPending()) return CANCELLED;
    const unsigned int result = waitForAll ? TakeAll(events) : TakeFirst(events);
    if (result != WAIT_FAILED) return result;
    if (Internals::ClockNow() >= deadline) return WAIT_TIMED_OUT;
    lock.unlock();
    parker.Park(deadline);
    lock.lock();
  }
}

unsigned int CWaiter::TakeFirst(std::span<CEvent* const> events) {
  for (std::size_t place = 0; place < events.size(); ++place) {
    CEvent::Impl& event = *events[place]->m_Impl;
    if (!event.m_Set) continue;
    event.Consume();
    return static_cast<unsigned int>(place + 1);
  }
  return WAIT_FAILED;
}

unsigned int CWaiter::TakeAll(std::span<CEvent* const> events) {
  const auto set = [](const CEvent* event) { return event->m_Impl->m_Set; };
  if (!std::ranges::all_of(events, set)) return WAIT_FAILED;
  for (CEvent* const event : events) event->m_Impl->Consume();
  return WAIT_ACQUIRED;
}

}  // namespace TLX::Threading
