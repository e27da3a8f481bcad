#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <string>

#include <TLX/Export.h>

namespace TLX::Internals {

// One finished trace line. The texts are valid during the call that hands it over.
struct CTraceLine {
  unsigned long m_Time;  // milliseconds since the epoch, as now()
  unsigned int m_Level;  // one bit
  const char* m_Module;
  const char* m_File;
  const char* m_Function;
  unsigned int m_Line;
  const std::string& m_Text;
};

// Where trace lines go. The process has one sink at most; it owns its file or whatever it writes
// to, and is destroyed when nobody writes through it any more.
class VX_EXPORT ITraceSink {
 public:
  virtual ~ITraceSink();
  // Called for one line at a time, with times that never fall. Whatever it throws is swallowed: the
  // line is lost. What it traces itself is dropped; no cancellation strikes inside. It must not set
  // another sink. [any thread]
  virtual void Write(const CTraceLine& line) = 0;
};

// Replaces the sink of the process; none until set or when null, and lines are then dropped. When
// it returns the old sink is out of use. [any thread]
VX_EXPORT void SetTraceSink(std::shared_ptr<ITraceSink> sink);

// How large a trace file grows, in bytes, before it is moved away, and how many of those are kept:
// "trace.log" becomes "trace.1.log", that "trace.2.log", and so on; the oldest goes.
struct CTraceFileLimits {
  std::size_t m_Bytes = std::size_t{16} << 20U;
  std::size_t m_OlderFiles = 3;
};

// Is told, in one line each, when lines begin to be lost, with the reason, and when the file can be
// written again. Called where the line is traced: must be quick, must not throw, and what it traces
// itself is dropped.
using CTraceFileSay = std::function<void(const std::string& line)>;

// A sink that appends lines to a file, made if it is not there: time (UTC, such as
// 2026-03-01T12:34:56.789Z), level as a decimal number, file, function, line number and message,
// separated by tabs; the message as Misc::Printable shows it. Each line is written at once. While
// the file cannot be written, as on a full disk, lines are lost, which say is told, and nothing
// else happens. A file that is no regular one, or named below /dev or /proc, is never moved away.
// Returns null, and says in error what is wrong with which file, when the file cannot be opened;
// error is untouched otherwise. [any thread]
[[nodiscard]] VX_EXPORT std::shared_ptr<ITraceSink> MakeFileTraceSink(
    const std::string& path, std::string& error, const CTraceFileLimits& limits = {},
    CTraceFileSay say = {});

}  // namespace TLX::Internals
