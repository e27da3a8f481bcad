#pragma once

#include "Fleet.h"
#include "SysfsTree.h"

namespace vxsim {

// The sysfs of a machine that has the fleet's present drives: PCI functions with their bridges and
// volume-management controllers, controllers, namespaces, subsystems, slots and the nvme module. A
// drive without "pci" has no place in it, one whose device path is no NVMe path or whose driver is
// not nvme has a PCI function only. Throws FleetError when a bridge would stand where another
// function is.
Tree SysfsOf(const Fleet& fleet);

}  // namespace vxsim
