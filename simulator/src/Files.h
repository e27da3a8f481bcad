#pragma once

#include <filesystem>
#include <stdexcept>
#include <string>
#include <string_view>

namespace vxsim {

// A file that cannot be read, written or locked; what() names it and the reason.
class FileError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

std::string ReadWholeFile(const std::filesystem::path& path);

// Writes a file that nobody else looks at.
void WriteFile(const std::filesystem::path& path, std::string_view content);

// Writes beside the file and renames over it, so that a reader sees the old text or the new one.
// The permissions of an existing file are kept.
void ReplaceFile(const std::filesystem::path& path, std::string_view content);

// Holds other writers off a directory, for as long as it lives. Readers need no lock.
class DirectoryLock {
 public:
  explicit DirectoryLock(const std::filesystem::path& directory);
  ~DirectoryLock();
  DirectoryLock(const DirectoryLock&) = delete;
  DirectoryLock& operator=(const DirectoryLock&) = delete;

 private:
  int descriptor_;
};

// The directory that a file name lies in; "." for a bare name.
std::filesystem::path DirectoryOf(const std::filesystem::path& file);

}  // namespace vxsim
