#pragma once

#include <string>
#include <vector>

#include <boost/variant.hpp>

#include <PI/Codes.h>
#include <TLX/Export.h>

namespace PI {

// The eleven kinds of value, in the order of the variant.
struct CChoiceData {
  int m_Selected = 0;
  std::vector<int> m_Choices;
};
struct CRangeData {
  int m_Value = 0;
  int m_Minimum = 0;
  int m_Maximum = 0;
  unsigned int m_Step = 0;
};
struct CStringData {
  std::string m_Value;
};
struct CBoolData {
  bool m_Value = false;
};
struct CLongData {
  unsigned long m_Value = 0;
};
struct CSignedLongData {
  long m_Value = 0;
};
struct CMultiValueData {
  std::vector<int> m_Selected;
  std::vector<int> m_Choices;
};
struct CFloatData {
  float m_Value = 0.0F;
};
struct CMultiLongData {
  std::vector<unsigned long> m_Values;
};
struct CXMLData {
  std::string m_Value;
};
struct CMultiStringData {
  std::vector<std::string> m_Values;
};

using CPropertyValue =
    boost::variant<CChoiceData, CRangeData, CStringData, CBoolData, CLongData, CSignedLongData,
                   CMultiValueData, CFloatData, CMultiLongData, CXMLData, CMultiStringData>;

// One row of a property table: what the host shows a property as.
struct _PROPERTY_DESCRIPTION {
  _PROPERTY_ID m_PropertyID;
  unsigned int m_LabelID;  // text of the host's catalogue; 1: none
  unsigned int m_Flag1;
  unsigned int m_Flag2;
  int m_Default;
  _DATA_KIND m_Kind;
  _UNITS m_Unit;
  unsigned int m_LastFlag;
};

// One property of an object. A value type. [one thread at a time]
class VX_EXPORT CProperty {
 public:
  CProperty();
  CProperty(_PROPERTY_ID id, bool settable);
  CProperty(const CProperty&);
  CProperty& operator=(const CProperty&);
  CProperty(CProperty&&) noexcept;
  CProperty& operator=(CProperty&&) noexcept;
  virtual ~CProperty();

  // Each selects the kind of value that goes with it: string, string, float, unsigned, range
  // (value, minimum, maximum, step), choice (selected, choices), multiple choice (selected,
  // choices). A null text counts as empty. The lists of the last one are copied and left as they
  // are. The other fields, also m_Kind, stay: a number with unit may hold a float. A plain 0 fits
  // several of these: cast it.
  void SetValue(const char* text);
  void SetValue(const std::string& text);
  void SetValue(float number);
  void SetValue(unsigned long number);
  void SetValue(int value, int minimum, int maximum, unsigned int step);
  void SetValue(int selected, const std::vector<int>& choices);
  void SetValue(std::vector<int>& selected, std::vector<int>& choices);

  // Reads a range. False, outputs untouched, when the value is of another kind.
  bool GetValue(int& value, int& minimum, int& maximum, unsigned int& step) const;

  _PROPERTY_ID m_PropertyID = PROPERTY_ALL;
  unsigned int m_LabelID = 1;  // 1: none
  _DATA_KIND m_Kind = KIND_STRING;
  _UNITS m_Unit = UNIT_NONE;
  bool m_Settable = false;
  int m_Default = 0;
  CPropertyValue m_Value;
};

}  // namespace PI
