#include "Outages.h"

#include <sstream>
#include <string_view>

namespace Schema {

namespace {

// What stands between a verb and the name of its table.
bool NamesTable(std::string_view word) {
  return word == "UPDATE" || word == "INTO" || word == "FROM";
}

}  // namespace

std::string COutages::KindOf(const std::string& statement) {
  std::istringstream words(statement);
  std::string verb;
  words >> verb;
  std::string word = verb;
  while (!NamesTable(word) && words >> word) continue;
  std::string table;
  words >> table;
  return verb + " " + table.substr(0, table.find('('));
}

void COutages::Note(const std::string& what, const std::string& why) {
  const bool first = m_Failing.empty();
  m_Failing.insert(what);
  if (first && m_Say) m_Say("the mirror in the database is not written: " + why);
}

void COutages::NoteSuccess(const std::string& statement) {
  if (m_Failing.empty()) return;
  Forget(KindOf(statement));
  // Reading works in a file that cannot be written.
  if (!statement.starts_with("SELECT")) Forget(FILE);
}

void COutages::Forget(const std::string& what) {
  if (m_Failing.erase(what) == 0 || !m_Failing.empty() || !m_Say) return;
  m_Say("the mirror in the database is written again");
}

}  // namespace Schema
