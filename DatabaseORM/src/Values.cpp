#include "Values.h"

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstdlib>
#include <limits>
#include <stdexcept>

#include <locale.h>

#include <DB/Database.h>
#include <DatabaseORM/List.h>
#include <DatabaseORM/Records.h>

namespace DatabaseORM {

std::vector<std::string> Items(const std::string& cell) {
  std::vector<std::string> items;
  if (cell.empty()) return items;
  std::size_t begin = 0;
  for (std::size_t end = 0; end != std::string::npos; begin = end + 1) {
    end = cell.find_first_of(DatabaseWrapper::delimiter, begin);
    items.push_back(cell.substr(begin, end - begin));
  }
  return items;
}

}  // namespace DatabaseORM

namespace DatabaseORM::Values {

using DatabaseWrapper::delimiter;
using DatabaseWrapper::NULL_DB_ENTRY;
using DatabaseWrapper::NULL_DB_STRING;
using DatabaseWrapper::QUOTATION;
using DBEXCEPTION::DatabaseException;

namespace {

// What a null reads as in the cells of numbers, whatever the constants say.
constexpr const char* NULL_NUMBER_CELL = "NULL";

// The longest double written with six digits after the point has 317 characters.
constexpr std::size_t REAL_TEXT_SIZE = 328;

// SQL text ends at a NUL byte, so that no value may hold one.
std::string WithoutNul(const std::string& text) {
  std::string kept = text;
  kept.erase(std::remove(kept.begin(), kept.end(), '\0'), kept.end());
  return kept;
}

// Appends the text with every quotation in it doubled.
void AppendDoubled(std::string& out, const std::string& text, const std::string& quotation) {
  std::size_t begin = 0;
  if (!quotation.empty()) {
    for (std::size_t at = text.find(quotation); at != std::string::npos;
         at = text.find(quotation, begin)) {
      out.append(text, begin, at + quotation.size() - begin).append(quotation);
      begin = at + quotation.size();
    }
  }
  out.append(text, begin, std::string::npos);
}

// text is free of NUL bytes.
void AppendText(std::string& out, const std::string& text, EPlace place) {
  if (text == NULL_DB_STRING) {
    out += NULL_DB_ENTRY;
  } else if (text.empty() && place == EPlace::Insertion) {
    out += "''";
  } else {
    out += QUOTATION;
    AppendDoubled(out, text, QUOTATION);
    out += QUOTATION;
  }
}

template <class Number>
void AppendDecimal(std::string& out, Number value) {
  char text[std::numeric_limits<Number>::digits10 + 3];
  out.append(text, std::to_chars(text, text + sizeof text, value).ptr);
}

// std::stod in the classic locale.
double ToReal(const std::string& cell) {
  static const locale_t classic = newlocale(LC_ALL_MASK, "C", nullptr);
  const int saved = errno;
  errno = 0;
  char* end = nullptr;
  const double value = strtod_l(cell.c_str(), &end, classic);
  const int failure = errno;
  errno = saved;
  if (end == cell.c_str()) throw std::invalid_argument("stod");
  if (failure == ERANGE) throw std::out_of_range("stod");
  return value;
}

}  // namespace

void Render(std::string& out, int value, EPlace) {
  if (value == RaidDataModels::NULL_INTEGER) {
    out += NULL_DB_ENTRY;
  } else {
    AppendDecimal(out, value);
  }
}

void Render(std::string& out, unsigned long value, EPlace) {
  if (value == RaidDataModels::NULL_UNSIGNED) {
    out += NULL_DB_ENTRY;
  } else {
    AppendDecimal(out, value);
  }
}

void Render(std::string& out, double value, EPlace) {
  if (value == RaidDataModels::NULL_REAL) {
    out += NULL_DB_ENTRY;
    return;
  }
  char text[REAL_TEXT_SIZE];
  out.append(text, std::to_chars(text, text + sizeof text, value, std::chars_format::fixed, 6).ptr);
}

void Render(std::string& out, const std::string& value, EPlace place) {
  if (value.find('\0') == std::string::npos) {
    AppendText(out, value, place);
  } else {
    AppendText(out, WithoutNul(value), place);
  }
}

void Render(std::string& out, const std::vector<std::string>& value, EPlace place) {
  std::string joined;
  for (const std::string& raw : value) {
    const std::string item = WithoutNul(raw);
    if (!delimiter.empty() && item.find(delimiter) != std::string::npos) {
      throw DatabaseException(std::string("The list item \"")
                                  .append(item)
                                  .append("\" holds \"")
                                  .append(delimiter)
                                  .append("\", which separates the items of a list."));
    }
    joined += item;
    joined += delimiter;
  }
  if (!joined.empty()) joined.resize(joined.size() - delimiter.size());
  AppendText(out, joined, place);
}

void Read(const std::string& cell, int& value) {
  if (cell != NULL_NUMBER_CELL) value = std::stoi(cell);
}

// Signed, as the database counts: what is 2^63 or more is out of range and says so.
void Read(const std::string& cell, unsigned long& value) {
  if (cell != NULL_NUMBER_CELL) value = static_cast<unsigned long>(std::stoll(cell));
}

void Read(const std::string& cell, double& value) {
  if (cell != NULL_NUMBER_CELL) value = ToReal(cell);
}

void Read(const std::string& cell, std::string& value) {
  value = cell;
}

void Read(const std::string& cell, std::vector<std::string>& value) {
  value = cell == NULL_DB_STRING ? std::vector<std::string>() : Items(cell);
}

std::string InCondition(int value) {
  return std::to_string(value);
}

std::string InCondition(const std::string& value) {
  std::string text;
  AppendDoubled(text, WithoutNul(value), "'");
  return text;
}

std::string InCondition(const char* value) {
  return InCondition(std::string(value == nullptr ? "" : value));
}

}  // namespace DatabaseORM::Values
