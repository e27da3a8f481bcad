#pragma once

#include "support/Files.h"

#include <filesystem>
#include <string>

#include <TLXX/ConfigManager.h>

namespace tlxxtest {

namespace fs = std::filesystem;

// A sysfs tree in a directory of its own, laid out as the kernel does it: directories below
// devices, everything else relative links into them. The library looks there while it lives.
class Sysfs {
 public:
  Sysfs() : before_(TLXX::CConfigManager::SysfsRoot()) {
    TLXX::CConfigManager::SetSysfsRoot(Root().string());
  }
  ~Sysfs() { TLXX::CConfigManager::SetSysfsRoot(before_); }
  Sysfs(const Sysfs&) = delete;
  Sysfs& operator=(const Sysfs&) = delete;

  const fs::path& Root() const { return dir_.Path(); }

  void File(const std::string& path, const std::string& text) const {
    vxtest::WriteFile(Root() / path, text);
  }

  // A link at one path of the tree to another.
  void Link(const std::string& path, const std::string& target) const {
    fs::create_directories((Root() / path).parent_path());
    fs::create_symlink((Root() / target).lexically_relative((Root() / path).parent_path()),
                       Root() / path);
  }

  // A PCI function below devices/: "pci0000:00/0000:00:10.0". Ids as the kernel writes them.
  std::string Pci(const std::string& path, const std::string& vendor,
                  const std::string& device) const {
    const std::string directory = "devices/" + path;
    File(directory + "/vendor", vendor + "\n");
    File(directory + "/device", device + "\n");
    File(directory + "/class", "0x010802\n");
    Link("bus/pci/devices/" + fs::path(path).filename().string(), directory);
    return directory;
  }

  // An NVMe controller below the directory of its PCI function.
  std::string Controller(const std::string& function, const std::string& name) const {
    const std::string directory = function + "/nvme/" + name;
    File(directory + "/state", "live\n");
    Link(directory + "/device", function);
    Link("class/nvme/" + name, directory);
    return directory;
  }

  // A block device below its parent's directory, such as a namespace below its controller's.
  std::string Block(const std::string& parent, const std::string& name) const {
    const std::string directory = parent + "/" + name;
    File(directory + "/size", "781422768\n");
    Link(directory + "/device", parent);
    Link("block/" + name, directory);
    Link("class/block/" + name, directory);
    return directory;
  }

  void Partition(const std::string& disk, const std::string& name) const {
    const std::string directory = disk + "/" + name;
    File(directory + "/partition", "1\n");
    Link("class/block/" + name, directory);
  }

 private:
  vxtest::TempDir dir_;
  const std::string before_;
};

}  // namespace tlxxtest
