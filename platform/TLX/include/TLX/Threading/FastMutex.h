#pragma once

#include <memory>

#include <TLX/Export.h>
#include <TLX/Threading/Annotations.h>
#include <TLX/Threading/Results.h>

namespace TLX::Threading::Native_OS {

// A mutex with time-out, recursive for the thread that owns it: a thread that waits twice releases
// twice. Unusable until Init has been called, so that it may be a member of an object whose users
// are told later.
//
// What a CThread still owns when its body ends, in whatever way, is released for it, as often as it
// was taken; any other thread must release what it took before it ends. Throws nothing but a
// cancellation, and std::bad_alloc from the constructor.
class VX_CAPABILITY("mutex") VX_EXPORT CFastMutex {
 public:
  CFastMutex();
  ~CFastMutex();  // nobody may wait for or own the mutex any more
  CFastMutex(const CFastMutex&) = delete;
  CFastMutex& operator=(const CFastMutex&) = delete;

  // Makes the mutex usable. Returns WAIT_ACQUIRED (1), also when it already was usable; a mutex
  // that is owned stays owned. [any thread]
  unsigned int Init();

  // Waits up to the given milliseconds (scaled by the clock's time scale; WAIT_INFINITE: for ever).
  // Returns WAIT_ACQUIRED, WAIT_TIMED_OUT, or WAIT_FAILED when never initialised. Delivers a
  // pending cancellation of the calling thread while it waits, never when the mutex is free.
  // Nobody starves: a thread that was woken but came too late is given the mutex by the next
  // release. clang's analysis of locking follows the result only where it is compared with the
  // literal 1, "Wait(..) == 1" or "!= 1", directly or through a local variable; a comparison with
  // WAIT_ACQUIRED counts as not locked. [any thread]
  [[nodiscard]] unsigned int Wait(unsigned int milliseconds) VX_TRY_ACQUIRE(true);

  // Gives up one Wait; with the last one the mutex is free for whoever comes first, and the thread
  // that waits longest is woken. Does nothing unless the calling thread owns the mutex. [any
  // thread]
  void Release() VX_RELEASE();

 private:
  struct VX_HIDDEN Impl;
  std::unique_ptr<Impl> m_Impl;
};

// Owns a mutex for a scope, waiting without end. Releases only what it got: when the wait failed
// the scope runs without the lock, and Result() says so. Left by an exception or a cancellation it
// releases as at its end. A cancellation that strikes in the wait leaves no guard behind. The mutex
// must outlive it. [its own thread]
class VX_SCOPED_CAPABILITY CFastMutexGuard {
 public:
  explicit CFastMutexGuard(CFastMutex& mutex) VX_ACQUIRE(mutex) VX_NO_THREAD_SAFETY_ANALYSIS
      : m_Mutex(mutex),
        m_Result(mutex.Wait(WAIT_INFINITE)) {}
  ~CFastMutexGuard() VX_RELEASE() VX_NO_THREAD_SAFETY_ANALYSIS {
    if (m_Result == WAIT_ACQUIRED) m_Mutex.Release();
  }
  CFastMutexGuard(const CFastMutexGuard&) = delete;
  CFastMutexGuard& operator=(const CFastMutexGuard&) = delete;

  // WAIT_ACQUIRED (1), or WAIT_FAILED for a mutex that was never initialised.
  [[nodiscard]] unsigned int Result() const { return m_Result; }

 private:
  CFastMutex& m_Mutex;
  unsigned int m_Result;
};

}  // namespace TLX::Threading::Native_OS
