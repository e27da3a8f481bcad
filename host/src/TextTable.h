#pragma once

#include <string>
#include <vector>

namespace vxhost {

// Rows of cells laid out in columns, as wide as a terminal shows their texts (a sign of East Asian
// scripts takes two columns, an accent none). Cells are UTF-8 that is printable; a column in which
// nothing stands takes no room. [one thread at a time]
class TextTable {
 public:
  struct Column {
    std::string heading;  // with all of them empty there is no line of headings
    bool right = false;   // numbers stand at the right
  };

  explicit TextTable(std::vector<Column> columns) : columns_(std::move(columns)) {}

  // A cell for each column; those that are missing are empty.
  void Add(std::vector<std::string> cells) { rows_.push_back(std::move(cells)); }

  // One line for each row, and before the first the headings, without line ends; none without rows.
  // Columns are two blanks apart; behind the last column nothing is filled up. Throws
  // std::bad_alloc.
  [[nodiscard]] std::vector<std::string> Lines() const;

  // The lines as a text, each with something in front and a line end.
  [[nodiscard]] std::string Text(const std::string& indent = "") const;

 private:
  [[nodiscard]] bool HasHeadings() const;
  [[nodiscard]] bool IsEmpty(std::size_t column) const;

  std::vector<Column> columns_;
  std::vector<std::vector<std::string>> rows_;
};

}  // namespace vxhost
