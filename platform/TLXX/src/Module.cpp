#include "Module.h"

namespace TLXX {

TLX::Misc::CModuleInfo& TLX_MODULE_INFO_TLXX = *new TLX::Misc::CModuleInfo(
    TLX::Misc::MODULE_TLXX, "TLXX", "P:" VX_VERSION " F:" VX_VERSION, nullptr, nullptr);

}  // namespace TLXX
