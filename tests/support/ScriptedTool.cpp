#include "support/ScriptedTool.h"

#include <algorithm>
#include <utility>

namespace vxtest {

namespace {

std::string Member(const char* key, const std::string& text) {
  return "\"" + std::string(key) + "\":\"" + text + "\",";
}
std::string Member(const char* key, bool value) {
  return "\"" + std::string(key) + "\":" + (value ? "true," : "false,");
}
template <class Number>
std::string Member(const char* key, Number value) {
  return "\"" + std::string(key) + "\":" + std::to_string(value) + ",";
}

std::string Section(const std::string& name, std::string members) {
  if (!members.empty()) members.pop_back();
  return "{\"" + name + "\":{" + members + "}}";
}

std::string InventoryOf(const FakeDrive& drive) {
  return Member("Index", drive.index) + Member("SerialNumber", drive.serial) +
         Member("ModelNumber", drive.model) + Member("ProductFamily", drive.family) +
         Member("DevicePath", drive.devicePath) + Member("Firmware", drive.firmware) +
         Member("Bootloader", drive.bootloader) + Member("SectorSize", drive.sectorSize) +
         Member("MaximumLBA", drive.maximumLba) + Member("NativeMaxLBA", drive.nativeMaxLba);
}

std::string HealthOf(const FakeDrive& drive) {
  return Member("Critical Warnings", drive.warnings) +
         Member("Available Spare Space has fallen below the threshold", drive.spareLow) +
         Member("Device reliability has degraded", drive.unreliable) +
         Member("Media is in a read-only mode", drive.readOnly) +
         Member("Volatile memory backup device has failed", drive.backupFailed) +
         Member("Available Spare Normalized percentage of the remaining spare capacity available",
                drive.spare) +
         Member("Available Spare Threshold Percentage", drive.spareThreshold) +
         Member("Percentage Used", drive.percentageUsed) +
         Member("Data Units Read", drive.unitsRead) +
         Member("Data Units Written", drive.unitsWritten) + Member("Power On Hours", drive.hours) +
         Member("Media Errors", drive.mediaErrors);
}

std::string LogOf(const FakeDrive& drive, const std::string& arguments) {
  if (drive.healthFails) return {};
  if (arguments.find("SmartHealthInfo") != std::string::npos) {
    return Section("SMART and Health Information", HealthOf(drive));
  }
  if (arguments.find("TemperatureStatistics") != std::string::npos) {
    return Section("Temp Statistics", Member("Current Temperature", drive.temperature) +
                                          Member("Estimated offset in Celsius", drive.offset));
  }
  if (arguments.find("-smart") != std::string::npos) {
    return R"({"SMART Attributes":{"EA":{"Normalized":)" + std::to_string(drive.ea) + "}}}";
  }
  return Section(drive.serial,
                 Member("SerialNumber", drive.serial) + Member("PhysicalSize", drive.capacity));
}

}  // namespace

ScriptedTool::ScriptedTool(Script answers)
    : script(std::move(answers)), previous_(TLXX::CSystem::SetCommandRunner(this)) {}

ScriptedTool::~ScriptedTool() {
  TLXX::CSystem::SetCommandRunner(previous_);
}

ScriptedTool::Answer ScriptedTool::AnswerOfDrives(const std::string& arguments) const {
  if (arguments == "version -o json") {
    return {1, R"({"Version Information":{"Version":"3.0.26"}})", {}};
  }
  if (arguments == "show -all -o json -torvex") {
    if (inventoryFails_) return {1, "", {}};
    std::string drives;
    for (const FakeDrive& drive : drives_) {
      std::string members = InventoryOf(drive);
      members.pop_back();
      drives += "\"Intel SSD " + drive.serial + "\":{" + members + "},";
    }
    if (!drives.empty()) drives.pop_back();
    return {1, "{" + drives + "}", {}};
  }
  static const std::string selector = "-torvex ";
  const std::size_t place = arguments.find(selector);
  if (place == std::string::npos) return {0, "", {}};
  const int index = std::stoi(arguments.substr(place + selector.size()));
  const auto drive = std::find_if(drives_.begin(), drives_.end(),
                                  [index](const FakeDrive& each) { return each.index == index; });
  return {1, drive == drives_.end() ? "No device selected" : LogOf(*drive, arguments), {}};
}

ScriptedTool::Answer ScriptedTool::Run(const std::string& command, const std::string& arguments) {
  std::function<void(const std::string&)> hook;
  {
    const std::lock_guard<std::mutex> guard(mutex_);
    calls_.push_back(arguments);
    prefixes_.push_back(command);
    hook = hook_;
  }
  if (hook) hook(arguments);
  const auto scripted = script.find(arguments);
  if (scripted != script.end()) return scripted->second;
  const std::lock_guard<std::mutex> guard(mutex_);
  return AnswerOfDrives(arguments);
}

int ScriptedTool::Execute(const std::string& command, const std::string& arguments,
                          std::string& output) {
  Answer answer = Run(command, arguments);
  output = std::move(answer.output);
  return answer.result;
}

int ScriptedTool::Execute(const std::string& command, const std::string& arguments,
                          std::vector<std::string>& lines) {
  Answer answer = Run(command, arguments);
  lines = std::move(answer.lines);
  return answer.result;
}

void ScriptedTool::Change(const std::function<void(std::vector<FakeDrive>&)>& change) {
  const std::lock_guard<std::mutex> guard(mutex_);
  change(drives_);
}

void ScriptedTool::SetHook(std::function<void(const std::string&)> hook) {
  const std::lock_guard<std::mutex> guard(mutex_);
  hook_ = std::move(hook);
}

void ScriptedTool::FailInventory(bool fail) {
  const std::lock_guard<std::mutex> guard(mutex_);
  inventoryFails_ = fail;
}

std::vector<std::string> ScriptedTool::Calls() const {
  const std::lock_guard<std::mutex> guard(mutex_);
  return calls_;
}

std::vector<std::string> ScriptedTool::Prefixes() const {
  const std::lock_guard<std::mutex> guard(mutex_);
  return prefixes_;
}

std::size_t ScriptedTool::CountCalls(const std::string& part) const {
  const std::vector<std::string> calls = Calls();
  return static_cast<std::size_t>(std::count_if(
      calls.begin(), calls.end(),
      [&part](const std::string& call) { return call.find(part) != std::string::npos; }));
}

void ScriptedTool::ClearCalls() {
  const std::lock_guard<std::mutex> guard(mutex_);
  calls_.clear();
  prefixes_.clear();
}

}  // namespace vxtest
