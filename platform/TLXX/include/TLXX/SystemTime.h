#pragma once

#include <TLX/Export.h>

namespace TLXX {

// Dates for people, independent of time zone and locale of the process. Without state; nothing
// throws.
class VX_EXPORT CSystemTime {
 public:
  // The calendar date in UTC at the given milliseconds since the epoch. Month and day from 1. Right
  // for every number of milliseconds; the year may have more than four digits. [any thread]
  static void Lx_GetDate(unsigned long milliseconds, int& year, int& month, int& day);
};

}  // namespace TLXX
