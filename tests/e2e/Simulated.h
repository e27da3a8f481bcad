// The host with the real plug-in on simulated drives, for tests.
#pragma once

#include "HostProcess.h"
#include "support/Files.h"

#include <filesystem>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace vxtest {

// A fleet of our own, fast settings, and a place for what the host lays.
class Simulated : public testing::Test {
 protected:
  Simulated();

  // The words with the options of the simulation, whose working directory lies in ours.
  std::vector<std::string> Words(std::vector<std::string> words) const;
  HostProcess::Environment Environment() const;
  HostRun Run(const std::vector<std::string>& words) const;
  void Edit(std::vector<std::string> words) const;
  bool NothingIsLeft() const;

  TempDir directory_;
  const std::filesystem::path fleet_ = directory_ / "fleet.json";
};

// The program in a tree of its own. Its tool is a script that runs the real stand-in for what the
// host itself asks of it, and does with the plug-in's queries what the given lines say: $REAL is
// the stand-in, $HERE the tree.
std::filesystem::path ProgramWithTool(const std::filesystem::path& home,
                                      const std::string& queries);

// Script lines: notes the tool's number in the file "pid" of the tree and hangs, with a child.
extern const std::string HANG;

void WaitForFile(const std::filesystem::path& path);

// Whether the program ends within half a minute. What is left of it may be an entry without a file,
// until whoever has inherited it looks.
bool HasEnded(pid_t program);

}  // namespace vxtest
