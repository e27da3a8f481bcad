#include "piTorvexPhysicalDrive.h"

#include "piTorvex.h"

#include <array>
#include <string>
#include <tuple>

#include <DatabaseORM/Storage.h>
#include <PI/GlobalAdapterID.h>
#include <PI/PluginHelper.h>
#include <TLX/Misc/Clock.h>

namespace NAMESPACE_piTorvex {
namespace {

constexpr const char* TRACE_FILE = "piTorvex/Src/piTorvexPhysicalDrive";

constexpr unsigned int EVENT_DRIVE_CHANGED = 10985;

// --- Operations --------------------------------------------------------------------------------

// The one operation that is defined for drives, and the id that is not offered. Both are kept: an
// operation with another id in the descriptor would be offered.
constexpr COperationDescriptor DRIVE_OPERATION{{50026, 50026, 2, 2, 1, 3, 22025, -1, 1}, false};
constexpr unsigned int OPERATION_NOT_OFFERED = 50026;

// --- Members -----------------------------------------------------------------------------------

// All that makes two drives different, in the order of their declaration.
auto ComparedMembers(const CTorvexPhysicalDrive& drive) {
  return std::tie(drive.DriveNumber, drive.ParentAdapterNumber, drive.SerialNumber, drive.Vendor,
                  drive.ModelNumber, drive.Name, drive.Location, drive.DriveText, drive.HealthState,
                  drive.SectorSize, drive.UsableSizeMiB, drive.UsablePercent, drive.PhysicalSizeMiB,
                  drive.PhysicalSizeMiB2, drive.Temperature);
}

// --- Properties --------------------------------------------------------------------------------

constexpr auto INTERFACES = std::to_array({40200});
constexpr auto DRIVE_STATES = std::to_array({40099, 40095});

// Channel and target of a drive that is alone behind its controller.
bool ShowZero(const CTorvexPhysicalDrive&, PI::CProperty& property) {
  property.SetValue(0UL);
  return true;
}

bool ShowInterface(const CTorvexPhysicalDrive&, PI::CProperty& property) {
  property.SetValue(INTERFACES[0], std::vector<int>(INTERFACES.begin(), INTERFACES.end()));
  return true;
}

// Shown only for drives whose name begins with "SSD", and names that the scan builds begin with the
// family. Meant to be so: people read the temperature at the adapter.
bool ShowTemperatureOfSSD(const CTorvexPhysicalDrive& drive, PI::CProperty& property) {
  return drive.Name.starts_with("SSD") &&
         ShowTemperatureIfKnown<&CTorvexPhysicalDrive::Temperature>(drive, property);
}

using ID = PI::_PROPERTY_ID;
using CObj = CTorvexPhysicalDrive;
using CRow = RaidDataModels::PD;

// What the host sees of a drive, in this order, and the field of the row that holds it. Label 1:
// none; two rows share label 23327.
// clang-format off
constexpr auto DRIVE_PROPERTIES = std::to_array<CPropertyRow<CTorvexPhysicalDrive, RaidDataModels::PD>>({
    // id        label  flags  default kind                       unit                       last  value                                     field
    {{ID{30007}, 23299, 1, 1,  -1, PI::KIND_STRING,           PI::UNIT_NONE,             1}, ShowText<&CObj::Name>,                       &CRow::Name},
    {{ID{30122}, 23306, 1, 1,   4, PI::KIND_UNSIGNED,         PI::UNIT_NONE,             1}, ShowZero,                                    &CRow::Channel},
    {{ID{30125}, 23285, 1, 1,  -1, PI::KIND_UNSIGNED,         PI::UNIT_NONE,             1}, ShowZero,                                    &CRow::Target},
    {{ID{30137},     1, 1, 1,   0, PI::KIND_STRING,           PI::UNIT_NONE,             1}, ShowText<&CObj::Location>,                   &CRow::Location},
    {{ID{30003}, 23332, 1, 1,  -1, PI::KIND_STRING,           PI::UNIT_NONE,             1}, ShowText<&CObj::Vendor>,                     &CRow::Vendor},
    {{ID{30063}, 23309, 1, 1,  -1, PI::KIND_STRING,           PI::UNIT_NONE,             1}, ShowText<&CObj::ModelNumber>,                &CRow::ModelNumber},
    {{ID{30056}, 23330, 1, 1,  -1, PI::KIND_CHOICE,           PI::UNIT_NONE,             1}, ShowInterface,                               &CRow::Interface},
    {{ID{30059}, 23305, 1, 1,  -1, PI::KIND_UNSIGNED,         PI::UNIT_MIB,              1}, ShowNumber<&CObj::PhysicalSizeMiB>,          &CRow::PhysicalSize},
    {{ID{30060}, 23282, 1, 1,  -1, PI::KIND_UNSIGNED,         PI::UNIT_MIB,              1}, ShowNumber<&CObj::PhysicalSizeMiB2>,         &CRow::PhysicalSize2},
    {{ID{30017}, 23325, 1, 1,  -1, PI::KIND_CHOICE,           PI::UNIT_NONE,             1}, ShowChoice<&CObj::HealthState, DRIVE_STATES>, &CRow::State},
    {{ID{30461}, 23291, 1, 1,  -1, PI::KIND_UNSIGNED,         PI::UNIT_MIB,              1}, ShowNumber<&CObj::UsableSizeMiB>,            &CRow::UsableSize},
    {{ID{30462}, 23290, 1, 1,  -1, PI::KIND_UNSIGNED,         PI::UNIT_PERCENT,          1}, ShowNumber<&CObj::UsablePercent>,            &CRow::UsablePercent},
    {{ID{30460}, 23279, 1, 1,  -1, PI::KIND_UNSIGNED,         PI::UNIT_BYTES_PER_SECTOR, 1}, ShowNumber<&CObj::SectorSize>,               &CRow::SectorSize},
    {{ID{30069}, 23327, 1, 1,  -1, PI::KIND_NUMBER_WITH_UNIT, PI::UNIT_CELSIUS,          0}, ShowTemperatureOfSSD,                        &CRow::Temperature},
    {{ID{30022}, 23327, 1, 1,  -1, PI::KIND_STRING,           PI::UNIT_NONE,             0}, ShowText<&CObj::SerialNumber>,               &CRow::SerialNumber},
});
// clang-format on
static_assert(HasUniqueIDs(DRIVE_PROPERTIES), "a drive property stands twice in the table");

// --- Rows --------------------------------------------------------------------------------------

// Finds the drive's row.
auto RowOf(const CTorvexPhysicalDrive& drive) {
  return DatabaseORM::where(
      DatabaseORM::is_equal(&RaidDataModels::PD::SerialNumber, drive.SerialNumber) &&
      DatabaseORM::is_equal(&RaidDataModels::PD::Host, PI::LOOPBACK_HOST_NAME));
}

}  // namespace

// --- The object --------------------------------------------------------------------------------

void CTorvexPhysicalDrive::Update(const CTorvexPhysicalDrive& newer, const CTorvexAdapter& owner,
                                  std::vector<PI::CEvent>& events) {
  if (newer.SectorSize != SectorSize || newer.HealthState != HealthState) {
    PI::CEvent event(EVENT_DRIVE_CHANGED, PI::SEVERITY_INFORMATION, m_ID, TLX::Misc::now(), Name);
    event.SetPlaceHolder1(owner.Name);
    event.SetPlaceHolder2(Name);
    events.push_back(event);
  }
  ++m_ReadCounter;
}

bool CTorvexPhysicalDrive::SameAs(const CTorvexPhysicalDrive& other) const {
  return PI::CObject::operator==(other) && ComparedMembers(*this) == ComparedMembers(other);
}

// --- Properties --------------------------------------------------------------------------------

unsigned long IPLUGINAPI_IMPL::GetPhysicalDriveProperties(CTorvexPhysicalDrive& drive,
                                                          std::vector<PI::CProperty>& out,
                                                          unsigned long propertyId) {
  WalkProperties(DRIVE_PROPERTIES, drive, propertyId, out);
  return SUCCESS;
}

unsigned long IPLUGINAPI_IMPL::SetPhysicalDriveProperty(CTorvexPhysicalDrive&, PI::CProperty&) {
  return ERR_PROPERTY_NOT_SETTABLE;
}

// --- Operations --------------------------------------------------------------------------------

unsigned int IPLUGINAPI_IMPL::GetPhysicalDriveOperations(CTorvexPhysicalDrive&,
                                                         std::vector<PI::COperation>& out) {
  out.clear();
  const PI::COperation operation = MakeOperation(DRIVE_OPERATION);
  if (operation.OperationID() != OPERATION_NOT_OFFERED) out.push_back(operation);
  return SUCCESS;
}

unsigned int IPLUGINAPI_IMPL::CheckPhysicalDriveOperation(CTorvexPhysicalDrive& drive,
                                                          PI::COperation& operation) {
  TORVEX_TRACE(TLX::Misc::TRACE_STEPS, "ENTER CheckPhysicalDriveOperation()");
  const bool refused =
      operation.OperationID() == OPERATION_NOT_OFFERED && drive.HealthState != DRIVE_STATE_GOOD;
  const unsigned int result = refused ? ERR_OPERATION_NOT_ALLOWED : SUCCESS;
  TORVEX_TRACE(TLX::Misc::TRACE_STEPS, "LEAVE CheckPhysicalDriveOperation() -> %d", result);
  return result;
}

unsigned int IPLUGINAPI_IMPL::ExecutePhysicalDriveOperation(CTorvexPhysicalDrive&,
                                                            PI::COperation&) {
  TORVEX_TRACE(TLX::Misc::TRACE_STEPS, "ENTER ExecutePhysicalDriveOperation()");
  TORVEX_TRACE(TLX::Misc::TRACE_STEPS, "LEAVE ExecutePhysicalDriveOperation() -> %d",
               ERR_OPERATION_NOT_SUPPORTED);
  return ERR_OPERATION_NOT_SUPPORTED;
}

// --- Database ----------------------------------------------------------------------------------

unsigned int IPLUGINAPI_IMPL::SetDatabaseObjectProperties(RaidDataModels::PD& record,
                                                          CTorvexPhysicalDrive& drive) {
  record = RaidDataModels::PD();
  record.SerialNumber = drive.SerialNumber;
  record.Host = PI::LOOPBACK_HOST_NAME;
  std::vector<PI::CProperty> properties;
  GetPhysicalDriveProperties(drive, properties, PI::PROPERTY_ALL);
  CopyPropertiesToRecord(DRIVE_PROPERTIES, properties, record);
  // The row holds the temperature of every drive, also of one whose property is not shown.
  if (drive.Temperature != TEMPERATURE_UNKNOWN) record.Temperature = drive.Temperature;
  return SUCCESS;
}

unsigned int IPLUGINAPI_IMPL::InsertObjectToDatabase(CTorvexPhysicalDrive& drive, bool) {
  try {
    RaidDataModels::PD record;
    SetDatabaseObjectProperties(record, drive);
    Storage().insert(record);
  } catch (const DBEXCEPTION::DatabaseException& failure) {
    TORVEX_TRACE(TLX::Misc::TRACE_STEPS,
                 "Storage query exception thrown during inserting PD (%s) to db. (%s)",
                 drive.SerialNumber, failure.what());
    return ERR_GENERAL_FAILURE;
  }
  TORVEX_TRACE(TLX::Misc::TRACE_STEPS, "PD (%s) inserted to db.", drive.SerialNumber);
  return SUCCESS;
}

// Writes the first of the drive's rows; without one nothing is written, and that is no failure. A
// serial number that reads like the database's null is stored as null: no key finds its row.
unsigned int IPLUGINAPI_IMPL::UpdateObjectInDatabase(CTorvexPhysicalDrive& drive) {
  try {
    DatabaseORM::storage_t& storage = Storage();
    const auto rows = storage.get_all<RaidDataModels::PD>(RowOf(drive));
    if (rows.empty()) return SUCCESS;
    RaidDataModels::PD record;
    SetDatabaseObjectProperties(record, drive);
    record.ID = rows.front().ID;
    storage.update(record);
  } catch (const DBEXCEPTION::DatabaseException& failure) {
    TORVEX_TRACE(TLX::Misc::TRACE_STEPS,
                 "Storage query exception thrown during updating PD (%s) in db. (%s)",
                 drive.SerialNumber, failure.what());
    return ERR_GENERAL_FAILURE;
  }
  TORVEX_TRACE(TLX::Misc::TRACE_STEPS, "PD (%s) updated in db.", drive.SerialNumber);
  return SUCCESS;
}

// The row stays: the table is the record of every drive ever seen.
unsigned int IPLUGINAPI_IMPL::DeleteObjectFromDatabase(CTorvexPhysicalDrive&) {
  return SUCCESS;
}

}  // namespace NAMESPACE_piTorvex
