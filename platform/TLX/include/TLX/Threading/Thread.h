#pragma once

#include <memory>

#include <TLX/Delegates_and_Calls/Delegate.h>
#include <TLX/Export.h>
#include <TLX/Threading/Results.h>

namespace TLX::Threading {

namespace Native_OS {
// The operating system's side of a thread. Belongs to its CThread and lives as long; what it knows
// of the running thread it shares with it, so that either may end first.
class VX_EXPORT CNativeThread {
 public:
  struct VX_HIDDEN Impl;
  explicit CNativeThread(std::shared_ptr<Impl> impl);
  ~CNativeThread();

  // Whether a thread of the system was started.
  [[nodiscard]] bool HasHandle() const noexcept;

  // Asks the thread to end: sets the flag, wakes the sleep, wait or tool run it is in, and waits
  // for the end, 5 s of real time at most. Returns whether it has ended; true when none was
  // started. Repeatable. From the thread itself it only sets the flag and returns false. [any
  // thread]
  [[nodiscard]] bool Cancel();

 private:
  std::shared_ptr<Impl> m_Impl;
};
}  // namespace Native_OS

// One thread. Starts in the constructor. What its body still holds of CFastMutex when it ends, by
// return, exception or cancellation, is released for it. An exception that leaves the body ends the
// thread and nothing else: it is reported in one line on standard error and in the library's trace,
// and waits for the thread see an ordinary end.
class VX_EXPORT CThread {
 public:
  // What the thread runs, once.
  using CBody = Delegates_and_Calls::CDelegate<void()>;

  // creationFlags: 0, start at once. A thread that the system refuses has no native handle, and so
  // has one with a body that is not bound. The target of the body must live until the thread has
  // ended; the CThread itself need not. Signal mask and scheduling are the creating thread's.
  CThread(const CBody& body, unsigned int creationFlags);

  // Joins a thread that has ended, detaches one that runs.
  ~CThread();
  CThread(const CThread&) = delete;
  CThread& operator=(const CThread&) = delete;

  // WAIT_ACQUIRED once the body has ended, WAIT_TIMED_OUT while it runs, WAIT_FAILED when no thread
  // was started. Repeatable. Milliseconds are scaled by the clock's time scale. Delivers a pending
  // cancellation of the calling thread. [any thread]
  [[nodiscard]] unsigned int Wait(unsigned int milliseconds);

  // For cancelling the thread. [any thread]
  Native_OS::CNativeThread& Native() noexcept;

 private:
  std::shared_ptr<Native_OS::CNativeThread::Impl> m_Impl;
  Native_OS::CNativeThread m_Native;
};

}  // namespace TLX::Threading
