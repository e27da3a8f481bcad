#include "Failure.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>

#include <sqlite3.h>

namespace DatabaseWrapper {

namespace {

struct CExplanation {
  int Code;  // primary result code of SQLite
  const char* What;
  const char* WayOut;
};

// clang-format off
constexpr std::array EXPLANATIONS{
    CExplanation{SQLITE_BUSY,     "is locked by another program",      "try again when it is free"},
    CExplanation{SQLITE_LOCKED,   "is locked by another statement",    "try again when it is free"},
    CExplanation{SQLITE_READONLY, "is read-only",                      "make the file, its -wal and -shm, and its directory writable for this user"},
    CExplanation{SQLITE_FULL,     "finds no room: the disk is full or a limit is reached", "free some space"},
    CExplanation{SQLITE_NOTADB,   "is no database",                    "name another file or move this one away"},
    CExplanation{SQLITE_CORRUPT,  "is damaged",                        "move the file away; a new one is made at the next start"},
    CExplanation{SQLITE_CANTOPEN, "cannot be opened",                  "the file must be accessible and its directory exist and be writable for this user"},
    CExplanation{SQLITE_PERM,     "may not be opened",                 "check the permissions of the file"},
    CExplanation{SQLITE_IOERR,    "cannot be read or written",         "check the disk"},
};
// clang-format on

constexpr CExplanation REFUSED{SQLITE_ERROR, "refused the statement", ""};

bool NoRoom(int systemError) {
  return systemError == ENOSPC || systemError == EDQUOT || systemError == EFBIG;
}

const CExplanation& Explain(int code, int systemError) {
  const int primary = NoRoom(systemError) ? SQLITE_FULL : code & 0xFF;
  const auto* found = std::find_if(EXPLANATIONS.begin(), EXPLANATIONS.end(),
                                   [&](const CExplanation& row) { return row.Code == primary; });
  return found == EXPLANATIONS.end() ? REFUSED : *found;
}

}  // namespace

DBEXCEPTION::DatabaseException Failure(const std::string& path, int code, int systemError,
                                       const std::string& detail) {
  const CExplanation& explanation = Explain(code, systemError);
  std::string text = "The database \"" + path + "\" " + explanation.What + " (" + detail;
  if (systemError != 0) text += std::string(", ") + std::strerror(systemError);
  text += ")";
  if (*explanation.WayOut != '\0') text += std::string("; ") + explanation.WayOut;
  return DBEXCEPTION::DatabaseException(text + ".");
}

bool IsRefusal(int code, int systemError) {
  return &Explain(code, systemError) == &REFUSED;
}

}  // namespace DatabaseWrapper
