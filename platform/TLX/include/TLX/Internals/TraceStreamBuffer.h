#pragma once

#include <cstddef>
#include <string>

#include <TLX/Export.h>
#include <TLX/Misc/ModuleInfo.h>

namespace TLX::Internals {

// One trace line under construction. The line goes to the sink when the buffer closes, in the
// destructor; a failure there ends the process, so that a trace never throws into its caller.
// Made only when the level is enabled: the caller tests the mask first. [its own thread]
class VX_EXPORT CTraceStreamBuffer {
 public:
  // The texts must stay valid until the buffer closes.
  CTraceStreamBuffer(unsigned int level, const Misc::CModuleInfo& module, const char* file,
                     const char* function, unsigned int line);
  ~CTraceStreamBuffer() noexcept;
  CTraceStreamBuffer(const CTraceStreamBuffer&) = delete;
  CTraceStreamBuffer& operator=(const CTraceStreamBuffer&) = delete;

  // Adds the bytes to the line. The text need not stay valid. When there is no memory for it
  // the whole line is lost.
  void Append(const char* text, std::size_t length) noexcept;

 private:
  const unsigned int m_Level;
  const Misc::CModuleInfo& m_Module;
  const char* const m_File;
  const char* const m_Function;
  const unsigned int m_Line;
  std::string m_Text;
  bool m_IsLost = false;
};

}  // namespace TLX::Internals
