#pragma once

#include <string>
#include <vector>

#include <PI/Event.h>
#include <PI/Object.h>

namespace NAMESPACE_piTorvex {

inline constexpr unsigned long NOT_REPORTED = ~0UL;  // of an unsigned counter
inline constexpr float TEMPERATURE_UNKNOWN = -1.0F;

inline constexpr unsigned int HEALTH_GOOD = 40024;
inline constexpr unsigned int HEALTH_DEGRADED = 40150;
inline constexpr unsigned int HEALTH_CRITICAL = 40095;
inline constexpr unsigned int LIFE_AS_NEW = 40252;

// One adapter: the PCIe controller of one served drive. A value type; the published ones belong to
// IPLUGINAPI_IMPL. Members in the order in which they are compared.
class CTorvexAdapter : public PI::CObject {
 public:
  CTorvexAdapter() = default;
  CTorvexAdapter(const CTorvexAdapter&) = default;
  CTorvexAdapter& operator=(const CTorvexAdapter&) = default;
  CTorvexAdapter(CTorvexAdapter&&) noexcept = default;
  CTorvexAdapter& operator=(CTorvexAdapter&&) noexcept = default;
  ~CTorvexAdapter() override = default;

  // Compares the status word with the newer object's and queues an event for each bit that has
  // become set, or one when all is clear again. Changes nothing of this object but its read
  // counter, which grows by one. Called on the published object. [holds m_DataLock and
  // m_EventsLock]
  void Update(const CTorvexAdapter& newer, std::vector<PI::CEvent>& events);

  // Whether every member is equal: the object part by its own equality, then all below up to
  // ExtraText.
  bool SameAs(const CTorvexAdapter& other) const;

  unsigned int AdapterNumber = 0;  // 1-based, kept for a serial number as long as it is published
  unsigned int GlobalAdapterNumber = 0;  // unique across the plug-ins of the host
  std::string SerialNumber;              // the key
  std::string Vendor;
  std::string ModelNumber;
  std::string Name;  // display name
  std::string Location;
  std::string DriverName;
  std::string DriverVersion;
  std::string Firmware;
  std::string Bootloader;
  std::string DevicePath;
  unsigned long PciSegment = 0;
  unsigned long PciBus = 0;
  unsigned long PciDevice = 0;
  unsigned long PciFunction = 0;
  unsigned int StatusBits = 0;              // bits that become set raise events
  unsigned long StatusWord2 = 100;          // normalized attribute EA, percent
  unsigned int PercentageUsed = 0;          // percent of rated life, above 100 possible
  unsigned long StatusWord3 = 0;            // media errors
  unsigned long StatusWord4 = 0;            // nothing fills it
  float Temperature = TEMPERATURE_UNKNOWN;  // degrees Celsius
  unsigned int HealthState = HEALTH_GOOD;
  std::vector<int> HealthReasons;
  bool Flag = false;  // nothing fills it
  unsigned int LifeState = LIFE_AS_NEW;
  unsigned long DataUnitsRead = NOT_REPORTED;     // units of 512000 bytes
  unsigned long DataUnitsWritten = NOT_REPORTED;  // units of 512000 bytes
  unsigned long PowerOnHours = NOT_REPORTED;
  unsigned int ReserveSpace = 100;               // percent
  unsigned long EnduranceRating = NOT_REPORTED;  // terabytes written; 1: looked up and not known
  unsigned int SelectedLevel = 40473;
  unsigned int WarningThreshold = 10;  // percent
  std::string ModelNumberCopy;
  std::string ExtraText;  // estimated end-of-life date, year-month-day

  // Not compared:
  int ToolIndex = -1;         // the tool's index at the last scan
  bool RowIsStale = false;    // the database row shows older values: write it at the next scan
  bool RowIsMissing = false;  // the row could not be inserted: insert it at the next scan
};

}  // namespace NAMESPACE_piTorvex
