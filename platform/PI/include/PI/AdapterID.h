#pragma once

#include <array>
#include <string>

#include <TLX/Export.h>

namespace PI {

// How host and plug-in tell each other which adapter they mean. A value type.
class VX_EXPORT CAdapterID {
 public:
  CAdapterID();
  CAdapterID(const CAdapterID&);
  CAdapterID& operator=(const CAdapterID&);
  virtual ~CAdapterID();

  std::string m_Name;                              // left empty by plug-ins
  std::array<unsigned int, 4> m_Identification{};  // PCI segment, bus, device, function
  unsigned int m_AdapterIndex = 0;
  int m_HostNumber = -1;  // -1: not set; the host fills it in
};

}  // namespace PI
