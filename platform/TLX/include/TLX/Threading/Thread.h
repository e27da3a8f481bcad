#pragma once

#include <memory>

#include <TLX/Delegates_and_Calls/Delegate.h>
#include <TLX/Export.h>
#include <TLX/Threading/Results.h>

namespace TLX::Threading {

namespace Native_OS {
// The operating system's side of a thread.
class VX_EXPORT CNativeThread {
 public:
  struct Impl;
  explicit CNativeThread(std::shared_ptr<Impl> impl);
  ~CNativeThread();

  // Whether a thread of the system was started.
  bool HasHandle() const noexcept;

  // Asks the thread to end: sets the flag, wakes the sleep, wait or tool run it is in, and waits
  // for the end, 5 s of real time at most. Returns whether it has ended. [any other thread]
  bool Cancel();

 private:
  std::shared_ptr<Impl> m_Impl;
};
}  // namespace Native_OS

// One thread. Starts in the constructor. What its body still holds of CFastMutex when it ends, by
// return or by cancellation, is released for it.
class VX_EXPORT CThread {
 public:
  using CBody = Delegates_and_Calls::CDelegate<void()>;

  // creationFlags: 0, start at once. A thread that the system refuses has no native handle.
  CThread(const CBody& body, unsigned int creationFlags);

  // Joins a thread that has ended, detaches one that runs.
  ~CThread();
  CThread(const CThread&) = delete;
  CThread& operator=(const CThread&) = delete;

  // WAIT_ACQUIRED once the body has ended, WAIT_TIMED_OUT while it runs. Repeatable. Milliseconds
  // are scaled by the clock's time scale. [any thread]
  unsigned int Wait(unsigned int milliseconds);

  Native_OS::CNativeThread& Native() noexcept;

 private:
  std::shared_ptr<Native_OS::CNativeThread::Impl> m_Impl;
  Native_OS::CNativeThread m_Native;
};

}  // namespace TLX::Threading
