#pragma once

#include "support/Files.h"

#include <filesystem>
#include <map>
#include <string>
#include <vector>

#include <sys/types.h>

namespace simtest {

// How a run of the stand-in ended and what it printed.
struct ToolRun {
  std::string out;
  std::string err;
  int status = -1;  // -1: ended by the signal
  int signal = 0;
};

using Environment = std::map<std::string, std::string>;

// Starts a program with exactly this environment and its output going to two files. The caller
// reaps.
pid_t Start(const std::string& program, const std::vector<std::string>& arguments,
            const Environment& environment, const std::filesystem::path& out,
            const std::filesystem::path& err);

// Runs the built stand-in to its end.
ToolRun RunTool(const std::vector<std::string>& arguments, const Environment& environment = {});
// The same with the arguments in one text, separated by blanks.
ToolRun RunTool(const std::string& arguments, const Environment& environment = {});

// A directory with one fleet file in it, and the stand-in run on that file.
class FleetDirectory {
 public:
  explicit FleetDirectory(const std::string& fleet);
  // Starts from an example.
  static std::string Example(const std::string& name);

  std::filesystem::path File() const { return directory_ / "fleet.json"; }
  std::filesystem::path Root() const { return directory_ / "sys"; }
  std::filesystem::path Counters() const { return directory_ / "fleet.json.calls"; }
  const std::filesystem::path& Path() const { return directory_.Path(); }
  std::string Text() const { return vxtest::ReadFile(File()); }
  void Write(const std::string& fleet) const { vxtest::WriteFile(File(), fleet); }

  ToolRun Run(const std::string& arguments) const;
  // "isdct simulator ..." that has to succeed.
  void Edit(const std::string& arguments) const;

 private:
  vxtest::TempDir directory_;
};

// A fleet of one drive, index 3, with these further members of the drive ("\"a\": 1") and these
// faults.
std::string OneDrive(const std::string& members = "", const std::string& faults = "");

inline const std::string kInventory = "show -all -o json -torvex";
inline const std::string kVersion = "version -o json";
std::string Log2(int index);
std::string Log197(int index);
std::string Log202(int index);
std::string Log203(int index);
std::string FormatCommand(int index);

}  // namespace simtest
