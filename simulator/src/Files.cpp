#include "Files.h"

#include <cerrno>
#include <cstring>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

namespace vxsim {

namespace {

namespace fs = std::filesystem;

[[noreturn]] void Fail(const fs::path& path, const char* action) {
  throw FileError("cannot " + std::string(action) + " " + path.string() + ": " +
                  std::strerror(errno));
}

class Descriptor {
 public:
  explicit Descriptor(int number) : number_(number) {}
  ~Descriptor() {
    if (number_ >= 0) close(number_);
  }
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;
  int Number() const { return number_; }

 private:
  int number_;
};

void WriteAll(int descriptor, std::string_view content, const fs::path& path) {
  while (!content.empty()) {
    const ssize_t written = write(descriptor, content.data(), content.size());
    if (written < 0 && errno == EINTR) continue;
    if (written < 0) Fail(path, "write");
    content.remove_prefix(static_cast<std::size_t>(written));
  }
}

}  // namespace

fs::path DirectoryOf(const fs::path& file) {
  return file.has_parent_path() ? file.parent_path() : fs::path(".");
}

std::string ReadWholeFile(const fs::path& path) {
  const Descriptor file(open(path.c_str(), O_RDONLY | O_CLOEXEC));
  if (file.Number() < 0) Fail(path, "read");
  std::string content;
  char block[65536];
  for (;;) {
    const ssize_t got = read(file.Number(), block, sizeof block);
    if (got < 0 && errno == EINTR) continue;
    if (got < 0) Fail(path, "read");
    if (got == 0) return content;
    content.append(block, static_cast<std::size_t>(got));
  }
}

void WriteFile(const fs::path& path, std::string_view content) {
  const Descriptor file(open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644));
  if (file.Number() < 0) Fail(path, "write");
  WriteAll(file.Number(), content, path);
}

void ReplaceFile(const fs::path& path, std::string_view content) {
  // A link stays a link: what it points to is replaced.
  std::error_code ignored;
  const fs::path target = fs::is_symlink(path, ignored) ? fs::canonical(path) : path;
  struct stat status {};
  const mode_t mode = stat(target.c_str(), &status) == 0 ? status.st_mode & 07777U : 0644U;
  std::string aside = target.string() + ".XXXXXX";
  {
    const Descriptor file(mkostemp(aside.data(), O_CLOEXEC));
    if (file.Number() < 0) Fail(path, "write beside");
    try {
      WriteAll(file.Number(), content, path);
      if (fchmod(file.Number(), mode) != 0) Fail(path, "write");
    } catch (const FileError&) {
      unlink(aside.c_str());
      throw;
    }
  }
  if (rename(aside.c_str(), target.c_str()) != 0) {
    const int reason = errno;
    unlink(aside.c_str());
    errno = reason;
    Fail(path, "replace");
  }
}

DirectoryLock::DirectoryLock(const fs::path& directory)
    : descriptor_(open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC)) {
  if (descriptor_ < 0) Fail(directory, "open");
  while (flock(descriptor_, LOCK_EX) != 0) {
    if (errno == EINTR) continue;
    const int reason = errno;
    close(descriptor_);
    errno = reason;
    Fail(directory, "lock");
  }
}

DirectoryLock::~DirectoryLock() {
  close(descriptor_);
}

}  // namespace vxsim
