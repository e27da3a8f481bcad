#pragma once

#include <TLX/Export.h>

namespace TLXX {

class VX_EXPORT CSystemTime {
 public:
  // The calendar date in UTC at the given milliseconds since the epoch. Month and day from 1.
  static void Lx_GetDate(unsigned long milliseconds, int& year, int& month, int& day);
};

}  // namespace TLXX
