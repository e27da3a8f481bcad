#include "Module.h"
#include "Parker.h"
#include "ThreadState.h"

#include <condition_variable>
#include <cstdint>
#include <cstdio>
#include <exception>
#include <utility>

#include <pthread.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <TLX/Threading/Cancellation.h>
#include <TLX/Threading/Event.h>
#include <TLX/Threading/Thread.h>

namespace TLX::Internals {
namespace {

thread_local CThreadState* t_Current = nullptr;

}  // namespace

CThreadState::CThreadState() : m_WakeDescriptor(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {}

CThreadState::~CThreadState() {
  if (m_WakeDescriptor >= 0) close(m_WakeDescriptor);
}

CThreadState* CThreadState::Current() noexcept {
  return t_Current;
}
void CThreadState::SetCurrent(CThreadState* state) noexcept {
  t_Current = state;
}

void CThreadState::RequestCancellation() {
  const std::lock_guard lock(m_Lock);
  if (m_Requested.exchange(true, std::memory_order_acq_rel)) return;
  // Cannot fail: the counter is far from its end.
  static_cast<void>(eventfd_write(m_WakeDescriptor, 1));
  if (m_Parker != nullptr) m_Parker->Unpark();
}

void CThreadState::DeliverCancellation() {
  if (!CancellationPending()) return;
  // What runs while the stack unwinds waits and polls undisturbed.
  m_Delivered = true;
  {
    // Whoever asked has written to the descriptor when the lock is free.
    const std::lock_guard lock(m_Lock);
    eventfd_t value = 0;
    static_cast<void>(eventfd_read(m_WakeDescriptor, &value));
  }
  throw Threading::CCancelled();
}

void CThreadState::StrikeAgain() const {
  if (m_Delivered && std::uncaught_exceptions() == 0) throw Threading::CCancelled();
}

void CThreadState::SetParker(CParker* parker) {
  const std::lock_guard lock(m_Lock);
  m_Parker = parker;
}

void CThreadState::AddHeld(CHeldLock& lock) noexcept {
  lock.m_NextHeld = m_FirstHeld;
  m_FirstHeld = &lock;
}

void CThreadState::RemoveHeld(CHeldLock& lock) noexcept {
  CHeldLock** link = &m_FirstHeld;
  while (*link != nullptr && *link != &lock) link = &(*link)->m_NextHeld;
  if (*link != nullptr) *link = lock.m_NextHeld;
}

void CThreadState::ReleaseAllHeld() {
  while (m_FirstHeld != nullptr) m_FirstHeld->ReleaseWhole();
}

bool CancellationPending() noexcept {
  return t_Current != nullptr && t_Current->CancellationPending();
}

CNoCancellation::CNoCancellation() noexcept : m_State(t_Current) {
  if (m_State != nullptr) m_State->HoldBack();
}

CNoCancellation::~CNoCancellation() {
  if (m_State != nullptr) m_State->LetThrough();
}

}  // namespace TLX::Internals

namespace TLX::Threading {
namespace Native_OS {

// Shared by the CThread and the running thread, so that either may go first.
struct CNativeThread::Impl {
  explicit Impl(const CThread::CBody& body) : m_Body(body) { m_EndedEvent.Init(false, true); }

  const CThread::CBody m_Body;
  Internals::CThreadState m_State;
  CEvent m_EndedEvent;  // for waits in the clock's time
  std::mutex m_Lock;    // guards m_Ended
  std::condition_variable m_EndedChanged;
  bool m_Ended = false;
  // Written by the constructor of CThread only.
  bool m_HasHandle = false;
  pthread_t m_Handle{};
};

}  // namespace Native_OS

namespace {

using CThreadImpl = Native_OS::CNativeThread::Impl;

// The thread's own end of its life: its destructor runs after the last frame of the body has gone,
// whichever way.
class CBodyScope {
 public:
  explicit CBodyScope(CThreadImpl& impl) : m_Impl(impl) {
    Internals::CThreadState::SetCurrent(&impl.m_State);
  }
  ~CBodyScope() {
    m_Impl.m_State.ReleaseAllHeld();
    Internals::CThreadState::SetCurrent(nullptr);
    // At once for the destructor of CThread: whoever has seen the event finds an ended thread.
    const std::lock_guard lock(m_Impl.m_Lock);
    m_Impl.m_EndedEvent.Set();
    m_Impl.m_Ended = true;
    m_Impl.m_EndedChanged.notify_all();
  }
  CBodyScope(const CBodyScope&) = delete;
  CBodyScope& operator=(const CBodyScope&) = delete;

 private:
  CThreadImpl& m_Impl;
};

void ReportEscaped(const char* reason) {
  std::fprintf(stderr, "vxTLX: a thread has ended by an exception that left its body: %s\n",
               reason);
  Internals::TraceOwn(Misc::TRACE_STEPS, "RunBody", "thread ended by exception: %s", reason);
}

void RunBody(const CThreadImpl& impl) {
  try {
    impl.m_Body();
  } catch (const CCancelled&) {  // NOLINT(bugprone-empty-catch): it has arrived
  } catch (const std::exception& error) {
    ReportEscaped(error.what());
  } catch (...) {
    ReportEscaped("not a std::exception");
  }
}

extern "C" void* RunThread(void* argument) {
  pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, nullptr);
  using CImplPointer = std::shared_ptr<CThreadImpl>;
  const std::unique_ptr<CImplPointer> impl(static_cast<CImplPointer*>(argument));
  const CBodyScope scope(**impl);
  RunBody(**impl);
  return nullptr;
}

}  // namespace

namespace Native_OS {

CNativeThread::CNativeThread(std::shared_ptr<Impl> impl) : m_Impl(std::move(impl)) {}
CNativeThread::~CNativeThread() = default;

bool CNativeThread::HasHandle() const noexcept {
  return m_Impl->m_HasHandle;
}

bool CNativeThread::Cancel() {
  constexpr std::chrono::seconds LONGEST_END(5);
  if (!m_Impl->m_HasHandle) return true;
  m_Impl->m_State.RequestCancellation();
  if (Internals::CThreadState::Current() == &m_Impl->m_State) return false;
  std::unique_lock lock(m_Impl->m_Lock);
  return m_Impl->m_EndedChanged.wait_for(lock, LONGEST_END, [this] { return m_Impl->m_Ended; });
}

}  // namespace Native_OS

CThread::CThread(const CBody& body, unsigned int /*creationFlags*/)
    : m_Impl(std::make_shared<CThreadImpl>(body)), m_Native(m_Impl) {
  if (!body || m_Impl->m_State.WakeDescriptor() < 0) return;
  auto shared = std::make_unique<std::shared_ptr<CThreadImpl>>(m_Impl);
  m_Impl->m_HasHandle = pthread_create(&m_Impl->m_Handle, nullptr, RunThread, shared.get()) == 0;
  if (m_Impl->m_HasHandle) static_cast<void>(shared.release());
}

CThread::~CThread() {
  if (!m_Impl->m_HasHandle) return;
  bool ended = false;
  {
    const std::lock_guard lock(m_Impl->m_Lock);
    ended = m_Impl->m_Ended;
  }
  if (ended) {
    pthread_join(m_Impl->m_Handle, nullptr);
  } else {
    pthread_detach(m_Impl->m_Handle);
  }
}

unsigned int CThread::Wait(unsigned int milliseconds) {
  return m_Impl->m_HasHandle ? m_Impl->m_EndedEvent.Wait(milliseconds) : WAIT_FAILED;
}

Native_OS::CNativeThread& CThread::Native() noexcept {
  return m_Native;
}

CCancelled::CCancelled() noexcept = default;
CCancelled::~CCancelled() = default;

bool CCancellation::Requested() noexcept {
  return Internals::CancellationPending();
}

bool CCancellation::Struck() noexcept {
  const Internals::CThreadState* const state = Internals::CThreadState::Current();
  return state != nullptr && state->IsStruck();
}

int CCancellation::WakeDescriptor() noexcept {
  const Internals::CThreadState* const state = Internals::CThreadState::Current();
  return state != nullptr ? state->WakeDescriptor() : -1;
}

void CCancellation::Deliver() {
  if (Internals::CThreadState* const state = Internals::CThreadState::Current())
    state->DeliverCancellation();
}

void CCancellation::StrikeAgain() {
  if (const Internals::CThreadState* const state = Internals::CThreadState::Current())
    state->StrikeAgain();
}

}  // namespace TLX::Threading
