#include <mutex>
#include <utility>

#include <DB/Database.h>

namespace DBEXCEPTION {

DatabaseException::DatabaseException(std::string message) : m_Message(std::move(message)) {}
DatabaseException::DatabaseException(const DatabaseException&) = default;
DatabaseException::~DatabaseException() = default;
const char* DatabaseException::what() const noexcept {
  return m_Message.c_str();
}

}  // namespace DBEXCEPTION

namespace DatabaseWrapper {

std::string BLANK_SEPARATOR = " ";
std::string MIDDLE_SEPARATOR = ", ";
std::string QUOTATION = "'";
std::string NULL_DB_ENTRY = "NULL";
std::string NULL_DB_STRING = "NULL";
std::string delimiter = "|";

namespace {

struct CRegistration {
  std::mutex Mutex;
  std::shared_ptr<CHostDatabase> Database;
};

// Leaked on purpose: threads of a plug-in may still ask while the process ends.
CRegistration& Registration() {
  static CRegistration& registration = *new CRegistration;
  return registration;
}

}  // namespace

DatabaseDAO::~DatabaseDAO() = default;

CHostDatabase::CHostDatabase(std::shared_ptr<DatabaseDAO> dao,
                             std::shared_ptr<DatabaseORM::storage_t> storage)
    : m_Dao(std::move(dao)), m_Storage(std::move(storage)) {}

CHostDatabase::~CHostDatabase() = default;

void registerDatabase(std::shared_ptr<CHostDatabase> database) {
  CRegistration& registration = Registration();
  // The database that is replaced may close a file: not under the lock.
  {
    const std::lock_guard lock(registration.Mutex);
    registration.Database.swap(database);
  }
}

}  // namespace DatabaseWrapper

std::shared_ptr<DatabaseWrapper::CHostDatabase> getDatabasePointer() {
  DatabaseWrapper::CRegistration& registration = DatabaseWrapper::Registration();
  const std::lock_guard lock(registration.Mutex);
  return registration.Database;
}
