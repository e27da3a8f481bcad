#include "TableDao.h"

#include <algorithm>
#include <charconv>
#include <string_view>

namespace Schema {

namespace {

constexpr std::string_view EVERYTHING = "SELECT * FROM ";

// The table of which the statement reads whole rows; null: none of ours.
const CTable* TableRead(const std::vector<CTable>& tables, std::string_view statement) {
  if (!statement.starts_with(EVERYTHING)) return nullptr;
  statement.remove_prefix(EVERYTHING.size());
  const std::string_view name = statement.substr(0, statement.find(' '));
  const auto found = std::find_if(tables.begin(), tables.end(),
                                  [&](const CTable& table) { return table.Name == name; });
  return found == tables.end() ? nullptr : &*found;
}

std::string ColumnNames(const CTable& table) {
  std::string names;
  for (const CColumn& column : table.Columns) names += (names.empty() ? "" : ", ") + column.Name;
  return names;
}

template <class Number>
bool Holds(std::string_view cell) {
  Number number{};
  const auto [end, failure] = std::from_chars(cell.data(), cell.data() + cell.size(), number);
  return failure == std::errc() && end == cell.data() + cell.size();
}

// Whether a field of the kind can hold what the cell says.
bool Fits(EKind kind, const std::string& cell) {
  switch (kind) {
    case EKind::Integer:
      return Holds<int>(cell);
    case EKind::Unsigned:
      return Holds<long>(cell);
    case EKind::Real:
      return Holds<double>(cell);
    case EKind::Text:
    case EKind::List:
      break;
  }
  return true;
}

}  // namespace

CTableDao::CTableDao(std::shared_ptr<DatabaseDAO> behind, const std::vector<CTable>& tables)
    : m_Behind(std::move(behind)), m_Tables(tables) {}

std::vector<std::string> CTableDao::query(std::string statement) {
  const CTable* table = TableRead(m_Tables, statement);
  if (table == nullptr) return m_Behind->query(std::move(statement));
  constexpr std::size_t STAR = EVERYTHING.find('*');
  auto cells = m_Behind->query(statement.replace(STAR, 1, ColumnNames(*table)));
  for (std::size_t at = 0; at < cells.size(); ++at) {
    const CColumn& column = table->Columns[at % table->Columns.size()];
    if (!Fits(column.Kind, cells[at])) cells[at] = DatabaseWrapper::NULL_DB_STRING;
  }
  return cells;
}

}  // namespace Schema
