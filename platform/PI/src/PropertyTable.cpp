#include <algorithm>
#include <limits>
#include <type_traits>
#include <utility>

#include <PI/PropertyTable.h>

namespace PI {

namespace {

// The ends of what a field may hold. The lowest integer is the null of a field, so that the one
// above it is the lowest value; above the highest signed number the database would keep an
// approximation, which no row is read back from.
template <class Field>
constexpr Field LOWEST = -std::numeric_limits<Field>::max();
template <>
constexpr unsigned long LOWEST<unsigned long> = 0;
template <class Field>
constexpr Field HIGHEST = std::numeric_limits<Field>::max();
template <>
constexpr unsigned long HIGHEST<unsigned long> = std::numeric_limits<long>::max();

// The number at the width of the field.
template <class Field, class Number>
Field Saturate(Number number) {
  if constexpr (std::is_floating_point_v<Field>) {
    return static_cast<Field>(number);
  } else if constexpr (std::is_floating_point_v<Number>) {
    return static_cast<Field>(std::clamp(static_cast<double>(number),
                                         static_cast<double>(LOWEST<Field>),
                                         static_cast<double>(HIGHEST<Field>)));
  } else {
    if constexpr (std::is_same_v<Field, Number> && std::is_unsigned_v<Field>) {
      if (number == NOT_REPORTED) return number;
    }
    if (std::cmp_less(number, LOWEST<Field>)) return LOWEST<Field>;
    if (std::cmp_greater(number, HIGHEST<Field>)) return HIGHEST<Field>;
    return static_cast<Field>(number);
  }
}

// Stores what is a number; false for what is none.
template <class Field>
class CNumberStore : public boost::static_visitor<bool> {
 public:
  explicit CNumberStore(Field& field) : m_Field(field) {}

  bool operator()(const CChoiceData& data) const { return Store(data.m_Selected); }
  bool operator()(const CRangeData& data) const { return Store(data.m_Value); }
  bool operator()(const CBoolData& data) const { return Store(data.m_Value ? 1 : 0); }
  bool operator()(const CLongData& data) const { return Store(data.m_Value); }
  bool operator()(const CSignedLongData& data) const { return Store(data.m_Value); }
  bool operator()(const CFloatData& data) const {
    return data.m_Value != TEMPERATURE_UNKNOWN && Store(data.m_Value);
  }
  template <class Other>
  bool operator()(const Other&) const {
    return false;
  }

 private:
  template <class Number>
  bool Store(Number number) const {
    m_Field = Saturate<Field>(number);
    return true;
  }

  Field& m_Field;
};

template <class Field>
bool StoreNumber(const CPropertyValue& value, Field& field) {
  const CNumberStore<Field> store(field);
  return boost::apply_visitor(store, value);
}

template <class Numbers>
void StoreTexts(const Numbers& numbers, std::vector<std::string>& field) {
  field.clear();
  for (const auto number : numbers) field.push_back(std::to_string(number));
}

}  // namespace

bool StoreValue(const CPropertyValue& value, int& field) {
  return StoreNumber(value, field);
}

bool StoreValue(const CPropertyValue& value, unsigned long& field) {
  return StoreNumber(value, field);
}

bool StoreValue(const CPropertyValue& value, double& field) {
  return StoreNumber(value, field);
}

bool StoreValue(const CPropertyValue& value, std::string& field) {
  if (const auto* text = boost::get<CStringData>(&value)) {
    field = text->m_Value;
    return true;
  }
  if (const auto* xml = boost::get<CXMLData>(&value)) {
    field = xml->m_Value;
    return true;
  }
  return false;
}

bool StoreValue(const CPropertyValue& value, std::vector<std::string>& field) {
  if (const auto* texts = boost::get<CMultiStringData>(&value)) {
    field = texts->m_Values;
    return true;
  }
  if (const auto* choice = boost::get<CMultiValueData>(&value)) {
    StoreTexts(choice->m_Selected, field);
    return true;
  }
  if (const auto* numbers = boost::get<CMultiLongData>(&value)) {
    StoreTexts(numbers->m_Values, field);
    return true;
  }
  return false;
}

COperation MakeOperation(const COperationDescriptor& descriptor) {
  COperation operation;
  operation.m_Numbers = descriptor.m_Numbers;
  operation.m_Flag = descriptor.m_Flag;
  return operation;
}

}  // namespace PI
