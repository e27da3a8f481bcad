#include "RunHistory.h"

#include <algorithm>

namespace TLXX {

namespace {

// A query that ran into the time limit gets a tenth of it until ten whole limits have passed...
constexpr int SHORTENED_BY = 10;
// ... but at least twice what the longest good one took, which a slow tool may need.
constexpr int ROOM = 2;

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

std::chrono::milliseconds CRunHistory::ShortTimeout() const {
  using std::chrono::milliseconds;
  const milliseconds whole = m_Limits.m_QueryTimeout;
  const auto room = std::chrono::ceil<milliseconds>(m_LongestGood * ROOM);
  return std::min(whole, std::max({whole / SHORTENED_BY, room, milliseconds(1)}));
}

std::chrono::milliseconds CRunHistory::QueryTimeout(const std::string& arguments) const {
  const std::lock_guard guard(m_Mutex);
  const auto whole = m_Limits.m_QueryTimeout;
  if (whole.count() <= 0) return whole;
  const auto slow = m_ShortUntil.find(arguments);
  const bool isShort =
      slow != m_ShortUntil.end() && std::chrono::steady_clock::now() < slow->second;
  return isShort ? ShortTimeout() : whole;
}

// Never what lists the drives: cut short, it would take all of them away.
void CRunHistory::Shorten(const std::string& arguments,
                          std::chrono::steady_clock::time_point until) {
  if (!IsAboutOneDrive(arguments)) return;
  const auto now = std::chrono::steady_clock::now();
  std::erase_if(m_ShortUntil, [now](const auto& entry) { return entry.second <= now; });
  if (m_ShortUntil.size() < MAX_COMMANDS) m_ShortUntil[arguments] = until;
}

void CRunHistory::NoteQuery(const std::string& arguments, const CRunResult& result,
                            std::chrono::milliseconds timeout) {
  const std::lock_guard guard(m_Mutex);
  if (result.Collected() && !result.FailedSilently()) {
    m_ShortUntil.erase(arguments);
    m_LongestGood = std::max(m_LongestGood, result.m_Duration);
  } else if (result.m_End == ERunEnd::TimedOut && timeout >= m_Limits.m_QueryTimeout) {
    // A time-out of the short limit does not prolong it.
    Shorten(arguments, std::chrono::steady_clock::now() + timeout * SHORTENED_BY);
  }
}

CRunStatistics& CRunHistory::StatisticsOf(const std::string& arguments) {
  const std::string key = StatisticsKey(arguments);
  if (m_Statistics.size() < MAX_COMMANDS || m_Statistics.count(key) != 0) return m_Statistics[key];
  return m_Statistics[OTHER_COMMANDS];
}

void CRunHistory::Count(const std::string& arguments, const CRunResult& result,
                        std::chrono::nanoseconds duration, const std::string& firstFailure,
                        const std::string& failure) {
  const std::lock_guard guard(m_Mutex);
  CRunStatistics& counters = StatisticsOf(arguments);
  ++counters.m_Runs;
  if (!firstFailure.empty()) {
    ++counters.m_Repeats;
    counters.m_LastRepeat = firstFailure;
  }
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
