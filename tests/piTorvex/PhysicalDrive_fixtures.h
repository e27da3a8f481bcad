#pragma once

#include <string>
#include <vector>

#include <boost/variant.hpp>

#include <PI/Property.h>

namespace vxtest {

// The value as one text, its form included.
struct Render : boost::static_visitor<std::string> {
  static std::string List(const std::vector<int>& codes) {
    std::string text;
    for (const int code : codes) text += (text.empty() ? "" : ",") + std::to_string(code);
    return "{" + text + "}";
  }
  std::string operator()(const PI::CChoiceData& v) const {
    return "choice " + std::to_string(v.m_Selected) + " of " + List(v.m_Choices);
  }
  std::string operator()(const PI::CRangeData& v) const {
    return "range " + std::to_string(v.m_Value) + " in " + std::to_string(v.m_Minimum) + ".." +
           std::to_string(v.m_Maximum) + " by " + std::to_string(v.m_Step);
  }
  std::string operator()(const PI::CStringData& v) const { return "text " + v.m_Value; }
  std::string operator()(const PI::CLongData& v) const {
    return "unsigned " + std::to_string(v.m_Value);
  }
  std::string operator()(const PI::CFloatData& v) const {
    return "float " + std::to_string(static_cast<int>(v.m_Value * 1000));
  }
  std::string operator()(const PI::CMultiValueData& v) const {
    return "multi " + List(v.m_Selected) + " of " + List(v.m_Choices);
  }
  template <class Other>
  std::string operator()(const Other&) const {
    return "unexpected kind";
  }
};

}  // namespace vxtest
