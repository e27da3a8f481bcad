#pragma once

#include <initializer_list>
#include <ios>
#include <string>
#include <type_traits>
#include <variant>

#include <boost/optional.hpp>

// Text and numbers, independent of the host's global locale. [any thread]
namespace NAMESPACE_piTorvex {

using CFormatValue = std::variant<long, unsigned long, std::string>;

// Fills a format text ("%s", "%d", "%02d") positionally, in the classic locale.
[[nodiscard]] std::string FormatValues(const char* format,
                                       std::initializer_list<CFormatValue> values);

template <class Value>
CFormatValue ToFormatValue(const Value& value) {
  if constexpr (std::is_convertible_v<const Value&, std::string>) {
    return std::string(value);
  } else if constexpr (std::is_signed_v<Value>) {
    return static_cast<long>(value);
  } else {
    return static_cast<unsigned long>(value);
  }
}

template <class... Values>
[[nodiscard]] std::string FormatText(const char* format, const Values&... values) {
  return FormatValues(format, {ToFormatValue(values)...});
}

// A whole text as an unsigned number, written in the base that the manipulator stands for
// (std::dec, std::hex: an optional "0x"): leading white space is skipped, nothing may follow, and a
// sign is refused. In the classic locale, whatever the host's is.
[[nodiscard]] boost::optional<unsigned long> ParseNumber(const std::string& text,
                                                         std::ios_base& (*base)(std::ios_base&));

}  // namespace NAMESPACE_piTorvex
