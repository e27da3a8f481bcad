#pragma once

#include <string>
#include <vector>

#include <PI/Event.h>
#include <PI/Object.h>

namespace NAMESPACE_piTorvex {

class CTorvexAdapter;

inline constexpr unsigned int DRIVE_STATE_GOOD = 40099;
inline constexpr unsigned int DRIVE_STATE_CRITICAL = 40095;

// The one physical drive behind an adapter. A value type; the published ones belong to
// IPLUGINAPI_IMPL. Members in the order in which they are compared.
class CTorvexPhysicalDrive : public PI::CObject {
 public:
  CTorvexPhysicalDrive() = default;
  CTorvexPhysicalDrive(const CTorvexPhysicalDrive&) = default;
  CTorvexPhysicalDrive& operator=(const CTorvexPhysicalDrive&) = default;
  CTorvexPhysicalDrive(CTorvexPhysicalDrive&&) noexcept = default;
  CTorvexPhysicalDrive& operator=(CTorvexPhysicalDrive&&) noexcept = default;
  ~CTorvexPhysicalDrive() override = default;

  // Queues the drive-changed event when state or sector size differ. Changes nothing of this object
  // but its read counter, which grows by one. owner: the new adapter of this drive. Called on the
  // published object. [holds m_DataLock and m_EventsLock]
  void Update(const CTorvexPhysicalDrive& newer, const CTorvexAdapter& owner,
              std::vector<PI::CEvent>& events);

  // Whether every member is equal: the object part by its own equality, then all below up to
  // Temperature.
  bool SameAs(const CTorvexPhysicalDrive& other) const;

  unsigned int DriveNumber = 0;          // 0-based position of the tool's record: the adapter index
  unsigned int ParentAdapterNumber = 0;  // the adapter's GlobalAdapterNumber
  std::string SerialNumber;              // the key
  std::string Vendor;
  std::string ModelNumber;
  std::string Name;  // display name
  std::string Location;
  std::string DriveText;  // nothing fills it
  unsigned int HealthState = DRIVE_STATE_GOOD;
  unsigned int SectorSize = 0;  // bytes
  unsigned long UsableSizeMiB = 0;
  unsigned long UsablePercent = 100;
  unsigned long PhysicalSizeMiB = 0;
  unsigned long PhysicalSizeMiB2 = 0;
  float Temperature = -1.0F;  // degrees Celsius; -1.0: unknown

  // Not compared:
  bool RowIsStale = false;    // the database row shows older values: write it at the next scan
  bool RowIsMissing = false;  // the row could not be inserted: insert it at the next scan
};

}  // namespace NAMESPACE_piTorvex
