#pragma once

#include <TLX/Export.h>

namespace TLXX {

// Lets another thread end the queries of a thread that must not be cancelled: the one that is
// running is killed, later ones fail at once and start no program. Commands that change drives
// (the lines overload of CSystem::ExecuteCommand) are not touched. For work that must return by its
// own paths, such as a start-up, where an exception would leave half of it behind. Costs one
// descriptor, closed on exec. Asks nobody to stop waiting elsewhere: sleeps and waits go on.
class VX_EXPORT CRunStop {
 public:
  CRunStop();   // throws std::system_error when there is no descriptor left
  ~CRunStop();  // after the last scope under it
  CRunStop(const CRunStop&) = delete;
  CRunStop& operator=(const CRunStop&) = delete;

  // Takes effect at once and for good: a stop is not taken back, a fresh one is made for the next
  // work; asking again does nothing. Queries that it ends fail and say
  // so in trace and statistics. [any thread]
  void Request() noexcept;

  // The calling thread works under the stop as long as this lives; one at a time on a thread, any
  // number of threads under one stop. Threads that it starts do not. The stop must outlive it, and
  // it ends on the thread that made it. A thread under no stop runs its queries as ever. [its own
  // thread]
  class VX_EXPORT CScope {
   public:
    explicit CScope(const CRunStop& stop);
    ~CScope();
    CScope(const CScope&) = delete;
    CScope& operator=(const CScope&) = delete;
  };

 private:
  friend int RunStopDescriptor() noexcept;

  int m_Descriptor;  // readable once requested
};

}  // namespace TLXX
