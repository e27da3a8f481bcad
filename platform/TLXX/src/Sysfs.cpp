#include "Sysfs.h"

#include "Child.h"

#include <array>
#include <cstdlib>
#include <memory>

#include <fcntl.h>
#include <unistd.h>

namespace TLXX {

namespace {

// An attribute is at most one page.
constexpr std::size_t ATTRIBUTE_SIZE = 4096;

std::string& Root() {
  static auto* const root = new std::string("/sys");
  return *root;
}

}  // namespace

const std::string& SysfsRootPath() {
  return Root();
}

void SetSysfsRootPath(const std::string& root) {
  Root() = root;
}

bool IsFileName(std::string_view name) {
  if (name.empty() || name == "." || name == "..") return false;
  return name.find('/') == std::string_view::npos && name.find('\0') == std::string_view::npos;
}

std::optional<std::string> ReadAttribute(const std::string& path) {
  // Not blocking: in a tree that is not the kernel's the file may be a pipe.
  const CDescriptor file(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
  if (!file.IsOpen()) return std::nullopt;
  std::array<char, ATTRIBUTE_SIZE> buffer;
  const ssize_t length = read(file.Get(), buffer.data(), buffer.size());
  if (length < 0) return std::nullopt;
  std::string text(buffer.data(), static_cast<std::size_t>(length));
  if (!text.empty() && text.back() == '\n') text.pop_back();
  return text;
}

std::optional<std::string> Resolve(const std::string& path) {
  const std::unique_ptr<char, decltype(&std::free)> resolved(realpath(path.c_str(), nullptr),
                                                             &std::free);
  if (!resolved) return std::nullopt;
  return std::string(resolved.get());
}

}  // namespace TLXX
