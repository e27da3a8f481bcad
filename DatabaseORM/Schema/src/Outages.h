#pragma once

#include <functional>
#include <set>
#include <string>

#include <DB/Sqlite.h>

namespace Schema {

// Remembers which statements cannot be run at the moment, and says so when the first one cannot and
// when all of them can again. Trouble with the file holds for all statements that write: each of
// them that works ends it. A statement that is refused for itself is over with when one of its
// kind, the same verb on the same table, works. Not for several threads at once.
class COutages {
 public:
  using CSay = std::function<void(const std::string&)>;

  // say: told one line for each change; may be empty.
  explicit COutages(CSay say) : m_Say(std::move(say)) {}

  // Runs the statement and notes what comes of it. Throws what it throws.
  template <class Run>
  auto Watch(const std::string& statement, Run run) {
    try {
      auto result = run();
      NoteSuccess(statement);
      return result;
    } catch (const DatabaseWrapper::CStatementRefused& failure) {
      Note(KindOf(statement), failure.what());
      throw;
    } catch (const DBEXCEPTION::DatabaseException& failure) {
      NoteFile(failure.what());
      throw;
    }
  }

  // The file could not be written.
  void NoteFile(const std::string& why) { Note(FILE, why); }
  // The same, when people have been told already.
  void NoteFileSaid() { m_Failing.insert(FILE); }
  // The file could be written.
  void NoteFileWorks() { Forget(FILE); }

 private:
  static constexpr const char* FILE = "";

  // "UPDATE Adapter", "INSERT PD".
  static std::string KindOf(const std::string& statement);
  void Note(const std::string& what, const std::string& why);
  void NoteSuccess(const std::string& statement);
  void Forget(const std::string& what);

  CSay m_Say;
  std::set<std::string> m_Failing;  // kinds of statements, and FILE
};

}  // namespace Schema
