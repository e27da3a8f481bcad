#include "SettableValue.h"

#include "Catalogue.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <optional>
#include <vector>

#include <fmt/format.h>

namespace vxhost {

namespace {

template <class Number>
std::optional<Number> WholeNumber(const std::string& text) {
  Number number{};
  const char* const end = text.data() + text.size();
  const auto result = std::from_chars(text.data(), end, number);
  if (text.empty() || result.ec != std::errc() || result.ptr != end) return std::nullopt;
  return number;
}

bool IsStep(const PI::CRangeData& range, int value) {
  const long distance = static_cast<long>(value) - range.m_Minimum;
  return range.m_Step == 0 || distance % static_cast<long>(range.m_Step) == 0;
}

// Takes the text over into the value of each kind.
class TextSetter : public boost::static_visitor<bool> {
 public:
  explicit TextSetter(const std::string& text) : text_(text) {}

  bool operator()(PI::CRangeData& data) const {
    const auto value = WholeNumber<int>(text_);
    if (!value || *value < data.m_Minimum || *value > data.m_Maximum || !IsStep(data, *value)) {
      return false;
    }
    data.m_Value = *value;
    return true;
  }
  bool operator()(PI::CChoiceData& data) const {
    const auto chosen = std::find_if(data.m_Choices.begin(), data.m_Choices.end(), [&](int code) {
      return text_ == std::to_string(code) || text_ == ChoiceText(code);
    });
    if (chosen == data.m_Choices.end()) return false;
    data.m_Selected = *chosen;
    return true;
  }
  bool operator()(PI::CBoolData& data) const {
    if (text_ != "yes" && text_ != "no" && text_ != "true" && text_ != "false") return false;
    data.m_Value = text_ == "yes" || text_ == "true";
    return true;
  }
  bool operator()(PI::CStringData& data) const {
    data.m_Value = text_;
    return true;
  }
  bool operator()(PI::CLongData& data) const { return Take(data.m_Value); }
  bool operator()(PI::CSignedLongData& data) const { return Take(data.m_Value); }
  bool operator()(PI::CFloatData& data) const {
    float number = 0;
    const char* const end = text_.data() + text_.size();
    const auto result = std::from_chars(text_.data(), end, number);
    if (result.ec != std::errc() || result.ptr != end || !std::isfinite(number)) return false;
    data.m_Value = number;
    return true;
  }
  template <class List>
  bool operator()(List&) const {
    return false;
  }

 private:
  template <class Number>
  bool Take(Number& out) const {
    const auto number = WholeNumber<Number>(text_);
    if (number) out = *number;
    return number.has_value();
  }

  const std::string& text_;
};

}  // namespace

bool SetFromText(PI::CProperty& property, const std::string& text) {
  return boost::apply_visitor(TextSetter(text), property.m_Value);
}

std::string AllowedText(const PI::CProperty& property) {
  if (const auto* const range = boost::get<PI::CRangeData>(&property.m_Value)) {
    PI::CProperty highest = property;  // shows the unit
    boost::get<PI::CRangeData>(highest.m_Value).m_Value = range->m_Maximum;
    const std::string step =
        range->m_Step > 1 ? fmt::format(" in steps of {}", range->m_Step) : std::string();
    return fmt::format("{} to {}{}", range->m_Minimum, ValueText(highest), step);
  }
  if (const auto* const choice = boost::get<PI::CChoiceData>(&property.m_Value)) {
    std::vector<std::string> texts;
    for (const int code : choice->m_Choices) texts.push_back(ChoiceText(code));
    return fmt::format("{}", fmt::join(texts, " or "));
  }
  if (boost::get<PI::CBoolData>(&property.m_Value) != nullptr) return "yes or no";
  if (boost::get<PI::CStringData>(&property.m_Value) != nullptr) return "any text";
  if (boost::get<PI::CLongData>(&property.m_Value) != nullptr) return "a whole number from 0";
  if (boost::get<PI::CSignedLongData>(&property.m_Value) != nullptr) return "a whole number";
  if (boost::get<PI::CFloatData>(&property.m_Value) != nullptr) return "a number";
  return "nothing that can be written on a command line";
}

}  // namespace vxhost
