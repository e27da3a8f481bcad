#include "RunStop.h"

#include <cerrno>
#include <cstdint>
#include <system_error>

#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

namespace TLXX {

namespace {
thread_local const CRunStop* t_Stop = nullptr;
}  // namespace

int RunStopDescriptor() noexcept {
  return t_Stop == nullptr ? -1 : t_Stop->m_Descriptor;
}

bool RunStopRequested() noexcept {
  pollfd stop{RunStopDescriptor(), POLLIN, 0};
  return stop.fd >= 0 && poll(&stop, 1, 0) > 0;
}

CRunStop::CRunStop() : m_Descriptor(eventfd(0, EFD_CLOEXEC)) {
  if (m_Descriptor < 0) {
    throw std::system_error(errno, std::generic_category(), "descriptor for a stop");
  }
}

CRunStop::~CRunStop() {
  close(m_Descriptor);
}

void CRunStop::Request() noexcept {
  const std::uint64_t one = 1;
  const ssize_t written = write(m_Descriptor, &one, sizeof one);
  static_cast<void>(written);  // fails only when it is readable already
}

CRunStop::CScope::CScope(const CRunStop& stop) {
  t_Stop = &stop;
}

CRunStop::CScope::~CScope() {
  t_Stop = nullptr;
}

}  // namespace TLXX
