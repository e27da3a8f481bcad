#pragma once

#include <TLX/Misc/Tracer.h>
#include <TLX/Threading/Annotations.h>
#include <TLX/Threading/FastMutex.h>

namespace TLX::Threading {

// CFastMutexGuard with a line on both sides of its wait, "Before NAME.Wait (sg)" and "After
// NAME.Wait (sg)", at TRACE_LOCKS. People who look for a hang compare the two: who still waits has
// the first line alone. The release is not traced.
//
// When the wait failed the scope runs without the lock, and Result() says so; whoever must not go
// on without it asks. Left by an exception it releases without a word, as at its end. Delivers a
// pending cancellation of the calling thread as the wait does; the second line is missing then, and
// nothing is held. For scopes that release the mutex at their end and nowhere else; whoever
// releases it earlier writes its own lines. [its own thread]
class VX_SCOPED_CAPABILITY CTracedGuard {
 public:
  // Waits for ever. name: as the lines call the mutex. Tracer and text need not outlive the
  // constructor, the mutex must outlive the guard. line: of the source, for the trace.
  CTracedGuard(const Misc::CTracer& trace, Native_OS::CFastMutex& mutex, const char* name,
               unsigned int line = __builtin_LINE()) VX_ACQUIRE(mutex) VX_NO_THREAD_SAFETY_ANALYSIS
      : m_Mutex(mutex) {
    trace.Locks({"Before %s.Wait (sg)", line}, name);
    m_Result = m_Mutex.Wait(WAIT_INFINITE);
    trace.Locks({"After %s.Wait (sg)", line}, name);
  }
  // Releases what the wait has acquired, once; a failed wait left nothing to release. Does not
  // throw.
  ~CTracedGuard() VX_RELEASE() VX_NO_THREAD_SAFETY_ANALYSIS {
    if (m_Result == WAIT_ACQUIRED) m_Mutex.Release();
  }
  // Stands for its scope: a copy would release twice.
  CTracedGuard(const CTracedGuard&) = delete;
  CTracedGuard& operator=(const CTracedGuard&) = delete;

  // How the wait went, as CFastMutex::Wait says it: WAIT_ACQUIRED (1), or WAIT_FAILED for a mutex
  // that was never initialised.
  [[nodiscard]] unsigned int Result() const noexcept { return m_Result; }

 private:
  // Not owned. The result is that of the constructor's wait, and stays.
  Native_OS::CFastMutex& m_Mutex;
  unsigned int m_Result = WAIT_FAILED;
};

}  // namespace TLX::Threading
