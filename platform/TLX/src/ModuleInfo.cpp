#include "Module.h"

#include <algorithm>
#include <mutex>
#include <vector>

#include <TLX/Internals/TraceStreamBuffer.h>
#include <TLX/Misc/ModuleInfo.h>
#include <TLX/Output_Streams/FormatStream.h>

namespace TLX::Misc {
namespace {

struct CRegistry {
  std::mutex m_Lock;
  std::vector<CModuleInfo*> m_Modules;
  unsigned int m_PluginMask = 0;
  unsigned int m_PlatformMask = 0;

  unsigned int& Mask(bool platform) { return platform ? m_PlatformMask : m_PluginMask; }
};

// Never destroyed: records are static objects of other libraries, in any order.
CRegistry& Registry() {
  static CRegistry& registry = *new CRegistry;
  return registry;
}

void SetMasks(bool platform, unsigned int mask) {
  CRegistry& registry = Registry();
  const std::lock_guard lock(registry.m_Lock);
  registry.Mask(platform) = mask;
  for (CModuleInfo* const module : registry.m_Modules)
    if (module->IsPlatform() == platform) module->SetTraceMask(mask);
}

}  // namespace

CModuleInfo::CModuleInfo(Qora_MODULE_IDs id, const char* name, const char* version,
                         const Language_Support::CLanguageSupport::CLngFile* messages,
                         const Language_Support::CLanguageSupport::ERROR_MSG_LIST* errors)
    : m_Id(id),
      m_Name(name),
      m_Version(version),
      m_Messages(messages),
      m_Errors(errors),
      m_TraceMask(0) {
  CRegistry& registry = Registry();
  const std::lock_guard lock(registry.m_Lock);
  registry.m_Modules.push_back(this);
  SetTraceMask(registry.Mask(IsPlatform()));
}

CModuleInfo::~CModuleInfo() {
  CRegistry& registry = Registry();
  const std::lock_guard lock(registry.m_Lock);
  std::erase(registry.m_Modules, this);
}

void CModuleInfo::SetPluginTraceMask(unsigned int mask) {
  SetMasks(false, mask);
}
void CModuleInfo::SetPlatformTraceMask(unsigned int mask) {
  SetMasks(true, mask);
}

void CModuleInfo::ForEach(const std::function<void(CModuleInfo&)>& visit) {
  CRegistry& registry = Registry();
  const std::lock_guard lock(registry.m_Lock);
  for (CModuleInfo* const module : registry.m_Modules) visit(*module);
}

}  // namespace TLX::Misc

namespace TLX::Internals {
namespace {
// Never destroyed: threads that nobody waits for may trace while the process ends.
Misc::CModuleInfo& g_Module =
    *new Misc::CModuleInfo(Misc::MODULE_TLX, "TLX", VX_VERSION, nullptr, nullptr);
}  // namespace

void TraceOwn(unsigned int level, const char* function, const char* format, const char* text) {
  if ((g_Module.TraceMask() & level) == 0) return;
  CTraceStreamBuffer buffer(level, g_Module, "platform/TLX/Thread", function, 0);
  Output_Streams::CFormatStream(buffer, format) << text;
}

}  // namespace TLX::Internals
