#pragma once

#include <string>
#include <type_traits>

#include <TLX/Internals/TraceStreamBuffer.h>
#include <TLX/Misc/ModuleInfo.h>
#include <TLX/Output_Streams/FormatStream.h>

namespace TLX::Misc {

// Where trace lines come from: the module whose mask and name they have, and the source file as
// they call it, by its path from the top of the tree without its ending. One constant per source
// file. The module and the text must outlive its tracers.
struct CTraceSource {
  const CModuleInfo& m_Module;
  const char* m_File;
};

// Writes the trace lines of one operation under one function name. Made at the operation's begin
// and passed to its helpers; costs three pointers, owns nothing, and may be copied. A line is
// composed only while its level is on in the module's mask, which is looked at for each line anew,
// so that a change of the mask takes effect in the middle of an operation. A level that is off
// costs one load and the values that the call's arguments are.
//
// Lines of one operation are not kept together: those of other threads come between them.
//
//   const CTraceSource TRACE{TLX_MODULE_INFO_example, "example/Src/Drive"};  // once a file
//
//   unsigned int CDrive::Check() {
//     const CTracer trace(TRACE);
//     trace.Steps("ENTER Check()");
//     trace.Detail("%s: %d blocks", m_Name, [&] { return CountBlocks(); });
//     ...
//
// An argument is a number, a text, or a callable without parameters that returns one of them; the
// callable runs only while the level is on, so put there what is not to be computed for nothing. A
// place of the format takes them as CFormatStream says: numbers in the width they have (those wider
// than an unsigned int as unsigned long), texts as they stand, null ones as empty. They need not
// outlive the call. The line number is that of the call.
//
// Throws what a callable throws, and nothing else: a line for which there is no memory is lost. A
// callable that throws leaves the line written as far as it had come. [any thread]
class CTracer {
 public:
  // A format text and the line of the source where it stands: made from the text in each call, so
  // that nobody names lines. The text must stay valid during the call; a literal does.
  struct CFormat {
    constexpr CFormat(const char* text, unsigned int line = __builtin_LINE()) noexcept
        : m_Text(text), m_Line(line) {}
    const char* m_Text;   // not owned
    unsigned int m_Line;  // from 1; what the trace line shows behind the file
  };

  // function: as the lines name the operation; the function that the tracer is made in unless
  // given. Give it in a lambda and in a helper that speaks for its caller. The text must outlive
  // the tracer.
  explicit constexpr CTracer(const CTraceSource& source,
                             const char* function = __builtin_FUNCTION()) noexcept
      : m_Source(source), m_Function(function) {}

  // Whether lines of the level (one bit, TRACE_STEPS and so on) are written. For what takes more
  // than an argument to prepare.
  [[nodiscard]] bool IsOn(unsigned int level) const noexcept {
    return (m_Source.m_Module.TraceMask() & level) != 0;
  }

  // One line at the level TRACE_STEPS: entry, exit and results of steps that a host sees.
  template <class... Values>
  void Steps(CFormat format, const Values&... values) const {
    Write(TRACE_STEPS, format, values...);
  }
  // At TRACE_DETAIL: what concerns single objects, wake-ups.
  template <class... Values>
  void Detail(CFormat format, const Values&... values) const {
    Write(TRACE_DETAIL, format, values...);
  }
  // At TRACE_LOCKS: waits for locks and their releases, one line before and one after. Mutexes that
  // a scope holds have CTracedGuard for it.
  template <class... Values>
  void Locks(CFormat format, const Values&... values) const {
    Write(TRACE_LOCKS, format, values...);
  }
  // At TRACE_TOOL: the tool and the scan.
  template <class... Values>
  void Tool(CFormat format, const Values&... values) const {
    Write(TRACE_TOOL, format, values...);
  }

  // The same for a level that is given, by code that serves several: one bit of the mask. Places
  // and arguments are matched from the left; one too many is dropped and a place without one stays
  // empty.
  template <class... Values>
  void Write(unsigned int level, CFormat format, const Values&... values) const {
    if (!IsOn(level)) return;
    Internals::CTraceStreamBuffer buffer(level, m_Source.m_Module, m_Source.m_File, m_Function,
                                         format.m_Line);
    Output_Streams::CFormatStream stream(buffer, format.m_Text);
    (Feed(stream, values), ...);
  }

 private:
  // One argument into its place. Enumerations and characters are numbers here, and a bool is 0 or
  // 1; what is neither a number, nor a text, nor a callable does not compile.
  template <class Value>
  static void Feed(Output_Streams::CFormatStream& stream, const Value& value) {
    if constexpr (std::is_invocable_v<const Value&>) {
      Feed(stream, value());
    } else if constexpr (std::is_convertible_v<const Value&, std::string>) {
      stream << value;
    } else if constexpr (sizeof(Value) > sizeof(unsigned int)) {
      stream.FormatInt(static_cast<unsigned long>(value));
    } else {
      stream.FormatInt(static_cast<unsigned int>(value));
    }
  }

  // Copies of a reference and two pointers: the tracer stays valid when its source's constant is
  // not within reach any more, as long as module and texts are.
  const CTraceSource m_Source;
  const char* const m_Function;
};

}  // namespace TLX::Misc
