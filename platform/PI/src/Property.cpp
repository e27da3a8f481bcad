#include <PI/Property.h>

namespace PI {

CProperty::CProperty() = default;
CProperty::CProperty(_PROPERTY_ID id, bool settable) : m_PropertyID(id), m_Settable(settable) {}
CProperty::CProperty(const CProperty&) = default;
CProperty& CProperty::operator=(const CProperty&) = default;
CProperty::CProperty(CProperty&&) noexcept = default;
CProperty& CProperty::operator=(CProperty&&) noexcept = default;
CProperty::~CProperty() = default;

void CProperty::SetValue(const char* text) {
  m_Value = CStringData{text == nullptr ? std::string() : std::string(text)};
}

void CProperty::SetValue(const std::string& text) {
  m_Value = CStringData{text};
}

void CProperty::SetValue(float number) {
  m_Value = CFloatData{number};
}

void CProperty::SetValue(unsigned long number) {
  m_Value = CLongData{number};
}

void CProperty::SetValue(int value, int minimum, int maximum, unsigned int step) {
  m_Value = CRangeData{value, minimum, maximum, step};
}

void CProperty::SetValue(int selected, const std::vector<int>& choices) {
  m_Value = CChoiceData{selected, choices};
}

void CProperty::SetValue(std::vector<int>& selected, std::vector<int>& choices) {
  m_Value = CMultiValueData{selected, choices};
}

bool CProperty::GetValue(int& value, int& minimum, int& maximum, unsigned int& step) const {
  const CRangeData* range = boost::get<CRangeData>(&m_Value);
  if (range == nullptr) return false;
  value = range->m_Value;
  minimum = range->m_Minimum;
  maximum = range->m_Maximum;
  step = range->m_Step;
  return true;
}

}  // namespace PI
