#pragma once

#include <string>

// The kinds of value that the tool's keys have (Facts/Fields.def). Types only. [any thread]
namespace Facts {

// Which JSON values a reader takes for a key. A value of another kind leaves the member as it is.
enum class EKind {
  Text,               // a text, up to its first NUL
  Integer,            // a whole number of 32 bits
  Unsigned,           // the same, not negative
  Unsigned64,         // a whole number of 64 bits, not negative
  Unsigned64OrReset,  // the same; a value of another kind sets the member back to 0
  Boolean,            // true or false
  Hexadecimal,        // a text of hexadecimal digits, a counter of 64 bits
  CharacterCode,      // an Integer whose low 8 bits become the one character of a text
  ProductFamily,  // a Text; the short name that the tool has for one family becomes its full one
};

namespace Details {
template <EKind>
struct CStored {
  using CType = std::string;
};
template <>
struct CStored<EKind::Integer> {
  using CType = int;
};
template <>
struct CStored<EKind::Unsigned> {
  using CType = unsigned int;
};
template <>
struct CStored<EKind::Unsigned64> {
  using CType = unsigned long;
};
template <>
struct CStored<EKind::Unsigned64OrReset> {
  using CType = unsigned long;
};
template <>
struct CStored<EKind::Boolean> {
  using CType = bool;
};
template <>
struct CStored<EKind::Hexadecimal> {
  using CType = unsigned long;
};
}  // namespace Details

// The type of the member that holds a value of a kind.
template <EKind Kind>
using CStoredAs = typename Details::CStored<Kind>::CType;

}  // namespace Facts
