#include <utility>

#include <DatabaseORM/Table.h>

namespace DatabaseORM {

tableBase_t::tableBase_t(std::string tableName, bool enforceForeignKeys)
    : foreignKeys(enforceForeignKeys), name(std::move(tableName)) {}

tableBase_t::~tableBase_t() = default;

template <class Record>
table_t<Record>::table_t(std::string tableName, bool enforceForeignKeys)
    : tableBase_t(std::move(tableName), enforceForeignKeys) {}

template <class Record>
table_t<Record>::~table_t() = default;

template class table_t<RaidDataModels::Adapter>;
template class table_t<RaidDataModels::PD>;
template class table_t<RaidDataModels::Plugin>;

}  // namespace DatabaseORM
