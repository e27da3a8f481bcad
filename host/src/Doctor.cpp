#include "Catalogue.h"
#include "Commands.h"
#include "DriveTool.h"
#include "Json.h"
#include "Started.h"
#include "ToolAnswers.h"
#include "TreeView.h"

#include <algorithm>
#include <filesystem>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include <Facts/Tool.h>
#include <fmt/format.h>

#include <TLX/Misc/Application.h>
#include <TLXX/ConfigManager.h>

// "doctor": for each NVMe device of the machine and each section of the tool's inventory, whether
// it is an adapter, and why not.
namespace vxhost {

namespace {

namespace fs = std::filesystem;

constexpr const char* NVME_CLASS = "0x0108";

enum class Verdict { Adapter, LeftOut, Wrong };

const char* NameOf(Verdict verdict) {
  if (verdict == Verdict::Adapter) return "adapter";
  return verdict == Verdict::LeftOut ? "left out" : "wrong";
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
  std::optional<int> m_Index;              // the tool's
  const PI::CObject* m_Adapter = nullptr;  // as which a plug-in shows it
};

struct Findings {
  std::string m_Tool;
  std::string m_ToolProblem;          // of the inventory; empty: it answers
  std::string m_InstallationProblem;  // of what lies beside the tool
  std::vector<StartedPlugin> m_Plugins;
  std::vector<Device> m_Devices;
};

// The text of an attribute file below sysfs.
std::string Attribute(const fs::path& file) {
  std::string text = TLXX::CConfigManager::ReadAttribute(file.string());
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

// ---- the machine ----

Device FunctionOf(const fs::path& directory) {
  Device device;
  std::error_code error;
  device.m_Address = directory.filename().string();
  device.m_Vendor = Attribute(directory / "vendor");
  device.m_Driver = fs::read_symlink(directory / "driver", error).filename().string();
  for (const fs::path& controller : Entries(directory / "nvme")) {
    device.m_Controller = controller.filename().string();
    device.m_Serial = Attribute(controller / "serial");
    device.m_Model = Attribute(controller / "model");
    device.m_Path = "/dev/" + device.m_Controller;
  }
  return device;
}

std::vector<Device> Machine() {
  const fs::path sysfs = TLXX::CConfigManager::SysfsRoot();
  std::vector<Device> devices;
  for (const fs::path& function : Entries(sysfs / "bus" / "pci" / "devices")) {
    if (Attribute(function / "class").starts_with(NVME_CLASS))
      devices.push_back(FunctionOf(function));
  }
  for (const fs::path& controller : Entries(sysfs / "class" / "nvme")) {
    const std::string transport = Attribute(controller / "transport");
    if (transport.empty() || transport == "pcie") continue;
    Device& device = devices.emplace_back();
    device.m_Controller = controller.filename().string();
    device.m_Serial = Attribute(controller / "serial");
    device.m_Model = Attribute(controller / "model");
    device.m_Driver = transport;
  }
  return devices;
}

bool IsBehindVolumeController(const std::string& path) {
  std::vector<std::pair<std::string, std::string>> controllers;
  for (const char* const device : Facts::VOLUME_MANAGEMENT_DEVICES) {
    controllers.emplace_back(Facts::PCI_VENDOR, device);
  }
  return TLXX::CConfigManager::IsDiskConnectedThroughOneOfDevices(path, controllers);
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
      : home_(fs::path(TLX::Misc::CTlxApplication::GetProcessPath()).parent_path()) {
    HostNumbers numbers;
    findings_.m_Plugins = StartPlugins(host, numbers);
    findings_.m_Devices = Machine();
  }

  Findings Examine() {
    // Not before: the start of the plug-ins watches the tool's runs itself.
    tool_.emplace(home_);
    findings_.m_Tool = tool_->Path().string();
    findings_.m_InstallationProblem = tool_->InstallationProblem();
    ToolAnswer inventory;
    findings_.m_ToolProblem = tool_->Ask(Facts::INVENTORY_ARGUMENTS, inventory);
    if (findings_.m_ToolProblem.empty()) {
      for (const auto& member : inventory.Root().GetObject()) {
        if (member.value.IsObject()) Place(member.name.GetString(), member.value);
      }
    }
    FindAdapters();
    for (Device& device : findings_.m_Devices) {
      device.m_Section.empty() ? JudgeUnlisted(device) : JudgeListed(device);
    }
    return std::move(findings_);
  }

 private:
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

  void Place(const std::string& name, const JsonValue& section) {
    const std::string serial = TextOf(section, key::SerialNumber);
    const std::string path = TextOf(section, key::DevicePath);
    Device& device = DeviceOf(serial, path);
    device.m_Section = name;
    device.m_Index = IndexOf(section);
    if (!serial.empty()) device.m_Serial = serial;
    if (!path.empty()) device.m_Path = path;
    if (const std::string model = TextOf(section, key::ModelNumber); !model.empty()) {
      device.m_Model = model;
    }
    CompareSection(section, device.m_Keys);
    const SectionVerdict verdict = JudgeSection(name, section);
    device.m_Verdict = verdict.m_LeftOut ? Verdict::LeftOut : Verdict::Wrong;
    device.m_Reason = verdict.m_Reason;
  }

  // An adapter is one device: of two with its serial number the one on its path, else the first.
  void FindAdapters() {
    std::vector<const PI::CObject*> adapters;
    for (const StartedPlugin& plugin : findings_.m_Plugins) {
      for (const auto& adapter : plugin.m_Topology.Adapters()) adapters.push_back(adapter.m_Object);
    }
    for (const bool samePath : {true, false}) {
      for (const PI::CObject*& adapter : adapters) {
        if (adapter != nullptr && Claim(*adapter, samePath)) adapter = nullptr;
      }
    }
  }

  bool Claim(const PI::CObject& adapter, bool samePath) {
    const std::string serial = SerialOf(adapter);
    const std::string path = TextValue(adapter, PI::PROPERTY_DEVICE_PATH).value_or("");
    auto& devices = findings_.m_Devices;
    const auto found = std::find_if(devices.begin(), devices.end(), [&](const Device& device) {
      return device.m_Adapter == nullptr && device.m_Reason.empty() && device.m_Serial == serial &&
             (!samePath || device.m_Path == path);
    });
    if (found != devices.end()) found->m_Adapter = &adapter;
    return found != devices.end();
  }

  static std::string SerialOf(const PI::CObject& adapter) {
    return TextValue(adapter, PI::PROPERTY_SERIAL_NUMBER).value_or("");
  }

  // What the tool lists.
  void JudgeListed(Device& device) {
    if (!device.m_Reason.empty()) return;
    if (IsBehindVolumeController(device.m_Path)) {
      device.m_Verdict = Verdict::LeftOut;
      device.m_Reason = "behind a volume-management controller";
    } else if (device.m_Adapter != nullptr) {
      JudgeAdapter(device);
    } else {
      device.m_Verdict = Verdict::Wrong;
      device.m_Reason = "the tool lists it, but no plug-in shows it: " + WhyNotShown(device);
    }
  }

  void JudgeAdapter(Device& device) {
    device.m_Verdict = Verdict::Adapter;
    for (std::size_t log = 0; log < Facts::LOGS.size(); ++log) {
      const std::string problem = LogProblem(log, device);
      if (problem.empty()) continue;
      device.m_Verdict = Verdict::Wrong;
      device.m_Reason =
          fmt::format("an adapter without health values, {}: {}", LogName(log), problem);
      return;
    }
    if (device.m_Keys.m_WrongType.empty()) return;
    device.m_Verdict = Verdict::Wrong;
    device.m_Reason = "an adapter, but keys of the tool's answer have another type";
  }

  std::string LogProblem(std::size_t log, Device& device) {
    ToolAnswer answer;
    const std::string problem = tool_->Ask(LogArguments(log, device.m_Index.value_or(0)), answer);
    if (!problem.empty() || CompareLog(log, answer.Root(), device.m_Keys)) return problem;
    return fmt::format("the tool's answer lacks its section; it says \"{}\"", answer.FirstWords());
  }

  std::string WhyNotShown(const Device& device) const {
    for (const Device& other : findings_.m_Devices) {
      if (other.m_Adapter == nullptr || other.m_Serial != device.m_Serial) continue;
      return fmt::format(
          "{} has the same serial number and is shown; one of the two is not watched",
          other.m_Path.empty() ? other.m_Section : other.m_Path);
    }
    for (const StartedPlugin& plugin : findings_.m_Plugins) {
      if (!plugin.m_Problem.empty()) return plugin.m_Problem;
    }
    return "its inventory was another one; try again";
  }

  // What sysfs shows and the tool does not list.
  void JudgeUnlisted(Device& device) const {
    const std::string reason = WhyLeftOut(device);
    if (!reason.empty() && device.m_Adapter != nullptr) {
      device.m_Verdict = Verdict::Adapter;  // of a plug-in with another tool
    } else if (!reason.empty()) {
      device.m_Verdict = Verdict::LeftOut;
      device.m_Reason = reason;
    } else if (device.m_Driver != "nvme") {
      device.m_Reason = "no NVMe driver is bound" +
                        (device.m_Driver.empty() ? std::string() : ", but " + device.m_Driver);
    } else {
      device.m_Reason =
          findings_.m_ToolProblem.empty() ? "the tool does not list it" : findings_.m_ToolProblem;
    }
  }

  static std::string WhyLeftOut(const Device& device) {
    if (device.m_Address.empty()) return "not on PCI Express but over " + device.m_Driver;
    if (device.m_Vendor != std::string("0x") + Facts::PCI_VENDOR) {
      return "of a vendor that is not served, " + device.m_Vendor;
    }
    if (!device.m_Model.empty() && !IsServedModel(device.m_Model)) return "its model is not served";
    if (IsBehindVolumeController(device.m_Path)) return "behind a volume-management controller";
    return {};
  }

  const fs::path home_;
  Findings findings_;
  std::optional<DriveTool> tool_;  // goes first
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

// The keys stand below what is wrong: a healthy drive lacks some forty of the known ones.
std::string Keys(const Device& device, bool verbose) {
  if (!verbose && device.m_Verdict != Verdict::Wrong) return {};
  return KeyLine("missing", device.m_Keys.m_Missing) +
         KeyLine("wrong type", device.m_Keys.m_WrongType) +
         KeyLine("not known", device.m_Keys.m_Unknown);
}

std::string Render(const Findings& findings, bool verbose) {
  std::string text =
      fmt::format("tool {}: {}\n", findings.m_Tool,
                  findings.m_ToolProblem.empty() ? "answers" : Printable(findings.m_ToolProblem));
  if (!findings.m_InstallationProblem.empty()) {
    text += fmt::format("  {}\n", Printable(findings.m_InstallationProblem));
  }
  if (findings.m_Devices.empty()) text += "no NVMe device and no drive of the tool\n";
  for (const Device& device : findings.m_Devices) {
    text += NameOf(device.m_Verdict);
    for (const std::string* const part :
         {&device.m_Serial, &device.m_Model, &device.m_Path, &device.m_Address}) {
      if (!part->empty()) text += "  " + Printable(*part);
    }
    text += device.m_Reason.empty() ? "\n" : ": " + Printable(device.m_Reason) + "\n";
    text += Keys(device, verbose);
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
  json.Key("installationProblem").Text(findings.m_InstallationProblem);
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
                         : host.Out().Write(Render(findings, host.Settings().m_Verbose));
  if (findings.m_Devices.empty()) return EXIT_NOTHING;
  const bool wrong =
      !findings.m_ToolProblem.empty() ||
      std::any_of(findings.m_Devices.begin(), findings.m_Devices.end(),
                  [](const Device& device) { return device.m_Verdict == Verdict::Wrong; });
  return wrong ? EXIT_FAILED : EXIT_DONE;
}

}  // namespace vxhost
