#include "Json.h"

#include "RecordReader.h"

#include <cmath>
#include <limits>
#include <string>

#include <gtest/gtest.h>
#include <rapidjson/document.h>

#include <PI/Catalogue.h>

namespace {

using vxhost::JsonText;

const std::string BAD = "\xEF\xBF\xBD";

template <class Record>
std::string ToJson(const Record& record) {
  JsonText json;
  vxhost::Write(json, record);
  return json.Take();
}

std::string FloatJson(float number) {
  JsonText json;
  json.Float(number);
  return json.Take();
}

template <class Record>
Record FromJson(const std::string& text) {
  vxhost::JsonDocument document;
  document.Parse(text.c_str());
  Record record;
  vxhost::Read(document, record);
  return record;
}

std::string ProblemOf(const std::string& propertyJson) {
  try {
    FromJson<PI::CProperty>(propertyJson);
    return "nothing wrong";
  } catch (const vxhost::Malformed& problem) {
    return problem.what();
  }
}

TEST(JsonFloat, WritesTheShortestTextThatReadsBackTheSame) {
  EXPECT_EQ(FloatJson(36.6F), "36.6");
  EXPECT_EQ(FloatJson(37.0F), "37.0");
  EXPECT_EQ(FloatJson(-1.0F), "-1.0");
  EXPECT_EQ(FloatJson(1e20F), "1e+20");
}

TEST(JsonFloat, WhatIsNoNumber_IsNull) {
  EXPECT_EQ(FloatJson(std::numeric_limits<float>::quiet_NaN()), "null");
  EXPECT_EQ(FloatJson(std::numeric_limits<float>::infinity()), "null");
}

TEST(JsonRecords, AdapterId_HasTheMembersInOrder) {
  PI::CAdapterID adapter;
  adapter.m_Identification = {0x10000, 3, 0, 7};
  adapter.m_AdapterIndex = 4294967295U;
  EXPECT_EQ(ToJson(adapter),
            R"({"name":"","numbers":[65536,3,0,7],"index":4294967295,"hostNumber":-1})");
}

TEST(JsonRecords, UnsignedOf64Bits_IsExact) {
  PI::CProperty property(PI::PROPERTY_ALL, false);
  property.SetValue(18446744073709551615UL);
  const std::string json = ToJson(property);
  EXPECT_NE(json.find("18446744073709551615"), std::string::npos) << json;
  const auto back = FromJson<PI::CProperty>(json);
  EXPECT_EQ(boost::get<PI::CLongData>(back.m_Value).m_Value, 18446744073709551615UL);
}

TEST(JsonRecords, TextThatIsNoUtf8_IsShownReplaced) {
  PI::CProperty property(PI::PROPERTY_ALL, false);
  property.SetValue(std::string("S\xFF\0N", 4));
  EXPECT_NE(ToJson(property).find("\"value\":\"S" + BAD + "\\u0000N\""), std::string::npos);
}

// Every kind of value comes back as it was written.
TEST(JsonRecords, EveryKind_RoundTrips) {
  const std::vector<std::string> values = {
      R"("kind":"choice","unit":1,"settable":false,"value":{"selected":-5,"choices":[1,-5]})",
      R"("kind":"range","unit":1,"settable":true,"value":{"value":3,"min":-1,"max":9,"step":2})",
      R"("kind":"string","unit":21000,"settable":false,"value":"a\"\\\n\u0000z")",
      R"("kind":"bool","unit":1,"settable":false,"value":true)",
      R"("kind":"unsigned","unit":1,"settable":false,"value":18446744073709551615)",
      R"("kind":"signed","unit":1,"settable":false,"value":-9223372036854775808)",
      R"("kind":"multiValue","unit":1,"settable":false,"value":{"selected":[2],"choices":[1,2]})",
      R"("kind":"float","unit":1,"settable":false,"value":0.1)",
      R"("kind":"multiLong","unit":1,"settable":false,"value":[0,18446744073709551615])",
      R"("kind":"xml","unit":1,"settable":false,"value":"<a/>")",
      R"("kind":"multiString","unit":1,"settable":false,"value":["","x"])",
  };
  for (const std::string& value : values) {
    const std::string json = R"({"id":7,"label":23081,)" + value + "}";
    EXPECT_EQ(ToJson(FromJson<PI::CProperty>(json)), json);
  }
}

TEST(JsonRecords, Object_RoundTrips) {
  const std::string json =
      R"({"id":"0x0135000000000000","type":19006,"parents":["0xffffffffffffffff"],)"
      R"("children":["0x0000000000000001"],"readCounter":18446744073709551615,"locked":true,)"
      R"("properties":[],"operations":[{"id":4294967295,"numbers":[-1,2,3,4,5,6,7,8,9],)"
      R"("flag":true,"events":[{"id":10957,"severity":4,"object":"0x000000000000004a","time":5,)"
      R"("name":"n","placeholder1":"a","placeholder2":" b"}]}]})";
  EXPECT_EQ(ToJson(FromJson<PI::CObject>(json)), json);
}

TEST(RecordReader, ValueWithoutKind_TakesTheKindItLooksLike) {
  const std::vector<std::pair<std::string, int>> shapes = {
      {R"({"selected":1,"choices":[1]})", 0},
      {R"({"value":1,"min":0,"max":2,"step":1})", 1},
      {R"("x")", 2},
      {"true", 3},
      {"5", 4},
      {"-5", 5},
      {R"({"selected":[1],"choices":[1]})", 6},
      {"1.5", 7},
      {"[1,2]", 8},
      {R"(["a"])", 10}};
  for (const auto& [value, which] : shapes) {
    const auto property = FromJson<PI::CProperty>(R"({"id":1,"value":)" + value + "}");
    EXPECT_EQ(property.m_Value.which(), which) << value;
  }
}

TEST(RecordReader, KindWithoutValue_GivesTheEmptyValueOfTheKind) {
  const auto property = FromJson<PI::CProperty>(R"({"id":1,"kind":"range"})");
  EXPECT_EQ(boost::get<PI::CRangeData>(property.m_Value).m_Maximum, 0);
}

TEST(RecordReader, PropertyWithIdAlone_IsAsConstructed) {
  const auto property = FromJson<PI::CProperty>(R"({"id":30005})");
  const PI::CProperty fresh;
  EXPECT_EQ(property.m_PropertyID, PI::PROPERTY_POLL_INTERVAL);
  EXPECT_EQ(property.m_Value.which(), fresh.m_Value.which());
  EXPECT_EQ(property.m_LabelID, fresh.m_LabelID);
  EXPECT_EQ(property.m_Unit, fresh.m_Unit);
}

TEST(RecordReader, Problems_SayWhereAndWhat) {
  EXPECT_EQ(ProblemOf("{}"), R"(: lacks the member "id")");
  EXPECT_EQ(ProblemOf("[]"), ": must be an object");
  EXPECT_EQ(ProblemOf(R"({"id":-1})"), "id: must be an unsigned number of 32 bits");
  EXPECT_EQ(ProblemOf(R"({"id":4294967296})"), "id: must be an unsigned number of 32 bits");
  EXPECT_EQ(ProblemOf(R"({"id":1,"kind":"nothing"})"), "kind: is not one of the kinds of value");
  EXPECT_EQ(ProblemOf(R"({"id":1,"kind":"bool","value":1})"), "value: must be true or false");
  EXPECT_EQ(ProblemOf(R"({"id":1,"value":null})"), R"(value: must be given with a "kind")");
  EXPECT_EQ(ProblemOf(R"({"id":1,"kind":"multiLong","value":[1,-1]})"),
            "value[1]: must be an unsigned number of 64 bits");
  EXPECT_EQ(ProblemOf(R"({"id":1,"value":{"selected":0,"choices":["x"]}})"),
            "value.choices[0]: must be a signed number of 32 bits");
  EXPECT_EQ(ProblemOf(R"({"id":1,"colour":2})"), R"(: has an unknown member "colour")");
  EXPECT_EQ(ProblemOf(R"({"id":1,"unit":1,"unit":2})"), R"(: has the member "unit" twice)");
}

}  // namespace
