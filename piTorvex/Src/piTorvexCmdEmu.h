#pragma once

#include <string>
#include <vector>

#include <rapidjson/fwd.h>

// What the vendor's tool reports, as plain records. How it is asked is IPLUGINAPI_IMPL's; reading
// its output is separate from running it, so that the readers can be tested on text alone.
namespace NAMESPACE_piTorvex {

// Health values of one drive, gathered from four logs of the tool. A member keeps its default until
// the tool reports it with the expected type.
struct CCmdEmuGetlog {
  unsigned int CriticalWarnings = 0;  // the drive's warning bits and the plug-in's temperature bits
  bool SpareBelowThreshold = false;
  bool Unused1 = false;  // seven flags that nothing fills
  bool Unused2 = false;
  bool Unused3 = false;
  bool Unused4 = false;
  bool Unused5 = false;
  bool Unused6 = false;
  bool Unused7 = false;
  bool ReliabilityDegraded = false;
  bool ReadOnlyMode = false;
  bool VolatileBackupFailed = false;
  int AvailableSpare = 100;            // percent
  int AvailableSpareThreshold = 10;    // percent
  int PercentageUsed = 0;              // percent of rated life
  unsigned long DataUnitsRead = 0;     // units of 512000 bytes
  unsigned long DataUnitsWritten = 0;  // units of 512000 bytes
  unsigned long PowerOnHours = 0;      // hours
  unsigned long MediaErrors = 0;
  unsigned long PhysicalSize = 0;    // bytes
  int CurrentTemperature = 10;       // degrees Celsius as reported
  int TemperatureOffset = 0;         // degrees Celsius
  unsigned long NormalizedEA = 100;  // normalized value of vendor attribute EA
  unsigned long NormalizedAD = 0;    // normalized value of vendor attribute AD

  // The index of the drive that the values were asked for; -1 before the first query. Tells the
  // worker when the tool has renumbered its drives.
  int ToolIndex = -1;
};

// One drive as the tool's inventory reports it. Members bear the names of the tool's keys.
struct CCmdEmuAdapter {
  unsigned long AdapterNumber = 0;  // 1-based position among the accepted drives
  int Index = -1;                   // the tool's own index; -1: none
  std::string Bootloader;
  std::string ControllerDescription;
  bool ControllerIDEMode = false;
  std::string ControllerManufacturer;
  std::string ControllerService;
  std::string DevicePath;
  std::string DeviceStatus;
  std::string DriverDescription;
  std::string DriverMajorVersion;  // one character whose code is the low 8 bits of the number
  std::string DriverManufacturer;
  std::string DriverMinorVersion;  // the same
  std::string ErrorString;
  std::string Firmware;
  int LBAFormat = 0;
  std::string ProductFamily;
  unsigned long MaximumLBA = 0;
  std::string ModelNumber;
  unsigned long NativeMaxLBA = 0;
  unsigned int NumLBAFormats = 0;
  unsigned int NVMePowerState = 0;
  unsigned long PhysicalSize = 0;  // bytes
  std::string PowerGovernorMode;
  unsigned int SectorSize = 0;  // bytes
  std::string SerialNumber;
  unsigned int TempThreshold = 0;
  CCmdEmuGetlog Health;
  std::string Spare1;  // four texts that nothing fills
  std::string Spare2;
  std::string Spare3;
  std::string Spare4;
};

// --- Reading what the tool prints: no child process, no lock, [any thread] --------------------
// Every value that is taken over is traced with its key. Sections that are missing, keys that are
// missing or of another type, and a root that is no object change nothing and are no error.

// Parses the whole text as one JSON value. False, with a null document, when it is not JSON, is
// larger than 64 MiB, or nests deeper than 256 (which would cost the parser its stack).
bool ParseToolOutput(const std::string& text, rapidjson::Document& document);

// Appends the drives that this plug-in serves, in the tool's order; their numbers carry on from the
// size of the list.
void ReadInventory(const rapidjson::Value& root, std::vector<CCmdEmuAdapter>& drives);

// One reader per log. ReadHealthLog throws boost::bad_optional_access when the text of a counter is
// no hexadecimal number; what was read before it stays.
void ReadHealthLog(const rapidjson::Value& root, CCmdEmuGetlog& log);
void ReadTemperatureLog(const rapidjson::Value& root, CCmdEmuGetlog& log);
void ReadAttributeLog(const rapidjson::Value& root, CCmdEmuGetlog& log);
void ReadCapacityLog(const rapidjson::Value& root, CCmdEmuGetlog& log);

// Adds the plug-in's own temperature bits to the warning word; never clears one.
void AddTemperatureWarnings(CCmdEmuGetlog& log);

// Takes the tool's version from the first version section; leaves the text as it is without one.
void ReadVersion(const rapidjson::Value& root, std::string& version);

// The number that a text of hexadecimal digits stands for: leading blanks and "0x" are accepted,
// nothing may follow. Throws boost::bad_optional_access.
unsigned long HexadecimalToNumber(const std::string& text);

}  // namespace NAMESPACE_piTorvex
