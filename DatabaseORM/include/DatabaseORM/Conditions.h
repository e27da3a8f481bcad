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

// The records that have a table: the queries and the field maps are compiled for these three in the
// builder's library, and for no other. Another one takes a row in the lists at the ends of
// Storage.cpp, FieldMap.cpp and Table.cpp as well.
template <class Record>
concept ModelRecord = std::same_as<Record, RaidDataModels::Adapter> ||
    std::same_as<Record, RaidDataModels::PD> || std::same_as<Record, RaidDataModels::Plugin>;

// Which fields are compared with which values: whole numbers with whole numbers, texts with texts.
// Nothing is converted, so that a number that does not fit its column cannot match by accident;
// fields of type unsigned long have no comparison.
template <class Field, class Value>
concept ComparableField = (std::same_as<Field, int> && std::same_as<Value, int>) ||
                          (std::same_as<Field, std::string> &&
                           (std::same_as<Value, std::string> || std::same_as<Value, const char*>));

// The fields that a condition or a maximum may name: real numbers and lists have no one text that
// they could be compared by.
template <class Field>
concept NamedField = std::same_as<Field, int> || std::same_as<Field, unsigned long> ||
    std::same_as<Field, std::string>;

// The fields that have a largest value: storage_t::max asks the database for it.
template <class Field>
concept CountedField = std::same_as<Field, int> || std::same_as<Field, unsigned long>;

// A field equals a value. A const char* must stay valid as long as the condition; null counts as
// the empty text. Column and quotation marks come in only when the statement is made, so a field
// without a column is found out then.
template <ModelRecord Record, class Field, class Value>
requires ComparableField<Field, Value>
struct is_equal_t {
  using record_type = Record;
  Field Record::*field;  // never null
  Value value;           // as given; a text unquoted
};

// Both conditions hold. Conditions nest to the left and to the right alike, to any depth: each
// level is one pair of brackets in the statement. Holds copies of both, in the order given.
// Made by and_ and by the operator, which see to it that both are about one record; a query takes
// it only from where.
template <class Left, class Right>
struct and_condition_t {
  using record_type = typename Left::record_type;  // that of both
  Left left;                                       // stands first in the statement
  Right right;                                     // behind its AND
};

// Whether a type is one of the two above. Not for people to specialise: storage_t has a text for
// these two alone.
template <class Condition>
struct is_condition : std::false_type {};
// A comparison is one.
template <class Record, class Field, class Value>
struct is_condition<is_equal_t<Record, Field, Value>> : std::true_type {};
// So is a pair, whatever stands on its sides: it cannot be made of anything else.
template <class Left, class Right>
struct is_condition<and_condition_t<Left, Right>> : std::true_type {};

// The same as a concept, for the functions below and for storage_t. where_t is none: a query's
// condition cannot be part of another one.
template <class Condition>
concept QueryCondition = is_condition<Condition>::value;

// Conditions over one and the same record: a statement is about one table, and the builder makes no
// joins. Rows of two tables take two queries.
template <class Left, class Right>
concept SameRecord = std::same_as<typename Left::record_type, typename Right::record_type>;

// The condition that a query takes: a type of its own, so that a condition that was built and not
// handed over as one does not pass for it.
template <QueryCondition Condition>
struct where_t {
  using record_type = typename Condition::record_type;
  Condition condition;  // a copy; the query reads it during the call
};

// Whether a condition is about the record of a query: get_all<PD> refuses one on adapters while
// compiling.
template <class Condition, class Record>
concept ConditionOnRecord = std::same_as<typename Condition::record_type, Record>;

// The field of a row equals the value, compared by the database: texts byte for byte. A null in the
// row equals nothing, the null of its kind neither, so rows cannot be looked up by it.
template <ModelRecord Record, class Field, class Value>
requires ComparableField<Field, Value> is_equal_t<Record, Field, Value> is_equal(
    Field Record::*field, Value value) {
  return {field, std::move(value)};
}

// Both hold; the operator is another name for it. Nothing is evaluated here, so neither side is
// left out as with the operator of the language.
template <QueryCondition Left, QueryCondition Right>
requires SameRecord<Left, Right> and_condition_t<Left, Right> and_(Left left, Right right) {
  return {std::move(left), std::move(right)};
}

// Found by the conditions' own namespace, so a caller needs no using directive.
template <QueryCondition Left, QueryCondition Right>
requires SameRecord<Left, Right> and_condition_t<Left, Right>
operator&&(Left left, Right right) {
  return {std::move(left), std::move(right)};
}

// Makes the condition one that get_all and remove_all take, and sends nothing itself; it may be
// made once and used for several queries. There is no way to ask for all rows.
template <QueryCondition Condition>
where_t<Condition> where(Condition condition) {
  return {std::move(condition)};
}

}  // namespace DatabaseORM
