#include "support/Files.h"

#include <cstdlib>

#include <gtest/gtest.h>

#include <PI/Catalogue.h>
#include <Schema/Tables.h>

// docs/database.md holds tables that are made from the descriptions of columns and choices.
namespace {

const std::string PAGE = std::string(VX_SOURCE_DIR) + "/docs/database.md";

std::string KindText(Schema::EKind kind) {
  switch (kind) {
    case Schema::EKind::Integer:
    case Schema::EKind::Unsigned:
      return "integer";
    case Schema::EKind::Real:
      return "real";
    case Schema::EKind::List:
      return "text (list)";
    case Schema::EKind::Text:
      break;
  }
  return "text";
}

std::string OrDash(const std::string& text) {
  return text.empty() ? "-" : text;
}

std::string ColumnRows(const Schema::CTable& table) {
  std::string rows =
      "| Column | Type | Unit | Null | Meaning | Source |\n|---|---|---|---|---|---|\n";
  for (const Schema::CColumn& column : table.Columns) {
    rows += "| `" + column.Name + "` | " + KindText(column.Kind) + " | " + OrDash(column.Unit) +
            " | " + column.Null + " | " + column.Meaning + " | " + OrDash(column.Source) + " |\n";
  }
  return rows;
}

std::string ChoiceRows() {
  std::string rows = "| Number | Word |\n|---|---|\n";
#define VX_CHOICE(name, number, text) \
  rows += "| " + std::to_string(number) + " | " + std::string(text) + " |\n";
  PI_CATALOGUE_CHOICES(VX_CHOICE)
#undef VX_CHOICE
  return rows;
}

// The page with the rows between the two marks of the part.
std::string With(const std::string& page, const std::string& part, const std::string& rows) {
  const std::string begin = "<!-- scripts/generate-docs: " + part + " -->\n";
  const auto at = page.find(begin);
  const auto end = page.find("<!-- end -->\n", at);
  if (at == std::string::npos || end == std::string::npos) return "no place for " + part;
  return page.substr(0, at + begin.size()) + rows + page.substr(end);
}

TEST(SchemaPage, Tables_AreThoseOfTheDescriptions) {
  const std::string page = vxtest::ReadFile(PAGE);
  std::string made = With(page, "choices", ChoiceRows());
  for (const auto& table : Schema::Tables()) {
    made = With(made, "columns of " + table.Name, ColumnRows(table));
  }
  if (std::getenv("VX_WRITE_DOCS") != nullptr) vxtest::WriteFile(PAGE, made);
  EXPECT_EQ(vxtest::ReadFile(PAGE), made) << "scripts/generate-docs writes the tables anew";
}

}  // namespace
