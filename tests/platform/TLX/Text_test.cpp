#include <string>

#include <gtest/gtest.h>

#include <TLX/Misc/Text.h>

namespace {

using TLX::Misc::Printable;
using TLX::Misc::PrintableStart;
using TLX::Misc::ToUtf8;

const std::string BAD = "\xEF\xBF\xBD";  // U+FFFD

TEST(Text, WhatIsUtf8_StaysAsItIs) {
  for (const std::string text : {"", "plain", "°C é 漢字 \xF0\x9F\x92\xBE", "a\\x1b"}) {
    EXPECT_EQ(ToUtf8(text), text);
    EXPECT_EQ(Printable(text), text);
  }
  EXPECT_EQ(ToUtf8(std::string("a\0b", 3)), std::string("a\0b", 3));
}

TEST(Text, EachBrokenCharacter_IsOneReplacement) {
  EXPECT_EQ(ToUtf8("a\xFF"
                   "b\xC3"),
            "a" + BAD + "b" + BAD);
  EXPECT_EQ(ToUtf8("\xE2\x82"
                   "A"),
            BAD + "A");                               // cut short
  EXPECT_EQ(ToUtf8("\xC0\xAF"), BAD);                 // longer than it need be
  EXPECT_EQ(ToUtf8("\xED\xA0\x80"), BAD);             // half of a pair
  EXPECT_EQ(ToUtf8("\xF4\x90\x80\x80|"), BAD + "|");  // above the last character
  EXPECT_EQ(ToUtf8("\x80\x80"), BAD + BAD);           // nothing begins them
  EXPECT_EQ(ToUtf8("\x80\xFF\xC0\xC1\xF5"), BAD + BAD + BAD + BAD + BAD);
  EXPECT_EQ(ToUtf8("\xF0\x9F\x98x"), BAD + "x");
  EXPECT_EQ(ToUtf8("\xF0\x9F\x92"), BAD);  // the end is missing
}

TEST(Text, ControlCharacters_AreSeen) {
  EXPECT_EQ(Printable(std::string("a\0\t\x1b[31m\r\n\x7F", 11)),
            "a\\x00\\x09\\x1b[31m\\x0d\\x0a\\x7f");
  EXPECT_EQ(Printable("\xC2\x9B"
                      "31m \xC2\x85 \xC2\x9D"),
            "\\u{009b}31m \\u{0085} \\u{009d}");
  EXPECT_EQ(Printable("\xC2\xA0|"), "\xC2\xA0|");  // the first one behind them is a blank
}

TEST(Text, WhatIsNotSeenAsItself_IsSeen) {
  EXPECT_EQ(Printable("A\u202EB"), "A\\u{202e}B");
  EXPECT_EQ(Printable("A\u200BB\u2060C\uFEFF"), "A\\u{200b}B\\u{2060}C\\u{feff}");
  EXPECT_EQ(Printable("\u061C\u2066\u2069\u2028\u00AD"),
            "\\u{061c}\\u{2066}\\u{2069}\\u{2028}\\u{00ad}");
  EXPECT_EQ(Printable("\U000E0041\U000E0100"), "\\u{e0041}\\u{e0100}");
  EXPECT_EQ(Printable("\u2010\u2027\u202F\uFF9F\U000E1000"), "\u2010\u2027\u202F\uFF9F\U000E1000");
}

TEST(Text, TheStart_IsCutBetweenCharacters) {
  EXPECT_EQ(PrintableStart(" \n You must be root \n", 200), "You must be root");
  EXPECT_EQ(PrintableStart("äöü", 3), "äöü");
  EXPECT_EQ(PrintableStart("äöüx", 3), "äöü...");
  EXPECT_EQ(PrintableStart("one\ntwo", 200), "one\\x0atwo");
  EXPECT_EQ(PrintableStart(std::string(1'000'000, 'x'), 4), "xxxx...");
  EXPECT_EQ(PrintableStart(std::string(1'000, '\xFF'), 2), BAD + BAD + "...");
  EXPECT_EQ(PrintableStart(" \n", 200), "");
}

}  // namespace
