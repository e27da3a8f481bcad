#pragma once

#include <filesystem>
#include <string>

namespace vxtest {

// A fresh directory below the system's temporary directory, removed with everything in it at the
// end.
class TempDir {
 public:
  TempDir();
  ~TempDir();
  TempDir(const TempDir&) = delete;
  TempDir& operator=(const TempDir&) = delete;

  const std::filesystem::path& Path() const { return path_; }
  std::filesystem::path operator/(const std::string& name) const { return path_ / name; }

 private:
  std::filesystem::path path_;
};

// Both throw std::runtime_error with the path when they cannot. WriteFile makes missing
// directories.
void WriteFile(const std::filesystem::path& path, const std::string& content,
               bool executable = false);
std::string ReadFile(const std::filesystem::path& path);

}  // namespace vxtest
