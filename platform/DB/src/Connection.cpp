#include "Connection.h"

#include "Failure.h"

#include <cerrno>
#include <charconv>

#include <sqlite3.h>
#include <sys/stat.h>

#include <DB/Sqlite.h>

namespace DatabaseWrapper {

using DBEXCEPTION::DatabaseException;

namespace {

constexpr const char* NULL_CELL = "NULL";

struct CFinalize {
  void operator()(sqlite3_stmt* statement) const { sqlite3_finalize(statement); }
};
using CStatement = std::unique_ptr<sqlite3_stmt, CFinalize>;

// Without an exponent: a reader that wants a whole number stops at the first character that is no
// digit, and would take "1e+20" for 1.
std::string RealCell(double value) {
  char text[1100];
  const auto end = std::to_chars(text, text + sizeof text, value, std::chars_format::fixed).ptr;
  return {text, end};
}

std::string Cell(sqlite3_stmt* row, int column) {
  const int type = sqlite3_column_type(row, column);
  if (type == SQLITE_NULL) return NULL_CELL;
  if (type == SQLITE_FLOAT) return RealCell(sqlite3_column_double(row, column));
  const void* bytes =
      type == SQLITE_BLOB ? sqlite3_column_blob(row, column) : sqlite3_column_text(row, column);
  const int size = sqlite3_column_bytes(row, column);
  if (bytes == nullptr || size == 0) return {};
  return {static_cast<const char*>(bytes), static_cast<std::size_t>(size)};
}

// The errno behind a failure. SQLite keeps it with the connection when a statement fails, but with
// the log file when the commit behind a statement does.
int SystemError(sqlite3* database) {
  const int kept = sqlite3_system_errno(database);
  if (kept != 0) return kept;
  sqlite3_file* log = nullptr;
  int last = 0;
  if (sqlite3_file_control(database, "main", SQLITE_FCNTL_JOURNAL_POINTER, &log) != SQLITE_OK ||
      log == nullptr || log->pMethods == nullptr) {
    return 0;
  }
  log->pMethods->xFileControl(log, SQLITE_FCNTL_LAST_ERRNO, &last);
  return last;
}

// "file:" text of a path that nobody changes while it is open.
std::string UnchangingUri(const std::string& path) {
  constexpr const char* HEX = "0123456789ABCDEF";
  std::string uri = "file:";
  for (const char c : path) {
    if (c == '%' || c == '?' || c == '#') {
      const auto byte = static_cast<unsigned char>(c);
      uri += {'%', HEX[byte >> 4], HEX[byte & 0xF]};
    } else {
      uri += c;
    }
  }
  return uri + "?immutable=1";
}

}  // namespace

void CConnection::CClose::operator()(sqlite3* database) const {
  sqlite3_close(database);
}

CConnection::CHandle CConnection::Open(const std::string& name, int flags,
                                       const std::string& path) {
  sqlite3* raw = nullptr;
  const int result = sqlite3_open_v2(name.c_str(), &raw, flags | SQLITE_OPEN_EXRESCODE, nullptr);
  CHandle handle(raw);
  if (result != SQLITE_OK) {
    const int systemError = raw == nullptr ? 0 : sqlite3_system_errno(raw);
    throw Failure(path, result, systemError,
                  raw == nullptr ? sqlite3_errstr(result) : sqlite3_errmsg(raw));
  }
  return handle;
}

CConnection::CConnection(const std::string& path, EAccess access,
                         std::chrono::milliseconds busyTimeout)
    : m_Path(path) {
  switch (access) {
    case EAccess::Write:
      m_Handle = Open(path, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE, path);
      break;
    case EAccess::Read:
      m_Handle = Open(path, SQLITE_OPEN_READONLY, path);
      break;
    case EAccess::ReadAndTidy:
      m_Handle = Open(path, SQLITE_OPEN_READWRITE, path);
      break;
    case EAccess::ReadUnchanging:
      m_Handle = Open(UnchangingUri(path), SQLITE_OPEN_READONLY | SQLITE_OPEN_URI, path);
      break;
  }
  sqlite3_busy_timeout(m_Handle.get(), static_cast<int>(busyTimeout.count()));
  if (access == EAccess::Write) PrepareForWriting();
  Run("PRAGMA schema_version");  // the first look into the file
  if (access == EAccess::Write) RequireSound();
}

// Damage that only the write of some later row would meet is found while nothing has been written.
// Findings about values are none: SQL goes on with such rows.
void CConnection::RequireSound() {
  const auto findings = Run("PRAGMA quick_check(1)");
  if (findings.empty() || !findings.front().starts_with("*** in ")) return;
  throw Failure(m_Path, SQLITE_CORRUPT, 0, sqlite3_errstr(SQLITE_CORRUPT));
}

void CConnection::PrepareForWriting() {
  // SQLite opens a file that may not be written without a word.
  if (sqlite3_db_readonly(m_Handle.get(), "main") == 1) {
    throw Failure(m_Path, SQLITE_READONLY, 0, "no permission to write");
  }
  Run("PRAGMA journal_mode = WAL");
  Run("PRAGMA synchronous = NORMAL");
}

void CConnection::Fail() const {
  const int code = sqlite3_extended_errcode(m_Handle.get());
  const int primary = code & 0xFF;
  const int systemError =
      primary == SQLITE_IOERR || primary == SQLITE_CANTOPEN ? SystemError(m_Handle.get()) : 0;
  const DatabaseException failure =
      Failure(m_Path, code, systemError, sqlite3_errmsg(m_Handle.get()));
  if (IsRefusal(code, systemError)) throw CStatementRefused(failure.what());
  if (primary == SQLITE_BUSY && code != SQLITE_BUSY_SNAPSHOT) throw CBusy(failure.what());
  throw failure;
}

std::vector<std::string> CConnection::Run(std::string_view text) {
  if (text.find('\0') != std::string_view::npos) {
    throw CStatementRefused("The statement holds a NUL byte and was not run.");
  }
  sqlite3_stmt* raw = nullptr;
  const char* rest = nullptr;
  if (sqlite3_prepare_v2(m_Handle.get(), text.data(), static_cast<int>(text.size()), &raw, &rest) !=
      SQLITE_OK) {
    Fail();
  }
  const CStatement statement(raw);
  if (statement == nullptr) throw CStatementRefused("The statement is empty.");
  const auto used = static_cast<std::size_t>(rest - text.data());
  if (text.find_first_not_of(WHITE_SPACE, used) != std::string_view::npos) {
    throw CStatementRefused("There is something behind the statement; nothing was run.");
  }
  std::vector<std::string> cells;
  int result = 0;
  while ((result = sqlite3_step(raw)) == SQLITE_ROW) {
    const int width = sqlite3_column_count(raw);
    for (int column = 0; column < width; ++column) cells.push_back(Cell(raw, column));
  }
  if (result != SQLITE_DONE) Fail();
  return cells;
}

void CConnection::EnforceForeignKeys() {
  if (m_ForeignKeys) return;
  Run("PRAGMA foreign_keys = ON");
  // Inside a transaction the pragma is without effect: ask again next time.
  m_ForeignKeys = !InTransaction();
}

bool CConnection::InTransaction() const {
  return sqlite3_get_autocommit(m_Handle.get()) == 0;
}

int CConnection::UserVersion() {
  return std::stoi(Run("PRAGMA user_version").at(0));
}

bool CConnection::LeadsElsewhere() const {
  int moved = 0;
  return sqlite3_file_control(m_Handle.get(), "main", SQLITE_FCNTL_HAS_MOVED, &moved) ==
             SQLITE_OK &&
         moved != 0;
}

bool CConnection::HasMoved() {
  return LeadsElsewhere() || HasLostLog();
}

// SQLite makes both files when it first needs them and keeps them until the last connection closes,
// so that they only change when somebody else takes them away.
bool CConnection::HasLostLog() {
  for (std::size_t i = 0; i < LOG_SUFFIXES.size(); ++i) {
    struct stat found {};
    const bool isThere = stat((m_Path + LOG_SUFFIXES[i]).c_str(), &found) == 0;
    if (!isThere && errno != ENOENT) continue;  // nothing is known
    std::optional<CFileId>& known = m_LogFiles[i];
    if (!known) {
      if (isThere) known = CFileId(found.st_dev, found.st_ino);
    } else if (!isThere || known != CFileId(found.st_dev, found.st_ino)) {
      return true;
    }
  }
  return false;
}

void CConnection::CopyTo(const std::string& path) const {
  CHandle copy = Open(path, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE, path);
  sqlite3_backup* backup = sqlite3_backup_init(copy.get(), "main", m_Handle.get(), "main");
  if (backup != nullptr) {
    sqlite3_backup_step(backup, -1);
    sqlite3_backup_finish(backup);
  }
  const int result = sqlite3_extended_errcode(copy.get());
  if (result != SQLITE_OK) {
    throw Failure(path, result, sqlite3_system_errno(copy.get()), sqlite3_errmsg(copy.get()));
  }
  copy.reset();
  // Pages are copied as they are, also when there is no sense in them.
  CConnection(path, EAccess::ReadAndTidy, std::chrono::milliseconds(0)).RequireSound();
}

}  // namespace DatabaseWrapper
