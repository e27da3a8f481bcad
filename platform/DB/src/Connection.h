#pragma once

#include <array>
#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <sys/types.h>

#include <DB/DatabaseException.h>

struct sqlite3;

namespace DatabaseWrapper {

// What SQL allows around a statement.
inline constexpr const char* WHITE_SPACE = " \t\r\n\f";
// The log and its index, beside the file.
inline constexpr std::array LOG_SUFFIXES{"-wal", "-shm"};

// One open SQLite file. Not for several threads at once. Failures are DatabaseExceptions.
class CConnection {
 public:
  enum class EAccess { Write, Read, ReadAndTidy, ReadUnchanging };

  // ReadAndTidy: reads, and takes away at its end what reading has made beside the file.
  // ReadUnchanging: nobody writes the file, so that neither log nor lock files are needed.
  CConnection(const std::string& path, EAccess access, std::chrono::milliseconds busyTimeout);

  // A statement, or the opening, waited for a locked file in vain.
  class CBusy : public DBEXCEPTION::DatabaseException {
    using DatabaseException::DatabaseException;
  };

  // Runs the one statement in text and returns its cells.
  std::vector<std::string> Run(std::string_view text);

  // Switches the enforcement of foreign keys on, once.
  void EnforceForeignKeys();

  bool InTransaction() const;

  // The version that the schema gave the file.
  int UserVersion();

  // Whether the path leads elsewhere than to the open file.
  bool LeadsElsewhere() const;

  // Whether the path leads elsewhere than to the open file, or the log or its index beside it are
  // no longer the ones that this connection writes: what it writes there nobody else would find.
  bool HasMoved();

  // Writes all pages to a new file. The file must not exist. Throws for damaged pages, too.
  void CopyTo(const std::string& path) const;

 private:
  struct CClose {
    void operator()(sqlite3* database) const;
  };
  using CHandle = std::unique_ptr<sqlite3, CClose>;

  // name: what SQLite is to open, path: what people call it.
  static CHandle Open(const std::string& name, int flags, const std::string& path);
  void PrepareForWriting();
  void RequireSound();
  bool HasLostLog();
  [[noreturn]] void Fail() const;

  // What a file system knows a file by.
  using CFileId = std::pair<dev_t, ino_t>;

  std::string m_Path;
  CHandle m_Handle;
  bool m_ForeignKeys = false;
  // Of the log and its index, once they have been seen.
  std::array<std::optional<CFileId>, LOG_SUFFIXES.size()> m_LogFiles;
};

}  // namespace DatabaseWrapper
