#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include <DB/Database.h>
#include <TLX/Export.h>

// The engine behind DatabaseDAO: one SQLite file. For the host and for libvxSchema; plug-ins see
// DatabaseDAO alone.
namespace DatabaseWrapper {

// A path that stands for a database in memory: nothing is locked, nothing is kept.
inline constexpr const char* IN_MEMORY = ":memory:";

// The file is sound and can be written; this one statement was refused for what it says.
class VX_EXPORT CStatementRefused : public DBEXCEPTION::DatabaseException {
 public:
  using DatabaseException::DatabaseException;
  ~CStatementRefused() override;
};

struct CSqliteOptions {
  bool ReadOnly = false;

  // How long a statement waits while another program has the file locked. Real time.
  std::chrono::milliseconds BusyTimeout{1000};

  // After a statement that waited in vain, how long all others fail at once with the same failure,
  // so that a locked file costs one wait and not one for each row. Real time.
  std::chrono::milliseconds PauseAfterBusy{10000};

  // The application id that the schema gives the file; 0: none. A file with another one, or with
  // a higher user version than the open one, that has taken the path is not overwritten.
  unsigned ApplicationId = 0;

  // Tells the real time that the pause is measured with; empty: the monotonic clock.
  std::function<std::chrono::steady_clock::time_point()> Clock;
};

// Who may write: one process at a time, from construction to destruction. It locks the file itself,
// whatever its name, and the file "<path>.lock", which names it and is made again when it was
// removed; a statement fails while another process has taken that one meanwhile. Readers need none.
// No descriptor survives an exec.
//
// When the path no longer leads to the open file (deleted, renamed, replaced), the next statement
// outside a transaction first writes the whole database back to the path, unless its pages are
// damaged or a database of another program, or of a newer one, has taken the path.
//
// Every failure is a DBEXCEPTION::DatabaseException (a CStatementRefused where only the statement
// is at fault) whose text names the file, what is wrong and the way out: no database, damaged,
// locked, read-only, disk full, no such directory, and for a second writer the process that is the
// first.
class VX_EXPORT CSqliteDatabase : public DatabaseDAO {
 public:
  // Opens the file, for writing with write-ahead log, and makes it when it is missing. Read-only:
  // it must exist, and nothing is written into it. A log that somebody else left beside it stays;
  // one that only reading makes, where there was none, is taken away at the end.
  explicit CSqliteDatabase(const std::string& path, CSqliteOptions options = {});

  // Closes the file and gives up the lock. No transaction may be open.
  ~CSqliteDatabase() override;

  // See DatabaseDAO. Refuses text behind the statement, an empty statement, and NUL bytes. Reals
  // are returned with as many digits as bring the same number back, never with an exponent. [any
  // thread]
  std::vector<std::string> query(std::string statement) override;

  // Writes the database back if its path no longer leads to it, and returns whether it did. Does
  // nothing inside a transaction, in memory and read-only. [any thread]
  bool Restore();

  // The absolute path of the file, links resolved; IN_MEMORY as it is.
  const std::string& Path() const;

 private:
  friend class CTransaction;
  struct Impl;
  std::unique_ptr<Impl> m_Impl;
};

// Brackets all statements of the database, whatever thread sends them, until it ends; one at a
// time. What the statements wrote becomes visible to others, and lasting, with Commit. A statement
// that fails undoes itself alone, except where the disk fails: then everything may be undone, and
// Commit says so.
class VX_EXPORT CTransaction {
 public:
  // Begins and takes the write lock of the file. Throws DatabaseException, also when a transaction
  // is open already. The database must outlive it.
  explicit CTransaction(CSqliteDatabase& database);

  // Rolls back unless the transaction has ended.
  ~CTransaction();
  CTransaction(const CTransaction&) = delete;
  CTransaction& operator=(const CTransaction&) = delete;

  // Ends the transaction. Throws DatabaseException when nothing was kept. Does nothing when it has
  // ended.
  void Commit();

  // Ends the transaction and undoes its statements. Does nothing when it has ended.
  void Rollback() noexcept;

 private:
  CSqliteDatabase& m_Database;
  bool m_Open = true;
};

// Whether some process may write the database at the path just now. False for what cannot be looked
// at, and while somebody's read lock keeps the writer from its own. Not while this process has the
// file open itself. [any thread]
[[nodiscard]] VX_EXPORT bool HasWriter(const std::string& path);

}  // namespace DatabaseWrapper
