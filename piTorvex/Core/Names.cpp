#include "Core/Names.h"

#include <algorithm>

namespace NAMESPACE_piTorvex {
namespace {

// Marketing names by PCI subsystem device id. The same subsystem id can name one product on device
// 0A54 and another on every other device: both were sold with it.
constexpr unsigned long DEVICE_0A54 = 0x0A54;
struct CMarketingName {
  unsigned long m_SubsystemDeviceId;
  const char* m_NameOn0A54;
  const char* m_NameElsewhere;
};
constexpr auto MARKETING_NAMES = std::to_array<CMarketingName>({
    {0x3702, "PACC EP P3700", "PACC EP P3700"},
    {0x3703, "SSD PCIe3 P3700", "SSD PCIe3 P3700"},
    {0x3904, "PACC EP P4800X", "PACC EP P4800X"},
    {0x3905, "SSD PCIe3 P4800X", "SSD PCIe3 P4800X"},
    {0x4703, "SSD PCIe3 P4501", "SSD PCIe3 P4601"},
    {0x4705, "PACC EP P4501", "PACC EP P4601"},
    {0x4712, "SSD PCIe3 P4600", "SSD PCIe3 P4600"},
    {0x4714, "PACC EP P4600", "PACC EP P4600"},
});
constexpr int NO_HOST_NUMBER = -1;

}  // namespace

std::string getAdapterName(unsigned long subsystemDeviceId, unsigned long deviceId) {
  for (const CMarketingName& row : MARKETING_NAMES) {
    if (row.m_SubsystemDeviceId != subsystemDeviceId) continue;
    return deviceId == DEVICE_0A54 ? row.m_NameOn0A54 : row.m_NameElsewhere;
  }
  return UNKNOWN_ADAPTER_NAME;
}

std::string MarketingNameOf(const PI::CAdapterID& id) {
  return getAdapterName(id.m_Identification[3], id.m_Identification[2]);
}

std::array<unsigned int, 4> IdentificationOf(const CTorvexAdapter& adapter) {
  return {static_cast<unsigned int>(adapter.PciSegment), static_cast<unsigned int>(adapter.PciBus),
          static_cast<unsigned int>(adapter.PciDevice),
          static_cast<unsigned int>(adapter.PciFunction)};
}

const PI::CAdapterID* FindHostRecord(const std::vector<PI::CAdapterID>& ids,
                                     const CTorvexAdapter& adapter) {
  const std::array<unsigned int, 4> identification = IdentificationOf(adapter);
  const auto found =
      std::find_if(ids.begin(), ids.end(), [&identification](const PI::CAdapterID& id) {
        return id.m_Identification == identification && id.m_HostNumber != NO_HOST_NUMBER;
      });
  return found == ids.end() ? nullptr : &*found;
}

}  // namespace NAMESPACE_piTorvex
