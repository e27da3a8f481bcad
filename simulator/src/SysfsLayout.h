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

// The same with the drives of an earlier fleet beside the present ones, but for those whose device
// path, PCI address or slot a present drive has taken: for readers who may still look for a drive
// that has left. When the two cannot stand in one tree, that of the fleet alone.
Tree SysfsOf(const Fleet& fleet, const Fleet& earlier);

}  // namespace vxsim
