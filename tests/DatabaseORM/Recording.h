#pragma once

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include <DB/Database.h>
#include <DatabaseORM/Storage.h>

namespace vxtest {

// Keeps the statements that it is given, and answers each with the prepared cells or failure.
class RecordingDao : public DatabaseWrapper::DatabaseDAO {
 public:
  std::vector<std::string> query(std::string statement) override {
    statements.push_back(std::move(statement));
    if (statements.size() >= failFrom) throw DBEXCEPTION::DatabaseException(failure);
    return cells;
  }

  std::vector<std::string> statements;
  std::vector<std::string> cells;
  std::string failure = "disk on fire";
  std::size_t failFrom =
      static_cast<std::size_t>(-1);  // the number of the first that fails, from 1
};

// Sets one of the texts of SQL for a scope.
class TextGuard {
 public:
  TextGuard(std::string& text, std::string value) : text_(text), old_(text) {
    text_ = std::move(value);
  }
  ~TextGuard() { text_ = old_; }
  TextGuard(const TextGuard&) = delete;
  TextGuard& operator=(const TextGuard&) = delete;

 private:
  std::string& text_;
  std::string old_;
};

template <class Record>
std::shared_ptr<DatabaseORM::column_t<Record>> Column(DatabaseORM::field_t<Record> field,
                                                      std::string name, int position,
                                                      bool explicitColumnList = false) {
  return std::make_shared<DatabaseORM::column_t<Record>>(
      DatabaseORM::column_t<Record>{field, std::move(name), explicitColumnList, position});
}

// A small table T of adapters with one column of each kind, its map, and the storage over both.
struct AdapterFixture {
  using Adapter = RaidDataModels::Adapter;

  std::shared_ptr<RecordingDao> dao = std::make_shared<RecordingDao>();
  std::shared_ptr<DatabaseORM::table_t<Adapter>> table =
      std::make_shared<DatabaseORM::table_t<Adapter>>("T");
  std::shared_ptr<RaidDataModels::dbModelFieldsMap<Adapter>> map =
      std::make_shared<RaidDataModels::dbModelFieldsMap<Adapter>>();

  AdapterFixture() {
    map->SetAlias("A");
    Add(&Adapter::ID, "ID");
    Add(&Adapter::ObjectID, "OBJ_ID");
    Add(&Adapter::AdapterNumber, "NR");
    Add(&Adapter::Host, "HOST");
    Add(&Adapter::Temperature, "X");
    Add(&Adapter::HealthReasons, "REASONS");
  }

  template <class Field>
  void Add(Field Adapter::*field, const std::string& name) {
    table->columns.push_back(Column<Adapter>(field, name, static_cast<int>(table->columns.size())));
    map->SetColumn(field, name);
  }

  DatabaseORM::storage_t Storage(bool qualify = false) const {
    return DatabaseORM::storage_t({table}, {map}, dao, qualify);
  }
};

}  // namespace vxtest
