#pragma once

#include <string>
#include <utility>
#include <vector>

#include <PI/Property.h>
#include <TLX/Export.h>

namespace PI {

// Patterns of model numbers and the rated endurance, in terabytes (10^12 bytes) written. Looked
// through from the front: the first pattern that occurs in a model number counts. 1 and all ones
// mean "not known" wherever a rating is passed; what is not known is not in the table. The table
// lives as long as the process. [any thread]
VX_EXPORT const std::vector<std::pair<std::string, unsigned long>>& GetLifeTimeDataNVMe();

// The host's own short text for a value code; empty when it has none. [any thread]
[[nodiscard]] VX_EXPORT std::string PropertyValueToString(int code);

// Without state. [any thread]
class VX_EXPORT CPluginHelper {
 public:
  // Fills id, label, kind, unit and default; the value is of the kind's default, and any setter may
  // be called on it later, whatever its kind. Not settable.
  static void GenerateCProperty(const _PROPERTY_DESCRIPTION& description, CProperty& property);

  // Extrapolates the remaining life from hours used and the share that remains (percent), and,
  // where the rating (terabytes written; not known: 0, 1 or all ones) is known, from the bytes
  // written; the shorter counts. remainingHours is all ones when nothing can be said: no hours, or
  // neither share used nor bytes written against a known rating; all ones in powerOnHours or
  // bytesWritten mean "not reported". Never divides by zero or overflows. A known result is at most
  // 61362000 hours (7000 years), so that the date it leads to has a year of four digits.
  static void ComputeRemainingLifeTime(unsigned long powerOnHours, unsigned long bytesWritten,
                                       unsigned long remainingPercent, unsigned long endurance,
                                       unsigned long& remainingHours);

  // Bytes as a number below 1024 and its unit, from UNIT_BYTES to UNIT_EIB in steps of 1024.
  static void ConvertBytesToOtherUnit(unsigned long bytes, float& number, _UNITS& unit);
};

}  // namespace PI
