#include "RpcRequest.h"

#include <string>

#include <gtest/gtest.h>

#include <PI/Catalogue.h>
#include <PI/Codes.h>

namespace {

using vxhost::RpcKind;
using vxhost::RpcProblem;
using vxhost::RpcRequest;

RpcRequest Good(const std::string& line) {
  auto result = vxhost::ReadRpcRequest(line);
  if (!result.IsGood()) {
    ADD_FAILURE() << line << ": " << result.Reason().text;
    return {};
  }
  return result.Get();
}

RpcProblem Bad(const std::string& line) {
  auto result = vxhost::ReadRpcRequest(line);
  if (result.IsGood()) {
    ADD_FAILURE() << line << ": was taken";
    return {};
  }
  return result.Reason();
}

TEST(RpcRequest, Command_KeepsIdNumberAndObject) {
  const RpcRequest request = Good(R"({"id":7,"command":5,"object":"0x0135000000000002"})");
  EXPECT_EQ(request.id, "7");
  EXPECT_EQ(request.command, 5U);
  EXPECT_EQ(request.object, 0x0135000000000002UL);
}

TEST(RpcRequest, AnyJson_IsAnId) {
  for (const std::string id : {"null", "true", "\"a\\u0001\"", "-0.5", "18446744073709551615",
                               "[1,{\"x\":null}]", "{}", "\"\xC3\xA9\""}) {
    EXPECT_EQ(Good(R"({"command":3,"id":)" + id + "}").id, id);
  }
  EXPECT_EQ(Good(R"({"command":3})").id, "null");
}

TEST(RpcRequest, NumbersInTheId_AreEchoedDigitByDigit) {
  for (const std::string id :
       {"18446744073709551616", "-9223372036854775809", "1.10", "1E2", "-0",
        "0.1000000000000000055511151231257827", "1e-400", "12345678901234567890123456789"}) {
    EXPECT_EQ(Good(R"({"id":)" + id + R"(,"command":3})").id, id);
    EXPECT_EQ(Good(R"({"command":3,"data":[{"id":1}],"id": )" + id + " }").id, id);
    EXPECT_EQ(Good(R"({"id":[)" + id + R"(,{"id":)" + id + R"(}],"command":3})").id,
              "[" + id + ",{\"id\":" + id + "}]");
  }
}

TEST(RpcRequest, BehindAByteOrderMark_TheIdIsFoundToo) {
  EXPECT_EQ(Good("\xEF\xBB\xBF{\"id\":3,\"command\":1}").id, "3");
  EXPECT_EQ(Bad("\xBB{\"id\":3,\"comand\":1}").id, "3");
}

TEST(RpcRequest, HalfASurrogatePairInTheId_IsAnsweredAsTheReplacementCharacter) {
  EXPECT_EQ(Good(R"({"command":3,"id":"a\uDC00b"})").id, "\"a\uFFFDb\"");
  EXPECT_EQ(Good(R"({"command":3,"id":{"\uDC00":1}})").id, "{\"\uFFFD\":1}");
}

TEST(RpcRequest, MembersCalledIdFurtherDown_AreNotTheId) {
  EXPECT_EQ(Good(R"({"command":6,"data":{"id":9}})").id, "null");
  EXPECT_EQ(Good(R"({"command":6,"data":{"id":9},"\u0069d":"x"})").id, "\"x\"");
}

TEST(RpcRequest, ObjectId_MayBeANumberOrHexadecimalText) {
  EXPECT_EQ(Good(R"({"command":5,"object":86975767803592704})").object, 0x0135000000000000UL);
  EXPECT_EQ(Good(R"({"command":5,"object":"0XFF"})").object, 255UL);
  EXPECT_EQ(Good(R"({"command":5,"object":18446744073709551615})").object, ~0UL);
  EXPECT_EQ(Good(R"({"command":5})").object, 0UL);
  for (const std::string object : {"\"12\"", "\"0x\"", "\"0x1g\"", "\"0x11111111111111111\"", "-1",
                                   "1.5", "null", "18446744073709551616", "\"\""}) {
    const RpcProblem problem = Bad(R"({"id":1,"command":5,"object":)" + object + "}");
    EXPECT_EQ(problem.id, "1");
    EXPECT_TRUE(problem.text.starts_with("object: must be an id")) << problem.text;
  }
}

TEST(RpcRequest, CommandNumber_IsAnyUnsignedOf32Bits) {
  for (const unsigned int command : {0U, 11U, 4294967295U}) {
    EXPECT_EQ(Good(R"({"command":)" + std::to_string(command) + "}").command, command);
  }
  for (const std::string command : {"-1", "4294967296", "1.0", "\"1\"", "null", "[]"}) {
    EXPECT_EQ(Bad(R"({"command":)" + command + "}").text,
              "command: must be an unsigned number of 32 bits");
  }
}

TEST(RpcRequest, WithoutData_HasTheEmptyListOrRecordOfTheCommand) {
  const std::vector<std::size_t> kinds = {0, 1, 1, 0, 2, 3, 4, 4, 5, 6, 6, 0};
  for (std::size_t command = 0; command < kinds.size(); ++command) {
    EXPECT_EQ(Good(R"({"command":)" + std::to_string(command) + "}").data.index(), kinds[command])
        << command;
  }
}

TEST(RpcRequest, NullData_IsNoData) {
  for (int command = 0; command < 12; ++command) {
    const auto request = Good(R"({"data":null,"command":)" + std::to_string(command) + "}");
    EXPECT_EQ(request.data.index(), 0U) << command;
  }
}

TEST(RpcRequest, GivenData_IsRead) {
  const auto ids =
      std::get<1>(Good(R"({"command":1,"data":[{"numbers":[1,2,3,4],"hostNumber":-1}]})").data);
  ASSERT_EQ(ids.size(), 1U);
  EXPECT_EQ(ids[0].m_Identification[3], 4U);
  const auto properties = std::get<3>(Good(R"({"command":5,"data":[{"id":1},{"id":2}]})").data);
  EXPECT_EQ(properties.size(), 2U);
  const auto operation = std::get<6>(Good(R"({"command":10,"data":{"id":50002}})").data);
  EXPECT_EQ(operation.OperationID(), PI::OPERATION_FETCH_EVENTS);
}

TEST(RpcRequest, NumberBeyond64Bits_IsReadAsTheNearestFloat) {
  const auto properties =
      std::get<3>(Good(R"({"command":5,"data":[{"id":1,"value":184467440737095516156}]})").data);
  ASSERT_EQ(properties.size(), 1U);
  EXPECT_EQ(boost::get<PI::CFloatData>(properties[0].m_Value).m_Value, 184467440737095516156.0F);
}

TEST(RpcRequest, DataOfCommandsWithoutData_IsNotLookedAt) {
  EXPECT_EQ(Good(R"({"command":3,"data":[1]})").data.index(), 0U);
  EXPECT_EQ(Good(R"({"command":77,"data":{"x":1}})").data.index(), 0U);
}

TEST(RpcRequest, DataOfTheWrongShape_IsRefusedWithItsPlace) {
  EXPECT_EQ(Bad(R"({"command":2,"data":{}})").text, "data: must be a list");
  EXPECT_EQ(Bad(R"({"command":6,"data":[]})").text, "data: must be an object");
  EXPECT_EQ(Bad(R"({"command":2,"data":[{"numbers":[1,2,3],"hostNumber":1}]})").text,
            "data[0].numbers: must have 4 numbers");
  EXPECT_EQ(Bad(R"({"command":2,"data":[{"numbers":[1,2,3,4]}]})").text,
            R"(data[0]: lacks the member "hostNumber")");
  EXPECT_EQ(Bad(R"({"command":2,"data":[{"hostNumber":1}]})").text,
            R"(data[0]: lacks the member "numbers")");
  EXPECT_EQ(Bad(R"({"command":9,"data":{"id":1,"numbers":[2,0,0,0,0,0,0,0,0]}})").text,
            "data.id: differs from the first of the numbers");
}

TEST(RpcRequest, Controls_HaveTheirNumber) {
  EXPECT_EQ(Good(R"({"control":"release"})").kind, RpcKind::Release);
  EXPECT_EQ(Good(R"({"control":"create"})").kind, RpcKind::Create);
  EXPECT_EQ(Good(R"({"control":"sleep","ms":250})").number, 250U);
  EXPECT_EQ(Good(R"({"control":"trace","mask":30})").number, 30U);
  EXPECT_EQ(Bad(R"({"id":4,"control":"sleep"})").text,
            R"(the line: "sleep" lacks the member "ms")");
  EXPECT_EQ(Bad(R"({"control":"trace","mask":-1})").text,
            "mask: must be an unsigned number of 32 bits");
  EXPECT_TRUE(Bad(R"({"control":"jump"})").text.starts_with("control: must be"));
  EXPECT_TRUE(Bad(R"({"control":5})").text.starts_with("control: must be"));
  EXPECT_EQ(Bad(R"({"id":4,"control":"create","command":1})").text,
            R"(the line: has an unknown member "command")");
}

TEST(RpcRequest, WhatIsNoRequest_IsRefusedWithTheIdItHad) {
  EXPECT_EQ(Bad("").id, "null");
  EXPECT_EQ(Bad("{").id, "null");
  EXPECT_EQ(Bad("{\"id\":1}").id, "1");
  EXPECT_EQ(Bad("{\"id\":1}").text, R"(the line: lacks the member "command" or "control")");
  EXPECT_EQ(Bad("[1]").text, "the line: must be an object");
  EXPECT_EQ(Bad("{\"id\":1,\"command\":1} x").id, "null");
  EXPECT_EQ(Bad(std::string("{\"id\":1}\0", 9)).text, "the line holds a NUL byte");
  EXPECT_EQ(Bad("{\"id\":\"\xFF\"}").id, "null");
  EXPECT_EQ(Bad(R"({"id":1,"id":2,"command":1})").id, "null");
  EXPECT_EQ(Bad(R"({"id":1,"command":1,"command":2})").text,
            R"(the line: has the member "command" twice)");
  EXPECT_EQ(Bad(R"({"id":1,"command":1,"objekt":2})").text,
            R"(the line: has an unknown member "objekt")");
}

TEST(RpcRequest, NestingTooDeep_IsRefusedWithoutFollowingIt) {
  const std::string deep = std::string(1'000'000, '[') + std::string(1'000'000, ']');
  EXPECT_TRUE(Bad(deep).text.find("nests deeper") != std::string::npos);
  const RpcProblem problem = Bad(R"({"id":9,"command":4,"data":)" + deep + "}");
  EXPECT_EQ(problem.id, "9");
  EXPECT_EQ(Bad(R"({"id":)" + deep + R"(,"command":4})").id, "null");
  // Brackets in texts are no nesting.
  EXPECT_EQ(
      Good(R"({"command":3,"id":"\"[[[[[[[[[[[[[[[[[[[[[[[[[[[[[[[[[[[[[[[[[[[[[[[[[[[[[[[[[["})")
          .command,
      3U);
}

TEST(RpcRequest, MegabytesOfData_AreRead) {
  std::string line = R"({"command":5,"data":[{"id":1})";
  for (int i = 0; i < 50'000; ++i) line += R"(,{"id":2,"kind":"string","value":"0123456789"})";
  EXPECT_EQ(std::get<3>(Good(line + "]}").data).size(), 50'001U);
}

TEST(RpcRequest, AnswersWithData_AllKnownCommandsBut2And3) {
  for (unsigned int command = 0; command < 13; ++command) {
    const bool expected = command == 1 || (command >= 4 && command <= 10);
    EXPECT_EQ(vxhost::AnswersWithData(command), expected) << command;
  }
}

}  // namespace
