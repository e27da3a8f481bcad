#pragma once

#include <cstddef>
#include <string>

#include <TLX/Export.h>
#include <TLX/Misc/ModuleInfo.h>

namespace TLX::Internals {

// One trace line under construction. The line goes to the sink when the buffer closes, in the
// destructor; a failure there ends the process, so that a trace never throws into its caller.
// Made only when the level is enabled: the caller tests the mask first. Modules write their lines
// through Misc::CTracer, which does that; this is for what needs the pieces one by one.
//
// The line keeps its place among the others by the moment in which it closes, and that is also the
// time it bears. A line without a sink is composed and dropped. [its own thread]
class VX_EXPORT CTraceStreamBuffer {
 public:
  // level: one bit. file: path of the source without its ending, from the top of the tree.
  // function: its name alone. The texts and the module must stay valid until the buffer closes.
  // The source line is a number of that file, 0 for none.
  CTraceStreamBuffer(unsigned int level, const Misc::CModuleInfo& module, const char* file,
                     const char* function, unsigned int line);
  // Hands the line over. What the sink traces itself is dropped, and a cancellation does not strike
  // in there.
  ~CTraceStreamBuffer() noexcept;
  CTraceStreamBuffer(const CTraceStreamBuffer&) = delete;
  CTraceStreamBuffer& operator=(const CTraceStreamBuffer&) = delete;

  // Adds the bytes to the line, as they are; sinks make them fit for people. The text need not stay
  // valid and may hold NULs. When there is no memory for it the whole line is lost, in silence:
  // what wants to say so would need memory as well.
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
