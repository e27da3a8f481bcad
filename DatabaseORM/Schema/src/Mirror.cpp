#include "Outages.h"

#include <algorithm>
#include <filesystem>
#include <mutex>
#include <utility>

#include <Schema/Mirror.h>
#include <TLX/Misc/Clock.h>

namespace Schema {

using DatabaseWrapper::CTransaction;
using DBEXCEPTION::DatabaseException;

// The statements of plug-ins on their way to the file.
class CMirror::CGate : public DatabaseWrapper::DatabaseDAO {
 public:
  CGate(std::string path, CMirrorOptions options)
      : m_Path(std::move(path)), m_Options(std::move(options)), m_Outages(m_Options.Say) {}

  std::vector<std::string> query(std::string statement) override {
    const std::lock_guard lock(m_Mutex);
    CDatabase& database = Opened();
    if (m_HasEarlierRows && !m_Starts) RemoveEarlierRows(database);
    return m_Outages.Watch(statement,
                           [&] { return database.HostDatabase()->Dao().query(statement); });
  }

  void TryToOpen() noexcept {
    try {
      const std::lock_guard lock(m_Mutex);
      (void)OpenedOrNull();
    } catch (const std::exception&) {  // no memory for it: the next statement tries again
    }
  }

  // Null while the database cannot be written.
  std::unique_ptr<CTransaction> BeginStart() {
    const std::lock_guard lock(m_Mutex);
    CDatabase* const database = OpenedOrNull();
    if (database == nullptr) return nullptr;
    try {
      auto transaction = database->Begin();
      database->RemoveEarlierRun();
      m_Starts = true;
      return transaction;
    } catch (const DatabaseException& failure) {
      m_Outages.NoteFile(failure.what());
      return nullptr;
    }
  }

  std::optional<std::string> Commit(CTransaction& transaction) {
    const std::lock_guard lock(m_Mutex);
    m_Starts = false;
    try {
      transaction.Commit();
      m_HasEarlierRows = false;
      m_Outages.NoteFileWorks();
      return std::nullopt;
    } catch (const std::exception& failure) {  // also that there is no memory
      m_Outages.NoteFileSaid();
      return failure.what();
    }
  }

  void Rollback(CTransaction& transaction) noexcept {
    const std::lock_guard lock(m_Mutex);
    m_Starts = false;
    transaction.Rollback();
  }

  void RemoveEarlierRun() {
    const std::lock_guard lock(m_Mutex);
    m_HasEarlierRows = true;
    if (CDatabase* const database = OpenedOrNull()) {
      try {
        RemoveEarlierRows(*database);
      } catch (const DatabaseException&) {  // has been noted; the next statement tries again
      }
    }
  }

 private:
  CDatabase& Opened() {
    if (CDatabase* const database = OpenedOrNull()) return *database;
    throw DatabaseException(m_Problem);
  }

  CDatabase* OpenedOrNull() {
    if (m_Database == nullptr && Now() >= m_NextTry) Open();
    return m_Database.get();
  }

  void Open() {
    if (m_Options.MakesDirectory) {
      std::error_code failure;  // what is wrong shows when the file is opened
      std::filesystem::create_directories(std::filesystem::path(m_Path).parent_path(), failure);
    }
    COpened opened = OpenForWriting(m_Path, m_Options.Database);
    m_Database = std::move(opened.Database);
    if (m_Database != nullptr) {
      if (!m_Problem.empty()) {
        Say("the database \"" + m_Database->Path() + "\" can be opened now: the mirror is written");
      }
      return;
    }
    if (m_Problem.empty()) Say("no mirror in a database: " + opened.Error);
    m_Problem = std::move(opened.Error);
    m_Pause = m_Pause == 0 ? m_Options.FirstPause : std::min(m_Pause * 2, m_Options.LongestPause);
    m_NextTry = Now() + m_Pause;
  }

  // All of them or none, and never a row of the new run beside them.
  void RemoveEarlierRows(CDatabase& database) {
    try {
      const auto transaction = database.Begin();
      database.RemoveEarlierRun();
      transaction->Commit();
    } catch (const DatabaseException& failure) {
      m_Outages.NoteFile(failure.what());
      throw;
    }
    m_HasEarlierRows = false;
    m_Outages.NoteFileWorks();
  }

  unsigned long Now() const { return m_Options.Now ? m_Options.Now() : TLX::Misc::now(); }

  void Say(const std::string& line) const {
    if (m_Options.Say) m_Options.Say(line);
  }

  const std::string m_Path;
  const CMirrorOptions m_Options;
  std::mutex m_Mutex;  // guards what follows
  COutages m_Outages;
  std::unique_ptr<CDatabase> m_Database;
  std::string m_Problem;  // of the last try to open
  unsigned long m_Pause = 0;
  unsigned long m_NextTry = 0;
  bool m_HasEarlierRows = true;
  bool m_Starts = false;  // a start's transaction is open
};

struct CMirror::CStart::Impl {
  std::shared_ptr<CGate> Gate;
  std::unique_ptr<CTransaction> Transaction;
};

CMirror::CStart::CStart(std::unique_ptr<Impl> impl) : m_Impl(std::move(impl)) {}

CMirror::CStart::~CStart() {
  if (m_Impl) m_Impl->Gate->Rollback(*m_Impl->Transaction);
}

std::optional<std::string> CMirror::CStart::Commit() noexcept {
  const std::unique_ptr<Impl> impl = std::move(m_Impl);
  return impl ? impl->Gate->Commit(*impl->Transaction) : std::nullopt;
}

CMirror::CMirror(const std::string& path, CMirrorOptions options)
    : m_Gate(std::make_shared<CGate>(path, std::move(options))),
      m_Registered(std::make_shared<DatabaseWrapper::CHostDatabase>(m_Gate, MakeStorage(m_Gate))) {
  m_Gate->TryToOpen();
  DatabaseWrapper::registerDatabase(m_Registered);
}

CMirror::~CMirror() {
  if (getDatabasePointer() == m_Registered) DatabaseWrapper::registerDatabase(nullptr);
}

std::unique_ptr<CMirror::CStart> CMirror::BeginStart() {
  auto transaction = m_Gate->BeginStart();
  if (transaction == nullptr) return nullptr;
  auto impl = std::make_unique<CStart::Impl>();
  impl->Gate = m_Gate;
  impl->Transaction = std::move(transaction);
  return std::unique_ptr<CStart>(new CStart(std::move(impl)));
}

void CMirror::RemoveEarlierRun() {
  m_Gate->RemoveEarlierRun();
}

}  // namespace Schema
