#include "Values.h"

#include <algorithm>
#include <locale>
#include <sstream>

#include <DB/Database.h>
#include <DatabaseORM/Storage.h>

namespace DatabaseORM {

using DatabaseWrapper::BLANK_SEPARATOR;
using DatabaseWrapper::FOREIGN_KEYS_ON;
using DatabaseWrapper::MIDDLE_SEPARATOR;
using DBEXCEPTION::DatabaseException;
using RaidDataModels::dbModelFieldsMap;
using Values::EPlace;

namespace {

// Three texts: people tell by them which operation missed the field map.
constexpr const char* NO_MAP_FOR_ALIAS = "Storage query exception thrown! No such model map exist.";
constexpr const char* NO_MAP = "Storage query exception thrown! No such model in map exist.";
constexpr const char* NO_MAP_FOR_INSERT =
    "Storage query exception thrown! No such model in map exist!";
constexpr const char* NO_COLUMN_NAME = "Empty colName exception!";

std::string Because(const std::string& what, const std::string& cause) {
  return what + " (" + cause + ")";
}

std::string Prefix(const tableBase_t* table) {
  return table != nullptr && table->foreignKeys ? FOREIGN_KEYS_ON + BLANK_SEPARATOR : "";
}

std::string Name(const tableBase_t* table) {
  return table != nullptr ? table->name : "";
}

// Joins the filled slots, with the separator behind each, then cuts the last two characters. Two,
// not the length of the separator: hosts compare the statements of any separator byte for byte.
std::string Joined(const std::vector<std::string>& slots) {
  std::size_t size = 0;
  for (const std::string& slot : slots) size += slot.size() + MIDDLE_SEPARATOR.size();
  std::string list;
  list.reserve(size);
  for (const std::string& slot : slots) {
    if (!slot.empty()) list.append(slot).append(MIDDLE_SEPARATOR);
  }
  list.resize(list.size() - std::min<std::size_t>(2, list.size()));
  return list;
}

// The column's place in a row of this table.
template <class Record>
std::size_t Position(const table_t<Record>& table, const column_t<Record>& column) {
  const std::size_t count = table.columns.size();
  if (column.position < 0 || static_cast<std::size_t>(column.position) >= count) {
    throw DatabaseException("Column \"" + column.name + "\" of table \"" + table.name +
                            "\" is registered at position " + std::to_string(column.position) +
                            "; the table has " + std::to_string(count) + " columns.");
  }
  return static_cast<std::size_t>(column.position);
}

template <class Record>
void RenderField(std::string& out, const Record& record, const column_t<Record>& column,
                 EPlace place) {
  std::visit([&](auto member) { Values::Render(out, record.*member, place); }, column.field);
}

template <class Record>
bool NamesColumns(const table_t<Record>& table) {
  for (const auto& column : table.columns) {
    if (column->explicitColumnList) return true;
  }
  return false;
}

// The slots of an UPDATE, and the identity as decimal number.
struct CAssignments {
  std::vector<std::string> Slots;
  std::string Identity = std::to_string(RaidDataModels::NULL_INTEGER);
};

template <class Record>
std::string Decimal(const Record& record, const column_t<Record>& column) {
  if (const auto* member = std::get_if<int Record::*>(&column.field)) {
    return std::to_string(record.**member);
  }
  std::string text;
  RenderField(text, record, column, EPlace::Assignment);
  return text;
}

template <class Record>
CAssignments Assignments(const Record& record, const table_t<Record>* table) {
  CAssignments result;
  if (table == nullptr) return result;
  result.Slots.resize(table->columns.size());
  for (const auto& column : table->columns) {
    std::string& slot = result.Slots[Position(*table, *column)];
    slot.assign(column->name).push_back('=');
    RenderField(slot, record, *column, EPlace::Assignment);
    if (column->position == 0) result.Identity = Decimal(record, *column);
  }
  return result;
}

// The two lists of an INSERT; the names stay empty when the table does not ask for them.
struct CInsertion {
  std::vector<std::string> Names;
  std::vector<std::string> Cells;
};

template <class Record>
CInsertion Insertion(const Record& record, const table_t<Record>& table, bool named) {
  CInsertion result;
  result.Names.resize(table.columns.size());
  result.Cells.resize(table.columns.size());
  for (const auto& column : table.columns) {
    const std::size_t position = Position(table, *column);
    if (named && position == 0) continue;
    if (named) result.Names[position] = column->name;
    result.Cells[position].clear();
    RenderField(result.Cells[position], record, *column, EPlace::Insertion);
  }
  return result;
}

}  // namespace

storage_t::storage_t(tables_t tables, fieldMaps_t fieldMaps,
                     std::shared_ptr<DatabaseWrapper::DatabaseDAO> database, bool qualifyColumns)
    : m_QualifyColumns(qualifyColumns),
      m_Tables(std::move(tables)),
      m_FieldMaps(std::move(fieldMaps)),
      m_Database(std::move(database)) {}

storage_t::~storage_t() = default;

template <class Record>
const table_t<Record>* storage_t::table() const {
  for (const auto& entry : m_Tables) {
    if (const auto* found = dynamic_cast<const table_t<Record>*>(entry.get())) return found;
  }
  return nullptr;
}

template <class Record>
const dbModelFieldsMap<Record>* storage_t::fieldMap() const {
  for (const auto& entry : m_FieldMaps) {
    if (const auto* found = dynamic_cast<const dbModelFieldsMap<Record>*>(entry.get())) {
      return found;
    }
  }
  return nullptr;
}

template <ModelRecord Record>
std::string storage_t::extractAlias() const {
  const auto* map = fieldMap<Record>();
  if (map == nullptr) throw DatabaseException(NO_MAP_FOR_ALIAS);
  return map->Alias();
}

template <ModelRecord Record, NamedField Field>
std::string storage_t::stringFromExpression(Field Record::*field) const {
  const auto* map = fieldMap<Record>();
  if (map == nullptr) throw DatabaseException(NO_MAP);
  const std::string& name = map->Column(field);
  if (name.empty()) throw DatabaseException(NO_COLUMN_NAME);
  return name;
}

template <ModelRecord Record, class Field, class Value>
std::string storage_t::process_where(const is_equal_t<Record, Field, Value>& condition) const {
  const std::string qualifier = m_QualifyColumns ? extractAlias<Record>() + "." : "";
  return " " + qualifier + stringFromExpression(condition.field) + " = '" +
         Values::InCondition(condition.value) + "'";
}

void storage_t::appendWhere(std::string& statement, const std::string& condition) const {
  statement += BLANK_SEPARATOR + "WHERE" + condition;
}

std::vector<std::string> storage_t::send(std::string statement) {
  try {
    if (m_Database == nullptr) throw DatabaseException("no database object");
    return m_Database->query(std::move(statement));
  } catch (const DatabaseException& failure) {
    throw DatabaseException(Because("Storage query exception thrown!", failure.what()));
  }
}

template <ModelRecord Record>
void storage_t::update(Record record) {
  if (fieldMap<Record>() == nullptr) throw DatabaseException(NO_MAP);
  const auto* target = table<Record>();
  const CAssignments assignments = Assignments(record, target);
  send(Prefix(target) + "UPDATE" + BLANK_SEPARATOR + Name(target) + BLANK_SEPARATOR + "SET" +
       BLANK_SEPARATOR + Joined(assignments.Slots) + BLANK_SEPARATOR +
       "WHERE ID = " + assignments.Identity);
}

template <class Record>
std::vector<Record> storage_t::select(const std::string& where) {
  if (fieldMap<Record>() == nullptr) throw DatabaseException(NO_MAP);
  const auto* source = table<Record>();
  const auto cells = send("SELECT" + BLANK_SEPARATOR + "*" + BLANK_SEPARATOR + "FROM" +
                          BLANK_SEPARATOR + Name(source) + where);
  if (source == nullptr || source->columns.empty()) return {};
  const std::size_t width = source->columns.size();
  // A row that ends too early is left out.
  std::vector<Record> rows(cells.size() / width);
  for (std::size_t row = 0; row < rows.size(); ++row) {
    for (const auto& column : source->columns) {
      const std::string& cell = cells[row * width + Position(*source, *column)];
      std::visit([&](auto member) { Values::Read(cell, rows[row].*member); }, column->field);
    }
  }
  return rows;
}

template <class Record>
void storage_t::remove(const std::string& where) {
  const auto* target = table<Record>();
  send(Prefix(target) + "DELETE" + BLANK_SEPARATOR + "FROM" + BLANK_SEPARATOR + Name(target) +
       where);
}

template <ModelRecord Record, CountedField Field>
Field storage_t::max(Field Record::*field) {
  const auto cells = send("SELECT" + BLANK_SEPARATOR + "MAX(" + stringFromExpression(field) + ")" +
                          BLANK_SEPARATOR + "FROM" + BLANK_SEPARATOR + Name(table<Record>()));
  Field result = 0;
  if (cells.empty()) return result;
  std::istringstream cell(cells.front());
  cell.imbue(std::locale::classic());
  cell >> result;
  return result;
}

template <ModelRecord Record>
void storage_t::insert(const Record& record) {
  if (fieldMap<Record>() == nullptr) throw DatabaseException(NO_MAP_FOR_INSERT);
  const auto* target = table<Record>();
  const bool named = target != nullptr && NamesColumns(*target);
  const CInsertion insertion = target == nullptr ? CInsertion{} : Insertion(record, *target, named);
  if (named) {
    // Only a probe: it fails, with a text of its own, where no identity can be assigned.
    try {
      max(&Record::ID);
    } catch (const DatabaseException& failure) {
      throw DatabaseException(
          Because("Storage query exception thrown! Cannot read ID from database!", failure.what()));
    }
  }
  const std::string names = named ? "(" + Joined(insertion.Names) + ")" : "";
  send(Prefix(target) + "INSERT INTO" + BLANK_SEPARATOR + Name(target) + names + BLANK_SEPARATOR +
       "VALUES(" + Joined(insertion.Cells) + ");");
}

// One instantiation for each of the three records; nobody else has any.
#define VX_INSTANTIATE(Record)                                                              \
  template std::string storage_t::extractAlias<Record>() const;                             \
  template std::string storage_t::stringFromExpression(int Record::*) const;                \
  template std::string storage_t::stringFromExpression(unsigned long Record::*) const;      \
  template std::string storage_t::stringFromExpression(std::string Record::*) const;        \
  template std::string storage_t::process_where(const is_equal_t<Record, int, int>&) const; \
  template std::string storage_t::process_where(                                            \
      const is_equal_t<Record, std::string, std::string>&) const;                           \
  template std::string storage_t::process_where(                                            \
      const is_equal_t<Record, std::string, const char*>&) const;                           \
  template void storage_t::update(Record);                                                  \
  template std::vector<Record> storage_t::select(const std::string&);                       \
  template void storage_t::remove<Record>(const std::string&);                              \
  template int storage_t::max(int Record::*);                                               \
  template unsigned long storage_t::max(unsigned long Record::*);                           \
  template void storage_t::insert(const Record&);

VX_INSTANTIATE(RaidDataModels::Adapter)
VX_INSTANTIATE(RaidDataModels::PD)
VX_INSTANTIATE(RaidDataModels::Plugin)

#undef VX_INSTANTIATE

}  // namespace DatabaseORM
