#pragma once

#include <string>

namespace DatabaseWrapper {

// The right to write one database: an exclusive lock on a file beside it, which holds the process
// number and name of the holder. The file is never removed, so that nobody can lock a file that is
// no longer there for the next one.
class CWriterLock {
 public:
  // databasePath: absolute. Throws DatabaseException, which names the holder, when there is one.
  explicit CWriterLock(const std::string& databasePath);
  ~CWriterLock();
  CWriterLock(const CWriterLock&) = delete;
  CWriterLock& operator=(const CWriterLock&) = delete;

  // Locks again when the lock file was removed or replaced. Throws as the constructor; the old lock
  // is kept then.
  void Renew();

 private:
  int Acquire() const;

  std::string m_DatabasePath;
  std::string m_Path;
  int m_Descriptor;
};

}  // namespace DatabaseWrapper
