#include "Core/Text.h"

#include <locale>

#include <boost/convert.hpp>
#include <boost/convert/stream.hpp>
#include <boost/format.hpp>

namespace NAMESPACE_piTorvex {

std::string FormatValues(const char* format, std::initializer_list<CFormatValue> values) {
  boost::format text(format, std::locale::classic());
  for (const CFormatValue& value : values) {
    std::visit([&text](const auto& held) { text % held; }, value);
  }
  return text.str();
}

boost::optional<unsigned long> ParseNumber(const std::string& text,
                                           std::ios_base& (*base)(std::ios_base&)) {
  // The converter alone would take a minus sign and wrap around: a typing error in an options file
  // would stop the scans for good, and a counter of "-1" would read as "not reported". A plus sign
  // is no part of such a number either.
  const std::size_t first = text.find_first_not_of(" \t\n\v\f\r");
  if (first != std::string::npos && (text[first] == '-' || text[first] == '+')) return boost::none;
  boost::cnv::cstream converter;
  converter(std::locale::classic());
  converter(base)(std::skipws);
  boost::optional<unsigned long> number;
  converter(text, number);
  return number;
}

}  // namespace NAMESPACE_piTorvex
