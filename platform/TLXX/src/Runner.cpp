#include "Runner.h"

#include "Child.h"
#include "RunStop.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <cstring>
#include <optional>
#include <system_error>
#include <utility>

#include <poll.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <TLX/Threading/Cancellation.h>

namespace TLXX {

namespace {

using Clock = std::chrono::steady_clock;
using TLX::Threading::CCancellation;

constexpr std::chrono::milliseconds DEATH_PATIENCE{2'000};
constexpr std::chrono::milliseconds ASKING_INTERVAL{10};
constexpr std::size_t READ_SIZE = std::size_t{64} << 10U;

// A program that took longer than this to fail would fail again.
constexpr std::chrono::seconds REPEATED_WITHIN{5};

// Whether a start that failed with this error may succeed a moment later.
bool IsPassing(int error) {
  switch (error) {
    case EAGAIN:
    case ENOMEM:
    case ETXTBSY:
    case EMFILE:
    case ENFILE:
      return true;
    default:
      return false;
  }
}

// Never, where there is no limit and where the clock does not reach that far.
Clock::time_point After(Clock::time_point start, std::chrono::milliseconds limit) {
  constexpr auto NEVER = Clock::time_point::max();
  const auto room = std::chrono::floor<std::chrono::milliseconds>(NEVER - start);
  return limit.count() > 0 && limit < room ? start + limit : NEVER;
}

// As poll takes it: -1 for ever, rounded up so that the deadline has passed on return.
int PollTime(Clock::time_point deadline) {
  if (deadline == Clock::time_point::max()) return -1;
  const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - Clock::now()).count();
  return static_cast<int>(std::clamp<std::chrono::milliseconds::rep>(left, 0, INT_MAX));
}

// Follows one child from its start to its end.
class CCollector {
 public:
  explicit CCollector(const CRunBounds& bounds)
      : m_Bounds(bounds),
        m_ErrorLines(bounds.m_ErrorSink),
        m_StopDescriptor(bounds.m_Kind == ERunKind::Query ? RunStopDescriptor() : -1),
        m_Start(Clock::now()),
        m_Deadline(After(m_Start, bounds.m_Timeout)) {}

  CRunResult Run(const CCommand& command) {
    if (IsToEnd()) return std::move(m_Result);
    m_Result.m_Code = m_Child.Start(command, m_Pipe, m_ErrorLines.IsWanted() ? &m_Errors : nullptr,
                                    m_Bounds.m_Kind);
    if (m_Result.m_Code == 0) {
      if (Collect()) {
        TakeStatus();
      } else {
        KillAndReap();
      }
    }
    m_Pipe.Close();
    // A pipe holds no more than one reading takes.
    if (m_Errors.IsOpen()) ReadErrors();
    m_ErrorLines.End();
    m_Errors.Close();
    m_Result.m_Duration = Clock::now() - m_Start;
    return std::move(m_Result);
  }

 private:
  bool End(ERunEnd end) {
    m_Result.m_End = end;
    return false;
  }

  // Whether the caller is to run nothing any more, which it notes.
  bool IsToEnd() {
    if (CCancellation::Requested()) return !End(ERunEnd::Cancelled);
    return m_StopDescriptor >= 0 && RunStopRequested() && !End(ERunEnd::Stopped);
  }

  // Until the child has ended and its output is at its end. False when the run ends for another
  // reason, which it notes.
  bool Collect() {
    while (m_Pipe.IsOpen() || !m_Ended) {
      if (IsToEnd()) return false;
      const auto now = Clock::now();
      if (now >= m_Deadline) return End(ERunEnd::TimedOut);
      if (now >= m_LingerDeadline) return End(ERunEnd::Lingered);
      const bool readable = WaitForNews();
      if (readable && !Read()) return false;
      if (!m_Ended && m_Child.HasEnded()) {
        m_Ended = true;
        m_LingerDeadline = After(Clock::now(), m_Bounds.m_Linger);
      }
    }
    return true;
  }

  // Waits for output, the end of the child, a cancellation, a stop or a deadline; whether there is
  // output.
  bool WaitForNews() {
    std::array<pollfd, 5> polled{{{m_Pipe.Get(), POLLIN, 0},
                                  {m_Errors.Get(), POLLIN, 0},
                                  {m_Ended ? -1 : m_Child.EndDescriptor(), POLLIN, 0},
                                  {CCancellation::WakeDescriptor(), POLLIN, 0},
                                  {m_StopDescriptor, POLLIN, 0}}};
    int time = PollTime(std::min(m_Deadline, m_LingerDeadline));
    if (!m_Ended && m_Child.EndDescriptor() < 0) {
      const int slice = static_cast<int>(ASKING_INTERVAL.count());
      time = time < 0 ? slice : std::min(time, slice);
    }
    if (poll(polled.data(), polled.size(), time) <= 0) return false;
    if (polled[1].revents != 0) ReadErrors();
    return polled[0].revents != 0;
  }

  // Hands on what is there of standard error. What goes wrong with it does not concern the run.
  void ReadErrors() {
    std::array<char, READ_SIZE> chunk;
    const ssize_t count = read(m_Errors.Get(), chunk.data(), chunk.size());
    if (count > 0) m_ErrorLines.Take({chunk.data(), static_cast<std::size_t>(count)});
    if (count == 0 || (count < 0 && errno != EINTR && errno != EAGAIN)) m_Errors.Close();
  }

  // Takes what is there. False when the run ends by it.
  bool Read() {
    std::array<char, READ_SIZE> chunk;
    const ssize_t count = read(m_Pipe.Get(), chunk.data(), chunk.size());
    if (count < 0) {
      if (errno == EINTR) return true;
      m_Result.m_Code = errno;
      return End(ERunEnd::Unreadable);
    }
    if (count == 0) {
      m_Pipe.Close();
      return true;
    }
    const auto length = static_cast<std::size_t>(count);
    if (m_Bounds.m_MaxOutput != 0 && length > m_Bounds.m_MaxOutput - m_Result.m_Output.size()) {
      return End(ERunEnd::TooMuch);
    }
    m_Result.m_Output.append(chunk.data(), length);
    return true;
  }

  void TakeStatus() {
    const std::optional<int> status = m_Child.Reap(DEATH_PATIENCE);
    if (!status) {
      m_Result.m_End = ERunEnd::StatusTaken;
    } else if (WIFSIGNALED(*status)) {
      m_Result.m_End = ERunEnd::Signalled;
      m_Result.m_Code = WTERMSIG(*status);
    } else {
      m_Result.m_End = ERunEnd::Exited;
      m_Result.m_Code = WEXITSTATUS(*status);
    }
  }

  // What lingers after the end of a program without a time limit is not killed: it may be at work
  // on a drive.
  void KillAndReap() {
    if (m_Result.m_End != ERunEnd::Lingered || m_Bounds.m_Timeout.count() > 0) m_Child.Kill();
    m_Pipe.Close();
    m_Child.Reap(DEATH_PATIENCE);
    m_Child.Abandon();
  }

  const CRunBounds& m_Bounds;
  CErrorLines m_ErrorLines;
  const int m_StopDescriptor;
  const Clock::time_point m_Start;
  const Clock::time_point m_Deadline;
  Clock::time_point m_LingerDeadline = Clock::time_point::max();
  CRunResult m_Result;
  CDescriptor m_Pipe;
  CDescriptor m_Errors;
  CChild m_Child;
  bool m_Ended = false;
};

std::string ExplainStart(int error, const std::string& program) {
  std::string text = "cannot start " + program + ": " + std::generic_category().message(error);
  struct stat info {};
  const bool isPath = program.find('/') != std::string::npos;
  if (!isPath || stat(program.c_str(), &info) != 0) return text;
  if (S_ISDIR(info.st_mode)) return text + " (it is a directory)";
  if (error == ENOENT) return text + " (the file is there, its interpreter is not)";
  return text;
}

std::string ExplainSignal(int signal) {
  const char* const name = sigdescr_np(signal);
  std::string text = "ended by signal " + std::to_string(signal);
  return name == nullptr ? text : text + " (" + name + ")";
}

std::string Milliseconds(std::chrono::milliseconds time) {
  return std::to_string(time.count()) + " ms";
}

}  // namespace

bool CRunResult::Collected() const {
  return m_End == ERunEnd::Exited || m_End == ERunEnd::Signalled || m_End == ERunEnd::StatusTaken;
}

bool CRunResult::FailedSilently() const {
  const bool failed = m_End == ERunEnd::Signalled || (m_End == ERunEnd::Exited && m_Code != 0);
  return failed && m_Output.empty();
}

bool CRunResult::RanOutOfTime() const {
  return m_End == ERunEnd::TimedOut || m_End == ERunEnd::Lingered;
}

bool CRunResult::IsWorthRepeating() const {
  if (m_End == ERunEnd::NotStarted) return IsPassing(m_Code);
  return FailedSilently() && m_Duration <= REPEATED_WITHIN;
}

CRunResult RunOnce(const CCommand& command, const CRunBounds& bounds) {
  CChild::ReapAbandoned();
  return CCollector(bounds).Run(command);
}

bool Pause(std::chrono::milliseconds pause) {
  const auto isToEnd = [] { return CCancellation::Requested() || RunStopRequested(); };
  if (pause.count() <= 0) return !isToEnd();
  const auto deadline = After(Clock::now(), pause);
  while (!isToEnd()) {
    const int time = PollTime(deadline);
    if (time == 0) return true;
    std::array<pollfd, 2> wakes{
        {{CCancellation::WakeDescriptor(), POLLIN, 0}, {RunStopDescriptor(), POLLIN, 0}}};
    poll(wakes.data(), wakes.size(), time);
  }
  return false;
}

std::string ExplainEnd(const CRunResult& result, const CCommand& command) {
  const std::string& program = command.m_Words.front();
  if (result.m_End == ERunEnd::Signalled) return program + " " + ExplainSignal(result.m_Code);
  if (result.m_End == ERunEnd::StatusTaken) return program + " ended in a way that is not known";
  return program + " ended with status " + std::to_string(result.m_Code);
}

std::string Explain(const CRunResult& result, const CCommand& command, const CRunBounds& bounds) {
  const std::string& program = command.m_Words.front();
  switch (result.m_End) {
    case ERunEnd::NotStarted:
      return ExplainStart(result.m_Code, program);
    case ERunEnd::Exited:
    case ERunEnd::Signalled:
    case ERunEnd::StatusTaken:
      if (!result.FailedSilently()) return {};
      return ExplainEnd(result, command) + " and printed nothing";
    case ERunEnd::TimedOut:
      return program + " did not end within " + Milliseconds(bounds.m_Timeout) + " and was killed";
    case ERunEnd::TooMuch:
      return program + " printed more than " + std::to_string(bounds.m_MaxOutput) +
             " bytes and was killed";
    case ERunEnd::Lingered:
      return program + " ended, but something it started held its output open for another " +
             Milliseconds(bounds.m_Linger);
    case ERunEnd::Unreadable:
      return "cannot read the output of " + program + ": " +
             std::generic_category().message(result.m_Code);
    case ERunEnd::Cancelled:
      return program + " was not started, or killed, because its caller was cancelled";
    case ERunEnd::Stopped:
      return program + " was not started, or killed, because its caller is to stop";
  }
  return {};
}

}  // namespace TLXX
