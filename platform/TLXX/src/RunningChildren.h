#pragma once

#include <functional>
#include <map>
#include <mutex>
#include <string>
#include <vector>

#include <sys/types.h>

namespace TLXX {

// Queries may be ended at any moment. Changes work on drives: ended half way, they can leave one
// unusable.
enum class ERunKind { Query, Change };

// The children of the runner that are not reaped yet, so that whoever ends the process can end them
// first. [any thread]
class CRunningChildren {
 public:
  // The one of the process. Never destroyed: threads may still run commands while it ends.
  static CRunningChildren& Instance();

  // Starts a child, the leader of its own process group, with a function that returns 0 or an error
  // number. ECANCELED once EndQueries was called.
  int Start(ERunKind kind, const std::string& text, const std::function<int(pid_t&)>& start,
            pid_t& pid);

  // To be called before the child is reaped: its number may be another's from then on.
  void Forget(pid_t pid);

  // Kills the process groups of all queries, for good: nothing is started from then on. Returns
  // what still runs, as it was given to Start.
  std::vector<std::string> EndQueries();

 private:
  struct CRunning {
    ERunKind m_Kind;
    std::string m_Text;
  };

  std::mutex m_Mutex;
  std::map<pid_t, CRunning> m_Running;  // guarded by m_Mutex
  bool m_Ended = false;                 // guarded by m_Mutex
};

}  // namespace TLXX
