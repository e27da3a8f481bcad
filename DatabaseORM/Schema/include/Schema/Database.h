#pragma once

#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <DB/Database.h>
#include <DB/Sqlite.h>
#include <Schema/Tables.h>
#include <TLX/Export.h>

// What the host does with its database. One thread, the host's, unless said otherwise.
namespace Schema {

struct COptions {
  // How long a statement waits for a file that another program has locked. Real time.
  std::chrono::milliseconds BusyTimeout{1000};
  // After such a wait in vain: how long statements fail without waiting. Real time.
  std::chrono::milliseconds PauseAfterBusy{10000};
  // Whose adapter rows, and which plug-in's row, are those of an earlier run.
  std::string Host = "localhost";
  std::string PluginName = "Torvex-Plugin";
};

// A cell as it is stored, in text; empty optional: null. Reals have no exponent.
using CCell = std::optional<std::string>;
using CRow = std::vector<CCell>;

// An open database with the latest schema.
class VX_EXPORT CDatabase {
 public:
  // Takes the registration back when it is still this one's. The file is closed, and the writer's
  // lock given up, when the last holder of HostDatabase() lets go.
  ~CDatabase();
  CDatabase(const CDatabase&) = delete;
  CDatabase& operator=(const CDatabase&) = delete;

  // Absolute path of the file.
  const std::string& Path() const;

  // Removes what an earlier run of this host left behind: its adapter rows and the plug-in's row.
  // Drive rows stay. Call it before every createIf that follows another. Throws DatabaseException.
  void RemoveEarlierRun();

  // Begins a transaction around the statements that follow, from whatever thread; see CTransaction.
  // Throws DatabaseException. The database must outlive the transaction.
  std::unique_ptr<DatabaseWrapper::CTransaction> Begin();

  // All rows of a table of Tables(), by identity; each has the table's columns in order. Throws
  // DatabaseException, also for an unknown table. [any thread]
  std::vector<CRow> Read(const std::string& table) const;

  // Writes the file back if its path no longer leads to it; returns whether it did. Statements do
  // so by themselves; this is for a host that wants it done while there is nothing to write. Throws
  // DatabaseException. [any thread]
  bool Restore();

  // What is registered with libvxDB.
  const std::shared_ptr<DatabaseWrapper::CHostDatabase>& HostDatabase() const;

 private:
  friend struct COpening;
  CDatabase(std::shared_ptr<DatabaseWrapper::CSqliteDatabase> engine, COptions options);

  std::shared_ptr<DatabaseWrapper::CSqliteDatabase> m_Engine;
  std::shared_ptr<DatabaseWrapper::CHostDatabase> m_HostDatabase;
  COptions m_Options;
};

// Either a database or a text of one line that says why there is none, what the file is, and the
// way out.
struct COpened {
  std::unique_ptr<CDatabase> Database;
  std::string Error;
};

// Opens or makes the file, brings it to the latest schema, removes what an earlier run left behind
// and registers the database with libvxDB, where plug-ins find it. One writer at a time: a second
// one gets an error that names the first (program and process number).
// path: a file in an existing directory, or DatabaseWrapper::IN_MEMORY.
VX_EXPORT COpened OpenForWriting(const std::string& path, const COptions& options = {});

// Opens an existing file beside a writer or without one. Changes no row, registers nothing, and
// leaves beside the file what was there: what reading makes there it takes away again.
VX_EXPORT COpened OpenReadOnly(const std::string& path, const COptions& options = {});

// The items of a cell of kind List.
VX_EXPORT std::vector<std::string> Items(const std::string& cell);

}  // namespace Schema
