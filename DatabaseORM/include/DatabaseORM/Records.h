#pragma once

#include <string>
#include <vector>

#include <TLX/Export.h>

// The rows that are written to the host's database. Plain values: every field holds its null until
// it is set, and a null is written as the database's NULL. The first field is the identity, which
// the database assigns. Fields, kinds and meanings are rows of Facts/Fields.def; the order of
// fields is the order of columns. A record belongs to one thread at a time.
//
// Plug-ins fill records and hand them to DatabaseORM::storage_t, which copies them or reads them
// during the call; what it answers belongs to the caller. Host and plug-ins are compiled with the
// same layout: a field that is added, moved or taken away makes all of them be compiled anew.
// Copies share nothing. Only a lack of memory throws.
namespace RaidDataModels {

// The null of each kind. Of a text it is the text DatabaseWrapper::NULL_DB_STRING, so that a text
// that reads like it is a null as well; of a list it is the list without items.
inline constexpr int NULL_INTEGER = -2147483647 - 1;
inline constexpr unsigned long NULL_UNSIGNED = ~0UL;
// The smallest normal single-precision number, kept in a double, stands for "no value".
inline constexpr double NULL_REAL = 1.1754943508222875e-38;
VX_EXPORT const std::string& NullText();  // lives as long as the process; [any thread]

// The kinds of column: type of the field, and its null. They are what the rows of Facts/Fields.def
// name, so a sixth kind needs a value form in Values.cpp and an alternative in field_t as well.
// A whole number with sign, as SQL text in decimal. Also holds choices, and booleans as 1 and 0.
struct Integer {
  using Type = int;
  static Type Null() { return NULL_INTEGER; }
};
// A whole number without sign: counters, sizes, object ids. The database holds them up to 2^63 - 1.
struct Unsigned {
  using Type = unsigned long;
  static Type Null() { return NULL_UNSIGNED; }
};
// A text of any content but NUL bytes; the empty one is a value and no null.
struct Text {
  using Type = std::string;
  static Type Null() { return NullText(); }
};
// A number with digits after the point.
struct Real {
  using Type = double;
  static Type Null() { return NULL_REAL; }
};
// Texts, one cell for all, with DatabaseWrapper::delimiter between them; no item may contain it.
struct List {
  using Type = std::vector<std::string>;
  static Type Null() { return {}; }
};

// A row of a column becomes a field that begins as its null; a row of a property becomes the field
// that it is stored in, and none where it is not stored. What else the rows say is for others.
#define VX_FIELD(kind, name, ...) kind::Type name = kind::Null();
#define VX_PROPERTY_FIELD(name, label, text, preset, kind, unit, last, value, column) column
#define STORED(kind, name, ...) VX_FIELD(kind, name)
#define NOT_STORED

// The plug-in itself: what it calls itself, its versions, its settings. Key: Name.
struct VX_EXPORT Plugin {
#define PLUGIN_COLUMN VX_FIELD
#include <Facts/Fields.def>
  bool operator==(const Plugin&) const = default;
};

// One adapter as the plug-in shows it at its last scan or log pass. Key: AdapterNumber and Host.
// The fields of ADAPTER_FIELD are of no kind and not stored; they have the initial value of their
// row.
struct VX_EXPORT Adapter {
#define ADAPTER_COLUMN VX_FIELD
#define ADAPTER_FIELD(type, name, initial, meaning) type name = initial;
#define ADAPTER_PROPERTY VX_PROPERTY_FIELD
#include <Facts/Fields.def>
  bool operator==(const Adapter&) const = default;
};

// One physical drive, of the adapter that its row names. Key: SerialNumber and Host. Equality of
// all three records counts every field, the identity included.
struct VX_EXPORT PD {
#define DRIVE_COLUMN VX_FIELD
#define DRIVE_PROPERTY VX_PROPERTY_FIELD
#include <Facts/Fields.def>
  bool operator==(const PD&) const = default;
};

#undef NOT_STORED
#undef STORED
#undef VX_PROPERTY_FIELD
#undef VX_FIELD

}  // namespace RaidDataModels
