#pragma once

#include <string>
#include <utility>
#include <vector>

#include <TLX/Export.h>

namespace TLXX {

// Where devices sit, read from sysfs under a root that can be moved. PCI ids are hexadecimal texts
// of four digits, compared without case ("0a54"). Nothing is cached; a device that vanishes in
// mid-walk is "not found". [any thread]
class VX_EXPORT CConfigManager {
 public:
  // The occurrence-th (from 1) PCI function with these ids, in the order of their addresses. True
  // when found; the outputs are untouched otherwise.
  [[nodiscard]] static bool GetLocation(const std::string& vendor, const std::string& device,
                                        unsigned int occurrence, unsigned long& bus,
                                        unsigned long& deviceNumber, unsigned long& function);

  // The PCI function that a device path such as /dev/nvme0, /dev/nvme0n1 or /dev/nvme0n1p1 leads
  // to. True when found; the outputs are untouched otherwise (also for a path with no PCI function
  // behind it, such as NVMe over fabrics). A multipath head (a namespace below its subsystem) leads
  // to the subsystem's controller with the lowest number. The segment is the whole PCI domain,
  // above 0xFFFF for domains of volume-management controllers.
  [[nodiscard]] static bool GetLocation(unsigned long& segment, unsigned long& bus,
                                        unsigned long& device, unsigned long& function,
                                        const std::string& path);

  // Whether the PCI function behind the device path, or one of the devices above it up to the root,
  // is one of those (vendor, device). Of a multipath head every controller counts.
  [[nodiscard]] static bool IsDiskConnectedThroughOneOfDevices(
      const std::string& path, const std::vector<std::pair<std::string, std::string>>& devices);

  // The text of an attribute file, such as <sysfs root>/class/nvme/nvme0/serial, without its line
  // end: at most a page. Empty when it cannot be read. Never waits, whatever the file is.
  [[nodiscard]] static std::string ReadAttribute(const std::string& path);

  // The sysfs root: "/sys" unless set. [before other threads start]
  static void SetSysfsRoot(const std::string& root);
  [[nodiscard]] static std::string SysfsRoot();
};

}  // namespace TLXX
