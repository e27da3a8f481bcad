#pragma once

#include <TLX/Misc/ModuleInfo.h>

namespace TLXX {

// Never destroyed: threads may still run commands while the process ends.
extern TLX::Misc::CModuleInfo& TLX_MODULE_INFO_TLXX;

}  // namespace TLXX
