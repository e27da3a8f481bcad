#pragma once

#include <concepts>
#include <string>
#include <utility>

#include <DatabaseORM/Records.h>

// What a query is asked for: values that the caller builds from member pointers and passes on.
//   where(is_equal(&PD::SerialNumber, serial) && is_equal(&PD::Host, "localhost"))
//
// Only equality and "and": that is all that rows are looked up by. What does not fit together does
// not compile (tests/compile_fail): a field with a value of another kind, conditions on two
// records, a query without a condition, which would mean every row. Conditions are value types that
// own their values, but for a const char*; building one throws for lack of memory only. [one thread
// at a time]
namespace DatabaseORM {

// The records that have a table. Another one takes a row in the lists at the ends of Storage.cpp,
// FieldMap.cpp and Table.cpp as well.
template <class Record>
concept ModelRecord = std::same_as<Record, RaidDataModels::Adapter> ||
    std::same_as<Record, RaidDataModels::PD> || std::same_as<Record, RaidDataModels::Plugin>;

// Which fields are compared with which values: whole numbers with whole numbers, texts with texts.
template <class Field, class Value>
concept ComparableField = (std::same_as<Field, int> && std::same_as<Value, int>) ||
                          (std::same_as<Field, std::string> &&
                           (std::same_as<Value, std::string> || std::same_as<Value, const char*>));

// The fields that a condition or a maximum may name: real numbers and lists have no one text that
// they could be compared by.
template <class Field>
concept NamedField = std::same_as<Field, int> || std::same_as<Field, unsigned long> ||
    std::same_as<Field, std::string>;

// The fields that have a largest value.
template <class Field>
concept CountedField = std::same_as<Field, int> || std::same_as<Field, unsigned long>;

// A field equals a value. A const char* must stay valid as long as the condition; null counts as
// the empty text.
template <ModelRecord Record, class Field, class Value>
requires ComparableField<Field, Value>
struct is_equal_t {
  using record_type = Record;
  Field Record::*field;
  Value value;
};

// Both conditions hold. Conditions nest to the left and to the right alike.
template <class Left, class Right>
struct and_condition_t {
  using record_type = typename Left::record_type;
  Left left;
  Right right;
};

// Whether a type is one of the two above.
template <class Condition>
struct is_condition : std::false_type {};
template <class Record, class Field, class Value>
struct is_condition<is_equal_t<Record, Field, Value>> : std::true_type {};
template <class Left, class Right>
struct is_condition<and_condition_t<Left, Right>> : std::true_type {};

template <class Condition>
concept QueryCondition = is_condition<Condition>::value;

// Conditions over one and the same record: a statement is about one table.
template <class Left, class Right>
concept SameRecord = std::same_as<typename Left::record_type, typename Right::record_type>;

// The condition that a query takes: a type of its own, so that a condition that was built and not
// handed over as one does not pass for it.
template <QueryCondition Condition>
struct where_t {
  using record_type = typename Condition::record_type;
  Condition condition;
};

// Whether a condition is about the record of a query.
template <class Condition, class Record>
concept ConditionOnRecord = std::same_as<typename Condition::record_type, Record>;

// The field of a row equals the value, compared by the database: texts byte for byte.
template <ModelRecord Record, class Field, class Value>
requires ComparableField<Field, Value> is_equal_t<Record, Field, Value> is_equal(
    Field Record::*field, Value value) {
  return {field, std::move(value)};
}

// Both hold; the operator is another name for it.
template <QueryCondition Left, QueryCondition Right>
requires SameRecord<Left, Right> and_condition_t<Left, Right> and_(Left left, Right right) {
  return {std::move(left), std::move(right)};
}

template <QueryCondition Left, QueryCondition Right>
requires SameRecord<Left, Right> and_condition_t<Left, Right>
operator&&(Left left, Right right) {
  return {std::move(left), std::move(right)};
}

// Makes the condition one that get_all and remove_all take. There is no way to ask for all rows.
template <QueryCondition Condition>
where_t<Condition> where(Condition condition) {
  return {std::move(condition)};
}

}  // namespace DatabaseORM
