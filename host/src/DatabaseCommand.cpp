#include "Commands.h"
#include "Database.h"
#include "Json.h"
#include "TextTable.h"
#include "TreeView.h"

#include <algorithm>
#include <charconv>
#include <vector>

#include <fmt/format.h>

#include <DB/DatabaseException.h>
#include <Schema/Database.h>
#include <Schema/Tables.h>

namespace vxhost {

namespace {

// A cell as JSON: numbers as they are stored, lists as lists.
void WriteCell(JsonText& json, const Schema::CColumn& column, const Schema::CCell& cell) {
  if (!cell) {
    json.Null();
  } else if (column.Kind == Schema::EKind::Text) {
    json.Text(*cell);
  } else if (column.Kind == Schema::EKind::List) {
    json.StartArray();
    for (const std::string& item : Schema::Items(*cell)) json.Text(item);
    json.EndArray();
  } else {
    double number = 0;
    const char* const end = cell->data() + cell->size();
    const bool isNumber = std::from_chars(cell->data(), end, number).ptr == end && !cell->empty();
    isNumber ? json.Raw(*cell) : json.Text(*cell);
  }
}

void WriteTable(JsonText& json, const Schema::CTable& table, const Schema::CDatabase& database) {
  json.Key(table.Name).StartArray();
  for (const Schema::CRow& row : database.Read(table.Name)) {
    json.StartObject();
    for (std::size_t i = 0; i < table.Columns.size(); ++i) {
      json.Key(table.Columns[i].Name);
      WriteCell(json, table.Columns[i], row.at(i));
    }
    json.EndObject();
  }
  json.EndArray();
}

std::string DatabaseJson(const Schema::CDatabase& database) {
  JsonText json;
  json.StartObject();
  for (const Schema::CTable& table : Schema::Tables()) WriteTable(json, table, database);
  json.EndObject();
  return json.Take();
}

std::string CellText(const Schema::CColumn& column, const std::string& value) {
  return Printable(value) + (column.Unit.empty() ? "" : " " + column.Unit);
}

// Each row as a block of its columns, since rows are wider than any terminal. Nulls are left out,
// but for the room of their names, so that the blocks of all rows look alike.
std::string TableText(const Schema::CTable& table, const Schema::CDatabase& database) {
  const std::vector<Schema::CRow> rows = database.Read(table.Name);
  TextTable cells({{}, {}});
  for (const Schema::CRow& row : rows) {
    for (std::size_t i = 0; i < table.Columns.size(); ++i) {
      const Schema::CColumn& column = table.Columns[i];
      cells.Add({column.Name, row.at(i) ? CellText(column, *row.at(i)) : std::string()});
    }
  }
  const std::vector<std::string> lines = cells.Lines();
  auto line = lines.begin();
  std::string text =
      fmt::format("{}: {} {}\n", table.Name, rows.size(), rows.size() == 1 ? "row" : "rows");
  for (const Schema::CRow& row : rows) {
    for (std::size_t i = 0; i < table.Columns.size(); ++i, ++line) {
      if (row.at(i)) text += fmt::format("  {}\n", *line);
    }
    text += "\n";
  }
  return text;
}

std::string DatabaseText(const Schema::CDatabase& database) {
  std::string text;
  for (const Schema::CTable& table : Schema::Tables()) text += TableText(table, database);
  return text;
}

}  // namespace

int RunDatabase(Host& host) {
  const std::string path = DatabasePath(host, MirrorDatabase::Default::StateDirectory);
  if (path.empty()) throw Failure(EXIT_USAGE, "db: which database? --db sqlite:PATH names it");
  const bool isWritten = DatabaseWrapper::HasWriter(path);  // before the file is open
  const Schema::COpened opened = Schema::OpenReadOnly(path);
  if (opened.Database == nullptr) throw Failure(EXIT_FAILED, opened.Error);
  try {
    host.Out().Write(host.Settings().json ? DatabaseJson(*opened.Database) + "\n"
                                          : DatabaseText(*opened.Database));
  } catch (const DBEXCEPTION::DatabaseException& error) {
    throw Failure(EXIT_FAILED, error.what());
  }
  if (!isWritten) Say("nobody writes these rows now: they are as the last host left them");
  return EXIT_DONE;
}

}  // namespace vxhost
