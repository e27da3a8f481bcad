#include "LineWriter.h"

#include <cerrno>
#include <condition_variable>
#include <deque>
#include <mutex>
#include <string_view>
#include <system_error>
#include <thread>
#include <utility>

#include <fcntl.h>
#include <unistd.h>

namespace vxhost {

using Clock = std::chrono::steady_clock;

namespace {

int Duplicate(int descriptor) {
  const int copy = ::fcntl(descriptor, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
  if (copy >= 0) return copy;
  throw std::system_error(errno, std::generic_category(), "descriptor for lines");
}

// 0 or the error number.
int WriteAll(int descriptor, std::string_view text) {
  while (!text.empty()) {
    const ssize_t written = ::write(descriptor, text.data(), text.size());
    if (written < 0 && errno == EINTR) continue;
    if (written <= 0) return written < 0 ? errno : EIO;
    text.remove_prefix(static_cast<std::size_t>(written));
  }
  return 0;
}

}  // namespace

struct LineWriter::State {
  struct Entry {
    std::string text;
    unsigned long number;
    bool mayBeDropped;
  };

  State(int number, std::function<std::string(unsigned long)> gap, std::function<void(int)> error)
      : descriptor(Duplicate(number)), gapLine(std::move(gap)), onError(std::move(error)) {}
  ~State() { ::close(descriptor); }
  State(const State&) = delete;
  State& operator=(const State&) = delete;

  const int descriptor;  // our own: the thread may be at it when the writer has gone
  const std::function<std::string(unsigned long)> gapLine;
  const std::function<void(int)> onError;

  std::mutex mutex;  // guards the rest
  std::condition_variable changed;
  std::deque<Entry> waiting;
  std::size_t bytes = 0;      // of those that wait
  unsigned long dropped = 0;  // not told yet
  unsigned long last = 0;     // number of the newest entry
  unsigned long done = 0;     // number of the newest entry that has been written, or could not be
  unsigned long failed = 0;   // number of the newest entry that could not be
  bool writing = false;
  bool lost = false;
  bool ended = false;
  Clock::time_point hurry = Clock::time_point::max();

  bool IsIdle() const { return waiting.empty() && dropped == 0 && !writing; }

  unsigned long Add(std::string text, bool mayBeDropped) {
    bytes += text.size();
    waiting.push_back({std::move(text), ++last, mayBeDropped});
    DropOldest();
    changed.notify_all();
    return last;
  }

  // The newest stays, however long it is.
  void DropOldest() {
    auto oldest = waiting.begin();
    while (bytes > LIMIT && oldest + 1 != waiting.end()) {
      if (!oldest->mayBeDropped) {
        ++oldest;
        continue;
      }
      bytes -= oldest->text.size();
      oldest = waiting.erase(oldest);
      ++dropped;
      lost = true;
    }
  }

  // The next text to write, and the number of its entry; that of a gap has the number of the entry
  // before it.
  Entry TakeNext() {
    if (dropped != 0) return {gapLine(std::exchange(dropped, 0)), done, true};
    Entry next = std::move(waiting.front());
    waiting.pop_front();
    bytes -= next.text.size();
    return next;
  }
};

LineWriter::LineWriter(int descriptor, std::function<std::string(unsigned long)> gapLine,
                       std::function<void(int)> onError)
    : state_(std::make_shared<State>(descriptor, std::move(gapLine), std::move(onError))) {
  // Left to itself: nothing ends a write that the reader does not take.
  std::thread([state = state_] { Run(state); }).detach();
}

LineWriter::~LineWriter() {
  const std::lock_guard lock(state_->mutex);
  state_->ended = true;
  state_->changed.notify_all();
}

void LineWriter::Run(const std::shared_ptr<State>& state) {
  std::unique_lock lock(state->mutex);
  while (true) {
    state->changed.wait(
        lock, [&] { return state->ended || state->dropped != 0 || !state->waiting.empty(); });
    if (state->ended) return;
    const State::Entry entry = state->TakeNext();
    state->writing = true;
    lock.unlock();
    const int error = WriteAll(state->descriptor, entry.text);
    lock.lock();
    if (error != 0) {
      state->failed = entry.number;
      if (!state->ended) state->onError(error);
    }
    state->done = entry.number;
    state->writing = false;
    state->changed.notify_all();
  }
}

void LineWriter::Post(std::string text) {
  const std::lock_guard lock(state_->mutex);
  state_->Add(std::move(text), true);
}

bool LineWriter::Write(std::string text) {
  std::unique_lock lock(state_->mutex);
  const unsigned long number = state_->Add(std::move(text), false);
  const auto isDone = [&] { return state_->done >= number; };
  while (!isDone() && Clock::now() < state_->hurry) {
    if (state_->hurry == Clock::time_point::max()) {
      state_->changed.wait(lock);
    } else {
      state_->changed.wait_until(lock, state_->hurry);
    }
  }
  return isDone() && state_->failed < number;
}

void LineWriter::Hurry(std::chrono::milliseconds patience) {
  const std::lock_guard lock(state_->mutex);
  state_->hurry = Clock::now() + patience;
  state_->changed.notify_all();
}

bool LineWriter::WaitUntilIdle(std::chrono::milliseconds patience) {
  std::unique_lock lock(state_->mutex);
  return state_->changed.wait_for(lock, patience, [&] { return state_->IsIdle(); });
}

void LineWriter::Finish(std::chrono::milliseconds patience) {
  if (WaitUntilIdle(patience)) return;
  const std::lock_guard lock(state_->mutex);
  if (!state_->IsIdle()) state_->lost = true;
}

bool LineWriter::HasLost() const {
  const std::lock_guard lock(state_->mutex);
  return state_->lost;
}

}  // namespace vxhost
