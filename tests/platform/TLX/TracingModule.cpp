// A library that is loaded and unloaded at run time, as a plug-in is.
#include <TLX/Internals/TraceStreamBuffer.h>
#include <TLX/Misc/ModuleInfo.h>
#include <TLX/Output_Streams/FormatStream.h>

namespace {

TLX::Misc::CModuleInfo g_module(TLX::Misc::MODULE_FIRST_PLUGIN, "unloadable", "P:1 F:1", nullptr,
                                nullptr);

// Dies before the record, and says so.
class LastWords {
 public:
  ~LastWords() {
    if ((g_module.TraceMask() & TLX::Misc::TRACE_STEPS) == 0) return;
    TLX::Internals::CTraceStreamBuffer buffer(TLX::Misc::TRACE_STEPS, g_module, "file", "function",
                                              __LINE__);
    TLX::Output_Streams::CFormatStream(buffer, "%s is unloaded") << g_module.Name();
  }
} g_lastWords;

}  // namespace
