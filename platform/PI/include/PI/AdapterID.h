#pragma once

#include <array>
#include <string>

#include <TLX/Export.h>

namespace PI {

// How host and plug-in tell each other which adapter they mean. Command 1 hands out one for each
// adapter; the host writes its number into each and hands them back with command 2. The plug-in
// keeps copies; records of earlier calls of command 2 stay valid.
//
// A value type: copies share nothing. The special members are compiled in the library, so that
// host and plug-ins share one virtual table. Nothing throws but for lack of memory.
// [one thread at a time]
class VX_EXPORT CAdapterID {
 public:
  // A record that names no adapter yet.
  CAdapterID();
  CAdapterID(const CAdapterID&);
  CAdapterID& operator=(const CAdapterID&);
  virtual ~CAdapterID();

  // Left empty by plug-ins: the display name stands in the adapter object, and changes.
  std::string m_Name;

  // PCI segment, bus, device and function, in this order. Command 2 finds the adapter by these four
  // alone. All 0 for an adapter that is no PCI function.
  std::array<unsigned int, 4> m_Identification{};

  // The plug-in's own count of its adapters. The host numbers adapters without a PCI address by it.
  unsigned int m_AdapterIndex = 0;

  // The number that people type to name the adapter, from 1. The host's to give: plug-ins hand out
  // -1, and a record that comes back with -1 names no adapter.
  int m_HostNumber = -1;
};

}  // namespace PI
