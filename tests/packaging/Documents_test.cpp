// The manual pages and the completion say what the program's own help says.
#include "HostProcess.h"
#include "support/Files.h"

#include <algorithm>
#include <regex>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using testing::IsSupersetOf;
namespace fs = std::filesystem;

using Words = std::set<std::string>;

const fs::path PACKAGING = VXTEST_PACKAGING;

std::string Help(const std::vector<std::string>& words) {
  const auto run = vxtest::RunHost(words);
  EXPECT_EQ(run.status, 0) << run.err;
  return run.out;
}

Words Matches(const std::string& text, const std::string& pattern, std::size_t group = 0) {
  const std::regex wanted(pattern, std::regex::ECMAScript | std::regex::multiline);
  Words words;
  for (std::sregex_iterator match(text.begin(), text.end(), wanted), end; match != end; ++match) {
    words.insert((*match)[group]);
  }
  return words;
}

Words Options(const std::string& text) {
  return Matches(text, "--[a-z][a-z-]*[a-z]");
}

Words Subcommands(const std::string& help) {
  const std::size_t start = help.find("Subcommands:");
  EXPECT_NE(start, std::string::npos) << help;
  return start == std::string::npos ? Words() : Matches(help.substr(start), "^  ([a-z]+) ", 1);
}

// The choices that the help names behind an option: "--how TEXT:{spare,dead}".
Words Choices(const std::string& help, const std::string& option) {
  std::smatch match;
  EXPECT_TRUE(std::regex_search(help, match, std::regex(option + " [A-Z]+:\\{([^}]*)\\}")));
  return Matches(match[1], "[^,]+");
}

// A manual page with plain hyphens.
std::string Page(const std::string& name) {
  const std::string page = vxtest::ReadFile(PACKAGING / name);
  return std::regex_replace(page, std::regex(R"(\\-)"), "-");
}

// The words that stand first in the headings of a page's lists.
Words Headings(const std::string& page) {
  return Matches(page, "^\\.TP\n\\.[A-Z]+ \"?([a-z]+)", 1);
}

// What the completion offers for the last of the words.
Words Completed(const std::vector<std::string>& words) {
  std::vector<std::string> call = {
      "-c",
      R"(. "$1" && shift && COMP_WORDS=("$@") COMP_CWORD=$(($# - 1)) && _vxhost)"
      R"( && printf '%s\n' "${COMPREPLY[@]}")",
      "bash", (PACKAGING / "vxhost.bash-completion").string(), "vxhost"};
  call.insert(call.end(), words.begin(), words.end());
  const auto run = vxtest::RunHost(call, "", {}, "/bin/bash");
  EXPECT_EQ(run.status, 0) << run.err;
  EXPECT_EQ(run.err, "");
  return Matches(run.out, "[^\n]+");
}

TEST(ManualPage, NamesEveryCommand) {
  EXPECT_THAT(Headings(Page("vxhost.8")), IsSupersetOf(Subcommands(Help({"--help"}))));
}

TEST(ManualPage, NamesEveryOptionAndNoOther) {
  const std::string page = Page("vxhost.8");
  const std::string help = Help({"--help"});
  Words options = Options(help);
  for (const std::string& command : Subcommands(help))
    options.merge(Options(Help({command, "--help"})));
  EXPECT_GE(options.size(), 13U);
  EXPECT_EQ(Options(page), options);
}

TEST(ManualPage, NamesWhatACommandTakes) {
  const std::string page = Page("vxhost.8");
  for (const std::string& command : Subcommands(Help({"--help"}))) {
    for (const std::string& taken : Matches(Help({command, "--help"}), "^  ([A-Z]+) ", 1)) {
      EXPECT_TRUE(std::regex_search(page, std::regex("\\n\\.BI " + command + " [^\n]*" + taken)))
          << command << " " << taken;
    }
  }
}

TEST(ManualPageOfSimulate, NamesEveryEditAndItsOptionsAndNoOther) {
  const std::string page = Page("vxhost-simulate.8");
  const Words edits = Subcommands(Help({"simulate"}));
  EXPECT_THAT(Headings(page), IsSupersetOf(edits));
  Words options = {"--simulate"};  // what the page says of vxhost
  for (const std::string& edit : edits) options.merge(Options(Help({"simulate", edit, "--help"})));
  EXPECT_GE(options.size(), 20U);
  EXPECT_EQ(Options(page), options);
}

TEST(ManualPageOfSimulate, NamesEveryChoice) {
  const std::string page = Page("vxhost-simulate.8");
  const std::string fault = Help({"simulate", "fault", "--help"});
  Words choices = Choices(fault, "--kind");
  choices.merge(Choices(fault, "--command"));
  choices.merge(Choices(Help({"simulate", "fail", "--help"}), "--how"));
  EXPECT_GE(choices.size(), 20U);
  for (const std::string& choice : choices) {
    EXPECT_TRUE(std::regex_search(page, std::regex("\\b" + choice + "\\b"))) << choice;
  }
}

TEST(Completion, OffersEveryCommandAndOption) {
  const std::string help = Help({"--help"});
  EXPECT_EQ(Completed({""}), Subcommands(help));
  EXPECT_EQ(Completed({"--"}), Options(help));
  EXPECT_EQ(Completed({"tree", "--trace-f"}), Words{"--trace-file"});
  for (const std::string& command : Subcommands(help)) {
    // What stands behind "simulate" belongs to its edits.
    if (command == "simulate") continue;
    EXPECT_EQ(Completed({command, "--"}), Options(Help({command, "--help"}))) << command;
  }
}

TEST(Completion, OffersTheEditsAndTheirOptions) {
  const Words edits = Subcommands(Help({"simulate"}));
  EXPECT_THAT(Completed({"simulate", ""}), IsSupersetOf(edits));
  for (const std::string& edit : edits) {
    EXPECT_EQ(Completed({"simulate", edit, "--"}), Options(Help({"simulate", edit, "--help"})))
        << edit;
  }
}

TEST(Completion, OffersTheChoices) {
  const std::string fault = Help({"simulate", "fault", "--help"});
  EXPECT_EQ(Completed({"simulate", "fault", "--kind", ""}), Choices(fault, "--kind"));
  EXPECT_EQ(Completed({"simulate", "fault", "--command", ""}), Choices(fault, "--command"));
  const std::string fail = Help({"simulate", "fail", "--help"});
  EXPECT_EQ(Completed({"simulate", "fail", "0", "--how", ""}), Choices(fail, "--how"));
}

TEST(Completion, ValueOfAnOptionIsNoCommand) {
  EXPECT_EQ(Completed({"--trace", "2", "si"}), Words{"simulate"});
  EXPECT_EQ(Completed({"--trace-file", "tree", "do"}), Words{"doctor"});
  EXPECT_EQ(Completed({"--tool-timeout", ""}), Words());
}

TEST(Completion, FilesWhereFilesAreMeant) {
  const vxtest::TempDir directory;
  vxtest::WriteFile(directory / "fleet 1.json", "{}");
  fs::create_directory(directory / "below");
  const std::string start = directory.Path().string() + "/";
  EXPECT_EQ(Completed({"--simulate", start}), (Words{start + "below", start + "fleet 1.json"}));
  EXPECT_EQ(Completed({"--config-dir", start}), Words{start + "below"});
}

// --- docs/env.md and the code

const fs::path SOURCES = VXTEST_SOURCES;

std::string EnvironmentPage() {
  return vxtest::ReadFile(SOURCES / "docs/env.md");
}

std::string Section(const std::string& page, const std::string& heading) {
  const std::size_t start = page.find("\n## " + heading + "\n");
  EXPECT_NE(start, std::string::npos) << heading;
  return start == std::string::npos ? ""
                                    : page.substr(start, page.find("\n## ", start + 1) - start);
}

// All code below the folders, without comments.
std::string Code(const std::vector<std::string>& folders) {
  const std::regex comment(R"(//[^\n]*)");
  std::string code;
  for (const std::string& folder : folders) {
    for (const fs::directory_entry& file : fs::recursive_directory_iterator(SOURCES / folder)) {
      const std::string kind = file.path().extension();
      if (kind != ".cpp" && kind != ".h" && kind != ".def") continue;
      code += std::regex_replace(vxtest::ReadFile(file.path()), comment, "");
    }
  }
  return code;
}

TEST(EnvironmentPage, VariablesAreThoseThatTheProgramsAskFor) {
  const std::string code =
      Code({"facts", "platform", "DatabaseORM", "piTorvex", "host", "simulator"});
  const std::string table = Section(EnvironmentPage(), "Environment variables");
  const std::string asked = table.substr(0, table.find("Not asked for by name"));
  const Words inCode = Matches(code, R"re(getenv\("([^"]+)"\))re", 1);
  EXPECT_EQ(inCode, Matches(asked, R"re(^\| `([A-Z_]+)` \|)re", 1));
  EXPECT_EQ(Matches(code, R"re(getenv\([^")]*\))re"), Words()) << "a name that nobody can find";
}

TEST(EnvironmentPage, VariablesOfTheHostStandInItsManual) {
  const std::string table = Section(EnvironmentPage(), "Environment variables");
  const std::string manual = Page("vxhost.8");
  const std::size_t start = manual.find(".SH ENVIRONMENT");
  ASSERT_NE(start, std::string::npos);
  EXPECT_EQ(Matches(manual.substr(start, manual.find(".SH FILES") - start), "^\\.B ([A-Z_]+)", 1),
            Matches(table, R"re(^\| `([A-Z_]+)` \| `vxhost` \|)re", 1));
}

// The simulator makes a sysfs of its own and reads none.
TEST(EnvironmentPage, NamesEveryPathThatStandsInTheCode) {
  const std::string code = Code({"facts", "platform", "DatabaseORM", "piTorvex", "host"});
  Words paths = Matches(code, R"re("(/(?:dev|etc|proc|sys|tmp|usr|var)(?:/[^" ]*)?)")re", 1);
  for (const std::string& below :
       Matches(code, R"re("(/(?:block|bus|class|module)/[^" ]*)")re", 1)) {
    paths.insert("/sys" + below);
  }
  EXPECT_THAT(paths, IsSupersetOf({std::string("/sys"), std::string("/sys/bus/pci/devices")}));
  const Words named = Matches(EnvironmentPage(), "`([^`]+)`", 1);
  for (const std::string& path : paths) {
    EXPECT_TRUE(named.contains(path) || path.starts_with("/dev/nvme")) << path;
  }
}

TEST(EnvironmentPage, FilesOfTheSystemAreThoseThatStandInTheCode) {
  const std::string code = Code({"facts", "platform", "DatabaseORM", "piTorvex", "host"});
  const std::string table = Section(EnvironmentPage(), "Files of the system");
  for (const std::string& path : Matches(table, R"re(`(/[^`]+)`)re", 1)) {
    const std::string below = path.starts_with("/sys/") ? path.substr(4) : path;
    EXPECT_NE(code.find('"' + below + '"'), std::string::npos) << path;
  }
}

// --- docs/common-errors.md and the code

// Texts of the code as people see them, one a line: literals that continue each other are one text.
std::string Texts() {
  const std::string code = Code({"platform", "DatabaseORM", "piTorvex", "host", "simulator"});
  const std::regex literal(R"re("((?:[^"\\\n]|\\.)*)"(\s*(?="))?)re");
  std::string texts;
  for (std::sregex_iterator match(code.begin(), code.end(), literal), end; match != end; ++match) {
    texts += match->str(1);
    if (!(*match)[2].matched) texts += '\n';
  }
  return std::regex_replace(texts, std::regex(R"(\\")"), "\"");
}

TEST(CommonErrorsPage, EachMessageIsOneThatAProgramSays) {
  const std::string page = vxtest::ReadFile(SOURCES / "docs/common-errors.md");
  const std::string texts = Texts();
  const Words messages = Matches(page, "^\\| `([^`]+)` \\|", 1);
  EXPECT_THAT(messages, testing::SizeIs(testing::Ge(30)));
  for (const std::string& message : messages) {
    const std::string fixed = std::regex_replace(message, std::regex("…"), "\n");
    for (const std::string& part : Matches(fixed, R"re([^ \n:;,("][^\n]{6,})re")) {
      const std::string words = part.substr(0, part.find_last_not_of(" :;,(\"") + 1);
      EXPECT_NE(texts.find(words), std::string::npos) << message << "\n  lacks: " << words;
    }
  }
}

// --- docs/json.md and the commands

// The names of all members in a text of JSON.
Words Members(const std::string& json) {
  return Matches(json, R"re("([A-Za-z0-9]+)":)re", 1);
}

TEST(JsonPage, NamesEveryMemberThatTheCommandsPrint) {
  const Words named = Matches(vxtest::ReadFile(SOURCES / "docs/json.md"), "`([^`\n]+)`", 1);
  const std::vector<std::vector<std::string>> commands = {
      {"tree"}, {"show", "1"}, {"get", "1", "30442"}, {"ops", "Torvex-Plugin"}, {"doctor"}};
  for (std::vector<std::string> words : commands) {
    words.insert(words.end(), {"--json", "--simulate", VXTEST_FLEETS "/mixed.json"});
    const Words members = Members(vxtest::RunHost(words).out);
    EXPECT_THAT(members, testing::SizeIs(testing::Ge(4))) << words.front();
    for (const std::string& member : members) EXPECT_TRUE(named.contains(member)) << member;
  }
}

TEST(JsonPage, EventMembersAreThoseOfTheCode) {
  const std::string code = Code({"host"});
  const std::size_t start =
      code.find("ReportJson(const Report& report, const std::string& plugin) {");
  ASSERT_NE(start, std::string::npos);
  const std::string body = code.substr(start, code.find("\n}", start) - start);
  const std::string table = Section(vxtest::ReadFile(SOURCES / "docs/json.md"), "Events: `run`");
  const Words members = Matches(body, R"re(Key\("([a-z0-9]+)"\))re", 1);
  EXPECT_THAT(members, testing::SizeIs(testing::Ge(10)));
  for (const std::string& member : members) {
    EXPECT_NE(table.find("`" + member + "`"), std::string::npos) << member;
  }
}

}  // namespace
