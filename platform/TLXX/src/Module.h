#pragma once

#include <string>

#include <TLX/Misc/ModuleInfo.h>

namespace TLXX {

// Never destroyed: threads may still run commands while the process ends.
extern TLX::Misc::CModuleInfo& TLX_MODULE_INFO_TLXX;

inline bool Traced(unsigned int level) {
  return (TLX_MODULE_INFO_TLXX.TraceMask() & level) != 0;
}

// Writes the text as it is as one trace line. Test Traced(level) before composing the text. [any
// thread]
void Trace(unsigned int level, const char* file, const char* function, unsigned int line,
           const std::string& text);

}  // namespace TLXX
