#include "LineReader.h"
#include "Options.h"

#include <array>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

namespace {

using vxhost::LineReader;

// A descriptor from which the text is read.
class TextFile {
 public:
  explicit TextFile(const std::string& text) : descriptor_(::memfd_create("text", 0)) {
    EXPECT_EQ(::write(descriptor_, text.data(), text.size()), static_cast<ssize_t>(text.size()));
    ::lseek(descriptor_, 0, SEEK_SET);
  }
  ~TextFile() { ::close(descriptor_); }
  TextFile(const TextFile&) = delete;
  TextFile& operator=(const TextFile&) = delete;
  int Get() const { return descriptor_; }

 private:
  int descriptor_;
};

std::vector<std::string> Lines(const std::string& text, std::size_t longest) {
  const TextFile file(text);
  LineReader reader(file.Get(), longest);
  std::vector<std::string> lines;
  while (const auto line = reader.Next()) {
    lines.push_back(line->tooLong ? "(too long)" : line->text);
  }
  return lines;
}

TEST(LineReader, Lines_AreReadWithoutLineFeedsTheLastOneToo) {
  EXPECT_EQ(Lines("", 10), std::vector<std::string>{});
  EXPECT_EQ(Lines("\n", 10), std::vector<std::string>{""});
  EXPECT_EQ(Lines("a\n\nb", 10), (std::vector<std::string>{"a", "", "b"}));
  EXPECT_EQ(Lines("a\r\n", 10), (std::vector<std::string>{"a\r"}));
}

TEST(LineReader, LineLongerThanTheBuffer_IsReadWhole) {
  const std::string longLine(1'000'000, 'x');
  EXPECT_EQ(Lines(longLine + "\ny\n", 2'000'000), (std::vector<std::string>{longLine, "y"}));
}

TEST(LineReader, LineAboveTheLimit_IsDroppedAndTheNextOneRead) {
  EXPECT_EQ(Lines(std::string(200'000, 'x') + "\n12345\n123456\nok\n", 5),
            (std::vector<std::string>{"(too long)", "12345", "(too long)", "ok"}));
}

TEST(LineReader, Stop_EndsTheInputAlthoughMoreIsThere) {
  const TextFile file("a\nb\n");
  std::array<int, 2> stop{};
  ASSERT_EQ(::pipe(stop.data()), 0);
  LineReader reader(file.Get(), 10, stop[0]);
  EXPECT_EQ(reader.Next()->text, "a");
  ASSERT_EQ(::write(stop[1], "x", 1), 1);
  EXPECT_FALSE(reader.Next());
  ::close(stop[0]);
  ::close(stop[1]);
}

using vxhost::Option;
const std::vector<Option> EVERY = {Option::Plugin,    Option::ConfigDir,   Option::Sysfs,
                                   Option::Simulate,  Option::Trace,       Option::TracePlatform,
                                   Option::TraceFile, Option::ToolTimeout, Option::TimeScale,
                                   Option::Database,  Option::Json};
const std::vector<vxhost::CommandRow> COMMANDS = {
    {"tree", "", {}, EVERY},
    {"get", "", {{"OBJECT", ""}, {"PROPERTY", ""}}, EVERY},
    {"pass", "", {{"REST", "", true}}, {Option::Json}},
};

vxhost::ParseResult Parse(std::vector<const char*> words) {
  words.insert(words.begin(), "vxhost");
  return vxhost::ParseOptions(static_cast<int>(words.size()), words.data(), COMMANDS);
}

TEST(Options, GlobalOptions_StandBeforeAndBehindTheCommand) {
  for (const auto& words :
       std::vector<std::vector<const char*>>{{"--json", "--trace", "30", "--plugin", "p", "tree"},
                                             {"tree", "--json", "--trace", "0x1e", "--plugin", "p"},
                                             {"--plugin=p", "tree", "--trace=30", "--json"}}) {
    const auto result = Parse(words);
    ASSERT_FALSE(result.ends) << result.text;
    EXPECT_EQ(result.options.command, "tree");
    EXPECT_EQ(result.options.plugin, "p");
    EXPECT_EQ(result.options.trace, 30U);
    EXPECT_TRUE(result.options.json);
  }
}

TEST(Options, Arguments_AreTakenInOrder) {
  const auto result = Parse({"get", "1", "--json", "Poll interval"});
  ASSERT_FALSE(result.ends) << result.text;
  EXPECT_EQ(result.options.arguments, (std::vector<std::string>{"1", "Poll interval"}));
}

TEST(Options, RestOfAnotherProgram_IsPassedOnUntouched) {
  const auto result = Parse({"--json", "pass", "pull", "0", "--fleet", "f", "--json"});
  ASSERT_FALSE(result.ends) << result.text;
  EXPECT_EQ(result.options.arguments,
            (std::vector<std::string>{"pull", "0", "--fleet", "f", "--json"}));
}

TEST(Options, WrongUsage_EndsWithTwoAndSaysWhy) {
  for (const auto& words :
       std::vector<std::vector<const char*>>{{},
                                             {"frob"},
                                             {"--frob", "tree"},
                                             {"get", "1"},
                                             {"tree", "extra"},
                                             {"--trace", "x", "tree"},
                                             {"--time-scale", "0", "tree"},
                                             {"--tool-timeout", "-1", "tree"},
                                             {"--simulate", "f", "--sysfs", "d", "tree"}}) {
    const auto result = Parse(words);
    EXPECT_TRUE(result.ends);
    EXPECT_EQ(result.status, vxhost::EXIT_USAGE);
    EXPECT_TRUE(result.text.starts_with("vxhost: ")) << result.text;
  }
}

TEST(Options, HelpAndVersion_EndWithZero) {
  const auto version = Parse({"--version"});
  EXPECT_EQ(version.status, 0);
  EXPECT_TRUE(version.text.starts_with("vxhost ")) << version.text;
  EXPECT_NE(Parse({"--help"}).text.find("tree"), std::string::npos);
  EXPECT_EQ(Parse({"tree", "--help"}).status, 0);
}

}  // namespace
