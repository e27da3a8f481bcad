#include "WakeEvent.h"

#include <cerrno>
#include <cstdint>
#include <system_error>

#include <sys/eventfd.h>
#include <unistd.h>

namespace vxhost {

namespace {

int NewEvent() {
  const int descriptor = ::eventfd(0, EFD_CLOEXEC);
  if (descriptor >= 0) return descriptor;
  throw std::system_error(errno, std::generic_category(), "descriptor for an event");
}

}  // namespace

WakeEvent::WakeEvent() : descriptor_(NewEvent()) {}

WakeEvent::~WakeEvent() {
  ::close(descriptor_);
}

void WakeEvent::Set() const noexcept {
  const std::uint64_t one = 1;
  const ssize_t written = ::write(descriptor_, &one, sizeof one);
  static_cast<void>(written);  // fails only when it is set many times over
}

}  // namespace vxhost
