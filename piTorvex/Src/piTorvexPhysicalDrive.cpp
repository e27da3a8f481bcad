#include "piTorvexPhysicalDrive.h"

#include "Core/Rows.h"
#include "piTorvex.h"

#include <array>
#include <string>

#include <PI/GlobalAdapterID.h>
#include <PI/PropertyTable.h>

namespace NAMESPACE_piTorvex {
namespace {

// --- Operations

// The one operation that is defined for drives, and the id that is not offered. Both are kept: an
// operation with another id in the descriptor would be offered.
constexpr unsigned int OPERATION_NOT_OFFERED = PI::OPERATION_DRIVE;
constexpr PI::COperationDescriptor DRIVE_OPERATION{
    {static_cast<int>(PI::OPERATION_DRIVE), static_cast<int>(PI::OPERATION_DRIVE), 2, 2, 1, 3,
     22025, -1, 1},
    false};

// --- Properties

constexpr auto INTERFACES = std::to_array({PI::CHOICE_INTERFACE_NVME});
constexpr auto DRIVE_STATES = std::to_array({PI::CHOICE_DRIVE_WORKING, PI::CHOICE_HEALTH_CRITICAL});

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
// family: hosts read the temperature at the adapter, and a drive never repeats it.
bool ShowTemperatureOfSSD(const CTorvexPhysicalDrive& drive, PI::CProperty& property) {
  return drive.Name.starts_with("SSD") &&
         PI::ShowTemperatureIfKnown<&CTorvexPhysicalDrive::Temperature>(drive, property);
}

using CObj = CTorvexPhysicalDrive;

// What the host sees of a drive, and the field of the row that holds it: the rows of the facts.
constexpr auto DRIVE_PROPERTIES =
    std::to_array<PI::CPropertyRow<CTorvexPhysicalDrive, RaidDataModels::PD>>({
#define STORED(kind, field, ...) &RaidDataModels::PD::field
#define DRIVE_PROPERTY VX_PROPERTY_ROW
#include "Core/PropertyRows.h"
    });
static_assert(PI::HasUniqueIDs(DRIVE_PROPERTIES), "a drive property stands twice in the table");

// --- Rows

constexpr CRowTextTable ROW_TEXTS = {
    {"PD (%s) inserted to db.",
     "Storage query exception thrown during inserting PD (%s) to db. (%s)"},
    {"PD (%s) updated in db.",
     "Storage query exception thrown during updating PD (%s) in db. (%s)"},
    {},  // rows of drives stay
};

// Finds the drive's row. A serial number that reads like the database's null is stored as null: no
// key finds its row.
auto RowOf(const CTorvexPhysicalDrive& drive) {
  return DatabaseORM::where(
      DatabaseORM::is_equal(&RaidDataModels::PD::SerialNumber, drive.SerialNumber) &&
      DatabaseORM::is_equal(&RaidDataModels::PD::Host, PI::LOOPBACK_HOST_NAME));
}

}  // namespace

// --- Properties

unsigned long IPLUGINAPI_IMPL::GetPhysicalDriveProperties(CTorvexPhysicalDrive& drive,
                                                          std::vector<PI::CProperty>& out,
                                                          unsigned long propertyId) {
  PI::WalkProperties(DRIVE_PROPERTIES, drive, propertyId, out);
  return SUCCESS;
}

unsigned long IPLUGINAPI_IMPL::SetPhysicalDriveProperty(CTorvexPhysicalDrive&, PI::CProperty&) {
  return ERR_PROPERTY_NOT_SETTABLE;
}

// --- Operations

unsigned int IPLUGINAPI_IMPL::GetPhysicalDriveOperations(CTorvexPhysicalDrive&,
                                                         std::vector<PI::COperation>& out) {
  out.clear();
  const PI::COperation operation = PI::MakeOperation(DRIVE_OPERATION);
  if (operation.OperationID() != OPERATION_NOT_OFFERED) out.push_back(operation);
  return SUCCESS;
}

unsigned int IPLUGINAPI_IMPL::CheckPhysicalDriveOperation(CTorvexPhysicalDrive& drive,
                                                          PI::COperation& operation) {
  const CTracer trace(TraceSource::DRIVE);
  trace.Steps("ENTER CheckPhysicalDriveOperation()");
  const bool refused =
      operation.OperationID() == OPERATION_NOT_OFFERED && drive.HealthState != DRIVE_STATE_GOOD;
  const unsigned int result = refused ? ERR_OPERATION_NOT_ALLOWED : SUCCESS;
  trace.Steps("LEAVE CheckPhysicalDriveOperation() -> %d", result);
  return result;
}

unsigned int IPLUGINAPI_IMPL::ExecutePhysicalDriveOperation(CTorvexPhysicalDrive&,
                                                            PI::COperation&) {
  const CTracer trace(TraceSource::DRIVE);
  trace.Steps("ENTER ExecutePhysicalDriveOperation()");
  trace.Steps("LEAVE ExecutePhysicalDriveOperation() -> %d", ERR_OPERATION_NOT_SUPPORTED);
  return ERR_OPERATION_NOT_SUPPORTED;
}

// --- Database

unsigned int IPLUGINAPI_IMPL::SetDatabaseObjectProperties(RaidDataModels::PD& record,
                                                          CTorvexPhysicalDrive& drive) {
  record = RaidDataModels::PD();
  record.SerialNumber = drive.SerialNumber;
  record.Host = PI::LOOPBACK_HOST_NAME;
  std::vector<PI::CProperty> properties;
  (void)GetPhysicalDriveProperties(drive, properties, PI::PROPERTY_ALL);
  PI::CopyPropertiesToRecord(DRIVE_PROPERTIES, properties, record);
  // The row holds the temperature of every drive, also of one whose property is not shown.
  if (drive.Temperature != TEMPERATURE_UNKNOWN) record.Temperature = drive.Temperature;
  return SUCCESS;
}

unsigned int IPLUGINAPI_IMPL::WriteObject(ERowWork work, CTorvexPhysicalDrive& drive,
                                          const CTracer& trace) {
  return WriteRows<RaidDataModels::PD>(
             work, trace, ROW_TEXTS, [this]() -> auto& { return Storage(); }, RowOf(drive),
             [this, &drive]() VX_NO_THREAD_SAFETY_ANALYSIS {
               RaidDataModels::PD record;
               (void)SetDatabaseObjectProperties(record, drive);
               return record;
             },
             drive.SerialNumber)
             ? SUCCESS
             : ERR_GENERAL_FAILURE;
}

unsigned int IPLUGINAPI_IMPL::InsertObjectToDatabase(CTorvexPhysicalDrive& drive, bool) {
  return WriteObject(ERowWork::Insert, drive, CTracer(TraceSource::DRIVE));
}

unsigned int IPLUGINAPI_IMPL::UpdateObjectInDatabase(CTorvexPhysicalDrive& drive) {
  return WriteObject(ERowWork::Update, drive, CTracer(TraceSource::DRIVE));
}

// The row stays: the table is the record of every drive ever seen.
unsigned int IPLUGINAPI_IMPL::DeleteObjectFromDatabase(CTorvexPhysicalDrive&) {
  return SUCCESS;
}

}  // namespace NAMESPACE_piTorvex
