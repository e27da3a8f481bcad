#pragma once

#include <filesystem>
#include <mutex>
#include <string>
#include <thread>

namespace vxhost {

// Simulated drives in place of real ones: lays a sysfs tree for a fleet file with the tool's
// stand-in, points the platform's sysfs root and the stand-in's environment at it, and lays the
// tree anew whenever the fleet file changes. One per process.
class Simulation {
 public:
  // home: the runtime tree, whose tool must be the stand-in. Throws Failure, with what the stand-in
  // says about the fleet. [before plug-ins are loaded]
  Simulation(const std::filesystem::path& home, const std::filesystem::path& fleet);
  ~Simulation();  // Remove
  Simulation(const Simulation&) = delete;
  Simulation& operator=(const Simulation&) = delete;

  // Removes the tree; it is not laid again. [any thread]
  void Remove();

  // The path of the runtime tree's tool. Throws Failure unless it is the stand-in.
  static std::string CheckedTool(const std::filesystem::path& home);

 private:
  void StartFollowing();
  void StopFollowing();
  void Follow();
  bool Lay(std::string& problem);

  const std::string tool_;
  const std::filesystem::path fleet_;
  std::filesystem::path directory_;
  std::mutex mutex_;
  bool removed_ = false;  // guarded by mutex_
  int watch_ = -1;
  int wake_ = -1;
  std::thread follower_;
};

}  // namespace vxhost
