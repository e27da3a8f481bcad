#include "support/Unprivileged.h"

#include "support/Files.h"

#include <fstream>
#include <set>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

extern char** environ;

namespace vxtest {
namespace {

namespace fs = std::filesystem;

// The libraries of the build that this program has loaded.
std::set<fs::path> OwnLibraries() {
  std::set<fs::path> libraries;
  std::ifstream maps("/proc/self/maps");
  for (std::string line; std::getline(maps, line);) {
    const auto begin = line.find('/');
    if (begin == std::string::npos) continue;
    const fs::path path = line.substr(begin);
    const bool ofTheSystem =
        path.string().starts_with("/usr/") || path.string().starts_with("/lib");
    if (!ofTheSystem && path.filename().string().find(".so") != std::string::npos) {
      libraries.insert(path);
    }
  }
  return libraries;
}

// Copies the program and its libraries to a directory that everybody can read; returns the program.
fs::path PublishProgram(const fs::path& directory) {
  fs::permissions(directory, fs::perms(0755));
  for (const fs::path& library : OwnLibraries()) {
    fs::copy_file(library, directory / library.filename());
  }
  const fs::path program = directory / "test";
  fs::copy_file(fs::read_symlink("/proc/self/exe"), program);
  fs::permissions(program, fs::perms(0755));
  return program;
}

int RunToEnd(std::vector<std::string> words) {
  std::vector<char*> arguments;
  for (std::string& word : words) arguments.push_back(word.data());
  arguments.push_back(nullptr);
  pid_t child = -1;
  EXPECT_EQ(posix_spawnp(&child, arguments[0], nullptr, nullptr, arguments.data(), environ), 0);
  int status = -1;
  EXPECT_EQ(waitpid(child, &status, 0), child);
  return status;
}

}  // namespace

bool IsDoneByUnprivilegedChild() {
  if (geteuid() != 0) return false;
  const auto* const test = ::testing::UnitTest::GetInstance()->current_test_info();
  const TempDir directory;
  const fs::path program = PublishProgram(directory.Path());
  // Reports and temporary files of the parent's environment may lie where the child cannot write.
  const int status =
      RunToEnd({"setpriv", "--reuid=65534", "--regid=65534", "--clear-groups", "env",
                "--unset=TMPDIR", "--unset=GTEST_OUTPUT", "--unset=GTEST_TOTAL_SHARDS", "--chdir=/",
                "LD_LIBRARY_PATH=" + directory.Path().string(), program.string(),
                std::string("--gtest_filter=") + test->test_suite_name() + "." + test->name()});
  EXPECT_EQ(status, 0) << "the test failed as an unprivileged user; see its output above";
  return true;
}

}  // namespace vxtest
