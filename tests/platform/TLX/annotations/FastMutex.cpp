// Compiled by clang only, without running: one case at a time is refused, the rest is the control.
#include <TLX/Threading/FastMutex.h>

using TLX::Threading::WAIT_INFINITE;
using TLX::Threading::Native_OS::CFastMutex;
using TLX::Threading::Native_OS::CFastMutexGuard;

class CGuarded {
 public:
  void ByHand() {
    if (m_Lock.Wait(WAIT_INFINITE) == 1) {
      m_Value = 1;
      m_Lock.Release();
    }
  }

  void EarlyReturn() {
    if (m_Lock.Wait(WAIT_INFINITE) != 1) return;
    m_Value = 1;
    m_Lock.Release();
  }

  void ThroughVariable() {
    const unsigned int result = m_Lock.Wait(WAIT_INFINITE);
    if (result == 1) {
      m_Value = 1;
      m_Lock.Release();
    }
  }

  void ByGuard() {
    const CFastMutexGuard guard(m_Lock);
    m_Value = 1;
    CallLocked();
  }

#ifdef WITHOUT_LOCK
  void WithoutLock() {
    m_Value = 1;
  }
#endif
#ifdef AFTER_FAILED_WAIT
  void AfterFailedWait() {
    if (m_Lock.Wait(0) == 1) {
      m_Lock.Release();
    } else {
      m_Value = 1;
    }
  }
#endif
#ifdef AFTER_GUARD
  void AfterGuard() {
    { const CFastMutexGuard guard(m_Lock); }
    m_Value = 1;
  }
#endif
#ifdef NEVER_RELEASED
  void NeverReleased() {
    if (m_Lock.Wait(0) == 1) m_Value = 1;
  }
#endif
#ifdef RELEASED_TWICE
  void ReleasedTwice() {
    if (m_Lock.Wait(0) != 1) return;
    m_Lock.Release();
    m_Lock.Release();
  }
#endif
#ifdef CALLED_WITHOUT_LOCK
  void CalledWithoutLock() {
    CallLocked();
  }
#endif

 private:
  void CallLocked() VX_REQUIRES(m_Lock) {
    m_Value = 2;
  }

  CFastMutex m_Lock;
  int m_Value VX_GUARDED_BY(m_Lock) = 0;
};
