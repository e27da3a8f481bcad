#include "LineWriter.h"

#include <array>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <stdexcept>
#include <string>
#include <thread>

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

namespace {

using namespace std::chrono_literals;
using testing::StartsWith;
using vxhost::LineWriter;

constexpr auto LONG = 30s;

// A pipe that we may leave unread.
class Pipe {
 public:
  Pipe() {
    if (::pipe2(ends_.data(), O_CLOEXEC) != 0) throw std::runtime_error("no pipe");
  }
  ~Pipe() {
    CloseReader();
    ::close(ends_[1]);
  }
  Pipe(const Pipe&) = delete;
  Pipe& operator=(const Pipe&) = delete;

  int Writer() const { return ends_[1]; }
  void CloseReader() {
    if (ends_[0] >= 0) ::close(ends_[0]);
    ends_[0] = -1;
  }

  std::string Line() const {
    std::string line;
    char byte = 0;
    while (::read(ends_[0], &byte, 1) == 1 && byte != '\n') line += byte;
    return line;
  }

 private:
  std::array<int, 2> ends_{};
};

std::string Gap(unsigned long count) {
  return "gap " + std::to_string(count) + "\n";
}

class LineWriterTest : public testing::Test {
 protected:
  // As the host does; a line that is being written at the end has no reader any more.
  LineWriterTest() { std::signal(SIGPIPE, SIG_IGN); }

  // A line of the given length whose beginning is its number.
  static std::string Text(int number, std::size_t length) {
    std::string text = std::to_string(number) + " ";
    text.resize(length - 1, '.');
    return text + "\n";
  }

  Pipe pipe_;
  std::atomic<int> error_ = 0;
  LineWriter writer_{pipe_.Writer(), Gap, [this](int error) { error_ = error; }};
};

TEST_F(LineWriterTest, Lines_GetOutInTheirOrder) {
  writer_.Post("one\n");
  EXPECT_TRUE(writer_.Write("two\n"));
  writer_.Post("three\n");
  EXPECT_EQ(pipe_.Line(), "one");
  EXPECT_EQ(pipe_.Line(), "two");
  EXPECT_EQ(pipe_.Line(), "three");
  EXPECT_TRUE(writer_.WaitUntilIdle(LONG));
  EXPECT_FALSE(writer_.HasLost());
}

TEST_F(LineWriterTest, LinesThatNobodyReads_WaitUpToTheLimitThenTheOldestAreDroppedAndCounted) {
  constexpr std::size_t LENGTH = 10'000;
  constexpr int LINES = 400;  // four times what may wait
  for (int number = 0; number < LINES; ++number) writer_.Post(Text(number, LENGTH));
  EXPECT_TRUE(writer_.HasLost());
  int expected = 0;
  int dropped = 0;
  while (expected < LINES) {
    const std::string line = pipe_.Line();
    if (line.starts_with("gap ")) {
      const int count = std::stoi(line.substr(4));
      expected += count;
      dropped += count;
    } else {
      EXPECT_THAT(line, StartsWith(std::to_string(expected) + " "));
      ++expected;
    }
  }
  // What waits, what the pipe holds, and the line that is being written.
  EXPECT_GE(dropped, LINES - static_cast<int>((LineWriter::LIMIT + 65'536) / LENGTH) - 2);
  EXPECT_TRUE(writer_.WaitUntilIdle(LONG));
}

TEST_F(LineWriterTest, TextThatMustGetOut_IsNotDropped) {
  writer_.Post(Text(0, LineWriter::LIMIT));  // keeps the thread at work
  std::thread caller([&] { EXPECT_TRUE(writer_.Write("kept\n")); });
  std::this_thread::sleep_for(50ms);  // so that it waits, most of the time
  while (!writer_.HasLost()) writer_.Post(Text(1, LineWriter::LIMIT / 2));
  std::string line;
  do {
    line = pipe_.Line();
  } while (line != "kept");
  caller.join();
}

TEST_F(LineWriterTest, WhatIsLeftAtTheEnd_IsLost) {
  writer_.Post(Text(0, LineWriter::LIMIT));
  EXPECT_FALSE(writer_.HasLost());
  writer_.Finish(1ms);
  EXPECT_TRUE(writer_.HasLost());
}

TEST_F(LineWriterTest, Hurry_EndsTheWaitForAReader) {
  std::thread caller([&] { EXPECT_FALSE(writer_.Write(Text(0, LineWriter::LIMIT))); });
  writer_.Hurry(1ms);
  caller.join();
}

TEST_F(LineWriterTest, ReaderThatHasGone_IsAnError) {
  pipe_.CloseReader();
  EXPECT_FALSE(writer_.Write("to nobody\n"));
  EXPECT_EQ(error_, EPIPE);
}

}  // namespace
