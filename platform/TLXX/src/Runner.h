#pragma once

#include "CommandText.h"
#include "ErrorLines.h"
#include "RunningChildren.h"

#include <chrono>
#include <cstddef>
#include <string>

namespace TLXX {

// What bounds one run. 0: no limit.
struct CRunBounds {
  std::chrono::milliseconds m_Timeout{0};
  std::chrono::milliseconds m_Linger{0};
  std::size_t m_MaxOutput = 0;
  ERunKind m_Kind = ERunKind::Query;
  // Who is handed the lines of standard error; null: they go to the process's own.
  CErrorLines::CSink m_ErrorSink;
};

// How a run came to its end.
enum class ERunEnd {
  NotStarted,   // m_Code: error number
  Exited,       // m_Code: exit status
  Signalled,    // m_Code: signal number
  StatusTaken,  // ended, but the process lets the kernel reap its children
  TimedOut,     // killed
  TooMuch,      // killed
  Lingered,     // ended, but something it left running held its output open
  Unreadable,   // killed; m_Code: error number
  Cancelled,    // killed, or not started
  Stopped,      // the same, by the CRunStop that the calling thread works under
};

struct CRunResult {
  ERunEnd m_End = ERunEnd::NotStarted;
  int m_Code = 0;
  std::string m_Output;  // what was printed, whole only if Collected()
  std::chrono::nanoseconds m_Duration{0};

  // Started and its output collected whole.
  bool Collected() const;
  // Collected, but it ended with a failure and printed nothing.
  bool FailedSilently() const;
  // Ended by a limit of time.
  bool RanOutOfTime() const;
  // Not started for a passing reason, or failed silently at once; never what the runner ended.
  bool IsWorthRepeating() const;
};

// Runs the command once and collects its output. Leaves no process of the run's group when it
// killed, no descriptor, and no zombie but of a child that does not die within 2 s; that one is
// reaped by a later run. Does not deliver a cancellation: says Cancelled. [any thread]
CRunResult RunOnce(const CCommand& command, const CRunBounds& bounds);

// Waits so long in real time, less when the calling thread is cancelled or stopped: false then.
// [any thread]
bool Pause(std::chrono::milliseconds pause);

// How a collected run ended, for people.
std::string ExplainEnd(const CRunResult& result, const CCommand& command);

// Why the run failed or was bad, for people; empty for a good one.
std::string Explain(const CRunResult& result, const CCommand& command, const CRunBounds& bounds);

}  // namespace TLXX
