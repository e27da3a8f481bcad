#pragma once

#include <string>
#include <utility>
#include <variant>

namespace vxhost {

// Why something could not be done, as one line for people.
struct Problem {
  std::string text;
};

// What a function made, or why it could not: for failures that callers are expected to meet. What
// ends the program is a Failure; what a plug-in answers is its code.
template <class Value, class Why = Problem>
class [[nodiscard]] Result {
 public:
  // Implicit, so that a function returns either as it is.
  Result(Value value) : content_(std::in_place_index<0>, std::move(value)) {}
  Result(Why why) : content_(std::in_place_index<1>, std::move(why)) {}

  [[nodiscard]] bool IsGood() const { return content_.index() == 0; }

  // The value; throws std::bad_variant_access when there is none.
  [[nodiscard]] Value& Get() { return std::get<0>(content_); }
  [[nodiscard]] const Value& Get() const { return std::get<0>(content_); }

  // Why there is none; throws std::bad_variant_access when there is one.
  [[nodiscard]] const Why& Reason() const { return std::get<1>(content_); }

 private:
  std::variant<Value, Why> content_;
};

}  // namespace vxhost
