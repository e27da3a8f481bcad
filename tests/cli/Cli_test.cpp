#include "HostProcess.h"
#include "support/Files.h"

#include <algorithm>
#include <chrono>
#include <csignal>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

using testing::HasSubstr;
using testing::Not;

const std::string FIXTURE_OBJECTS =
    R"("adapters":[{"numbers":[0,3,0,0],"hostNumber":-1}],"objects":[)"
    R"({"id":1,"type":19006,"children":[2],"properties":[{"id":30007,"value":"Fixture"},)"
    R"({"id":30005,"label":23336,"settable":true,"value":{"value":30,"min":2,"max":255,"step":1}}]},)"
    R"({"id":2,"type":19038,"properties":[{"id":30007,"value":"SSD"},{"id":30022,"value":"SER"},)"
    R"({"id":30017,"value":{"selected":40024,"choices":[40024]}},)"
    R"({"id":30479,"value":0},{"id":30037,"value":3},{"id":30038,"value":0},{"id":30039,"value":0},)"
    R"({"id":30442,"unit":21000,"value":36.5}]}])";

class Cli : public testing::Test {
 protected:
  vxtest::HostRun Run(const std::vector<std::string>& words, const std::string& script) {
    vxtest::WriteFile(directory_ / "script", script);
    return vxtest::RunHost(words, "",
                           {{"VXTEST_PLUGIN_FILE", (directory_ / "script").string()},
                            {"VXTEST_PLUGIN_LOG", (directory_ / "log").string()}});
  }
  vxtest::HostRun RunFixture(std::vector<std::string> words,
                             const std::string& script = "{" + FIXTURE_OBJECTS + "}") {
    words.insert(words.end(), {"--plugin", VXTEST_PLUGIN});
    return Run(words, script);
  }

  // A runtime tree elsewhere, with the given plug-ins.
  std::filesystem::path CopyTree(const std::string& name,
                                 const std::vector<std::filesystem::path>& plugins) {
    const std::filesystem::path copy = directory_ / name;
    std::filesystem::create_directories(copy / "plugins");
    std::filesystem::copy(vxtest::HostProcess::Tree() / "lib", copy / "lib");
    std::filesystem::copy(vxtest::HostProcess::Program(), copy / "vxhost");
    int number = 0;
    for (const auto& plugin : plugins) {
      std::filesystem::copy(plugin, copy / "plugins" / ("lib" + std::to_string(++number) + ".so"));
    }
    return copy / "vxhost";
  }

  // The program with its standard output on a disk that is full.
  std::filesystem::path ProgramOnAFullDisk() const {
    vxtest::WriteFile(
        directory_ / "full",
        "#!/bin/sh\nexec '" + vxtest::HostProcess::Program().string() + "' \"$@\" > /dev/full\n",
        true);
    return directory_ / "full";
  }

  std::size_t OurLines(const std::string& errors) {
    std::size_t lines = 0;
    for (std::size_t at = errors.find("vxhost: "); at != std::string::npos;
         at = errors.find("vxhost: ", at + 1)) {
      ++lines;
    }
    return lines;
  }

  vxtest::TempDir directory_;
};

TEST_F(Cli, Tree_NumbersTheAdaptersAndEndsInOrder) {
  const auto run = RunFixture({"tree"});
  EXPECT_EQ(run.status, 0) << run.err;
  EXPECT_THAT(run.out, HasSubstr("└─ good  1  SSD"));
  const std::string log = vxtest::ReadFile(directory_ / "log");
  EXPECT_THAT(log, HasSubstr("adapter 0:3:0:0 number 1\n"));
  EXPECT_TRUE(log.ends_with("command 3 object 0 data false\nreleaseIf object\n")) << log;
}

TEST_F(Cli, AdaptersThatAreNoPciFunctions_HaveNumbersOfTheirOwn) {
  const auto run = RunFixture(
      {"tree"},
      R"({"adapters":[{"numbers":[0,0,0,0],"index":7,"hostNumber":-1},)"
      R"({"numbers":[0,0,0,0],"index":8,"hostNumber":-1}],"objects":[{"id":1,"type":19006},)"
      R"({"id":2,"type":19038,"properties":[{"id":30007,"value":"one"}]},)"
      R"({"id":3,"type":19038,"properties":[{"id":30007,"value":"two"}]}]})");
  EXPECT_EQ(run.status, 0) << run.err;
  EXPECT_EQ(run.out,
            "vxtest_plugin, 2 adapters\n├─ not reported  1  one\n└─ not reported  2  two\n");
  EXPECT_THAT(vxtest::ReadFile(directory_ / "log"),
              HasSubstr("adapter 0:0:0:0 number 1\nadapter 0:0:0:0 number 2\n"));
}

TEST_F(Cli, TreeJson_IsTheWholeTopology) {
  const auto run = RunFixture({"--json", "tree"});
  EXPECT_EQ(run.status, 0);
  EXPECT_THAT(run.out, testing::StartsWith(R"({"plugins":[{"plugin":"vxtest_plugin","result":0,)"));
  EXPECT_THAT(run.out, HasSubstr(R"("hostNumber":1)"));
  EXPECT_THAT(run.out, HasSubstr(R"("value":36.5)"));
}

TEST_F(Cli, NoSupportedHardware_IsOneLineAndStatus3) {
  const auto run = RunFixture({"tree"}, R"({"initialize":20001})");
  EXPECT_EQ(run.status, 3);
  EXPECT_EQ(run.out, "");
  EXPECT_EQ(run.err,
            "vxhost: plug-in vxtest_plugin: no supported hardware: no drive that it serves is "
            "there\n");
  EXPECT_THAT(vxtest::ReadFile(directory_ / "log"), Not(HasSubstr("command 3")));
}

TEST_F(Cli, FailedStart_IsStatus1) {
  const auto run = RunFixture({"tree"}, R"({"initialize":20012})");
  EXPECT_EQ(run.status, 1);
  EXPECT_THAT(run.err, HasSubstr("(20012)"));
}

TEST_F(Cli, PluginOfAnotherInterface_IsRefused) {
  const auto run = RunFixture({"tree"}, R"({"interface":3})");
  EXPECT_EQ(run.status, 3);
  EXPECT_THAT(run.err, HasSubstr("speaks interface version 3, this host speaks 2"));
}

TEST_F(Cli, WhatIsNoPlugin_IsNamedWithTheReason) {
  const auto missing = vxtest::RunHost({"tree", "--plugin", "/nowhere/libx.so"});
  EXPECT_EQ(missing.status, 3);
  EXPECT_EQ(missing.err, "vxhost: /nowhere/libx.so: no such plug-in\n");
  vxtest::WriteFile(directory_ / "text.so", "no library");
  const auto text = vxtest::RunHost({"tree", "--plugin", (directory_ / "text.so").string()});
  EXPECT_EQ(text.status, 3);
  EXPECT_EQ(OurLines(text.err), 1U) << text.err;
  EXPECT_THAT(text.err, HasSubstr("cannot be loaded"));
  const auto library = (vxtest::HostProcess::Tree() / "lib" / "libvxTLX.so").string();
  const auto other = vxtest::RunHost({"rpc", "--plugin", library});
  EXPECT_EQ(other.status, 3);
  EXPECT_THAT(other.err, HasSubstr("does not export createIf"));
}

TEST_F(Cli, ShowGetSetOps_WorkOnOneObject) {
  EXPECT_THAT(RunFixture({"show", "SER"}).out, HasSubstr("30442  Temperature    36.5 °C"));
  EXPECT_EQ(RunFixture({"get", "1", "temperature"}).out, "36.5 °C\n");
  EXPECT_THAT(RunFixture({"--json", "get", "0x2", "30442"}).out, HasSubstr("\"value\":36.5}"));
  EXPECT_EQ(RunFixture({"ops", "SER"}).out, "no operations\n");
  EXPECT_EQ(RunFixture({"get", "Fixture", "name"}).out, "Fixture\n");
  const auto unknown = RunFixture({"show", "OTHER"});
  EXPECT_EQ(unknown.status, 1);
  EXPECT_THAT(unknown.err, HasSubstr("no object OTHER"));
}

TEST_F(Cli, Set_TakesOnlyWhatIsSettableAndAllowed) {
  const auto fixed = RunFixture({"set", "SER", "temperature", "3"});
  EXPECT_EQ(fixed.status, 1);
  EXPECT_THAT(fixed.err, HasSubstr("Temperature cannot be set"));
  const auto outside = RunFixture({"set", "0x1", "poll interval", "1"});
  EXPECT_EQ(outside.status, 1);
  EXPECT_THAT(outside.err, HasSubstr("allowed is 2 to 255 s"));
  EXPECT_THAT(vxtest::ReadFile(directory_ / "log"), Not(HasSubstr("command 7")));
  const auto good = RunFixture({"set", "vxtest_plugin", "poll-interval", "60"});
  EXPECT_EQ(good.status, 0) << good.err;
  EXPECT_EQ(good.out, "Poll interval: 60 s\n");
  EXPECT_THAT(good.err, HasSubstr("takes it at its next start"));
  EXPECT_THAT(vxtest::ReadFile(directory_ / "log"), HasSubstr("command 7 object 1 data true"));
}

TEST_F(Cli, WrongUsage_IsStatus2) {
  for (const auto& words :
       std::vector<std::vector<std::string>>{{},
                                             {"frob"},
                                             {"tree", "--db", "mysql:x"},
                                             {"tree", "--db", "sqlite:/tmp/x"},
                                             {"tree", "--config-dir", "/nowhere"},
                                             {"tree", "--time-scale", "nan"},
                                             {"tree", "--tool-timeout", "nan"},
                                             {"tree", "--sysfs", "/nowhere"}}) {
    const auto run = vxtest::RunHost(words);
    EXPECT_EQ(run.status, 2) << run.err;
    EXPECT_EQ(run.out, "");
    EXPECT_EQ(OurLines(run.err), 1U) << run.err;
  }
}

TEST_F(Cli, AMistypedWord_IsAnsweredWithTheNearest) {
  const std::vector<std::pair<std::vector<std::string>, std::string>> answers = {
      {{"tre"}, "no command \"tre\"; did you mean \"tree\"?"},
      {{"dotcor", "--json"}, "no command \"dotcor\"; did you mean \"doctor\"?"},
      {{"tree", "--jsn"}, "no option \"--jsn\"; did you mean \"--json\"?"},
      {{"--tool-timout=5", "tree"},
       "no option \"--tool-timout\"; did you mean \"--tool-timeout\"?"},
      {{"show", "--sysf"}, "no option \"--sysf\"; did you mean \"--sysfs\"?"},
      {{"frobnicate"}, "no command \"frobnicate\"; \"vxhost --help\""},
      {{"show", "a", "b"}, "\"b\" is one word too many for \"show\""}};
  for (const auto& [words, answer] : answers) {
    const auto run = vxtest::RunHost(words);
    EXPECT_EQ(run.status, 2) << run.err;
    EXPECT_EQ(run.out, "");
    EXPECT_THAT(run.err, HasSubstr(answer));
    EXPECT_EQ(OurLines(run.err), 1U) << run.err;
  }
}

TEST_F(Cli, AMistypedProperty_IsAnsweredWithTheNearest) {
  const auto run = RunFixture({"get", "vxtest_plugin", "Pol interval"});
  EXPECT_EQ(run.status, 1);
  EXPECT_THAT(run.err,
              HasSubstr("has no property \"Pol interval\"; did you mean \"Poll interval\"?"));
}

TEST_F(Cli, AnOptionWithoutUse_IsRefusedAndItsCommandsAreNamed) {
  const auto tree = vxtest::RunHost({"--db", "sqlite:/tmp/x", "tree"});
  EXPECT_EQ(tree.status, 2);
  EXPECT_THAT(tree.err, HasSubstr("\"tree\" takes no --db; run, rpc and db do"));
  EXPECT_EQ(vxtest::RunHost({"db", "--db", "sqlite:/nowhere", "--simulate", "x.json"}).status, 2);
  EXPECT_EQ(vxtest::RunHost({"--json", "simulate", "identify"}).status, 2);
  // What a command does anyway may be said to it.
  EXPECT_EQ(RunFixture({"tree", "--db", "none"}).status, 0);
  EXPECT_EQ(RunFixture({"--json", "tree"}).out, RunFixture({"tree", "--json"}).out);
  EXPECT_THAT(RunFixture({"--trace", "2", "tree", "--trace", "4"}).err,
              HasSubstr("--trace stands twice"));
}

TEST_F(Cli, TheHelpOfACommand_ShowsTheOptionsThatItTakes) {
  const auto tree = vxtest::RunHost({"tree", "--help"});
  EXPECT_THAT(tree.out, HasSubstr("--simulate FLEET.json"));
  EXPECT_THAT(tree.out, Not(HasSubstr("--db")));
  EXPECT_THAT(vxtest::RunHost({"db", "--help"}).out, HasSubstr("--db sqlite:PATH|none"));
}

TEST_F(Cli, VersionAndHelp_GoToStandardOutput) {
  EXPECT_EQ(vxtest::RunHost({"--version"}).out, "vxhost 7.22.0\n");
  const auto help = vxtest::RunHost({"--help"});
  EXPECT_EQ(help.status, 0);
  for (const char* const command :
       {"tree", "show", "get", "set", "ops", "run", "rpc", "db", "doctor", "simulate"}) {
    EXPECT_THAT(help.out, HasSubstr(std::string("\n  ") + command + " "));
  }
}

TEST_F(Cli, OutputThatNobodyReads_IsSaidAndStatus1) {
  vxtest::WriteFile(directory_ / "script", "{" + FIXTURE_OBJECTS + "}");
  const vxtest::HostProcess::Environment environment = {
      {"VXTEST_PLUGIN_FILE", (directory_ / "script").string()}};
  for (const auto& words : std::vector<std::vector<std::string>>{
           {"tree", "--plugin", VXTEST_PLUGIN}, {"tree", "--json", "--plugin", VXTEST_PLUGIN}}) {
    vxtest::HostProcess host(words, environment);
    host.CloseOutput();
    EXPECT_EQ(host.Wait(), 1);
    EXPECT_THAT(host.Errors(), HasSubstr("standard output cannot be written: Broken pipe"));
  }
}

TEST_F(Cli, ServiceOnAFullDisk_GoesOnAndTellsAtTheEnd) {
  vxtest::WriteFile(directory_ / "script",
                    R"({"notify":3,"events":[{"id":10968,"object":2}],)" + FIXTURE_OBJECTS + "}");
  vxtest::HostProcess host({"run", "--db", "none", "--plugin", VXTEST_PLUGIN},
                           {{"VXTEST_PLUGIN_FILE", (directory_ / "script").string()}},
                           ProgramOnAFullDisk());
  EXPECT_TRUE(host.WaitForError("running with 1 adapter"));
  EXPECT_TRUE(host.WaitForError("standard output cannot be written: No space left on device"));
  host.Signal(SIGTERM);
  EXPECT_EQ(host.Wait(), 1);
  EXPECT_EQ(OurLines(host.Errors()), 2U) << host.Errors();
}

TEST_F(Cli, OutputOnAFullDisk_IsSaidAndStatus1) {
  vxtest::WriteFile(directory_ / "script", "{" + FIXTURE_OBJECTS + "}");
  for (const auto& words : std::vector<std::vector<std::string>>{
           {"tree", "--plugin", VXTEST_PLUGIN}, {"--help"}, {"--version"}}) {
    const auto run =
        vxtest::RunHost(words, "", {{"VXTEST_PLUGIN_FILE", (directory_ / "script").string()}},
                        ProgramOnAFullDisk());
    EXPECT_EQ(run.status, 1) << words.front();
    EXPECT_EQ(run.err, "vxhost: standard output cannot be written: No space left on device\n");
  }
}

TEST_F(Cli, TooFewDescriptors_AreNamedWithTheLimit) {
  vxtest::WriteFile(
      directory_ / "few",
      "#!/bin/sh\nulimit -n 10\nexec '" + vxtest::HostProcess::Program().string() + "' \"$@\"\n",
      true);
  const auto run = vxtest::RunHost({"tree"}, "", {}, directory_ / "few");
  EXPECT_EQ(run.status, 1);
  EXPECT_THAT(run.err, HasSubstr("only 10 files may be open at once (ulimit -n)"));
}

TEST_F(Cli, CopiedTree_RunsItsOwnPlugins) {
  const auto program = CopyTree("elsewhere", {VXTEST_PLUGIN});
  vxtest::WriteFile(directory_ / "script", "{" + FIXTURE_OBJECTS + "}");
  const auto run = vxtest::RunHost(
      {"tree"}, "", {{"VXTEST_PLUGIN_FILE", (directory_ / "script").string()}}, program);
  EXPECT_EQ(run.status, 0) << run.err;
  EXPECT_THAT(run.out, HasSubstr("1  SSD"));
  EXPECT_EQ(run.err, "");
}

TEST_F(Cli, TreeInAPathWithABlank_IsWarnedAbout) {
  const auto run = vxtest::RunHost({"tree"}, "", {}, CopyTree("my host", {}));
  EXPECT_EQ(run.status, 3);
  EXPECT_THAT(run.err, HasSubstr("warning: the path "));
  EXPECT_THAT(run.err, HasSubstr("no plug-in in "));
}

TEST_F(Cli, BadPluginBesideAGoodOne_IsSaidAndDoesNotStopIt) {
  vxtest::WriteFile(directory_ / "bad.so", "no library");
  const auto program = CopyTree("two", {directory_ / "bad.so", VXTEST_PLUGIN});
  vxtest::WriteFile(directory_ / "script", "{" + FIXTURE_OBJECTS + "}");
  const vxtest::HostProcess::Environment environment = {
      {"VXTEST_PLUGIN_FILE", (directory_ / "script").string()}};
  const auto run = vxtest::RunHost({"tree"}, "", environment, program);
  EXPECT_EQ(run.status, 0);
  EXPECT_THAT(run.out, HasSubstr("1  SSD"));
  EXPECT_EQ(OurLines(run.err), 1U) << run.err;
  const auto rpc = vxtest::RunHost({"rpc"}, "", environment, program);
  EXPECT_EQ(rpc.status, 2);
  EXPECT_THAT(rpc.err, HasSubstr("choose one with --plugin"));
}

TEST_F(Cli, TraceFile_ThatCannotBeWritten_IsSaid) {
  const auto run = RunFixture({"tree", "--trace-file", "/nowhere/trace"});
  EXPECT_EQ(run.status, 1);
  EXPECT_THAT(run.err, HasSubstr("--trace-file"));
}

TEST_F(Cli, Service_PrintsEventsTellsItsRunsAndEndsOnASignal) {
  vxtest::WriteFile(directory_ / "script",
                    R"({"notify":1,"events":[{"id":10968,"severity":4,"object":2,"name":"SSD",)"
                    R"("placeholder1":"SSD"}],)" +
                        FIXTURE_OBJECTS + "}");
  vxtest::HostProcess host({"run", "--db", "none", "--json", "--plugin", VXTEST_PLUGIN},
                           {{"VXTEST_PLUGIN_FILE", (directory_ / "script").string()},
                            {"VXTEST_PLUGIN_LOG", (directory_ / "log").string()}});
  EXPECT_THAT(host.Line(), HasSubstr(R"("id":10968,"severity":4,"object":"0x0000000000000002")"));
  EXPECT_TRUE(host.WaitForError("running with 1 adapter"));
  host.Signal(SIGUSR1);
  EXPECT_TRUE(host.WaitForError("tool runs so far:"));
  host.Signal(SIGTERM);
  EXPECT_EQ(host.Wait(), 0);
  EXPECT_TRUE(vxtest::ReadFile(directory_ / "log")
                  .ends_with("command 3 object 0 data false\nreleaseIf object\n"));
}

TEST_F(Cli, Service_EndsInOrderWhenNobodyReadsItAnyMore) {
  vxtest::WriteFile(directory_ / "script", "{" + FIXTURE_OBJECTS + "}");
  vxtest::HostProcess host({"run", "--db", "none", "--plugin", VXTEST_PLUGIN},
                           {{"VXTEST_PLUGIN_FILE", (directory_ / "script").string()},
                            {"VXTEST_PLUGIN_LOG", (directory_ / "log").string()}});
  ASSERT_TRUE(host.WaitForError("running with 1 adapter"));
  host.CloseOutput();
  EXPECT_EQ(host.Wait(), 1);
  EXPECT_THAT(host.Errors(), HasSubstr("nobody reads standard output any more: the service ends"));
  EXPECT_TRUE(vxtest::ReadFile(directory_ / "log")
                  .ends_with("command 3 object 0 data false\nreleaseIf object\n"));
}

// More than the pipe holds, and more than may wait in memory.
std::string ManyEvents() {
  std::string events;
  for (int i = 0; i < 200; ++i) {
    events += (i == 0 ? "" : ",");
    events +=
        R"({"id":10968,"severity":4,"object":2,"name":")" + std::string(10'000, 'n') + R"("})";
  }
  return "\"events\":[" + events + "]";
}

// Until the fixture has been asked for its events.
void WaitForFetch(const std::filesystem::path& log) {
  while (!std::filesystem::exists(log) ||
         vxtest::ReadFile(log).find("command 10 ") == std::string::npos) {
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
  }
}

TEST_F(Cli, OutputThatNobodyTakes_HoldsUpNeitherThePluginNorTheStopAndIsStatus1) {
  vxtest::WriteFile(directory_ / "script",
                    "{\"notify\":1," + ManyEvents() + "," + FIXTURE_OBJECTS + "}");
  vxtest::HostProcess host({"run", "--json", "--db", "none", "--plugin", VXTEST_PLUGIN},
                           {{"VXTEST_PLUGIN_FILE", (directory_ / "script").string()},
                            {"VXTEST_PLUGIN_LOG", (directory_ / "log").string()}});
  WaitForFetch(directory_ / "log");
  host.Signal(SIGTERM);
  EXPECT_TRUE(host.EndsUnread());
  EXPECT_TRUE(vxtest::ReadFile(directory_ / "log").ends_with("releaseIf object\n"));
  EXPECT_EQ(host.Wait(), 1);
}

// A pipe under a name that is full and that nobody reads.
class FullPipe {
 public:
  explicit FullPipe(const std::filesystem::path& path) {
    ::mkfifo(path.c_str(), 0600);
    descriptor_ = ::open(path.c_str(), O_RDWR | O_NONBLOCK);
    const std::string text(4096, '.');
    while (::write(descriptor_, text.data(), text.size()) > 0) {
    }
  }
  ~FullPipe() { ::close(descriptor_); }
  FullPipe(const FullPipe&) = delete;
  FullPipe& operator=(const FullPipe&) = delete;

 private:
  int descriptor_;
};

TEST_F(Cli, ErrorsThatNobodyTakes_DoNotHoldUpTheStop) {
  const FullPipe pipe(directory_ / "errors");
  vxtest::WriteFile(directory_ / "host",
                    "#!/bin/sh\nexec '" + vxtest::HostProcess::Program().string() +
                        "' \"$@\" 2> '" + (directory_ / "errors").string() + "'\n",
                    true);
  // What the plug-in prints, from its first command on, leads there as well.
  vxtest::WriteFile(directory_ / "script",
                    R"({"print":"from the plug-in","notify":1,)" + FIXTURE_OBJECTS + "}");
  vxtest::HostProcess host({"run", "--db", "none", "--plugin", VXTEST_PLUGIN},
                           {{"VXTEST_PLUGIN_FILE", (directory_ / "script").string()},
                            {"VXTEST_PLUGIN_LOG", (directory_ / "log").string()}},
                           directory_ / "host");
  WaitForFetch(directory_ / "log");
  host.Signal(SIGTERM);
  EXPECT_EQ(host.Wait(), 1);
  EXPECT_TRUE(vxtest::ReadFile(directory_ / "log").ends_with("releaseIf object\n"));
}

TEST_F(Cli, Service_TriesAFailedStartAgainOnAFreshObject) {
  vxtest::WriteFile(directory_ / "script", R"({"initialize":20012})");
  vxtest::HostProcess host({"run", "--db", "none", "--time-scale", "50", "--plugin", VXTEST_PLUGIN},
                           {{"VXTEST_PLUGIN_FILE", (directory_ / "script").string()},
                            {"VXTEST_PLUGIN_LOG", (directory_ / "log").string()}});
  ASSERT_TRUE(host.WaitForError("; trying again in 5 s, then after longer pauses, up to 60 s\n"));
  vxtest::WriteFile(directory_ / "script.new", "{" + FIXTURE_OBJECTS + "}");
  std::filesystem::rename(directory_ / "script.new", directory_ / "script");
  EXPECT_TRUE(host.WaitForError("running with 1 adapter")) << host.Errors();
  EXPECT_EQ(OurLines(host.Errors()), 2U) << host.Errors();
  host.Signal(SIGINT);
  EXPECT_EQ(host.Wait(), 0);
  const std::string log = vxtest::ReadFile(directory_ / "log");
  EXPECT_TRUE(
      log.starts_with("createIf mask 0\ncommand 1 object 0 data true\nreleaseIf object\n"
                      "createIf mask 0\n"))
      << log;
}

TEST_F(Cli, Service_GivesUpOnAPluginThatCanNeverRun) {
  const auto run = RunFixture({"run", "--db", "none"}, R"({"initialize":20011})");
  EXPECT_EQ(run.status, 1);
  EXPECT_THAT(run.err, HasSubstr("(20011)"));
}

}  // namespace
