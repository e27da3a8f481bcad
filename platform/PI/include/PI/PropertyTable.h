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
// lock; an object that is read must not change meanwhile. Throws for lack of memory only, and what
// a row's reader throws. [any thread]
//
//   constexpr auto ROWS = std::to_array<CPropertyRow<CDrive, RaidDataModels::PD>>({
//       {{PROPERTY_MODEL, 1, 1, 1, 0, KIND_STRING, UNIT_NONE, 1},
//        ShowText<&CDrive::Model>,
//        &RaidDataModels::PD::Model},
//   });
//   static_assert(HasUniqueIDs(ROWS));
//   WalkProperties(ROWS, drive, PROPERTY_ALL, properties);     // for the host
//   CopyPropertiesToRecord(ROWS, properties, record);          // for the database
namespace PI {

// What stands for "the drive has not told": of an unsigned counter, and of a temperature in degrees
// Celsius. The first is also the null of an unsigned field of a record (RaidDataModels), so that a
// counter that was not told becomes a null of its own accord. A true -1 degree cannot be told from
// the second.
inline constexpr unsigned long NOT_REPORTED = ~0UL;
inline constexpr float TEMPERATURE_UNKNOWN = -1.0F;

// The record of a plug-in that stores nothing: rows leave out the field then, and
// CopyPropertiesToRecord finds nothing to fill.
struct CNoRecord {};  // the default of CPropertyRow, so that such rows need not name it

// Where a property goes in a record of the database: a pointer to a member of one of the five kinds
// of column, or monostate for a property that has no column. The record is not named at run time:
// a field of another record does not compile.
template <class Record>
using CRecordField =
    std::variant<std::monostate, int Record::*, unsigned long Record::*, std::string Record::*,
                 double Record::*, std::vector<std::string> Record::*>;

// One row of a property table: what the host shows, where the value comes from, and which field of
// the database record holds it. Object: what the value is read from. Rows are constants: they own
// nothing and stay valid as long as the process.
template <class Object, class Record = CNoRecord>
struct CPropertyRow {
  // Id, label, kind and unit, as CPluginHelper::GenerateCProperty copies them into the property.
  _PROPERTY_DESCRIPTION m_Description;
  // Sets the value; false when the object has none and the property is left out. Never null. The
  // value must be of the kind that the description names: nothing compares the two.
  bool (*m_Read)(const Object& object, CProperty& property);
  CRecordField<Record> m_Field{};
  // Whether the host may set it. It is only told to the host: the plug-in refuses the others with
  // ERR_PROPERTY_NOT_SETTABLE itself.
  bool m_Settable = false;
};

// Whether every property stands once in a table; for a static_assert beside it. Of two rows with
// one id a host would be shown both, and could set neither for sure.
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
//
// Member is a pointer to a data member of Object. Each reader sets the value and nothing else of
// the property; true means that there is one. Those that end in "If..." give false, and have set
// nothing, for a value that the drive has not told. What no reader here does, a function of the
// plug-in's own with the same parameters does.

// A text as it stands, the empty one as well.

template <auto Member, class Object>
bool ShowText(const Object& object, CProperty& property) {
  property.SetValue(object.*Member);
  return true;
}

// The same, but no property at all for the empty text.
template <auto Member, class Object>
bool ShowTextIfAny(const Object& object, CProperty& property) {
  return !(object.*Member).empty() && ShowText<Member>(object, property);
}

// A whole number without sign, of any width, as one of 64 bits. A negative one would wrap around.
template <auto Member, class Object>
bool ShowNumber(const Object& object, CProperty& property) {
  property.SetValue(static_cast<unsigned long>(object.*Member));
  return true;
}

// A counter of 64 bits; no property while it is NOT_REPORTED.
template <auto Member, class Object>
bool ShowNumberIfReported(const Object& object, CProperty& property) {
  return object.*Member != NOT_REPORTED && ShowNumber<Member>(object, property);
}

// A float in degrees Celsius; no property while it is TEMPERATURE_UNKNOWN.
template <auto Member, class Object>
bool ShowTemperatureIfKnown(const Object& object, CProperty& property) {
  if (object.*Member == TEMPERATURE_UNKNOWN) return false;
  property.SetValue(object.*Member);
  return true;
}

// A percentage from the minimum to 100, in steps of 1. The bounds are for people who set it: a
// member outside them (a drive worn beyond its rated life) is shown as it is.
template <auto Member, int Minimum, class Object>
bool ShowPercentage(const Object& object, CProperty& property) {
  property.SetValue(static_cast<int>(object.*Member), Minimum, 100, 1U);
  return true;
}

// The selected choice, and all there are. Choices: a constexpr array of the codes that the member
// may hold, in the order in which hosts list them. A code that is not among them is shown all the
// same.
template <auto Member, const auto& Choices, class Object>
bool ShowChoice(const Object& object, CProperty& property) {
  property.SetValue(static_cast<int>(object.*Member),
                    std::vector<int>(Choices.begin(), Choices.end()));
  return true;
}

// --- Walking a table

// Empties out and appends, in the order of the table, the property with the given id, or all for
// PROPERTY_ALL. An id that the table does not have appends nothing, and neither does a row whose
// reader has no value: an empty answer does not say which. The properties are copies that belong to
// the caller. When a reader throws, out holds the rows before.
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
//
// By field: the three of numbers take choices, ranges, booleans (1 and 0) and numbers; a float that
// goes into a whole number loses what stands behind its point. The text takes texts and XML. The
// list takes lists of texts, multiple choices and lists of numbers, and what it held is replaced.
// A lack of memory is the only exception.
//
// Whole numbers stay between -2147483647 and 2147483647, and between 0 and 2^63 - 1: the number
// below the first is the null of the column, and above the last the database would keep an
// approximation.
VX_EXPORT bool StoreValue(const CPropertyValue& value, int& field);
VX_EXPORT bool StoreValue(const CPropertyValue& value, unsigned long& field);
VX_EXPORT bool StoreValue(const CPropertyValue& value, std::string& field);
VX_EXPORT bool StoreValue(const CPropertyValue& value, double& field);
VX_EXPORT bool StoreValue(const CPropertyValue& value, std::vector<std::string>& field);

// Copies the properties into the record's fields, row by row; what has no property or no field is
// passed over, and its field keeps what it held: a null in a record that is new. Of two properties
// with one id the first counts. Rows and properties need not be of one length or order.
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

// What an operation is offered with: the nine numbers, the first of them its id, and the flag. The
// other eight and the flag say nothing here: they are handed on as they are.
struct COperationDescriptor {
  // The id twice, then seven that are the plug-in's own.
  std::array<int, 9> m_Numbers;
  // COperation::m_Flag, part of the description like the seven. Nothing here reads a meaning into
  // it.
  bool m_Flag;
};

// The operation as it is handed to the host: the numbers and the flag of the descriptor, and no
// input or output yet. A copy that belongs to the caller.
[[nodiscard]] VX_EXPORT COperation MakeOperation(const COperationDescriptor& descriptor);

}  // namespace PI
