#include "DatabaseORM/Recording.h"
#include "support/Files.h"

#include <cfloat>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <limits>
#include <locale>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <locale.h>

namespace {

using RaidDataModels::Adapter;
using vxtest::AdapterFixture;
using vxtest::Column;
using vxtest::TextGuard;

// The value of one field in an UPDATE.
template <class Field>
std::string Rendered(Field Adapter::*field, Field value) {
  AdapterFixture f;
  f.table->columns = {Column<Adapter>(field, "v", 0)};
  Adapter adapter;
  adapter.*field = value;
  f.Storage().update(adapter);
  const std::string& statement = f.dao->statements.at(0);
  const std::string head = "UPDATE T SET v=";
  return statement.substr(head.size(), statement.rfind(" WHERE ID = ") - head.size());
}

// The field after reading one cell.
template <class Field>
Field ReadBack(Field Adapter::*field, const std::string& cell) {
  AdapterFixture f;
  f.table->columns = {Column<Adapter>(field, "v", 0)};
  f.dao->cells = {cell};
  return f.Storage().get_all<Adapter>(where(DatabaseORM::is_equal(&Adapter::ID, 1))).at(0).*field;
}

TEST(ValuesText, Integers_AtTheirEnds) {
  EXPECT_EQ(Rendered(&Adapter::Mode, std::numeric_limits<int>::min()), "NULL");
  EXPECT_EQ(Rendered(&Adapter::Mode, -2147483647), "-2147483647");
  EXPECT_EQ(Rendered(&Adapter::Mode, 2147483647), "2147483647");
  EXPECT_EQ(Rendered(&Adapter::MediaErrors, ~0UL), "NULL");
  EXPECT_EQ(Rendered(&Adapter::MediaErrors, ~0UL - 1), "18446744073709551614");
  EXPECT_EQ(Rendered(&Adapter::MediaErrors, 0UL), "0");
}

TEST(ValuesText, Reals_HaveSixDigits) {
  EXPECT_EQ(Rendered(&Adapter::Temperature, 2.5), "2.500000");
  EXPECT_EQ(Rendered(&Adapter::Temperature, -0.0), "-0.000000");
  EXPECT_EQ(Rendered(&Adapter::Temperature, 0.0000005), "0.000000");
  EXPECT_EQ(Rendered(&Adapter::Temperature, 1234567.8949999), "1234567.895000");
}

TEST(ValuesText, Reals_OnlyTheSmallestSinglePrecisionNumberIsNull) {
  EXPECT_EQ(Rendered(&Adapter::Temperature, static_cast<double>(FLT_MIN)), "NULL");
  EXPECT_EQ(Rendered(&Adapter::Temperature, 0x1p-126), "NULL");
  EXPECT_EQ(Rendered(&Adapter::Temperature, std::nextafter(0x1p-126, 1.0)), "0.000000");
  EXPECT_EQ(Rendered(&Adapter::Temperature, DBL_MIN), "0.000000");
}

TEST(ValuesText, Reals_LongestTextFits) {
  EXPECT_EQ(Rendered(&Adapter::Temperature, -DBL_MAX).size(), 317U);
}

// A C locale with the comma as decimal point. It is written here in the form in which glibc keeps
// compiled locales, as no such locale need be installed: magic number, count of fields, their
// offsets, then decimal point, thousands separator, grouping and the two characters again as wide
// ones.
class CommaLocale {
 public:
  CommaLocale() {
    std::string image;
    for (const std::uint32_t word : {0x20031115U ^ LC_NUMERIC, 6U, 32U, 34U, 36U, 40U, 44U, 48U}) {
      Append(image, word);
    }
    image += std::string(",\0.\0\x03\x03\0\0", 8);
    for (const std::uint32_t word : {std::uint32_t{','}, std::uint32_t{'.'}}) Append(image, word);
    image += std::string("UTF-8\0", 6);
    vxtest::WriteFile(dir_ / "comma" / "LC_NUMERIC", image);
    setenv("LOCPATH", dir_.Path().c_str(), 1);
    set_ = setlocale(LC_NUMERIC, "comma") != nullptr;
  }
  ~CommaLocale() {
    setlocale(LC_NUMERIC, "C");
    unsetenv("LOCPATH");
  }

  bool InForce() const {
    char text[16];
    std::snprintf(text, sizeof text, "%.1f", 2.5);
    return set_ && std::string(text) == "2,5";
  }

 private:
  static void Append(std::string& image, std::uint32_t word) {
    image.append(reinterpret_cast<const char*>(&word), sizeof word);
  }

  vxtest::TempDir dir_;
  bool set_ = false;
};

TEST(ValuesText, Reals_AreTheSameInALocaleWithDecimalComma) {
  const CommaLocale locale;
  ASSERT_TRUE(locale.InForce());
  EXPECT_EQ(Rendered(&Adapter::Temperature, 2.5), "2.500000");
  EXPECT_EQ(ReadBack(&Adapter::Temperature, "2.5"), 2.5);
}

// The same for the locale of C++ streams.
TEST(ValuesText, Maximum_IsReadInTheClassicLocale) {
  struct Grouping : std::numpunct<char> {
    char do_thousands_sep() const override { return ','; }
    std::string do_grouping() const override { return "\3"; }
  };
  const std::locale before = std::locale::global(std::locale(std::locale::classic(), new Grouping));
  AdapterFixture f;
  f.dao->cells = {"1,234"};
  EXPECT_EQ(f.Storage().max(&Adapter::AdapterNumber), 1);
  EXPECT_EQ(Rendered(&Adapter::MediaErrors, 1234567UL), "1234567");
  std::locale::global(before);
}

TEST(ValuesText, Texts_WithQuotationAreDoubled) {
  EXPECT_EQ(Rendered<std::string>(&Adapter::Vendor, "x'; DROP TABLE T; --"),
            "'x''; DROP TABLE T; --'");
  EXPECT_EQ(Rendered<std::string>(&Adapter::Vendor, "''"), "''''''");
  EXPECT_EQ(Rendered<std::string>(&Adapter::Vendor, "say \"hi\""), "'say \"hi\"'");
}

TEST(ValuesText, Texts_OtherQuotations) {
  {
    const TextGuard quotation(DatabaseWrapper::QUOTATION, "<<");
    EXPECT_EQ(Rendered<std::string>(&Adapter::Vendor, "a<<<b'"), "<<a<<<<<b'<<");
  }
  const TextGuard quotation(DatabaseWrapper::QUOTATION, "");
  EXPECT_EQ(Rendered<std::string>(&Adapter::Vendor, "a'b"), "a'b");
}

TEST(ValuesText, Texts_LoseNulBytesAndNothingElse) {
  EXPECT_EQ(Rendered<std::string>(&Adapter::Vendor, std::string("7.\0", 3)), "'7.'");
  EXPECT_EQ(Rendered<std::string>(&Adapter::Vendor, "\n\t\x01\xff"), "'\n\t\x01\xff'");
  EXPECT_EQ(Rendered<std::string>(&Adapter::Vendor, std::string("\0", 1)), "''");
  EXPECT_EQ(Rendered<std::string>(&Adapter::Vendor, std::string("NU\0LL", 5)), "NULL");
}

TEST(ValuesText, Texts_NullIsComparedByteForByte) {
  EXPECT_EQ(Rendered<std::string>(&Adapter::Vendor, "NULL"), "NULL");
  EXPECT_EQ(Rendered<std::string>(&Adapter::Vendor, "null"), "'null'");
  EXPECT_EQ(Rendered<std::string>(&Adapter::Vendor, " NULL"), "' NULL'");
}

TEST(ValuesText, Lists_AreJoinedWithoutTrailingDelimiter) {
  using List = std::vector<std::string>;
  EXPECT_EQ(Rendered(&Adapter::HealthReasons, List{}), "''");
  EXPECT_EQ(Rendered(&Adapter::HealthReasons, List{"a"}), "'a'");
  EXPECT_EQ(Rendered(&Adapter::HealthReasons, List{"a", "b"}), "'a|b'");
  EXPECT_EQ(Rendered(&Adapter::HealthReasons, List{"", ""}), "'|'");
  EXPECT_EQ(Rendered(&Adapter::HealthReasons, List{"it's", "NULL"}), "'it''s|NULL'");
  EXPECT_EQ(Rendered(&Adapter::HealthReasons, List{"NULL"}), "NULL");
}

TEST(ValuesText, Lists_EmptyListIsNullWhereTheNullTextIsEmpty) {
  const TextGuard text(DatabaseWrapper::NULL_DB_STRING, "");
  EXPECT_EQ(Rendered(&Adapter::HealthReasons, std::vector<std::string>{}), "NULL");
}

TEST(ValuesText, Lists_EmptyDelimiterJoinsToOneItem) {
  const TextGuard list(DatabaseWrapper::delimiter, "");
  EXPECT_EQ(Rendered(&Adapter::HealthReasons, std::vector<std::string>{"a", "b"}), "'ab'");
  EXPECT_EQ(ReadBack(&Adapter::HealthReasons, "ab"), std::vector<std::string>{"ab"});
}

TEST(ValuesText, Lists_DelimiterOfTwoCharactersSplitsAtEach) {
  const TextGuard list(DatabaseWrapper::delimiter, "+-");
  EXPECT_EQ(ReadBack(&Adapter::HealthReasons, "a+-b"), (std::vector<std::string>{"a", "", "b"}));
}

TEST(ValuesText, Reading_NumbersTakeTheLeadingPart) {
  EXPECT_EQ(ReadBack(&Adapter::Mode, " 12abc"), 12);
  EXPECT_EQ(ReadBack(&Adapter::MediaErrors, "-1"), ~0UL);
  EXPECT_EQ(ReadBack(&Adapter::Temperature, "2.5 C"), 2.5);
}

}  // namespace
