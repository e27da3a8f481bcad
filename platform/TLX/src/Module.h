#pragma once

#include <TLX/Misc/ModuleInfo.h>

namespace TLX::Internals {

// Writes a trace line of the library itself when the level is enabled; the text fills the "%s" of
// the format. Threads only: the layers below trace nothing.
void TraceOwn(unsigned int level, const char* function, const char* format, const char* text);

}  // namespace TLX::Internals
