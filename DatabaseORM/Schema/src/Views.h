#pragma once

#include <string>
#include <vector>

#include <DB/Database.h>
#include <Schema/Database.h>
#include <Schema/Versions.h>

namespace Schema {

// What a writer lays around the tables, made anew at each opening: no version of the schema,
// because nothing in it is kept.
struct CExtra {
  std::string Kind;  // "VIEW" or "TRIGGER"
  std::string Name;
  std::string Text;  // behind the kind in a CREATE statement
};

// The views for people who use SQL, and the trigger that keeps one row for a drive without a serial
// number. [any thread]
std::vector<CExtra> Extras(const CSchema& schema, const CChoices& choices);

// Makes what the file lacks of them and replaces what differs; writes nothing when all is there.
// Throws DatabaseException. [one thread at a time]
void MakeExtras(DatabaseWrapper::DatabaseDAO& database, const std::vector<CExtra>& extras);

}  // namespace Schema
