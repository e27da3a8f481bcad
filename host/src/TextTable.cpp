#include "TextTable.h"

#include <algorithm>
#include <clocale>
#include <cstdlib>
#include <memory>
#include <new>
#include <string_view>

#include <libsmartcols/libsmartcols.h>

namespace vxhost {

namespace {

constexpr const char* GAP = "  ";

// Texts are UTF-8 whatever the user's locale; how wide they are the C library asks of the thread's.
class Utf8Locale {
 public:
  Utf8Locale() : locale_(::newlocale(LC_CTYPE_MASK, "C.UTF-8", nullptr)) {
    if (locale_ != nullptr) before_ = ::uselocale(locale_);
  }
  ~Utf8Locale() {
    if (locale_ == nullptr) return;
    ::uselocale(before_);
    ::freelocale(locale_);
  }
  Utf8Locale(const Utf8Locale&) = delete;
  Utf8Locale& operator=(const Utf8Locale&) = delete;

 private:
  const locale_t locale_;
  locale_t before_ = nullptr;
};

using Table = std::unique_ptr<libscols_table, decltype(&scols_unref_table)>;

void Require(bool done) {
  if (!done) throw std::bad_alloc();
}

Table NewTable(bool headings) {
  Table table(scols_new_table(), &scols_unref_table);
  Require(table != nullptr);
  Require(scols_table_set_column_separator(table.get(), GAP) == 0);
  Require(scols_table_enable_noheadings(table.get(), headings ? 0 : 1) == 0);
  // The texts are printable; the library would escape them once more.
  Require(scols_table_enable_noencoding(table.get(), 1) == 0);
  // As wide as it is, on a narrow terminal, too.
  Require(scols_table_set_termforce(table.get(), SCOLS_TERMFORCE_NEVER) == 0);
  return table;
}

std::vector<std::string> Split(std::string_view text) {
  std::vector<std::string> lines;
  while (!text.empty()) {
    const std::size_t end = std::min(text.find('\n'), text.size());
    lines.emplace_back(text.substr(0, end));
    text.remove_prefix(std::min(end + 1, text.size()));
  }
  return lines;
}

}  // namespace

bool TextTable::HasHeadings() const {
  return std::any_of(columns_.begin(), columns_.end(),
                     [](const Column& column) { return !column.heading.empty(); });
}

bool TextTable::IsEmpty(std::size_t column) const {
  return columns_[column].heading.empty() &&
         std::all_of(rows_.begin(), rows_.end(), [&](const auto& cells) {
           return column >= cells.size() || cells[column].empty();
         });
}

std::vector<std::string> TextTable::Lines() const {
  if (rows_.empty()) return {};
  const Utf8Locale utf8;
  const Table table = NewTable(HasHeadings());
  for (std::size_t i = 0; i < columns_.size(); ++i) {
    const int flags = (columns_[i].right ? SCOLS_FL_RIGHT : 0) | (IsEmpty(i) ? SCOLS_FL_HIDDEN : 0);
    Require(scols_table_new_column(table.get(), columns_[i].heading.c_str(), 0, flags) != nullptr);
  }
  for (const auto& cells : rows_) {
    libscols_line* const line = scols_table_new_line(table.get(), nullptr);
    Require(line != nullptr);
    for (std::size_t i = 0; i < std::min(cells.size(), columns_.size()); ++i) {
      Require(scols_line_set_data(line, i, cells[i].c_str()) == 0);
    }
  }
  char* text = nullptr;
  Require(scols_print_table_to_string(table.get(), &text) == 0);
  const std::unique_ptr<char, decltype(&std::free)> owner(text, &std::free);
  return Split(text);
}

std::string TextTable::Text(const std::string& indent) const {
  std::string text;
  for (const std::string& line : Lines()) text += indent + line + "\n";
  return text;
}

}  // namespace vxhost
