#pragma once

#include "Runner.h"

#include <chrono>
#include <map>
#include <mutex>
#include <string>

#include <TLXX/System.h>

namespace TLXX {

// What the runner remembers from one run to the next: its limits, its counters, and whether the
// tool hangs. [any thread]
class CRunHistory {
 public:
  // The one of the process. Never destroyed: threads may still run commands while it ends.
  static CRunHistory& Instance();

  void SetLimits(const CRunLimits& limits);
  CRunLimits Limits() const;

  // The time limit of a query with these arguments that starts now.
  std::chrono::milliseconds QueryTimeout(const std::string& arguments) const;

  // Takes note of how a query with these arguments ended that had the given limit.
  void NoteQuery(const std::string& arguments, const CRunResult& result,
                 std::chrono::milliseconds timeout);

  // Counts a call. firstFailure: why it was run a second time, empty when it was not. failure: why
  // it failed, empty when it did not.
  void Count(const std::string& arguments, const CRunResult& result,
             std::chrono::nanoseconds duration, const std::string& firstFailure,
             const std::string& failure);
  std::map<std::string, CRunStatistics> Statistics() const;

 private:
  CRunStatistics& StatisticsOf(const std::string& arguments);
  std::chrono::milliseconds ShortTimeout() const;
  void Shorten(const std::string& arguments, std::chrono::steady_clock::time_point until);

  mutable std::mutex m_Mutex;
  CRunLimits m_Limits;
  // Arguments of the queries that ran into the whole limit and have not succeeded since, and until
  // when they get the short one.
  std::map<std::string, std::chrono::steady_clock::time_point> m_ShortUntil;
  std::chrono::nanoseconds m_LongestGood{0};  // of all queries that succeeded
  std::map<std::string, CRunStatistics> m_Statistics;
};

}  // namespace TLXX
