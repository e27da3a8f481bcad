#include "Parker.h"

#include "ThreadState.h"

#include <pthread.h>

namespace TLX::Internals {
namespace {

// All parkers of the process, for changes of the time scale. Constant-initialised and trivially
// destructible: usable from the first to the last static object.
std::mutex g_ListLock;
CParker* g_First = nullptr;

// A thread that the host cancels by its own means is not torn out of a wait half registered.
class CCancelDisabled {
 public:
  CCancelDisabled() { pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &m_Before); }
  ~CCancelDisabled() { pthread_setcancelstate(m_Before, nullptr); }
  CCancelDisabled(const CCancelDisabled&) = delete;
  CCancelDisabled& operator=(const CCancelDisabled&) = delete;

 private:
  int m_Before = 0;
};

}  // namespace

CParker::CParker() {
  {
    const std::lock_guard lock(g_ListLock);
    m_Next = g_First;
    if (m_Next != nullptr) m_Next->m_Previous = this;
    g_First = this;
  }
  if (CThreadState* const thread = CThreadState::Current()) thread->SetParker(this);
}

CParker::~CParker() {
  if (CThreadState* const thread = CThreadState::Current()) thread->SetParker(nullptr);
  const std::lock_guard lock(g_ListLock);
  (m_Previous != nullptr ? m_Previous->m_Next : g_First) = m_Next;
  if (m_Next != nullptr) m_Next->m_Previous = m_Previous;
}

void CParker::Park(CClockTime deadline) {
  // A change of the scale after this line finds the parker in the list and ends the sleep.
  const auto real = RealTimeOf(deadline);
  const CCancelDisabled undisturbed;
  std::unique_lock lock(m_Lock);
  const auto woken = [this] { return m_Woken; };
  if (deadline == NEVER) {
    m_Wake.wait(lock, woken);
  } else {
    m_Wake.wait_until(lock, real, woken);
  }
  m_Woken = false;
}

void CParker::Unpark() {
  // Notified under the lock: the parker may be gone as soon as its thread can go on.
  const std::lock_guard lock(m_Lock);
  m_Woken = true;
  m_Wake.notify_one();
}

void CParker::UnparkAll() {
  const std::lock_guard lock(g_ListLock);
  for (CParker* parker = g_First; parker != nullptr; parker = parker->m_Next) parker->Unpark();
}

}  // namespace TLX::Internals
