// The commands that the tool is given, and how its runs are judged.
#include "PluginTrace.h"
#include "piTorvex.h"
#include "support/Files.h"
#include "support/ScriptedTool.h"

#include <filesystem>
#include <string>
#include <vector>

#include <boost/optional/bad_optional_access.hpp>
#include <gtest/gtest.h>
#include <rapidjson/document.h>

using namespace NAMESPACE_piTorvex;

namespace {

constexpr const char* INVENTORY = "show -all -o json -torvex";
constexpr const char* VERSION = "version -o json";
constexpr const char* HEALTH = "show -o json -torvex 3 -nvmelog SmartHealthInfo";
constexpr const char* TEMPERATURE = "show -o json -torvex 3 -nvmelog TemperatureStatistics";
constexpr const char* ATTRIBUTES = "show -o json -smart -torvex 3";
constexpr const char* CAPACITY = "show -all -o json -torvex 3";
constexpr const char* FORMAT =
    "start -f -torvex 3 Function=nvmeformat LBAFormat=0 SecureEraseSetting=0 "
    "ProtectionInformation=0 MetadataSetting=0 2>&1";
constexpr const char* DELETE = "delete -f -torvex 3 2>&1";

constexpr const char* ONE_DRIVE =
    R"({"Intel SSD X":{"Index":3,"ModelNumber":"INTEL SSDPE2KX","SerialNumber":"S"}})";

using Strings = std::vector<std::string>;

class CmdEmuRunning : public ::testing::Test {
 protected:
  CmdEmuRunning() { plugin.m_CommandPrefix = "LD_PRELOAD=/h/bin/lib.so /h/bin/isdct"; }

  void AnswerAllLogs() {
    tool.script[HEALTH].output =
        R"({"NVMeLog2":{"Critical Warnings":1,"Percentage Used":7,"Data Units Read":"1F4"}})";
    tool.script[TEMPERATURE].output =
        R"({"Temp Statistics":{"Current Temperature":85,"Estimated offset in Celsius":7}})";
    tool.script[ATTRIBUTES].output =
        R"({"SMART Attributes":{"EA":{"Normalized":99},"AD":{"Normalized":98}}})";
    tool.script[CAPACITY].output = R"({"Intel SSD":{"PhysicalSize":1000}})";
  }

  vxtest::ScriptedTool tool;
  IPLUGINAPI_IMPL plugin;
};

}  // namespace

// --- Inventory

TEST_F(CmdEmuRunning, Inventory_RunsOneCommandBehindThePrefix) {
  tool.script[INVENTORY].output = ONE_DRIVE;
  EXPECT_EQ(plugin.GetAdaptersInfo(), 0U);
  EXPECT_EQ(tool.Calls(), Strings{INVENTORY});
  EXPECT_EQ(tool.Prefixes(), Strings{"LD_PRELOAD=/h/bin/lib.so /h/bin/isdct"});
  ASSERT_EQ(plugin.m_ToolRecords.size(), 1U);
  EXPECT_EQ(plugin.m_ToolRecords[0].SerialNumber, "S");
}

TEST_F(CmdEmuRunning, Inventory_EveryRunReplacesTheListCompletely) {
  tool.script[INVENTORY].output = ONE_DRIVE;
  plugin.GetAdaptersInfo();
  plugin.GetAdaptersInfo();
  ASSERT_EQ(plugin.m_ToolRecords.size(), 1U);
  EXPECT_EQ(plugin.m_ToolRecords[0].AdapterNumber, 1U);
}

// What a record holds of the health of its drive is gone with it, and the inventory asks for none.
TEST_F(CmdEmuRunning, Inventory_StartsTheHealthOfEveryRecordAnew) {
  tool.script[INVENTORY].output = ONE_DRIVE;
  plugin.GetAdaptersInfo();
  plugin.m_ToolRecords.at(0).Health.CriticalWarnings = 0x280;
  plugin.m_ToolRecords.at(0).Health.NormalizedAD = 100;
  plugin.GetAdaptersInfo();
  EXPECT_EQ(plugin.m_ToolRecords.at(0).Health.CriticalWarnings, 0U);
  EXPECT_EQ(plugin.m_ToolRecords.at(0).Health.NormalizedAD, 0U);
  EXPECT_EQ(plugin.m_ToolRecords.at(0).Health.ToolIndex, -1);
  EXPECT_EQ(tool.Calls(), (Strings{INVENTORY, INVENTORY}));
}

TEST_F(CmdEmuRunning, Inventory_WithoutAnAcceptedDrive_Is20001AndEmpty) {
  plugin.m_ToolRecords.resize(2);
  for (const char* output : {"{}", "[]", "5", "null", R"({"Intel SSD":{"Index":0}})"}) {
    tool.script[INVENTORY].output = output;
    EXPECT_EQ(plugin.GetAdaptersInfo(), PI::ERR_NO_SUPPORTED_HARDWARE) << output;
    EXPECT_TRUE(plugin.m_ToolRecords.empty());
  }
}

TEST_F(CmdEmuRunning, Inventory_OfAFailedRun_Is20003AndEmpty_AndTracesTheResultOnly) {
  for (const int result : {0, 2, -1}) {
    plugin.m_ToolRecords.resize(2);
    tool.script[INVENTORY] = {result, ONE_DRIVE, {}};
    vxtest::PluginTrace trace;
    EXPECT_EQ(plugin.GetAdaptersInfo(), PI::ERR_TOOL_COMMAND_FAILED);
    EXPECT_TRUE(plugin.m_ToolRecords.empty());
    ASSERT_EQ(trace.Texts(),
              Strings{"TLXX::CSystem::ExecuteCommand returned with " + std::to_string(result)});
    EXPECT_EQ(trace.Lines()[0].level, 2U);
    EXPECT_EQ(trace.Lines()[0].file, "piTorvex/Src/piTorvexCmdEmu");
    EXPECT_EQ(trace.Lines()[0].function, "GetAdaptersInfo");
  }
}

TEST_F(CmdEmuRunning, Inventory_OfOutputThatIsNoJson_Is20003AndEmpty_WithoutATrace) {
  for (const char* output : {"", " \n", "No device selected", R"({"Intel SSD)", "\x7F\x45LF"}) {
    plugin.m_ToolRecords.resize(2);
    tool.script[INVENTORY].output = output;
    vxtest::PluginTrace trace;
    EXPECT_EQ(plugin.GetAdaptersInfo(), PI::ERR_TOOL_COMMAND_FAILED) << output;
    EXPECT_TRUE(plugin.m_ToolRecords.empty());
    EXPECT_TRUE(trace.Lines().empty());
  }
}

TEST_F(CmdEmuRunning, Inventory_DoesNotLookForNoDeviceSelected) {
  tool.script[INVENTORY].output =
      R"({"No device selected":{},"Intel SSD":{"Index":3,"ModelNumber":"INTEL SSDPE2KX"}})";
  EXPECT_EQ(plugin.GetAdaptersInfo(), 0U);
}

// --- Log pages

TEST_F(CmdEmuRunning, LogPage_RunsTheCommandOfItsLog) {
  const std::vector<std::pair<int, const char*>> pages = {
      {2, HEALTH}, {197, TEMPERATURE}, {202, ATTRIBUTES}, {203, CAPACITY}};
  for (const auto& [id, command] : pages) {
    tool.ClearCalls();
    tool.script[command].output = R"({"a":{"b":1}})";
    NAMESPACE_piTorvex::CToolDocument document;
    EXPECT_EQ(plugin.GetLogPage(3, id, document), 0U);
    EXPECT_EQ(tool.Calls(), Strings{command});
    EXPECT_TRUE(document.IsObject());
  }
}

TEST_F(CmdEmuRunning, LogPage_OfNegativeIndex_IsFormattedAsItIs) {
  NAMESPACE_piTorvex::CToolDocument document;
  plugin.GetLogPage(-2, 203, document);
  EXPECT_EQ(tool.Calls(), Strings{"show -all -o json -torvex -2"});
}

TEST_F(CmdEmuRunning, LogPage_OfAnUnknownLog_Is20006AndRunsNothing) {
  for (const int id : {5, 0, -1, 1, 3, 204, 2147483647}) {
    NAMESPACE_piTorvex::CToolDocument document;
    vxtest::PluginTrace trace;
    EXPECT_EQ(plugin.GetLogPage(3, id, document), PI::ERR_UNKNOWN_LOG_PAGE) << id;
    EXPECT_TRUE(trace.Lines().empty());
  }
  EXPECT_TRUE(tool.Calls().empty());
}

TEST_F(CmdEmuRunning, LogPage_TracesStartAndResult) {
  tool.script[HEALTH].output = "{}";
  vxtest::PluginTrace trace;
  NAMESPACE_piTorvex::CToolDocument document;
  plugin.GetLogPage(3, 2, document);
  const Strings expected = {
      "TLXX::CSystem::ExecuteCommand start: LD_PRELOAD=/h/bin/lib.so /h/bin/isdct " +
          std::string(HEALTH),
      "TLXX::CSystem::ExecuteCommand returned with 1"};
  EXPECT_EQ(trace.Texts(), expected);
  EXPECT_EQ(trace.Lines()[0].level, 2U);
  EXPECT_EQ(trace.Lines()[1].level, 2U);
  EXPECT_EQ(trace.Lines()[0].function, "GetLogPage");
}

TEST_F(CmdEmuRunning, LogPage_ThatFailed_Is20003_AndLeavesANullDocument) {
  const std::vector<vxtest::ScriptedTool::Answer> failures = {
      {0, "{}", {}},
      {2, "{}", {}},
      {1, "", {}},
      {1, " ", {}},
      {1, "{", {}},
      {1, "x{}", {}},
      {1, R"({"a":{"b":"No device selected!"}})", {}},
      {1, "No device selected", {}}};
  for (const auto& failure : failures) {
    NAMESPACE_piTorvex::CToolDocument document;
    document.Parse(R"({"NVMeLog2":{"Percentage Used":50}})");
    tool.script[HEALTH] = failure;
    EXPECT_EQ(plugin.GetLogPage(3, 2, document), PI::ERR_TOOL_COMMAND_FAILED) << failure.output;
    EXPECT_TRUE(document.IsNull()) << failure.output;
  }
}

TEST_F(CmdEmuRunning, LogPage_NoDeviceSelectedInAnotherCase_IsNotTheTest) {
  tool.script[HEALTH].output = R"({"a":{"b":"no device selected"}})";
  NAMESPACE_piTorvex::CToolDocument document;
  EXPECT_EQ(plugin.GetLogPage(3, 2, document), 0U);
}

// --- Health information

TEST_F(CmdEmuRunning, LogInformation_AsksFourLogsInOrder_AndGathersThem) {
  AnswerAllLogs();
  CCmdEmuGetlog log;
  EXPECT_EQ(plugin.GetLogPageInformation(3, log), 0U);
  EXPECT_EQ(tool.Calls(), (Strings{HEALTH, TEMPERATURE, ATTRIBUTES, CAPACITY}));
  EXPECT_EQ(log.CriticalWarnings, 0x21U);  // 85 - 7 = 78 adds 0x20
  EXPECT_EQ(log.PercentageUsed, 7);
  EXPECT_EQ(log.DataUnitsRead, 500U);
  EXPECT_EQ(log.CurrentTemperature, 85);
  EXPECT_EQ(log.NormalizedEA, 99U);
  EXPECT_EQ(log.NormalizedAD, 98U);
  EXPECT_EQ(log.PhysicalSize, 1000U);
  EXPECT_EQ(log.ToolIndex, 3);
}

TEST_F(CmdEmuRunning, LogInformation_TracesBeginningAndEnd) {
  for (const char* command : {HEALTH, TEMPERATURE, ATTRIBUTES, CAPACITY})
    tool.script[command].output = "{}";
  vxtest::PluginTrace trace;
  CCmdEmuGetlog log;
  plugin.GetLogPageInformation(3, log);
  const Strings texts = trace.Texts();
  ASSERT_EQ(texts.size(), 10U);
  EXPECT_EQ(texts.front(), "GetLogPageInformation: begin");
  EXPECT_EQ(texts.back(), "GetLogPageInformation: end");
  EXPECT_EQ(trace.Lines().front().function, "GetLogPageInformation");
}

TEST_F(CmdEmuRunning, LogInformation_FailedLog_EndsTheQuery_AndKeepsWhatWasRead) {
  AnswerAllLogs();
  tool.script[TEMPERATURE].result = 0;
  CCmdEmuGetlog log;
  vxtest::PluginTrace trace;
  EXPECT_EQ(plugin.GetLogPageInformation(3, log), PI::ERR_TOOL_COMMAND_FAILED);
  EXPECT_EQ(tool.Calls(), (Strings{HEALTH, TEMPERATURE}));
  EXPECT_EQ(log.CriticalWarnings, 1U);
  EXPECT_EQ(log.PercentageUsed, 7);
  EXPECT_EQ(log.CurrentTemperature, 10);
  EXPECT_EQ(log.NormalizedAD, 0U);  // set to 100 only before its own log
  EXPECT_FALSE(trace.Has("GetLogPageInformation: end"));
}

TEST_F(CmdEmuRunning, LogInformation_AttributeADIs100BeforeItsLogIsAsked) {
  AnswerAllLogs();
  tool.script[ATTRIBUTES].result = 0;
  CCmdEmuGetlog log;
  EXPECT_EQ(plugin.GetLogPageInformation(3, log), PI::ERR_TOOL_COMMAND_FAILED);
  EXPECT_EQ(log.NormalizedAD, 100U);
  EXPECT_EQ(log.CriticalWarnings, 1U);  // no temperature bits without the last log
}

TEST_F(CmdEmuRunning, LogInformation_WithoutTheWarningKey_OldTemperatureBitsStay) {
  AnswerAllLogs();
  CCmdEmuGetlog log;
  plugin.GetLogPageInformation(3, log);
  ASSERT_EQ(log.CriticalWarnings, 0x21U);
  tool.script[TEMPERATURE].output =
      R"({"Temp Statistics":{"Current Temperature":30,"Estimated offset in Celsius":0}})";
  tool.script[HEALTH].output = R"({"NVMeLog2":{}})";
  plugin.GetLogPageInformation(3, log);
  EXPECT_EQ(log.CriticalWarnings, 0x21U);
  tool.script[HEALTH].output = R"({"NVMeLog2":{"Critical Warnings":4}})";
  plugin.GetLogPageInformation(3, log);
  EXPECT_EQ(log.CriticalWarnings, 4U);
}

TEST_F(CmdEmuRunning, LogInformation_BadCounter_LeavesAsAnException) {
  AnswerAllLogs();
  tool.script[HEALTH].output = R"({"NVMeLog2":{"Percentage Used":9,"Media Errors":"none"}})";
  CCmdEmuGetlog log;
  EXPECT_THROW(plugin.GetLogPageInformation(3, log), boost::bad_optional_access);
  EXPECT_EQ(log.PercentageUsed, 9);
  EXPECT_EQ(tool.Calls(), Strings{HEALTH});
}

TEST_F(CmdEmuRunning, LogInformation_OfRootsThatAreNoObjects_ReadsNothingAndSucceeds) {
  for (const char* command : {HEALTH, TEMPERATURE, ATTRIBUTES, CAPACITY})
    tool.script[command].output = "[]";
  CCmdEmuGetlog log;
  EXPECT_EQ(plugin.GetLogPageInformation(3, log), 0U);
  EXPECT_EQ(log.PercentageUsed, 0);
  EXPECT_EQ(log.CurrentTemperature, 10);
}

// --- Version

TEST_F(CmdEmuRunning, Version_Returns20003WhetherItWasReadOrNot) {
  tool.script[VERSION].output = R"({"version information":{"Version":"3.0.20"}})";
  std::string version = "old";
  {
    vxtest::PluginTrace trace;
    EXPECT_EQ(plugin.GetVersion(version), PI::ERR_TOOL_COMMAND_FAILED);
    EXPECT_EQ(version, "3.0.20");
    ASSERT_EQ(trace.Texts(), Strings{"Name: Version, Value: (3.0.20)"});
    EXPECT_EQ(trace.Lines()[0].function, "GetVersion");
  }
  EXPECT_EQ(tool.Calls(), Strings{VERSION});
  const std::vector<vxtest::ScriptedTool::Answer> failures = {
      {0, tool.script[VERSION].output, {}},
      {1, "", {}},
      {1, "{", {}},
      {1, "[]", {}},
      {1, R"({"Version Information":{"Version":"3 No device selected"}})", {}}};
  for (const auto& failure : failures) {
    version = "old";
    tool.script[VERSION] = failure;
    vxtest::PluginTrace trace;
    EXPECT_EQ(plugin.GetVersion(version), PI::ERR_TOOL_COMMAND_FAILED) << failure.output;
    EXPECT_EQ(version, "") << failure.output;
    EXPECT_TRUE(trace.Lines().empty());
  }
}

// --- All commands

TEST_F(CmdEmuRunning, EveryCommand_StandsBehindThePrefix_AndIsNotRepeatedWhenItFails) {
  const Strings commands = {INVENTORY,   VERSION,    HEALTH,
                            TEMPERATURE, ATTRIBUTES, CAPACITY,
                            FORMAT,      DELETE,     "delete -f -torvex 3N=5GB"};
  for (const int result : {0, 1}) {  // does not run; prints nothing
    for (const std::string& command : commands) tool.script[command].result = result;
    tool.ClearCalls();
    std::string version;
    NAMESPACE_piTorvex::CToolDocument document;
    EXPECT_EQ(plugin.GetAdaptersInfo(), PI::ERR_TOOL_COMMAND_FAILED);
    EXPECT_EQ(plugin.GetVersion(version), PI::ERR_TOOL_COMMAND_FAILED);
    for (const int id : {2, 197, 202, 203})
      EXPECT_EQ(plugin.GetLogPage(3, id, document), PI::ERR_TOOL_COMMAND_FAILED);
    EXPECT_EQ(plugin.CmdEmu_format(3), PI::ERR_TOOL_COMMAND_FAILED);
    EXPECT_EQ(plugin.CmdEmu_delete(3), PI::ERR_TOOL_COMMAND_FAILED);
    EXPECT_EQ(plugin.CmdEmu_set(3, "N", 1, 5), PI::ERR_TOOL_COMMAND_FAILED);
    EXPECT_EQ(tool.Calls(), commands);
    EXPECT_EQ(tool.Prefixes(), Strings(9, "LD_PRELOAD=/h/bin/lib.so /h/bin/isdct"));
  }
}

// --- Maintenance

namespace {

struct Maintenance {
  const char* arguments;
  unsigned int (IPLUGINAPI_IMPL::*run)(int);
  const char* trace;
  const char* function;
};
const std::vector<Maintenance> MAINTENANCE = {
    {FORMAT, &IPLUGINAPI_IMPL::CmdEmu_format, "Format returned with: ", "CmdEmu_format"},
    {DELETE, &IPLUGINAPI_IMPL::CmdEmu_delete, "Delete returned with: ", "CmdEmu_delete"},
};

}  // namespace

TEST_F(CmdEmuRunning, FormatAndDelete_SucceedWhenAnyLineSaysSo) {
  for (const Maintenance& command : MAINTENANCE) {
    const std::vector<std::pair<Strings, unsigned int>> cases = {
        {{"Error: a", "Format successful.", "Error: b"}, 0U},
        {{"successful"}, 0U},
        {{"unsuccessful"}, 0U},  // holds the word
        {{"Successful", "SUCCESSFUL", "success", ""}, PI::ERR_TOOL_COMMAND_FAILED},
        {{}, PI::ERR_TOOL_COMMAND_FAILED}};
    for (const auto& [lines, result] : cases) {
      tool.ClearCalls();
      tool.script[command.arguments] = {1, "", lines};
      vxtest::PluginTrace trace;
      EXPECT_EQ((plugin.*command.run)(3), result);
      EXPECT_EQ(tool.Calls(), Strings{command.arguments});
      ASSERT_EQ(trace.Texts(), Strings{command.trace + std::to_string(result)});
      EXPECT_EQ(trace.Lines()[0].level, 2U);
      EXPECT_EQ(trace.Lines()[0].function, command.function);
    }
  }
}

TEST_F(CmdEmuRunning, FormatAndDelete_OfAFailedRun_TraceTheRunOnly) {
  for (const Maintenance& command : MAINTENANCE) {
    tool.script[command.arguments] = {2, "", {"successful"}};
    vxtest::PluginTrace trace;
    EXPECT_EQ((plugin.*command.run)(3), PI::ERR_TOOL_COMMAND_FAILED);
    ASSERT_EQ(trace.Texts(), Strings{"TLXX::CSystem::ExecuteCommand returned with 2"});
    EXPECT_EQ(trace.Lines()[0].level, 2U);
    EXPECT_EQ(trace.Lines()[0].function, command.function);
  }
}

TEST_F(CmdEmuRunning, Set_GluesTheSettingToTheIndexOfTheDeleteCommand) {
  const std::vector<std::pair<int, const char*>> forms = {
      {1, "delete -f -torvex 3N=50GB"}, {2, "delete -f -torvex 3N=X50"},
      {3, "delete -f -torvex 3N=50"},   {4, "delete -f -torvex 3N=native"},
      {0, "delete -f -torvex 3"},       {5, "delete -f -torvex 3"},
      {-1, "delete -f -torvex 3"}};
  for (const auto& [kind, command] : forms) {
    tool.ClearCalls();
    plugin.CmdEmu_set(3, "N", kind, 50);
    EXPECT_EQ(tool.Calls(), Strings{command}) << kind;
  }
}

TEST_F(CmdEmuRunning, Set_NameIsNeverAFormat) {
  plugin.CmdEmu_set(3, "%d%s", 1, 5);
  EXPECT_EQ(tool.Calls(), Strings{"delete -f -torvex 3%d%s=5GB"});
}

TEST_F(CmdEmuRunning, Set_ChecksTheFirstLineForTheIndexError_AndStopsAtTheFirstSuccess) {
  const std::string error = "x Error: Given drive index is invalid. x";
  const std::string command = "delete -f -torvex 3N=5";
  struct Case {
    Strings lines;
    unsigned int result;
    Strings traced;
  };
  const std::vector<Case> cases = {
      {{"a", error, "is successful", "successful 2"}, 0U, {"Value: (is successful)"}},
      {{"successful 1", "successful 2"}, 0U, {"Value: (successful 1)"}},
      {{error, "successful"}, PI::ERR_TOOL_COMMAND_FAILED, {}},
      {{"successful " + error}, PI::ERR_TOOL_COMMAND_FAILED, {}},
      {{"a", "b"}, PI::ERR_TOOL_COMMAND_FAILED, {}},
      {{}, PI::ERR_TOOL_COMMAND_FAILED, {}}};
  for (const auto& [lines, result, texts] : cases) {
    tool.script[command] = {1, "", lines};
    vxtest::PluginTrace trace;
    EXPECT_EQ(plugin.CmdEmu_set(3, "N", 3, 5), result);
    EXPECT_EQ(trace.Texts(), texts);
    for (const auto& line : trace.Lines()) EXPECT_EQ(line.level, 2U);
  }
}

TEST_F(CmdEmuRunning, Set_OfAFailedRun_TracesTheRun) {
  tool.script["delete -f -torvex 3"] = {0, "", {"successful"}};
  vxtest::PluginTrace trace;
  EXPECT_EQ(plugin.CmdEmu_set(3, "N", 0, 5), PI::ERR_TOOL_COMMAND_FAILED);
  ASSERT_EQ(trace.Texts(), Strings{"TLXX::CSystem::ExecuteCommand returned with 0"});
  EXPECT_EQ(trace.Lines()[0].level, 2U);
  EXPECT_EQ(trace.Lines()[0].function, "CmdEmu_set");
}

// --- Maintenance, run for real

namespace {

// A program in the tool's place that keeps the words it is given and complains on its error stream.
class MaintenanceProgram : public ::testing::Test {
 protected:
  MaintenanceProgram() {
    Answer("echo 'the drive says: successful' >&2");
    plugin.m_CommandPrefix = "VX_SETTING=yes " + (directory / "tool").string();
  }

  void Answer(const std::string& line) {
    const std::string words = (directory / "words").string();
    vxtest::WriteFile(
        directory / "tool",
        "#!/bin/sh\necho \"$VX_SETTING: $*\" > " + words + "\necho working\n" + line + "\n", true);
  }
  std::string Words() const { return vxtest::ReadFile(directory / "words"); }

  vxtest::TempDir directory;
  IPLUGINAPI_IMPL plugin;
};

}  // namespace

TEST_F(MaintenanceProgram, FormatAndDelete_HearBothStreams) {
  EXPECT_EQ(plugin.CmdEmu_format(3), 0U);
  EXPECT_EQ(Words(),
            "yes: start -f -torvex 3 Function=nvmeformat LBAFormat=0 SecureEraseSetting=0 "
            "ProtectionInformation=0 MetadataSetting=0\n");
  EXPECT_EQ(plugin.CmdEmu_delete(4), 0U);
  EXPECT_EQ(Words(), "yes: delete -f -torvex 4\n");
  Answer("echo failed >&2; exit 0");
  EXPECT_EQ(plugin.CmdEmu_delete(4), PI::ERR_TOOL_COMMAND_FAILED);
}

// A setting is asked for without joining the streams, so that its success must stand in the output.
TEST_F(MaintenanceProgram, Set_HearsTheOutputAlone) {
  EXPECT_EQ(plugin.CmdEmu_set(3, "MaximumLBA", 1, 50), PI::ERR_TOOL_COMMAND_FAILED);
  EXPECT_EQ(Words(), "yes: delete -f -torvex 3MaximumLBA=50GB\n");
  Answer("echo 'set successful'; exit 9");  // the status does not matter
  EXPECT_EQ(plugin.CmdEmu_set(3, "MaximumLBA", 4, 50), 0U);
  EXPECT_EQ(Words(), "yes: delete -f -torvex 3MaximumLBA=native\n");
}

TEST_F(MaintenanceProgram, ThatIsNotThere_FailsEveryCommand) {
  std::filesystem::remove(directory / "tool");
  vxtest::PluginTrace trace(2);
  EXPECT_EQ(plugin.CmdEmu_format(3), PI::ERR_TOOL_COMMAND_FAILED);
  EXPECT_EQ(plugin.CmdEmu_delete(3), PI::ERR_TOOL_COMMAND_FAILED);
  EXPECT_EQ(plugin.CmdEmu_set(3, "N", 1, 5), PI::ERR_TOOL_COMMAND_FAILED);
  EXPECT_EQ(trace.Texts(), Strings(3, "TLXX::CSystem::ExecuteCommand returned with 0"));
}
