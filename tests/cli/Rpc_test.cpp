#include "HostProcess.h"
#include "support/Files.h"

#include <chrono>
#include <csignal>
#include <string>
#include <thread>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::UnorderedElementsAre;

std::vector<std::string> Lines(const std::string& text) {
  std::vector<std::string> lines;
  for (std::size_t begin = 0; begin < text.size();) {
    const std::size_t end = std::min(text.find('\n', begin), text.size());
    lines.push_back(text.substr(begin, end - begin));
    begin = end + 1;
  }
  return lines;
}

// The call-by-call service on the fixture plug-in.
class Rpc : public testing::Test {
 protected:
  void Script(const std::string& json) { vxtest::WriteFile(directory_ / "script", json); }

  std::vector<std::string> Words(const std::vector<std::string>& options = {}) const {
    std::vector<std::string> words = {"rpc", "--plugin", VXTEST_PLUGIN};
    words.insert(words.end(), options.begin(), options.end());
    return words;
  }

  vxtest::HostProcess::Environment Environment() const {
    return {{"VXTEST_PLUGIN_FILE", (directory_ / "script").string()},
            {"VXTEST_PLUGIN_LOG", (directory_ / "log").string()}};
  }

  // The answers to the input; the host must end with 0.
  std::vector<std::string> Answers(const std::string& input,
                                   const std::vector<std::string>& options = {}) {
    const vxtest::HostRun run = vxtest::RunHost(Words(options), input, Environment());
    EXPECT_EQ(run.status, 0) << run.err;
    errors_ = run.err;
    return Lines(run.out);
  }

  // What was called in the plug-in.
  std::vector<std::string> Calls() const { return Lines(vxtest::ReadFile(directory_ / "log")); }

  vxtest::TempDir directory_;
  std::string errors_;
};

TEST_F(Rpc, WithoutRequests_CreatesAndReleasesAndNothingElse) {
  EXPECT_THAT(Answers(""), IsEmpty());
  EXPECT_THAT(Calls(), ElementsAre("createIf mask 0", "releaseIf object"));
}

TEST_F(Rpc, EndOfInput_CallsCommand3OnlyIfCommand2WasAnd3WasNot) {
  Answers("{\"command\":1}\n");
  EXPECT_THAT(Calls(),
              ElementsAre("createIf mask 0", "command 1 object 0 data true", "releaseIf object"));
  std::filesystem::remove(directory_ / "log");
  Answers("{\"command\":2}\n");
  EXPECT_THAT(Calls(), ElementsAre("createIf mask 0", "command 2 object 0 data true",
                                   "command 3 object 0 data false", "releaseIf object"));
  std::filesystem::remove(directory_ / "log");
  Answers("{\"command\":2}\n{\"command\":3}\n");
  EXPECT_THAT(Calls(), ElementsAre("createIf mask 0", "command 2 object 0 data true",
                                   "command 3 object 0 data false", "releaseIf object"));
}

TEST_F(Rpc, AnyCommandNumberAndObject_ArePassedOn) {
  EXPECT_THAT(Answers("{\"id\":1,\"command\":0}\n{\"id\":2,\"command\":4294967295,"
                      "\"object\":18446744073709551615}\n"),
              ElementsAre(R"({"id":1,"result":20002})", R"({"id":2,"result":20002})"));
  EXPECT_EQ(Calls()[2], "command 4294967295 object ffffffffffffffff data false");
}

TEST_F(Rpc, NullData_IsANullPointerAndWithoutDataIsNot) {
  EXPECT_THAT(Answers("{\"id\":1,\"command\":5,\"data\":null}\n{\"id\":2,\"command\":5}\n"),
              ElementsAre(R"({"id":1,"result":20000,"data":null})",
                          R"({"id":2,"result":20008,"data":[]})"));
  EXPECT_EQ(Calls()[1], "command 5 object 0 data false");
  EXPECT_EQ(Calls()[2], "command 5 object 0 data true");
}

TEST_F(Rpc, Data_IsShownAsItStandsAfterTheCall) {
  Script(R"({"initialize":20012,"answers":{"8":20042},)"
         R"("adapters":[{"numbers":[1,2,3,4],"hostNumber":-1}]})");
  EXPECT_THAT(
      Answers("{\"id\":1,\"command\":1}\n"                              // filled, then failed
              "{\"id\":2,\"command\":4,\"data\":[{\"id\":\"0x7\"}]}\n"  // emptied
              "{\"id\":3,\"command\":8,\"data\":[{\"id\":5}]}\n"        // untouched
              "{\"id\":4,\"command\":6,\"object\":\"0x1\",\"data\":{\"id\":9}}\n"),  // untouched
      ElementsAre(
          R"({"id":1,"result":20012,"data":[{"name":"","numbers":[1,2,3,4],"index":0,"hostNumber":-1}]})",
          R"({"id":2,"result":0,"data":[]})",
          R"({"id":3,"result":20042,"data":[{"id":5,"numbers":[5,0,0,0,0,0,0,0,0],"flag":false,"events":[]}]})",
          HasSubstr(R"("id":4,"result":20008,"data":{"id":9,)")));
}

TEST_F(Rpc, Events_AreAnsweredInTheOperation) {
  Script(R"({"events":[{"id":10957,"severity":4,"object":"0x5","time":18446744073709551615,)"
         R"("name":"N","placeholder1":"P","placeholder2":" "}]})");
  EXPECT_THAT(
      Answers("{\"id\":1,\"command\":10,\"data\":{\"id\":50002}}\n"),
      ElementsAre(
          R"({"id":1,"result":0,"data":{"id":50002,"numbers":[50002,0,0,0,0,0,0,0,0],"flag":false,)"
          R"("events":[{"id":10957,"severity":4,"object":"0x0000000000000005",)"
          R"("time":18446744073709551615,"name":"N","placeholder1":"P","placeholder2":" "}]}})"));
}

TEST_F(Rpc, BadLines_AreAnsweredInOrderAndServiceGoesOn) {
  const auto answers = Answers(
      "nonsense\n\n{\"id\":3}\n{\"id\":4,\"command\":-1}\n\xFF\n[]\n{\"id\":7,\"command\":3}");
  ASSERT_EQ(answers.size(), 7U);
  for (std::size_t i = 0; i < 6; ++i) EXPECT_THAT(answers[i], HasSubstr("\"error\":\"")) << i;
  EXPECT_THAT(answers[0], testing::StartsWith(R"({"id":null,)"));
  EXPECT_THAT(answers[2], testing::StartsWith(R"({"id":3,)"));
  EXPECT_THAT(answers[3], testing::StartsWith(R"({"id":4,)"));
  EXPECT_EQ(answers[6], R"({"id":7,"result":0})");
}

TEST_F(Rpc, AfterRelease_CommandsAreErrorsUntilCreate) {
  EXPECT_THAT(
      Answers("{\"id\":1,\"control\":\"release\"}\n{\"id\":2,\"command\":3}\n"
              "{\"id\":3,\"control\":\"release\"}\n{\"id\":4,\"control\":\"create\"}\n"
              "{\"id\":5,\"control\":\"create\"}\n{\"id\":6,\"command\":3}\n"),
      ElementsAre(R"({"id":1,"result":0})",
                  R"({"id":2,"error":"no interface object lives: create one first"})",
                  R"({"id":3,"result":0})", R"({"id":4,"result":0})",
                  R"({"id":5,"error":"an interface object lives already: release it first"})",
                  R"({"id":6,"result":0})"));
  EXPECT_THAT(Calls(),
              ElementsAre("createIf mask 0", "releaseIf object", "releaseIf null",
                          "createIf mask 0", "command 3 object 0 data false", "releaseIf object"));
}

TEST_F(Rpc, ReleaseWhileAWorkerMayRun_IsAnErrorUntilCommand3) {
  const auto answers = Answers(
      "{\"id\":1,\"command\":2}\n{\"id\":2,\"control\":\"release\"}\n"
      "{\"id\":3,\"command\":3}\n{\"id\":4,\"control\":\"release\"}\n");
  ASSERT_EQ(answers.size(), 4U);
  EXPECT_EQ(answers[1], R"({"id":2,"error":"the object may still be at work since command 2: )"
                        R"(send command 3 first"})");
  EXPECT_EQ(answers[3], R"({"id":4,"result":0})");
  EXPECT_THAT(Calls(),
              ElementsAre("createIf mask 0", "command 2 object 0 data true",
                          "command 3 object 0 data false", "releaseIf object", "releaseIf null"));
}

TEST_F(Rpc, FailedCreate_IsAnsweredWithItsResult) {
  Script(R"({"create":20007})");
  EXPECT_THAT(Answers("{\"id\":1,\"command\":4}\n{\"id\":2,\"control\":\"create\"}\n"),
              ElementsAre(HasSubstr("no interface object lives"), R"({"id":2,"result":20007})"));
  EXPECT_THAT(errors_, HasSubstr("createIf failed with 20007"));
}

TEST_F(Rpc, Notifications_AreLinesOfTheirOwnCountedSinceCreate) {
  Script(R"({"notify":200})");
  vxtest::HostProcess host(Words(), Environment());
  for (int life = 0; life < 2; ++life) {
    host.Send("{\"id\":\"two\",\"command\":2}\n");
    int next = 1;
    bool answered = false;
    for (int i = 0; i < 201; ++i) {
      const std::string line = host.Line();
      if (line == R"({"id":"two","result":0})") {
        answered = true;
      } else {
        EXPECT_EQ(line, R"({"notify":)" + std::to_string(next++) + "}");
      }
    }
    EXPECT_TRUE(answered);
    host.Send("{\"command\":3}\n{\"control\":\"release\"}\n{\"control\":\"create\"}\n");
    for (int i = 0; i < 3; ++i) EXPECT_EQ(host.Line(), R"({"id":null,"result":0})");
  }
  host.EndInput();
  EXPECT_EQ(host.Wait(), 0);
}

TEST_F(Rpc, WhatThePluginPrints_GoesToStandardError) {
  Script(R"({"print":"from the plug-in"})");
  EXPECT_THAT(Answers("{\"id\":1,\"command\":3}\n"), ElementsAre(R"({"id":1,"result":0})"));
  EXPECT_THAT(errors_, HasSubstr("from the plug-in\n"));
}

TEST_F(Rpc, Trace_SetsTheMaskOfThePluginsRecords) {
  Answers(
      "{\"control\":\"trace\",\"mask\":12}\n{\"control\":\"release\"}\n"
      "{\"control\":\"create\"}\n",
      {"--trace", "30"});
  EXPECT_EQ(Calls().front(), "createIf mask 30");
  EXPECT_EQ(Calls()[2], "createIf mask 12");
}

TEST_F(Rpc, Sleep_IsRealTimeWhateverTheTimeScale) {
  const auto start = std::chrono::steady_clock::now();
  EXPECT_THAT(Answers("{\"id\":1,\"control\":\"sleep\",\"ms\":120}\n", {"--time-scale", "1000"}),
              ElementsAre(R"({"id":1,"result":0})"));
  EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(120));
}

TEST_F(Rpc, MegabytesInOneLine_AreServed) {
  std::string line = R"({"id":1,"command":5,"object":1,"data":[{"id":1})";
  for (int i = 0; i < 100'000; ++i) line += R"(,{"id":2,"kind":"string","value":"0123456789"})";
  EXPECT_THAT(Answers(line + "]}\n{\"id\":2,\"command\":3}\n"),
              ElementsAre(R"({"id":1,"result":20008,"data":[]})", R"({"id":2,"result":0})"));
}

TEST_F(Rpc, ReaderThatHasGone_EndsTheServiceInOrder) {
  vxtest::HostProcess host(Words(), Environment());
  host.Send("{\"id\":1,\"command\":2}\n");
  EXPECT_EQ(host.Line(), R"({"id":1,"result":0})");
  host.CloseOutput();
  host.Send("{\"id\":2,\"command\":4}\n");
  EXPECT_EQ(host.Wait(), 1);
  EXPECT_EQ(Calls().back(), "releaseIf object");
  EXPECT_EQ(Calls()[Calls().size() - 2], "command 3 object 0 data false");
}

TEST_F(Rpc, SignalWhileItWaitsForALine_EndsTheServiceInOrder) {
  for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
    vxtest::HostProcess host(Words(), Environment());
    host.Send("{\"id\":1,\"command\":2}\n{\"id\":2");  // half a line is none
    EXPECT_EQ(host.Line(), R"({"id":1,"result":0})");
    host.Signal(signal);
    std::string rest;
    EXPECT_EQ(host.Wait(&rest), -signal);
    EXPECT_EQ(rest, "");
    EXPECT_THAT(Calls(), ElementsAre("createIf mask 0", "command 2 object 0 data true",
                                     "command 3 object 0 data false", "releaseIf object"));
    std::filesystem::remove(directory_ / "log");
  }
}

TEST_F(Rpc, SignalWhileItSleeps_EndsTheSleep) {
  vxtest::HostProcess host(Words(), Environment());
  host.Send("{\"id\":1,\"command\":2}\n{\"id\":2,\"control\":\"sleep\",\"ms\":4000000000}\n");
  EXPECT_EQ(host.Line(), R"({"id":1,"result":0})");
  host.Signal(SIGTERM);
  EXPECT_EQ(host.Wait(), -SIGTERM);
  EXPECT_EQ(Calls().back(), "releaseIf object");
}

TEST_F(Rpc, SecondSignal_EndsTheServiceAtOnce) {
  Script(R"({"hang":4})");
  vxtest::HostProcess host(Words(), Environment());
  host.Send("{\"id\":1,\"command\":4}\n");
  while (!std::filesystem::exists(directory_ / "log") || Calls().size() < 2) {
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
  }
  host.Signal(SIGINT);
  host.Signal(SIGTERM);
  EXPECT_EQ(host.Wait(), -SIGTERM);
  EXPECT_EQ(Calls().back(), "command 4 object 0 data true");
}

TEST_F(Rpc, SIGUSR1_IsAQuestionAndEndsNothing) {
  vxtest::HostProcess host(Words(), Environment());
  for (int id = 1; id < 3; ++id) {
    host.Send("{\"id\":" + std::to_string(id) + ",\"command\":3}\n");
    EXPECT_EQ(host.Line(), "{\"id\":" + std::to_string(id) + ",\"result\":0}");
    host.Signal(SIGUSR1);
  }
  host.EndInput();
  EXPECT_EQ(host.Wait(), 0);
}

TEST_F(Rpc, SignalThatWasIgnoredFromTheStart_StaysIgnored) {
  const auto before = std::signal(SIGHUP, SIG_IGN);
  vxtest::HostProcess host(Words(), Environment());
  std::signal(SIGHUP, before);
  host.Send("{\"id\":1,\"command\":3}\n");
  EXPECT_EQ(host.Line(), R"({"id":1,"result":0})");
  host.Signal(SIGHUP);
  host.Send("{\"id\":2,\"command\":3}\n");
  EXPECT_EQ(host.Line(), R"({"id":2,"result":0})");
  host.EndInput();
  EXPECT_EQ(host.Wait(), 0);
}

TEST_F(Rpc, ObjectOfAnotherInterface_IsRefusedAtTheStart) {
  Script(R"({"interface":3})");
  const auto run = vxtest::RunHost(Words(), "{\"id\":1,\"command\":4}\n", Environment());
  EXPECT_EQ(run.status, 3);
  EXPECT_EQ(run.out, "");
  EXPECT_EQ(run.err,
            "vxhost: plug-in vxtest_plugin speaks interface version 3, this host speaks 2\n");
  EXPECT_THAT(Calls(), ElementsAre("createIf mask 0", "releaseIf object"));
}

TEST_F(Rpc, ObjectOfAnotherInterface_IsRefusedAtCreate) {
  vxtest::HostProcess host(Words(), Environment());
  host.Send("{\"id\":1,\"control\":\"release\"}\n");
  EXPECT_EQ(host.Line(), R"({"id":1,"result":0})");
  Script(R"({"interface":1})");
  host.Send("{\"id\":2,\"control\":\"create\"}\n{\"id\":3,\"command\":4}\n");
  EXPECT_EQ(
      host.Line(),
      R"({"id":2,"error":"plug-in vxtest_plugin speaks interface version 1, this host speaks 2"})");
  EXPECT_THAT(host.Line(), HasSubstr("no interface object lives"));
  host.EndInput();
  EXPECT_EQ(host.Wait(), 0);
}

}  // namespace
