#include "Core/Text.h"

#include <ios>
#include <locale>

#include <gtest/gtest.h>

namespace {

using NAMESPACE_piTorvex::FormatText;
using NAMESPACE_piTorvex::ParseNumber;

struct Grouping : std::numpunct<char> {
  char do_thousands_sep() const override { return ','; }
  std::string do_grouping() const override { return "\3"; }
};

TEST(FormatText, TakesBytesForNumbersAndTextsForTexts) {
  EXPECT_EQ(FormatText("%d", static_cast<unsigned char>(65)), "65");
  EXPECT_EQ(FormatText("%d", static_cast<signed char>(-65)), "-65");
  EXPECT_EQ(FormatText("%s %s", "%d%n", std::string("%1%")), "%d%n %1%");
}

TEST(FormatText, IgnoresTheLocaleOfTheHost) {
  const std::locale before = std::locale::global(std::locale(std::locale(), new Grouping));
  EXPECT_EQ(FormatText("%d %s %02d", 1000000UL, "x", 7), "1000000 x 07");
  EXPECT_EQ(FormatText("%d", -5), "-5");
  std::locale::global(before);
}

TEST(ParseNumber, TakesWholeTextsOfDigitsAlone) {
  const auto decimal = [](const std::string& text) { return ParseNumber(text, std::dec); };
  EXPECT_EQ(decimal("30").value(), 30UL);
  EXPECT_EQ(decimal(" 30").value(), 30UL);
  EXPECT_EQ(decimal("\t\n30").value(), 30UL);
  EXPECT_EQ(decimal("010").value(), 10UL);
  EXPECT_EQ(decimal("18446744073709551615").value(), ~0UL);
  for (const char* text :
       {"", " ", "30 ", "30s", "s30", "0x10", "3.5", "1e3", "-5", " -5", "-0", "+5", " +5", "+0",
        "-18446744073709551615", "18446744073709551616", "1,000", "3 0"}) {
    EXPECT_FALSE(decimal(text).has_value()) << "'" << text << "'";
  }
}

// The number in decimal; "none" when the text is no number.
std::string Parsed(const std::string& text, std::ios_base& (*base)(std::ios_base&) = std::dec) {
  const boost::optional<unsigned long> number = ParseNumber(text, base);
  return number ? std::to_string(*number) : "none";
}

TEST(ParseNumber, TakesWholeHexadecimalTexts) {
  EXPECT_EQ(Parsed("1F4", std::hex), "500");
  EXPECT_EQ(Parsed("500", std::hex), "1280");
  EXPECT_EQ(Parsed("0x1f4", std::hex), "500");
  for (const char* text : {"", "1G", "1F4 ", "-1", "+1", "10000000000000000"}) {
    EXPECT_EQ(Parsed(text, std::hex), "none") << text;
  }
}

TEST(ParseNumber, IgnoresTheLocaleOfTheHost) {
  const std::locale before = std::locale::global(std::locale(std::locale(), new Grouping));
  EXPECT_EQ(Parsed("1000"), "1000");
  EXPECT_EQ(Parsed("1,000"), "none");
  std::locale::global(before);
}

}  // namespace
