#include "Output.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <stdexcept>
#include <system_error>

#include <fcntl.h>
#include <sys/resource.h>
#include <unistd.h>

namespace vxhost {

namespace {

// Above the standard descriptors, and closed in the programs that are run.
constexpr int LOWEST_DESCRIPTOR = 10;

bool WriteAll(int descriptor, std::string_view text) {
  while (!text.empty()) {
    const ssize_t written = ::write(descriptor, text.data(), text.size());
    if (written < 0 && errno == EINTR) continue;
    if (written <= 0) return false;
    text.remove_prefix(static_cast<std::size_t>(written));
  }
  return true;
}

int DuplicateAside(int descriptor) {
  const int copy = ::fcntl(descriptor, F_DUPFD_CLOEXEC, LOWEST_DESCRIPTOR);
  if (copy >= 0) return copy;
  const int reason = errno;
  rlimit limit{};
  if ((reason == EINVAL || reason == EMFILE) && ::getrlimit(RLIMIT_NOFILE, &limit) == 0) {
    throw std::runtime_error("only " + std::to_string(limit.rlim_cur) +
                             " files may be open at once (ulimit -n), which is too few: allow 64");
  }
  throw std::system_error(reason, std::generic_category(), "standard output");
}

}  // namespace

Output::Output() : descriptor_(DuplicateAside(STDOUT_FILENO)) {
  ::dup2(STDERR_FILENO, STDOUT_FILENO);
}

Output::~Output() {
  std::fflush(stdout);
  ::dup2(descriptor_, STDOUT_FILENO);
  ::close(descriptor_);
}

bool Output::Write(std::string_view text) {
  const std::lock_guard lock(mutex_);
  if (WriteAll(descriptor_, text)) return true;
  const int reason = errno;
  if (!failed_.exchange(true)) {
    Say(std::string("standard output cannot be written: ") + std::strerror(reason));
  }
  return false;
}

bool Output::WriteLine(std::string_view text) {
  std::string line(text);
  line += '\n';
  return Write(line);
}

bool Output::IsTerminal() const {
  return ::isatty(descriptor_) == 1;
}

void Say(std::string_view text) {
  std::string line = "vxhost: ";
  line.append(text).push_back('\n');
  WriteAll(STDERR_FILENO, line);
}

}  // namespace vxhost
