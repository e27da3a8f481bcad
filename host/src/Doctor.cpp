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
  std::string serial;
  std::string model;
  std::string address;     // of the PCI function
  std::string controller;  // "nvme0"
  std::string driver;
  std::string vendor;
  std::string section;  // of the inventory
  std::string path;
  Verdict verdict = Verdict::Wrong;
  std::string reason;
  KeyReport keys;
  std::optional<int> index;              // the tool's
  const PI::CObject* adapter = nullptr;  // as which a plug-in shows it
};

struct Findings {
  std::string tool;
  std::string toolProblem;          // of the inventory; empty: it answers
  std::string installationProblem;  // of what lies beside the tool
  std::vector<StartedPlugin> plugins;
  std::vector<Device> devices;
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
  device.address = directory.filename().string();
  device.vendor = Attribute(directory / "vendor");
  device.driver = fs::read_symlink(directory / "driver", error).filename().string();
  for (const fs::path& controller : Entries(directory / "nvme")) {
    device.controller = controller.filename().string();
    device.serial = Attribute(controller / "serial");
    device.model = Attribute(controller / "model");
    device.path = "/dev/" + device.controller;
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
    device.controller = controller.filename().string();
    device.serial = Attribute(controller / "serial");
    device.model = Attribute(controller / "model");
    device.driver = transport;
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
    findings_.plugins = StartPlugins(host, numbers);
    findings_.devices = Machine();
  }

  Findings Examine() {
    // Not before: the start of the plug-ins watches the tool's runs itself.
    tool_.emplace(home_);
    findings_.tool = tool_->Path().string();
    findings_.installationProblem = tool_->InstallationProblem();
    ToolAnswer inventory;
    findings_.toolProblem = tool_->Ask(Facts::INVENTORY_ARGUMENTS, inventory);
    if (findings_.toolProblem.empty()) {
      for (const auto& member : inventory.Root().GetObject()) {
        if (member.value.IsObject()) Place(member.name.GetString(), member.value);
      }
    }
    FindAdapters();
    for (Device& device : findings_.devices) {
      device.section.empty() ? JudgeUnlisted(device) : JudgeListed(device);
    }
    return std::move(findings_);
  }

 private:
  // The machine's device that the section is about, or a new row.
  Device& DeviceOf(const std::string& serial, const std::string& path) {
    auto& devices = findings_.devices;
    const auto free = [](const Device& device) { return device.section.empty(); };
    auto found = std::find_if(devices.begin(), devices.end(), [&](const Device& device) {
      return free(device) && IsPathOf(path, device.controller);
    });
    if (found == devices.end()) {
      found = std::find_if(devices.begin(), devices.end(), [&](const Device& device) {
        return free(device) && !serial.empty() && device.serial == serial;
      });
    }
    return found == devices.end() ? devices.emplace_back() : *found;
  }

  void Place(const std::string& name, const JsonValue& section) {
    const std::string serial = TextOf(section, key::SerialNumber);
    const std::string path = TextOf(section, key::DevicePath);
    Device& device = DeviceOf(serial, path);
    device.section = name;
    device.index = IndexOf(section);
    if (!serial.empty()) device.serial = serial;
    if (!path.empty()) device.path = path;
    if (const std::string model = TextOf(section, key::ModelNumber); !model.empty()) {
      device.model = model;
    }
    CompareSection(section, device.keys);
    const SectionVerdict verdict = JudgeSection(name, section);
    device.verdict = verdict.leftOut ? Verdict::LeftOut : Verdict::Wrong;
    device.reason = verdict.reason;
  }

  // An adapter is one device: of two with its serial number the one on its path, else the first.
  void FindAdapters() {
    std::vector<const PI::CObject*> adapters;
    for (const StartedPlugin& plugin : findings_.plugins) {
      for (const auto& adapter : plugin.topology.Adapters()) adapters.push_back(adapter.object);
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
    auto& devices = findings_.devices;
    const auto found = std::find_if(devices.begin(), devices.end(), [&](const Device& device) {
      return device.adapter == nullptr && device.reason.empty() && device.serial == serial &&
             (!samePath || device.path == path);
    });
    if (found != devices.end()) found->adapter = &adapter;
    return found != devices.end();
  }

  static std::string SerialOf(const PI::CObject& adapter) {
    return TextValue(adapter, PI::PROPERTY_SERIAL_NUMBER).value_or("");
  }

  // What the tool lists.
  void JudgeListed(Device& device) {
    if (!device.reason.empty()) return;
    if (IsBehindVolumeController(device.path)) {
      device.verdict = Verdict::LeftOut;
      device.reason = "behind a volume-management controller";
    } else if (device.adapter != nullptr) {
      JudgeAdapter(device);
    } else {
      device.verdict = Verdict::Wrong;
      device.reason = "the tool lists it, but no plug-in shows it: " + WhyNotShown(device);
    }
  }

  void JudgeAdapter(Device& device) {
    device.verdict = Verdict::Adapter;
    for (std::size_t log = 0; log < Facts::LOGS.size(); ++log) {
      const std::string problem = LogProblem(log, device);
      if (problem.empty()) continue;
      device.verdict = Verdict::Wrong;
      device.reason =
          fmt::format("an adapter without health values, {}: {}", LogName(log), problem);
      return;
    }
    if (device.keys.wrongType.empty()) return;
    device.verdict = Verdict::Wrong;
    device.reason = "an adapter, but keys of the tool's answer have another type";
  }

  std::string LogProblem(std::size_t log, Device& device) {
    ToolAnswer answer;
    const std::string problem = tool_->Ask(LogArguments(log, device.index.value_or(0)), answer);
    if (!problem.empty() || CompareLog(log, answer.Root(), device.keys)) return problem;
    return fmt::format("the tool's answer lacks its section; it says \"{}\"", answer.FirstWords());
  }

  std::string WhyNotShown(const Device& device) const {
    for (const Device& other : findings_.devices) {
      if (other.adapter == nullptr || other.serial != device.serial) continue;
      return fmt::format(
          "{} has the same serial number and is shown; one of the two is not watched",
          other.path.empty() ? other.section : other.path);
    }
    for (const StartedPlugin& plugin : findings_.plugins) {
      if (!plugin.problem.empty()) return plugin.problem;
    }
    return "its inventory was another one; try again";
  }

  // What sysfs shows and the tool does not list.
  void JudgeUnlisted(Device& device) const {
    const std::string reason = WhyLeftOut(device);
    if (!reason.empty() && device.adapter != nullptr) {
      device.verdict = Verdict::Adapter;  // of a plug-in with another tool
    } else if (!reason.empty()) {
      device.verdict = Verdict::LeftOut;
      device.reason = reason;
    } else if (device.driver != "nvme") {
      device.reason = "no NVMe driver is bound" +
                      (device.driver.empty() ? std::string() : ", but " + device.driver);
    } else {
      device.reason =
          findings_.toolProblem.empty() ? "the tool does not list it" : findings_.toolProblem;
    }
  }

  static std::string WhyLeftOut(const Device& device) {
    if (device.address.empty()) return "not on PCI Express but over " + device.driver;
    if (device.vendor != std::string("0x") + Facts::PCI_VENDOR) {
      return "of a vendor that is not served, " + device.vendor;
    }
    if (!device.model.empty() && !IsServedModel(device.model)) return "its model is not served";
    if (IsBehindVolumeController(device.path)) return "behind a volume-management controller";
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
  if (!verbose && device.verdict != Verdict::Wrong) return {};
  return KeyLine("missing", device.keys.missing) + KeyLine("wrong type", device.keys.wrongType) +
         KeyLine("not known", device.keys.unknown);
}

std::string Render(const Findings& findings, bool verbose) {
  std::string text =
      fmt::format("tool {}: {}\n", findings.tool,
                  findings.toolProblem.empty() ? "answers" : Printable(findings.toolProblem));
  if (!findings.installationProblem.empty()) {
    text += fmt::format("  {}\n", Printable(findings.installationProblem));
  }
  if (findings.devices.empty()) text += "no NVMe device and no drive of the tool\n";
  for (const Device& device : findings.devices) {
    text += NameOf(device.verdict);
    for (const std::string* const part :
         {&device.serial, &device.model, &device.path, &device.address}) {
      if (!part->empty()) text += "  " + Printable(*part);
    }
    text += device.reason.empty() ? "\n" : ": " + Printable(device.reason) + "\n";
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
  json.StartObject().Key("verdict").Text(NameOf(device.verdict));
  json.Key("reason").Text(device.reason);
  json.Key("serial").Text(device.serial).Key("model").Text(device.model);
  json.Key("path").Text(device.path).Key("address").Text(device.address);
  json.Key("driver").Text(device.driver).Key("section").Text(device.section);
  WriteTexts(json, "missing", device.keys.missing);
  WriteTexts(json, "wrongType", device.keys.wrongType);
  WriteTexts(json, "unknown", device.keys.unknown);
  json.EndObject();
}

std::string FindingsJson(const Findings& findings) {
  JsonText json;
  json.StartObject().Key("tool").Text(findings.tool);
  json.Key("toolProblem").Text(findings.toolProblem);
  json.Key("installationProblem").Text(findings.installationProblem);
  json.Key("plugins").StartArray();
  for (const StartedPlugin& plugin : findings.plugins) {
    json.StartObject().Key("plugin").Text(plugin.name).Key("result").Unsigned(plugin.result);
    json.Key("problem").Text(plugin.problem).EndObject();
  }
  json.EndArray().Key("devices").StartArray();
  for (const Device& device : findings.devices) WriteDevice(json, device);
  json.EndArray().EndObject();
  return json.Take();
}

}  // namespace

int RunDoctor(Host& host) {
  const Findings findings = Doctor(host).Examine();
  host.Settings().json ? host.Out().WriteLine(FindingsJson(findings))
                       : host.Out().Write(Render(findings, host.Settings().verbose));
  if (findings.devices.empty()) return EXIT_NOTHING;
  const bool wrong =
      !findings.toolProblem.empty() ||
      std::any_of(findings.devices.begin(), findings.devices.end(),
                  [](const Device& device) { return device.verdict == Verdict::Wrong; });
  return wrong ? EXIT_FAILED : EXIT_DONE;
}

}  // namespace vxhost
