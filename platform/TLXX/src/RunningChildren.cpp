#include "RunningChildren.h"

#include <cerrno>
#include <csignal>

namespace TLXX {

CRunningChildren& CRunningChildren::Instance() {
  static auto* const children = new CRunningChildren;
  return *children;
}

// Under the lock, so that EndQueries misses none that is being started.
int CRunningChildren::Start(ERunKind kind, const std::string& text,
                            const std::function<int(pid_t&)>& start, pid_t& pid) {
  const std::lock_guard guard(m_Mutex);
  if (m_Ended) return ECANCELED;
  const int error = start(pid);
  if (error == 0) m_Running[pid] = {kind, text};
  return error;
}

void CRunningChildren::Forget(pid_t pid) {
  const std::lock_guard guard(m_Mutex);
  m_Running.erase(pid);
}

std::vector<std::string> CRunningChildren::EndQueries() {
  const std::lock_guard guard(m_Mutex);
  m_Ended = true;
  std::vector<std::string> changes;
  for (const auto& [pid, running] : m_Running) {
    if (running.m_Kind == ERunKind::Change) {
      changes.push_back(running.m_Text);
      continue;
    }
    kill(-pid, SIGKILL);
    kill(pid, SIGKILL);  // should it have left its group
  }
  return changes;
}

}  // namespace TLXX
