#include <utility>
#include <vector>

#include <DatabaseORM/FieldMap.h>

namespace RaidDataModels {

namespace {

template <class Record, class Field>
std::ptrdiff_t Offset(Field Record::*field) {
  static const Record probe;
  return reinterpret_cast<const char*>(&(probe.*field)) - reinterpret_cast<const char*>(&probe);
}

}  // namespace

template <class T>
const std::shared_ptr<T>& Singleton<T>::Instance() {
  static const std::shared_ptr<T> instance = std::make_shared<T>();
  return instance;
}

dbModelFieldsMapBase::~dbModelFieldsMapBase() = default;

template <class Record>
dbModelFieldsMap<Record>::dbModelFieldsMap() = default;

template <class Record>
dbModelFieldsMap<Record>::~dbModelFieldsMap() = default;

template <class Record>
void dbModelFieldsMap<Record>::SetAlias(std::string alias) {
  m_Alias = std::move(alias);
}

template <class Record>
const std::string& dbModelFieldsMap<Record>::Alias() const {
  return m_Alias;
}

template <class Record>
template <class Field>
requires std::is_object_v<Field>
void dbModelFieldsMap<Record>::SetColumn(Field Record::*field, const std::string& columnName) {
  m_Columns[Offset(field)] = columnName;
}

template <class Record>
template <class Field>
requires std::is_object_v<Field>
const std::string& dbModelFieldsMap<Record>::Column(Field Record::*field) const {
  static const std::string none;
  const auto found = m_Columns.find(Offset(field));
  return found == m_Columns.end() ? none : found->second;
}

// A member pointer cannot be written with brackets around its types.
// NOLINTBEGIN(bugprone-macro-parentheses)
#define VX_INSTANTIATE_FIELD(Record, Field)                                        \
  template VX_EXPORT void dbModelFieldsMap<Record>::SetColumn(Field Record::*,     \
                                                              const std::string&); \
  template VX_EXPORT const std::string& dbModelFieldsMap<Record>::Column(Field Record::*) const;

#define VX_INSTANTIATE(Record)                        \
  template class Singleton<dbModelFieldsMap<Record>>; \
  template class dbModelFieldsMap<Record>;            \
  VX_INSTANTIATE_FIELD(Record, int)                   \
  VX_INSTANTIATE_FIELD(Record, unsigned long)         \
  VX_INSTANTIATE_FIELD(Record, std::string)           \
  VX_INSTANTIATE_FIELD(Record, double)                \
  VX_INSTANTIATE_FIELD(Record, std::vector<std::string>)
// NOLINTEND(bugprone-macro-parentheses)

VX_INSTANTIATE(Adapter)
VX_INSTANTIATE(PD)
VX_INSTANTIATE(Plugin)

}  // namespace RaidDataModels
