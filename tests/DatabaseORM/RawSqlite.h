#pragma once

#include <filesystem>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include <sqlite3.h>

namespace vxtest {

// A database seen through SQLite's own interface, with nothing of ours in between.
class RawSqlite {
 public:
  using Row = std::vector<std::optional<std::string>>;

  explicit RawSqlite(const std::filesystem::path& path) {
    sqlite3* raw = nullptr;
    const int result = sqlite3_open(path.c_str(), &raw);
    handle_.reset(raw);
    if (result != SQLITE_OK) throw std::runtime_error("cannot open " + path.string());
  }

  // The rows; empty cells of an optional are SQL NULL.
  std::vector<Row> Rows(const std::string& statement) const {
    sqlite3_stmt* raw = nullptr;
    Check(sqlite3_prepare_v2(handle_.get(), statement.c_str(), -1, &raw, nullptr));
    const std::unique_ptr<sqlite3_stmt, int (*)(sqlite3_stmt*)> guard(raw, sqlite3_finalize);
    std::vector<Row> rows;
    int result = 0;
    while ((result = sqlite3_step(raw)) == SQLITE_ROW) {
      Row& row = rows.emplace_back();
      for (int column = 0; column < sqlite3_column_count(raw); ++column) {
        row.push_back(Cell(raw, column));
      }
    }
    if (result != SQLITE_DONE) Check(result);
    return rows;
  }

  // The first cell of the first row, "(none)" when there is none, "(null)" for NULL.
  std::string One(const std::string& statement) const {
    const auto rows = Rows(statement);
    if (rows.empty()) return "(none)";
    return rows[0].at(0).value_or("(null)");
  }

  void Run(const std::string& statements) const {
    Check(sqlite3_exec(handle_.get(), statements.c_str(), nullptr, nullptr, nullptr));
  }

 private:
  static std::optional<std::string> Cell(sqlite3_stmt* row, int column) {
    if (sqlite3_column_type(row, column) == SQLITE_NULL) return std::nullopt;
    const auto* text = reinterpret_cast<const char*>(sqlite3_column_text(row, column));
    return std::string(text, static_cast<std::size_t>(sqlite3_column_bytes(row, column)));
  }

  void Check(int result) const {
    if (result != SQLITE_OK) throw std::runtime_error(sqlite3_errmsg(handle_.get()));
  }

  std::unique_ptr<sqlite3, int (*)(sqlite3*)> handle_{nullptr, sqlite3_close};
};

}  // namespace vxtest
