#pragma once

#include "Core/Trace.h"

#include <TLX/Threading/Annotations.h>
#include <TLX/Threading/FastMutex.h>

namespace NAMESPACE_piTorvex {

// A lock that is waited for and released by hand, with a trace line on both sides of each. When the
// scope is left by an exception or a cancellation it releases without a word. Belongs to the thread
// that made it.
class VX_SCOPED_CAPABILITY CTracedLock {
 public:
  // name: as the lines call it. releaseFormat: how the lines of the function name a release.
  CTracedLock(TLX::Threading::Native_OS::CFastMutex& mutex, const char* name, const CTracer& trace,
              const char* releaseCall) VX_ACQUIRE(mutex) VX_NO_THREAD_SAFETY_ANALYSIS
      : m_Mutex(mutex),
        m_Name(name),
        m_Trace(trace),
        m_ReleaseCall(releaseCall) {
    m_Trace.Locks("Before %s.Wait(INFINITE)", m_Name);
    m_IsOwned = m_Mutex.Wait(TLX::Threading::WAIT_INFINITE) == TLX::Threading::WAIT_ACQUIRED;
    m_Trace.Locks("After %s.Wait(INFINITE)", m_Name);
  }
  ~CTracedLock() VX_RELEASE() VX_NO_THREAD_SAFETY_ANALYSIS {
    if (m_IsOwned) m_Mutex.Release();
  }
  CTracedLock(const CTracedLock&) = delete;
  CTracedLock& operator=(const CTracedLock&) = delete;

  bool IsOwned() const { return m_IsOwned; }

  void Release() VX_RELEASE() VX_NO_THREAD_SAFETY_ANALYSIS {
    m_Trace.Locks("Before %s.%s", m_Name, m_ReleaseCall);
    m_IsOwned = false;
    m_Mutex.Release();
    m_Trace.Locks("After %s.%s", m_Name, m_ReleaseCall);
  }

 private:
  TLX::Threading::Native_OS::CFastMutex& m_Mutex;
  const char* const m_Name;
  const CTracer m_Trace;
  const char* const m_ReleaseCall;
  bool m_IsOwned = false;
};
}  // namespace NAMESPACE_piTorvex
