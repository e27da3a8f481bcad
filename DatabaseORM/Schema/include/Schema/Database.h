#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include <DB/Database.h>
#include <DB/Sqlite.h>
#include <DatabaseORM/List.h>
#include <Schema/Versions.h>
#include <TLX/Export.h>

// A file with our tables, opened. What a host does with it over time is CMirror's (Mirror.h).
namespace Schema {

// The numbers of choices and what they are called.
using CChoices = std::vector<std::pair<int, std::string>>;

// How a file is opened. The values are those of the host; tests set others.
struct COptions {
  // How long a statement waits for a file that another program has locked. Real time.
  std::chrono::milliseconds BusyTimeout{1000};
  // After such a wait in vain: how long statements fail without waiting. Real time.
  std::chrono::milliseconds PauseAfterBusy{10000};
  // Whose adapter rows are those of an earlier run.
  std::string Host = "localhost";
  // What the views show in place of the numbers of choices; a number without a word stays one.
  CChoices Choices;
  // The schema that the file is brought to; null: Latest(). It must outlive the database.
  const CSchema* Schema = nullptr;
  // Makes the storage object over the database; empty: MakeStorage.
  std::function<std::shared_ptr<DatabaseORM::storage_t>(
      std::shared_ptr<DatabaseWrapper::DatabaseDAO>)>
      Storage;
};

// A cell as it is stored, in text; empty optional: null. Reals have no exponent.
using CCell = std::optional<std::string>;
// The cells of a row, in the order of its table's columns.
using CRow = std::vector<CCell>;
// Splits a cell of kind List.
using DatabaseORM::Items;

// An open database with the latest schema. One thread, unless said otherwise.
class VX_EXPORT CDatabase {
 public:
  // As the functions below, which catch what this throws: DatabaseException, with the path in its
  // text. Never null.
  [[nodiscard]] static std::unique_ptr<CDatabase> Open(const std::string& path,
                                                       const COptions& options, bool readOnly);

  // The file is closed, and the writer's lock given up, when the last holder of HostDatabase() lets
  // go.
  ~CDatabase();
  CDatabase(const CDatabase&) = delete;
  CDatabase& operator=(const CDatabase&) = delete;

  // Absolute path of the file, links resolved. [any thread]
  [[nodiscard]] const std::string& Path() const;

  // Removes what an earlier run of the host left behind: the adapter rows of its Host and every row
  // of plug-ins, since one process writes at a time and at a start none of its plug-ins runs. Drive
  // rows stay. Inside a transaction it belongs to it. Throws DatabaseException.
  void RemoveEarlierRun();

  // Begins a transaction around the statements that follow, from whatever thread; see CTransaction.
  // Throws DatabaseException. The database must outlive the transaction.
  [[nodiscard]] std::unique_ptr<DatabaseWrapper::CTransaction> Begin();

  // All rows of a table of the schema, by identity; each has the table's columns in order. Throws
  // DatabaseException, also for an unknown table. [any thread]
  [[nodiscard]] std::vector<CRow> Read(const std::string& table) const;

  // The way to run statements on the file and the storage object over it: what plug-ins are given.
  // Never null. [any thread]
  [[nodiscard]] const std::shared_ptr<DatabaseWrapper::CHostDatabase>& HostDatabase() const;

 private:
  CDatabase(std::shared_ptr<DatabaseWrapper::CSqliteDatabase> engine, const COptions& options);

  std::shared_ptr<DatabaseWrapper::CSqliteDatabase> m_Engine;
  const CSchema& m_Schema;
  const std::string m_Host;
  std::shared_ptr<DatabaseWrapper::CHostDatabase> m_HostDatabase;
};

// Either a database or a text of one line that says why there is none, what the file is, and the
// way out.
struct [[nodiscard]] COpened {
  std::unique_ptr<CDatabase> Database;
  std::string Error;
};

// Opens or makes the file, brings it to the latest schema and lays the views around the tables; its
// rows stay as they are. One writer
// at a time: a second one gets an error that names the first (program and process number). A file
// that is refused stays as it is.
// path: a file in an existing directory, or DatabaseWrapper::IN_MEMORY.
VX_EXPORT COpened OpenForWriting(const std::string& path, const COptions& options = {});

// Opens an existing file beside a writer or without one. Changes no row, registers nothing, and
// leaves beside the file what was there: what reading makes there it takes away again.
VX_EXPORT COpened OpenReadOnly(const std::string& path, const COptions& options = {});

}  // namespace Schema
