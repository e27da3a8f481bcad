#include <algorithm>
#include <array>
#include <limits>

#include <PI/PluginHelper.h>

namespace PI {

namespace {

__extension__ using uint128 = unsigned __int128;

constexpr unsigned long NOT_KNOWN = std::numeric_limits<unsigned long>::max();

// Most hours that are ever given: 7000 years of 365.25 days. Added to any clock before the year
// 2999 this stays within year 9999.
constexpr unsigned long MOST_HOURS = 7000UL * 8766UL;

constexpr uint128 BYTES_PER_TERABYTE = 1'000'000'000'000ULL;

// hours x left / used, never above MOST_HOURS. used is not 0. Whole and rest of left / used are
// scaled apart, because the full product may have more than 128 bits.
unsigned long Extrapolate(unsigned long hours, uint128 left, unsigned long used) {
  const uint128 whole = left / used;
  if (whole > MOST_HOURS) return MOST_HOURS;
  const uint128 scaled = hours * whole + hours * (left % used) / used;
  return scaled < MOST_HOURS ? static_cast<unsigned long>(scaled) : MOST_HOURS;
}

unsigned long HoursFromPercent(unsigned long hours, unsigned long remainingPercent) {
  if (remainingPercent >= 100) return NOT_KNOWN;
  return Extrapolate(hours, remainingPercent, 100 - remainingPercent);
}

bool IsKnownRating(unsigned long endurance) {
  return endurance != 0 && endurance != 1 && endurance != NOT_KNOWN;
}

unsigned long HoursFromBytes(unsigned long hours, unsigned long written, unsigned long endurance) {
  if (!IsKnownRating(endurance) || written == 0 || written == NOT_KNOWN) return NOT_KNOWN;
  const uint128 rated = endurance * BYTES_PER_TERABYTE;
  return rated <= written ? 0 : Extrapolate(hours, rated - written, written);
}

CPropertyValue EmptyValueOf(_DATA_KIND kind) {
  switch (kind) {
    case KIND_STRING:
      return CStringData{};
    case KIND_CHOICE:
      return CChoiceData{};
    case KIND_UNSIGNED:
      return CLongData{};
    case KIND_RANGE:
      return CRangeData{};
    case KIND_MULTIPLE_CHOICE:
      return CMultiValueData{};
    case KIND_NUMBER_WITH_UNIT:
      return CFloatData{};
  }
  return CStringData{};  // a kind this library does not know is shown as text
}

}  // namespace

void CPluginHelper::GenerateCProperty(const _PROPERTY_DESCRIPTION& description,
                                      CProperty& property) {
  property.m_PropertyID = description.m_PropertyID;
  property.m_LabelID = description.m_LabelID;
  property.m_Kind = description.m_Kind;
  property.m_Unit = description.m_Unit;
  property.m_Settable = false;
  property.m_Default = description.m_Default;
  property.m_Value = EmptyValueOf(description.m_Kind);
}

void CPluginHelper::ComputeRemainingLifeTime(unsigned long powerOnHours, unsigned long bytesWritten,
                                             unsigned long remainingPercent,
                                             unsigned long endurance,
                                             unsigned long& remainingHours) {
  remainingHours = NOT_KNOWN;
  if (powerOnHours == 0 || powerOnHours == NOT_KNOWN) return;
  remainingHours = std::min(HoursFromPercent(powerOnHours, remainingPercent),
                            HoursFromBytes(powerOnHours, bytesWritten, endurance));
}

void CPluginHelper::ConvertBytesToOtherUnit(unsigned long bytes, float& number, _UNITS& unit) {
  constexpr std::array UNITS{UNIT_BYTES, UNIT_KIB, UNIT_MIB, UNIT_GIB,
                             UNIT_TIB,   UNIT_PIB, UNIT_EIB};
  double scaled = static_cast<double>(bytes);
  std::size_t index = 0;
  // Decided on the rounded number: what is a little below 1024 may be 1024 as a float.
  while (static_cast<float>(scaled) >= 1024.0F && index + 1 < UNITS.size()) {
    scaled /= 1024.0;
    ++index;
  }
  number = static_cast<float>(scaled);
  unit = UNITS[index];
}

}  // namespace PI
