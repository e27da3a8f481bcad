#pragma once

#include <array>
#include <string>
#include <variant>
#include <vector>

#include <PI/Operation.h>
#include <PI/PluginHelper.h>
#include <PI/Property.h>
#include <TLX/Export.h>

// Properties and operations as tables: a plug-in states one row for each, and the functions here
// make of the table what the host asks for, and rows of a database. They hold no state and take no
// lock; an object that is read must not change meanwhile. [any thread]
namespace PI {

// What stands for "the drive has not told": of an unsigned counter, and of a temperature in degrees
// Celsius.
inline constexpr unsigned long NOT_REPORTED = ~0UL;
inline constexpr float TEMPERATURE_UNKNOWN = -1.0F;

// The record of a plug-in that stores nothing.
struct CNoRecord {};

// A field of a database record; monostate: none.
template <class Record>
using CRecordField =
    std::variant<std::monostate, int Record::*, unsigned long Record::*, std::string Record::*,
                 double Record::*, std::vector<std::string> Record::*>;

// One row of a property table: what the host shows, where the value comes from, and which field of
// the database record holds it. Object: what the value is read from.
template <class Object, class Record = CNoRecord>
struct CPropertyRow {
  _PROPERTY_DESCRIPTION m_Description;
  // Sets the value; false when the object has none and the property is left out.
  bool (*m_Read)(const Object& object, CProperty& property);
  CRecordField<Record> m_Field{};
  bool m_Settable = false;
};

// Whether every property stands once in a table; for a static_assert beside it.
template <class Rows>
constexpr bool HasUniqueIDs(const Rows& rows) {
  for (auto row = rows.begin(); row != rows.end(); ++row) {
    for (auto other = rows.begin(); other != row; ++other) {
      if (other->m_Description.m_PropertyID == row->m_Description.m_PropertyID) return false;
    }
  }
  return true;
}

// --- Readers for the rows of a table, by the member that they show.

template <auto Member, class Object>
bool ShowText(const Object& object, CProperty& property) {
  property.SetValue(object.*Member);
  return true;
}

template <auto Member, class Object>
bool ShowTextIfAny(const Object& object, CProperty& property) {
  return !(object.*Member).empty() && ShowText<Member>(object, property);
}

template <auto Member, class Object>
bool ShowNumber(const Object& object, CProperty& property) {
  property.SetValue(static_cast<unsigned long>(object.*Member));
  return true;
}

template <auto Member, class Object>
bool ShowNumberIfReported(const Object& object, CProperty& property) {
  return object.*Member != NOT_REPORTED && ShowNumber<Member>(object, property);
}

template <auto Member, class Object>
bool ShowTemperatureIfKnown(const Object& object, CProperty& property) {
  if (object.*Member == TEMPERATURE_UNKNOWN) return false;
  property.SetValue(object.*Member);
  return true;
}

// A percentage from the minimum to 100, in steps of 1.
template <auto Member, int Minimum, class Object>
bool ShowPercentage(const Object& object, CProperty& property) {
  property.SetValue(static_cast<int>(object.*Member), Minimum, 100, 1U);
  return true;
}

// Choices: a constexpr array of the codes that the member may hold.
template <auto Member, const auto& Choices, class Object>
bool ShowChoice(const Object& object, CProperty& property) {
  property.SetValue(static_cast<int>(object.*Member),
                    std::vector<int>(Choices.begin(), Choices.end()));
  return true;
}

// --- Walking a table

// Empties out and appends, in the order of the table, the property with the given id, or all for
// PROPERTY_ALL. An id that the table does not have appends nothing.
template <class Rows, class Object>
void WalkProperties(const Rows& rows, const Object& object, unsigned long propertyId,
                    std::vector<CProperty>& out) {
  out.clear();
  for (const auto& row : rows) {
    if (propertyId != PROPERTY_ALL && propertyId != row.m_Description.m_PropertyID) continue;
    CProperty property;
    CPluginHelper::GenerateCProperty(row.m_Description, property);
    property.m_Settable = row.m_Settable;
    if (row.m_Read(object, property)) out.push_back(property);
  }
}

// Converts a property's value to the width of a record's field: numbers saturate (unsigned ones at
// the highest signed one, which is the database's own end; NOT_REPORTED stays what it is, the null
// of the field) and never become the null of an integer, choices and ranges give the selected
// value, multiple choices the decimal texts of the selected codes, texts stand as they are. False,
// field untouched, for a floating TEMPERATURE_UNKNOWN and for a value that has no such form.
VX_EXPORT bool StoreValue(const CPropertyValue& value, int& field);
VX_EXPORT bool StoreValue(const CPropertyValue& value, unsigned long& field);
VX_EXPORT bool StoreValue(const CPropertyValue& value, std::string& field);
VX_EXPORT bool StoreValue(const CPropertyValue& value, double& field);
VX_EXPORT bool StoreValue(const CPropertyValue& value, std::vector<std::string>& field);

// Copies the properties into the record's fields, row by row; what has no property or no field is
// passed over.
template <class Rows, class Record>
void CopyPropertiesToRecord(const Rows& rows, const std::vector<CProperty>& properties,
                            Record& record) {
  for (const auto& row : rows) {
    for (const CProperty& property : properties) {
      if (property.m_PropertyID != row.m_Description.m_PropertyID) continue;
      std::visit(
          [&](auto field) {
            if constexpr (!std::is_same_v<decltype(field), std::monostate>) {
              StoreValue(property.m_Value, record.*field);
            }
          },
          row.m_Field);
      break;
    }
  }
}

// --- Operations

// What an operation is offered with: the nine numbers, the first of them its id, and the flag.
struct COperationDescriptor {
  std::array<int, 9> m_Numbers;
  bool m_Flag;
};

// The operation as it is handed to the host.
[[nodiscard]] VX_EXPORT COperation MakeOperation(const COperationDescriptor& descriptor);

}  // namespace PI
