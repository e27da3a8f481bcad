#pragma once

#include "Signals.h"

#include <atomic>
#include <filesystem>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace vxhost {

// Simulated drives in place of real ones: lays a sysfs tree for a fleet file with the tool's
// stand-in and points the platform's sysfs root, the stand-in's environment and the place where
// plug-ins look for the tool at it. The stand-in reads a snapshot of the fleet file. When the file
// changes, tree and snapshot follow in an order in which every drive that the stand-in lists has
// its place in sysfs. A file that is wrong leaves everything as it was. One per process.
class Simulation {
 public:
  // home: the runtime tree. The fleet is only read and may lie anywhere. From the first directory
  // on a signal that ends the process removes what was made. Throws Failure, with what the stand-in
  // says about the fleet. [before other threads start]
  Simulation(const std::filesystem::path& home, const std::filesystem::path& fleet,
             SignalWatch& signals);
  ~Simulation();  // removes the tree
  Simulation(const Simulation&) = delete;
  Simulation& operator=(const Simulation&) = delete;

  // The path of the stand-in: simulator/bin/isdct of the runtime tree if there is one, otherwise
  // bin/isdct. Throws Failure when that does not say that it is the stand-in.
  static std::string CheckedTool(const std::filesystem::path& home);

 private:
  void Lay();
  void MakeDirectories();
  void Enter();
  void StartFollowing();
  void StopFollowing();
  void Follow();
  void Remove();
  [[nodiscard]] bool Update(std::string& problem);
  [[nodiscard]] bool TakeOver(const std::string& text, std::string& problem);
  [[nodiscard]] bool RunOn(const std::string& text, std::vector<std::string> command,
                           std::string& problem);

  const std::string tool_;
  const std::filesystem::path fleet_;
  std::filesystem::path directory_;
  std::filesystem::path snapshot_;     // what the stand-in reads, named like the fleet
  std::mutex mutex_;                   // held while the tree is changed
  std::atomic<bool> removed_ = false;  // nothing is laid any more
  std::string published_;              // text of the snapshot; guarded by mutex_
  int watch_ = -1;
  int wake_ = -1;
  std::thread follower_;
  const CleanUpOnSignal onSignal_;  // goes first: it uses the rest
};

}  // namespace vxhost
