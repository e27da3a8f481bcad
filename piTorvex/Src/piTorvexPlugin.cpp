#include "piTorvexPlugin.h"

#include "piTorvex.h"

#include <algorithm>
#include <array>
#include <cassert>
#include <cstdio>
#include <limits>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <unordered_set>
#include <utility>

#include <boost/bind/bind.hpp>
#include <boost/filesystem/path.hpp>
#include <boost/optional.hpp>

#include <DB/DatabaseException.h>
#include <DatabaseORM/Storage.h>
#include <PI/GlobalAdapterID.h>
#include <PI/PluginHelper.h>
#include <TLX/Misc/Application.h>
#include <TLX/Misc/Clock.h>
#include <TLX/Threading/Cancellation.h>
#include <TLX/Threading/Waiter.h>
#include <TLXX/ConfigManager.h>
#include <TLXX/System.h>
#include <TLXX/SystemTime.h>

namespace NAMESPACE_piTorvex {

namespace {

using TLX::Misc::TRACE_DETAIL;
using TLX::Misc::TRACE_LOCKS;
using TLX::Misc::TRACE_STEPS;
using TLX::Misc::TRACE_TOOL;
using TLX::Threading::WAIT_ACQUIRED;
using TLX::Threading::WAIT_TIMED_OUT;
using TLX::Threading::Native_OS::CFastMutex;
using TLX::Threading::Native_OS::CFastMutexGuard;

constexpr const char* TRACE_FILE = "piTorvex/Src/piTorvexPlugin";

// --- Facts

constexpr unsigned int DEFAULT_POLL_INTERVAL = 30;  // seconds
constexpr unsigned int LOWEST_POLL_INTERVAL = 2;
constexpr unsigned int HIGHEST_POLL_INTERVAL = 255;
constexpr unsigned long DEFAULT_REFRESH_INTERVAL = 30000;  // milliseconds
constexpr const char* POLL_INTERVAL_KEY = "PollInterval";
// The doubled syllable belongs to the key.
constexpr const char* REFRESH_INTERVAL_KEY = "IntelPCIeTopologologyRefreshRate";

constexpr unsigned int FIRST_INTERVAL = 100;  // milliseconds, of the worker
constexpr unsigned int RECORD_PAUSE = 1000;   // milliseconds, between two records of a log pass
constexpr unsigned int SHUTDOWN_PAUSE = 100;  // milliseconds, at both ends of the shut-down
constexpr unsigned int SHUTDOWN_STEP = 500;   // milliseconds
constexpr unsigned long SHUTDOWN_LIMIT =
    24999;  // milliseconds, after which the worker is cancelled

constexpr const char* PCI_VENDOR = "8086";
constexpr auto SUPPORTED_DEVICES = std::to_array<const char*>({"0953", "0A54", "2701"});

constexpr unsigned long ALL_ONES = ~0UL;
constexpr unsigned int MIB_SHIFT = 20;

constexpr unsigned long OBJECT_ID_PREFIX = 0x0135000000000000UL;  // the module id on top
constexpr unsigned int EVENT_OBJECT_ADAPTERS =
    19002;  // of events that tell of adapters come and gone

constexpr const char* UNKNOWN_ADAPTER_NAME = "Intel PCIe Device Adapter";

// Marketing names by PCI subsystem device id. The same subsystem id can name one product on device
// 0A54 and another on every other device; that asymmetry is meant.
constexpr unsigned long DEVICE_0A54 = 0x0A54;
struct CMarketingName {
  unsigned long m_SubsystemDeviceId;
  const char* m_NameOn0A54;
  const char* m_NameElsewhere;
};
constexpr auto MARKETING_NAMES = std::to_array<CMarketingName>({
    {0x3702, "PACC EP P3700", "PACC EP P3700"},
    {0x3703, "SSD PCIe3 P3700", "SSD PCIe3 P3700"},
    {0x3904, "PACC EP P4800X", "PACC EP P4800X"},
    {0x3905, "SSD PCIe3 P4800X", "SSD PCIe3 P4800X"},
    {0x4703, "SSD PCIe3 P4501", "SSD PCIe3 P4601"},
    {0x4705, "PACC EP P4501", "PACC EP P4601"},
    {0x4712, "SSD PCIe3 P4600", "SSD PCIe3 P4600"},
    {0x4714, "PACC EP P4600", "PACC EP P4600"},
});

// What a drive warns of, in the order in which it is told: reason code, and the health it means.
// The temperature bits are the tool's one and those that the temperature itself adds.
constexpr unsigned int TEMPERATURE_BITS = 0x02U | 0x20U | 0x40U | 0x80U | 0x200U;
struct CWarning {
  bool (*m_IsSet)(const CCmdEmuGetlog& log);
  int m_Reason;
  unsigned int m_Health;
};
constexpr auto WARNINGS = std::to_array<CWarning>({
    {[](const CCmdEmuGetlog& log) { return log.SpareBelowThreshold; }, 40459, HEALTH_DEGRADED},
    {[](const CCmdEmuGetlog& log) { return (log.CriticalWarnings & TEMPERATURE_BITS) != 0; }, 40460,
     HEALTH_DEGRADED},
    {[](const CCmdEmuGetlog& log) { return log.ReliabilityDegraded; }, 40449, HEALTH_CRITICAL},
    {[](const CCmdEmuGetlog& log) { return log.ReadOnlyMode; }, 40487, HEALTH_CRITICAL},
    {[](const CCmdEmuGetlog& log) { return log.VolatileBackupFailed; }, 40452, HEALTH_CRITICAL},
});
constexpr unsigned long LIFE_LIMIT = 99;  // percent; at or below it a drive is no longer good
constexpr unsigned int LIFE_ABOVE_NEW = 40411;
constexpr unsigned int LIFE_BELOW_NEW = 40410;  // and one more when the fifth warning is set

constexpr const char* ADAPTER_VENDOR = "INTEL";
constexpr const char* DRIVER_NAME = "nvme";
constexpr const char* FAMILY_END = " Series";
constexpr const char* NAME_SEPARATOR = ", ";
constexpr unsigned long BYTES_PER_DATA_UNIT = 512000;
constexpr unsigned long MILLISECONDS_PER_HOUR = 3'600'000;
constexpr unsigned long END_OF_YEAR_9999 = 253'402'300'799'999;  // milliseconds since the epoch

constexpr const char* PLUGIN_NAME = "Torvex-Plugin";
constexpr const char* PLUGIN_VERSION = "7.22.0";
constexpr const char* PLUGIN_VENDOR = "Vioteis.";
constexpr const char* PLUGIN_SETTABLE =
    R"({"settableProperties":[{"name":"pollinterval","formatStr":"<int32>[2..255, 1]"}]})";

constexpr unsigned int FETCH_EVENTS = 50002;
constexpr COperationDescriptor FETCH_EVENTS_DESCRIPTOR = {
    {static_cast<int>(FETCH_EVENTS), static_cast<int>(FETCH_EVENTS), 6, 1, 1, 1, 1, 0, 1}, false};

// What the plug-in object shows.
struct CPluginValues {
  std::string m_ToolVersion;
  int m_PollInterval;
};
struct CPluginProperty {
  unsigned int m_Id;
  unsigned int m_LabelId;  // 1: none
  PI::_DATA_KIND m_Kind;
  bool m_Settable;
  bool (*m_Read)(const CPluginValues& values, PI::CProperty& property);
};
constexpr unsigned int POLL_INTERVAL_PROPERTY = 30005;

std::string PluginLocation() {
  return FormatText("Plugin:ID=%d", static_cast<unsigned int>(TLX::Misc::MODULE_piTorvex));
}

constexpr auto PLUGIN_PROPERTIES = std::to_array<CPluginProperty>({
    {30137, 1, PI::KIND_STRING, false,
     [](const CPluginValues&, PI::CProperty& property) {
       property.SetValue(PluginLocation());
       return true;
     }},
    {30007, 23335, PI::KIND_STRING, false,
     [](const CPluginValues&, PI::CProperty& property) {
       property.SetValue(PLUGIN_NAME);
       return true;
     }},
    {30099, 23340, PI::KIND_STRING, false,
     [](const CPluginValues&, PI::CProperty& property) {
       property.SetValue(PLUGIN_VERSION);
       return true;
     }},
    {30003, 23339, PI::KIND_STRING, false,
     [](const CPluginValues&, PI::CProperty& property) {
       property.SetValue(PLUGIN_VENDOR);
       return true;
     }},
    {30004, 23340, PI::KIND_STRING, false,
     [](const CPluginValues& values, PI::CProperty& property) {
       property.SetValue(values.m_ToolVersion);
       return !values.m_ToolVersion.empty();
     }},
    {POLL_INTERVAL_PROPERTY, 23336, PI::KIND_RANGE, true,
     [](const CPluginValues& values, PI::CProperty& property) {
       property.SetValue(values.m_PollInterval, static_cast<int>(LOWEST_POLL_INTERVAL),
                         static_cast<int>(HIGHEST_POLL_INTERVAL), 1U);
       return true;
     }},
});

// --- Small tools

unsigned int ClampPollInterval(unsigned long seconds) {
  return static_cast<unsigned int>(
      std::clamp<unsigned long>(seconds, LOWEST_POLL_INTERVAL, HIGHEST_POLL_INTERVAL));
}

// The number under the key, or the default when there is none.
template <class Number>
Number ReadNumber(const PI::CConfigFile& file, const char* key, Number byDefault) {
  std::string text;
  if (file.ReadKeyValue(key, text, -1, -1) != SUCCESS) return byDefault;
  const boost::optional<unsigned long> number = ParseNumber(text, std::dec);
  if (!number || *number > std::numeric_limits<Number>::max()) return byDefault;
  return static_cast<Number>(*number);
}

// The one thing that goes to standard output. Flushed, so that it is seen in a pipe at once.
void PrintAdapterCount(unsigned long count) {
  std::printf("%s:  Initialize:  adapter count is %lu\n", TLX_MODULE_INFO_piTorvex.Name().c_str(),
              count);
  std::fflush(stdout);
}

// A lock that is waited for and released by hand, with a trace line on both sides of each. When the
// scope is left by an exception or a cancellation it releases without a word.
class VX_SCOPED_CAPABILITY CTracedLock {
 public:
  // name: as the lines call it. releaseFormat: how the lines of the function name a release.
  CTracedLock(CFastMutex& mutex, const char* name, const char* function, const char* releaseCall)
      VX_ACQUIRE(mutex) VX_NO_THREAD_SAFETY_ANALYSIS : m_Mutex(mutex),
                                                       m_Name(name),
                                                       m_Function(function),
                                                       m_ReleaseCall(releaseCall) {
    TORVEX_TRACE_IN(m_Function, TRACE_LOCKS, "Before %s.Wait(INFINITE)", m_Name);
    m_IsOwned = m_Mutex.Wait(TLX::Threading::WAIT_INFINITE) == WAIT_ACQUIRED;
    TORVEX_TRACE_IN(m_Function, TRACE_LOCKS, "After %s.Wait(INFINITE)", m_Name);
  }
  ~CTracedLock() VX_RELEASE() VX_NO_THREAD_SAFETY_ANALYSIS {
    if (m_IsOwned) m_Mutex.Release();
  }
  CTracedLock(const CTracedLock&) = delete;
  CTracedLock& operator=(const CTracedLock&) = delete;

  bool IsOwned() const { return m_IsOwned; }

  void Release() VX_RELEASE() VX_NO_THREAD_SAFETY_ANALYSIS {
    TORVEX_TRACE_IN(m_Function, TRACE_LOCKS, "Before %s.%s", m_Name, m_ReleaseCall);
    m_IsOwned = false;
    m_Mutex.Release();
    TORVEX_TRACE_IN(m_Function, TRACE_LOCKS, "After %s.%s", m_Name, m_ReleaseCall);
  }

 private:
  CFastMutex& m_Mutex;
  const char* const m_Name;
  const char* const m_Function;
  const char* const m_ReleaseCall;
  bool m_IsOwned = false;
};
constexpr const char* WORKER_RELEASE = "Release ()";     // with a blank
constexpr const char* GET_EVENTS_RELEASE = "Release()";  // without

// The four numbers by which the host knows an adapter, cut to the width that it uses.
std::array<unsigned int, 4> IdentificationOf(const CTorvexAdapter& adapter) {
  return {static_cast<unsigned int>(adapter.PciSegment), static_cast<unsigned int>(adapter.PciBus),
          static_cast<unsigned int>(adapter.PciDevice),
          static_cast<unsigned int>(adapter.PciFunction)};
}

// The marketing name of a host record. It is asked for with the function and the device number of
// the PCI address, in this order; that is how it is meant to be.
std::string MarketingNameOf(const PI::CAdapterID& id) {
  return getAdapterName(id.m_Identification[3], id.m_Identification[2]);
}

// Position of the first object with a serial number. Lives no longer than the objects.
class CSerialIndex {
 public:
  template <class Object>
  explicit CSerialIndex(const std::vector<Object>& objects) {
    m_Positions.reserve(objects.size());
    for (std::size_t i = 0; i < objects.size(); ++i) {
      m_Positions.emplace(objects[i].SerialNumber, i);
    }
  }

  // The position; NONE when no object has the serial number.
  std::size_t Find(const std::string& serialNumber) const {
    const auto found = m_Positions.find(serialNumber);
    return found == m_Positions.end() ? NONE : found->second;
  }

  std::size_t Size() const { return m_Positions.size(); }  // different serial numbers

  static constexpr std::size_t NONE = std::numeric_limits<std::size_t>::max();

 private:
  std::unordered_map<std::string_view, std::size_t> m_Positions;
};

// The same for a list without duplicates. As a rule two scans report the same drives in the same
// order: where an object is expected is looked at first, and the index is made when that fails.
template <class Object>
class CSerialLookup {
 public:
  explicit CSerialLookup(const std::vector<Object>& objects) : m_Objects(objects) {}

  std::size_t Find(const std::string& serialNumber, std::size_t expected) {
    if (expected < m_Objects.size() && m_Objects[expected].SerialNumber == serialNumber) {
      return expected;
    }
    if (!m_Index.has_value()) m_Index.emplace(m_Objects);
    return m_Index->Find(serialNumber);
  }

 private:
  const std::vector<Object>& m_Objects;
  std::optional<CSerialIndex> m_Index;
};

// --- Scan: from tool records to objects. Traces stand under the name of the scan.

constexpr const char* SCAN = "ScanSystem";

bool IsBehindVolumeManagement(const std::string& devicePath) {
  return TLXX::CConfigManager::IsDiskConnectedThroughOneOfDevices(
      devicePath, {{PCI_VENDOR, "201d"}, {PCI_VENDOR, "28c0"}});
}

void LocateAdapter(CTorvexAdapter& adapter, CTorvexPhysicalDrive& drive) {
  if (!TLXX::CConfigManager::GetLocation(adapter.PciSegment, adapter.PciBus, adapter.PciDevice,
                                         adapter.PciFunction, adapter.DevicePath)) {
    TORVEX_TRACE_IN(SCAN, TRACE_TOOL, "ScanSystem, Can not retrive PCI properties");
  }
  adapter.Location =
      adapter.PciSegment != 0
          ? FormatText("PCI:Segment=%d&Bus=%d&Device=%d&Function=%d", adapter.PciSegment,
                       adapter.PciBus, adapter.PciDevice, adapter.PciFunction)
          : FormatText("PCI:Bus=%d&Device=%d&Function=%d", adapter.PciBus, adapter.PciDevice,
                       adapter.PciFunction);
  drive.Location = adapter.Location + "&ID=0";
}

void CopyIdentity(const CCmdEmuAdapter& record, CTorvexAdapter& adapter,
                  CTorvexPhysicalDrive& drive) {
  adapter.ToolIndex = record.Index;
  adapter.SerialNumber = record.SerialNumber;
  adapter.Firmware = record.Firmware;
  adapter.Bootloader = record.Bootloader;
  adapter.DevicePath = record.DevicePath;
  adapter.ModelNumber = record.ModelNumber;
  adapter.ModelNumberCopy = record.ModelNumber;
  adapter.Vendor = ADAPTER_VENDOR;
  adapter.DriverName = DRIVER_NAME;
  drive.SerialNumber = record.SerialNumber;
  drive.ModelNumber = record.ModelNumber;
  drive.Vendor = ADAPTER_VENDOR;
}

// The number that all plug-ins of the host share. The host's mutex is given back before the number
// is made, because that takes it again.
unsigned int GlobalNumberOf(const std::string& serialNumber) {
  PI::CGlobalAdapterID id(PI::LOOPBACK_HOST_NAME, serialNumber);
  {
    const std::lock_guard<std::mutex> guard(PI::AllHostsAdaptersUniqueIDsMtx);
    PI::AllHostsAdaptersUniqueIDs.insert(id);
  }
  id.GenerateUniqueAdapterNumber();
  return id.GetGlobalAdapterNumber();
}

std::string DriverVersionOf(const CCmdEmuAdapter& record, const std::string& driverName) {
  std::string version;
  TLXX::CSystem::GetModuleVersion(driverName, version);
  if (version.empty() && !record.DriverMajorVersion.empty() && !record.DriverMinorVersion.empty()) {
    version = FormatText("%s.%s", record.DriverMajorVersion, record.DriverMinorVersion);
  }
  return version;
}

// The tool's percentages are signed; nothing is below 0.
unsigned int Percentage(int value) {
  return static_cast<unsigned int>(std::max(value, 0));
}

// What the drive says about the rest of its life: the normalized value of its attribute EA.
unsigned long LifeRemaining(const CCmdEmuGetlog& log) {
  return log.NormalizedEA;
}

// The values that a log pass may write into a published adapter: those that raise no event.
void CopyWear(const CCmdEmuGetlog& log, CTorvexAdapter& adapter) {
  adapter.Temperature = static_cast<float>(log.CurrentTemperature);
  adapter.PercentageUsed = Percentage(log.PercentageUsed);
  adapter.DataUnitsRead = log.DataUnitsRead;
  adapter.DataUnitsWritten = log.DataUnitsWritten;
  adapter.PowerOnHours = log.PowerOnHours;
  adapter.ReserveSpace = Percentage(log.AvailableSpare);
  adapter.WarningThreshold = Percentage(log.AvailableSpareThreshold);
  adapter.StatusWord3 = log.MediaErrors;
}

unsigned int LifeStateOf(const CCmdEmuGetlog& log) {
  const unsigned long life = LifeRemaining(log);
  if (life == 100) return LIFE_AS_NEW;
  if (life > 100) return LIFE_ABOVE_NEW;
  return LIFE_BELOW_NEW + (log.VolatileBackupFailed ? 1U : 0U);
}

// The values whose change raises events: only a scan may write them, or a bit that a log pass had
// written would never be seen to become set.
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

// The rating of the model; 1 when it is not known.
unsigned long EnduranceOf(const std::string& modelNumber) {
  for (const auto& [pattern, rating] : PI::GetLifeTimeDataNVMe()) {
    if (modelNumber.find(pattern) != std::string::npos) return rating;
  }
  return 1;
}

unsigned long MultiplySaturating(unsigned long left, unsigned long right) {
  unsigned long product = 0;
  return __builtin_mul_overflow(left, right, &product) ? ALL_ONES : product;
}

// The day on which the drive will be worn out, year-month-day; empty when nothing can be said.
std::string EndOfLifeDate(const CTorvexAdapter& adapter) {
  if (adapter.PowerOnHours == NOT_REPORTED) return {};
  const unsigned long unitsWritten =
      adapter.DataUnitsWritten == NOT_REPORTED ? 0 : adapter.DataUnitsWritten;
  unsigned long hours = ALL_ONES;
  PI::CPluginHelper::ComputeRemainingLifeTime(
      adapter.PowerOnHours, MultiplySaturating(unitsWritten, BYTES_PER_DATA_UNIT),
      100 - std::min(adapter.PercentageUsed, 100U), adapter.EnduranceRating, hours);
  if (hours == ALL_ONES) return {};
  const unsigned long now = TLX::Misc::now();
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

void TraceWear(const CTorvexAdapter& adapter) {
  TORVEX_TRACE_IN(SCAN, TRACE_TOOL, "ScanSystem, DataUnitsRead = %d", adapter.DataUnitsRead);
  TORVEX_TRACE_IN(SCAN, TRACE_TOOL, "ScanSystem, DataUnitsWritten = %d", adapter.DataUnitsWritten);
  TORVEX_TRACE_IN(SCAN, TRACE_TOOL, "ScanSystem, PowerOnHours = %d", adapter.PowerOnHours);
  TORVEX_TRACE_IN(SCAN, TRACE_TOOL, "ScanSystem, ReserveSpace = %d", adapter.ReserveSpace);
  TORVEX_TRACE_IN(SCAN, TRACE_TOOL, "ScanSystem, WarningThreshold = %d", adapter.WarningThreshold);
}

// part of whole in percent; whole is not 0. In 128 bits, saturating, so that no size wraps around.
__extension__ using CWide = unsigned __int128;

unsigned long PercentOf(unsigned long part, unsigned long whole) {
  const CWide percent = static_cast<CWide>(part) * 100 / whole;
  return percent > ALL_ONES ? ALL_ONES : static_cast<unsigned long>(percent);
}

// The record's size is the inventory's until the health query has told the capacity.
void SizeDrive(CCmdEmuAdapter& record, bool healthKnown, CTorvexPhysicalDrive& drive) {
  if (healthKnown && record.Health.PhysicalSize != 0) {
    record.PhysicalSize = record.Health.PhysicalSize;
  }
  drive.PhysicalSizeMiB = record.PhysicalSize >> MIB_SHIFT;
  drive.PhysicalSizeMiB2 = drive.PhysicalSizeMiB;
  TORVEX_TRACE_IN(SCAN, TRACE_TOOL, "ScanSystem, PhysicalSize = %d", drive.PhysicalSizeMiB);
  drive.SectorSize = record.SectorSize;
  const CWide usable = static_cast<CWide>(record.SectorSize) * record.MaximumLBA;
  drive.UsableSizeMiB = static_cast<unsigned long>(usable >> MIB_SHIFT);
  if (record.NativeMaxLBA != 0) {
    drive.UsablePercent = PercentOf(record.MaximumLBA, record.NativeMaxLBA);
  } else if (drive.PhysicalSizeMiB != 0) {
    drive.UsablePercent = PercentOf(drive.UsableSizeMiB, drive.PhysicalSizeMiB);
  } else {
    drive.UsablePercent = 100;
  }
}

// The family up to " Series" and the model number without its vendor word.
std::string DriveNameOf(const CCmdEmuAdapter& record) {
  const std::size_t blank = record.ModelNumber.find(' ');
  const std::string model =
      blank == std::string::npos ? record.ModelNumber : record.ModelNumber.substr(blank + 1);
  const std::string family = record.ProductFamily.substr(0, record.ProductFamily.find(FAMILY_END));
  return family + NAME_SEPARATOR + model;
}

unsigned int DriveStateOf(const CTorvexAdapter& adapter) {
  return adapter.HealthState == HEALTH_GOOD || adapter.HealthState == HEALTH_DEGRADED
             ? DRIVE_STATE_GOOD
             : DRIVE_STATE_CRITICAL;
}

// The numbers of adapters in use. An adapter keeps its number as long as it is published: the
// number keys its database row and must not move when another drive is pulled.
class CAdapterNumbers {
 public:
  void Use(unsigned int number) { m_Used.insert(number); }

  // The wanted number, or the lowest free one from 1.
  unsigned int Take(unsigned int wanted) {
    unsigned int number = wanted;
    if (number == 0 || m_Used.count(number) != 0) {
      while (m_Used.count(m_LowestFree) != 0) ++m_LowestFree;
      number = m_LowestFree;
    }
    m_Used.insert(number);
    return number;
  }

 private:
  std::unordered_set<unsigned int> m_Used;
  unsigned int m_LowestFree = 1;  // none below is free: numbers are only taken
};

// --- Merge

// What tells that an adapter has come or gone. Drivers of volume management name it by its key.
struct CAdapterChange {
  unsigned int m_EventId;
  unsigned int m_Severity;
};
constexpr CAdapterChange ADAPTER_ADDED = {11093, PI::SEVERITY_INFORMATION};
constexpr CAdapterChange ADAPTER_REMOVED = {11094, PI::SEVERITY_WARNING};

bool IsVolumeManagementDriver(const std::string& driverName) {
  return driverName == "IaNVMe" || driverName == "iaVROC";
}

PI::CEvent MakeAdapterEvent(const CAdapterChange& change, const CTorvexAdapter& adapter) {
  const bool byKey = IsVolumeManagementDriver(adapter.DriverName);
  const std::string unknown = UNKNOWN_ADAPTER_NAME;
  const std::string name = byKey ? unknown + " (" + adapter.SerialNumber + ")" : adapter.Name;
  PI::CEvent event(change.m_EventId, change.m_Severity, EVENT_OBJECT_ADAPTERS, TLX::Misc::now(),
                   name);
  event.SetPlaceHolder1(byKey ? unknown : adapter.Name);
  event.SetPlaceHolder2(byKey ? " " + adapter.SerialNumber : " ");
  return event;
}

// Gives the new object what changes in a published one without its being another object, so that
// only real differences count.
void CarryLinks(const PI::CObject& published, PI::CObject& newer) {
  newer.m_ParentIDs = published.m_ParentIDs;
  newer.m_ChildIDs = published.m_ChildIDs;
  newer.m_LockFlag = published.m_LockFlag;
  newer.m_ReadCounter = std::max(newer.m_ReadCounter, published.m_ReadCounter);
}

// Makes the new object the published one's successor.
template <class Object>
void Succeed(const Object& published, Object& newer) {
  newer.m_ID = published.m_ID;
  newer.m_ReadCounter = std::max(newer.m_ReadCounter, published.m_ReadCounter);
  newer.RowIsStale = published.RowIsStale;
  newer.RowIsMissing = published.RowIsMissing;
}

// Whatever marks the caller's objects carry are not those of this merge.
template <class Object>
void ClearMarks(std::vector<Object>& objects) {
  for (Object& object : objects) {
    object.RowIsStale = false;
    object.RowIsMissing = false;
  }
}

// Keeps the first object of each serial number.
template <class Object>
void DropLaterDuplicates(std::vector<Object>& objects) {
  std::vector<Object> kept;
  {
    const CSerialIndex index(objects);
    if (index.Size() == objects.size()) return;
    for (std::size_t i = 0; i < objects.size(); ++i) {
      if (index.Find(objects[i].SerialNumber) == i) kept.push_back(objects[i]);
    }
  }
  objects.swap(kept);
}

}  // namespace

std::string getAdapterName(unsigned long subsystemDeviceId, unsigned long deviceId) {
  for (const CMarketingName& row : MARKETING_NAMES) {
    if (row.m_SubsystemDeviceId != subsystemDeviceId) continue;
    return deviceId == DEVICE_0A54 ? row.m_NameOn0A54 : row.m_NameElsewhere;
  }
  return UNKNOWN_ADAPTER_NAME;
}

// --- Life cycle

IPLUGINAPI_IMPL::IPLUGINAPI_IMPL() : m_Database(getDatabasePointer()) {
  m_PluginOptions.SetFileName("piTorvex.ini");
  PollInterval =
      ClampPollInterval(ReadNumber(m_PluginOptions, POLL_INTERVAL_KEY, DEFAULT_POLL_INTERVAL));
  m_CustomOptions.SetFileName("CustomOpOpts.ini");
  m_TopologyRefreshInterval =
      ReadNumber(m_CustomOptions, REFRESH_INTERVAL_KEY, DEFAULT_REFRESH_INTERVAL);
  m_RecordCallback = boost::bind(&IPLUGINAPI_IMPL::AdvanceRecordPosition, this);
}

IPLUGINAPI_IMPL::~IPLUGINAPI_IMPL() = default;

unsigned int IPLUGINAPI_IMPL::InitializeLocks() {
  // The events lock is called by another name in its message; that is how it is meant to be.
  const auto check = [](unsigned int result, const char* name) {
    if (result == WAIT_ACQUIRED) return true;
    TORVEX_TRACE_IN("Initialize", TRACE_STEPS,
                    "LEAVE Initialize() %s.Init() -> PI::ERR_LOCK_INITIALIZATION_FAILED %d", name,
                    result);
    return false;
  };
  const bool ready = check(m_DataLock.Init(), "m_DataLock") &&
                     check(m_EventsLock.Init(), "m_PrivateEventsLock") &&
                     check(m_ForceWorker.Init(false, false), "m_ForceWorker") &&
                     check(m_StopRequest.Init(false, true), "m_StopRequest") &&
                     check(m_PrivateEvent.Init(false, false), "m_PrivateEvent");
  return ready ? SUCCESS : PI::ERR_LOCK_INITIALIZATION_FAILED;
}

namespace {

// Whether one of the devices sits on the bus. Where is of no interest here.
bool IsHardwarePresent() {
  return std::any_of(SUPPORTED_DEVICES.begin(), SUPPORTED_DEVICES.end(), [](const char* device) {
    unsigned long bus = 0;
    unsigned long deviceNumber = 0;
    unsigned long function = 0;
    return TLXX::CConfigManager::GetLocation(PCI_VENDOR, device, 1, bus, deviceNumber, function);
  });
}

}  // namespace

// Inventory and version of the tool. The lock is taken without trace lines: nobody else is there
// yet unless the host starts up twice, and then it keeps the worker away from the records.
unsigned int IPLUGINAPI_IMPL::QueryTool() {
  const CFastMutexGuard guard(m_DataLock);
  const boost::filesystem::path process(TLX::Misc::CTlxApplication::GetProcessPath());
  m_ToolPath = process.parent_path() / "bin" / "isdct";
  m_CommandPrefix = "LD_PRELOAD=" + m_ToolPath.parent_path().string() +
                    "/libIntel.SSDFeatures.so.2.0.0 " + m_ToolPath.string();
  const unsigned int result = GetAdaptersInfo();
  m_AdapterCount = m_ToolRecords.size();
  TORVEX_TRACE_IN("Initialize", TRACE_TOOL, "Initialize, CmdEmu_getAdapterCount returned = %d",
                  m_AdapterCount);
  if (result != SUCCESS) {
    TORVEX_TRACE_IN("Initialize", TRACE_TOOL, "Initialize, CmdEmu_getAdapterCount called = %d",
                    result);
    PrintAdapterCount(m_AdapterCount);
    return result;
  }
  (void)GetVersion(m_ToolVersion);  // its result says nothing
  return SUCCESS;
}

// The scan at start-up, straight into the published lists. What an earlier start-up still had to
// delete is forgotten: the numbers count from 1 again, so that the deletes would hit the new rows.
unsigned long IPLUGINAPI_IMPL::FirstScan() {
  m_UndeletedAdapters.clear();
  try {
    const unsigned long result = ScanSystem(m_Adapters, m_PhysicalDrives, true);
    DropDuplicates(m_Adapters, m_PhysicalDrives);
    return result;
  } catch (const std::exception& error) {
    TraceStopped("Initialize", error.what());
    return ERR_GENERAL_FAILURE;
  }
}

// Takes back what a start-up without an adapter has published.
void IPLUGINAPI_IMPL::WithdrawObjects() {
  (void)WriteRow(CRowWork::Delete, m_Plugin);
  m_PluginRowIsMissing = false;
  for (CTorvexAdapter& adapter : m_Adapters) (void)WriteRow(CRowWork::Delete, adapter);
  m_Adapters.clear();
  m_PhysicalDrives.clear();
  m_Plugin.m_ChildIDs.clear();  // of an earlier start-up
  ++m_Plugin.m_ReadCounter;
  m_AdapterCount = 0;
}

// The drives are stored once for each adapter, all of them each time; that is how it is meant to
// be. One success is enough for a row to be there.
void IPLUGINAPI_IMPL::PublishAdapters(std::vector<PI::CAdapterID>& out) {
  m_Plugin.m_ChildIDs.clear();
  for (CTorvexPhysicalDrive& drive : m_PhysicalDrives) drive.RowIsMissing = true;
  for (CTorvexAdapter& adapter : m_Adapters) {
    PI::CAdapterID id;
    id.m_Identification = IdentificationOf(adapter);
    id.m_AdapterIndex = adapter.AdapterNumber;
    id.m_HostNumber = -1;
    out.push_back(id);
    m_Plugin.m_ChildIDs.push_back(adapter.m_ID);
    adapter.m_ParentIDs.push_back(m_Plugin.m_ID);
    adapter.RowIsMissing = !WriteRow(CRowWork::Insert, adapter);
    for (CTorvexPhysicalDrive& drive : m_PhysicalDrives) {
      if (WriteRow(CRowWork::Insert, drive)) drive.RowIsMissing = false;
    }
  }
}

unsigned int IPLUGINAPI_IMPL::Initialize(std::vector<PI::CAdapterID>& out) {
  TORVEX_TRACE(TRACE_STEPS, "ENTER Initialize()");
  if (const unsigned int result = InitializeLocks(); result != SUCCESS) return result;
  if (!IsHardwarePresent()) {
    PrintAdapterCount(0);
    TORVEX_TRACE(TRACE_STEPS, "LEAVE Initialize() -> PI::ERR_NO_SUPPORTED_HARDWARE");
    return PI::ERR_NO_SUPPORTED_HARDWARE;
  }
  if (QueryTool() != SUCCESS) {
    TORVEX_TRACE(TRACE_STEPS, "LEAVE Initialize() -> PI::ERR_API_INITIALIZATION_FAILED");
    return PI::ERR_API_INITIALIZATION_FAILED;
  }
  TORVEX_SCOPED_LOCK(guard, m_DataLock);
  m_Plugin.m_ID = NewID();
  m_Plugin.m_Type = PI::OBJECT_TYPE_PLUGIN;
  const unsigned long scanResult = FirstScan();
  TORVEX_TRACE(TRACE_TOOL, "ScanSystem() ret = %d m_PhysicalDrives=%d", scanResult,
               m_PhysicalDrives.size());
  m_PluginRowIsMissing = !WriteRow(CRowWork::Insert, m_Plugin);
  unsigned int result = SUCCESS;
  if (scanResult != SUCCESS || m_Adapters.empty()) {
    WithdrawObjects();
    result = PI::ERR_NO_SUPPORTED_HARDWARE;
  } else {
    PublishAdapters(out);
  }
  PrintAdapterCount(m_Adapters.size());
  TORVEX_TRACE(TRACE_STEPS, "LEAVE Initialize() -> %d", result);
  return result;
}

// The first host record of the adapter's PCI address that the host has numbered; null when there is
// none.
const PI::CAdapterID* IPLUGINAPI_IMPL::FindHostRecord(const CTorvexAdapter& adapter) const {
  const std::array<unsigned int, 4> identification = IdentificationOf(adapter);
  const auto found =
      std::find_if(m_HostAdapterIDs.begin(), m_HostAdapterIDs.end(),
                   [&identification](const PI::CAdapterID& id) {
                     return id.m_Identification == identification && id.m_HostNumber != -1;
                   });
  return found == m_HostAdapterIDs.end() ? nullptr : &*found;
}

void IPLUGINAPI_IMPL::TakeAdapterIDs(const std::vector<PI::CAdapterID>& ids) {
  m_HostAdapterIDs.insert(m_HostAdapterIDs.end(), ids.begin(), ids.end());
  for (CTorvexAdapter& adapter : m_Adapters) {
    const PI::CAdapterID* const id = FindHostRecord(adapter);
    if (id == nullptr) continue;
    adapter.Name = FormatText("%s (%d)", MarketingNameOf(*id), id->m_HostNumber);
    if (IsDeletePending(adapter.AdapterNumber)) {
      adapter.RowIsStale = true;  // the row under its number is still another's
    } else {
      UpdateRow(adapter);
    }
  }
}

// Before the first worker is started no lock is taken: nobody else changes the objects then.
void IPLUGINAPI_IMPL::TakeFirstAdapterIDs(const std::vector<PI::CAdapterID>& ids) {
  TakeAdapterIDs(ids);
}

namespace {

bool Runs(const std::unique_ptr<TLX::Threading::CThread>& worker) {
  return worker != nullptr && worker->Wait(0) == WAIT_TIMED_OUT;
}

}  // namespace

bool IPLUGINAPI_IMPL::IsWorkerRunning() const {
  return Runs(m_WorkerThread) || std::any_of(m_OlderWorkers.begin(), m_OlderWorkers.end(), Runs);
}

// Workers that still run are kept beside the new one until command 3 ends them all.
void IPLUGINAPI_IMPL::StartWorker() {
  std::erase_if(m_OlderWorkers, [](const auto& worker) { return !Runs(worker); });
  if (Runs(m_WorkerThread)) m_OlderWorkers.push_back(std::move(m_WorkerThread));
  m_SeveralWorkers = !m_OlderWorkers.empty();
  m_WorkerThread = std::make_unique<TLX::Threading::CThread>(
      TLX::Threading::CThread::CBody(this, &IPLUGINAPI_IMPL::Worker), 0);
}

unsigned int IPLUGINAPI_IMPL::SetAdapterIDs(const std::vector<PI::CAdapterID>& ids) {
  TORVEX_TRACE(TRACE_STEPS, "ENTER SetAdapterIDs");
  if (IsWorkerRunning()) {
    const CFastMutexGuard guard(m_DataLock);
    TakeAdapterIDs(ids);
  } else {
    TakeFirstAdapterIDs(ids);
  }
  StartWorker();
  return SUCCESS;
}

void IPLUGINAPI_IMPL::EndWorker(TLX::Threading::CThread& worker, unsigned long since) {
  while (worker.Native().HasHandle() && worker.Wait(0) == WAIT_TIMED_OUT) {
    TORVEX_TRACE_IN("DeInitialize", TRACE_TOOL, "Wait for termination... (Worker)");
    if (TLX::Misc::now() - since > SHUTDOWN_LIMIT) {
      if (worker.Wait(0) == WAIT_TIMED_OUT) {
        TORVEX_TRACE_IN("DeInitialize", TRACE_TOOL, "Kill Worker");
        (void)worker.Native().Cancel();
      }
      return;
    }
    TLX::Misc::Sleep(SHUTDOWN_STEP);
  }
}

unsigned int IPLUGINAPI_IMPL::DeInitialize() {
  TORVEX_TRACE(TRACE_STEPS, "ENTER DeInitialize");
  m_StopRequest.Set();
  TLX::Misc::Sleep(SHUTDOWN_PAUSE);
  const unsigned long since = TLX::Misc::now();
  if (m_WorkerThread != nullptr) EndWorker(*m_WorkerThread, since);
  for (const auto& worker : m_OlderWorkers) EndWorker(*worker, since);
  TLX::Misc::Sleep(SHUTDOWN_PAUSE);
  TORVEX_TRACE(TRACE_STEPS, "LEAVE DeInitialize");
  return SUCCESS;
}

// --- Topology and events

unsigned int IPLUGINAPI_IMPL::GetTopology(std::vector<PI::CObject>& out) {
  TORVEX_TRACE(TRACE_STEPS, "ENTER GetTopology");
  TORVEX_SCOPED_LOCK(guard, m_DataLock);
  out.clear();
  out.reserve(1 + m_Adapters.size() + m_PhysicalDrives.size());

  PI::CObject& plugin = out.emplace_back(m_Plugin);
  (void)GetPluginProperties(m_Plugin, plugin.m_Properties, PI::PROPERTY_ALL);
  (void)GetPluginOperations(m_Plugin, plugin.m_Operations);

  for (CTorvexAdapter& adapter : m_Adapters) {
    PI::CObject& copy = out.emplace_back(adapter);
    (void)GetAdapterProperties(adapter, copy.m_Properties, PI::PROPERTY_ALL);
    (void)GetAdapterOperations(adapter, copy.m_Operations);
    TORVEX_TRACE(TRACE_DETAIL, "GetTopology() Adapter m_ID=0x%x", adapter.m_ID);
  }
  TORVEX_TRACE(TRACE_DETAIL, "GetTopology() m_Adapters = %d", m_Adapters.size());

  for (CTorvexPhysicalDrive& drive : m_PhysicalDrives) {
    PI::CObject& copy = out.emplace_back(drive);
    (void)GetPhysicalDriveProperties(drive, copy.m_Properties, PI::PROPERTY_ALL);
    (void)GetPhysicalDriveOperations(drive, copy.m_Operations);
    TORVEX_TRACE(TRACE_DETAIL, "GetTopology() PhysicalDrive m_ID=0x%x", drive.m_ID);
  }
  TORVEX_TRACE(TRACE_DETAIL, "GetTopology() m_PhysicalDrives = %d", m_PhysicalDrives.size());
  TORVEX_TRACE(TRACE_STEPS, "LEAVE GetTopology");
  return SUCCESS;
}

unsigned int IPLUGINAPI_IMPL::GetEvents(CTorvexPlugin& /*plugin*/, PI::COperation& operation) {
  TORVEX_TRACE(TRACE_STEPS, "ENTER GetEvents()");
  operation.m_Events.clear();
  CTracedLock events(m_EventsLock, "m_EventsLock", __func__, GET_EVENTS_RELEASE);
  if (!events.IsOwned()) return SUCCESS;  // the queue keeps its events
  operation.m_Events = m_Events;
  m_Events.clear();
  events.Release();
  TORVEX_TRACE(TRACE_STEPS, "LEAVE GetEvents() -> %d", SUCCESS);
  return SUCCESS;
}

// --- Worker. Its traces stand under its name, whichever step writes them.

namespace {
constexpr const char* WORKER = "Worker";
constexpr unsigned int SIGNAL_FORCE = 1;
constexpr unsigned int SIGNAL_PRIVATE = 3;
}  // namespace

void IPLUGINAPI_IMPL::Worker() {
  TORVEX_TRACE(TRACE_STEPS, "ENTER Worker()");
  TLX::Threading::CWaiter waiter;
  waiter.Add(m_ForceWorker);
  waiter.Add(m_StopRequest);
  waiter.Add(m_PrivateEvent);
  CWorkerState state;
  state.m_LastScan = TLX::Misc::now();
  unsigned int interval = FIRST_INTERVAL;
  while (HandleSignal(waiter.Wait(interval, false), state)) {
    TORVEX_TRACE(TRACE_STEPS, "Worker() before restart interval");
    interval = PollInterval.load() * 1000U;
  }
  TORVEX_TRACE(TRACE_STEPS, "LEAVE Worker()");
}

// One wake-up. False when the worker is to end.
bool IPLUGINAPI_IMPL::HandleSignal(unsigned int signal, CWorkerState& state) {
  switch (signal) {
    case SIGNAL_PRIVATE:
      TORVEX_TRACE_IN(WORKER, TRACE_DETAIL, "Worker() m_PrivateEvent event received");
      OnPrivateEvent();
      return true;
    case WAIT_TIMED_OUT:
      TORVEX_TRACE_IN(WORKER, TRACE_DETAIL, "Worker() timeout event received");
      if (!state.m_RescanDue) {
        state.m_RescanDue = TLX::Misc::now() - state.m_LastScan > m_TopologyRefreshInterval;
      }
      break;
    case SIGNAL_FORCE:
      TORVEX_TRACE_IN(WORKER, TRACE_DETAIL, "Worker() m_ForceWorker event received, force scan");
      state.m_RescanDue = true;
      break;
    default:
      TORVEX_TRACE_IN(WORKER, TRACE_DETAIL, "Worker() something else perhaps m_StopRequest");
      return false;
  }
  RefreshGuarded(state);
  return true;
}

// The lists change only on this thread, so that marks can be cleared without the lock, unless a
// second worker runs; then the lock is taken, without trace lines.
void IPLUGINAPI_IMPL::OnPrivateEvent() {
  if (m_SeveralWorkers) {
    const CFastMutexGuard guard(m_DataLock);
    (void)UnlockObjects();
  } else {
    UnlockObjectsUnguarded();
  }
  NotifyHost();
}

void IPLUGINAPI_IMPL::UnlockObjectsUnguarded() {
  (void)UnlockObjects();
}

// Nothing but a cancellation leaves a wake-up. A scan that failed counts as done, so that a tool
// that always fails is not run more often than the intervals say.
void IPLUGINAPI_IMPL::RefreshGuarded(CWorkerState& state) {
  const bool done = TLX::Threading::Guarded([&] { Refresh(state); },
                                            [](const char* what) { TraceStopped(WORKER, what); });
  if (!done && state.m_RescanDue) {
    state.m_RescanDue = false;
    state.m_LastScan = TLX::Misc::now();
  }
}

void IPLUGINAPI_IMPL::Refresh(CWorkerState& state) {
  CTracedLock data(m_DataLock, "m_DataLock", WORKER, WORKER_RELEASE);
  if (!data.IsOwned()) return;
  if (!state.m_RescanDue) {
    if (RunLogPass() != CLogPass::RescanNeeded) {
      data.Release();
      return;
    }
    state.m_RescanDue = true;
  }
  CTracedLock events(m_EventsLock, "m_EventsLock", WORKER, WORKER_RELEASE);
  if (!events.IsOwned()) {
    data.Release();
    return;
  }
  const unsigned long result = FullScan();
  const bool notify = !m_Events.empty() || result == SUCCESS;
  events.Release();
  if (notify) (void)UnlockObjects();
  data.Release();
  if (notify) NotifyHost();
  state.m_LastScan = TLX::Misc::now();
  state.m_RescanDue = false;
}

unsigned long IPLUGINAPI_IMPL::FullScan() {
  (void)GetAdaptersInfo();  // whatever it says: the records are what there is
  m_AdapterCount = m_ToolRecords.size();
  std::vector<CTorvexAdapter> adapters;
  std::vector<CTorvexPhysicalDrive> drives;
  TORVEX_TRACE_IN(WORKER, TRACE_TOOL, "Before ScanSystem()");
  unsigned long result = ScanSystem(adapters, drives, false);
  TORVEX_TRACE_IN(WORKER, TRACE_TOOL, "After ScanSystem() ret = %d", result);
  if (result == SUCCESS) result = MergeScan(adapters, drives);
  ++m_Plugin.m_ReadCounter;
  TORVEX_TRACE_IN(WORKER, TRACE_DETAIL, "Worker() after bscan");
  return result;
}

unsigned long IPLUGINAPI_IMPL::MergeScan(std::vector<CTorvexAdapter>& adapters,
                                         std::vector<CTorvexPhysicalDrive>& drives) {
  TORVEX_TRACE_IN(WORKER, TRACE_TOOL, "Before UpdateSystem()");
  const unsigned long result = UpdateSystem(adapters, drives);
  TORVEX_TRACE_IN(WORKER, TRACE_TOOL, "After UpdateSystem() ret = %d", result);
  Relink();
  return result;
}

// The plug-in object's children are the adapters in the order in which they are published, which
// after a change is not the tool's.
void IPLUGINAPI_IMPL::Relink() {
  m_Plugin.m_ChildIDs.clear();
  for (CTorvexAdapter& adapter : m_Adapters) {
    adapter.m_ParentIDs.assign(1, m_Plugin.m_ID);
    m_Plugin.m_ChildIDs.push_back(adapter.m_ID);
    ++adapter.m_ReadCounter;
  }
}

IPLUGINAPI_IMPL::CLogPass IPLUGINAPI_IMPL::RunLogPass() {
  bool rescanNeeded = false;
  m_RecordPosition = -1;
  for (CCmdEmuAdapter& record : m_ToolRecords) {
    m_RecordCallback();
    TORVEX_TRACE_IN(WORKER, TRACE_TOOL, "Worker GetLogPageInformation()");
    if (RefreshRecord(record)) rescanNeeded = true;
    if (!PauseBetweenRecords()) return CLogPass::Stopped;
  }
  return rescanNeeded ? CLogPass::RescanNeeded : CLogPass::Done;
}

// Whether a scan is needed: there is no adapter at the record's position, the tool has renumbered
// its drives, or the warnings have changed. The values are then left to the scan.
bool IPLUGINAPI_IMPL::RefreshRecord(CCmdEmuAdapter& record) {
  CCmdEmuGetlog log = record.Health;
  if (!QueryHealth(record.Index, log)) return false;
  record.Health = log;
  const auto position = static_cast<std::size_t>(m_RecordPosition);
  if (position >= m_Adapters.size()) return true;
  CTorvexAdapter& adapter = m_Adapters[position];
  if (adapter.ToolIndex != log.ToolIndex || adapter.StatusBits != log.CriticalWarnings) return true;

  const CTorvexAdapter before = adapter;
  CopyWear(log, adapter);
  if (!adapter.SameAs(before)) adapter.RowIsStale = true;
  const auto drive = std::find_if(
      m_PhysicalDrives.begin(), m_PhysicalDrives.end(),
      [position](const CTorvexPhysicalDrive& each) { return each.DriveNumber == position; });
  if (drive != m_PhysicalDrives.end() && drive->Temperature != adapter.Temperature) {
    drive->Temperature = adapter.Temperature;
    drive->RowIsStale = true;
  }
  return false;
}

// Paces the tool. False when a stop is requested; the request stays set.
bool IPLUGINAPI_IMPL::PauseBetweenRecords() {
  return m_StopRequest.Wait(RECORD_PAUSE) != WAIT_ACQUIRED;
}

// Called with no lock held, so that the host may call back. What the callback throws is dropped.
void IPLUGINAPI_IMPL::NotifyHost() {
  const auto notify = m_NotifyHost;
  if (!notify) return;
  TLX::Threading::Guarded([&] { notify(this); },
                          [](const char* what) { TraceStopped(WORKER, what); });
}

// --- Scan

// Whether the health values could be read. A counter that is no number is thrown as an exception by
// the query and is a failed query here. A cancellation passes through: it is no std::exception.
bool IPLUGINAPI_IMPL::QueryHealth(int index, CCmdEmuGetlog& log) {
  try {
    return GetLogPageInformation(index, log) == SUCCESS;
  } catch (const std::exception& error) {
    TraceStopped("GetLogPageInformation", error.what());
    return false;
  }
}

// Ids and numbers of the published objects, for those that are found again.
class IPLUGINAPI_IMPL::CScan {
 public:
  CScan(const std::vector<CTorvexAdapter>& adapters,
        const std::vector<CTorvexPhysicalDrive>& drives)
      : m_Adapters(adapters), m_Drives(drives), m_AdapterIndex(adapters), m_DriveIndex(drives) {
    for (const CTorvexAdapter& adapter : adapters) m_Numbers.Use(adapter.AdapterNumber);
  }

  const CTorvexAdapter* Adapter(const std::string& serialNumber) const {
    const std::size_t position = m_AdapterIndex.Find(serialNumber);
    return position == CSerialIndex::NONE ? nullptr : &m_Adapters[position];
  }
  const CTorvexPhysicalDrive* Drive(const std::string& serialNumber) const {
    const std::size_t position = m_DriveIndex.Find(serialNumber);
    return position == CSerialIndex::NONE ? nullptr : &m_Drives[position];
  }
  CAdapterNumbers& Numbers() { return m_Numbers; }

 private:
  const std::vector<CTorvexAdapter>& m_Adapters;
  const std::vector<CTorvexPhysicalDrive>& m_Drives;
  CSerialIndex m_AdapterIndex;
  CSerialIndex m_DriveIndex;
  CAdapterNumbers m_Numbers;
};

unsigned long IPLUGINAPI_IMPL::ScanSystem(std::vector<CTorvexAdapter>& adapters,
                                          std::vector<CTorvexPhysicalDrive>& drives,
                                          bool freshIds) {
  assert(freshIds || (&adapters != &m_Adapters && &drives != &m_PhysicalDrives));
  TORVEX_TRACE(TRACE_STEPS, "ENTER ScanSystem(%d) PhyDrive=%d", freshIds, drives.size());
  TORVEX_TRACE(TRACE_TOOL, "ScanSystem, AdapterCount = %d", m_ToolRecords.size());
  adapters.clear();
  drives.clear();
  const std::vector<CTorvexAdapter> noAdapters;
  const std::vector<CTorvexPhysicalDrive> noDrives;
  CScan scan(freshIds ? noAdapters : m_Adapters, freshIds ? noDrives : m_PhysicalDrives);

  const auto isStopped = [&] { return !freshIds && IsStopRequested(); };
  m_RecordPosition = -1;
  for (CCmdEmuAdapter& record : m_ToolRecords) {
    m_RecordCallback();
    const bool healthKnown = QueryHealth(record.Index, record.Health);
    // The query was cut short: its record must not be taken for a drive without warnings.
    if (isStopped()) break;
    if (IsBehindVolumeManagement(record.DevicePath)) continue;  // another plug-in's drive
    CTorvexAdapter adapter;
    CTorvexPhysicalDrive drive;
    BuildAdapter(scan, record, healthKnown, adapter, drive);
    BuildDrive(scan, record, healthKnown, freshIds, adapter, drive);
    adapters.push_back(adapter);
    drives.push_back(drive);
  }
  // Also without a record: the inventory may have failed because all around it is being ended.
  const unsigned long result = isStopped() ? ERR_GENERAL_FAILURE : SUCCESS;
  TORVEX_TRACE(TRACE_STEPS, "LEAVE ScanSystem() -> %d", result);
  return result;
}

// The adapter of a record, and the drive's location, which goes with it.
void IPLUGINAPI_IMPL::BuildAdapter(CScan& scan, const CCmdEmuAdapter& record, bool healthKnown,
                                   CTorvexAdapter& adapter, CTorvexPhysicalDrive& drive) {
  const CTorvexAdapter* const published = scan.Adapter(record.SerialNumber);
  adapter.m_Type = PI::OBJECT_TYPE_ADAPTER;
  adapter.m_ID = published != nullptr ? published->m_ID : NewID();
  adapter.m_ReadCounter = published != nullptr ? published->m_ReadCounter : 0;
  adapter.AdapterNumber =
      published != nullptr ? published->AdapterNumber
                           : scan.Numbers().Take(static_cast<unsigned int>(record.AdapterNumber));
  CopyIdentity(record, adapter, drive);
  LocateAdapter(adapter, drive);
  adapter.GlobalAdapterNumber = GlobalNumberOf(adapter.SerialNumber);
  adapter.DriverVersion = DriverVersionOf(record, adapter.DriverName);
  if (healthKnown) CopyStatus(record.Health, adapter);
  if (const PI::CAdapterID* const id = FindHostRecord(adapter)) {
    adapter.Name = FormatText("%s (%s)", MarketingNameOf(*id), adapter.SerialNumber);
  }
  adapter.EnduranceRating = EnduranceOf(adapter.ModelNumber);
  if (!healthKnown) return;  // the object keeps its defaults: unknown
  CopyWear(record.Health, adapter);
  TraceWear(adapter);
  adapter.ExtraText = EndOfLifeDate(adapter);
}

void IPLUGINAPI_IMPL::BuildDrive(CScan& scan, CCmdEmuAdapter& record, bool healthKnown,
                                 bool freshIds, const CTorvexAdapter& adapter,
                                 CTorvexPhysicalDrive& drive) {
  drive.m_Type = PI::OBJECT_TYPE_PHYSICAL_DRIVE;
  drive.DriveNumber = static_cast<unsigned int>(m_RecordPosition);
  drive.ParentAdapterNumber = adapter.GlobalAdapterNumber;
  drive.HealthState = DriveStateOf(adapter);
  drive.Temperature = adapter.Temperature;
  SizeDrive(record, healthKnown, drive);
  drive.Name = DriveNameOf(record);
  const CTorvexPhysicalDrive* const published = scan.Drive(record.SerialNumber);
  drive.m_ID = published != nullptr ? published->m_ID : NewID();
  drive.m_ReadCounter = published != nullptr ? published->m_ReadCounter : 0;
  if (published == nullptr && !freshIds) {
    TORVEX_TRACE_IN(SCAN, TRACE_TOOL, "The drive is not found yet!");
  }
}

// No two published objects share a serial number: the first one stays.
void IPLUGINAPI_IMPL::DropDuplicates(std::vector<CTorvexAdapter>& adapters,
                                     std::vector<CTorvexPhysicalDrive>& drives) {
  const std::size_t reported = adapters.size();
  DropLaterDuplicates(adapters);
  DropLaterDuplicates(drives);
  if (adapters.size() != reported) {
    TORVEX_TRACE_IN(SCAN, TRACE_TOOL, "Dropped %d adapters whose serial number is taken",
                    reported - adapters.size());
  }
}

// --- Merge

struct IPLUGINAPI_IMPL::CMerge {
  CMerge(const std::vector<CTorvexAdapter>& publishedAdapters,
         const std::vector<CTorvexPhysicalDrive>& publishedDrives,
         std::vector<CTorvexAdapter>& newAdapters, std::vector<CTorvexPhysicalDrive>& newDrives)
      : m_NewAdapters(newAdapters),
        m_NewDrives(newDrives),
        m_AdapterLookup(publishedAdapters),
        m_DriveLookup(publishedDrives),
        m_NewAdapterLookup(newAdapters),
        m_NewDriveLookup(newDrives),
        m_Successors(publishedAdapters.size(), CSerialIndex::NONE),
        m_IsRemoved(publishedAdapters.size(), false) {}

  std::vector<CTorvexAdapter>& m_NewAdapters;
  std::vector<CTorvexPhysicalDrive>& m_NewDrives;
  CSerialLookup<CTorvexAdapter> m_AdapterLookup;  // of the published adapters
  CSerialLookup<CTorvexPhysicalDrive> m_DriveLookup;
  CSerialLookup<CTorvexAdapter> m_NewAdapterLookup;
  CSerialLookup<CTorvexPhysicalDrive> m_NewDriveLookup;
  std::vector<std::size_t> m_Successors;  // by published adapter: the new one that replaces it
  std::vector<bool> m_IsRemoved;          // by published adapter
  std::vector<std::size_t> m_Added;       // new adapters
  std::vector<CTorvexAdapter> m_Removed;
  std::vector<PI::CEvent> m_Events;
  bool m_IsChanged = false;
};

unsigned long IPLUGINAPI_IMPL::UpdateSystem(std::vector<CTorvexAdapter>& newAdapters,
                                            std::vector<CTorvexPhysicalDrive>& newDrives) {
  TORVEX_TRACE(TRACE_STEPS, "ENTER UpdateSystem for %d adapter, %d physicalDrives",
               newAdapters.size(), newDrives.size());
  TORVEX_SCOPED_LOCK(guard, m_EventsLock);
  DropDuplicates(newAdapters, newDrives);
  ClearMarks(newAdapters);
  ClearMarks(newDrives);
  CMerge merge(m_Adapters, m_PhysicalDrives, newAdapters, newDrives);
  CompareAdapters(merge);
  FindRemovedAdapters(merge);
  CompareDrives(merge);
  if (merge.m_IsChanged) {
    ReplaceLists(merge);
  } else {
    KeepLists(merge);
  }
  WriteMergedRows(merge);
  // "Nothing changed" is told with the code of a general failure, and is none.
  const unsigned long result = merge.m_IsChanged ? SUCCESS : ERR_GENERAL_FAILURE;
  TORVEX_TRACE(TRACE_STEPS, "LEAVE UpdateSystem ret = %d", result);
  return result;
}

void IPLUGINAPI_IMPL::CompareAdapters(CMerge& merge) {
  for (std::size_t i = 0; i < merge.m_NewAdapters.size(); ++i) {
    CTorvexAdapter& newer = merge.m_NewAdapters[i];
    const std::size_t position = merge.m_AdapterLookup.Find(newer.SerialNumber, i);
    if (position == CSerialIndex::NONE) {
      ++m_Plugin.m_ReadCounter;
      merge.m_Events.push_back(MakeAdapterEvent(ADAPTER_ADDED, newer));
      merge.m_Added.push_back(i);
      newer.RowIsMissing = true;
      const std::size_t drive = merge.m_NewDriveLookup.Find(newer.SerialNumber, i);
      if (drive != CSerialIndex::NONE) {
        merge.m_NewDrives[drive].ParentAdapterNumber = newer.GlobalAdapterNumber;
        merge.m_NewDrives[drive].RowIsMissing = true;
      }
      merge.m_IsChanged = true;
      continue;
    }
    CTorvexAdapter& published = m_Adapters[position];
    CarryLinks(published, newer);
    const bool isChanged = !published.SameAs(newer);
    if (isChanged) published.Update(newer, merge.m_Events);
    Succeed(published, newer);
    if (isChanged) {
      newer.RowIsStale = true;
      merge.m_IsChanged = true;
    }
    merge.m_Successors[position] = i;
  }
}

void IPLUGINAPI_IMPL::FindRemovedAdapters(CMerge& merge) {
  for (std::size_t i = 0; i < m_Adapters.size(); ++i) {
    if (merge.m_NewAdapterLookup.Find(m_Adapters[i].SerialNumber, i) != CSerialIndex::NONE) {
      continue;
    }
    ++m_Plugin.m_ReadCounter;
    merge.m_Events.push_back(MakeAdapterEvent(ADAPTER_REMOVED, m_Adapters[i]));
    merge.m_IsRemoved[i] = true;
    merge.m_Removed.push_back(m_Adapters[i]);
    merge.m_IsChanged = true;
  }
}

void IPLUGINAPI_IMPL::CompareDrives(CMerge& merge) {
  for (std::size_t i = 0; i < merge.m_NewDrives.size(); ++i) {
    CTorvexPhysicalDrive& newer = merge.m_NewDrives[i];
    const std::size_t position = merge.m_DriveLookup.Find(newer.SerialNumber, i);
    if (position == CSerialIndex::NONE) continue;
    CTorvexPhysicalDrive& published = m_PhysicalDrives[position];
    const bool isAdded = newer.RowIsMissing;  // its adapter is
    CarryLinks(published, newer);
    const bool isChanged = !published.SameAs(newer);
    if (isChanged) {
      const std::size_t owner = merge.m_NewAdapterLookup.Find(published.SerialNumber, i);
      if (owner != CSerialIndex::NONE) {
        published.Update(newer, merge.m_NewAdapters[owner], merge.m_Events);
      }
      merge.m_IsChanged = true;
    }
    Succeed(published, newer);
    newer.RowIsStale = newer.RowIsStale || isChanged;
    newer.RowIsMissing = newer.RowIsMissing || isAdded;
  }
}

// The new objects equal the published ones: only what is not compared is taken over.
void IPLUGINAPI_IMPL::KeepLists(const CMerge& merge) {
  m_Plugin.m_ChildIDs.clear();
  for (const CTorvexAdapter& adapter : merge.m_NewAdapters) {
    m_Plugin.m_ChildIDs.push_back(adapter.m_ID);
  }
  for (std::size_t i = 0; i < m_Adapters.size(); ++i) {
    const std::size_t successor = merge.m_Successors[i];
    if (successor == CSerialIndex::NONE) continue;
    m_Adapters[i].ToolIndex = merge.m_NewAdapters[successor].ToolIndex;
    m_Adapters[i].m_ParentIDs.assign(1, m_Plugin.m_ID);
  }
}

// Everything is built aside and swapped in at the end, so that a failure on the way leaves objects
// and events as they were, and the next scan finds the same differences again.
void IPLUGINAPI_IMPL::ReplaceLists(CMerge& merge) {
  std::vector<unsigned long> children;
  for (CTorvexAdapter& adapter : merge.m_NewAdapters) {
    children.push_back(adapter.m_ID);
    adapter.m_ParentIDs.assign(1, m_Plugin.m_ID);
  }
  std::vector<PI::CEvent> events;
  if (!merge.m_Events.empty()) {
    events = m_Events;
    events.insert(events.end(), merge.m_Events.begin(), merge.m_Events.end());
  }
  std::vector<CTorvexAdapter> adapters;
  adapters.reserve(m_Adapters.size() + merge.m_Added.size());
  for (std::size_t i = 0; i < m_Adapters.size(); ++i) {
    if (merge.m_IsRemoved[i]) continue;
    const std::size_t successor = merge.m_Successors[i];
    adapters.push_back(successor == CSerialIndex::NONE ? m_Adapters[i]
                                                       : merge.m_NewAdapters[successor]);
  }
  for (const std::size_t added : merge.m_Added) adapters.push_back(merge.m_NewAdapters[added]);
  std::vector<CTorvexPhysicalDrive> drives(merge.m_NewDrives);
  std::vector<CTorvexAdapter> undeleted(m_UndeletedAdapters);
  undeleted.insert(undeleted.end(), merge.m_Removed.begin(), merge.m_Removed.end());

  m_Plugin.m_ChildIDs.swap(children);
  m_Adapters.swap(adapters);
  m_PhysicalDrives.swap(drives);
  m_UndeletedAdapters.swap(undeleted);
  if (!merge.m_Events.empty()) m_Events.swap(events);
}

// --- Rows. A statement that fails is sent again at the next scan: the object keeps its mark.

template <class Object>
bool IPLUGINAPI_IMPL::WriteRow(CRowWork work, Object& object) {
  unsigned int result = ERR_GENERAL_FAILURE;
  try {
    switch (work) {
      case CRowWork::Insert:
        result = InsertObjectToDatabase(object, false);
        break;
      case CRowWork::Update:
        result = UpdateObjectInDatabase(object);
        break;
      case CRowWork::Delete:
        result = DeleteObjectFromDatabase(object);
        break;
    }
  } catch (const std::exception& error) {
    // A row that cannot be read must not stop the others.
    TraceStopped("WriteRow", error.what());
  }
  return result == SUCCESS || m_Database == nullptr;
}

template <class Object>
void IPLUGINAPI_IMPL::InsertRow(Object& object) {
  object.RowIsMissing = !WriteRow(CRowWork::Insert, object);
  if (!object.RowIsMissing) object.RowIsStale = false;
}

// A serial number that reads like the database's null is stored as null, and no key finds the row
// again: each time the drive is plugged in one more would stay. Only start-up inserts such drives.
void IPLUGINAPI_IMPL::InsertDriveRow(CTorvexPhysicalDrive& drive) {
  if (drive.SerialNumber == DatabaseWrapper::NULL_DB_STRING) {
    drive.RowIsMissing = false;
  } else {
    InsertRow(drive);
  }
}

template <class Object>
void IPLUGINAPI_IMPL::UpdateRow(Object& object) {
  object.RowIsStale = !WriteRow(CRowWork::Update, object);
}

bool IPLUGINAPI_IMPL::IsDeletePending(unsigned int adapterNumber) const {
  return std::any_of(m_UndeletedAdapters.begin(), m_UndeletedAdapters.end(),
                     [adapterNumber](const CTorvexAdapter& adapter) {
                       return adapter.AdapterNumber == adapterNumber;
                     });
}

// What cannot be deleted stays in the list. Nothing here takes memory, so that a shortage loses no
// delete.
void IPLUGINAPI_IMPL::DeleteRows() {
  std::erase_if(m_UndeletedAdapters, [this](CTorvexAdapter& adapter) VX_NO_THREAD_SAFETY_ANALYSIS {
    return WriteRow(CRowWork::Delete, adapter);
  });
}

// Deletes, updates, inserts, in this order: an adapter's number may be another's now. As long as a
// row could not be deleted nothing is written under its number.
void IPLUGINAPI_IMPL::WriteMergedRows(CMerge& merge) {
  DeleteRows();
  for (CTorvexAdapter& adapter : m_Adapters) {
    if (adapter.RowIsStale && !adapter.RowIsMissing && !IsDeletePending(adapter.AdapterNumber)) {
      UpdateRow(adapter);
    }
  }
  for (CTorvexPhysicalDrive& drive : m_PhysicalDrives) {
    if (drive.RowIsStale && !drive.RowIsMissing) UpdateRow(drive);
  }
  CSerialLookup drives(m_PhysicalDrives);
  for (std::size_t i = 0; i < m_Adapters.size(); ++i) {
    CTorvexAdapter& adapter = m_Adapters[i];
    if (adapter.RowIsMissing && !IsDeletePending(adapter.AdapterNumber)) InsertRow(adapter);
    const std::size_t drive = drives.Find(adapter.SerialNumber, i);
    if (drive != CSerialIndex::NONE && m_PhysicalDrives[drive].RowIsMissing) {
      InsertDriveRow(m_PhysicalDrives[drive]);
    }
  }
  WritePluginRow(merge.m_IsChanged);
}

void IPLUGINAPI_IMPL::WritePluginRow(bool changed) {
  if (m_PluginRowIsMissing) {
    m_PluginRowIsMissing = !WriteRow(CRowWork::Insert, m_Plugin);
  } else if (changed || m_PluginRowIsStale) {
    m_PluginRowIsStale = !WriteRow(CRowWork::Update, m_Plugin);
  }
}

// --- Ids and locks of objects

unsigned long IPLUGINAPI_IMPL::NewID() {
  return m_NextID++ | OBJECT_ID_PREFIX;
}

unsigned int IPLUGINAPI_IMPL::LockObjects(int adapterIndex, int driveIndex) {
  if (adapterIndex < 0) {
    (void)UnlockObjects();
    m_Plugin.m_LockFlag = true;
    return SUCCESS;
  }
  for (CTorvexPhysicalDrive& drive : m_PhysicalDrives) {
    if (drive.DriveNumber != static_cast<unsigned int>(adapterIndex)) continue;
    drive.m_LockFlag = true;
    if (driveIndex >= 0) break;  // only its sign counts
  }
  return SUCCESS;
}

unsigned int IPLUGINAPI_IMPL::UnlockObjects() {
  m_Plugin.m_LockFlag = false;
  for (CTorvexAdapter& adapter : m_Adapters) adapter.m_LockFlag = false;
  for (CTorvexPhysicalDrive& drive : m_PhysicalDrives) drive.m_LockFlag = false;
  return SUCCESS;
}

// --- The plug-in object: properties

unsigned long IPLUGINAPI_IMPL::GetPluginProperties(CTorvexPlugin& /*plugin*/,
                                                   std::vector<PI::CProperty>& out,
                                                   unsigned long propertyId) {
  out.clear();
  const CPluginValues values = {m_ToolVersion, static_cast<int>(PollInterval.load())};
  for (const CPluginProperty& row : PLUGIN_PROPERTIES) {
    if (propertyId != PI::PROPERTY_ALL && propertyId != row.m_Id) continue;
    PI::CProperty property(static_cast<PI::_PROPERTY_ID>(row.m_Id), row.m_Settable);
    property.m_LabelID = row.m_LabelId;
    property.m_Kind = row.m_Kind;
    if (row.m_Read(values, property)) out.push_back(property);
  }
  return SUCCESS;
}

// The bounds are those that the host sends, which should be those that it was given; whatever it
// sends, the interval stays within its own.
unsigned long IPLUGINAPI_IMPL::SetPluginProperty(CTorvexPlugin& plugin, PI::CProperty& property) {
  if (property.m_PropertyID != POLL_INTERVAL_PROPERTY) return ERR_PROPERTY_NOT_SETTABLE;
  int value = 0;
  int minimum = 0;
  int maximum = 0;
  unsigned int step = 0;
  if (!property.GetValue(value, minimum, maximum, step)) return ERR_GENERAL_FAILURE;
  value = std::max(value, minimum);
  value = std::min(value, maximum);
  const unsigned int interval = ClampPollInterval(static_cast<unsigned long>(std::max(value, 0)));
  PollInterval = interval;
  ++plugin.m_ReadCounter;
  const unsigned int result =
      m_PluginOptions.WriteKeyValue(POLL_INTERVAL_KEY, FormatText("%d", interval), -1, -1);
  m_PrivateEvent.Set();
  return result;
}

// --- The plug-in object: operations

unsigned int IPLUGINAPI_IMPL::GetPluginOperations(CTorvexPlugin& /*plugin*/,
                                                  std::vector<PI::COperation>& out) {
  out.clear();
  out.push_back(MakeOperation(FETCH_EVENTS_DESCRIPTOR));
  return SUCCESS;
}

unsigned int IPLUGINAPI_IMPL::CheckPluginOperation(CTorvexPlugin& /*plugin*/,
                                                   PI::COperation& /*operation*/) {
  return SUCCESS;
}

// The row is written whatever the operation was, and whether that works changes no result.
unsigned int IPLUGINAPI_IMPL::ExecutePluginOperation(CTorvexPlugin& plugin,
                                                     PI::COperation& operation) {
  TORVEX_TRACE(TRACE_STEPS, "ENTER ExecutePluginOperation()");
  unsigned int result = ERR_OPERATION_NOT_SUPPORTED;
  if (operation.OperationID() == FETCH_EVENTS) result = GetEvents(plugin, operation);
  m_PluginRowIsStale = !WriteRow(CRowWork::Update, plugin);
  TORVEX_TRACE(TRACE_STEPS, "LEAVE ExecutePluginOperation() -> %d", result);
  return result;
}

// --- The plug-in object: its row

namespace {

auto PluginRow() {
  return DatabaseORM::where(DatabaseORM::is_equal(&RaidDataModels::Plugin::Name, PLUGIN_NAME));
}

}  // namespace

unsigned int IPLUGINAPI_IMPL::SetDatabaseObjectProperties(RaidDataModels::Plugin& record,
                                                          CTorvexPlugin& plugin) {
  record = RaidDataModels::Plugin();
  record.ObjectID = plugin.m_ID;
  record.Description = PluginLocation();
  record.Name = PLUGIN_NAME;
  record.Version = PLUGIN_VERSION;
  record.Vendor = PLUGIN_VENDOR;
  if (!m_ToolVersion.empty()) record.ToolVersion = m_ToolVersion;
  record.PollInterval = static_cast<int>(ClampPollInterval(PollInterval.load()));
  record.SettableProperties = PLUGIN_SETTABLE;
  return SUCCESS;
}

unsigned int IPLUGINAPI_IMPL::InsertObjectToDatabase(CTorvexPlugin& plugin, bool /*unused*/) {
  try {
    RaidDataModels::Plugin record;
    (void)SetDatabaseObjectProperties(record, plugin);
    Storage().insert(record);
    TORVEX_TRACE(TRACE_STEPS, "Plugin Torvex inserted to db.");
    return SUCCESS;
  } catch (const DBEXCEPTION::DatabaseException& error) {
    TORVEX_TRACE(TRACE_STEPS, "Exception thrown during inserting Torvex plugin object to db. (%s)",
                 error.what());
    return ERR_GENERAL_FAILURE;
  }
}

unsigned int IPLUGINAPI_IMPL::UpdateObjectInDatabase(CTorvexPlugin& plugin) {
  try {
    const auto rows = Storage().get_all<RaidDataModels::Plugin>(PluginRow());
    if (rows.empty()) return SUCCESS;  // an update never creates a row
    RaidDataModels::Plugin record;
    (void)SetDatabaseObjectProperties(record, plugin);
    record.ID = rows.front().ID;
    Storage().update(record);
    TORVEX_TRACE(TRACE_STEPS, "Plugin Torvex updated in db.");
    return SUCCESS;
  } catch (const DBEXCEPTION::DatabaseException& error) {
    TORVEX_TRACE(TRACE_STEPS,
                 "Exception thrown during updating Torvex plugin object entry in db. (%s)",
                 error.what());
    return ERR_GENERAL_FAILURE;
  }
}

unsigned int IPLUGINAPI_IMPL::DeleteObjectFromDatabase(CTorvexPlugin& /*plugin*/) {
  try {
    Storage().remove_all<RaidDataModels::Plugin>(PluginRow());
    TORVEX_TRACE(TRACE_STEPS, "Plugin Torvex removed from db.");
    return SUCCESS;
  } catch (const DBEXCEPTION::DatabaseException& error) {
    TORVEX_TRACE(TRACE_STEPS, "Exception thrown during removing Torvex plugin object from db. (%s)",
                 error.what());
    return ERR_GENERAL_FAILURE;
  }
}

}  // namespace NAMESPACE_piTorvex
