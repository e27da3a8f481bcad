#include "SysfsLayout.h"

#include "FleetReader.h"

#include <algorithm>
#include <cstdio>

namespace vxsim {

namespace {

constexpr std::uint32_t kNvmeClass = 0x010802;
constexpr std::uint32_t kBridgeClass = 0x060400;
constexpr std::uint32_t kRaidClass = 0x010400;
constexpr std::uint16_t kIntel = 0x8086;
constexpr std::uint16_t kBridgeDevice = 0x2030;  // a root port
constexpr std::uint32_t kSysfsSector = 512;      // "size" counts these at any sector size

std::string Hex(std::uint32_t value, int digits) {
  char text[16];
  std::snprintf(text, sizeof text, "%0*x", digits, value);
  return text;
}

std::string Line(const std::string& text) {
  return text + "\n";
}
std::string Line(std::uint64_t number) {
  return std::to_string(number) + "\n";
}

// The kernel shows these texts as the drive pads them.
std::string Padded(std::string text, std::size_t width) {
  text.resize(std::max(width, text.size()), ' ');
  return Line(text);
}

struct PciFunction {
  PciAddress address;
  std::string parent;  // path of the bridge or root bus
  std::uint16_t vendor = kIntel;
  std::uint16_t device = 0;
  std::uint16_t subsystemVendor = 0;
  std::optional<std::uint16_t> subsystemDevice = 0;
  std::uint32_t classCode = 0;
  std::string driver;
};

std::string Upper(std::string text) {
  for (char& c : text) c = c >= 'a' && c <= 'f' ? static_cast<char>(c - 'a' + 'A') : c;
  return text;
}

std::string UeventOf(const PciFunction& function) {
  std::string text = function.driver.empty() ? "" : "DRIVER=" + function.driver + "\n";
  text += "PCI_CLASS=" + Upper(Hex(function.classCode, 5)) + "\n";
  text += "PCI_ID=" + Upper(Hex(function.vendor, 4) + ":" + Hex(function.device, 4)) + "\n";
  text +=
      "PCI_SUBSYS_ID=" +
      Upper(Hex(function.subsystemVendor, 4) + ":" + Hex(function.subsystemDevice.value_or(0), 4)) +
      "\n";
  return text + "PCI_SLOT_NAME=" + ToText(function.address) + "\n";
}

std::string ModaliasOf(const PciFunction& function) {
  const auto id = [](std::uint32_t value) { return Upper(Hex(value, 8)); };
  return "pci:v" + id(function.vendor) + "d" + id(function.device) + "sv" +
         id(function.subsystemVendor) + "sd" + id(function.subsystemDevice.value_or(0)) + "bc" +
         Upper(Hex(function.classCode >> 16U, 2)) + "sc" +
         Upper(Hex(function.classCode >> 8U & 0xffU, 2)) + "i" +
         Upper(Hex(function.classCode & 0xffU, 2)) + "\n";
}

class Layout {
 public:
  explicit Layout(const Fleet& fleet) : fleet_(fleet) {}

  Tree Build() {
    for (const char* path :
         {"bus/pci/devices", "bus/pci/slots", "bus/pci/drivers/nvme", "class/nvme", "class/block",
          "class/nvme-subsystem", "block", "devices"}) {
      tree_.AddDirectory(path);
    }
    tree_.AddFile("module/nvme/version", Line("1.0"));
    tree_.AddLink("bus/pci/drivers/nvme/module", "module/nvme");
    for (const Drive& drive : fleet_.drives) {
      if (drive.present && drive.pci) AddDrive(drive, *drive.pci);
    }
    return std::move(tree_);
  }

 private:
  void AddDrive(const Drive& drive, const PciPlace& pci) {
    const std::string path = AddFunction({.address = pci.address,
                                          .parent = ParentOf(pci),
                                          .vendor = pci.vendor,
                                          .device = pci.device,
                                          .subsystemVendor = pci.subsystemVendor,
                                          .subsystemDevice = pci.subsystemDevice,
                                          .classCode = kNvmeClass,
                                          .driver = pci.driver});
    if (pci.slot) AddSlot(*pci.slot, pci.address);
    const auto number = drive.devicePath ? ControllerNumber(*drive.devicePath) : std::nullopt;
    if (pci.driver == "nvme" && number) AddController(drive, pci, path, *number);
  }

  // The bus that the drive sits on: below a bridge, but for bus 0 of a domain.
  std::string ParentOf(const PciPlace& pci) {
    const PciAddress& address = pci.address;
    std::string root = "devices";
    PciAddress rootBus{address.domain, 0, 0, 0};
    if (pci.behind) {
      root = AddVolumeController(*pci.behind, address);
      rootBus.bus = pci.behind->firstBus;
    }
    root += "/pci" + BusText(rootBus);
    tree_.AddDirectory(root);
    if (address.bus == rootBus.bus) return root;
    // Every bus gets a bridge of its own: 256 buses, 32 devices of 8 functions.
    const PciAddress port = pci.port.value_or(
        PciAddress{address.domain, rootBus.bus, address.bus >> 3U, address.bus & 7U});
    return AddBridge(port, root);
  }

  std::string AddBridge(const PciAddress& port, const std::string& root) {
    for (const Drive& drive : fleet_.drives) {
      if (drive.present && drive.pci && drive.pci->address == port) {
        throw FleetError("drive " + drive.serial + ": its PCI address " + ToText(port) +
                         " is that of the bridge of another drive; move it, or give the other "
                         "drive's \"pci\" a \"port\"");
      }
    }
    return AddFunction({.address = port,
                        .parent = root,
                        .device = kBridgeDevice,
                        .classCode = kBridgeClass,
                        .driver = "pcieport"});
  }

  std::string AddVolumeController(const VolumeController& controller, const PciAddress& behind) {
    const PciAddress rootBus{controller.address.domain, controller.address.bus, 0, 0};
    std::string path = AddFunction({.address = controller.address,
                                    .parent = "devices/pci" + BusText(rootBus),
                                    .vendor = controller.vendor,
                                    .device = controller.device,
                                    .classCode = kRaidClass,
                                    .driver = "vmd"});
    const PciAddress inner{behind.domain, controller.firstBus, 0, 0};
    tree_.AddLink(path + "/domain", path + "/pci" + BusText(inner));
    return path;
  }

  std::string AddFunction(const PciFunction& function) {
    const std::string name = ToText(function.address);
    std::string path = function.parent + "/" + name;
    const auto file = [&](const char* key, const std::string& text) {
      tree_.AddFile(path + "/" + key, text);
    };
    file("vendor", "0x" + Line(Hex(function.vendor, 4)));
    file("device", "0x" + Line(Hex(function.device, 4)));
    file("subsystem_vendor", "0x" + Line(Hex(function.subsystemVendor, 4)));
    if (function.subsystemDevice) {
      file("subsystem_device", "0x" + Line(Hex(*function.subsystemDevice, 4)));
    }
    file("class", "0x" + Line(Hex(function.classCode, 6)));
    file("revision", Line("0x01"));
    file("numa_node", Line("0"));
    file("enable", Line("1"));
    file("power_state", Line("D0"));
    file("modalias", ModaliasOf(function));
    file("uevent", UeventOf(function));
    tree_.AddLink(path + "/subsystem", "bus/pci");
    tree_.AddLink("bus/pci/devices/" + name, path);
    if (!function.driver.empty()) {
      tree_.AddLink(path + "/driver", "bus/pci/drivers/" + function.driver);
      tree_.AddLink("bus/pci/drivers/" + function.driver + "/" + name, path);
    }
    return path;
  }

  void AddSlot(const std::string& slot, const PciAddress& address) {
    std::string place = ToText(address);
    place.resize(place.size() - 2);  // a slot holds all functions
    tree_.AddFile("bus/pci/slots/" + slot + "/address", Line(place));
    tree_.AddFile("bus/pci/slots/" + slot + "/power", Line("1"));
    tree_.AddFile("bus/pci/slots/" + slot + "/adapter", Line("1"));
  }

  void AddController(const Drive& drive, const PciPlace& pci, const std::string& function,
                     std::uint32_t number) {
    const std::string name = "nvme" + std::to_string(number);
    const std::string path = function + "/nvme/" + name;
    const auto file = [&](const char* key, const std::string& text) {
      tree_.AddFile(path + "/" + key, text);
    };
    file("address", Line(ToText(pci.address)));
    file("cntlid", Line("0"));
    file("cntrltype", Line("io"));
    file("dev", Line("240:" + std::to_string(number)));
    file("firmware_rev", Padded(drive.firmware.value_or(""), 8));
    file("kato", Line("0"));
    file("model", Padded(drive.model, 40));
    file("numa_node", Line("0"));
    file("queue_count", Line("9"));
    file("serial", Padded(drive.serial, 20));
    file("sqsize", Line("1023"));
    file("state", Line(drive.state));
    file("subsysnqn", Line(QualifiedName(drive)));
    file("transport", Line("pcie"));
    file("uevent", "MAJOR=240\nMINOR=" + std::to_string(number) + "\nDEVNAME=" + name +
                       "\nNVME_TRTYPE=pcie\n");
    tree_.AddLink(path + "/device", function);
    tree_.AddLink(path + "/subsystem", "class/nvme");
    tree_.AddLink("class/nvme/" + name, path);
    AddSubsystem(drive, path, name, number);
    const bool hasNamespace = *drive.devicePath != "/dev/" + name;
    if (hasNamespace) AddNamespace(drive, path, drive.devicePath->substr(5), number);
  }

  static std::string QualifiedName(const Drive& drive) {
    return "nqn.2014.08.org.nvmexpress:80868086" + drive.serial + drive.model;
  }

  void AddSubsystem(const Drive& drive, const std::string& controller, const std::string& name,
                    std::uint32_t number) {
    const std::string subsystem = "nvme-subsys" + std::to_string(number);
    const std::string path = "devices/virtual/nvme-subsystem/" + subsystem;
    tree_.AddFile(path + "/model", Padded(drive.model, 40));
    tree_.AddFile(path + "/serial", Padded(drive.serial, 20));
    tree_.AddFile(path + "/firmware_rev", Padded(drive.firmware.value_or(""), 8));
    tree_.AddFile(path + "/subsysnqn", Line(QualifiedName(drive)));
    tree_.AddFile(path + "/subsystype", Line("nvm"));
    tree_.AddFile(path + "/iopolicy", Line("numa"));
    tree_.AddLink(path + "/" + name, controller);
    tree_.AddLink(path + "/subsystem", "class/nvme-subsystem");
    tree_.AddLink("class/nvme-subsystem/" + subsystem, path);
  }

  void AddNamespace(const Drive& drive, const std::string& controller, const std::string& name,
                    std::uint32_t number) {
    const std::string path = controller + "/" + name;
    const std::uint64_t sector = drive.sectorSize.value_or(kSysfsSector);
    const std::string minor = std::to_string(number);
    const auto file = [&](const char* key, const std::string& text) {
      tree_.AddFile(path + "/" + key, text);
    };
    file("dev", Line("259:" + minor));
    file("hidden", Line("0"));
    file("nsid", Line(name.substr(name.rfind('n') + 1)));
    file("ro", Line("0"));
    file("removable", Line("0"));
    file("size", Line(drive.maximumLBA.value_or(0) * sector / kSysfsSector));
    file("queue/hw_sector_size", Line(sector));
    file("queue/logical_block_size", Line(sector));
    file("queue/physical_block_size", Line(sector));
    file("queue/rotational", Line("0"));
    file("uevent", "MAJOR=259\nMINOR=" + minor + "\nDEVNAME=" + name + "\nDEVTYPE=disk\n");
    file("wwid",
         Line("nvme.8086-" + HexOf(drive.serial, 20) + "-" + HexOf(drive.model, 40) + "-00000001"));
    tree_.AddLink(path + "/device", controller);
    tree_.AddLink(path + "/subsystem", "class/block");
    tree_.AddLink("class/block/" + name, path);
    tree_.AddLink("block/" + name, path);
  }

  static std::string HexOf(std::string text, std::size_t width) {
    text.resize(std::max(width, text.size()), ' ');
    std::string digits;
    for (const char c : text) digits += Hex(static_cast<unsigned char>(c), 2);
    return digits;
  }

  const Fleet& fleet_;
  Tree tree_;
};

bool SharesAPlace(const Drive& left, const Drive& right) {
  const auto same = [](const auto& one, const auto& other) { return one && one == other; };
  return same(left.devicePath, right.devicePath) ||
         (left.pci && right.pci &&
          (left.pci->address == right.pci->address || same(left.pci->slot, right.pci->slot)));
}

}  // namespace

Tree SysfsOf(const Fleet& fleet) {
  return Layout(fleet).Build();
}

Tree SysfsOf(const Fleet& fleet, const Fleet& earlier) {
  Fleet both = fleet;
  for (const Drive& drive : earlier.drives) {
    const bool taken = std::any_of(
        fleet.drives.begin(), fleet.drives.end(),
        [&](const Drive& other) { return other.present && SharesAPlace(drive, other); });
    if (drive.present && !taken) both.drives.push_back(drive);
  }
  try {
    return SysfsOf(both);
  } catch (const FleetError&) {
    return SysfsOf(fleet);
  }
}

}  // namespace vxsim
