#include "RunHistory.h"

#include <algorithm>

namespace TLXX {

namespace {

// A tool that has run into the time limit gets this part of it for so many whole limits.
constexpr int SHORTENED_BY = 10;

constexpr std::size_t MAX_COMMANDS = 256;
constexpr const char* OTHER_COMMANDS = "(other)";

}  // namespace

CRunHistory& CRunHistory::Instance() {
  static auto* const history = new CRunHistory;
  return *history;
}

void CRunHistory::SetLimits(const CRunLimits& limits) {
  const std::lock_guard guard(m_Mutex);
  m_Limits = limits;
}

CRunLimits CRunHistory::Limits() const {
  const std::lock_guard guard(m_Mutex);
  return m_Limits;
}

std::chrono::milliseconds CRunHistory::QueryTimeout() const {
  const std::lock_guard guard(m_Mutex);
  const auto whole = m_Limits.m_QueryTimeout;
  if (whole.count() <= 0) return whole;
  if (std::chrono::steady_clock::now() >= m_ShortUntil) return whole;
  return std::max(whole / SHORTENED_BY, std::chrono::milliseconds(1));
}

void CRunHistory::NoteQuery(const CRunResult& result, std::chrono::milliseconds timeout) {
  const std::lock_guard guard(m_Mutex);
  if (result.Collected() && !result.FailedSilently()) {
    m_ShortUntil = {};
  } else if (result.m_End == ERunEnd::TimedOut && timeout >= m_Limits.m_QueryTimeout) {
    // A time-out of the short limit does not prolong it.
    m_ShortUntil = std::chrono::steady_clock::now() + timeout * SHORTENED_BY;
  }
}

CRunStatistics& CRunHistory::StatisticsOf(const std::string& arguments) {
  const std::string key = StatisticsKey(arguments);
  if (m_Statistics.size() < MAX_COMMANDS || m_Statistics.count(key) != 0) return m_Statistics[key];
  return m_Statistics[OTHER_COMMANDS];
}

void CRunHistory::Count(const std::string& arguments, const CRunResult& result,
                        std::chrono::nanoseconds duration, bool repeated,
                        const std::string& failure) {
  const std::lock_guard guard(m_Mutex);
  CRunStatistics& counters = StatisticsOf(arguments);
  ++counters.m_Runs;
  if (repeated) ++counters.m_Repeats;
  if (result.RanOutOfTime()) ++counters.m_Timeouts;
  counters.m_TotalTime += duration;
  counters.m_LongestTime = std::max(counters.m_LongestTime, duration);
  if (failure.empty()) return;
  ++counters.m_Failures;
  counters.m_LastFailure = failure;
}

std::map<std::string, CRunStatistics> CRunHistory::Statistics() const {
  const std::lock_guard guard(m_Mutex);
  return m_Statistics;
}

}  // namespace TLXX
