#pragma once

#include <string>
#include <vector>

#include <TLX/Export.h>

// The rows that are written to the host's database. Plain values: every field holds its null until
// it is set, and a null is written as the database's NULL. The first field is the identity, which
// the database assigns. Fields, kinds and meanings are rows of Facts/Fields.def; the order of
// fields is the order of columns. A record belongs to one thread at a time.
namespace RaidDataModels {

// The null of each kind. Of a text it is the text DatabaseWrapper::NULL_DB_STRING, so that a text
// that reads like it is a null as well; of a list it is the list without items.
inline constexpr int NULL_INTEGER = -2147483647 - 1;
inline constexpr unsigned long NULL_UNSIGNED = ~0UL;
// The smallest normal single-precision number, kept in a double, stands for "no value".
inline constexpr double NULL_REAL = 1.1754943508222875e-38;
VX_EXPORT const std::string& NullText();  // lives as long as the process; [any thread]

// The kinds of column: type of the field, and its null.
struct Integer {
  using Type = int;
  static Type Null() { return NULL_INTEGER; }
};
struct Unsigned {
  using Type = unsigned long;
  static Type Null() { return NULL_UNSIGNED; }
};
struct Text {
  using Type = std::string;
  static Type Null() { return NullText(); }
};
struct Real {
  using Type = double;
  static Type Null() { return NULL_REAL; }
};
struct List {
  using Type = std::vector<std::string>;
  static Type Null() { return {}; }
};

#define VX_FIELD(kind, name, ...) kind::Type name = kind::Null();
#define VX_PROPERTY_FIELD(name, label, text, preset, kind, unit, last, value, column) column
#define STORED(kind, name, ...) VX_FIELD(kind, name)
#define NOT_STORED

// The plug-in itself. Key: Name.
struct VX_EXPORT Plugin {
#define PLUGIN_COLUMN VX_FIELD
#include <Facts/Fields.def>
  bool operator==(const Plugin&) const = default;
};

// One adapter. Key: AdapterNumber and Host.
struct VX_EXPORT Adapter {
#define ADAPTER_COLUMN VX_FIELD
#define ADAPTER_FIELD(type, name, initial, meaning) type name = initial;
#define ADAPTER_PROPERTY VX_PROPERTY_FIELD
#include <Facts/Fields.def>
  bool operator==(const Adapter&) const = default;
};

// One physical drive. Key: SerialNumber and Host.
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
