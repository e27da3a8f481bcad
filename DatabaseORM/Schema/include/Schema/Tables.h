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

// What a column holds: the kind of the record's field. In the file Integer and Unsigned are whole
// numbers, Real is a number with digits after the point, Text and List are texts; a List has its
// items separated by DatabaseWrapper::delimiter. Each can be null.
enum class EKind { Integer, Unsigned, Text, Real, List };

// One column, as people and programs need to know it. Texts are one line of plain English.
struct CColumn {
  std::string Name;       // in the file, and in statements as it is
  EKind Kind;             // of the values
  std::string Unit;       // empty: none
  std::string Null;       // when the column is null: "never", "no", or the case in words
  std::string Meaning;    // what it holds, in one sentence
  std::string Source;     // the property that it mirrors, and where the value comes from
  bool IsChoice = false;  // the number of a choice, or a list of them
};

// One table.
struct CTable {
  std::string Name;              // in the file
  std::string Meaning;           // what its rows are
  std::vector<CColumn> Columns;  // in the order of the row; the first is the identity
};

// The tables Plugin, Adapter and PD, as the newest version of the schema has them. Lives as long as
// the process.
[[nodiscard]] VX_EXPORT const std::vector<CTable>& Tables();

// A table of the query builder with the columns of a record, new at each call; the caller owns it
// and may change it until it is handed to a storage object. Throws for lack of memory only.
template <class Record>
[[nodiscard]] std::shared_ptr<DatabaseORM::table_t<Record>> MakeTable();
template <>
VX_EXPORT std::shared_ptr<DatabaseORM::table_t<RaidDataModels::Plugin>> MakeTable();
template <>
VX_EXPORT std::shared_ptr<DatabaseORM::table_t<RaidDataModels::Adapter>> MakeTable();
template <>
VX_EXPORT std::shared_ptr<DatabaseORM::table_t<RaidDataModels::PD>> MakeTable();

// The storage object over these tables, or over those that are given, and the field maps of the
// process, which the first call fills. database: what its statements are sent to, never null; the
// storage object keeps it alive.
[[nodiscard]] VX_EXPORT std::shared_ptr<DatabaseORM::storage_t> MakeStorage(
    std::shared_ptr<DatabaseWrapper::DatabaseDAO> database);
[[nodiscard]] VX_EXPORT std::shared_ptr<DatabaseORM::storage_t> MakeStorage(
    std::shared_ptr<DatabaseWrapper::DatabaseDAO> database,
    DatabaseORM::storage_t::tables_t tables);

}  // namespace Schema
