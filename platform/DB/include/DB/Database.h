#pragma once

#include <memory>
#include <string>
#include <vector>

#include <DB/DatabaseException.h>
#include <TLX/Export.h>

namespace DatabaseORM {
class storage_t;
}

namespace DatabaseWrapper {

// Runs statements, one at a time: a second caller waits for the first. Which engine it is, where
// the rows are, and whether a transaction is open, is the host's. [any thread]
class VX_EXPORT DatabaseDAO {
 public:
  virtual ~DatabaseDAO();

  // Runs one statement, optionally behind FOREIGN_KEYS_ON. Returns the cells row by
  // row, one string a cell, SQL NULL as the text NULL; empty for statements that return nothing.
  // Throws DBEXCEPTION::DatabaseException. Never calls back.
  virtual std::vector<std::string> query(std::string statement) = 0;
};

// What the host registers and plug-ins keep: the way to run statements and the storage object of
// the query builder over it. Shared: the last holder's end is the end of both, so a plug-in that
// keeps it may go on using it after the host has registered another. Neither pointer is null.
// [any thread]
class VX_EXPORT CHostDatabase {
 public:
  // dao, storage: see above; the storage object runs its statements through dao.
  CHostDatabase(std::shared_ptr<DatabaseDAO> dao, std::shared_ptr<DatabaseORM::storage_t> storage);
  ~CHostDatabase();

  // Both live as long as this object.
  [[nodiscard]] DatabaseDAO& Dao() const { return *m_Dao; }
  [[nodiscard]] DatabaseORM::storage_t& Storage() const { return *m_Storage; }

 private:
  std::shared_ptr<DatabaseDAO> m_Dao;
  std::shared_ptr<DatabaseORM::storage_t> m_Storage;
};

// The one text that may stand before a statement: it switches the enforcement of foreign keys on.
inline constexpr const char* FOREIGN_KEYS_ON = "PRAGMA foreign_keys = ON;";

// Texts of SQL, fixed by the database; variables so that tests can show what depends on them.
// Nobody changes them while statements are made. [before other threads start]
VX_EXPORT extern std::string BLANK_SEPARATOR;   // " "
VX_EXPORT extern std::string MIDDLE_SEPARATOR;  // ", "
VX_EXPORT extern std::string QUOTATION;         // "'"
VX_EXPORT extern std::string NULL_DB_ENTRY;     // "NULL"
VX_EXPORT extern std::string NULL_DB_STRING;    // "NULL"
VX_EXPORT extern std::string delimiter;         // "|"

// What getDatabasePointer() hands out from now on, in place of the one before, which lives on with
// whoever holds it; null for none. [any thread]
VX_EXPORT void registerDatabase(std::shared_ptr<CHostDatabase> database);

}  // namespace DatabaseWrapper

// Hands out what the host registered last; null when it registered nothing. A plug-in keeps it for
// the life of an interface object: what is registered later is for later objects. [any thread]
[[nodiscard]] VX_EXPORT std::shared_ptr<DatabaseWrapper::CHostDatabase> getDatabasePointer();
