#include "Output.h"

#include "LineWriter.h"

#include <array>
#include <csignal>
#include <cstdio>
#include <stdexcept>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

namespace {

using testing::HasSubstr;
using vxhost::Output;

// Standard output as a pipe that nobody reads until somebody asks for it.
class UnreadOutput {
 public:
  UnreadOutput() : before_(::dup(STDOUT_FILENO)) {
    std::signal(SIGPIPE, SIG_IGN);  // as the host does
    std::fflush(stdout);
    if (::pipe(ends_.data()) != 0) throw std::runtime_error("no pipe");
    ::dup2(ends_[1], STDOUT_FILENO);
    ::close(ends_[1]);
  }
  ~UnreadOutput() {
    ::dup2(before_, STDOUT_FILENO);
    ::close(before_);
    ::close(ends_[0]);
  }
  UnreadOutput(const UnreadOutput&) = delete;
  UnreadOutput& operator=(const UnreadOutput&) = delete;

  std::string Line() const {
    std::string line;
    char byte = 0;
    while (::read(ends_[0], &byte, 1) == 1 && byte != '\n') line += byte;
    return line;
  }

 private:
  const int before_;
  std::array<int, 2> ends_{};
};

// The line that tells of dropped ones, when nobody reads for a while.
std::string GapLine(bool json) {
  const UnreadOutput reader;
  Output output;
  output.MoveToBackground(json);
  const std::string line(100'000, '.');
  const std::size_t limit = vxhost::LineWriter::LIMIT / line.size();
  for (std::size_t i = 0; i < limit + 5; ++i) output.PostLine(line);
  EXPECT_TRUE(output.HasFailed());
  std::string gap;
  do {
    gap = reader.Line();
  } while (gap == line);
  for (std::size_t i = 0; i < limit; ++i) static_cast<void>(reader.Line());
  return gap;
}

TEST(OutputTest, LinesThatWereDropped_AreCountedInALineOfTheirOwn) {
  EXPECT_THAT(GapLine(false), testing::MatchesRegex("[0-9]+ lines? w(as|ere) not shown"));
  EXPECT_THAT(GapLine(true),
              testing::MatchesRegex(
                  R"(\{"text":"[0-9]+ lines? w(as|ere) not shown","not_shown":[0-9]+\})"));
}

TEST(OutputTest, WhatNobodyTookAtTheEnd_IsAFailure) {
  const UnreadOutput reader;
  Output output;
  output.MoveToBackground(false);
  output.PostLine(std::string(200'000, '.'));
  EXPECT_FALSE(output.HasFailed());
  output.Finish();
  EXPECT_TRUE(output.HasFailed());
}

TEST(OutputTest, WhatIsPrintedInTheBackground_GetsToStandardErrorInItsOrder) {
  testing::internal::CaptureStderr();
  {
    Output output;
    output.MoveToBackground(false);
    std::puts("first");
    vxhost::Say("second");
    std::printf("third\nunfinished");
  }
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "first\nvxhost: second\nthird\nunfinished\n");
}

}  // namespace
