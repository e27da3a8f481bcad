#pragma once

#include <cstddef>
#include <map>
#include <memory>
#include <string>
#include <type_traits>

#include <DatabaseORM/Records.h>
#include <TLX/Export.h>

namespace RaidDataModels {

// The one instance of T in the process. It is instantiated and exported by the builder's library
// alone: two libraries that ask for it get the same object. [any thread]
template <class T>
class VX_EXPORT Singleton {
 public:
  // Made at the first call; never null, and there until the process ends. Calls that come at once
  // wait for the first. Throws for lack of memory only, and the next call tries anew.
  [[nodiscard]] static const std::shared_ptr<T>& Instance();
};

// What the maps of all record types have in common, so that one list can hold them. Which record it
// is about is found by its type at run time. Not for calls: it has no function but its end. [any
// thread]
class VX_EXPORT dbModelFieldsMapBase {
 public:
  virtual ~dbModelFieldsMapBase();
};

// The names of one record type: its alias, which qualifies column names in conditions, and the
// column name of each field. The host fills it before it hands out the storage object; nobody
// changes it afterwards, so reading needs no lock. Names go into statements as they are: no
// quoting. Throws for lack of memory only. [filling: before other threads start; reading: any
// thread]
template <class Record>
class VX_EXPORT dbModelFieldsMap : public dbModelFieldsMapBase {
 public:
  // Empty: without alias, and no field has a column. Hosts fill the one of the Singleton; a map
  // that a test makes of its own serves the storage object that it is handed to alone.
  dbModelFieldsMap();
  ~dbModelFieldsMap() override;

  // Replaces the alias; empty until set. An alias that is no name of the statement's table makes
  // every qualified condition fail in the database.
  void SetAlias(std::string alias);
  // The alias, empty while none is set; it belongs to the map and lives until the next SetAlias,
  // whose text it then has.
  [[nodiscard]] const std::string& Alias() const;

  // Names the column of a field, in place of an earlier name. Instantiated for the five value
  // kinds: int, unsigned long, std::string, double and std::vector<std::string>.
  template <class Field>
  requires std::is_object_v<Field>
  void SetColumn(Field Record::*field, const std::string& columnName);

  // The column of a field; empty when it has none, which makes a condition on the field an
  // exception of the builder. The text lives until the map changes.
  template <class Field>
  requires std::is_object_v<Field>
  [[nodiscard]] const std::string& Column(Field Record::*field) const;

 private:
  // As set last; no statement is made of it unless the storage object qualifies its columns.
  std::string m_Alias;
  // Keyed by the field's offset in the record: member pointers have no order, and their types
  // differ from kind to kind.
  std::map<std::ptrdiff_t, std::string> m_Columns;
};

// The three records are all there are. They are made in the builder's library and only named here,
// so that no other library has a copy of a map, or a type that a cast does not find.
extern template class VX_EXPORT Singleton<dbModelFieldsMap<Adapter>>;
extern template class VX_EXPORT Singleton<dbModelFieldsMap<PD>>;
extern template class VX_EXPORT Singleton<dbModelFieldsMap<Plugin>>;
extern template class VX_EXPORT dbModelFieldsMap<Adapter>;
extern template class VX_EXPORT dbModelFieldsMap<PD>;
extern template class VX_EXPORT dbModelFieldsMap<Plugin>;

}  // namespace RaidDataModels
