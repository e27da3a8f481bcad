#pragma once

#include <chrono>
#include <cstddef>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include <TLX/Export.h>

namespace TLXX {

// What runs a command. The real one is behind CSystem; tests put their own in its place.
class VX_EXPORT ICommandRunner {
 public:
  virtual ~ICommandRunner();
  // As CSystem::ExecuteCommand.
  virtual int Execute(const std::string& command, const std::string& arguments,
                      std::string& output) = 0;
  virtual int Execute(const std::string& command, const std::string& arguments,
                      std::vector<std::string>& lines) = 0;
};

// Limits of the runner. Times are real time, whatever the clock's time scale. A query (text
// overload) whose arguments name a number is about one drive and called a log here; every other one
// may list all drives and is called an inventory.
struct CRunLimits {
  // How long a query may run before its process group is killed; 0: no limit. A log that has run
  // into this limit gets a tenth of it the next times it is asked for with the same arguments, but
  // not less than twice what the longest good query took, until it succeeds or ten times the limit
  // have passed (a tool that has only become slow is not cut off for ever). An inventory always
  // gets the whole limit: cut short, it would take all drives away.
  std::chrono::milliseconds m_QueryTimeout{60'000};
  // The same for the lines overload, which changes drives: no limit, since a killed format can
  // leave a drive half done.
  std::chrono::milliseconds m_LinesTimeout{0};
  // More output of a log, in bytes, than this is a failure; 0: no limit.
  std::size_t m_MaxLogOutput = std::size_t{16} << 20U;
  // The same for an inventory and for the lines overload.
  std::size_t m_MaxInventoryOutput = std::size_t{64} << 20U;
  // The pause before a query that failed at once and said nothing is run a second time; 0: never.
  std::chrono::milliseconds m_RepeatPause{200};
  // How long after its end something that the program left running may hold its output open before
  // the run fails; 0: no limit. What is left is killed with the process group if the run has a time
  // limit, and goes on running if it has none.
  std::chrono::milliseconds m_LingerTimeout{60'000};
};

// What the runner counted for one command. Commands are told apart by their arguments, words that
// are numbers replaced by "N": "show -o json -smart -torvex N". Past 256 of them the others are
// counted together as "(other)".
struct CRunStatistics {
  unsigned long m_Runs = 0;  // calls; one that was repeated counts once
  // Calls that returned 0, and those whose program ended with a failure and printed nothing.
  unsigned long m_Failures = 0;
  unsigned long m_Timeouts = 0;  // calls that ran into a limit of time; failures as well
  // Calls whose program was run a second time. One that succeeded then is no failure, but is told
  // from one that never failed by this count.
  unsigned long m_Repeats = 0;
  std::string m_LastRepeat;  // why the last of them was run again; empty when none was
  std::chrono::nanoseconds m_TotalTime{0};    // of all calls, with repeats and their pauses
  std::chrono::nanoseconds m_LongestTime{0};  // of one call
  std::string m_LastFailure;  // why the last failed call failed; empty when none did
};

// How a program ended that was run for the host itself.
struct VX_EXPORT CProgramResult {
  int m_Status = -1;      // exit status; -1 when it was not started, or was ended by a signal
  std::string m_Output;   // standard output and standard error together, as they were written
  std::string m_Failure;  // why there is no exit status, in one line; empty when there is one

  // What to tell people of a program that failed: what it printed, without blanks and line ends at
  // its end, or why there is no exit status.
  [[nodiscard]] std::string Complaint() const;
};

class VX_EXPORT CSystem {
 public:
  // Runs "command arguments" without a shell and collects what it prints: leading NAME=VALUE words
  // are its environment (beside the process's own), the rest is split at blanks, one trailing
  // "2>&1" joins its standard error to the output (otherwise it goes to the sink of SetErrorSink,
  // or to the process's own). Nothing
  // else is interpreted. A program named without "/" is looked for along the process's own PATH.
  // Standard input is /dev/null. Returns 1 when the program started and its output was collected
  // whole, whatever its exit status; 0 when it is missing or not executable, outlived the time
  // limit, or printed too much; the reason is in the platform's trace. output holds what was
  // printed (empty on failure). Returns after the program has ended and is reaped; one that does
  // not die within 2 s of being killed (it waits for a dead drive in the kernel) is reaped by a
  // later call.
  //
  // A tool that is asked at a bad moment can fail without a word, and its callers take an empty
  // answer for a machine without drives, so that a healthy drive would be told as gone and back.
  // Therefore a query that within 5 s ended with a non-zero status or by a signal and printed
  // nothing, or that could not be started for a passing reason (no memory, no process, no
  // descriptor, the program is being written), is run once more after CRunLimits::m_RepeatPause;
  // the second run alone decides. It is one call of the statistics, with a repeat. When that one
  // also ends badly without a word the result is still 1 with empty output: the program ran and all
  // it printed, nothing, was collected. Such a call counts as failed in the statistics.
  //
  // Delivers a pending cancellation of the calling thread after it has killed and reaped the
  // program and closed all descriptors. On a thread that a cancellation has struck nothing is
  // started and CCancelled is thrown again; in a destructor while the stack unwinds the call fails
  // instead. Fails at once where the CRunStop that the calling thread works under is requested.
  // [any thread]
  [[nodiscard]] static int ExecuteCommand(const std::string& command, const std::string& arguments,
                                          std::string& output);

  // The same, one element a line without its line feed. Never repeated.
  [[nodiscard]] static int ExecuteCommand(const std::string& command, const std::string& arguments,
                                          std::vector<std::string>& lines);

  // Runs a program of the host's own, named by a path or along PATH, with these arguments as they
  // are, and waits for its end. Everything else is as in ExecuteCommand for a query, but that there
  // is no time limit, no repeat, no place in the statistics, no observer and no other runner in its
  // place. Not for the drive tool. words must not be empty. [any thread]
  [[nodiscard]] static CProgramResult RunProgram(const std::vector<std::string>& words);

  // Version of a kernel module: the text of module/<name>/version under the sysfs root, without its
  // line end; empty when there is none. [any thread]
  static void GetModuleVersion(const std::string& name, std::string& version);
  [[nodiscard]] static std::string GetModuleVersion(const std::string& name);

  static void SetRunLimits(const CRunLimits& limits);
  [[nodiscard]] static CRunLimits RunLimits();

  // Snapshot of the counters, by command. [any thread]
  [[nodiscard]] static std::map<std::string, CRunStatistics> RunStatistics();

  // Is given each line that a program writes to its standard error, without its line feed and
  // otherwise as it stands: escape it before it reaches a terminal. The first 64 KiB of a run are
  // handed on, then how much was left out is said in one more line. Called while the program runs,
  // on the thread that made the call; must be quick and must not throw or run commands.
  using CErrorSink = std::function<void(const std::string& line)>;
  // Puts a sink in place for the calls that begin from now on, or none (null, as at first): the
  // programs then have the process's own standard error. [any thread]
  static void SetErrorSink(CErrorSink sink);

  // Is told of every finished call: its arguments, why it failed, empty when it did not (as
  // m_Failures counts), and what the program printed, for the call alone. Called on the thread that
  // made the call, before that returns; must be quick and must not throw or run commands.
  using CRunObserver = std::function<void(const std::string& arguments, const std::string& failure,
                                          const std::string& output)>;
  // Puts an observer in place, or none (null). Returns when the one before is no longer being
  // called. [any thread]
  static void SetRunObserver(CRunObserver observer);

  // For the end of the process: kills the process groups of all queries that are running, and from
  // now on nothing is started any more. Commands that change drives go on, as a killed one can
  // leave a drive half done; returns their command lines. [any thread]
  [[nodiscard]] static std::vector<std::string> EndQueries();

  // Puts another runner in place (null: the real one) and returns the one that was there, null for
  // the real one. The caller keeps it alive while it is in place. [before other threads start]
  static ICommandRunner* SetCommandRunner(ICommandRunner* runner);
};

}  // namespace TLXX
