#include "piTorvexAdapter.h"

#include "piTorvex.h"

#include <algorithm>
#include <array>
#include <limits>
#include <string>
#include <tuple>

#include <DatabaseORM/Storage.h>
#include <PI/GlobalAdapterID.h>
#include <PI/PluginHelper.h>
#include <TLX/Misc/Clock.h>

namespace NAMESPACE_piTorvex {
namespace {

constexpr const char* TRACE_FILE = "piTorvex/Src/piTorvexAdapter";

// --- Events ------------------------------------------------------------------------------------

// Bits of the status word that raise an event when they become set, in the order in which they are
// looked at. The bits 0x02 and 0x08 raise nothing.
struct CBitEvent {
  unsigned int m_Bit;
  unsigned int m_EventID;
  unsigned int m_Severity;
};
constexpr auto BIT_EVENTS = std::to_array<CBitEvent>({
    {0x010, 10957, PI::SEVERITY_ERROR},
    {0x004, 11088, PI::SEVERITY_WARNING},
    {0x040, 10959, PI::SEVERITY_ERROR},
    {0x080, 10960, PI::SEVERITY_ERROR},
    {0x020, 10967, PI::SEVERITY_WARNING},
    {0x200, 10962, PI::SEVERITY_WARNING},
    {0x001, 10968, PI::SEVERITY_ERROR},
});
constexpr unsigned int EVENT_BACK_TO_NORMAL = 10980;

// --- Members -----------------------------------------------------------------------------------

// All that makes two adapters different, in the order of their declaration.
auto ComparedMembers(const CTorvexAdapter& adapter) {
  return std::tie(
      adapter.AdapterNumber, adapter.GlobalAdapterNumber, adapter.SerialNumber, adapter.Vendor,
      adapter.ModelNumber, adapter.Name, adapter.Location, adapter.DriverName,
      adapter.DriverVersion, adapter.Firmware, adapter.Bootloader, adapter.DevicePath,
      adapter.PciSegment, adapter.PciBus, adapter.PciDevice, adapter.PciFunction,
      adapter.StatusBits, adapter.StatusWord2, adapter.PercentageUsed, adapter.StatusWord3,
      adapter.StatusWord4, adapter.Temperature, adapter.HealthState, adapter.HealthReasons,
      adapter.Flag, adapter.LifeState, adapter.DataUnitsRead, adapter.DataUnitsWritten,
      adapter.PowerOnHours, adapter.ReserveSpace, adapter.EnduranceRating, adapter.SelectedLevel,
      adapter.WarningThreshold, adapter.ModelNumberCopy, adapter.ExtraText);
}

// --- Properties --------------------------------------------------------------------------------

constexpr auto MODES = std::to_array({40488, 40480});
constexpr auto HEALTH_STATES = std::to_array({40024, 40150, 40095});
constexpr auto LEVELS = std::to_array({40473});
constexpr auto LIFE_STATES = std::to_array({40252, 40410, 40411});
constexpr auto HEALTH_REASONS = std::to_array({40459, 40460, 40449, 40487, 40452});

bool ShowMode(const CTorvexAdapter& adapter, PI::CProperty& property) {
  property.SetValue(adapter.Flag ? MODES[0] : MODES[1],
                    std::vector<int>(MODES.begin(), MODES.end()));
  return true;
}

// A percentage in the limits that go with it.
template <auto Member, int Minimum>
bool ShowPercentage(const CTorvexAdapter& adapter, PI::CProperty& property) {
  property.SetValue(static_cast<int>(adapter.*Member), Minimum, 100, 1U);
  return true;
}

// Left out as long as no health query has reached the drive, which the hours tell. A drive may
// report more than 100 percent used.
bool ShowRemainingLife(const CTorvexAdapter& adapter, PI::CProperty& property) {
  if (adapter.PowerOnHours == NOT_REPORTED) return false;
  const unsigned int used = std::min(adapter.PercentageUsed, 100U);
  property.SetValue(static_cast<int>(100U - used), 0, 100, 1U);
  return true;
}

bool ShowHealthReasons(const CTorvexAdapter& adapter, PI::CProperty& property) {
  std::vector<int> selected = adapter.HealthReasons;
  std::vector<int> choices(HEALTH_REASONS.begin(), HEALTH_REASONS.end());
  property.SetValue(selected, choices);
  return true;
}

using ID = PI::_PROPERTY_ID;
using CObj = CTorvexAdapter;
using CRow = RaidDataModels::Adapter;

// What the host sees of an adapter, in this order, and the field of the row that holds it. Label 1:
// none.
// clang-format off
constexpr auto ADAPTER_PROPERTIES = std::to_array<CPropertyRow<CTorvexAdapter, RaidDataModels::Adapter>>({
    // id        label  flags  default kind                       unit               last  value                                      field
    {{ID{30007}, 23081, 1, 1,  -1, PI::KIND_STRING,           PI::UNIT_NONE,    1}, ShowText<&CObj::Name>,                       &CRow::Name},
    {{ID{30003}, 23144, 1, 1,  -1, PI::KIND_STRING,           PI::UNIT_NONE,    1}, ShowText<&CObj::Vendor>,                     &CRow::Vendor},
    {{ID{30063}, 23102, 1, 1,  -1, PI::KIND_STRING,           PI::UNIT_NONE,    1}, ShowText<&CObj::ModelNumber>,                &CRow::ModelNumber},
    {{ID{30158},     1, 1, 1,   0, PI::KIND_CHOICE,           PI::UNIT_NONE,    1}, ShowMode,                                    &CRow::Mode},
    {{ID{30120}, 23003, 1, 1,  -1, PI::KIND_UNSIGNED,         PI::UNIT_NONE,    1}, ShowNumber<&CObj::AdapterNumber>,            &CRow::AdapterNumber},
    {{ID{30017}, 23127, 1, 1,  -1, PI::KIND_CHOICE,           PI::UNIT_NONE,    1}, ShowChoice<&CObj::HealthState, HEALTH_STATES>, &CRow::HealthState},
    {{ID{30479}, 23134, 1, 1,  -1, PI::KIND_UNSIGNED,         PI::UNIT_NONE,    1}, ShowNumber<&CObj::PciSegment>,               &CRow::PciSegment},
    {{ID{30037}, 23132, 1, 1,  -1, PI::KIND_UNSIGNED,         PI::UNIT_NONE,    1}, ShowNumber<&CObj::PciBus>,                   &CRow::PciBus},
    {{ID{30038}, 23133, 1, 1,  -1, PI::KIND_UNSIGNED,         PI::UNIT_NONE,    1}, ShowNumber<&CObj::PciDevice>,                &CRow::PciDevice},
    {{ID{30039}, 23135, 1, 1,  -1, PI::KIND_UNSIGNED,         PI::UNIT_NONE,    1}, ShowNumber<&CObj::PciFunction>,              &CRow::PciFunction},
    {{ID{30137},     1, 1, 1,   0, PI::KIND_STRING,           PI::UNIT_NONE,    1}, ShowText<&CObj::Location>,                   &CRow::Location},
    {{ID{30022}, 23116, 1, 1,  -1, PI::KIND_STRING,           PI::UNIT_NONE,    1}, ShowText<&CObj::SerialNumber>,               &CRow::SerialNumber},
    {{ID{30020}, 23051, 1, 1,  -1, PI::KIND_STRING,           PI::UNIT_NONE,    1}, ShowTextIfAny<&CObj::Firmware>,              &CRow::Firmware},
    {{ID{30500}, 23016, 1, 1,  -1, PI::KIND_STRING,           PI::UNIT_NONE,    1}, ShowTextIfAny<&CObj::Bootloader>,            &CRow::Bootloader},
    {{ID{30247}, 23090, 1, 1,  -1, PI::KIND_STRING,           PI::UNIT_NONE,    1}, ShowText<&CObj::DevicePath>,                 &CRow::DevicePath},
    {{ID{30266}, 23041, 1, 1,  -1, PI::KIND_STRING,           PI::UNIT_NONE,    1}, ShowText<&CObj::DriverName>,                 &CRow::DriverName},
    {{ID{30018}, 23042, 1, 1,  -1, PI::KIND_STRING,           PI::UNIT_NONE,    1}, ShowTextIfAny<&CObj::DriverVersion>,         &CRow::DriverVersion},
    {{ID{30442}, 23024, 1, 1,  -1, PI::KIND_UNSIGNED,         PI::UNIT_CELSIUS, 0}, ShowTemperatureIfKnown<&CObj::Temperature>,  &CRow::Temperature},
    {{ID{30483}, 23045, 1, 1,  -1, PI::KIND_STRING,           PI::UNIT_NONE,    0}, ShowText<&CObj::ExtraText>,                  &CRow::EndOfLifeDate},
    {{ID{30498}, 23101, 1, 1,  -1, PI::KIND_UNSIGNED,         PI::UNIT_HOURS,   0}, ShowNumberIfReported<&CObj::PowerOnHours>,   &CRow::PowerOnHours},
    {{ID{30486}, 23110, 1, 1,  -1, PI::KIND_RANGE,            PI::UNIT_PERCENT, 0}, ShowPercentage<&CObj::ReserveSpace, 0>,      &CRow::ReserveSpace},
    {{ID{30487}, 23112, 1, 1,  -1, PI::KIND_CHOICE,           PI::UNIT_NONE,    1}, ShowChoice<&CObj::SelectedLevel, LEVELS>,    &CRow::SelectedLevel},
    {{ID{30488}, 23113, 1, 1,  -1, PI::KIND_RANGE,            PI::UNIT_PERCENT, 1}, ShowPercentage<&CObj::WarningThreshold, 1>,  &CRow::WarningThreshold},
    {{ID{30489}, 23017, 1, 1,  -1, PI::KIND_NUMBER_WITH_UNIT, PI::UNIT_NONE,    0}, ShowNumberIfReported<&CObj::DataUnitsRead>,  &CRow::DataUnitsRead},
    {{ID{30490}, 23018, 1, 1,  -1, PI::KIND_NUMBER_WITH_UNIT, PI::UNIT_NONE,    0}, ShowNumberIfReported<&CObj::DataUnitsWritten>, &CRow::DataUnitsWritten},
    {{ID{30494}, 23105, 1, 1,  -1, PI::KIND_RANGE,            PI::UNIT_PERCENT, 0}, ShowRemainingLife,                           &CRow::RemainingLife},
    {{ID{30468}, 23147, 1, 1,  -1, PI::KIND_CHOICE,           PI::UNIT_NONE,    1}, ShowChoice<&CObj::LifeState, LIFE_STATES>,   &CRow::LifeState},
    {{ID{30189}, 23143, 1, 1,  -1, PI::KIND_UNSIGNED,         PI::UNIT_NONE,    0}, ShowNumber<&CObj::StatusWord3>,              &CRow::MediaErrors},
    {{ID{30165}, 23004, 1, 1,  -1, PI::KIND_MULTIPLE_CHOICE,  PI::UNIT_NONE,    1}, ShowHealthReasons,                           &CRow::HealthReasons},
});
// clang-format on
static_assert(HasUniqueIDs(ADAPTER_PROPERTIES), "an adapter property stands twice in the table");

// --- Rows --------------------------------------------------------------------------------------

// The number as its row holds it, at the width of the field.
int RowNumberOf(const CTorvexAdapter& adapter) {
  constexpr unsigned int highest = std::numeric_limits<int>::max();
  return static_cast<int>(std::min(adapter.AdapterNumber, highest));
}

// Finds the adapter's row.
auto RowOf(const CTorvexAdapter& adapter) {
  return DatabaseORM::where(
      DatabaseORM::is_equal(&RaidDataModels::Adapter::AdapterNumber, RowNumberOf(adapter)) &&
      DatabaseORM::is_equal(&RaidDataModels::Adapter::Host, PI::LOOPBACK_HOST_NAME));
}

}  // namespace

// --- The object --------------------------------------------------------------------------------

void CTorvexAdapter::Update(const CTorvexAdapter& newer, std::vector<PI::CEvent>& events) {
  const unsigned long time = TLX::Misc::now();
  const auto raise = [&](unsigned int eventId, unsigned int severity) {
    PI::CEvent event(eventId, severity, m_ID, time, Name);
    event.SetPlaceHolder1(Name);
    events.push_back(event);
  };
  TORVEX_TRACE(TLX::Misc::TRACE_DETAIL, "Update () %x -> %x", StatusBits, newer.StatusBits);
  const unsigned int becameSet = newer.StatusBits & ~StatusBits;
  for (const CBitEvent& row : BIT_EVENTS) {
    if ((becameSet & row.m_Bit) != 0) raise(row.m_EventID, row.m_Severity);
  }
  if (StatusBits != 0 && newer.StatusBits == 0) {
    raise(EVENT_BACK_TO_NORMAL, PI::SEVERITY_INFORMATION);
  }
  ++m_ReadCounter;
}

bool CTorvexAdapter::SameAs(const CTorvexAdapter& other) const {
  return PI::CObject::operator==(other) && ComparedMembers(*this) == ComparedMembers(other);
}

// --- Properties --------------------------------------------------------------------------------

unsigned long IPLUGINAPI_IMPL::GetAdapterProperties(CTorvexAdapter& adapter,
                                                    std::vector<PI::CProperty>& out,
                                                    unsigned long propertyId) {
  WalkProperties(ADAPTER_PROPERTIES, adapter, propertyId, out);
  return SUCCESS;
}

unsigned long IPLUGINAPI_IMPL::SetAdapterProperty(CTorvexAdapter&, PI::CProperty&) {
  return ERR_PROPERTY_NOT_SETTABLE;
}

// --- Operations: an adapter offers none, accepts all, and does nothing --------------------------

unsigned int IPLUGINAPI_IMPL::GetAdapterOperations(CTorvexAdapter&,
                                                   std::vector<PI::COperation>& out) {
  out.clear();
  return SUCCESS;
}

unsigned int IPLUGINAPI_IMPL::CheckAdapterOperation(CTorvexAdapter&, PI::COperation& operation) {
  TORVEX_TRACE(TLX::Misc::TRACE_STEPS, "ENTER CheckAdapterOperation operation=%d",
               operation.OperationID());
  TORVEX_TRACE(TLX::Misc::TRACE_STEPS, "LEAVE CheckAdapterOperation -> %d", SUCCESS);
  return SUCCESS;
}

unsigned int IPLUGINAPI_IMPL::ExecuteAdapterOperation(CTorvexAdapter& adapter,
                                                      PI::COperation& operation) {
  TORVEX_TRACE(TLX::Misc::TRACE_STEPS, "ENTER ExecuteAdapterOperation (%d) (%d)",
               operation.OperationID(), adapter.AdapterNumber);
  TORVEX_TRACE(TLX::Misc::TRACE_STEPS, "LEAVE ExecuteAdapterOperation () -> %d", SUCCESS);
  return SUCCESS;
}

// --- Database ----------------------------------------------------------------------------------

unsigned int IPLUGINAPI_IMPL::SetDatabaseObjectProperties(RaidDataModels::Adapter& record,
                                                          CTorvexAdapter& adapter) {
  record = RaidDataModels::Adapter();
  record.ObjectID = adapter.m_ID;
  record.AdapterNumber = RowNumberOf(adapter);
  record.Host = PI::LOOPBACK_HOST_NAME;
  record.Flag = 1;
  std::vector<PI::CProperty> properties;
  GetAdapterProperties(adapter, properties, PI::PROPERTY_ALL);
  CopyPropertiesToRecord(ADAPTER_PROPERTIES, properties, record);
  return SUCCESS;
}

unsigned int IPLUGINAPI_IMPL::InsertObjectToDatabase(CTorvexAdapter& adapter, bool) {
  try {
    RaidDataModels::Adapter record;
    SetDatabaseObjectProperties(record, adapter);
    Storage().insert(record);
  } catch (const DBEXCEPTION::DatabaseException& failure) {
    TORVEX_TRACE(TLX::Misc::TRACE_STEPS,
                 "Storage query exception thrown during inserting Adapter (%s) (%d) to db. (%s)",
                 adapter.Name, adapter.AdapterNumber, failure.what());
    return ERR_GENERAL_FAILURE;
  }
  TORVEX_TRACE(TLX::Misc::TRACE_STEPS, "Adapter (%s) (%d) inserted to db.", adapter.Name,
               adapter.AdapterNumber);
  return SUCCESS;
}

// Writes the first of the adapter's rows; without one nothing is written, and that is no failure.
unsigned int IPLUGINAPI_IMPL::UpdateObjectInDatabase(CTorvexAdapter& adapter) {
  try {
    DatabaseORM::storage_t& storage = Storage();
    const auto rows = storage.get_all<RaidDataModels::Adapter>(RowOf(adapter));
    if (rows.empty()) return SUCCESS;
    RaidDataModels::Adapter record;
    SetDatabaseObjectProperties(record, adapter);
    record.ID = rows.front().ID;
    storage.update(record);
  } catch (const DBEXCEPTION::DatabaseException& failure) {
    TORVEX_TRACE(TLX::Misc::TRACE_STEPS,
                 "Storage query exception thrown during updating Adapter (%s) (%d) in db. (%s)",
                 adapter.Name, adapter.AdapterNumber, failure.what());
    return ERR_GENERAL_FAILURE;
  }
  TORVEX_TRACE(TLX::Misc::TRACE_STEPS, "Adapter (%s) (%d) updated in db.", adapter.Name,
               adapter.AdapterNumber);
  return SUCCESS;
}

unsigned int IPLUGINAPI_IMPL::DeleteObjectFromDatabase(CTorvexAdapter& adapter) {
  try {
    Storage().remove_all<RaidDataModels::Adapter>(RowOf(adapter));
  } catch (const DBEXCEPTION::DatabaseException& failure) {
    TORVEX_TRACE(TLX::Misc::TRACE_STEPS,
                 "Storage query exception thrown during removing Adapter (%s) (%d) from db. (%s)",
                 adapter.Name, adapter.AdapterNumber, failure.what());
    return ERR_GENERAL_FAILURE;
  }
  TORVEX_TRACE(TLX::Misc::TRACE_STEPS, "Adapter (%s) (%d) removed from db.", adapter.Name,
               adapter.AdapterNumber);
  return SUCCESS;
}

}  // namespace NAMESPACE_piTorvex
