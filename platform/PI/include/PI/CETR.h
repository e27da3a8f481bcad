#pragma once

#include <string>

#include <TLX/Export.h>

namespace PI {

// An entry of the list of host records that a plug-in carries. Declared here because the list is
// part of the plug-in object: host and plug-in must agree on the size of an element. The plug-in
// owns the list and destroys it with itself. No command carries one and vxhost makes none, so the
// list stays empty under it.
//
// A value type: copies share nothing, and whoever holds a copy owns its text. The special members
// are compiled in the library, so that host and plug-ins share one virtual table. Nothing throws
// but for lack of memory. [one thread at a time]
class VX_EXPORT CETR {
 public:
  // Number 0 and no text: not a record of anything.
  CETR();
  CETR(const CETR&);
  CETR& operator=(const CETR&);
  virtual ~CETR();

  // Number of the record in the host's own count; 0 in a fresh one. Unrelated to object ids, whose
  // top bits name a module.
  unsigned long m_ID = 0;
  // Text for people, UTF-8; empty in a fresh one. This library neither reads nor changes it.
  std::string m_Text;
};

}  // namespace PI
