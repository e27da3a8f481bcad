#include "InTransaction.h"

#include <algorithm>

#include <Schema/Versions.h>

namespace Schema {

using DatabaseWrapper::DatabaseDAO;
using DBEXCEPTION::DatabaseException;

namespace {

constexpr const char* WAY_OUT =
    "name another file, or end the host and move this one and its -wal and -shm away: the next "
    "start makes a new one";

// One row for each version: the statements that make it from the one before. Later ones mostly read
// "ALTER TABLE Adapter ADD COLUMN ...": a new column stands behind all others in the file.
std::vector<CStep> Steps() {
  return {
      {1,
       {
           "PRAGMA application_id = 1450724946",
           "CREATE TABLE Plugin (ID INTEGER PRIMARY KEY, ToolVersion TEXT, ObjectID INTEGER, Name "
           "TEXT, PollInterval INTEGER, SettableProperties TEXT, Unused1 INTEGER, Unused2 INTEGER, "
           "Description TEXT, Vendor TEXT, Version TEXT)",
           "CREATE TABLE Adapter (ID INTEGER PRIMARY KEY, ObjectID INTEGER, AdapterNumber INTEGER, "
           "Host TEXT, Name TEXT, Vendor TEXT, ModelNumber TEXT, Mode INTEGER, HealthState "
           "INTEGER, "
           "PciSegment INTEGER, PciBus INTEGER, PciDevice INTEGER, PciFunction INTEGER, Location "
           "TEXT, SerialNumber TEXT, Firmware TEXT, Bootloader TEXT, DevicePath TEXT, DriverName "
           "TEXT, DriverVersion TEXT, Temperature REAL, EndOfLifeDate TEXT, PowerOnHours INTEGER, "
           "ReserveSpace INTEGER, SelectedLevel INTEGER, WarningThreshold INTEGER, DataUnitsRead "
           "INTEGER, DataUnitsWritten INTEGER, RemainingLife INTEGER, LifeState INTEGER, "
           "MediaErrors INTEGER, HealthReasons TEXT)",
           // Every start inserts each drive many times; a drive that is stored takes the new
           // values.
           "CREATE TABLE PD (ID INTEGER PRIMARY KEY, SerialNumber TEXT, Host TEXT, Name TEXT, "
           "Channel INTEGER, Target INTEGER, Location TEXT, Vendor TEXT, ModelNumber TEXT, "
           "Interface INTEGER, PhysicalSize INTEGER, PhysicalSize2 INTEGER, State INTEGER, "
           "UsableSize INTEGER, UsablePercent INTEGER, SectorSize INTEGER, Temperature REAL, "
           "UNIQUE "
           "(SerialNumber, Host) ON CONFLICT REPLACE)",
       }},
  };
}

std::string Cell(DatabaseDAO& database, const std::string& statement) {
  const auto cells = database.query(statement);
  return cells.empty() ? "" : cells.front();
}

// The version of the file; 0: a new one. Throws unless the schema's steps can work with it.
int KnownVersion(DatabaseDAO& database, const CSchema& schema) {
  const int version = std::stoi(Cell(database, "PRAGMA user_version"));
  const bool empty = Cell(database, "SELECT COUNT(*) FROM sqlite_master") == "0";
  if (version == 0 && empty) return 0;
  if (Cell(database, "PRAGMA application_id") != std::to_string(APPLICATION_ID) || version <= 0) {
    throw DatabaseException("The database belongs to another program; name another file.");
  }
  const int latest = LatestVersion(schema);
  if (version > latest) {
    throw DatabaseException("The database has schema version " + std::to_string(version) +
                            ", made by a newer program; this one knows versions up to " +
                            std::to_string(latest) +
                            ": use the newer program or name another file.");
  }
  return version;
}

void Take(DatabaseDAO& database, const CStep& step) {
  InTransaction(database, [&] {
    for (const std::string& statement : step.Statements) database.query(statement);
    database.query("PRAGMA user_version = " + std::to_string(step.Version));
  });
}

// --- the shape of tables

// A column as the file has it.
struct CStored {
  std::string Name;
  std::string Type;
  bool NeedsValue;  // a row that does not name the column is refused
  bool IsKey;
};

std::vector<CStored> StoredColumns(DatabaseDAO& database, const std::string& table) {
  const auto cells = database.query(
      "SELECT name, type, \"notnull\" AND dflt_value IS NULL AND pk = 0, pk FROM "
      "pragma_table_info('" +
      table + "')");
  std::vector<CStored> columns;
  for (std::size_t at = 0; at + 3 < cells.size(); at += 4) {
    columns.push_back({cells[at], cells[at + 1], cells[at + 2] == "1", cells[at + 3] == "1"});
  }
  return columns;
}

// Columns of numbers have the affinity that lets them compare with a number in quotes.
const char* SqlType(EKind kind) {
  switch (kind) {
    case EKind::Integer:
    case EKind::Unsigned:
      return "INTEGER";
    case EKind::Real:
      return "REAL";
    case EKind::Text:
    case EKind::List:
      break;
  }
  return "TEXT";
}

[[noreturn]] void Refuse(const std::string& finding) {
  throw DatabaseException(finding + "; another program has changed the database: " + WAY_OUT + ".");
}

void RequireColumn(const std::vector<CStored>& stored, const CTable& table, const CColumn& column) {
  const auto found = std::find_if(stored.begin(), stored.end(),
                                  [&](const CStored& one) { return one.Name == column.Name; });
  const std::string name = "column \"" + column.Name + "\"";
  if (found == stored.end()) Refuse("The table \"" + table.Name + "\" has no " + name);
  const std::string wanted = SqlType(column.Kind);
  if (found->Type != wanted) {
    Refuse("The " + name + " of the table \"" + table.Name + "\" is of type \"" + found->Type +
           "\" and must be " + wanted);
  }
  if (&column == &table.Columns.front() && !found->IsKey) {
    Refuse("The " + name + " of the table \"" + table.Name + "\" is not its primary key");
  }
}

// Columns of others are no trouble as long as rows may leave them out.
void RequireFree(const CStored& stored, const CTable& table) {
  const bool ours = std::any_of(table.Columns.begin(), table.Columns.end(),
                                [&](const CColumn& column) { return column.Name == stored.Name; });
  if (ours || !stored.NeedsValue) return;
  Refuse("The table \"" + table.Name + "\" has a column \"" + stored.Name +
         "\" that is not ours and may not be null");
}

void RequireShape(DatabaseDAO& database, const CSchema& schema) {
  for (const CTable& table : schema.Tables) {
    const std::vector<CStored> stored = StoredColumns(database, table.Name);
    if (stored.empty()) Refuse("There is no table \"" + table.Name + "\"");
    for (const CColumn& column : table.Columns) RequireColumn(stored, table, column);
    for (const CStored& column : stored) RequireFree(column, table);
  }
}

}  // namespace

const CSchema& Latest() {
  static const CSchema schema{Steps(), Tables()};
  return schema;
}

int LatestVersion(const CSchema& schema) {
  return schema.Steps.back().Version;
}

void Upgrade(DatabaseDAO& database, const CSchema& schema) {
  const int version = KnownVersion(database, schema);
  for (const CStep& step : schema.Steps) {
    if (step.Version > version) Take(database, step);
  }
  RequireShape(database, schema);
}

void RequireKnown(DatabaseDAO& database, const CSchema& schema) {
  if (KnownVersion(database, schema) == LatestVersion(schema)) RequireShape(database, schema);
}

void RequireLatest(DatabaseDAO& database, const CSchema& schema) {
  const int version = KnownVersion(database, schema);
  if (version == 0) {
    throw DatabaseException("The database is empty: nothing has written into it yet.");
  }
  if (version < LatestVersion(schema)) {
    throw DatabaseException("The database has the older schema version " + std::to_string(version) +
                            "; opening it for writing brings it up to date.");
  }
  RequireShape(database, schema);
}

}  // namespace Schema
