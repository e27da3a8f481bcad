#pragma once

#include <memory>
#include <string>
#include <vector>

#include <DB/Database.h>
#include <Schema/Tables.h>

namespace Schema {

// Statements on our tables, whatever others have done to the file: "SELECT * FROM <table>" gives
// the columns of the schema, in its order, and a cell that no program of ours writes, because it is
// no number or none that its field can hold, as null. Who reads a row can therefore always read it,
// and overwrites it with the next values. Other statements pass as they are. [any thread]
class CTableDao : public DatabaseWrapper::DatabaseDAO {
 public:
  // tables: must outlive the object.
  CTableDao(std::shared_ptr<DatabaseDAO> behind, const std::vector<CTable>& tables);

  std::vector<std::string> query(std::string statement) override;

 private:
  std::shared_ptr<DatabaseDAO> m_Behind;
  const std::vector<CTable>& m_Tables;
};

}  // namespace Schema
