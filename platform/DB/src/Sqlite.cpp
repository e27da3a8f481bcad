#include "Connection.h"
#include "WriterLock.h"

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <mutex>
#include <optional>
#include <utility>

#include <unistd.h>

#include <DB/Sqlite.h>
#include <TLX/Threading/Annotations.h>

namespace DatabaseWrapper {

using DBEXCEPTION::DatabaseException;
using EAccess = CConnection::EAccess;

namespace {

constexpr const char* RESTORE_SUFFIX = ".restore";
constexpr const char* JOURNAL_SUFFIX = "-journal";
// How long the opening waits for the lock of a writer that may just be ending. Real time.
constexpr std::chrono::milliseconds LOCK_PATIENCE{300};

// A mutex that clang's thread-safety analysis knows.
class VX_CAPABILITY("mutex") CMutex {
 public:
  void Lock() VX_ACQUIRE() { m_Mutex.lock(); }
  void Unlock() VX_RELEASE() { m_Mutex.unlock(); }

 private:
  std::mutex m_Mutex;
};

class VX_SCOPED_CAPABILITY CGuard {
 public:
  explicit CGuard(CMutex& mutex) VX_ACQUIRE(mutex) : m_Mutex(mutex) { m_Mutex.Lock(); }
  ~CGuard() VX_RELEASE() { m_Mutex.Unlock(); }
  CGuard(const CGuard&) = delete;
  CGuard& operator=(const CGuard&) = delete;

 private:
  CMutex& m_Mutex;
};

// The path as SQLite will see it: absolute, and a link replaced by what it leads to, so that the
// lock lies beside the file itself.
std::string Resolved(const std::string& path) {
  if (path == IN_MEMORY) return path;
  if (path.empty()) throw DatabaseException("The database has no path; name a file.");
  namespace fs = std::filesystem;
  std::error_code failure;
  fs::path resolved = fs::absolute(path, failure);
  if (!failure) resolved = fs::weakly_canonical(resolved, failure);
  // A link to a file that is not made yet; a loop has failed above.
  std::error_code noLink;
  for (fs::path target = fs::read_symlink(resolved, noLink); !failure && !noLink;
       target = fs::read_symlink(resolved, noLink)) {
    resolved = fs::weakly_canonical(resolved.parent_path() / target, failure);
  }
  if (failure) {
    throw DatabaseException("The database \"" + path + "\" cannot be opened (" + failure.message() +
                            "); name another file.");
  }
  return resolved.string();
}

void RequireFile(const std::string& path) {
  int problem = access(path.c_str(), F_OK) == 0 ? 0 : errno;
  std::error_code failure;
  if (std::filesystem::is_directory(path, failure)) problem = EISDIR;
  if (problem == 0) return;
  throw DatabaseException("The database \"" + path + "\" cannot be opened (" +
                          std::strerror(problem) + "); name an existing file.");
}

void RemoveLogs(const std::string& path) {
  for (const char* suffix : LOG_SUFFIXES) unlink((path + suffix).c_str());
  unlink((path + JOURNAL_SUFFIX).c_str());
}

void Remove(const std::string& path) {
  unlink(path.c_str());
  RemoveLogs(path);
}

// Nobody has the file open for writing, and the last writer left nothing in the log.
bool LogIsEmpty(const std::string& path) {
  std::error_code failure;
  const auto size = std::filesystem::file_size(path + LOG_SUFFIXES.front(), failure);
  return failure || size == 0;
}

bool IsThere(const std::string& path) {
  return access(path.c_str(), F_OK) == 0;
}

// Nobody has the file open, and nothing is left in a log.
bool IsClosed(const std::string& path) {
  return std::none_of(LOG_SUFFIXES.begin(), LOG_SUFFIXES.end(),
                      [&](const char* suffix) { return IsThere(path + suffix); }) &&
         !IsThere(path + JOURNAL_SUFFIX);
}

// Looking into a closed file makes a log and its index, which only a connection that might write
// takes away again; where this process may not write, nothing needs them either.
EAccess AccessToRead(const std::string& path) {
  if (!IsClosed(path)) return EAccess::Read;
  const std::string directory = std::filesystem::path(path).parent_path().string();
  const bool mayWrite = access(path.c_str(), W_OK) == 0 && access(directory.c_str(), W_OK) == 0;
  return mayWrite ? EAccess::ReadAndTidy : EAccess::ReadUnchanging;
}

std::unique_ptr<CConnection> OpenToRead(const std::string& path,
                                        std::chrono::milliseconds busyTimeout) {
  RequireFile(path);
  try {
    return std::make_unique<CConnection>(path, AccessToRead(path), busyTimeout);
  } catch (const CConnection::CBusy&) {
    throw;  // somebody is changing the file
  } catch (const DatabaseException&) {
    // A reader who may not write into the directory cannot make the log's index, and needs none.
    if (access(path.c_str(), R_OK) != 0 || !LogIsEmpty(path)) throw;
    return std::make_unique<CConnection>(path, EAccess::ReadUnchanging, busyTimeout);
  }
}

// What the head of a SQLite file says about whose it is.
struct COwner {
  std::uint32_t ApplicationId;
  std::int32_t UserVersion;
};

// Of the file at the path, if it is a SQLite file. Closing it gives up all locks that SQLite has in
// this process on that file: not for the one that is open.
std::optional<COwner> OwnerOf(const std::string& path) {
  constexpr std::string_view MAGIC("SQLite format 3\0", 16);
  constexpr std::size_t VERSION_AT = 60;
  constexpr std::size_t ID_AT = 68;
  std::error_code failure;
  if (!std::filesystem::is_regular_file(path, failure)) return std::nullopt;
  char head[ID_AT + 4] = {};
  if (!std::ifstream(path, std::ios::binary).read(head, sizeof head)) return std::nullopt;
  if (std::string_view(head, MAGIC.size()) != MAGIC) return std::nullopt;
  const auto number = [&](std::size_t at) {
    std::uint32_t value = 0;
    for (const std::size_t end = at + 4; at < end; ++at) {
      value = value << 8U | static_cast<unsigned char>(head[at]);
    }
    return value;
  };
  return COwner{number(ID_AT), static_cast<std::int32_t>(number(VERSION_AT))};
}

}  // namespace

CStatementRefused::~CStatementRefused() = default;

struct CSqliteDatabase::Impl {
  Impl(const std::string& path, CSqliteOptions options);

  std::vector<std::string> Run(std::string_view statement) VX_REQUIRES(m_Mutex);
  bool RestoreIfMoved() VX_REQUIRES(m_Mutex);
  void WriteBack() VX_REQUIRES(m_Mutex);
  void LeaveAloneWhatIsNotOurs() VX_REQUIRES(m_Mutex);
  void RollBack() noexcept VX_REQUIRES(m_Mutex);
  void RefuseWhilePausing() VX_REQUIRES(m_Mutex);
  std::chrono::steady_clock::time_point Now() const {
    return m_Options.Clock ? m_Options.Clock() : std::chrono::steady_clock::now();
  }
  bool KeepsFile() const { return !m_Options.ReadOnly && m_Path != IN_MEMORY; }

  // How the last wait that got no lock ended, and until when that is the answer without waiting.
  struct CPause {
    std::string Message;
    std::chrono::steady_clock::time_point End;
  };

  const CSqliteOptions m_Options;
  const std::string m_Path;
  std::optional<CWriterLock>
      m_Lock;  // taken before the file is opened, given up after it is closed
  CMutex m_Mutex;
  std::unique_ptr<CConnection> m_Connection VX_GUARDED_BY(m_Mutex);
  std::optional<CPause> m_Pause VX_GUARDED_BY(m_Mutex);
};

CSqliteDatabase::Impl::Impl(const std::string& path, CSqliteOptions options)
    : m_Options(std::move(options)), m_Path(Resolved(path)) {
  if (m_Options.ReadOnly) {
    m_Connection = OpenToRead(m_Path, m_Options.BusyTimeout);
    return;
  }
  if (KeepsFile()) m_Lock.emplace(m_Path, LOCK_PATIENCE);
  m_Connection = std::make_unique<CConnection>(m_Path, EAccess::Write, m_Options.BusyTimeout);
  if (m_Lock) m_Lock->Keep();
}

void CSqliteDatabase::Impl::RefuseWhilePausing() {
  if (!m_Pause) return;
  if (Now() < m_Pause->End) throw DatabaseException(m_Pause->Message);
  m_Pause.reset();
}

std::vector<std::string> CSqliteDatabase::Impl::Run(std::string_view statement) {
  RefuseWhilePausing();
  RestoreIfMoved();
  try {
    if (statement.starts_with(FOREIGN_KEYS_ON)) {
      m_Connection->EnforceForeignKeys();
      statement.remove_prefix(std::strlen(FOREIGN_KEYS_ON));
      if (statement.find_first_not_of(WHITE_SPACE) == std::string_view::npos) return {};
    }
    return m_Connection->Run(statement);
  } catch (const CConnection::CBusy& busy) {
    m_Pause = CPause{busy.what(), Now() + m_Options.PauseAfterBusy};
    throw;
  }
}

bool CSqliteDatabase::Impl::RestoreIfMoved() {
  if (!KeepsFile() || m_Connection->InTransaction()) return false;
  if (!m_Connection->HasMoved()) {
    m_Lock->Renew();  // who removes the lock file lets nobody else in
    m_Lock->RenewDatabase();
    return false;
  }
  try {
    m_Lock->Renew();
    WriteBack();
  } catch (const DatabaseException& failure) {
    throw DatabaseException("The database is gone from its path and was not written back: " +
                            std::string(failure.what()));
  }
  return true;
}

void CSqliteDatabase::Impl::LeaveAloneWhatIsNotOurs() {
  if (m_Options.ApplicationId == 0 || !m_Connection->LeadsElsewhere()) return;
  const std::optional<COwner> owner = OwnerOf(m_Path);
  if (!owner) return;
  const bool isForeign = owner->ApplicationId != m_Options.ApplicationId;
  if (!isForeign && owner->UserVersion <= m_Connection->UserVersion()) return;
  const char* const refusal =
      isForeign ? "is a database of another program now, which is left alone; move it away."
                : "is a database of a newer program now, which is left alone; move it away.";
  throw DatabaseException("\"" + m_Path + "\" " + refusal);
}

void CSqliteDatabase::Impl::WriteBack() {
  LeaveAloneWhatIsNotOurs();
  const std::string aside = m_Path + RESTORE_SUFFIX;
  Remove(aside);
  CDescriptor lock;
  try {
    m_Connection->CopyTo(aside);
    lock = m_Lock->LockSuccessor(aside);
  } catch (const DatabaseException&) {
    Remove(aside);  // half a copy would only take room
    throw;
  }
  // The log that lies there belongs to the file that is gone: it must not be replayed into this
  // one.
  RemoveLogs(m_Path);
  if (rename(aside.c_str(), m_Path.c_str()) != 0) {
    const std::string cause = std::strerror(errno);
    Remove(aside);
    throw DatabaseException("\"" + aside + "\" cannot be renamed to \"" + m_Path + "\": " + cause +
                            ".");
  }
  // The old file is closed last; SQLite leaves what lies at the path alone then, as it is not its
  // own.
  m_Connection = std::make_unique<CConnection>(m_Path, EAccess::Write, m_Options.BusyTimeout);
  m_Lock->Succeed(std::move(lock));
}

void CSqliteDatabase::Impl::RollBack() noexcept {
  if (!m_Connection->InTransaction()) return;
  try {
    m_Connection->Run("ROLLBACK");
  } catch (const std::exception&) {  // a rollback that fails has nothing left to undo
  }
}

CSqliteDatabase::CSqliteDatabase(const std::string& path, CSqliteOptions options)
    : m_Impl(std::make_unique<Impl>(path, std::move(options))) {}

CSqliteDatabase::~CSqliteDatabase() = default;

std::vector<std::string> CSqliteDatabase::query(std::string statement) {
  const CGuard guard(m_Impl->m_Mutex);
  return m_Impl->Run(statement);
}

bool CSqliteDatabase::Restore() {
  const CGuard guard(m_Impl->m_Mutex);
  return m_Impl->RestoreIfMoved();
}

const std::string& CSqliteDatabase::Path() const {
  return m_Impl->m_Path;
}

CTransaction::CTransaction(CSqliteDatabase& database) : m_Database(database) {
  m_Database.query("BEGIN IMMEDIATE");
}

CTransaction::~CTransaction() {
  Rollback();
}

void CTransaction::Commit() {
  if (!std::exchange(m_Open, false)) return;
  auto& impl = *m_Database.m_Impl;
  const CGuard guard(impl.m_Mutex);
  if (!impl.m_Connection->InTransaction()) {
    throw DatabaseException("The database \"" + impl.m_Path +
                            "\" gave the transaction up when a statement in it failed; nothing "
                            "that was written before that statement was kept.");
  }
  try {
    impl.m_Connection->Run("COMMIT");
  } catch (...) {
    impl.RollBack();
    throw;
  }
  try {
    impl.RestoreIfMoved();
  } catch (const DatabaseException&) {  // the rows are kept: the next statement tries again
  }
}

void CTransaction::Rollback() noexcept {
  if (!std::exchange(m_Open, false)) return;
  auto& impl = *m_Database.m_Impl;
  const CGuard guard(impl.m_Mutex);
  impl.RollBack();
}

}  // namespace DatabaseWrapper
