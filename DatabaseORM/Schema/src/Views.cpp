#include "Views.h"

#include "InTransaction.h"

#include <algorithm>
#include <iterator>

namespace Schema {

using DatabaseWrapper::DatabaseDAO;

namespace {

std::string Quoted(const std::string& text) {
  std::string quoted = "'";
  for (const char c : text) quoted += c == '\'' ? "''" : std::string(1, c);
  return quoted + "'";
}

std::string ChoicesView(const CChoices& choices) {
  std::string rows;
  for (const auto& [number, word] : choices) {
    rows +=
        (rows.empty() ? "VALUES (" : ", (") + std::to_string(number) + ", " + Quoted(word) + ")";
  }
  return "vx_choices (Number, Word) AS " + (rows.empty() ? "SELECT 0, '' WHERE 0" : rows);
}

std::string WordOf(const std::string& number) {
  return "IFNULL((SELECT Word FROM vx_choices WHERE Number = " + number + "), " + number + ")";
}

// The words of a list of choices. A cell that somebody else has filled with
// anything but a list of numbers has none: it must not fail the query for all drives.
std::string WordsOf(const std::string& cell) {
  const std::string list = "'[' || replace(" + cell + ", '|', ',') || ']'";
  return "(SELECT group_concat(" + WordOf("item.value") + ", ', ') FROM json_each(CASE WHEN " +
         cell + " GLOB '*[^0-9|]*' OR NOT json_valid(" + list + ") THEN '[]' ELSE " + list +
         " END) AS item)";
}

std::string Shown(const std::string& table, const CColumn& column) {
  const std::string cell = table + "." + column.Name;
  if (!column.IsChoice) return cell;
  return (column.Kind == EKind::List ? WordsOf(cell) : WordOf(cell)) + " AS " + column.Name;
}

const CTable& TableOf(const CSchema& schema, const std::string& name) {
  return *std::find_if(schema.Tables.begin(), schema.Tables.end(),
                       [&](const CTable& table) { return table.Name == name; });
}

bool Has(const CTable& table, const std::string& name) {
  return std::any_of(table.Columns.begin(), table.Columns.end(),
                     [&](const CColumn& column) { return column.Name == name; });
}

// One row a drive: its own columns, then what only its adapter knows.
std::string DrivesView(const CSchema& schema) {
  const CTable& drives = TableOf(schema, "PD");
  std::string columns = "adapter.ID IS NOT NULL AS Present";
  for (const CColumn& column : drives.Columns) {
    if (column.Name != "ID") columns += ", " + Shown("drive", column);
  }
  for (const CColumn& column : TableOf(schema, "Adapter").Columns) {
    const bool isOwn = column.Name == "ObjectID" || Has(drives, column.Name);
    if (!isOwn) columns += ", " + Shown("adapter", column);
  }
  // Without a serial number the place tells which adapter the drive belongs to.
  return "vx_drives AS SELECT " + columns +
         " FROM PD AS drive LEFT JOIN Adapter AS adapter ON adapter.Host = drive.Host AND "
         "(adapter.SerialNumber = drive.SerialNumber OR (adapter.SerialNumber IS NULL AND "
         "drive.SerialNumber IS NULL AND substr(drive.Location, 1, length(adapter.Location) + 1) = "
         "adapter.Location || '&'))";
}

std::string StoredText(DatabaseDAO& database, const CExtra& extra) {
  const auto cells =
      database.query("SELECT sql FROM sqlite_master WHERE name = '" + extra.Name + "'");
  return cells.empty() ? "" : cells.front();
}

std::string Statement(const CExtra& extra) {
  return "CREATE " + extra.Kind + " " + extra.Text;
}

void Replace(DatabaseDAO& database, const CExtra& extra) {
  database.query("DROP " + extra.Kind + " IF EXISTS " + extra.Name);
  database.query(Statement(extra));
}

}  // namespace

std::vector<CExtra> Extras(const CSchema& schema, const CChoices& choices) {
  return {
      {"VIEW", "vx_choices", ChoicesView(choices)},
      {"VIEW", "vx_drives", DrivesView(schema)},
      // A null differs from every other, so that no unique key finds such a drive again.
      {"TRIGGER", "vx_drive_without_serial",
       "vx_drive_without_serial BEFORE INSERT ON PD WHEN NEW.SerialNumber IS NULL BEGIN DELETE "
       "FROM "
       "PD WHERE SerialNumber IS NULL AND Host IS NEW.Host AND Location IS NEW.Location; END"},
  };
}

void MakeExtras(DatabaseDAO& database, const std::vector<CExtra>& extras) {
  std::vector<CExtra> missing;
  std::copy_if(extras.begin(), extras.end(), std::back_inserter(missing), [&](const CExtra& extra) {
    return StoredText(database, extra) != Statement(extra);
  });
  if (missing.empty()) return;
  InTransaction(database, [&] {
    for (const CExtra& extra : missing) Replace(database, extra);
  });
}

}  // namespace Schema
