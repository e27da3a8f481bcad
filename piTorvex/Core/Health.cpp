#include "Core/Health.h"

#include "Core/Arithmetic.h"
#include "Core/PhysicalDrive.h"
#include "Core/Text.h"

#include <algorithm>
#include <array>

#include <PI/PluginHelper.h>
#include <TLXX/SystemTime.h>

namespace NAMESPACE_piTorvex {
namespace {

// From which temperature on which bits are set; the first row that is reached counts.
struct CTemperatureRow {
  int m_From;  // degrees Celsius
  unsigned int m_Bits;
};
constexpr auto TEMPERATURE_ROWS = std::to_array<CTemperatureRow>({
    {PI::TEMPERATURE_SHUTDOWN_FROM,
     PI::WARNING_TEMPERATURE_ABOVE_LIMIT | PI::WARNING_TEMPERATURE_SHUTDOWN},
    {PI::TEMPERATURE_HIGH_FROM, PI::WARNING_TEMPERATURE_ABOVE_LIMIT | PI::WARNING_TEMPERATURE_HIGH},
    {PI::TEMPERATURE_WARNING_FROM, PI::WARNING_TEMPERATURE_WARNING},
});

// What a drive warns of, in the order in which it is told: reason code, and the health it means.
// The temperature bits are the tool's one and those that the temperature itself adds.
constexpr unsigned int TEMPERATURE_BITS =
    PI::WARNING_TEMPERATURE | PI::WARNING_TEMPERATURE_WARNING | PI::WARNING_TEMPERATURE_HIGH |
    PI::WARNING_TEMPERATURE_SHUTDOWN | PI::WARNING_TEMPERATURE_ABOVE_LIMIT;
struct CWarning {
  bool (*m_IsSet)(const CCmdEmuGetlog& log);
  int m_Reason;
  unsigned int m_Health;
};
constexpr auto WARNINGS = std::to_array<CWarning>({
    {[](const CCmdEmuGetlog& log) { return log.SpareBelowThreshold; }, PI::CHOICE_REASON_SPARE,
     HEALTH_DEGRADED},
    {[](const CCmdEmuGetlog& log) { return (log.CriticalWarnings & TEMPERATURE_BITS) != 0; },
     PI::CHOICE_REASON_TEMPERATURE, HEALTH_DEGRADED},
    {[](const CCmdEmuGetlog& log) { return log.ReliabilityDegraded; },
     PI::CHOICE_REASON_RELIABILITY, HEALTH_CRITICAL},
    {[](const CCmdEmuGetlog& log) { return log.ReadOnlyMode; }, PI::CHOICE_REASON_READ_ONLY,
     HEALTH_CRITICAL},
    {[](const CCmdEmuGetlog& log) { return log.VolatileBackupFailed; }, PI::CHOICE_REASON_BACKUP,
     HEALTH_CRITICAL},
});
constexpr unsigned long LIFE_LIMIT = 99;  // percent; at or below it a drive is no longer good

constexpr unsigned long BYTES_PER_DATA_UNIT = 512000;
constexpr unsigned long MILLISECONDS_PER_HOUR = 3'600'000;
constexpr unsigned long END_OF_YEAR_9999 = 253'402'300'799'999;  // milliseconds since the epoch

// How a value of the logs becomes one of the adapter (the conversions of Facts/Fields.def).
template <class Value>
Value AsReported(Value value) {
  return value;
}
// The tool's percentages are signed; nothing is below 0.
unsigned int NotNegative(int value) {
  return static_cast<unsigned int>(std::max(value, 0));
}

// What the drive says about the rest of its life.
unsigned long LifeRemaining(const CCmdEmuGetlog& log) {
  return log.NormalizedEA;
}

// A failed backup is told by the next choice, which is the one for "above" as well.
unsigned int LifeStateOf(const CCmdEmuGetlog& log) {
  const unsigned long life = LifeRemaining(log);
  if (life == 100) return PI::CHOICE_LIFE_AS_NEW;
  if (life > 100) return PI::CHOICE_LIFE_ABOVE_NEW;
  return PI::CHOICE_LIFE_BELOW_NEW + (log.VolatileBackupFailed ? 1U : 0U);
}

}  // namespace

void AddTemperatureWarnings(CCmdEmuGetlog& log) {
  // In 64 bits and cut to 32, so that no offset overflows.
  const int temperature =
      static_cast<int>(static_cast<long>(log.CurrentTemperature) - log.TemperatureOffset);
  for (const CTemperatureRow& row : TEMPERATURE_ROWS) {
    if (temperature >= row.m_From) {
      log.CriticalWarnings |= row.m_Bits;
      return;
    }
  }
}

void CopyWear(const CCmdEmuGetlog& log, CTorvexAdapter& adapter) {
#define ADAPTER_WEAR(type, member, initial, source, conversion, meaning) \
  adapter.member = static_cast<type>(conversion(log.source));
#include <Facts/Fields.def>
}

void CopyStatus(const CCmdEmuGetlog& log, CTorvexAdapter& adapter) {
  adapter.StatusBits = log.CriticalWarnings;
  adapter.StatusWord2 = LifeRemaining(log);
  adapter.LifeState = LifeStateOf(log);
  if (log.CriticalWarnings != 0) {
    for (const CWarning& warning : WARNINGS) {
      if (!warning.m_IsSet(log)) continue;
      adapter.HealthReasons.push_back(warning.m_Reason);
      adapter.HealthState = warning.m_Health;
    }
  }
  if (LifeRemaining(log) <= LIFE_LIMIT && adapter.HealthState != HEALTH_CRITICAL) {
    adapter.HealthState = HEALTH_DEGRADED;
  }
}

unsigned long EnduranceOf(const std::string& modelNumber) {
  for (const auto& [pattern, rating] : PI::GetLifeTimeDataNVMe()) {
    if (modelNumber.find(pattern) != std::string::npos) return rating;
  }
  return 1;
}

std::string EndOfLifeDate(const CTorvexAdapter& adapter, unsigned long now) {
  if (adapter.PowerOnHours == NOT_REPORTED) return {};
  const unsigned long unitsWritten =
      adapter.DataUnitsWritten == NOT_REPORTED ? 0 : adapter.DataUnitsWritten;
  // All ones would mean "not reported": a product that does not fit stays below it.
  const unsigned long bytesWritten =
      std::min(MultiplySaturating(unitsWritten, BYTES_PER_DATA_UNIT), NOT_REPORTED - 1);
  unsigned long hours = NOT_REPORTED;
  PI::CPluginHelper::ComputeRemainingLifeTime(adapter.PowerOnHours, bytesWritten,
                                              100 - std::min(adapter.PercentageUsed, 100U),
                                              adapter.EnduranceRating, hours);
  if (hours == NOT_REPORTED) return {};
  const unsigned long remaining = MultiplySaturating(hours, MILLISECONDS_PER_HOUR);
  const unsigned long end = remaining > END_OF_YEAR_9999 - std::min(now, END_OF_YEAR_9999)
                                ? END_OF_YEAR_9999
                                : now + remaining;
  int year = 0;
  int month = 0;
  int day = 0;
  TLXX::CSystemTime::Lx_GetDate(end, year, month, day);
  return FormatText("%4d-%02d-%02d", year, month, day);
}

unsigned int DriveStateOf(const CTorvexAdapter& adapter) {
  return adapter.HealthState == HEALTH_GOOD || adapter.HealthState == HEALTH_DEGRADED
             ? DRIVE_STATE_GOOD
             : DRIVE_STATE_CRITICAL;
}

}  // namespace NAMESPACE_piTorvex
