#pragma once

#include <string>

// The kinds of value that the tool's keys have (Facts/Fields.def). The plug-in's reader takes
// values by them, and the host's checks of the tool's answers say by them what a value should have
// been. Types only. [any thread]
namespace Facts {

// Which JSON values a reader takes for a key. A value of another kind leaves the member as it is,
// so that it keeps its initial value, or that of an earlier answer. Of a key that stands twice in
// one section the first counts, whatever its kind.
//
// Behind each kind stands how such a value looks in the tool's answer. Numbers in quotation marks
// are texts to all kinds but Hexadecimal; a number with a point or an exponent is no whole number,
// and one that is too large for its kind is a value of another kind.
enum class EKind {
  // "SN1": a text, up to its first NUL; stored as it stands, blanks included.
  Text,
  // 42, -1: a whole number of 32 bits with sign.
  Integer,
  // 42: a whole number of 32 bits, not negative. -1 is a value of another kind.
  Unsigned,
  // 1000204886016: a whole number of 64 bits, not negative.
  Unsigned64,
  // The same; a value of another kind sets the member back to 0, while a key that is missing leaves
  // it, as with all kinds.
  Unsigned64OrReset,
  // true, false; neither 1 nor "True".
  Boolean,
  // "0x1A2B", "1a2b": a text of hexadecimal digits, a counter of 64 bits. Blanks may lead, nothing
  // may follow; another text ends the reading with boost::bad_optional_access.
  Hexadecimal,
  // 65: an Integer whose low 8 bits become the one character of a text, "A".
  CharacterCode,
  // "Intel SSD": a Text; the short name that the tool has for one family becomes its full one.
  ProductFamily,
};

// How kinds become types: std::string unless a row below says another. For CStoredAs alone, which
// people use.
namespace Details {
// Text, CharacterCode and ProductFamily: what is stored is a text of the record's own, which
// outlives the tool's answer.
template <EKind>
struct CStored {
  using CType = std::string;
};
// Written as a decimal number without quotation marks; int holds all of them.
template <>
struct CStored<EKind::Integer> {
  using CType = int;
};
// 32 bits on every machine that is served.
template <>
struct CStored<EKind::Unsigned> {
  using CType = unsigned int;
};
// unsigned long is 64 bits wide on every machine that is served: sizes in bytes and counts of
// blocks.
template <>
struct CStored<EKind::Unsigned64> {
  using CType = unsigned long;
};
// The reset value is the 0 of the type, whatever the member's initial value is.
template <>
struct CStored<EKind::Unsigned64OrReset> {
  using CType = unsigned long;
};
// Not a number: a member of this kind is compared as it is.
template <>
struct CStored<EKind::Boolean> {
  using CType = bool;
};
// The number, not its digits: records and properties show it in decimal.
template <>
struct CStored<EKind::Hexadecimal> {
  using CType = unsigned long;
};
}  // namespace Details

// The type of the member that holds a value of a kind: inventory records declare their members by
// it. Members of the log records name their types themselves, since some differ
// from it: a word of bits is unsigned where the tool writes an Integer.
template <EKind Kind>
using CStoredAs = typename Details::CStored<Kind>::CType;

}  // namespace Facts
