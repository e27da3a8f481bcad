#pragma once

#include <memory>
#include <string>
#include <vector>

#include <DB/Database.h>
#include <DatabaseORM/Storage.h>
#include <TLX/Export.h>

// The tables: their names, columns, kinds and meaning. docs/database.md is their description for
// people. Everything here may be called from any thread.
namespace Schema {

enum class CKind { Integer, Unsigned, Text, Real, List };

struct CColumn {
  std::string Name;
  CKind Kind;
  std::string Unit;     // empty: none
  std::string Null;     // when the column is null: "never", "no", or the case in words
  std::string Meaning;  // what it holds, in one sentence
  std::string Source;   // the property that it mirrors, and where the value comes from
};

struct CTable {
  std::string Name;
  std::string Meaning;
  std::vector<CColumn> Columns;  // in the order of the row; the first is the identity
};

// The tables Plugin, Adapter and PD.
VX_EXPORT const std::vector<CTable>& Tables();

// The version of the schema that this library writes.
VX_EXPORT int LatestVersion();

// Makes the tables in a database that has none, or brings an older version up to the latest, one
// step for each version, each in a transaction of its own. Throws DatabaseException for a newer
// version and for a database of another program.
VX_EXPORT void Upgrade(DatabaseWrapper::DatabaseDAO& database);

// Throws DatabaseException for what Upgrade refuses. Reads only.
VX_EXPORT void RequireKnown(DatabaseWrapper::DatabaseDAO& database);

// Throws DatabaseException unless the database has the latest version.
VX_EXPORT void RequireLatest(DatabaseWrapper::DatabaseDAO& database);

// The storage object over these tables and the field maps of the process.
VX_EXPORT std::shared_ptr<DatabaseORM::storage_t> MakeStorage(
    std::shared_ptr<DatabaseWrapper::DatabaseDAO> database);

}  // namespace Schema
