#include "piTorvexCmdEmu.h"

#include "Core/Health.h"
#include "Core/Text.h"
#include "piTorvex.h"

#include <algorithm>
#include <array>
#include <string>

#include <Facts/Tool.h>
#include <rapidjson/document.h>

#include <TLXX/System.h>

namespace NAMESPACE_piTorvex {
namespace {

constexpr int COMMAND_RAN = 1;  // of ExecuteCommand; anything else is a failure

void ReadLog(Facts::ELog log, const CToolValue& root, CCmdEmuGetlog& values) {
  switch (log) {
    case Facts::ELog::Health:
      return ReadHealthLog(root, values);
    case Facts::ELog::Temperature:
      return ReadTemperatureLog(root, values);
    case Facts::ELog::Attribute:
      return ReadAttributeLog(root, values);
    case Facts::ELog::Capacity:
      return ReadCapacityLog(root, values);
  }
}

constexpr const char* FORMAT_ARGUMENTS =
    "start -f -torvex %d Function=nvmeformat LBAFormat=0 SecureEraseSetting=0 "
    "ProtectionInformation=0 MetadataSetting=0 2>&1";
constexpr const char* DELETE_ARGUMENTS = "delete -f -torvex %d 2>&1";
// A setting begins with the delete command and is glued to the index, and there is no "2>&1": the
// tool takes it in this form alone.
constexpr const char* SET_ARGUMENTS = "delete -f -torvex %d";

struct CSettingForm {
  int m_Kind;
  const char* m_Form;  // of the name, and of the value where there is one
  bool m_HasValue;
};
constexpr auto SETTING_FORMS = std::to_array<CSettingForm>({
    {1, "%s=%dGB", true},
    {2, "%s=X%d", true},
    {3, "%s=%d", true},
    {4, "%s=native", false},
});

constexpr const char* BAD_INDEX = "Error: Given drive index is invalid.";
constexpr const char* SUCCESS_WORD = "successful";  // "unsuccessful" holds it as well: it counts

bool Contains(const std::string& text, const char* part) {
  return text.find(part) != std::string::npos;
}

std::string SettingText(const std::string& name, int kind, int value) {
  const auto row = std::ranges::find(SETTING_FORMS, kind, &CSettingForm::m_Kind);
  if (row == SETTING_FORMS.end()) return "";
  return row->m_HasValue ? FormatText(row->m_Form, name, value) : FormatText(row->m_Form, name);
}

bool ReportsSuccess(const std::string& line) {
  return Contains(line, SUCCESS_WORD);
}

}  // namespace

// --- Queries

unsigned int IPLUGINAPI_IMPL::GetAdaptersInfo() {
  const CTracer trace(TraceSource::TOOL);
  m_ToolRecords.clear();
  std::string output;
  const int result =
      TLXX::CSystem::ExecuteCommand(m_CommandPrefix, Facts::INVENTORY_ARGUMENTS, output);
  if (result != COMMAND_RAN) {
    trace.Steps("TLXX::CSystem::ExecuteCommand returned with %d", result);
    return ERR_TOOL_COMMAND_FAILED;
  }
  CToolDocument document;
  if (output.empty() || !ParseToolOutput(output, document)) return ERR_TOOL_COMMAND_FAILED;
  ReadInventory(document, m_ToolRecords);
  return m_ToolRecords.empty() ? PI::ERR_NO_SUPPORTED_HARDWARE : SUCCESS;
}

unsigned int IPLUGINAPI_IMPL::GetLogPage(int index, int logId, CToolDocument& document) {
  const CTracer trace(TraceSource::TOOL);
  const auto page = std::ranges::find(Facts::LOGS, logId, &Facts::CLog::m_Id);
  if (page == Facts::LOGS.end()) return ERR_UNKNOWN_LOG_PAGE;
  document.SetNull();
  const std::string arguments = FormatText(page->m_Arguments, index);
  trace.Steps("TLXX::CSystem::ExecuteCommand start: %s %s", m_CommandPrefix, arguments);
  std::string output;
  const int result = TLXX::CSystem::ExecuteCommand(m_CommandPrefix, arguments, output);
  trace.Steps("TLXX::CSystem::ExecuteCommand returned with %d", result);
  const bool answered =
      result == COMMAND_RAN && !output.empty() && !Contains(output, Facts::NO_DEVICE);
  return answered && ParseToolOutput(output, document) ? SUCCESS : ERR_TOOL_COMMAND_FAILED;
}

unsigned int IPLUGINAPI_IMPL::GetLogPageInformation(int index, CCmdEmuGetlog& log) {
  const CTracer trace(TraceSource::TOOL);
  trace.Steps("GetLogPageInformation: begin");
  log.ToolIndex = index;
  log.NamedSerial.clear();
  CToolDocument document;
  for (const Facts::CLog& page : Facts::LOGS) {
    // A stop waits for the run in progress and for no further one.
    if (IsStopRequested()) return ERR_TOOL_COMMAND_FAILED;
    // Set only here, so that a failure before it leaves the old value.
    if (page.m_Log == Facts::ELog::Attribute) log.NormalizedAD = 100;
    const unsigned int result = GetLogPage(index, page.m_Id, document);
    if (result != SUCCESS) return result;
    ReadLog(page.m_Log, document, log);
  }
  AddTemperatureWarnings(log);
  trace.Steps("GetLogPageInformation: end");
  return SUCCESS;
}

// Callers look at the text, which is empty when no version was read, and not at the result.
unsigned int IPLUGINAPI_IMPL::GetVersion(std::string& version) {
  version.clear();
  std::string output;
  const int result =
      TLXX::CSystem::ExecuteCommand(m_CommandPrefix, Facts::VERSION_ARGUMENTS, output);
  if (result != COMMAND_RAN || output.empty() || Contains(output, Facts::NO_DEVICE)) {
    return ERR_TOOL_COMMAND_FAILED;
  }
  CToolDocument document;
  if (ParseToolOutput(output, document)) ReadVersion(document, version);
  return ERR_TOOL_COMMAND_FAILED;
}

namespace {

// Runs a command that changes a drive. False when it did not run, which is traced under the name
// of the calling function.
bool RunLines(const CTracer& trace, const std::string& prefix, const std::string& arguments,
              std::vector<std::string>& lines) {
  const int result = TLXX::CSystem::ExecuteCommand(prefix, arguments, lines);
  if (result == COMMAND_RAN) return true;
  trace.Steps("TLXX::CSystem::ExecuteCommand returned with %d", result);
  return false;
}

unsigned int ResultOf(const std::vector<std::string>& lines) {
  return std::ranges::any_of(lines, ReportsSuccess) ? SUCCESS : ERR_TOOL_COMMAND_FAILED;
}

}  // namespace

unsigned int IPLUGINAPI_IMPL::CmdEmu_format(int index) {
  const CTracer trace(TraceSource::TOOL);
  std::vector<std::string> lines;
  if (!RunLines(trace, m_CommandPrefix, FormatText(FORMAT_ARGUMENTS, index), lines)) {
    return ERR_TOOL_COMMAND_FAILED;
  }
  const unsigned int result = ResultOf(lines);
  trace.Steps("Format returned with: %d", result);
  return result;
}

unsigned int IPLUGINAPI_IMPL::CmdEmu_delete(int index) {
  const CTracer trace(TraceSource::TOOL);
  std::vector<std::string> lines;
  if (!RunLines(trace, m_CommandPrefix, FormatText(DELETE_ARGUMENTS, index), lines)) {
    return ERR_TOOL_COMMAND_FAILED;
  }
  const unsigned int result = ResultOf(lines);
  trace.Steps("Delete returned with: %d", result);
  return result;
}

// NOLINTNEXTLINE(performance-unnecessary-value-param): the interface takes the name by value
unsigned int IPLUGINAPI_IMPL::CmdEmu_set(int index, std::string name, int kind, int value) {
  const CTracer trace(TraceSource::TOOL);
  const std::string arguments = FormatText(SET_ARGUMENTS, index) + SettingText(name, kind, value);
  std::vector<std::string> lines;
  if (!RunLines(trace, m_CommandPrefix, arguments, lines)) return ERR_TOOL_COMMAND_FAILED;
  // Only the first line is looked at for the error, and the first success counts.
  if (lines.empty() || Contains(lines.front(), BAD_INDEX)) return ERR_TOOL_COMMAND_FAILED;
  const auto line = std::ranges::find_if(lines, ReportsSuccess);
  if (line == lines.end()) return ERR_TOOL_COMMAND_FAILED;
  trace.Steps("Value: (%s)", *line);
  return SUCCESS;
}

}  // namespace NAMESPACE_piTorvex
