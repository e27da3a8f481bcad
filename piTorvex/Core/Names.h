#pragma once

#include "Core/Adapter.h"

#include <array>
#include <string>
#include <vector>

#include <PI/AdapterID.h>

// How adapters are named and known to the host. Pure functions. [any thread]
namespace NAMESPACE_piTorvex {

// The name of an adapter whose product is not known.
inline constexpr const char* UNKNOWN_ADAPTER_NAME = "Intel PCIe Device Adapter";

// The marketing name that goes with a PCI subsystem device id and a PCI device id.
[[nodiscard]] std::string getAdapterName(unsigned long subsystemDeviceId, unsigned long deviceId);

// The same for a host record. It is asked for with the function and the device number of the PCI
// address, in this order: hosts have shown the names that this gives since the first release.
[[nodiscard]] std::string MarketingNameOf(const PI::CAdapterID& id);

// The four numbers by which the host knows an adapter, cut to the width that it uses: PCI segment,
// bus, device, function.
[[nodiscard]] std::array<unsigned int, 4> IdentificationOf(const CTorvexAdapter& adapter);

// The first host record of the adapter's PCI address that the host has numbered; null when there is
// none. It belongs to the list.
[[nodiscard]] const PI::CAdapterID* FindHostRecord(const std::vector<PI::CAdapterID>& ids,
                                                   const CTorvexAdapter& adapter);

}  // namespace NAMESPACE_piTorvex
