#pragma once

#include <string>
#include <vector>

#include <DB/Database.h>
#include <Schema/Tables.h>
#include <TLX/Export.h>

// The versions of the schema: how a file of any age gets the tables that this library writes, and
// which files it refuses. A refusal is a DatabaseException of one line that says what is wrong and
// the way out, without the path, which only the caller knows. [one thread at a time]
namespace Schema {

// Marks a file as ours: its PRAGMA application_id.
inline constexpr unsigned APPLICATION_ID = 1450724946;

// A step from one version to the next. A step that has been released is never changed: files that
// it made exist.
struct CStep {
  int Version;                          // that it makes, one more than that of the step before
  std::vector<std::string> Statements;  // literal SQL, run in this order in one transaction
};

// The steps that make a file, and the tables that it has when they are done: every column is there
// under its name with its type, the first one as primary key. Where a column stands in the file,
// and what else is in the file, does not matter.
struct CSchema {
  std::vector<CStep> Steps;    // of versions 1, 2, ...; never empty
  std::vector<CTable> Tables;  // names and columns as the newest version has them
};

// The schema of this library. Lives as long as the process.
[[nodiscard]] VX_EXPORT const CSchema& Latest();

// The version that the last step makes.
[[nodiscard]] VX_EXPORT int LatestVersion(const CSchema& schema = Latest());

// Makes the tables in a database that has none, or brings an older version up to the newest, one
// transaction for each step, and then looks whether the tables are as they must be. A step that
// fails leaves the version before. Throws DatabaseException for a newer version, for a database of
// another program, for a table that lacks a column or has one of another type, and for a column of
// somebody else that every row must fill.
VX_EXPORT void Upgrade(DatabaseWrapper::DatabaseDAO& database, const CSchema& schema = Latest());

// Throws DatabaseException for what Upgrade will refuse, as far as it shows before the steps are
// taken. An empty database and an older version pass. Reads only.
VX_EXPORT void RequireKnown(DatabaseWrapper::DatabaseDAO& database,
                            const CSchema& schema = Latest());

// Throws DatabaseException unless the database has the newest version and its tables. Reads only.
VX_EXPORT void RequireLatest(DatabaseWrapper::DatabaseDAO& database,
                             const CSchema& schema = Latest());

}  // namespace Schema
