#pragma once

#include <TLX/Misc/ModuleInfo.h>
#include <TLX/Misc/Tracer.h>

namespace NAMESPACE_piTorvex {

// The module's identity and trace switch. Constructed when the library is loaded. [any thread]
extern TLX::Misc::CModuleInfo TLX_MODULE_INFO_piTorvex;

// Where trace lines say that they come from: the file pair that answers for the operation,
// whichever unit writes the line. An operation makes one tracer from it and hands it to those that
// work for it.
namespace TraceSource {
inline const TLX::Misc::CTraceSource FRAME{TLX_MODULE_INFO_piTorvex, "piTorvex/Src/piTorvex"};
inline const TLX::Misc::CTraceSource PLUGIN{TLX_MODULE_INFO_piTorvex,
                                            "piTorvex/Src/piTorvexPlugin"};
inline const TLX::Misc::CTraceSource ADAPTER{TLX_MODULE_INFO_piTorvex,
                                             "piTorvex/Src/piTorvexAdapter"};
inline const TLX::Misc::CTraceSource DRIVE{TLX_MODULE_INFO_piTorvex,
                                           "piTorvex/Src/piTorvexPhysicalDrive"};
inline const TLX::Misc::CTraceSource TOOL{TLX_MODULE_INFO_piTorvex, "piTorvex/Src/piTorvexCmdEmu"};
}  // namespace TraceSource

using TLX::Misc::CTracer;

// Traces an exception that ends here, under the operation of the tracer. A line for which there is
// no memory is lost.
void TraceStopped(const CTracer& trace, const char* what) noexcept;

}  // namespace NAMESPACE_piTorvex
