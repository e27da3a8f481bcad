#pragma once

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include <DatabaseORM/Conditions.h>
#include <DatabaseORM/FieldMap.h>
#include <DatabaseORM/Records.h>
#include <DatabaseORM/Table.h>
#include <TLX/Export.h>

namespace DatabaseWrapper {
class DatabaseDAO;
}

namespace DatabaseORM {

// Turns records and conditions into SQL text, hands the text to the database object, and turns its
// cells back into records. It knows no database engine and keeps no state between calls.
//
// Everything here throws DBEXCEPTION::DatabaseException and sends nothing when the record type has
// no field map, when a field has no column name, or when a list holds an item with the list's
// delimiter in it; the same exception, with the cause in brackets, when the database object throws
// it. Cells that are no numbers leave get_all as std::invalid_argument or std::out_of_range.
//
// Text values keep their content whatever it is: quotation marks are doubled inside the literal.
// Only NUL bytes, which SQL text cannot hold, are dropped. A text equal to NULL_DB_STRING is null.
//
// Each statement stands for itself: nothing here begins or ends a transaction, and between two
// statements, also the two of an insert, others may write. Rows of an answer are read by position:
// the database object must give the columns of a table in the order of their registered positions.
//
// No lock is taken. Calls may come from several threads at once as long as nobody changes the
// registered tables and maps; the database object runs statements one at a time. [any thread]
class VX_EXPORT storage_t {
 public:
  // Neither list may hold what changes while the storage object is used. Null entries are passed
  // over. The storage object shares both with whoever else holds them.
  using tables_t = std::vector<std::shared_ptr<tableBase_t>>;
  using fieldMaps_t = std::vector<std::shared_ptr<RaidDataModels::dbModelFieldsMapBase>>;

  // tables, fieldMaps: of a record type the first one counts; what is missing shows as an exception
  // of the statement that needs it. A missing table is left out of the text, so that the database
  // refuses the statement. database: shared with whoever else runs statements; null: every
  // statement fails with "no database object". qualifyColumns: conditions write "alias.column"
  // instead of "column".
  storage_t(tables_t tables, fieldMaps_t fieldMaps,
            std::shared_ptr<DatabaseWrapper::DatabaseDAO> database, bool qualifyColumns = false);
  // Lets go of tables, maps and database, each of which ends here when nobody else holds it. Sends
  // nothing; no call may be under way.
  ~storage_t();

  // The alias of a record type, as the host has set it; empty when it has set none, which makes a
  // qualified column begin with a point, and the database refuse the statement.
  template <ModelRecord Record>
  std::string extractAlias() const;

  // The column name of a field of type int, unsigned long or std::string, as it goes into
  // statements: without alias, and never empty.
  template <ModelRecord Record, NamedField Field>
  std::string stringFromExpression(Field Record::*field) const;

  // The text of a condition, with a blank before it, for people who look at statements and for the
  // functions below; it is the caller's. The value stands between single quotes whatever its type;
  // columns of numbers still compare as numbers because of their affinity.
  template <ModelRecord Record, class Field, class Value>
  std::string process_where(const is_equal_t<Record, Field, Value>& condition) const;
  // The left text is made first, so that its exception is the one that is seen. Both in brackets:
  // " (...) AND (...) ".
  template <class Left, class Right>
  std::string process_where(const and_condition_t<Left, Right>& condition) const {
    return " (" + process_where(condition.left) + ") AND (" + process_where(condition.right) + ") ";
  }

  // Appends the WHERE clause to the statement under construction, which is left as it is when the
  // condition's text cannot be made.
  template <QueryCondition Condition>
  void process_single_condition(std::string& statement, const Condition& condition) const {
    appendWhere(statement, process_where(condition));
  }

  // Overwrites every column of the row whose identity is the record's, also those that somebody
  // else has filled. No such row, or the identity's null: nothing happens, and nothing tells.
  template <ModelRecord Record>
  void update(Record record);

  // The matching rows in the order of the database; none when nothing matches. Nulls become the
  // nulls of the record, whole numbers are read as far as they go ("12a" is 12), and a row whose
  // cells end too early is left out.
  template <ModelRecord Record, QueryCondition Condition>
  requires ConditionOnRecord<Condition, Record> std::vector<Record> get_all(
      where_t<Condition> condition) {
    std::string where;
    process_single_condition(where, condition.condition);
    return select<Record>(where);
  }

  // Deletes the matching rows, however many; none is no failure. How many there were is not told.
  template <ModelRecord Record, QueryCondition Condition>
  requires ConditionOnRecord<Condition, Record>
  void remove_all(where_t<Condition> condition) {
    std::string where;
    process_single_condition(where, condition.condition);
    remove<Record>(where);
  }

  // The largest value of a column of type int or unsigned long; 0 when the table is empty and when
  // the cell is no number; the nearest one when it does not fit.
  template <ModelRecord Record, CountedField Field>
  Field max(Field Record::*field);

  // Adds a row. Looks for no row that may be there already. When the table names its columns, the
  // database assigns the identity, and the largest identity is read before: a failure there has a
  // text of its own. The identity that was given is not told.
  template <ModelRecord Record>
  void insert(const Record& record);

 private:
  template <class Record>
  const table_t<Record>* table() const;
  template <class Record>
  const RaidDataModels::dbModelFieldsMap<Record>* fieldMap() const;
  template <class Record>
  std::vector<Record> select(const std::string& where);
  template <class Record>
  void remove(const std::string& where);

  void appendWhere(std::string& statement, const std::string& condition) const;
  std::vector<std::string> send(std::string statement);

  // As the constructor was given them; nothing here changes them, so no lock guards them.
  bool m_QualifyColumns;
  tables_t m_Tables;
  fieldMaps_t m_FieldMaps;
  std::shared_ptr<DatabaseWrapper::DatabaseDAO> m_Database;
};

}  // namespace DatabaseORM
