#pragma once

#include <memory>
#include <string>
#include <variant>
#include <vector>

#include <DatabaseORM/Records.h>
#include <TLX/Export.h>

namespace DatabaseORM {

// The place of a column's value in the record. The alternatives are the five kinds of columns:
// whole numbers with and without sign, texts, real numbers, lists of texts. The byte of an
// adapter's record is of none, and is not stored.
template <class Record>
using field_t = std::variant<int Record::*, unsigned long Record::*, std::string Record::*,
                             double Record::*, std::vector<std::string> Record::*>;

// One column of the table as the host made it. A value type; columns are made before the table is
// handed out and not changed after that.
template <class Record>
struct column_t {
  // Where statements take the value from and answers put it; never a null member pointer.
  field_t<Record> field;
  // As in the database; goes into statements as it is.
  std::string name;
  // The database generates the value. When any column of a table says so, the INSERT names its
  // columns and leaves the identity out.
  bool explicitColumnList = false;
  // Place in the row, from 0. Column 0 is the identity.
  int position = 0;
};

// One registered table, whatever its record. Its storage object shares it. Filled before other
// threads start and only read after that, so it has no lock. [any thread]
class VX_EXPORT tableBase_t {
 public:
  // Takes the name over. Nothing is looked up in the database, so that a name which is none there
  // shows with the first statement.
  explicit tableBase_t(std::string tableName, bool enforceForeignKeys = false);
  virtual ~tableBase_t();

  // UPDATE, DELETE and INSERT switch the enforcement of foreign keys on first: the statement's text
  // begins with DatabaseWrapper::FOREIGN_KEYS_ON.
  bool foreignKeys;
  // As in the database; goes into statements as it is.
  std::string name;
};

// The table of one record type. Made for Adapter, PD and Plugin, in the builder's library alone, so
// that every library finds the same type at run time. Without columns get_all
// gives no row.
template <class Record>
class VX_EXPORT table_t : public tableBase_t {
 public:
  // Without columns; the caller adds them before the table is handed out.
  explicit table_t(std::string tableName, bool enforceForeignKeys = false);
  ~table_t() override;

  // In any order: each says its place in the row. One whose place is outside the row makes every
  // statement of the table fail; of two at one place the later counts.
  std::vector<std::shared_ptr<column_t<Record>>> columns;
};

extern template class VX_EXPORT table_t<RaidDataModels::Adapter>;
extern template class VX_EXPORT table_t<RaidDataModels::PD>;
extern template class VX_EXPORT table_t<RaidDataModels::Plugin>;

}  // namespace DatabaseORM
