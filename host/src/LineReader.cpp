#include "LineReader.h"

#include <array>
#include <cerrno>

#include <poll.h>
#include <unistd.h>

namespace vxhost {

namespace {
constexpr std::size_t CHUNK = std::size_t{64} << 10U;
}

bool LineReader::IsStopped() const {
  pollfd wait{stop_, POLLIN, 0};
  return stop_ >= 0 && ::poll(&wait, 1, 0) > 0;
}

// Waits for input or a stop; whether it was input.
bool LineReader::MayRead() const {
  std::array<pollfd, 2> waits = {{{descriptor_, POLLIN, 0}, {stop_, POLLIN, 0}}};
  while (::poll(waits.data(), waits.size(), -1) < 0) {
    if (errno != EINTR) return false;
  }
  return waits[1].revents == 0;
}

bool LineReader::Fill() {
  if (!MayRead()) return false;
  buffer_.resize(CHUNK);
  begin_ = 0;
  ssize_t got = 0;
  do {
    got = ::read(descriptor_, buffer_.data(), buffer_.size());
  } while (got < 0 && errno == EINTR);
  buffer_.resize(got > 0 ? static_cast<std::size_t>(got) : 0);
  return got > 0;
}

void LineReader::Keep(Line& line, std::size_t length) {
  if (line.tooLong || line.text.size() + length > longest_) {
    line.tooLong = true;
    line.text.clear();
  } else {
    line.text.append(buffer_, begin_, length);
  }
  begin_ += length;
}

std::optional<LineReader::Line> LineReader::Next() {
  if (IsStopped()) return std::nullopt;
  Line line;
  bool any = false;
  while (begin_ < buffer_.size() || Fill()) {
    any = true;
    const std::size_t end = buffer_.find('\n', begin_);
    if (end != std::string::npos) {
      Keep(line, end - begin_);
      ++begin_;
      return line;
    }
    Keep(line, buffer_.size() - begin_);
  }
  // What a stop has cut off is no line.
  if (!any || IsStopped()) return std::nullopt;
  return line;
}

}  // namespace vxhost
