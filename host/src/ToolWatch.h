#pragma once

#include <map>
#include <mutex>
#include <string>

namespace vxhost {

// Watches every run of a plug-in's tool and says once when they start to fail and once when they
// work again, however many fail in between. One at a time.
class ToolWatch {
 public:
  ToolWatch();
  ~ToolWatch();
  ToolWatch(const ToolWatch&) = delete;
  ToolWatch& operator=(const ToolWatch&) = delete;

  // From now on nothing is said: the host ends, and with it runs of the tool. [any thread]
  void Quiet();

  // Why the last run of the calling thread failed; empty when it did not, or ran none. A plug-in
  // notifies on the thread that has read the inventory just before.
  [[nodiscard]] static const std::string& LastFailureOfThisThread();

 private:
  struct Failing {
    unsigned long since;  // milliseconds of now(), of the last failure
    std::string reason;
  };

  void Note(const std::string& arguments, const std::string& failure);
  void DropOld(unsigned long now);

  std::mutex mutex_;
  std::map<std::string, Failing> failing_;  // by arguments, guarded by mutex_
  unsigned long failures_ = 0;              // since they started
  bool quiet_ = false;
};

// The runner's counters as a table for people; empty when nothing ran.
std::string RenderRunStatistics();

}  // namespace vxhost
