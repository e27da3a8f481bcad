#include "simulator/ToolRun.h"

#include <algorithm>
#include <chrono>
#include <csignal>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>
#include <rapidjson/document.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

using rapidjson::Document;
using simtest::FleetDirectory;
using simtest::OneDrive;
using simtest::ToolRun;

constexpr const char* kHealth =
    R"("usedBytes": 9, "health": {"criticalWarnings": 0, "temperature": 35, "powerOnHours": 16})";

// What the command gives on one healthy drive without any fault.
std::string Sound(const std::string& command) {
  return FleetDirectory(OneDrive(kHealth)).Run(command).out;
}

const std::string kDelete = "delete -f -torvex 3";

TEST(Fault, Exit_EndsWithTheStatusAndNoOutput) {
  const FleetDirectory fleet(
      OneDrive(kHealth, R"({"command": "log2", "kind": "exit", "status": 7})"));
  const ToolRun run = fleet.Run(simtest::Log2(3));
  EXPECT_EQ(run.status, 7);
  EXPECT_EQ(run.out, "");
  EXPECT_EQ(run.err, "isdct: simulated failure\n");
}

TEST(Fault, ExitThatKeepsOutput_PrintsTheAnswer) {
  const FleetDirectory fleet(
      OneDrive(kHealth, R"({"command": "log2", "kind": "exit", "keepOutput": true})"));
  const ToolRun run = fleet.Run(simtest::Log2(3));
  EXPECT_EQ(run.status, 1);
  EXPECT_EQ(run.out, Sound(simtest::Log2(3)));
}

TEST(Fault, Crash_EndsByTheSignal) {
  const FleetDirectory fleet(
      OneDrive(kHealth, R"({"command": "log2", "kind": "crash", "signal": 11},
                           {"command": "version", "kind": "crash", "keepOutput": true})"));
  const ToolRun run = fleet.Run(simtest::Log2(3));
  EXPECT_EQ(run.signal, SIGSEGV);
  EXPECT_EQ(run.out, "");
  const ToolRun version = fleet.Run(simtest::kVersion);
  EXPECT_EQ(version.signal, SIGABRT);
  EXPECT_EQ(version.out, Sound(simtest::kVersion));
}

TEST(Fault, Silent_PrintsNothingAndSucceeds) {
  const FleetDirectory fleet(OneDrive(kHealth, R"({"command": "inventory", "kind": "silent"})"));
  const ToolRun run = fleet.Run(simtest::kInventory);
  EXPECT_EQ(run.status, 0);
  EXPECT_EQ(run.out, "");
}

TEST(Fault, Truncated_PrintsTheFirstHalf) {
  const FleetDirectory fleet(OneDrive(kHealth, R"({"command": "log203", "kind": "truncated"})"));
  const std::string whole = Sound(simtest::Log203(3));
  EXPECT_EQ(fleet.Run(simtest::Log203(3)).out, whole.substr(0, whole.size() / 2));
}

TEST(Fault, NoDevice_SaysSo) {
  const FleetDirectory fleet(OneDrive(kHealth, R"({"command": "version", "kind": "noDevice"})"));
  EXPECT_EQ(fleet.Run(simtest::kVersion).out, "No device selected\n");
}

TEST(Fault, Garbage_IsNoTextAndTheSameEveryTime) {
  const FleetDirectory fleet(OneDrive(kHealth, R"({"command": "any", "kind": "garbage"})"));
  const std::string garbage = fleet.Run(simtest::kInventory).out;
  EXPECT_EQ(garbage.size(), 4096U);
  EXPECT_NE(garbage.find('\0'), std::string::npos);
  EXPECT_NE(garbage.find('\xff'), std::string::npos);
  EXPECT_EQ(fleet.Run(simtest::Log2(3)).out, garbage);
}

TEST(Fault, WrongTypes_TurnsEveryValueOfTheSections) {
  const FleetDirectory fleet(OneDrive(kHealth, R"({"command": "any", "kind": "wrongTypes"})"));
  Document document;
  document.Parse(fleet.Run(simtest::Log2(3)).out.c_str());
  ASSERT_TRUE(document.IsObject());
  const auto& section = document["NVMeLog SMART and Health Information SERIAL3"];
  EXPECT_TRUE(section["Critical Warnings"].IsString());
  EXPECT_TRUE(section["Media is in a read-only mode"].IsNumber());
  EXPECT_TRUE(section["Power On Hours"].IsNumber());
  document.Parse(fleet.Run(simtest::kInventory).out.c_str());
  ASSERT_TRUE(document.IsObject());
  EXPECT_TRUE(document["Intel SSD Test Series SERIAL3"]["Index"].IsString());
  EXPECT_TRUE(document["Intel SSD Test Series SERIAL3"]["SerialNumber"].IsNumber());
}

TEST(Fault, Flood_IsValidJsonOfThatSize) {
  const FleetDirectory fleet(
      OneDrive(kHealth, R"({"command": "any", "kind": "flood", "megabytes": 3})"));
  for (const std::string& command : {simtest::kInventory, simtest::Log2(3)}) {
    const std::string flood = fleet.Run(command).out;
    EXPECT_GE(flood.size(), std::size_t{3} << 20U);
    Document document;
    document.Parse(flood.c_str());
    ASSERT_FALSE(document.HasParseError());
    EXPECT_EQ(document.MemberCount(), 2U);
  }
}

TEST(Fault, FloodOfAnEmptyFleet_IsValidJson) {
  const FleetDirectory fleet(
      R"({"drives": [], "faults": [{"command": "any", "kind": "flood", "megabytes": 1}]})");
  Document document;
  document.Parse(fleet.Run(simtest::kInventory).out.c_str());
  EXPECT_FALSE(document.HasParseError());
}

TEST(Fault, Preamble_StandsBeforeTheAnswer) {
  const FleetDirectory fleet(
      OneDrive(kHealth, R"({"command": "any", "kind": "preamble", "text": "Hello\n"})"));
  EXPECT_EQ(fleet.Run(simtest::kVersion).out, "Hello\n" + Sound(simtest::kVersion));
}

TEST(Fault, Latency_ChangesNothingOfTheAnswer) {
  const FleetDirectory fleet(
      OneDrive(kHealth, R"({"command": "any", "kind": "latency", "ms": 30})"));
  const auto before = std::chrono::steady_clock::now();
  EXPECT_EQ(fleet.Run(simtest::kVersion).out, Sound(simtest::kVersion));
  // A lower bound: waiting can only take longer.
  EXPECT_GE(std::chrono::steady_clock::now() - before, std::chrono::milliseconds(30));
}

TEST(Fault, Hang_LastsUntilTheProcessIsEnded) {
  const FleetDirectory fleet(OneDrive(kHealth, R"({"command": "log2", "kind": "hang"})"));
  const pid_t child = simtest::Start(
      VXSIM_TOOL, {"show", "-o", "json", "-torvex", "3", "-nvmelog", "SmartHealthInfo"},
      {{"VXSIM_FLEET", fleet.File().string()}}, fleet.Path() / "out", fleet.Path() / "err");
  std::this_thread::sleep_for(std::chrono::milliseconds(300));
  int ended = 0;
  EXPECT_EQ(waitpid(child, &ended, WNOHANG), 0);
  kill(child, SIGTERM);
  EXPECT_EQ(waitpid(child, &ended, 0), child);
  EXPECT_TRUE(WIFSIGNALED(ended));
  EXPECT_EQ(vxtest::ReadFile(fleet.Path() / "out"), "");
}

TEST(Fault, Hang_EndsWithTheProcessThatStartedIt) {
  const FleetDirectory fleet(OneDrive(kHealth, R"({"command": "any", "kind": "hang"})"));
  int ends[2];
  ASSERT_EQ(pipe(ends), 0);
  // The shell leaves the hanging tool behind; its end closes the last writing end of the pipe.
  const pid_t shell = fork();
  if (shell == 0) {
    dup2(ends[1], 1);
    close(ends[0]);
    close(ends[1]);
    setenv("VXSIM_FLEET", fleet.File().c_str(), 1);
    const std::string script = std::string(VXSIM_TOOL) + " version -o json & sleep 0.2";
    execl("/bin/sh", "sh", "-c", script.c_str(), static_cast<char*>(nullptr));
    _exit(127);
  }
  close(ends[1]);
  int ended = 0;
  EXPECT_EQ(waitpid(shell, &ended, 0), shell);
  char byte = 0;
  EXPECT_EQ(read(ends[0], &byte, 1), 0);  // comes back only when the tool is gone
  close(ends[0]);
}

TEST(Fault, OfAnotherCommandOrDrive_DoesNotStrike) {
  const FleetDirectory fleet(OneDrive(kHealth, R"({"command": "log2", "index": 4, "kind": "silent"},
                                                  {"command": "log197", "kind": "silent"})"));
  EXPECT_EQ(fleet.Run(simtest::Log2(3)).out, Sound(simtest::Log2(3)));
  EXPECT_EQ(fleet.Run(simtest::kInventory).out, Sound(simtest::kInventory));
  EXPECT_EQ(fleet.Run(simtest::Log197(3)).out, "");
}

TEST(Fault, EveryCommand_CanBeStruck) {
  const std::vector<std::pair<std::string, std::string>> commands = {
      {"inventory", simtest::kInventory},
      {"log2", simtest::Log2(3)},
      {"log197", simtest::Log197(3)},
      {"log202", simtest::Log202(3)},
      {"log203", simtest::Log203(3)},
      {"version", simtest::kVersion},
      {"format", simtest::FormatCommand(3)},
      {"delete", kDelete},
      {"set", kDelete + "N=5"}};
  for (const auto& [name, command] : commands) {
    const FleetDirectory fleet(
        OneDrive(kHealth, R"({"command": ")" + name + R"(", "kind": "exit", "status": 9})"));
    for (const auto& [otherName, other] : commands) {
      EXPECT_EQ(fleet.Run(other).status, name == otherName ? 9 : 0) << name << ": " << other;
    }
  }
}

TEST(Fault, MaintenanceThatFailsOrCrashes_LeavesTheFleetAsItWas) {
  for (const char* kind : {"exit", "crash"}) {
    const FleetDirectory fleet(
        OneDrive(kHealth, std::string(R"({"command": "any", "kind": ")") + kind + "\"}"));
    const std::string before = fleet.Text();
    fleet.Run(kDelete);
    fleet.Run(simtest::FormatCommand(3));
    EXPECT_EQ(fleet.Text(), before);
  }
}

TEST(Fault, Several_StrikeInTheirOrder) {
  const FleetDirectory fleet(OneDrive(kHealth, R"({"command": "any", "kind": "noDevice"},
                           {"command": "any", "kind": "preamble", "text": "Note: "},
                           {"command": "any", "kind": "exit", "status": 4, "keepOutput": true})"));
  const ToolRun run = fleet.Run(simtest::kVersion);
  EXPECT_EQ(run.out, "Note: No device selected\n");
  EXPECT_EQ(run.status, 4);
}

TEST(Fault, FirstCalls_FailsAndThenWorks) {
  const FleetDirectory fleet(
      OneDrive(kHealth, R"({"command": "inventory", "kind": "exit", "firstCalls": 1})"));
  EXPECT_EQ(fleet.Run(simtest::kVersion).status, 0);  // another command does not count
  EXPECT_EQ(fleet.Run(simtest::kInventory).status, 1);
  EXPECT_EQ(fleet.Run(simtest::kInventory).status, 0);
  EXPECT_EQ(fleet.Run(simtest::kInventory).out, Sound(simtest::kInventory));
}

TEST(Fault, FromCall_WorksAndThenFails_AndBothLimitsMakeAWindow) {
  const FleetDirectory fleet(
      OneDrive(kHealth, R"({"command": "log2", "kind": "silent", "fromCall": 3},
                           {"command": "log197", "kind": "silent", "fromCall": 2, "firstCalls": 2})"));
  std::string log2;
  std::string log197;
  for (int i = 0; i < 5; ++i) {
    log2 += fleet.Run(simtest::Log2(3)).out.empty() ? "x" : "o";
    log197 += fleet.Run(simtest::Log197(3)).out.empty() ? "x" : "o";
  }
  EXPECT_EQ(log2, "ooxxx");
  EXPECT_EQ(log197, "oxxoo");
}

TEST(Fault, CallsAreCountedByManyAtOnce_WithoutLosingOne) {
  const FleetDirectory fleet(
      OneDrive(kHealth, R"({"command": "version", "kind": "exit", "status": 5, "firstCalls": 7})"));
  std::vector<int> statuses(16);
  std::vector<std::thread> threads;
  for (int& status : statuses) {
    threads.emplace_back([&fleet, &status] { status = fleet.Run(simtest::kVersion).status; });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(std::count(statuses.begin(), statuses.end(), 5), 7);
}

TEST(Counters, LieInTheStateDirectoryWhenOneIsNamed) {
  const FleetDirectory fleet(
      OneDrive(kHealth, R"({"command": "version", "kind": "silent", "firstCalls": 1})"));
  const std::filesystem::path state = fleet.Path() / "state";
  const simtest::Environment environment{{"VXSIM_FLEET", fleet.File().string()},
                                         {"VXSIM_STATE", state.string()}};
  EXPECT_EQ(simtest::RunTool(simtest::kVersion, environment).out, "");
  EXPECT_NE(simtest::RunTool(simtest::kVersion, environment).out, "");
  EXPECT_TRUE(std::filesystem::exists(state / "fleet.json.calls"));
  EXPECT_FALSE(std::filesystem::exists(fleet.Counters()));
  EXPECT_EQ(fleet.Run(simtest::kVersion).out, "");  // counts for itself
}

TEST(Counters, DirectoryOfAHostThatHasGone_IsNotMadeAnew) {
  const FleetDirectory fleet(
      OneDrive(kHealth, R"({"command": "version", "kind": "silent", "firstCalls": 1})"));
  const std::filesystem::path host = fleet.Path() / "host";
  const simtest::Environment environment{{"VXSIM_FLEET", fleet.File().string()},
                                         {"VXSIM_STATE", (host / "state").string()}};
  EXPECT_EQ(simtest::RunTool(simtest::kVersion, environment).status, 1);
  EXPECT_FALSE(std::filesystem::exists(host));
}

TEST(Counters, OnlyComeIntoBeingWithALimitedFault) {
  const FleetDirectory fleet(OneDrive(kHealth, R"({"command": "version", "kind": "silent"})"));
  fleet.Run(simtest::kVersion);
  EXPECT_FALSE(std::filesystem::exists(fleet.Counters()));
}

TEST(Counters, Reset_LetsTheScenarioRunAgainWithTheSameBytes) {
  const FleetDirectory fleet(
      OneDrive(kHealth, R"({"command": "log2", "kind": "truncated", "firstCalls": 1},
                           {"command": "log2", "kind": "garbage", "fromCall": 3})"));
  const auto scenario = [&] {
    std::string bytes;
    for (int i = 0; i < 4; ++i) bytes += fleet.Run(simtest::Log2(3)).out;
    return bytes;
  };
  const std::string first = scenario();
  EXPECT_NE(scenario(), first);
  fleet.Edit("reset");
  EXPECT_EQ(scenario(), first);
}

TEST(Counters, Reset_ReachesAProgramThatKeepsItsCountersElsewhere) {
  const FleetDirectory fleet(
      OneDrive(kHealth, R"({"command": "version", "kind": "silent", "firstCalls": 1})"));
  const simtest::Environment environment{{"VXSIM_FLEET", fleet.File().string()},
                                         {"VXSIM_STATE", (fleet.Path() / "state").string()}};
  EXPECT_EQ(simtest::RunTool(simtest::kVersion, environment).out, "");
  EXPECT_NE(simtest::RunTool(simtest::kVersion, environment).out, "");
  fleet.Edit("reset");
  EXPECT_EQ(simtest::RunTool(simtest::kVersion, environment).out, "");
}

}  // namespace
