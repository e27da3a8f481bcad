#include "Threads.h"
#include "support/Files.h"

#include <algorithm>
#include <cctype>
#include <csignal>
#include <cstring>
#include <memory>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <unistd.h>

#include <TLX/Internals/TraceSink.h>
#include <TLX/Internals/TraceStreamBuffer.h>
#include <TLX/Misc/Clock.h>
#include <TLX/Output_Streams/FormatStream.h>

namespace {

using namespace TLX::Internals;
using TLX::Misc::CModuleInfo;
using TLX::Output_Streams::CFormatStream;
using tlxtest::Running;

class TraceSink : public testing::Test {
 protected:
  ~TraceSink() override { SetTraceSink(nullptr); }

  // As callers do it: the mask first, then the two streams.
  void Trace(unsigned int level, const std::string& text) const {
    if ((module_.TraceMask() & level) == 0) return;
    CTraceStreamBuffer buffer(level, module_, "folder/File", "Function", 77);
    CFormatStream(buffer, "<%s>") << text;
  }

  CModuleInfo module_{TLX::Misc::MODULE_piTorvex, "test", "1", nullptr, nullptr};
};

// Keeps lines; throws on demand.
class RecordingSink final : public ITraceSink {
 public:
  void Write(const CTraceLine& line) override {
    ++calls_;
    if (line.m_Text == "<throw>") throw std::runtime_error("disk full");
    if (line.m_Text == "<throw number>") throw 5;
    texts_.push_back(line.m_Text);
    times_.push_back(line.m_Time);
    last_ = std::string(line.m_Module) + '|' + line.m_File + '|' + line.m_Function + '|' +
            std::to_string(line.m_Line) + '|' + std::to_string(line.m_Level);
  }
  int calls_ = 0;
  std::vector<std::string> texts_;
  std::vector<unsigned long> times_;
  std::string last_;
};

TEST_F(TraceSink, NoneSet_LinesAreDropped) {
  module_.SetTraceMask(2);
  Trace(2, "nowhere");
  const auto sink = std::make_shared<RecordingSink>();
  SetTraceSink(sink);
  EXPECT_EQ(sink->calls_, 0);
}

TEST_F(TraceSink, ALineCarriesItsOrigin) {
  const auto sink = std::make_shared<RecordingSink>();
  SetTraceSink(sink);
  module_.SetTraceMask(30);
  const unsigned long before = TLX::Misc::now();
  Trace(16, "text");
  EXPECT_EQ(sink->texts_, std::vector<std::string>{"<text>"});
  EXPECT_EQ(sink->last_, "test|folder/File|Function|77|16");
  ASSERT_EQ(sink->times_.size(), 1U);
  EXPECT_GE(sink->times_[0], before);
  EXPECT_LE(sink->times_[0], TLX::Misc::now());
}

TEST_F(TraceSink, ALineIsEmittedWhenTheBufferCloses) {
  const auto sink = std::make_shared<RecordingSink>();
  SetTraceSink(sink);
  {
    CTraceStreamBuffer buffer(2, module_, "file", "function", 1);
    { CFormatStream(buffer, "%d-%d").FormatInt(1U); }
    buffer.Append("+", 1);
    EXPECT_EQ(sink->calls_, 0);
  }
  EXPECT_EQ(sink->texts_, std::vector<std::string>{"1-+"});
}

TEST_F(TraceSink, OnlyEnabledLevelsReachTheSink) {
  const auto sink = std::make_shared<RecordingSink>();
  SetTraceSink(sink);
  module_.SetTraceMask(2 | 8);
  for (const unsigned int level : {2U, 4U, 8U, 16U}) Trace(level, std::to_string(level));
  EXPECT_EQ(sink->texts_, (std::vector<std::string>{"<2>", "<8>"}));
}

TEST_F(TraceSink, WhatTheSinkThrows_LosesThatLineOnly) {
  const auto sink = std::make_shared<RecordingSink>();
  SetTraceSink(sink);
  module_.SetTraceMask(2);
  for (const char* text : {"first", "throw", "second", "throw number", "third"}) Trace(2, text);
  EXPECT_EQ(sink->calls_, 5);
  EXPECT_EQ(sink->texts_, (std::vector<std::string>{"<first>", "<second>", "<third>"}));
}

TEST_F(TraceSink, ALineTooLongForMemory_IsLostAloneAndThrowsNothing) {
  const auto sink = std::make_shared<RecordingSink>();
  SetTraceSink(sink);
  {
    CTraceStreamBuffer buffer(2, module_, "file", "function", 1);
    buffer.Append("begin", 5);
    EXPECT_NO_THROW(buffer.Append("", std::string().max_size()));
    EXPECT_NO_THROW(buffer.Append("end", 3));
  }
  module_.SetTraceMask(2);
  Trace(2, std::string(8UL << 20U, 'x'));
  ASSERT_EQ(sink->texts_.size(), 1U);
  EXPECT_EQ(sink->texts_[0].size(), (8UL << 20U) + 2);
}

TEST_F(TraceSink, Replaced_TheOldOneIsLetGo) {
  auto first = std::make_shared<RecordingSink>();
  const std::weak_ptr<RecordingSink> gone = first;
  SetTraceSink(std::move(first));
  EXPECT_FALSE(gone.expired());
  SetTraceSink(std::make_shared<RecordingSink>());
  EXPECT_TRUE(gone.expired());
}

class TracingSink final : public ITraceSink {
 public:
  explicit TracingSink(const CModuleInfo& module) : module_(module) {}
  void Write(const CTraceLine& line) override {
    { CTraceStreamBuffer(2, module_, "sink", "Write", 1).Append("inner", 5); }
    texts_.push_back(line.m_Text);
  }
  const CModuleInfo& module_;
  std::vector<std::string> texts_;
};

TEST_F(TraceSink, WhatTheSinkTracesItself_IsDropped) {
  const auto sink = std::make_shared<TracingSink>(module_);
  SetTraceSink(sink);
  module_.SetTraceMask(2);
  Trace(2, "one");
  Trace(2, "two");
  EXPECT_EQ(sink->texts_, (std::vector<std::string>{"<one>", "<two>"}));
}

TEST_F(TraceSink, FromSeveralThreads_GetsOneLineAtATimeInTheOrderOfTime) {
  constexpr int LINES = 200;
  const auto sink = std::make_shared<RecordingSink>();
  SetTraceSink(sink);
  module_.SetTraceMask(2);
  const auto work = [&] {
    for (int line = 0; line < LINES; ++line) Trace(2, "x");
  };
  {
    Running first(work);
    Running second(work);
    Running third(work);
  }
  EXPECT_EQ(sink->texts_.size(), 3U * LINES);
  EXPECT_TRUE(std::is_sorted(sink->times_.begin(), sink->times_.end()));
}

class FileTraceSink : public TraceSink {
 protected:
  FileTraceSink() { module_.SetTraceMask(30); }

  void Open(const std::string& path) {
    std::string error = "untouched";
    const auto sink = MakeFileTraceSink(path, error);
    ASSERT_NE(sink, nullptr) << error;
    EXPECT_EQ(error, "untouched");
    SetTraceSink(sink);
  }

  // The file with "T" for every time that is well formed.
  static std::string Content(const std::filesystem::path& path) {
    std::istringstream file(vxtest::ReadFile(path));
    std::string content;
    for (std::string line; std::getline(file, line); content += line + '\n') {
      std::string time = line.substr(0, line.find('\t'));
      std::ranges::replace_if(
          time, [](unsigned char c) { return std::isdigit(c) != 0; }, '0');
      if (time == "0000-00-00T00:00:00.000Z") line.replace(0, time.size(), "T");
    }
    return content;
  }

  vxtest::TempDir dir_;
};

TEST_F(FileTraceSink, WritesOneLineOfSixFields) {
  const auto path = dir_ / "trace";
  Open(path);
  Trace(2, "ENTER Initialize()");
  Trace(16, "tool");
  EXPECT_EQ(Content(path),
            "T\t2\tfolder/File\tFunction\t77\t<ENTER Initialize()>\n"
            "T\t16\tfolder/File\tFunction\t77\t<tool>\n");
}

TEST_F(FileTraceSink, WritesTheTimeInUtc) {
  const auto path = dir_ / "trace";
  std::string error;
  const auto sink = MakeFileTraceSink(path, error);
  ASSERT_NE(sink, nullptr);
  const std::string text;
  sink->Write({.m_Time = 1'772'368'496'007,
               .m_Level = 4,
               .m_Module = "m",
               .m_File = "f",
               .m_Function = "g",
               .m_Line = 1,
               .m_Text = text});
  EXPECT_EQ(vxtest::ReadFile(path), "2026-03-01T12:34:56.007Z\t4\tf\tg\t1\t\n");
}

TEST_F(FileTraceSink, ShowsControlCharactersOfTheMessageAsHexadecimal) {
  const auto path = dir_ / "trace";
  Open(path);
  Trace(2, std::string("a\tb\nc\r\0d\x1f\x7f \xc3\xa9\\x", 15));
  EXPECT_EQ(Content(path),
            "T\t2\tfolder/File\tFunction\t77\t<a\\x09b\\x0ac\\x0d\\x00d\\x1f\\x7f \xc3\xa9\\x>\n");
}

TEST_F(FileTraceSink, AppendsToWhatIsThere) {
  const auto path = dir_ / "trace";
  vxtest::WriteFile(path, "before\n");
  Open(path);
  Trace(2, "after");
  EXPECT_EQ(Content(path), "before\nT\t2\tfolder/File\tFunction\t77\t<after>\n");
}

TEST_F(FileTraceSink, ThatCannotBeOpened_SaysWhichFileAndWhy) {
  const std::string path = dir_ / "missing/trace";
  std::string error;
  EXPECT_EQ(MakeFileTraceSink(path, error), nullptr);
  EXPECT_EQ(error, "cannot open trace file \"" + path + "\": No such file or directory");
}

TEST_F(FileTraceSink, OnAFullDisk_LosesLinesAndNothingElse) {
  Open("/dev/full");
  Trace(2, "lost");
  Trace(2, "lost too");
  const auto path = dir_ / "trace";
  Open(path);
  Trace(2, "kept");
  EXPECT_EQ(Content(path), "T\t2\tfolder/File\tFunction\t77\t<kept>\n");
}

TEST_F(FileTraceSink, ThatCannotBeWritten_SaysSoOnceAndOnceWhenItCan) {
  std::vector<std::string> said;
  std::string error;
  const std::string path = dir_ / "trace";
  SetTraceSink(MakeFileTraceSink(path, error, {},
                                 [&said](const std::string& line) { said.push_back(line); }));
  rlimit before{};
  ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &before), 0);
  const auto handler = std::signal(SIGXFSZ, SIG_IGN);
  const rlimit none = {.rlim_cur = 0, .rlim_max = before.rlim_max};
  ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &none), 0);
  for (int line = 0; line < 5; ++line) Trace(2, "lost");
  ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &before), 0);
  std::signal(SIGXFSZ, handler);
  EXPECT_EQ(said, std::vector<std::string>{"trace lines are lost: Failed writing to file " + path +
                                           ": File too large"});
  Trace(2, "kept");
  Trace(2, "kept too");
  ASSERT_EQ(said.size(), 2U);
  EXPECT_EQ(said[1], "the trace file \"" + path + "\" is written again; 5 lines were lost");
  EXPECT_EQ(Content(path),
            "T\t2\tfolder/File\tFunction\t77\t<kept>\n"
            "T\t2\tfolder/File\tFunction\t77\t<kept too>\n");
}

TEST_F(FileTraceSink, ThatIsFull_IsMovedAwayWholeAndTheOldestGoes) {
  const std::string line = "2026-03-01T12:34:56.789Z\t2\tfolder/File\tFunction\t77\t<0>\n";
  std::string error;
  SetTraceSink(MakeFileTraceSink(dir_ / "trace.log", error,
                                 {.m_Bytes = 2 * line.size(), .m_OlderFiles = 2}));
  for (int number = 0; number < 9; ++number) Trace(2, std::to_string(number));
  const auto lines = [](const std::string& first, const std::string& second) {
    return "T\t2\tfolder/File\tFunction\t77\t<" + first + ">\nT\t2\tfolder/File\tFunction\t77\t<" +
           second + ">\n";
  };
  EXPECT_EQ(Content(dir_ / "trace.log"), "T\t2\tfolder/File\tFunction\t77\t<8>\n");
  EXPECT_EQ(Content(dir_ / "trace.1.log"), lines("6", "7"));
  EXPECT_EQ(Content(dir_ / "trace.2.log"), lines("4", "5"));
  EXPECT_FALSE(std::filesystem::exists(dir_ / "trace.3.log"));
}

// While the directory is gone, the file cannot be opened anew; spdlog must not be left with none.
TEST_F(FileTraceSink, WhoseDirectoryGoesAsItIsMovedAway_LosesLinesAndNothingElse) {
  const std::filesystem::path directory = dir_ / "logs";
  std::filesystem::create_directory(directory);
  std::vector<std::string> said;
  std::string error;
  SetTraceSink(MakeFileTraceSink(directory / "trace", error, {.m_Bytes = 100, .m_OlderFiles = 1},
                                 [&said](const std::string& line) { said.push_back(line); }));
  Trace(2, "there");
  std::filesystem::remove_all(directory);
  vxtest::WriteFile(directory, "in its place");
  for (int line = 0; line < 5; ++line) Trace(2, "lost " + std::string(100, 'x'));
  for (int line = 0; line < 5; ++line) Trace(2, "lost");
  ASSERT_EQ(said.size(), 1U);
  EXPECT_EQ(said[0].substr(0, 21), "trace lines are lost:");
}

TEST_F(FileTraceSink, NamedBelowDev_IsNeverMovedAway) {
  const auto path = dir_ / "trace";
  vxtest::WriteFile(path, "");
  const int file = open(path.c_str(), O_WRONLY | O_APPEND | O_CLOEXEC);
  ASSERT_GE(file, 0);
  std::string error;
  SetTraceSink(MakeFileTraceSink("/dev/fd/" + std::to_string(file), error,
                                 {.m_Bytes = 1, .m_OlderFiles = 1}));
  Trace(2, "one");
  Trace(2, "two");
  SetTraceSink(nullptr);
  close(file);
  EXPECT_EQ(Content(path),
            "T\t2\tfolder/File\tFunction\t77\t<one>\n"
            "T\t2\tfolder/File\tFunction\t77\t<two>\n");
}

// The size limit of the process stands for a disk that fills up in the middle of a line.
TEST_F(FileTraceSink, AfterALineThatWasCutShort_StartsAFreshOne) {
  const auto path = dir_ / "trace";
  Open(path);
  rlimit before{};
  ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &before), 0);
  const auto handler = std::signal(SIGXFSZ, SIG_IGN);
  const rlimit small = {.rlim_cur = 10, .rlim_max = before.rlim_max};
  ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &small), 0);
  Trace(2, "cut");
  Trace(2, "lost");
  ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &before), 0);
  std::signal(SIGXFSZ, handler);
  Trace(2, "whole");
  const std::string content = Content(path);
  ASSERT_GT(content.size(), 11U);
  EXPECT_EQ(content[10], '\n') << content;
  EXPECT_EQ(content.substr(11), "T\t2\tfolder/File\tFunction\t77\t<whole>\n");
}

}  // namespace
