#include "Scripts.h"

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <stdexcept>

#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <TLX/Misc/ModuleInfo.h>

namespace tlxxtest {

namespace fs = std::filesystem;

std::string Scripts::Add(const std::string& name, const std::string& body) {
  vxtest::WriteFile(dir_ / name, "#!/bin/sh\nDIR=" + dir_.Path().string() + "\n" + body + "\n",
                    true);
  return Path(name);
}

bool Scripts::Has(const std::string& name) const {
  return fs::exists(dir_ / name);
}

int Scripts::Lines(const std::string& name) const {
  if (!Has(name)) return 0;
  const std::string text = vxtest::ReadFile(dir_ / name);
  return static_cast<int>(std::count(text.begin(), text.end(), '\n'));
}

LifeLine::LifeLine(std::string path) : path_(std::move(path)) {
  if (mkfifo(path_.c_str(), 0600) != 0) throw std::runtime_error("cannot make " + path_);
  reading_ = open(path_.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
  if (reading_ < 0) throw std::runtime_error("cannot open " + path_);
}

LifeLine::~LifeLine() {
  close(reading_);
}

bool LifeLine::ReadUntil(bool text, int milliseconds) {
  char buffer[256];
  pollfd polled{reading_, POLLIN, 0};
  while (poll(&polled, 1, milliseconds) > 0) {
    const ssize_t count = read(reading_, buffer, sizeof buffer);
    if (count == 0) return !text;
    if (count > 0 && text) return true;
  }
  return false;
}

bool LifeLine::WaitUntilHeld() {
  return ReadUntil(true, 30'000);
}
bool LifeLine::WaitUntilReleased() {
  return ReadUntil(false, 30'000);
}
bool LifeLine::IsHeld() {
  return !ReadUntil(false, 0);
}

class TraceCapture::Sink : public TLX::Internals::ITraceSink {
 public:
  explicit Sink(std::function<void(const std::string&)> onLine) : onLine_(std::move(onLine)) {}

  void Write(const TLX::Internals::CTraceLine& line) override {
    if (line.m_Module != std::string("TLXX")) return;
    {
      const std::lock_guard guard(mutex_);
      lines_.push_back(line.m_Text);
    }
    if (onLine_) onLine_(line.m_Text);
  }

  std::vector<std::string> Lines() const {
    const std::lock_guard guard(mutex_);
    return lines_;
  }

 private:
  const std::function<void(const std::string&)> onLine_;
  mutable std::mutex mutex_;
  std::vector<std::string> lines_;
};

TraceCapture::TraceCapture(std::function<void(const std::string&)> onLine)
    : sink_(std::make_shared<Sink>(std::move(onLine))) {
  TLX::Internals::SetTraceSink(sink_);
  TLX::Misc::CModuleInfo::SetPlatformTraceMask(TLX::Misc::TRACE_STEPS | TLX::Misc::TRACE_TOOL);
}

TraceCapture::~TraceCapture() {
  TLX::Misc::CModuleInfo::SetPlatformTraceMask(0);
  TLX::Internals::SetTraceSink(nullptr);
}

std::vector<std::string> TraceCapture::Lines() const {
  return sink_->Lines();
}

std::size_t OpenDescriptors() {
  return static_cast<std::size_t>(
      std::distance(fs::directory_iterator("/proc/self/fd"), fs::directory_iterator{}));
}

bool HasChildren() {
  siginfo_t info{};
  return waitid(P_ALL, 0, &info, WEXITED | WNOHANG | WNOWAIT) == 0;
}

}  // namespace tlxxtest
