#include "Simulated.h"

#include <chrono>
#include <thread>

namespace vxtest {

const std::string HANG =
    "echo $$ > $HERE/pid.new\n"
    "mv $HERE/pid.new $HERE/pid\n"
    "sleep 600 & sleep 600\n";

Simulated::Simulated() {
  std::filesystem::copy(VXTEST_FLEET, fleet_);
  WriteFile(directory_ / "etc" / "piTorvex.ini", "PollInterval=2\n");
  WriteFile(directory_ / "etc" / "CustomOpOpts.ini", "IntelPCIeTopologologyRefreshRate=0\n");
  std::filesystem::create_directory(directory_ / "tmp");
}

std::vector<std::string> Simulated::Words(std::vector<std::string> words) const {
  words.insert(words.end(),
               {"--simulate", fleet_.string(), "--config-dir", (directory_ / "etc").string()});
  return words;
}

HostProcess::Environment Simulated::Environment() const {
  return {{"TMPDIR", (directory_ / "tmp").string()}};
}

HostRun Simulated::Run(const std::vector<std::string>& words) const {
  return RunHost(Words(words), "", Environment());
}

void Simulated::Edit(std::vector<std::string> words) const {
  words.insert(words.begin(), "simulate");
  words.insert(words.end(), {"--fleet", fleet_.string()});
  const auto run = RunHost(words);
  EXPECT_EQ(run.status, 0) << run.err;
}

bool Simulated::NothingIsLeft() const {
  return std::filesystem::is_empty(directory_ / "tmp");
}

std::filesystem::path ProgramWithTool(const std::filesystem::path& home,
                                      const std::string& queries) {
  std::filesystem::create_directories(home / "bin");
  for (const char* const part : {"lib", "plugins"}) {
    std::filesystem::copy(HostProcess::Tree() / part, home / part);
  }
  std::filesystem::copy(HostProcess::Program(), home / "vxhost");
  WriteFile(home / "bin" / "isdct",
            "#!/bin/sh\n# isdct simulator behind a script\nHERE='" + home.string() + "'\nREAL='" +
                (HostProcess::Tree() / "bin" / "isdct").string() +
                "'\n[ \"$1\" = simulator ] && exec \"$REAL\" \"$@\"\n" + queries,
            true);
  return home / "vxhost";
}

void WaitForFile(const std::filesystem::path& path) {
  for (int attempt = 0; attempt < 3000 && !std::filesystem::exists(path); ++attempt) {
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  ASSERT_TRUE(std::filesystem::exists(path)) << path;
}

bool HasEnded(pid_t program) {
  const std::filesystem::path file = "/proc/" + std::to_string(program) + "/exe";
  std::error_code error;
  for (int attempt = 0; attempt < 3000; ++attempt) {
    if (std::filesystem::read_symlink(file, error).empty()) return true;
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  return false;
}

}  // namespace vxtest
