#pragma once

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

// Where trace lines go.
class VX_EXPORT ITraceSink {
 public:
  virtual ~ITraceSink();
  // Called for one line at a time. Whatever it throws is swallowed: the line is lost. [any thread]
  virtual void Write(const CTraceLine& line) = 0;
};

// Replaces the sink of the process; none until set, and lines are then dropped. [any thread]
VX_EXPORT void SetTraceSink(std::shared_ptr<ITraceSink> sink);

// Writes lines to a file descriptor: time, level, file, function, line number and message,
// separated by tabs; control characters in the message as \xNN. Appends; never throws on a full
// disk.
VX_EXPORT std::shared_ptr<ITraceSink> MakeFileTraceSink(const std::string& path,
                                                        std::string& error);

}  // namespace TLX::Internals
