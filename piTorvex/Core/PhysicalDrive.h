#pragma once

#include <string>
#include <vector>

#include <PI/Catalogue.h>
#include <PI/Event.h>
#include <PI/Object.h>
#include <PI/PropertyTable.h>

namespace NAMESPACE_piTorvex {

class CTorvexAdapter;

using PI::TEMPERATURE_UNKNOWN;

inline constexpr unsigned int DRIVE_STATE_GOOD = PI::CHOICE_DRIVE_WORKING;
inline constexpr unsigned int DRIVE_STATE_CRITICAL = PI::CHOICE_HEALTH_CRITICAL;

// All that makes two drives different. Members, units and meanings are rows of Facts/Fields.def.
struct CDriveValues {
#define DRIVE_MEMBER(type, member, initial, meaning) type member initial;
#define DRIVE_COPY(type, member, initial, key, meaning) type member initial;
#include <Facts/Fields.def>
  bool operator==(const CDriveValues&) const = default;
};

// The one physical drive behind an adapter. A value type; the published ones belong to
// IPLUGINAPI_IMPL. [holds m_DataLock]
class CTorvexPhysicalDrive : public PI::CObject, public CDriveValues {
 public:
  CTorvexPhysicalDrive() = default;
  CTorvexPhysicalDrive(const CTorvexPhysicalDrive&) = default;
  CTorvexPhysicalDrive& operator=(const CTorvexPhysicalDrive&) = default;
  CTorvexPhysicalDrive(CTorvexPhysicalDrive&&) noexcept = default;
  CTorvexPhysicalDrive& operator=(CTorvexPhysicalDrive&&) noexcept = default;
  ~CTorvexPhysicalDrive() override = default;

  // Queues the drive-changed event when state or sector size differ. Changes nothing of this object
  // but its read counter, which grows by one: it has been looked at. owner: the new adapter of this
  // drive. Called on the published object or a copy of it.
  void Update(const CTorvexPhysicalDrive& newer, const CTorvexAdapter& owner,
              std::vector<PI::CEvent>& events);

  // Whether the object part and all values are equal.
  [[nodiscard]] bool SameAs(const CTorvexPhysicalDrive& other) const;

  // No values of the drive, and not compared:
  bool RowIsStale = false;    // the database row shows older values: write it at the next scan
  bool RowIsMissing = false;  // the row could not be inserted: insert it at the next scan
};

}  // namespace NAMESPACE_piTorvex
