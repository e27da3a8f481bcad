#include "Catalogue.h"
#include "Commands.h"
#include "Json.h"
#include "Started.h"
#include "ToolAnswers.h"
#include "TreeView.h"

#include <algorithm>
#include <fstream>
#include <optional>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <fmt/format.h>

#include <TLX/Misc/Application.h>
#include <TLXX/ConfigManager.h>
#include <TLXX/System.h>

// "doctor": for each NVMe device of the machine and each section of the tool's inventory, whether
// it is an adapter, and why not.
namespace vxhost {

namespace {

namespace fs = std::filesystem;

constexpr const char* NO_DEVICE = "No device selected";
constexpr int TOOL_DEPTH = 256;  // what nests deeper the plug-in refuses
constexpr const char* NVME_CLASS = "0x0108";
constexpr const char* VENDOR = "0x8086";
const std::vector<std::pair<std::string, std::string>> VOLUME_CONTROLLERS = {{"8086", "201d"},
                                                                             {"8086", "28c0"}};

enum class Verdict { Adapter, Accepted, Wrong };

const char* NameOf(Verdict verdict) {
  if (verdict == Verdict::Adapter) return "adapter";
  return verdict == Verdict::Accepted ? "accepted" : "wrong";
}

// A device as sysfs, the tool or both show it.
struct Device {
  std::string m_Serial;
  std::string m_Model;
  std::string m_Address;     // of the PCI function
  std::string m_Controller;  // "nvme0"
  std::string m_Driver;
  std::string m_Vendor;
  std::string m_Section;  // of the inventory
  std::string m_Path;
  Verdict m_Verdict = Verdict::Wrong;
  std::string m_Reason;
  KeyReport m_Keys;
};

struct Findings {
  std::string m_Tool;
  std::string m_ToolProblem;  // of the inventory; empty: it answers
  std::vector<StartedPlugin> m_Plugins;
  std::vector<Device> m_Devices;
};

std::string Line(const fs::path& file) {
  std::ifstream in(file);
  std::string text;
  std::getline(in, text);
  text.erase(text.find_last_not_of(" \t\r\n") + 1);
  return text;
}

std::vector<fs::path> Entries(const fs::path& directory) {
  std::error_code error;
  std::vector<fs::path> entries;
  for (const auto& entry : fs::directory_iterator(directory, error))
    entries.push_back(entry.path());
  std::sort(entries.begin(), entries.end());
  return entries;
}

// ---- the tool ----

class Tool {
 public:
  explicit Tool(const fs::path& path)
      : prefix_("LD_PRELOAD=" + path.parent_path().string() + "/libIntel.SSDFeatures.so.2.0.0 " +
                path.string()) {
    // The plug-ins that were started run the tool at the same time, on threads of their own.
    TLXX::CSystem::SetRunObserver(
        [this, own = std::this_thread::get_id()](const std::string&, const std::string& failure) {
          if (std::this_thread::get_id() == own) failure_ = failure;
        });
  }
  ~Tool() { TLXX::CSystem::SetRunObserver(nullptr); }
  Tool(const Tool&) = delete;
  Tool& operator=(const Tool&) = delete;

  // Returns why there is no answer; empty when the document holds it, an object.
  std::string Ask(const std::string& arguments, rapidjson::Document& answer) {
    std::string output;
    const int result = TLXX::CSystem::ExecuteCommand(prefix_, arguments, output);
    if (result != 1)
      return "the tool failed: " + (failure_.empty() ? std::string("no reason") : failure_);
    if (output.empty()) {
      return failure_.empty() ? "the tool is silent" : "the tool is silent: " + failure_;
    }
    if (JsonDepth(output) > TOOL_DEPTH) {
      return fmt::format("the tool's answer nests deeper than {} levels", TOOL_DEPTH);
    }
    answer.Parse<rapidjson::kParseIterativeFlag>(output.data(), output.size());
    if (!answer.HasParseError() && answer.IsObject()) return {};
    if (output.find(NO_DEVICE) != std::string::npos) return "the tool says: no device selected";
    return fmt::format("the tool's answer is no JSON object (at byte {} of {})",
                       answer.GetErrorOffset(), output.size());
  }

 private:
  const std::string prefix_;
  std::string failure_;  // of this thread's last run
};

void AskLogs(Tool& tool, int index, Device& device) {
  for (std::size_t log = 0; log < std::size(LOGS); ++log) {
    std::string arguments = LOGS[log].arguments;
    arguments.replace(arguments.find("%d"), 2, std::to_string(index));
    rapidjson::Document answer;
    const std::string problem = tool.Ask(arguments, answer);
    if (problem.empty()) {
      CompareLog(log, answer, device.m_Keys);
      continue;
    }
    device.m_Verdict = Verdict::Wrong;
    device.m_Reason =
        fmt::format("an adapter without health values, {}: {}", LOGS[log].name, problem);
    return;
  }
}

// ---- the machine ----

Device FunctionOf(const fs::path& directory) {
  Device device;
  std::error_code error;
  device.m_Address = directory.filename().string();
  device.m_Vendor = Line(directory / "vendor");
  device.m_Driver = fs::read_symlink(directory / "driver", error).filename().string();
  for (const fs::path& controller : Entries(directory / "nvme")) {
    device.m_Controller = controller.filename().string();
    device.m_Serial = Line(controller / "serial");
    device.m_Model = Line(controller / "model");
    device.m_Path = "/dev/" + device.m_Controller;
  }
  return device;
}

std::vector<Device> Machine() {
  const fs::path sysfs = TLXX::CConfigManager::SysfsRoot();
  std::vector<Device> devices;
  for (const fs::path& function : Entries(sysfs / "bus" / "pci" / "devices")) {
    if (Line(function / "class").starts_with(NVME_CLASS)) devices.push_back(FunctionOf(function));
  }
  for (const fs::path& controller : Entries(sysfs / "class" / "nvme")) {
    const std::string transport = Line(controller / "transport");
    if (transport.empty() || transport == "pcie") continue;
    Device& device = devices.emplace_back();
    device.m_Controller = controller.filename().string();
    device.m_Serial = Line(controller / "serial");
    device.m_Model = Line(controller / "model");
    device.m_Driver = transport;
  }
  return devices;
}

bool IsBehindVolumeController(const std::string& path) {
  return TLXX::CConfigManager::IsDiskConnectedThroughOneOfDevices(path, VOLUME_CONTROLLERS);
}

bool IsPathOf(const std::string& path, const std::string& controller) {
  const std::string whole = "/dev/" + controller;
  return !controller.empty() && path.starts_with(whole) &&
         (path.size() == whole.size() || path[whole.size()] == 'n');
}

// ---- judging ----

class Doctor {
 public:
  explicit Doctor(Host& host)
      : path_(fs::path(TLX::Misc::CTlxApplication::GetProcessPath()).parent_path() / "bin" /
              "isdct") {
    HostNumbers numbers;
    findings_.m_Tool = path_.string();
    findings_.m_Plugins = StartPlugins(host, numbers);
    findings_.m_Devices = Machine();
  }

  Findings Examine() {
    // Not before: the start of the plug-ins watches the tool's runs itself.
    tool_.emplace(path_);
    rapidjson::Document inventory;
    findings_.m_ToolProblem = tool_->Ask(INVENTORY.arguments, inventory);
    if (findings_.m_ToolProblem.empty()) {
      for (const auto& member : std::as_const(inventory).GetObject()) {
        if (member.value.IsObject()) Place(member.name.GetString(), member.value);
      }
    }
    for (Device& device : findings_.m_Devices) {
      if (device.m_Section.empty()) JudgeUnlisted(device);
    }
    return std::move(findings_);
  }

 private:
  bool IsAdapter(const std::string& serial) const {
    const auto& plugins = findings_.m_Plugins;
    return std::any_of(plugins.begin(), plugins.end(), [&](const StartedPlugin& plugin) {
      const auto& adapters = plugin.m_Topology.Adapters();
      return std::any_of(adapters.begin(), adapters.end(), [&](const Topology::Adapter& adapter) {
        return TextValue(*adapter.m_Object, property::SERIAL_NUMBER) == serial;
      });
    });
  }

  // The machine's device that the section is about, or a new row.
  Device& DeviceOf(const std::string& serial, const std::string& path) {
    auto& devices = findings_.m_Devices;
    const auto free = [](const Device& device) { return device.m_Section.empty(); };
    auto found = std::find_if(devices.begin(), devices.end(), [&](const Device& device) {
      return free(device) && IsPathOf(path, device.m_Controller);
    });
    if (found == devices.end()) {
      found = std::find_if(devices.begin(), devices.end(), [&](const Device& device) {
        return free(device) && !serial.empty() && device.m_Serial == serial;
      });
    }
    return found == devices.end() ? devices.emplace_back() : *found;
  }

  void Place(const std::string& name, const rapidjson::Value& section) {
    const std::string serial = TextOf(section, "SerialNumber");
    const std::string path = TextOf(section, "DevicePath");
    Device& device = DeviceOf(serial, path);
    device.m_Section = name;
    if (!serial.empty()) device.m_Serial = serial;
    if (!path.empty()) device.m_Path = path;
    if (const std::string model = TextOf(section, "ModelNumber"); !model.empty()) {
      device.m_Model = model;
    }
    CompareSection(section, device.m_Keys);
    Judge(name, section, device);
  }

  void Judge(const std::string& name, const rapidjson::Value& section, Device& device) {
    const SectionVerdict verdict = JudgeSection(name, section);
    device.m_Verdict = verdict.m_Accepted ? Verdict::Accepted : Verdict::Wrong;
    device.m_Reason = verdict.m_Reason;
    if (!verdict.m_Reason.empty()) return;
    if (IsBehindVolumeController(device.m_Path)) {
      device.m_Reason = "behind a volume-management controller";
      return;
    }
    device.m_Verdict = IsAdapter(device.m_Serial) ? Verdict::Adapter : Verdict::Wrong;
    if (device.m_Verdict == Verdict::Wrong) {
      device.m_Reason = "the tool lists it, but no plug-in shows it: " + PluginProblem();
      return;
    }
    AskLogs(*tool_, IndexOf(section).value_or(0), device);
    if (device.m_Keys.m_WrongType.empty() || device.m_Verdict == Verdict::Wrong) return;
    device.m_Verdict = Verdict::Wrong;
    device.m_Reason = "an adapter, but keys of the tool's answer have another type";
  }

  std::string PluginProblem() const {
    for (const StartedPlugin& plugin : findings_.m_Plugins) {
      if (!plugin.m_Problem.empty()) return plugin.m_Problem;
    }
    return "its inventory was another one; try again";
  }

  void JudgeUnlisted(Device& device) const {
    const auto accept = [&](std::string reason) {
      device.m_Verdict = Verdict::Accepted;
      device.m_Reason = std::move(reason);
    };
    if (device.m_Address.empty()) return accept("not on PCI Express but over " + device.m_Driver);
    if (device.m_Vendor != VENDOR)
      return accept("of a vendor that is not served, " + device.m_Vendor);
    if (!device.m_Model.empty() && !IsServedModel(device.m_Model)) {
      return accept("its model is not served");
    }
    if (IsBehindVolumeController(device.m_Path)) {
      return accept("behind a volume-management controller");
    }
    if (device.m_Driver != "nvme") {
      device.m_Reason = "no NVMe driver is bound" +
                        (device.m_Driver.empty() ? std::string() : ", but " + device.m_Driver);
    } else {
      device.m_Reason =
          findings_.m_ToolProblem.empty() ? "the tool does not list it" : findings_.m_ToolProblem;
    }
  }

  const fs::path path_;
  Findings findings_;
  std::optional<Tool> tool_;  // goes first
};

// ---- showing ----

std::string KeyLine(const char* title, const std::vector<std::string>& keys) {
  if (keys.empty()) return {};
  std::string text = fmt::format("    {}: ", title);
  for (std::size_t i = 0; i < keys.size(); ++i) {
    text += (i == 0 ? "" : ", ") + Printable(keys[i]);
  }
  return text + "\n";
}

std::string Render(const Findings& findings) {
  std::string text =
      fmt::format("tool {}: {}\n", findings.m_Tool,
                  findings.m_ToolProblem.empty() ? "answers" : Printable(findings.m_ToolProblem));
  if (findings.m_Devices.empty()) text += "no NVMe device and no drive of the tool\n";
  for (const Device& device : findings.m_Devices) {
    text += NameOf(device.m_Verdict);
    for (const std::string* const part :
         {&device.m_Serial, &device.m_Model, &device.m_Path, &device.m_Address}) {
      if (!part->empty()) text += "  " + Printable(*part);
    }
    text += device.m_Reason.empty() ? "\n" : ": " + Printable(device.m_Reason) + "\n";
    text += KeyLine("missing", device.m_Keys.m_Missing);
    text += KeyLine("wrong type", device.m_Keys.m_WrongType);
    text += KeyLine("not known", device.m_Keys.m_Unknown);
  }
  return text;
}

void WriteTexts(JsonText& json, const char* name, const std::vector<std::string>& texts) {
  json.Key(name).StartArray();
  for (const std::string& text : texts) json.Text(text);
  json.EndArray();
}

void WriteDevice(JsonText& json, const Device& device) {
  json.StartObject().Key("verdict").Text(NameOf(device.m_Verdict));
  json.Key("reason").Text(device.m_Reason);
  json.Key("serial").Text(device.m_Serial).Key("model").Text(device.m_Model);
  json.Key("path").Text(device.m_Path).Key("address").Text(device.m_Address);
  json.Key("driver").Text(device.m_Driver).Key("section").Text(device.m_Section);
  WriteTexts(json, "missing", device.m_Keys.m_Missing);
  WriteTexts(json, "wrongType", device.m_Keys.m_WrongType);
  WriteTexts(json, "unknown", device.m_Keys.m_Unknown);
  json.EndObject();
}

std::string FindingsJson(const Findings& findings) {
  JsonText json;
  json.StartObject().Key("tool").Text(findings.m_Tool);
  json.Key("toolProblem").Text(findings.m_ToolProblem);
  json.Key("plugins").StartArray();
  for (const StartedPlugin& plugin : findings.m_Plugins) {
    json.StartObject().Key("plugin").Text(plugin.m_Name).Key("result").Unsigned(plugin.m_Result);
    json.Key("problem").Text(plugin.m_Problem).EndObject();
  }
  json.EndArray().Key("devices").StartArray();
  for (const Device& device : findings.m_Devices) WriteDevice(json, device);
  json.EndArray().EndObject();
  return json.Take();
}

}  // namespace

int RunDoctor(Host& host) {
  const Findings findings = Doctor(host).Examine();
  host.Settings().m_Json ? host.Out().WriteLine(FindingsJson(findings))
                         : host.Out().Write(Render(findings));
  if (findings.m_Devices.empty()) return EXIT_NOTHING;
  const bool wrong =
      !findings.m_ToolProblem.empty() ||
      std::any_of(findings.m_Devices.begin(), findings.m_Devices.end(),
                  [](const Device& device) { return device.m_Verdict == Verdict::Wrong; });
  return wrong ? EXIT_FAILED : EXIT_DONE;
}

}  // namespace vxhost
