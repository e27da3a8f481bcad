#pragma once

#include "piTorvex.h"

#include <algorithm>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include <TLX/Internals/TraceSink.h>
#include <TLXX/System.h>

namespace vxtest {

// Keeps the trace lines of the plug-in while it lives.
class TraceRecorder {
 public:
  struct Line {
    unsigned int level;
    std::string file;
    std::string function;
    std::string text;
  };

  explicit TraceRecorder(unsigned int mask = 31) : sink_(std::make_shared<Sink>()) {
    TLX::Internals::SetTraceSink(sink_);
    NAMESPACE_piTorvex::TLX_MODULE_INFO_piTorvex.SetTraceMask(mask);
  }
  ~TraceRecorder() {
    NAMESPACE_piTorvex::TLX_MODULE_INFO_piTorvex.SetTraceMask(0);
    TLX::Internals::SetTraceSink(nullptr);
  }
  TraceRecorder(const TraceRecorder&) = delete;
  TraceRecorder& operator=(const TraceRecorder&) = delete;

  const std::vector<Line>& Lines() const { return sink_->lines; }
  std::vector<std::string> Texts() const {
    std::vector<std::string> texts;
    for (const Line& line : Lines()) texts.push_back(line.text);
    return texts;
  }
  bool Holds(const std::string& text) const {
    const std::vector<std::string> texts = Texts();
    return std::find(texts.begin(), texts.end(), text) != texts.end();
  }

 private:
  struct Sink : TLX::Internals::ITraceSink {
    void Write(const TLX::Internals::CTraceLine& line) override {
      lines.push_back({line.m_Level, line.m_File, line.m_Function, line.m_Text});
    }
    std::vector<Line> lines;
  };
  std::shared_ptr<Sink> sink_;
};

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
