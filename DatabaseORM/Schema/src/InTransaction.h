#pragma once

#include <string>

#include <DB/Database.h>

namespace Schema {

// Runs statements as one transaction, which is undone when one of them throws. Throws what it
// threw.
template <class Run>
void InTransaction(DatabaseWrapper::DatabaseDAO& database, Run run) {
  database.query("BEGIN IMMEDIATE");
  try {
    run();
    database.query("COMMIT");
  } catch (const DBEXCEPTION::DatabaseException& failure) {
    const std::string cause = failure.what();
    try {
      database.query("ROLLBACK");
    } catch (const DBEXCEPTION::DatabaseException&) {  // rolled back already
    }
    throw DBEXCEPTION::DatabaseException(cause);
  }
}

}  // namespace Schema
