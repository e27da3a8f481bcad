#pragma once

#include <string>

#include <DB/DatabaseException.h>

namespace DatabaseWrapper {

// A failure of SQLite in words: which file, what is wrong, what SQLite says, and the way out.
// code: extended result code; systemError: errno behind it, 0 when there is none.
DBEXCEPTION::DatabaseException Failure(const std::string& path, int code, int systemError,
                                       const std::string& detail);

// Whether such a failure is the statement's alone and not the file's.
bool IsRefusal(int code, int systemError);

}  // namespace DatabaseWrapper
