#include <array>
#include <mutex>

#include <Schema/Tables.h>

namespace Schema {

using DatabaseORM::column_t;
using DatabaseORM::field_t;
using DatabaseORM::table_t;
using DatabaseWrapper::DatabaseDAO;
using DBEXCEPTION::DatabaseException;
using RaidDataModels::Adapter;
using RaidDataModels::dbModelFieldsMap;
using RaidDataModels::PD;
using RaidDataModels::Plugin;
using RaidDataModels::Singleton;

namespace {

// One column: the record field, the column's name, the unit, and what it holds. The first column of
// a table is its identity; the order is that of the row.
template <class Record>
struct CField {
  field_t<Record> Field;
  const char* Name;
  const char* Unit;
  const char* Meaning;
};

// clang-format off
constexpr std::array PLUGIN_FIELDS{
    CField<Plugin>{&Plugin::ID,                 "ID",                 "",        "identity"},
    CField<Plugin>{&Plugin::ToolVersion,        "ToolVersion",        "",        "version text of the vendor tool"},
    CField<Plugin>{&Plugin::ObjectID,           "ObjectID",           "",        "object id of the plug-in object"},
    CField<Plugin>{&Plugin::Name,               "Name",               "",        "name of the plug-in, its key"},
    CField<Plugin>{&Plugin::PollInterval,       "PollInterval",       "s",       "pause between two looks at the drives"},
    CField<Plugin>{&Plugin::SettableProperties, "SettableProperties", "",        "what can be set, as JSON"},
    CField<Plugin>{&Plugin::Unused1,            "Unused1",            "",        "not used"},
    CField<Plugin>{&Plugin::Unused2,            "Unused2",            "",        "not used"},
    CField<Plugin>{&Plugin::Description,        "Description",        "",        "module id of the plug-in"},
    CField<Plugin>{&Plugin::Vendor,             "Vendor",             "",        "vendor of the plug-in"},
    CField<Plugin>{&Plugin::Version,            "Version",            "",        "version of the plug-in"},
};

constexpr std::array ADAPTER_FIELDS{
    CField<Adapter>{&Adapter::ID,               "ID",               "",          "identity"},
    CField<Adapter>{&Adapter::ObjectID,         "ObjectID",         "",          "object id of the adapter"},
    CField<Adapter>{&Adapter::AdapterNumber,    "AdapterNumber",    "",          "number of the adapter, with Host its key"},
    CField<Adapter>{&Adapter::Host,             "Host",             "",          "host name"},
    CField<Adapter>{&Adapter::Name,             "Name",             "",          "display name"},
    CField<Adapter>{&Adapter::Vendor,           "Vendor",           "",          "vendor"},
    CField<Adapter>{&Adapter::ModelNumber,      "ModelNumber",      "",          "model"},
    CField<Adapter>{&Adapter::Mode,             "Mode",             "",          "mode, a choice"},
    CField<Adapter>{&Adapter::HealthState,      "HealthState",      "",          "health, a choice"},
    CField<Adapter>{&Adapter::PciSegment,       "PciSegment",       "",          "PCI segment"},
    CField<Adapter>{&Adapter::PciBus,           "PciBus",           "",          "PCI bus"},
    CField<Adapter>{&Adapter::PciDevice,        "PciDevice",        "",          "PCI device"},
    CField<Adapter>{&Adapter::PciFunction,      "PciFunction",      "",          "PCI function"},
    CField<Adapter>{&Adapter::Location,         "Location",         "",          "place in the machine"},
    CField<Adapter>{&Adapter::SerialNumber,     "SerialNumber",     "",          "serial number of the drive"},
    CField<Adapter>{&Adapter::Firmware,         "Firmware",         "",          "firmware revision"},
    CField<Adapter>{&Adapter::Bootloader,       "Bootloader",       "",          "boot loader revision"},
    CField<Adapter>{&Adapter::DevicePath,       "DevicePath",       "",          "device file"},
    CField<Adapter>{&Adapter::DriverName,       "DriverName",       "",          "kernel driver"},
    CField<Adapter>{&Adapter::DriverVersion,    "DriverVersion",    "",          "version of the kernel driver"},
    CField<Adapter>{&Adapter::Temperature,      "Temperature",      "degrees C", "temperature"},
    CField<Adapter>{&Adapter::EndOfLifeDate,    "EndOfLifeDate",    "date",      "estimated end of life, year-month-day"},
    CField<Adapter>{&Adapter::PowerOnHours,     "PowerOnHours",     "h",         "hours under power"},
    CField<Adapter>{&Adapter::ReserveSpace,     "ReserveSpace",     "%",         "reserve space left"},
    CField<Adapter>{&Adapter::SelectedLevel,    "SelectedLevel",    "",          "selected level, a choice"},
    CField<Adapter>{&Adapter::WarningThreshold, "WarningThreshold", "%",         "reserve space below which the drive warns"},
    CField<Adapter>{&Adapter::DataUnitsRead,    "DataUnitsRead",    "512000 bytes", "data read"},
    CField<Adapter>{&Adapter::DataUnitsWritten, "DataUnitsWritten", "512000 bytes", "data written"},
    CField<Adapter>{&Adapter::RemainingLife,    "RemainingLife",    "%",         "life left"},
    CField<Adapter>{&Adapter::LifeState,        "LifeState",        "",          "state of the life time, a choice"},
    CField<Adapter>{&Adapter::MediaErrors,      "MediaErrors",      "",          "media errors counted"},
    CField<Adapter>{&Adapter::HealthReasons,    "HealthReasons",    "",          "codes of the reasons for HealthState, a list"},
};

constexpr std::array DRIVE_FIELDS{
    CField<PD>{&PD::ID,            "ID",            "",          "identity"},
    CField<PD>{&PD::SerialNumber,  "SerialNumber",  "",          "serial number, with Host its key"},
    CField<PD>{&PD::Host,          "Host",          "",          "host name"},
    CField<PD>{&PD::Name,          "Name",          "",          "display name"},
    CField<PD>{&PD::Channel,       "Channel",       "",          "channel"},
    CField<PD>{&PD::Target,        "Target",        "",          "target"},
    CField<PD>{&PD::Location,      "Location",      "",          "place in the machine"},
    CField<PD>{&PD::Vendor,        "Vendor",        "",          "vendor"},
    CField<PD>{&PD::ModelNumber,   "ModelNumber",   "",          "model"},
    CField<PD>{&PD::Interface,     "Interface",     "",          "interface, a choice"},
    CField<PD>{&PD::PhysicalSize,  "PhysicalSize",  "MiB",       "physical size"},
    CField<PD>{&PD::PhysicalSize2, "PhysicalSize2", "MiB",       "physical size, second figure"},
    CField<PD>{&PD::State,         "State",         "",          "state, a choice"},
    CField<PD>{&PD::UsableSize,    "UsableSize",    "MiB",       "usable size"},
    CField<PD>{&PD::UsablePercent, "UsablePercent", "%",         "usable part of the physical size"},
    CField<PD>{&PD::SectorSize,    "SectorSize",    "bytes",     "sector size"},
    CField<PD>{&PD::Temperature,   "Temperature",   "degrees C", "temperature"},
};
// clang-format on

// What distinguishes the tables besides their columns.
struct CTableFacts {
  const char* Name;
  const char* Meaning;
  const char* Constraint;  // behind the columns of CREATE TABLE
};

constexpr CTableFacts PLUGIN_TABLE{"Plugin", "the plug-in", ""};
constexpr CTableFacts ADAPTER_TABLE{"Adapter", "adapters that are there", ""};
// Every start inserts each drive many times; a drive that is stored takes the new values.
constexpr CTableFacts DRIVE_TABLE{"PD", "physical drives that have ever been seen",
                                  ", UNIQUE (SerialNumber, Host) ON CONFLICT REPLACE"};

template <class Record>
CKind KindOf(const field_t<Record>& field) {
  // In the order of the alternatives of field_t.
  constexpr std::array kinds{CKind::Integer, CKind::Unsigned, CKind::Text, CKind::Real,
                             CKind::List};
  static_assert(kinds.size() == std::variant_size_v<field_t<Record>>);
  return kinds[field.index()];
}

// Columns of numbers have the affinity that lets them compare with a number in quotes.
const char* SqlType(CKind kind) {
  switch (kind) {
    case CKind::Integer:
    case CKind::Unsigned:
      return "INTEGER";
    case CKind::Real:
      return "REAL";
    case CKind::Text:
    case CKind::List:
      break;
  }
  return "TEXT";
}

template <class Record, std::size_t Size>
CTable Describe(const CTableFacts& facts, const std::array<CField<Record>, Size>& fields) {
  CTable table{facts.Name, facts.Meaning, {}};
  for (const auto& field : fields) {
    table.Columns.push_back({field.Name, KindOf<Record>(field.Field), field.Unit, field.Meaning});
  }
  return table;
}

template <class Record, std::size_t Size>
std::string CreateStatement(const CTableFacts& facts,
                            const std::array<CField<Record>, Size>& fields) {
  std::string columns;
  for (const auto& field : fields) {
    columns += columns.empty() ? "" : ", ";
    columns += std::string(field.Name) + " " + SqlType(KindOf<Record>(field.Field));
    if (&field == fields.data()) columns += " PRIMARY KEY";
  }
  return std::string("CREATE TABLE ") + facts.Name + " (" + columns + facts.Constraint + ")";
}

template <class Record, std::size_t Size>
std::shared_ptr<table_t<Record>> MakeTable(const CTableFacts& facts,
                                           const std::array<CField<Record>, Size>& fields) {
  auto table = std::make_shared<table_t<Record>>(facts.Name);
  for (const auto& field : fields) {
    const int position = static_cast<int>(table->columns.size());
    const bool identity = position == 0;
    table->columns.push_back(std::make_shared<column_t<Record>>(
        column_t<Record>{field.Field, field.Name, identity, position}));
  }
  return table;
}

template <class Record, std::size_t Size>
void FillMap(const CTableFacts& facts, const std::array<CField<Record>, Size>& fields) {
  auto& map = *Singleton<dbModelFieldsMap<Record>>::Instance();
  map.SetAlias(facts.Name);
  for (const auto& field : fields) {
    std::visit([&](auto member) { map.SetColumn(member, field.Name); }, field.Field);
  }
}

void FillMapsOnce() {
  static std::once_flag filled;
  std::call_once(filled, [] {
    FillMap(PLUGIN_TABLE, PLUGIN_FIELDS);
    FillMap(ADAPTER_TABLE, ADAPTER_FIELDS);
    FillMap(DRIVE_TABLE, DRIVE_FIELDS);
  });
}

// --- versions

// Marks the file as ours.
constexpr const char* APPLICATION_ID = "1450724946";

void CreateVersion1(DatabaseDAO& database) {
  database.query(std::string("PRAGMA application_id = ") + APPLICATION_ID);
  database.query(CreateStatement(PLUGIN_TABLE, PLUGIN_FIELDS));
  database.query(CreateStatement(ADAPTER_TABLE, ADAPTER_FIELDS));
  database.query(CreateStatement(DRIVE_TABLE, DRIVE_FIELDS));
}

// One row for each version, in order: what makes it from the one before. A step that has been
// released is never changed: a new version gets a new row.
struct CStep {
  int Version;
  void (*Make)(DatabaseDAO& database);
};
constexpr std::array STEPS{
    CStep{1, CreateVersion1},
};

std::string Cell(DatabaseDAO& database, const std::string& statement) {
  const auto cells = database.query(statement);
  return cells.empty() ? "" : cells.front();
}

// The version of the file; 0: a new one. Throws unless this library can work with it.
int KnownVersion(DatabaseDAO& database) {
  const int version = std::stoi(Cell(database, "PRAGMA user_version"));
  const bool empty = Cell(database, "SELECT COUNT(*) FROM sqlite_master") == "0";
  if (version == 0 && empty) return 0;
  if (Cell(database, "PRAGMA application_id") != APPLICATION_ID || version <= 0) {
    throw DatabaseException("The database belongs to another program; name another file.");
  }
  if (version > LatestVersion()) {
    throw DatabaseException("The database has schema version " + std::to_string(version) +
                            ", made by a newer program; this one knows versions up to " +
                            std::to_string(LatestVersion()) +
                            ": use the newer program or name another file.");
  }
  return version;
}

void Take(DatabaseDAO& database, const CStep& step) {
  database.query("BEGIN IMMEDIATE");
  try {
    step.Make(database);
    database.query("PRAGMA user_version = " + std::to_string(step.Version));
    database.query("COMMIT");
  } catch (const DatabaseException& failure) {
    const std::string cause = failure.what();
    try {
      database.query("ROLLBACK");
    } catch (const DatabaseException&) {  // rolled back already
    }
    throw DatabaseException(cause);
  }
}

}  // namespace

const std::vector<CTable>& Tables() {
  static const std::vector<CTable> tables{Describe(PLUGIN_TABLE, PLUGIN_FIELDS),
                                          Describe(ADAPTER_TABLE, ADAPTER_FIELDS),
                                          Describe(DRIVE_TABLE, DRIVE_FIELDS)};
  return tables;
}

int LatestVersion() {
  return STEPS.back().Version;
}

void Upgrade(DatabaseDAO& database) {
  const int version = KnownVersion(database);
  for (const CStep& step : STEPS) {
    if (step.Version > version) Take(database, step);
  }
}

void RequireKnown(DatabaseDAO& database) {
  KnownVersion(database);
}

void RequireLatest(DatabaseDAO& database) {
  const int version = KnownVersion(database);
  if (version == LatestVersion()) return;
  throw DatabaseException(version == 0 ? "The database is empty: nothing has written into it yet."
                                       : "The database has the older schema version " +
                                             std::to_string(version) +
                                             "; opening it for writing brings it up to date.");
}

std::shared_ptr<DatabaseORM::storage_t> MakeStorage(std::shared_ptr<DatabaseDAO> database) {
  FillMapsOnce();
  DatabaseORM::storage_t::tables_t tables{MakeTable(PLUGIN_TABLE, PLUGIN_FIELDS),
                                          MakeTable(ADAPTER_TABLE, ADAPTER_FIELDS),
                                          MakeTable(DRIVE_TABLE, DRIVE_FIELDS)};
  DatabaseORM::storage_t::fieldMaps_t maps{Singleton<dbModelFieldsMap<Plugin>>::Instance(),
                                           Singleton<dbModelFieldsMap<Adapter>>::Instance(),
                                           Singleton<dbModelFieldsMap<PD>>::Instance()};
  return std::make_shared<DatabaseORM::storage_t>(std::move(tables), std::move(maps),
                                                  std::move(database));
}

}  // namespace Schema
