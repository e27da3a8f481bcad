#pragma once

#include <string>

#include <TLX/Export.h>

namespace PI {

// A record of the host that plug-ins keep a list of and do not otherwise use.
class VX_EXPORT CETR {
 public:
  CETR();
  CETR(const CETR&);
  CETR& operator=(const CETR&);
  virtual ~CETR();

  unsigned long m_ID = 0;
  std::string m_Text;
};

}  // namespace PI
