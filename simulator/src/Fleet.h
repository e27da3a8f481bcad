#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

// What a fleet file describes, read and checked. Values that the file leaves out are empty here and
// are left out of what the tool prints.
namespace vxsim {

// A PCI function, as in "0000:01:00.0". The domain may exceed 16 bits: functions behind a
// volume-management controller live in domains from 0x10000 up.
struct PciAddress {
  std::uint32_t domain = 0;
  std::uint32_t bus = 0;
  std::uint32_t device = 0;
  std::uint32_t function = 0;

  bool operator==(const PciAddress&) const = default;
};

// Accepts 4 to 8 hexadecimal digits of domain, 2 of bus, 2 of device (up to 1f), 1 of function (up
// to 7); anything else gives nothing.
std::optional<PciAddress> ParsePciAddress(std::string_view text);
// At least 4 digits of domain, as the kernel writes it.
std::string ToText(const PciAddress& address);
// "0000:01": the name of a root bus without its "pci".
std::string BusText(const PciAddress& address);

// The volume-management controller that a drive sits behind.
struct VolumeController {
  PciAddress address;
  std::uint16_t vendor = 0x8086;
  std::uint16_t device = 0x201d;
  std::uint32_t firstBus = 0;  // where the bus numbers of its own domain begin
};

struct PciPlace {
  PciAddress address;
  std::uint16_t vendor = 0x8086;
  std::uint16_t device = 0;
  std::uint16_t subsystemVendor = 0x8086;
  std::optional<std::uint16_t> subsystemDevice;
  std::string driver = "nvme";      // empty: no driver is bound
  std::optional<PciAddress> port;   // the bridge above the drive
  std::optional<std::string> slot;  // physical slot number
  std::optional<VolumeController> behind;
};

// One bit of the critical-warning word and the flag that the tool prints for it.
struct WarningFlag {
  const char* key;      // in the fleet file, below "health.flags"
  std::uint32_t bit;    // in the critical-warning word; the flag's value unless the file gives one
  const char* toolKey;  // in the tool's output
};
inline constexpr std::array<WarningFlag, 4> kWarningFlags{{
    {"spareBelowThreshold", 0x01, "Available Spare Space has fallen below the threshold"},
    {"reliabilityDegraded", 0x04, "Device reliability has degraded"},
    {"readOnlyMode", 0x08, "Media is in a read-only mode"},
    {"volatileBackupFailed", 0x10, "Volatile memory backup device has failed"},
}};
inline constexpr std::uint32_t kTemperatureWarning = 0x02;

struct Health {
  std::optional<std::uint32_t> criticalWarnings;
  std::array<std::optional<bool>, kWarningFlags.size()> flags;
  std::optional<std::int32_t> availableSpare;           // percent
  std::optional<std::int32_t> availableSpareThreshold;  // percent
  std::optional<std::int32_t> percentageUsed;           // 0..255
  std::optional<std::uint64_t> dataUnitsRead;           // of 512,000 bytes
  std::optional<std::uint64_t> dataUnitsWritten;
  std::optional<std::uint64_t> powerOnHours;
  std::optional<std::uint64_t> mediaErrors;
  std::optional<std::int32_t> temperature;        // degrees Celsius
  std::optional<std::int32_t> temperatureOffset;  // degrees Celsius
  std::optional<std::uint64_t> normalizedEA;
  std::optional<std::uint64_t> normalizedAD;
};

enum class ToolCommand { Inventory, Log2, Log197, Log202, Log203, Version, Format, Delete, Set };

// A key that the simulator knows nothing of, and its value as JSON text.
struct ExtraKey {
  std::string name;
  std::string json;
};
// The answers that may have such keys. What the inventory says of a drive, log203 says as well.
inline constexpr std::array kExtraAnswers{ToolCommand::Inventory, ToolCommand::Log2,
                                          ToolCommand::Log197, ToolCommand::Log202};

struct Drive {
  std::optional<std::int32_t> index;  // the tool's index; none: the tool prints no "Index"
  bool present = true;
  std::string state = "live";  // of the controller; a drive that is not live answers no log query
  std::string section;         // what the tool's section name begins with
  std::string serial;
  std::string model;
  std::optional<std::string> family;
  std::optional<std::string> firmware;
  std::optional<std::string> bootloader;
  std::optional<std::string> devicePath;
  std::optional<std::string> deviceStatus;
  std::optional<std::string> errorString;
  std::optional<std::string> powerGovernorMode;
  std::optional<std::string> controllerDescription;
  std::optional<std::string> controllerManufacturer;
  std::optional<std::string> controllerService;
  std::optional<bool> controllerIdeMode;
  std::optional<std::string> driverDescription;
  std::optional<std::string> driverManufacturer;
  std::optional<std::int32_t> driverMajorVersion;
  std::optional<std::int32_t> driverMinorVersion;
  std::optional<std::uint64_t> maximumLBA;    // sectors that the host sees
  std::optional<std::uint64_t> nativeMaxLBA;  // sectors that the drive has
  std::optional<std::uint32_t> sectorSize;    // bytes
  std::optional<std::uint64_t> physicalSize;  // bytes
  std::optional<std::int32_t> lbaFormat;
  std::optional<std::uint32_t> numLbaFormats;
  std::optional<std::uint32_t> powerState;
  std::optional<std::uint32_t> tempThreshold;  // degrees Celsius
  std::optional<std::int32_t> rsteDiskId;      // member of a platform RAID volume
  Health health;
  std::optional<PciPlace> pci;
  // By one of kExtraAnswers. A key that the drive has anyway is printed with this value instead.
  std::map<ToolCommand, std::vector<ExtraKey>> extra;
};

struct ToolCommandName {
  ToolCommand command;
  const char* name;
  bool addressesDrive;
  bool answersJson;
};
inline constexpr std::array<ToolCommandName, 9> kToolCommands{{
    {ToolCommand::Inventory, "inventory", false, true},
    {ToolCommand::Log2, "log2", true, true},
    {ToolCommand::Log197, "log197", true, true},
    {ToolCommand::Log202, "log202", true, true},
    {ToolCommand::Log203, "log203", true, true},
    {ToolCommand::Version, "version", false, true},
    {ToolCommand::Format, "format", true, false},
    {ToolCommand::Delete, "delete", true, false},
    {ToolCommand::Set, "set", true, false},
}};

enum class FaultKind {
  Latency,     // waits "ms" first
  Hang,        // never ends by itself
  Exit,        // ends with "status"
  Crash,       // ends by "signal"
  Silent,      // prints nothing
  Truncated,   // prints the first half
  NoDevice,    // prints "No device selected"
  Garbage,     // prints bytes that are no text
  WrongTypes,  // numbers become texts, texts and booleans become numbers
  Flood,       // prints "megabytes" of valid JSON
  Preamble,    // prints "text" before the answer
};

struct FaultKindName {
  FaultKind kind;
  const char* name;
};
inline constexpr std::array<FaultKindName, 11> kFaultKinds{{
    {FaultKind::Latency, "latency"},
    {FaultKind::Hang, "hang"},
    {FaultKind::Exit, "exit"},
    {FaultKind::Crash, "crash"},
    {FaultKind::Silent, "silent"},
    {FaultKind::Truncated, "truncated"},
    {FaultKind::NoDevice, "noDevice"},
    {FaultKind::Garbage, "garbage"},
    {FaultKind::WrongTypes, "wrongTypes"},
    {FaultKind::Flood, "flood"},
    {FaultKind::Preamble, "preamble"},
}};

struct Fault {
  std::optional<ToolCommand> command;  // none: every command
  std::optional<std::int32_t> index;   // none: every drive
  FaultKind kind = FaultKind::Latency;
  std::uint32_t ms = 0;
  std::uint32_t status = 1;
  std::uint32_t signal = 6;
  std::uint32_t megabytes = 4;
  std::string text = "Notice: this line stands before the answer\n";
  bool keepOutput = false;                  // Exit, Crash: print the answer first
  std::optional<std::uint32_t> firstCalls;  // only this many calls
  std::optional<std::uint32_t> fromCall;    // only from this call on, counted from 1
  std::optional<std::uint64_t> id;          // tells one injection from an equal earlier one
  std::string key;                          // names the fault's own call counter
};

struct Fleet {
  std::string toolVersion = "simulated";
  std::vector<Drive> drives;
  std::vector<Fault> faults;
};

const char* NameOf(ToolCommand command);
const char* NameOf(FaultKind kind);
const ToolCommandName& DescriptionOf(ToolCommand command);

// The names of kExtraAnswers, as fleet files use them.
std::vector<std::string> ExtraAnswerNames();

// The number N of "/dev/nvmeN", "/dev/nvmeNnM" and nothing else.
std::optional<std::uint32_t> ControllerNumber(std::string_view devicePath);

// The first drive with that serial number, else the drive with that index when the text is a
// decimal number; null when there is none.
const Drive* FindDrive(const Fleet& fleet, std::string_view serialOrIndex);

}  // namespace vxsim
