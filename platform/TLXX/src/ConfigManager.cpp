#include "Pci.h"
#include "Sysfs.h"

#include <algorithm>
#include <array>
#include <memory>
#include <optional>
#include <string_view>
#include <tuple>

#include <dirent.h>

#include <TLXX/ConfigManager.h>

namespace TLXX {

namespace {

constexpr std::string_view DEVICE_DIRECTORY = "/dev/";

// Where the kernel lists devices by name.
constexpr std::array<std::string_view, 3> CLASSES{"/class/nvme/", "/class/block/", "/block/"};

// How many "device" links are followed from a device up: partition or namespace, controller, PCI
// function.
constexpr int MAX_HOPS = 4;

// A PCI function and the directory that describes it.
struct CPciFunction {
  CPciAddress m_Address;
  std::string m_Directory;
};

// The PCI functions that a resolved path leads through, the nearest to its end first. Whole
// components below the root are looked at: "0000:01:00.0" is the end of "10000:01:00.0" too.
std::vector<CPciFunction> FunctionsAlong(const std::string& path, const std::string& root) {
  std::vector<CPciFunction> functions;
  if (!path.starts_with(root) || path.size() <= root.size() || path[root.size()] != '/') return {};
  for (std::size_t end = path.size(); end > root.size();) {
    const std::size_t slash = path.rfind('/', end - 1);
    const std::string_view component(path.data() + slash + 1, end - slash - 1);
    if (const auto address = ParsePciAddress(component)) {
      functions.push_back({*address, path.substr(0, end)});
    }
    end = slash;
  }
  return functions;
}

// "nvme0n1" for "nvme0n1p2", nothing for what is no partition of a namespace.
std::optional<std::string> DiskOfPartition(const std::string& name) {
  const std::size_t last = name.find_last_not_of("0123456789");
  const bool isPartition = last != std::string::npos && last > 0 && last + 1 < name.size() &&
                           name[last] == 'p' && name[last - 1] >= '0' && name[last - 1] <= '9';
  if (!isPartition) return std::nullopt;
  return name.substr(0, last);
}

// The resolved directory of the device with this name.
std::optional<std::string> FindDevice(const std::string& name) {
  const std::string& root = SysfsRootPath();
  for (const std::string_view directory : CLASSES) {
    if (auto found = Resolve(std::string(root).append(directory).append(name))) return found;
  }
  // Outside class/block a partition is only to be found below its disk.
  if (const auto disk = DiskOfPartition(name))
    return Resolve(root + "/block/" + *disk + "/" + name);
  return std::nullopt;
}

struct CCloseDirectory {
  void operator()(DIR* directory) const { closedir(directory); }
};

// The names in a directory that fit, in no order; none when it cannot be read.
template <class Fits>
std::vector<std::string> NamesIn(const std::string& directory, Fits fits) {
  std::vector<std::string> names;
  const std::unique_ptr<DIR, CCloseDirectory> listing(opendir(directory.c_str()));
  if (!listing) return names;
  while (const dirent* const entry = readdir(listing.get())) {
    if (fits(std::string_view(entry->d_name))) names.emplace_back(entry->d_name);
  }
  return names;
}

// "nvme0", but not "nvme0n1".
bool IsControllerName(std::string_view name) {
  constexpr std::string_view PREFIX = "nvme";
  return name.size() > PREFIX.size() && name.starts_with(PREFIX) &&
         name.find_first_not_of("0123456789", PREFIX.size()) == std::string_view::npos;
}

// The subsystem directory that a resolved path leads through.
std::optional<std::string> SubsystemAlong(const std::string& path) {
  constexpr std::string_view PARENT = "/nvme-subsystem/";
  const std::size_t parent = path.rfind(PARENT);
  if (parent == std::string::npos) return std::nullopt;
  return path.substr(0, path.find('/', parent + PARENT.size()));
}

// The PCI functions of the controllers of the subsystem that a resolved path leads through. Under
// native multipath the kernel puts namespaces there, below no controller; the one with the lowest
// number comes first.
std::vector<CPciFunction> FunctionsOfSubsystem(const std::string& path, const std::string& root) {
  const auto subsystem = SubsystemAlong(path);
  if (!subsystem) return {};
  std::vector<std::string> names = NamesIn(*subsystem, IsControllerName);
  std::sort(names.begin(), names.end(), [](const std::string& left, const std::string& right) {
    return std::tuple(left.size(), left) < std::tuple(right.size(), right);
  });
  std::vector<CPciFunction> functions;
  for (const std::string& name : names) {
    const auto controller = Resolve(*subsystem + "/" + name);
    if (!controller) continue;
    const std::vector<CPciFunction> along = FunctionsAlong(*controller, root);
    functions.insert(functions.end(), along.begin(), along.end());
  }
  return functions;
}

// The PCI functions that the device hangs from, its own first; empty when there is none.
std::vector<CPciFunction> FunctionsOf(const std::string& path) {
  if (!path.starts_with(DEVICE_DIRECTORY)) return {};
  const std::string name = path.substr(DEVICE_DIRECTORY.size());
  const auto root = Resolve(SysfsRootPath());
  if (!IsFileName(name) || !root) return {};
  auto directory = FindDevice(name);
  for (int hop = 0; directory && hop < MAX_HOPS; ++hop) {
    std::vector<CPciFunction> functions = FunctionsAlong(*directory, *root);
    if (functions.empty()) functions = FunctionsOfSubsystem(*directory, *root);
    if (!functions.empty()) return functions;
    directory = Resolve(*directory + "/device");
  }
  return {};
}

// All PCI functions of the machine in the order of their addresses.
std::vector<CPciFunction> AllFunctions() {
  const std::string directory = SysfsRootPath() + "/bus/pci/devices";
  std::vector<CPciFunction> functions;
  const auto isAddress = [](std::string_view name) { return ParsePciAddress(name).has_value(); };
  for (const std::string& name : NamesIn(directory, isAddress)) {
    functions.push_back({*ParsePciAddress(name), directory + "/" + name});
  }
  std::sort(functions.begin(), functions.end(),
            [](const auto& left, const auto& right) { return left.m_Address < right.m_Address; });
  return functions;
}

}  // namespace

bool CConfigManager::GetLocation(const std::string& vendor, const std::string& device,
                                 unsigned int occurrence, unsigned long& bus,
                                 unsigned long& deviceNumber, unsigned long& function) {
  const auto wanted = ParsePciIds(vendor, device);
  if (!wanted || occurrence == 0) return false;
  for (const CPciFunction& candidate : AllFunctions()) {
    if (ReadPciIds(candidate.m_Directory) != wanted || --occurrence != 0) continue;
    bus = candidate.m_Address.m_Bus;
    deviceNumber = candidate.m_Address.m_Device;
    function = candidate.m_Address.m_Function;
    return true;
  }
  return false;
}

bool CConfigManager::GetLocation(unsigned long& segment, unsigned long& bus, unsigned long& device,
                                 unsigned long& function, const std::string& path) {
  const std::vector<CPciFunction> functions = FunctionsOf(path);
  if (functions.empty()) return false;
  const CPciAddress& address = functions.front().m_Address;
  segment = address.m_Domain;
  bus = address.m_Bus;
  device = address.m_Device;
  function = address.m_Function;
  return true;
}

bool CConfigManager::IsDiskConnectedThroughOneOfDevices(
    const std::string& path, const std::vector<std::pair<std::string, std::string>>& devices) {
  const std::vector<CPciFunction> functions = FunctionsOf(path);
  return std::any_of(functions.begin(), functions.end(), [&devices](const CPciFunction& function) {
    const auto ids = ReadPciIds(function.m_Directory);
    return ids && std::any_of(devices.begin(), devices.end(), [&ids](const auto& device) {
             return ParsePciIds(device.first, device.second) == ids;
           });
  });
}

void CConfigManager::SetSysfsRoot(const std::string& root) {
  SetSysfsRootPath(root);
}

std::string CConfigManager::ReadAttribute(const std::string& path) {
  return TLXX::ReadAttribute(path).value_or(std::string());
}

std::string CConfigManager::SysfsRoot() {
  return SysfsRootPath();
}

}  // namespace TLXX
