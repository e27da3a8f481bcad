#include "Module.h"

#include <TLX/Internals/TraceStreamBuffer.h>
#include <TLX/Output_Streams/FormatStream.h>

namespace TLXX {

TLX::Misc::CModuleInfo& TLX_MODULE_INFO_TLXX = *new TLX::Misc::CModuleInfo(
    TLX::Misc::MODULE_TLXX, "TLXX", "P:" VX_VERSION " F:" VX_VERSION, nullptr, nullptr);

void Trace(unsigned int level, const char* file, const char* function, unsigned int line,
           const std::string& text) {
  TLX::Internals::CTraceStreamBuffer buffer(level, TLX_MODULE_INFO_TLXX, file, function, line);
  TLX::Output_Streams::CFormatStream stream(buffer, "%s");
  stream << text;
}

}  // namespace TLXX
