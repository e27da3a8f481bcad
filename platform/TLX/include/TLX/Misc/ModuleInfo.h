#pragma once

#include <atomic>
#include <functional>
#include <string>

#include <TLX/Export.h>
#include <TLX/Language_Support/LanguageSupport.h>

namespace TLX::Misc {

// Who a module is. Below MODULE_FIRST_PLUGIN: the platform's own libraries and the host.
enum Qora_MODULE_IDs : unsigned int {
  MODULE_TLX = 1,
  MODULE_TLXX = 2,
  MODULE_PI = 3,
  MODULE_DB = 4,
  MODULE_SCHEMA = 5,
  MODULE_ORM = 6,
  MODULE_HOST = 7,
  MODULE_FIRST_PLUGIN = 256,
  MODULE_piTorvex = 309,
};

// Levels of trace lines, as bits of the mask.
inline constexpr unsigned int TRACE_STEPS = 2;   // entry, exit and results of host-visible steps
inline constexpr unsigned int TRACE_DETAIL = 4;  // per-object detail, wake-ups
inline constexpr unsigned int TRACE_LOCKS = 8;   // every lock wait and release
inline constexpr unsigned int TRACE_TOOL = 16;   // tool and scan detail

// A module's identity and trace switch. One static object per module; it registers itself when it
// is built and takes the mask that was set for modules of its kind.
class VX_EXPORT CModuleInfo {
 public:
  CModuleInfo(Qora_MODULE_IDs id, const char* name, const char* version,
              const Language_Support::CLanguageSupport::CLngFile* messages,
              const Language_Support::CLanguageSupport::ERROR_MSG_LIST* errors);
  ~CModuleInfo();
  CModuleInfo(const CModuleInfo&) = delete;
  CModuleInfo& operator=(const CModuleInfo&) = delete;

  Qora_MODULE_IDs Id() const noexcept { return m_Id; }
  const std::string& Name() const noexcept { return m_Name; }
  const std::string& Version() const noexcept { return m_Version; }
  const Language_Support::CLanguageSupport::CLngFile* Messages() const noexcept {
    return m_Messages;
  }
  const Language_Support::CLanguageSupport::ERROR_MSG_LIST* Errors() const noexcept {
    return m_Errors;
  }
  bool IsPlatform() const noexcept { return m_Id < MODULE_FIRST_PLUGIN; }

  // The trace mask: which levels are written. Read before every trace line. [any thread]
  unsigned int TraceMask() const noexcept { return m_TraceMask.load(std::memory_order_relaxed); }
  void SetTraceMask(unsigned int mask) noexcept {
    m_TraceMask.store(mask, std::memory_order_relaxed);
  }

  // Sets the masks of all plug-in records, or of all records of the platform, those that register
  // later included. 0 unless set. [any thread]
  static void SetPluginTraceMask(unsigned int mask);
  static void SetPlatformTraceMask(unsigned int mask);

  // Calls the function with every record that is registered, in the order of their making. No
  // record may be made or destroyed, and no ForEach called, from inside. [any thread]
  static void ForEach(const std::function<void(CModuleInfo&)>& visit);

 private:
  const Qora_MODULE_IDs m_Id;
  const std::string m_Name;
  const std::string m_Version;
  const Language_Support::CLanguageSupport::CLngFile* const m_Messages;
  const Language_Support::CLanguageSupport::ERROR_MSG_LIST* const m_Errors;
  std::atomic<unsigned int> m_TraceMask;
};

}  // namespace TLX::Misc
