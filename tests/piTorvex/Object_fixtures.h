#pragma once

#include "piTorvex.h"

#include <string>
#include <vector>

#include <boost/variant.hpp>

#include <PI/Property.h>

namespace vxtest {

using NAMESPACE_piTorvex::CTorvexAdapter;
using NAMESPACE_piTorvex::CTorvexPhysicalDrive;

// A good adapter and its drive, with a value of its own in every field that a property shows.
inline CTorvexAdapter HealthyAdapter() {
  CTorvexAdapter adapter;
  adapter.m_ID = 0x0135000000000001;
  adapter.m_Type = 19038;
  adapter.AdapterNumber = 3;
  adapter.GlobalAdapterNumber = 5;
  adapter.SerialNumber = "SN1";
  adapter.Vendor = "INTEL";
  adapter.ModelNumber = "INTEL SSDPE2KX010T7";
  adapter.Name = "Intel PCIe Device Adapter (SN1)";
  adapter.Location = "PCI:Bus=1&Device=2&Function=3";
  adapter.DriverName = "nvme";
  adapter.DriverVersion = "1.0";
  adapter.Firmware = "QDV1";
  adapter.Bootloader = "8B1B";
  adapter.DevicePath = "/dev/nvme0n1";
  adapter.PciSegment = 65537;
  adapter.PciBus = 1;
  adapter.PciDevice = 2;
  adapter.PciFunction = 3;
  adapter.PercentageUsed = 4;
  adapter.StatusWord3 = 6;
  adapter.Temperature = 35.0F;
  adapter.DataUnitsRead = 500;
  adapter.DataUnitsWritten = 1280;
  adapter.PowerOnHours = 700;
  adapter.ReserveSpace = 98;
  adapter.WarningThreshold = 11;
  adapter.ExtraText = "2035-01-02";
  return adapter;
}

inline CTorvexPhysicalDrive HealthyDrive() {
  CTorvexPhysicalDrive drive;
  drive.m_ID = 0x0135000000000002;
  drive.m_Type = 19018;
  drive.DriveNumber = 1;
  drive.ParentAdapterNumber = 5;
  drive.SerialNumber = "SN1";
  drive.Vendor = "INTEL";
  drive.ModelNumber = "INTEL SSDPE2KX010T7";
  drive.Name = "Intel SSD DC P4600, SSDPE2KX010T7";
  drive.Location = "PCI:Bus=1&Device=2&Function=3&ID=0";
  drive.SectorSize = 512;
  drive.UsableSizeMiB = 953868;
  drive.UsablePercent = 99;
  drive.PhysicalSizeMiB = 953869;
  drive.PhysicalSizeMiB2 = 953870;
  drive.Temperature = 35.0F;
  return drive;
}

// The value as one text, its form included.
struct Render : boost::static_visitor<std::string> {
  static std::string List(const std::vector<int>& codes) {
    std::string text;
    for (const int code : codes) text += (text.empty() ? "" : ",") + std::to_string(code);
    return "{" + text + "}";
  }
  std::string operator()(const PI::CChoiceData& v) const {
    return "choice " + std::to_string(v.m_Selected) + " of " + List(v.m_Choices);
  }
  std::string operator()(const PI::CRangeData& v) const {
    return "range " + std::to_string(v.m_Value) + " in " + std::to_string(v.m_Minimum) + ".." +
           std::to_string(v.m_Maximum) + " by " + std::to_string(v.m_Step);
  }
  std::string operator()(const PI::CStringData& v) const { return "text " + v.m_Value; }
  std::string operator()(const PI::CLongData& v) const {
    return "unsigned " + std::to_string(v.m_Value);
  }
  std::string operator()(const PI::CFloatData& v) const {
    return "float " + std::to_string(static_cast<int>(v.m_Value * 1000));
  }
  std::string operator()(const PI::CMultiValueData& v) const {
    return "multi " + List(v.m_Selected) + " of " + List(v.m_Choices);
  }
  template <class Other>
  std::string operator()(const Other&) const {
    return "unexpected kind";
  }
};

}  // namespace vxtest
