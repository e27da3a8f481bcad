#pragma once

#include <chrono>
#include <string>
#include <utility>

namespace DatabaseWrapper {

// An open file, closed at the end.
class CDescriptor {
 public:
  CDescriptor() = default;
  explicit CDescriptor(int descriptor) : m_Descriptor(descriptor) {}
  CDescriptor(CDescriptor&& other) noexcept : m_Descriptor(std::exchange(other.m_Descriptor, -1)) {}
  CDescriptor& operator=(CDescriptor&& other) noexcept {
    std::swap(m_Descriptor, other.m_Descriptor);
    return *this;
  }
  ~CDescriptor();

  int Get() const { return m_Descriptor; }
  explicit operator bool() const { return m_Descriptor >= 0; }

 private:
  int m_Descriptor = -1;
};

// The right to write one database: a lock on the file itself, which holds under every name that the
// file has, and one on a file beside it, which says who holds it (process number and name) and
// holds while the database is replaced. The file beside it is its owner's alone. Whoever may read
// the database can keep the lock on it from us with a read lock: the other one has to do then, and
// this one is taken once the reader has gone. Both go with the process. Not for several threads at
// once.
class CWriterLock {
 public:
  // databasePath: absolute; the database is made when it is missing. patience: how long to wait for
  // whoever holds the lock, in real time: a process that a holder has just started keeps the locks
  // until it runs its own program, also when the holder has died meanwhile. Throws
  // DatabaseException, which names the holder, when there is one.
  CWriterLock(const std::string& databasePath, std::chrono::milliseconds patience);

  // Without Keep the files that were made are removed again.
  ~CWriterLock();
  CWriterLock(const CWriterLock&) = delete;
  CWriterLock& operator=(const CWriterLock&) = delete;

  // The database has been opened: its files stay.
  void Keep();

  // Locks again when the lock file was removed or replaced. Throws as the constructor; the old lock
  // is kept then.
  void Renew();

  // Takes the lock on the database if a reader has kept it from us so far. Throws DatabaseException
  // when another writer holds it.
  void RenewDatabase();

  // Locks a file that is about to take the place of the database, unless a reader keeps the lock
  // from us. The lock holds as long as what is returned. Throws DatabaseException.
  [[nodiscard]] CDescriptor LockSuccessor(const std::string& path) const;

  // The successor has taken the place of the database. The lock on the file before is given up: it
  // must be closed already, as SQLite's own locks on it go as well.
  void Succeed(CDescriptor successor);

 private:
  struct CLocked {
    CDescriptor Descriptor;
    bool Made = false;
  };
  CLocked LockFile(std::chrono::milliseconds patience) const;
  CLocked LockDatabase(std::chrono::milliseconds patience) const;
  [[noreturn]] void Refuse(const std::string& holder) const;

  std::string m_DatabasePath;
  std::string m_Path;
  CLocked m_File;
  CLocked m_Database;
};

}  // namespace DatabaseWrapper
