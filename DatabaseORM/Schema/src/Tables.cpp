#include <algorithm>
#include <array>
#include <mutex>
#include <string_view>

#include <Schema/Tables.h>

namespace Schema {

using DatabaseORM::column_t;
using DatabaseORM::field_t;
using DatabaseORM::table_t;
using DatabaseWrapper::DatabaseDAO;
using RaidDataModels::Adapter;
using RaidDataModels::dbModelFieldsMap;
using RaidDataModels::PD;
using RaidDataModels::Plugin;
using RaidDataModels::Singleton;

namespace {

// One column: the record field, the column's name, the unit, when it is null, what it holds and
// where that comes from. The first column of a table is its identity; the order is that of the row.
template <class Record>
struct CField {
  field_t<Record> Field;
  const char* Name;
  const char* Unit;
  const char* Null;
  const char* Meaning;
  const char* Source;
  unsigned int Property = 0;  // that it mirrors; 0: none
  bool IsChoice = false;      // of the property's kind
};

template <class Record>
constexpr CField<Record> Mirrors(CField<Record> field, unsigned int property,
                                 std::string_view kind) {
  field.Property = property;
  field.IsChoice = kind.ends_with("CHOICE");
  return field;
}

// The rows that are columns: a property that is not stored has none.
template <class MakeRows>
consteval auto ColumnsOf(MakeRows) {
  constexpr auto ROWS = MakeRows{}();
  constexpr auto IS_COLUMN = [](const auto& row) { return row.Name != nullptr; };
  std::array<typename decltype(ROWS)::value_type, std::ranges::count_if(ROWS, IS_COLUMN)> columns{};
  std::ranges::copy_if(ROWS, columns.begin(), IS_COLUMN);
  return columns;
}

// The rows of Facts/Fields.def. VX_RECORD is the record that they are of.
#define PROPERTY(name, number) constexpr unsigned int PROPERTY_##name = number;
#include <Facts/Fields.def>

#define VX_COLUMN(kind, name, unit, null, meaning, source) \
  CField<VX_RECORD> {                                      \
    &VX_RECORD::name, #name, unit, null, meaning, source   \
  }
#define VX_COLUMN_ROW(...) VX_COLUMN(__VA_ARGS__),
#define VX_PROPERTY_ROW(name, label, text, preset, kind, unit, last, value, column) \
  Mirrors<VX_RECORD>(column, PROPERTY_##name, #kind),
#define STORED VX_COLUMN
#define NOT_STORED \
  {}

#define VX_RECORD Plugin
constexpr std::array PLUGIN_FIELDS = ColumnsOf([] {
  return std::to_array<CField<Plugin>>({
#define PLUGIN_COLUMN VX_COLUMN_ROW
#include <Facts/Fields.def>
  });
});
#undef VX_RECORD

#define VX_RECORD Adapter
constexpr std::array ADAPTER_FIELDS = ColumnsOf([] {
  return std::to_array<CField<Adapter>>({
#define ADAPTER_COLUMN VX_COLUMN_ROW
#define ADAPTER_PROPERTY VX_PROPERTY_ROW
#include <Facts/Fields.def>
  });
});
#undef VX_RECORD

#define VX_RECORD PD
constexpr std::array DRIVE_FIELDS = ColumnsOf([] {
  return std::to_array<CField<PD>>({
#define DRIVE_COLUMN VX_COLUMN_ROW
#define DRIVE_PROPERTY VX_PROPERTY_ROW
#include <Facts/Fields.def>
  });
});
#undef VX_RECORD

#undef NOT_STORED
#undef STORED
#undef VX_PROPERTY_ROW
#undef VX_COLUMN_ROW
#undef VX_COLUMN

// What distinguishes the tables besides their columns.
struct CTableFacts {
  const char* Name;
  const char* Meaning;
};

constexpr CTableFacts PLUGIN_TABLE{"Plugin", "the plug-in"};
constexpr CTableFacts ADAPTER_TABLE{"Adapter", "adapters that are there"};
constexpr CTableFacts DRIVE_TABLE{"PD", "physical drives that have ever been seen"};

template <class Record>
EKind KindOf(const field_t<Record>& field) {
  // In the order of the alternatives of field_t.
  constexpr std::array KINDS{EKind::Integer, EKind::Unsigned, EKind::Text, EKind::Real,
                             EKind::List};
  static_assert(KINDS.size() == std::variant_size_v<field_t<Record>>);
  return KINDS[field.index()];
}

// The property that the column mirrors and what the row says besides.
std::string SourceOf(const std::string& source, unsigned int property) {
  if (property == 0) return source;
  return std::to_string(property) + (source.empty() ? "" : ", " + source);
}

template <class Record, std::size_t Size>
CTable Describe(const CTableFacts& facts, const std::array<CField<Record>, Size>& fields) {
  CTable table{facts.Name, facts.Meaning, {}};
  for (const auto& field : fields) {
    table.Columns.push_back({field.Name, KindOf<Record>(field.Field), field.Unit, field.Null,
                             field.Meaning, SourceOf(field.Source, field.Property),
                             field.IsChoice});
  }
  return table;
}

template <class Record, std::size_t Size>
std::shared_ptr<table_t<Record>> TableOf(const CTableFacts& facts,
                                         const std::array<CField<Record>, Size>& fields) {
  auto table = std::make_shared<table_t<Record>>(facts.Name);
  for (const auto& field : fields) {
    const int position = static_cast<int>(table->columns.size());
    const bool identity = position == 0;
    table->columns.push_back(std::make_shared<column_t<Record>>(
        column_t<Record>{field.Field, field.Name, identity, position}));
  }
  return table;
}

template <class Record, std::size_t Size>
void FillMap(const CTableFacts& facts, const std::array<CField<Record>, Size>& fields) {
  auto& map = *Singleton<dbModelFieldsMap<Record>>::Instance();
  map.SetAlias(facts.Name);
  for (const auto& field : fields) {
    std::visit([&](auto member) { map.SetColumn(member, field.Name); }, field.Field);
  }
}

void FillMapsOnce() {
  static std::once_flag filled;
  std::call_once(filled, [] {
    FillMap(PLUGIN_TABLE, PLUGIN_FIELDS);
    FillMap(ADAPTER_TABLE, ADAPTER_FIELDS);
    FillMap(DRIVE_TABLE, DRIVE_FIELDS);
  });
}

}  // namespace

const std::vector<CTable>& Tables() {
  static const std::vector<CTable> tables{Describe(PLUGIN_TABLE, PLUGIN_FIELDS),
                                          Describe(ADAPTER_TABLE, ADAPTER_FIELDS),
                                          Describe(DRIVE_TABLE, DRIVE_FIELDS)};
  return tables;
}

template <>
std::shared_ptr<table_t<Plugin>> MakeTable() {
  return TableOf(PLUGIN_TABLE, PLUGIN_FIELDS);
}
template <>
std::shared_ptr<table_t<Adapter>> MakeTable() {
  return TableOf(ADAPTER_TABLE, ADAPTER_FIELDS);
}
template <>
std::shared_ptr<table_t<PD>> MakeTable() {
  return TableOf(DRIVE_TABLE, DRIVE_FIELDS);
}

std::shared_ptr<DatabaseORM::storage_t> MakeStorage(std::shared_ptr<DatabaseDAO> database) {
  DatabaseORM::storage_t::tables_t tables{MakeTable<Plugin>(), MakeTable<Adapter>(),
                                          MakeTable<PD>()};
  return MakeStorage(std::move(database), std::move(tables));
}

std::shared_ptr<DatabaseORM::storage_t> MakeStorage(std::shared_ptr<DatabaseDAO> database,
                                                    DatabaseORM::storage_t::tables_t tables) {
  FillMapsOnce();
  DatabaseORM::storage_t::fieldMaps_t maps{Singleton<dbModelFieldsMap<Plugin>>::Instance(),
                                           Singleton<dbModelFieldsMap<Adapter>>::Instance(),
                                           Singleton<dbModelFieldsMap<PD>>::Instance()};
  return std::make_shared<DatabaseORM::storage_t>(std::move(tables), std::move(maps),
                                                  std::move(database));
}

}  // namespace Schema
