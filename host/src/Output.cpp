#include "Output.h"

#include "LineWriter.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <stdexcept>
#include <system_error>
#include <thread>
#include <utility>

#include <fcntl.h>
#include <fmt/format.h>
#include <poll.h>
#include <sys/resource.h>
#include <unistd.h>

namespace vxhost {

namespace {

// Above the standard descriptors, and closed in the programs that are run.
constexpr int LOWEST_DESCRIPTOR = 10;

// How long a command that ends waits for the readers of its lines.
constexpr std::chrono::milliseconds PATIENCE{2'000};

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

std::string LineOf(std::string_view text) {
  std::string line(text);
  line += '\n';
  return line;
}

std::string SaidLine(std::string_view text) {
  return fmt::format("vxhost: {}\n", text);
}

std::string GapText(unsigned long count) {
  return count == 1 ? "1 line was not shown" : fmt::format("{} lines were not shown", count);
}

std::string GapJson(unsigned long count) {
  return fmt::format("{{\"text\":\"{}\",\"not_shown\":{}}}\n", GapText(count), count);
}

// A pipe in the place of standard output; the end to read from.
int TakePrinted() {
  std::array<int, 2> ends{};
  if (::pipe2(ends.data(), O_CLOEXEC) != 0 || ::fcntl(ends[0], F_SETFL, O_NONBLOCK) != 0) {
    throw std::system_error(errno, std::generic_category(), "pipe for what plug-ins print");
  }
  std::fflush(stdout);
  ::dup2(ends[1], STDOUT_FILENO);
  ::close(ends[1]);
  // As on a terminal, wherever standard error leads: what was printed is seen at once.
  std::setvbuf(stdout, nullptr, _IOLBF, BUFSIZ);
  return ends[0];
}

// Writes standard error in the background: what the host says, and what plug-ins print to standard
// output, so that neither ever waits for a reader. [any thread]
class Errors {
 public:
  // From now on standard output leads here.
  static std::shared_ptr<Errors> Start() {
    auto errors = std::make_shared<Errors>();
    // Ends when standard output leads elsewhere again.
    std::thread([errors] { errors->FollowPrinted(); }).detach();
    return errors;
  }

  Errors()
      : writer_(
            STDERR_FILENO, [](unsigned long count) { return SaidLine(GapText(count)); },
            [](int) {}),
        printed_(TakePrinted()) {}
  ~Errors() { ::close(printed_); }
  Errors(const Errors&) = delete;
  Errors& operator=(const Errors&) = delete;

  // After what was printed before it.
  void Post(std::string line) {
    const std::lock_guard lock(mutex_);
    TakeOver();
    writer_.Post(std::move(line));
  }

  [[nodiscard]] bool WaitUntilIdle(std::chrono::milliseconds patience) {
    {
      const std::lock_guard lock(mutex_);
      TakeOver();
    }
    return writer_.WaitUntilIdle(patience);
  }

  // What is printed later is dropped, so that nobody who prints ever waits.
  void Finish(std::chrono::milliseconds patience) {
    std::fflush(stdout);
    {
      const std::lock_guard lock(mutex_);
      TakeOver();
      if (!unfinished_.empty()) writer_.Post(LineOf(std::exchange(unfinished_, {})));
      finished_ = true;
    }
    writer_.Finish(patience);
  }

  [[nodiscard]] bool HasLost() const { return writer_.HasLost(); }

 private:
  void FollowPrinted() {
    pollfd wait{printed_, POLLIN, 0};
    while (true) {
      if (::poll(&wait, 1, -1) < 0) continue;
      const std::lock_guard lock(mutex_);
      if (!TakeOver()) return;
    }
  }

  // Takes all that the pipe holds, which one reading does: the part is as long as a pipe. False
  // when nobody can print any more. Holds mutex_.
  bool TakeOver() {
    const ssize_t got = ::read(printed_, part_.data(), part_.size());
    if (got < 0) return errno == EAGAIN || errno == EINTR;
    if (!finished_) Split({part_.data(), static_cast<std::size_t>(got)});
    return got > 0;
  }

  void Split(std::string_view text) {
    for (std::size_t end = text.find('\n'); end != std::string_view::npos; end = text.find('\n')) {
      unfinished_ += text.substr(0, end + 1);
      writer_.Post(std::exchange(unfinished_, {}));
      text.remove_prefix(end + 1);
    }
    unfinished_ += text;
    if (unfinished_.size() > part_.size()) writer_.Post(LineOf(std::exchange(unfinished_, {})));
  }

  LineWriter writer_;
  const int printed_;
  std::mutex mutex_;                                 // guards the rest
  std::array<char, std::size_t{64} << 10U> part_{};  // as long as a pipe
  std::string unfinished_;                           // the line that is being printed
  bool finished_ = false;
};

// Who writes standard error in the background, or nobody. Threads of a plug-in that could not be
// ended may speak until the process has ended.
class Speaker {
 public:
  static Speaker& Instance() {
    static auto* const speaker = new Speaker;
    return *speaker;
  }

  void Set(std::shared_ptr<Errors> errors) {
    const std::lock_guard lock(mutex_);
    errors_ = std::move(errors);
  }

  std::shared_ptr<Errors> Get() {
    const std::lock_guard lock(mutex_);
    return errors_;
  }

 private:
  std::mutex mutex_;
  std::shared_ptr<Errors> errors_;
};

}  // namespace

Output::Output() : descriptor_(DuplicateAside(STDOUT_FILENO)) {
  ::dup2(STDERR_FILENO, STDOUT_FILENO);
}

Output::~Output() {
  Finish();
  writer_.reset();
  std::fflush(stdout);
  ::dup2(descriptor_, STDOUT_FILENO);
  ::close(descriptor_);
}

void Output::MoveToBackground(bool json) {
  const auto gapLine = [json](unsigned long count) {
    return json ? GapJson(count) : LineOf(GapText(count));
  };
  writer_ =
      std::make_unique<LineWriter>(descriptor_, gapLine, [this](int error) { NoteError(error); });
  Speaker::Instance().Set(Errors::Start());
}

void Output::NoteError(int error) {
  if (failed_.exchange(true)) return;
  Say(std::string("standard output cannot be written: ") + std::strerror(error));
}

bool Output::Write(std::string_view text) {
  if (writer_ != nullptr) {
    AwaitSaid();
    return writer_->Write(std::string(text));
  }
  const std::lock_guard lock(mutex_);
  if (WriteAll(descriptor_, text)) return true;
  NoteError(errno);
  return false;
}

// Whoever reads an answer finds on standard error what was said on the way to it.
void Output::AwaitSaid() {
  const auto speaker = Speaker::Instance().Get();
  if (speaker != nullptr && !saidIsStuck_) saidIsStuck_ = !speaker->WaitUntilIdle(PATIENCE);
}

bool Output::WriteLine(std::string_view text) {
  return Write(LineOf(text));
}

void Output::PostLine(std::string_view text) {
  writer_->Post(LineOf(text));
}

void Output::Hurry() {
  if (writer_ != nullptr) writer_->Hurry(PATIENCE);
}

void Output::Finish() {
  if (writer_ == nullptr || finished_) return;
  finished_ = true;
  const auto begin = std::chrono::steady_clock::now();
  writer_->Finish(PATIENCE);
  const auto speaker = Speaker::Instance().Get();
  const auto waited = std::chrono::steady_clock::now() - begin;
  const auto left = std::chrono::ceil<std::chrono::milliseconds>(PATIENCE - waited);
  speaker->Finish(std::max(left, std::chrono::milliseconds(0)));
  saidWasLost_ = speaker->HasLost();
  Speaker::Instance().Set(nullptr);
}

bool Output::HasFailed() const {
  return failed_ || saidWasLost_ || (writer_ != nullptr && writer_->HasLost());
}

bool Output::IsTerminal() const {
  return ::isatty(descriptor_) == 1;
}

void Say(std::string_view text) {
  const auto speaker = Speaker::Instance().Get();
  if (speaker != nullptr) return speaker->Post(SaidLine(text));
  WriteAll(STDERR_FILENO, SaidLine(text));
}

void SayOrDrop(std::string_view text) {
  pollfd errors{STDERR_FILENO, POLLOUT, 0};
  if (::poll(&errors, 1, 0) > 0) WriteAll(STDERR_FILENO, SaidLine(text));
}

}  // namespace vxhost
