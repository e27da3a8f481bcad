#pragma once

#include <string>
#include <vector>

#include <TLX/Export.h>

// The rows that are written to the host's database. Plain values: every field holds its null until
// it is set (texts: DatabaseWrapper::NULL_DB_STRING; lists are empty), and a null is written as the
// database's NULL. The first field is the identity, which the database assigns.
namespace RaidDataModels {

inline constexpr int NULL_INTEGER = -2147483647 - 1;
inline constexpr unsigned long NULL_UNSIGNED = ~0UL;
// The smallest normal single-precision number, kept in a double, stands for "no value".
inline constexpr double NULL_REAL = 1.1754943508222875e-38;

// The plug-in itself. Key: Name.
struct VX_EXPORT Plugin {
  Plugin();
  bool operator==(const Plugin&) const = default;

  int ID = NULL_INTEGER;
  std::string ToolVersion;  // version text of the vendor tool
  unsigned long ObjectID = NULL_UNSIGNED;
  std::string Name;
  int PollInterval = NULL_INTEGER;  // seconds
  std::string SettableProperties;   // JSON
  int Unused1 = NULL_INTEGER;
  int Unused2 = NULL_INTEGER;
  std::string Description;
  std::string Vendor;
  std::string Version;
};

// One adapter. Key: AdapterNumber and Host.
struct VX_EXPORT Adapter {
  Adapter();
  bool operator==(const Adapter&) const = default;

  int ID = NULL_INTEGER;
  unsigned long ObjectID = NULL_UNSIGNED;
  int AdapterNumber = NULL_INTEGER;  // 30120
  std::string Host;
  unsigned char Flag = 0;                          // no column: the column kinds have no byte
  std::string Name;                                // 30007
  std::string Vendor;                              // 30003
  std::string ModelNumber;                         // 30063
  int Mode = NULL_INTEGER;                         // 30158, a choice
  int HealthState = NULL_INTEGER;                  // 30017, a choice
  int PciSegment = NULL_INTEGER;                   // 30479
  int PciBus = NULL_INTEGER;                       // 30037
  int PciDevice = NULL_INTEGER;                    // 30038
  int PciFunction = NULL_INTEGER;                  // 30039
  std::string Location;                            // 30137
  std::string SerialNumber;                        // 30022
  std::string Firmware;                            // 30020
  std::string Bootloader;                          // 30500
  std::string DevicePath;                          // 30247
  std::string DriverName;                          // 30266
  std::string DriverVersion;                       // 30018
  double Temperature = NULL_REAL;                  // 30442, degrees Celsius
  std::string EndOfLifeDate;                       // 30483, year-month-day
  unsigned long PowerOnHours = NULL_UNSIGNED;      // 30498
  int ReserveSpace = NULL_INTEGER;                 // 30486, percent
  int SelectedLevel = NULL_INTEGER;                // 30487, a choice
  int WarningThreshold = NULL_INTEGER;             // 30488, percent
  unsigned long DataUnitsRead = NULL_UNSIGNED;     // 30489, units of 512000 bytes
  unsigned long DataUnitsWritten = NULL_UNSIGNED;  // 30490, units of 512000 bytes
  int RemainingLife = NULL_INTEGER;                // 30494, percent
  int LifeState = NULL_INTEGER;                    // 30468, a choice
  unsigned long MediaErrors = NULL_UNSIGNED;       // 30189
  std::vector<std::string> HealthReasons;          // 30165, codes
};

// One physical drive. Key: SerialNumber and Host.
struct VX_EXPORT PD {
  PD();
  bool operator==(const PD&) const = default;

  int ID = NULL_INTEGER;
  std::string SerialNumber;  // 30022
  std::string Host;
  std::string Name;                             // 30007
  int Channel = NULL_INTEGER;                   // 30122, always 0
  int Target = NULL_INTEGER;                    // 30125, always 0
  std::string Location;                         // 30137
  std::string Vendor;                           // 30003
  std::string ModelNumber;                      // 30063
  int Interface = NULL_INTEGER;                 // 30056, a choice
  unsigned long PhysicalSize = NULL_UNSIGNED;   // 30059, MiB
  unsigned long PhysicalSize2 = NULL_UNSIGNED;  // 30060, MiB
  int State = NULL_INTEGER;                     // 30017, a choice
  unsigned long UsableSize = NULL_UNSIGNED;     // 30461, MiB
  unsigned long UsablePercent = NULL_UNSIGNED;  // 30462, percent
  int SectorSize = NULL_INTEGER;                // 30460, bytes
  double Temperature = NULL_REAL;               // 30069, degrees Celsius
};

}  // namespace RaidDataModels
