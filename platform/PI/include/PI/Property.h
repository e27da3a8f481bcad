#pragma once

#include <string>
#include <vector>

#include <boost/variant.hpp>

#include <PI/Codes.h>
#include <TLX/Export.h>

namespace PI {

// A plug-in makes a property from the row of its table and sets the value; what is not known it
// leaves out:
//
//   PI::CProperty property;
//   PI::CPluginHelper::GenerateCProperty(row, property);
//   property.SetValue(hours);
//
// A host finds the value by the kind that is there, not by the kind that it expects:
//
//   const auto* number = boost::get<PI::CLongData>(&property.m_Value);  // null: another kind

// The eleven kinds of value, in the order of the variant; the order is part of the layout that host
// and plug-ins share. Each owns what it holds. Lists of choices may be empty where the host's
// catalogue knows the choices; the selected one need not stand in the list.

// One of several: numbers of the catalogue (CHOICE_), or the plug-in's own.
struct CChoiceData {
  int m_Selected = 0;
  std::vector<int> m_Choices;
};
// A whole number with its limits, both included, and the distance between two allowed values, from
// the minimum on. The value may lie outside: a plug-in shows what the device reports.
struct CRangeData {
  int m_Value = 0;
  int m_Minimum = 0;
  int m_Maximum = 0;
  unsigned int m_Step = 0;
};
// Text as the device gives it: UTF-8 or plain ASCII by custom, not checked; hosts repair and escape
// it before they show it.
struct CStringData {
  std::string m_Value;
};
// Yes or no.
struct CBoolData {
  bool m_Value = false;
};
// All 64 bits. A plug-in leaves a property out rather than show all ones for "not reported".
struct CLongData {
  unsigned long m_Value = 0;
};
// All 64 bits, two's complement.
struct CSignedLongData {
  long m_Value = 0;
};
// Any number of several, in the order in which the plug-in gives them.
struct CMultiValueData {
  std::vector<int> m_Selected;
  std::vector<int> m_Choices;
};
// A reading in the property's unit, at the seven digits of the type.
struct CFloatData {
  float m_Value = 0.0F;
};
// Whole numbers in the plug-in's order, duplicates included.
struct CMultiLongData {
  std::vector<unsigned long> m_Values;
};
// Text that is a document; nobody here reads it as one.
struct CXMLData {
  std::string m_Value;
};
// Texts in the plug-in's order, each as in CStringData.
struct CMultiStringData {
  std::vector<std::string> m_Values;
};

// Exactly one of them; a fresh value is an empty choice. boost::get tells which it is by pointer
// and gives null for the others; a visitor must have an answer for all eleven. Assigning another
// kind throws for lack of memory only and then leaves the value as it was.
using CPropertyValue =
    boost::variant<CChoiceData, CRangeData, CStringData, CBoolData, CLongData, CSignedLongData,
                   CMultiValueData, CFloatData, CMultiLongData, CXMLData, CMultiStringData>;

// One row of a property table: what the host shows a property as. Rows are constants of the
// plug-in; an aggregate without defaults, so that a row cannot leave anything out. [any thread]
struct _PROPERTY_DESCRIPTION {
  // Unique within the table.
  _PROPERTY_ID m_PropertyID;
  // Text of the host's catalogue; 1: none, and the host shows the property under its own name.
  unsigned int m_LabelID;
  // Of the host; 1 in every row of this interface version, and vxhost reads neither.
  unsigned int m_Flag1;
  unsigned int m_Flag2;
  // -1, or 0 where there is no label; carried into the property.
  int m_Default;
  // Which data the value has unless a setter gives it another.
  _DATA_KIND m_Kind;
  // What the number counts. Nothing converts by it: the value is given in this unit.
  _UNITS m_Unit;
  // 0 for readings that move while the device works, 1 for everything else.
  unsigned int m_LastFlag;
};

// One property of an object. Plug-ins make them anew for every request, and a host owns those that
// it is handed; neither sees a later change of the other.
//
// A value type: copies share nothing. The special members are compiled in the library, so that host
// and plug-ins share one virtual table. Copying and setting throw for lack of memory only; moving
// never throws. [one thread at a time]
class VX_EXPORT CProperty {
 public:
  // A question for all properties.
  CProperty();
  // A property that is filled in by hand; CPluginHelper::GenerateCProperty fills one from a row.
  CProperty(_PROPERTY_ID id, bool settable);
  CProperty(const CProperty&);
  CProperty& operator=(const CProperty&);
  CProperty(CProperty&&) noexcept;
  CProperty& operator=(CProperty&&) noexcept;
  virtual ~CProperty();

  // Each replaces the value by one of the kind that goes with it, whatever kind it was. The other
  // fields, also m_Kind, stay: a number with unit may hold a float. A plain 0 fits several of
  // these: cast it.
  //
  // CStringData; null counts as empty.
  void SetValue(const char* text);
  void SetValue(const std::string& text);
  // CFloatData; a value that is no number is taken as it is.
  void SetValue(float number);
  // CLongData.
  void SetValue(unsigned long number);
  // CRangeData; neither the order of the limits nor the value is checked.
  void SetValue(int value, int minimum, int maximum, unsigned int step);
  // CChoiceData; the list is copied.
  void SetValue(int selected, const std::vector<int>& choices);
  // CMultiValueData; both lists are copied and left as they are.
  void SetValue(std::vector<int>& selected, std::vector<int>& choices);

  // Reads a range. False, outputs untouched, when the value is of another kind; nothing is
  // converted. Limits are not applied to the value.
  [[nodiscard]] bool GetValue(int& value, int& minimum, int& maximum, unsigned int& step) const;

  // In a request: the property asked for, PROPERTY_ALL for every one.
  _PROPERTY_ID m_PropertyID = PROPERTY_ALL;
  // Text of the host's catalogue; 1: none.
  unsigned int m_LabelID = 1;
  // How the host shows the value; need not be the kind of m_Value.
  _DATA_KIND m_Kind = KIND_STRING;
  // Unit of the number in m_Value.
  _UNITS m_Unit = UNIT_NONE;
  // Whether command 7 takes it. Only a hint: the plug-in decides again when it is asked.
  bool m_Settable = false;
  // The row's default, as it stands there.
  int m_Default = 0;
  // What the setters write; readers take it from here. Left alone by everything but the setters and
  // assignment.
  CPropertyValue m_Value;
};

}  // namespace PI
