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

  // The time limit of a query that starts now.
  std::chrono::milliseconds QueryTimeout() const;

  // Takes note of how a query ended that had the given limit.
  void NoteQuery(const CRunResult& result, std::chrono::milliseconds timeout);

  // Counts a call. failure: why it failed, empty when it did not.
  void Count(const std::string& arguments, const CRunResult& result,
             std::chrono::nanoseconds duration, bool repeated, const std::string& failure);
  std::map<std::string, CRunStatistics> Statistics() const;

 private:
  CRunStatistics& StatisticsOf(const std::string& arguments);

  mutable std::mutex m_Mutex;
  CRunLimits m_Limits;
  // Until when queries get the short limit; the epoch when the last one that counts was good.
  std::chrono::steady_clock::time_point m_ShortUntil{};
  std::map<std::string, CRunStatistics> m_Statistics;
};

}  // namespace TLXX
