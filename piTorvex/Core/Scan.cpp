#include "Core/Scan.h"

#include "Core/Arithmetic.h"
#include "Core/Health.h"
#include "Core/Names.h"
#include "Core/Text.h"

#include <algorithm>
#include <mutex>

#include <Facts/Tool.h>

#include <PI/GlobalAdapterID.h>
#include <TLX/Misc/Clock.h>
#include <TLXX/ConfigManager.h>
#include <TLXX/System.h>

namespace NAMESPACE_piTorvex {
namespace {

constexpr const char* VENDOR = "INTEL";
constexpr const char* DRIVER_NAME = "nvme";
constexpr const char* FAMILY_END = " Series";
constexpr const char* NAME_SEPARATOR = ", ";
constexpr unsigned int MIB_SHIFT = 20;

// What adapter and drive show as the inventory reports it, and what is the same of all.
void CopyIdentity(const CCmdEmuAdapter& record, CTorvexAdapter& adapter,
                  CTorvexPhysicalDrive& drive) {
#define ADAPTER_COPY(type, member, initial, key, meaning) adapter.member = record.key;
#define DRIVE_COPY(type, member, initial, key, meaning) drive.member = record.key;
#include <Facts/Fields.def>
  adapter.ToolIndex = record.Index;
  adapter.Vendor = VENDOR;
  adapter.DriverName = DRIVER_NAME;
  drive.Vendor = VENDOR;
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

// The family up to " Series" and the model number without its vendor word.
std::string DriveNameOf(const CCmdEmuAdapter& record) {
  const std::size_t blank = record.ModelNumber.find(' ');
  const std::string model =
      blank == std::string::npos ? record.ModelNumber : record.ModelNumber.substr(blank + 1);
  const std::string family = record.ProductFamily.substr(0, record.ProductFamily.find(FAMILY_END));
  return family + NAME_SEPARATOR + model;
}

void TraceWear(const CTracer& trace, const CTorvexAdapter& adapter) {
  trace.Tool("ScanSystem, DataUnitsRead = %d", adapter.DataUnitsRead);
  trace.Tool("ScanSystem, DataUnitsWritten = %d", adapter.DataUnitsWritten);
  trace.Tool("ScanSystem, PowerOnHours = %d", adapter.PowerOnHours);
  trace.Tool("ScanSystem, ReserveSpace = %d", adapter.ReserveSpace);
  trace.Tool("ScanSystem, WarningThreshold = %d", adapter.WarningThreshold);
}

template <class Object>
const Object* Found(const std::vector<Object>& objects, const CSerialIndex& index,
                    const std::string& serialNumber) {
  const std::size_t position = index.Find(serialNumber);
  return position == NOT_FOUND ? nullptr : &objects[position];
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

bool IsHardwarePresent() {
  return std::ranges::any_of(Facts::SERVED_DEVICES, [](const char* device) {
    unsigned long bus = 0;
    unsigned long deviceNumber = 0;
    unsigned long function = 0;
    return TLXX::CConfigManager::GetLocation(Facts::PCI_VENDOR, device, 1, bus, deviceNumber,
                                             function);
  });
}

bool IsBehindVolumeManagement(const std::string& devicePath) {
  static const std::vector<std::pair<std::string, std::string>> controllers = [] {
    std::vector<std::pair<std::string, std::string>> ids;
    for (const char* device : Facts::VOLUME_MANAGEMENT_DEVICES) {
      ids.emplace_back(Facts::PCI_VENDOR, device);
    }
    return ids;
  }();
  return TLXX::CConfigManager::IsDiskConnectedThroughOneOfDevices(devicePath, controllers);
}

unsigned int CAdapterNumbers::Take(unsigned int wanted) {
  unsigned int number = wanted;
  if (number == 0 || m_Used.count(number) != 0) {
    while (m_Used.count(m_LowestFree) != 0) ++m_LowestFree;
    number = m_LowestFree;
  }
  m_Used.insert(number);
  return number;
}

CScan::CScan(const CBasis& basis, const CTracer& trace)
    : m_Basis(basis),
      m_Trace(trace),
      m_AdapterIndex(basis.m_Adapters),
      m_DriveIndex(basis.m_Drives) {
  for (const CTorvexAdapter& adapter : basis.m_Adapters) m_Numbers.Use(adapter.AdapterNumber);
}

void CScan::Build(CCmdEmuAdapter& record, unsigned int position, bool healthKnown,
                  CTorvexAdapter& adapter, CTorvexPhysicalDrive& drive) {
  BuildAdapter(record, healthKnown, adapter, drive);
  BuildDrive(record, position, healthKnown, adapter, drive);
}

// The adapter of a record, and the drive's location, which goes with it.
void CScan::BuildAdapter(const CCmdEmuAdapter& record, bool healthKnown, CTorvexAdapter& adapter,
                         CTorvexPhysicalDrive& drive) {
  const CTorvexAdapter* const published =
      Found(m_Basis.m_Adapters, m_AdapterIndex, record.SerialNumber);
  adapter.m_Type = PI::OBJECT_TYPE_ADAPTER;
  adapter.m_ID = published != nullptr ? published->m_ID : m_Basis.m_NewId();
  adapter.m_ReadCounter = published != nullptr ? published->m_ReadCounter : 0;
  adapter.AdapterNumber = published != nullptr
                              ? published->AdapterNumber
                              : m_Numbers.Take(static_cast<unsigned int>(record.AdapterNumber));
  CopyIdentity(record, adapter, drive);
  Locate(adapter, drive);
  adapter.GlobalAdapterNumber = GlobalNumberOf(adapter.SerialNumber);
  adapter.DriverVersion = DriverVersionOf(record, adapter.DriverName);
  if (healthKnown) CopyStatus(record.Health, adapter);
  if (const PI::CAdapterID* const id = FindHostRecord(m_Basis.m_HostIds, adapter)) {
    adapter.Name = FormatText("%s (%s)", MarketingNameOf(*id), adapter.SerialNumber);
  }
  adapter.EnduranceRating = EnduranceOf(adapter.ModelNumber);
  if (!healthKnown) return;
  CopyWear(record.Health, adapter);
  TraceWear(m_Trace, adapter);
  adapter.ExtraText = EndOfLifeDate(adapter, TLX::Misc::now());
}

void CScan::Locate(CTorvexAdapter& adapter, CTorvexPhysicalDrive& drive) const {
  if (!TLXX::CConfigManager::GetLocation(adapter.PciSegment, adapter.PciBus, adapter.PciDevice,
                                         adapter.PciFunction, adapter.DevicePath)) {
    m_Trace.Tool("ScanSystem, Can not retrive PCI properties");
  }
  adapter.Location =
      adapter.PciSegment != 0
          ? FormatText("PCI:Segment=%d&Bus=%d&Device=%d&Function=%d", adapter.PciSegment,
                       adapter.PciBus, adapter.PciDevice, adapter.PciFunction)
          : FormatText("PCI:Bus=%d&Device=%d&Function=%d", adapter.PciBus, adapter.PciDevice,
                       adapter.PciFunction);
  drive.Location = adapter.Location + "&ID=0";
}

void CScan::BuildDrive(CCmdEmuAdapter& record, unsigned int position, bool healthKnown,
                       const CTorvexAdapter& adapter, CTorvexPhysicalDrive& drive) {
  drive.m_Type = PI::OBJECT_TYPE_PHYSICAL_DRIVE;
  drive.DriveNumber = position;
  drive.ParentAdapterNumber = adapter.GlobalAdapterNumber;
  drive.HealthState = DriveStateOf(adapter);
  drive.Temperature = adapter.Temperature;
  SizeDrive(record, healthKnown, drive);
  drive.Name = DriveNameOf(record);
  const CTorvexPhysicalDrive* const published =
      Found(m_Basis.m_Drives, m_DriveIndex, record.SerialNumber);
  drive.m_ID = published != nullptr ? published->m_ID : m_Basis.m_NewId();
  drive.m_ReadCounter = published != nullptr ? published->m_ReadCounter : 0;
  if (published == nullptr && !m_Basis.m_IsStartUp) m_Trace.Tool("The drive is not found yet!");
}

// The record's size is the inventory's until the health query has told the capacity.
void CScan::SizeDrive(CCmdEmuAdapter& record, bool healthKnown, CTorvexPhysicalDrive& drive) const {
  if (healthKnown && record.Health.PhysicalSize != 0) {
    record.PhysicalSize = record.Health.PhysicalSize;
  }
  drive.PhysicalSizeMiB = record.PhysicalSize >> MIB_SHIFT;
  drive.PhysicalSizeMiB2 = drive.PhysicalSizeMiB;
  m_Trace.Tool("ScanSystem, PhysicalSize = %d", drive.PhysicalSizeMiB);
  drive.SectorSize = record.SectorSize;
  drive.UsableSizeMiB = ProductInMiB(record.SectorSize, record.MaximumLBA);
  if (record.NativeMaxLBA != 0) {
    drive.UsablePercent = PercentOf(record.MaximumLBA, record.NativeMaxLBA);
  } else if (drive.PhysicalSizeMiB != 0) {
    drive.UsablePercent = PercentOf(drive.UsableSizeMiB, drive.PhysicalSizeMiB);
  } else {
    drive.UsablePercent = 100;
  }
}

std::size_t DropDuplicates(std::vector<CTorvexAdapter>& adapters,
                           std::vector<CTorvexPhysicalDrive>& drives) {
  const std::size_t reported = adapters.size();
  DropLaterDuplicates(adapters);
  DropLaterDuplicates(drives);
  return reported - adapters.size();
}

}  // namespace NAMESPACE_piTorvex
