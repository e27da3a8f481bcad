#pragma once

#include <atomic>
#include <functional>
#include <string>

#include <TLX/Export.h>
#include <TLX/Language_Support/LanguageSupport.h>

namespace TLX::Misc {

// Who a module is. Below MODULE_FIRST_PLUGIN: the platform's own libraries and the host. A plug-in
// takes a number from there up that no other has; it is the top 16 bits of its object ids, so it
// stays the same for ever and is below 65536.
//
// The numbers of the platform name the libraries and the host in traces alone; no object has one.
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

// Levels of trace lines, as bits of the mask. Each line has one; masks are sums of them. Bits that
// have no name may be set and do nothing. 30 is all of them.
inline constexpr unsigned int TRACE_STEPS = 2;   // entry, exit and results of host-visible steps
inline constexpr unsigned int TRACE_DETAIL = 4;  // per-object detail, wake-ups
inline constexpr unsigned int TRACE_LOCKS = 8;   // every lock wait and release
inline constexpr unsigned int TRACE_TOOL = 16;   // tool and scan detail

// A module's identity and trace switch, through which hosts tell modules apart, show what is loaded
// and turn traces on while it runs. One static object per module; it registers itself when it
// is built, when the library is loaded, and takes the mask that was set for modules of its kind. It
// leaves the registry when it is destroyed, when the library is unloaded: no thread may trace for
// the module any more. Everything but the mask stays as it was made. [any thread]
class VX_EXPORT CModuleInfo {
 public:
  // id: of this module alone; two records of one id are two modules that are not told apart. name:
  // as traces and hosts show it. version: "P:product F:file". messages, errors: of the module, or
  // null; not copied, so they must outlive the record. Throws for lack of memory only.
  CModuleInfo(Qora_MODULE_IDs id, const char* name, const char* version,
              const Language_Support::CLanguageSupport::CLngFile* messages,
              const Language_Support::CLanguageSupport::ERROR_MSG_LIST* errors);
  // Leaves the registry. Waits for a ForEach that runs on another thread, so that no visitor holds
  // a record that is gone.
  ~CModuleInfo();
  // The registry knows the record by its address.
  CModuleInfo(const CModuleInfo&) = delete;
  CModuleInfo& operator=(const CModuleInfo&) = delete;

  // As they were given; the texts live as long as the record. Hosts show them beside the file that
  // the module was loaded from.
  Qora_MODULE_IDs Id() const noexcept { return m_Id; }
  const std::string& Name() const noexcept { return m_Name; }
  const std::string& Version() const noexcept { return m_Version; }
  // Null when the module has none. For hosts that translate messages; traces are not translated.
  const Language_Support::CLanguageSupport::CLngFile* Messages() const noexcept {
    return m_Messages;
  }
  const Language_Support::CLanguageSupport::ERROR_MSG_LIST* Errors() const noexcept {
    return m_Errors;
  }
  // Who the module is to masks: whether the mask of the platform is this module's, or that of the
  // plug-ins. By the number, so a plug-in cannot choose.
  bool IsPlatform() const noexcept { return m_Id < MODULE_FIRST_PLUGIN; }

  // The trace mask: which levels are written, 0 for none. Read before every trace line, so that a
  // level that is off costs one load. A change reaches other threads soon, in no order with
  // anything else.
  unsigned int TraceMask() const noexcept { return m_TraceMask.load(std::memory_order_relaxed); }
  void SetTraceMask(unsigned int mask) noexcept {
    m_TraceMask.store(mask, std::memory_order_relaxed);
  }

  // Sets the masks of all plug-in records, or of all records of the platform, those that register
  // later included; what single records were set to is lost. 0 unless set. The two masks are kept
  // apart, so that a plug-in is traced without the platform under it. [any thread]
  static void SetPluginTraceMask(unsigned int mask);
  static void SetPlatformTraceMask(unsigned int mask);

  // Calls the function with every record that is registered, in the order of their making: so a
  // host or a test sees which modules are loaded, and as what. A record is valid during its call;
  // for longer only where its library is known to stay loaded. No record may be made or destroyed,
  // and no ForEach called, from inside, since the registry is locked. Throws what the function
  // throws. [any thread]
  static void ForEach(const std::function<void(CModuleInfo&)>& visit);

 private:
  // Constant from the constructor on, and read without a lock therefore; the mask alone changes.
  const Qora_MODULE_IDs m_Id;
  const std::string m_Name;
  const std::string m_Version;
  const Language_Support::CLanguageSupport::CLngFile* const m_Messages;
  const Language_Support::CLanguageSupport::ERROR_MSG_LIST* const m_Errors;
  std::atomic<unsigned int> m_TraceMask;
};

}  // namespace TLX::Misc
