#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <iterator>

#include <utf8cpp/utf8.h>

#include <TLX/Misc/Text.h>

namespace TLX::Misc {
namespace {

struct CRange {
  std::uint32_t m_First;
  std::uint32_t m_Last;
};

// Characters beyond ASCII that are not seen as themselves, ascending.
constexpr CRange HIDDEN[] = {
    {0x0080, 0x009F},    // C1 controls
    {0x00AD, 0x00AD},    // soft hyphen
    {0x034F, 0x034F},    // joins without a sign
    {0x061C, 0x061C},    // direction mark
    {0x115F, 0x1160},    // fillers
    {0x17B4, 0x17B5},    // vowels without a sign
    {0x180B, 0x180F},    // variants, separator
    {0x200B, 0x200F},    // zero width, direction marks
    {0x2028, 0x202E},    // line and paragraph separators, directions
    {0x2060, 0x206F},    // zero width, invisible operators, isolates
    {0x3164, 0x3164},    // filler
    {0xFE00, 0xFE0F},    // variants
    {0xFEFF, 0xFEFF},    // zero width
    {0xFFA0, 0xFFA0},    // filler
    {0xFFF0, 0xFFFB},    // annotations
    {0x1BCA0, 0x1BCA3},  // shorthand controls
    {0x1D173, 0x1D17A},  // musical controls
    {0xE0000, 0xE0FFF},  // tags, variants
};

bool IsHidden(std::uint32_t character) {
  const auto* const range =
      std::find_if(std::begin(HIDDEN), std::end(HIDDEN),
                   [&](const CRange& candidate) { return character <= candidate.m_Last; });
  return range != std::end(HIDDEN) && character >= range->m_First;
}

// How a character that is not printed as it is, is written.
std::string Escaped(std::uint32_t character) {
  char text[16];
  const int length = std::snprintf(text, sizeof text, character < 0x80 ? "\\x%02x" : "\\u{%04x}",
                                   static_cast<unsigned int>(character));
  return {text, static_cast<std::size_t>(length)};
}

bool IsPrintable(std::uint32_t character) {
  return character >= 0x20 && character != 0x7F && !IsHidden(character);
}

}  // namespace

std::string ToUtf8(std::string_view bytes) {
  std::string text;
  text.reserve(bytes.size());
  utf8::replace_invalid(bytes.begin(), bytes.end(), std::back_inserter(text));
  return text;
}

std::string Printable(std::string_view bytes) {
  const std::string text = ToUtf8(bytes);
  std::string shown;
  shown.reserve(text.size());
  for (auto at = text.begin(); at != text.end();) {
    const auto start = at;
    const std::uint32_t character = utf8::unchecked::next(at);
    if (IsPrintable(character)) {
      shown.append(start, at);
    } else {
      shown += Escaped(character);
    }
  }
  return shown;
}

std::string PrintableStart(std::string_view bytes, std::size_t characters) {
  constexpr std::string_view BLANKS = " \t\r\n";
  const std::size_t first = bytes.find_first_not_of(BLANKS);
  if (first == std::string_view::npos) return {};
  bytes = bytes.substr(first, bytes.find_last_not_of(BLANKS) + 1 - first);
  // A character has at most four bytes; what is behind them is not looked at.
  const std::string text = ToUtf8(bytes.substr(0, characters * 4 + 4));
  auto end = text.begin();
  for (std::size_t i = 0; i < characters && end != text.end(); ++i) utf8::unchecked::next(end);
  return Printable({text.data(), static_cast<std::size_t>(end - text.begin())}) +
         (end == text.end() ? "" : "...");
}

}  // namespace TLX::Misc
