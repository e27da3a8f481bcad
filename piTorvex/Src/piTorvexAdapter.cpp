#include "piTorvexAdapter.h"

#include "Core/Rows.h"
#include "piTorvex.h"

#include <algorithm>
#include <array>
#include <limits>
#include <string>

#include <PI/GlobalAdapterID.h>
#include <PI/PropertyTable.h>

namespace NAMESPACE_piTorvex {
namespace {

// --- Properties

constexpr auto MODES = std::to_array({PI::CHOICE_MODE_SPECIAL, PI::CHOICE_MODE_NORMAL});
constexpr auto HEALTH_STATES =
    std::to_array({PI::CHOICE_HEALTH_GOOD, PI::CHOICE_HEALTH_DEGRADED, PI::CHOICE_HEALTH_CRITICAL});
constexpr auto LEVELS = std::to_array({PI::CHOICE_LEVEL_STANDARD});
constexpr auto LIFE_STATES =
    std::to_array({PI::CHOICE_LIFE_AS_NEW, PI::CHOICE_LIFE_BELOW_NEW, PI::CHOICE_LIFE_ABOVE_NEW});
constexpr auto HEALTH_REASONS = std::to_array(
    {PI::CHOICE_REASON_SPARE, PI::CHOICE_REASON_TEMPERATURE, PI::CHOICE_REASON_RELIABILITY,
     PI::CHOICE_REASON_READ_ONLY, PI::CHOICE_REASON_BACKUP});

bool ShowMode(const CTorvexAdapter& adapter, PI::CProperty& property) {
  property.SetValue(adapter.Flag ? MODES[0] : MODES[1],
                    std::vector<int>(MODES.begin(), MODES.end()));
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

using CObj = CTorvexAdapter;

// What the host sees of an adapter, and the field of the row that holds it: the rows of the facts.
constexpr auto ADAPTER_PROPERTIES =
    std::to_array<PI::CPropertyRow<CTorvexAdapter, RaidDataModels::Adapter>>({
#define STORED(kind, field, ...) &RaidDataModels::Adapter::field
#define ADAPTER_PROPERTY VX_PROPERTY_ROW
#include "Core/PropertyRows.h"
    });
static_assert(PI::HasUniqueIDs(ADAPTER_PROPERTIES),
              "an adapter property stands twice in the table");

// --- Rows

constexpr CRowTextTable ROW_TEXTS = {
    {"Adapter (%s) (%d) inserted to db.",
     "Storage query exception thrown during inserting Adapter (%s) (%d) to db. (%s)"},
    {"Adapter (%s) (%d) updated in db.",
     "Storage query exception thrown during updating Adapter (%s) (%d) in db. (%s)"},
    {"Adapter (%s) (%d) removed from db.",
     "Storage query exception thrown during removing Adapter (%s) (%d) from db. (%s)"},
};

// The number as its row holds it, at the width of the field.
int RowNumberOf(const CTorvexAdapter& adapter) {
  constexpr unsigned int HIGHEST = std::numeric_limits<int>::max();
  return static_cast<int>(std::min(adapter.AdapterNumber, HIGHEST));
}

// Finds the adapter's row.
auto RowOf(const CTorvexAdapter& adapter) {
  return DatabaseORM::where(
      DatabaseORM::is_equal(&RaidDataModels::Adapter::AdapterNumber, RowNumberOf(adapter)) &&
      DatabaseORM::is_equal(&RaidDataModels::Adapter::Host, PI::LOOPBACK_HOST_NAME));
}

}  // namespace

// --- Properties

unsigned long IPLUGINAPI_IMPL::GetAdapterProperties(CTorvexAdapter& adapter,
                                                    std::vector<PI::CProperty>& out,
                                                    unsigned long propertyId) {
  PI::WalkProperties(ADAPTER_PROPERTIES, adapter, propertyId, out);
  return SUCCESS;
}

unsigned long IPLUGINAPI_IMPL::SetAdapterProperty(CTorvexAdapter&, PI::CProperty&) {
  return ERR_PROPERTY_NOT_SETTABLE;
}

// --- Operations: an adapter offers none, accepts all, and does nothing

unsigned int IPLUGINAPI_IMPL::GetAdapterOperations(CTorvexAdapter&,
                                                   std::vector<PI::COperation>& out) {
  out.clear();
  return SUCCESS;
}

unsigned int IPLUGINAPI_IMPL::CheckAdapterOperation(CTorvexAdapter&, PI::COperation& operation) {
  const CTracer trace(TraceSource::ADAPTER);
  trace.Steps("ENTER CheckAdapterOperation operation=%d", operation.OperationID());
  trace.Steps("LEAVE CheckAdapterOperation -> %d", SUCCESS);
  return SUCCESS;
}

unsigned int IPLUGINAPI_IMPL::ExecuteAdapterOperation(CTorvexAdapter& adapter,
                                                      PI::COperation& operation) {
  const CTracer trace(TraceSource::ADAPTER);
  trace.Steps("ENTER ExecuteAdapterOperation (%d) (%d)", operation.OperationID(),
              adapter.AdapterNumber);
  trace.Steps("LEAVE ExecuteAdapterOperation () -> %d", SUCCESS);
  return SUCCESS;
}

// --- Database

unsigned int IPLUGINAPI_IMPL::SetDatabaseObjectProperties(RaidDataModels::Adapter& record,
                                                          CTorvexAdapter& adapter) {
  record = RaidDataModels::Adapter();
  record.ObjectID = adapter.m_ID;
  record.AdapterNumber = RowNumberOf(adapter);
  record.Host = PI::LOOPBACK_HOST_NAME;
  record.Flag = 1;
  std::vector<PI::CProperty> properties;
  (void)GetAdapterProperties(adapter, properties, PI::PROPERTY_ALL);
  PI::CopyPropertiesToRecord(ADAPTER_PROPERTIES, properties, record);
  return SUCCESS;
}

unsigned int IPLUGINAPI_IMPL::WriteObject(ERowWork work, CTorvexAdapter& adapter,
                                          const CTracer& trace) {
  return WriteRows<RaidDataModels::Adapter>(
             work, trace, ROW_TEXTS, [this]() -> auto& { return Storage(); }, RowOf(adapter),
             [this, &adapter]() VX_NO_THREAD_SAFETY_ANALYSIS {
               RaidDataModels::Adapter record;
               (void)SetDatabaseObjectProperties(record, adapter);
               return record;
             },
             adapter.Name, adapter.AdapterNumber)
             ? SUCCESS
             : ERR_GENERAL_FAILURE;
}

unsigned int IPLUGINAPI_IMPL::InsertObjectToDatabase(CTorvexAdapter& adapter, bool) {
  return WriteObject(ERowWork::Insert, adapter, CTracer(TraceSource::ADAPTER));
}

unsigned int IPLUGINAPI_IMPL::UpdateObjectInDatabase(CTorvexAdapter& adapter) {
  return WriteObject(ERowWork::Update, adapter, CTracer(TraceSource::ADAPTER));
}

unsigned int IPLUGINAPI_IMPL::DeleteObjectFromDatabase(CTorvexAdapter& adapter) {
  return WriteObject(ERowWork::Delete, adapter, CTracer(TraceSource::ADAPTER));
}

}  // namespace NAMESPACE_piTorvex
