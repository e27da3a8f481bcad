#pragma once

#include "PluginTrace.h"
#include "piTorvex.h"

#include <map>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include <TLXX/System.h>

namespace vxtest {

// Answers commands by their arguments, in place of the real runner while it lives. A command that
// has no answer fails.
class FakeRunner : public TLXX::ICommandRunner {
 public:
  struct Answer {
    int result = 1;
    std::string output;
    std::vector<std::string> lines;
  };

  FakeRunner() : previous_(TLXX::CSystem::SetCommandRunner(this)) {}
  ~FakeRunner() override { TLXX::CSystem::SetCommandRunner(previous_); }

  int Execute(const std::string& command, const std::string& arguments,
              std::string& output) override {
    const Answer answer = Record(command, arguments);
    output = answer.output;
    return answer.result;
  }
  int Execute(const std::string& command, const std::string& arguments,
              std::vector<std::string>& lines) override {
    const Answer answer = Record(command, arguments);
    lines = answer.lines;
    return answer.result;
  }

  std::map<std::string, Answer> answers;
  std::vector<std::string> calls;
  std::vector<std::string> prefixes;

 private:
  Answer Record(const std::string& command, const std::string& arguments) {
    prefixes.push_back(command);
    calls.push_back(arguments);
    const auto answer = answers.find(arguments);
    return answer == answers.end() ? Answer{0, "", {}} : answer->second;
  }

  TLXX::ICommandRunner* previous_;
};

}  // namespace vxtest
