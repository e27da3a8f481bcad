#include "simulator/ToolRun.h"

#include <sstream>
#include <stdexcept>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <spawn.h>
#include <sys/wait.h>

namespace simtest {

namespace fs = std::filesystem;

namespace {

std::vector<char*> Pointers(std::vector<std::string>& texts) {
  std::vector<char*> pointers;
  for (std::string& text : texts) pointers.push_back(text.data());
  pointers.push_back(nullptr);
  return pointers;
}

std::vector<std::string> Words(const std::string& text) {
  std::istringstream stream(text);
  std::vector<std::string> words;
  for (std::string word; stream >> word;) words.push_back(word);
  return words;
}

std::string WithIndex(const std::string& before, int index, const std::string& after) {
  return before + std::to_string(index) + after;
}

}  // namespace

pid_t Start(const std::string& program, const std::vector<std::string>& arguments,
            const Environment& environment, const fs::path& out, const fs::path& err) {
  std::vector<std::string> words{program};
  words.insert(words.end(), arguments.begin(), arguments.end());
  std::vector<std::string> assignments;
  for (const auto& [name, value] : environment) assignments.push_back(name + "=" + value);
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  constexpr int kFlags = O_WRONLY | O_CREAT | O_TRUNC;
  posix_spawn_file_actions_addopen(&actions, 1, out.c_str(), kFlags, 0644);
  posix_spawn_file_actions_addopen(&actions, 2, err.c_str(), kFlags, 0644);
  pid_t child = 0;
  const int error = posix_spawn(&child, program.c_str(), &actions, nullptr, Pointers(words).data(),
                                Pointers(assignments).data());
  posix_spawn_file_actions_destroy(&actions);
  if (error != 0) throw std::runtime_error("cannot start " + program);
  return child;
}

ToolRun RunTool(const std::vector<std::string>& arguments, const Environment& environment) {
  const vxtest::TempDir output;
  const pid_t child = Start(VXSIM_TOOL, arguments, environment, output / "out", output / "err");
  int ended = 0;
  waitpid(child, &ended, 0);
  ToolRun run;
  run.out = vxtest::ReadFile(output / "out");
  run.err = vxtest::ReadFile(output / "err");
  if (WIFEXITED(ended)) run.status = WEXITSTATUS(ended);
  if (WIFSIGNALED(ended)) run.signal = WTERMSIG(ended);
  return run;
}

ToolRun RunTool(const std::string& arguments, const Environment& environment) {
  return RunTool(Words(arguments), environment);
}

FleetDirectory::FleetDirectory(const std::string& fleet) {
  Write(fleet);
}

std::string FleetDirectory::Example(const std::string& name) {
  return vxtest::ReadFile(fs::path(VXSIM_EXAMPLES) / name);
}

ToolRun FleetDirectory::Run(const std::string& arguments) const {
  return RunTool(arguments, {{"VXSIM_FLEET", File().string()}});
}

void FleetDirectory::Edit(const std::string& arguments) const {
  const ToolRun run = Run("simulator " + arguments);
  EXPECT_EQ(run.status, 0) << arguments << ": " << run.err;
}

std::string OneDrive(const std::string& members, const std::string& faults) {
  return R"({"drives": [{"index": 3, "serial": "SERIAL3", "model": "INTEL SSDPE2TEST",)"
         R"( "family": "Intel SSD Test Series")" +
         (members.empty() ? "" : ", " + members) + R"(}], "faults": [)" + faults + "]}";
}

std::string Log2(int index) {
  return WithIndex("show -o json -torvex ", index, " -nvmelog SmartHealthInfo");
}
std::string Log197(int index) {
  return WithIndex("show -o json -torvex ", index, " -nvmelog TemperatureStatistics");
}
std::string Log202(int index) {
  return WithIndex("show -o json -smart -torvex ", index, "");
}
std::string Log203(int index) {
  return WithIndex("show -all -o json -torvex ", index, "");
}
std::string FormatCommand(int index) {
  return WithIndex("start -f -torvex ", index,
                   " Function=nvmeformat LBAFormat=0 SecureEraseSetting=0 ProtectionInformation=0 "
                   "MetadataSetting=0");
}

}  // namespace simtest
