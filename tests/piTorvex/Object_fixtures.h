#pragma once

#include "piTorvex.h"

#include <concepts>
#include <cstddef>
#include <string>
#include <vector>

#include <boost/variant.hpp>
#include <gtest/gtest.h>

#include <PI/Property.h>

namespace vxtest {

using NAMESPACE_piTorvex::CTorvexAdapter;
using NAMESPACE_piTorvex::CTorvexPhysicalDrive;

// What one property of an object below shows, and how the object comes by it.
template <class Object>
struct Sample {
  PI::_PROPERTY_ID id;
  unsigned int label;
  PI::_DATA_KIND kind;
  PI::_UNITS unit;
  std::string value;  // as Render gives it
  void (*set)(Object& object);
  int preset = -1;
};

// One line a property, in the order in which hosts get them. Numbers and texts are those that hosts
// have been shown since the first release. A new property needs a line here and nowhere else in the
// tests of the plug-in.
inline const std::vector<Sample<CTorvexAdapter>>& AdapterSamples() {
  // clang-format off
  static const std::vector<Sample<CTorvexAdapter>> samples = {
    {PI::PROPERTY_NAME, 23081, PI::KIND_STRING, PI::UNIT_NONE, "text Intel PCIe Device Adapter (SN1)", [](CTorvexAdapter& a) { a.Name = "Intel PCIe Device Adapter (SN1)"; }},
    {PI::PROPERTY_VENDOR, 23144, PI::KIND_STRING, PI::UNIT_NONE, "text INTEL", [](CTorvexAdapter& a) { a.Vendor = "INTEL"; }},
    {PI::PROPERTY_MODEL, 23102, PI::KIND_STRING, PI::UNIT_NONE, "text INTEL SSDPE2KX010T7", [](CTorvexAdapter& a) { a.ModelNumber = "INTEL SSDPE2KX010T7"; }},
    {PI::PROPERTY_MODE, 1, PI::KIND_CHOICE, PI::UNIT_NONE, "choice 40480 of {40488,40480}", [](CTorvexAdapter&) {}, 0},
    {PI::PROPERTY_ADAPTER_NUMBER, 23003, PI::KIND_UNSIGNED, PI::UNIT_NONE, "unsigned 3", [](CTorvexAdapter& a) { a.AdapterNumber = 3; }},
    {PI::PROPERTY_HEALTH, 23127, PI::KIND_CHOICE, PI::UNIT_NONE, "choice 40024 of {40024,40150,40095}", [](CTorvexAdapter&) {}},
    {PI::PROPERTY_PCI_SEGMENT, 23134, PI::KIND_UNSIGNED, PI::UNIT_NONE, "unsigned 65537", [](CTorvexAdapter& a) { a.PciSegment = 65537; }},
    {PI::PROPERTY_PCI_BUS, 23132, PI::KIND_UNSIGNED, PI::UNIT_NONE, "unsigned 1", [](CTorvexAdapter& a) { a.PciBus = 1; }},
    {PI::PROPERTY_PCI_DEVICE, 23133, PI::KIND_UNSIGNED, PI::UNIT_NONE, "unsigned 2", [](CTorvexAdapter& a) { a.PciDevice = 2; }},
    {PI::PROPERTY_PCI_FUNCTION, 23135, PI::KIND_UNSIGNED, PI::UNIT_NONE, "unsigned 3", [](CTorvexAdapter& a) { a.PciFunction = 3; }},
    {PI::PROPERTY_LOCATION, 1, PI::KIND_STRING, PI::UNIT_NONE, "text PCI:Bus=1&Device=2&Function=3", [](CTorvexAdapter& a) { a.Location = "PCI:Bus=1&Device=2&Function=3"; }, 0},
    {PI::PROPERTY_SERIAL_NUMBER, 23116, PI::KIND_STRING, PI::UNIT_NONE, "text SN1", [](CTorvexAdapter& a) { a.SerialNumber = "SN1"; }},
    {PI::PROPERTY_FIRMWARE, 23051, PI::KIND_STRING, PI::UNIT_NONE, "text QDV1", [](CTorvexAdapter& a) { a.Firmware = "QDV1"; }},
    {PI::PROPERTY_BOOTLOADER, 23016, PI::KIND_STRING, PI::UNIT_NONE, "text 8B1B", [](CTorvexAdapter& a) { a.Bootloader = "8B1B"; }},
    {PI::PROPERTY_DEVICE_PATH, 23090, PI::KIND_STRING, PI::UNIT_NONE, "text /dev/nvme0n1", [](CTorvexAdapter& a) { a.DevicePath = "/dev/nvme0n1"; }},
    {PI::PROPERTY_DRIVER_NAME, 23041, PI::KIND_STRING, PI::UNIT_NONE, "text nvme", [](CTorvexAdapter& a) { a.DriverName = "nvme"; }},
    {PI::PROPERTY_DRIVER_VERSION, 23042, PI::KIND_STRING, PI::UNIT_NONE, "text 1.0", [](CTorvexAdapter& a) { a.DriverVersion = "1.0"; }},
    {PI::PROPERTY_TEMPERATURE, 23024, PI::KIND_UNSIGNED, PI::UNIT_CELSIUS, "float 35000", [](CTorvexAdapter& a) { a.Temperature = 35.0F; }},
    {PI::PROPERTY_END_OF_LIFE, 23045, PI::KIND_STRING, PI::UNIT_NONE, "text 2035-01-02", [](CTorvexAdapter& a) { a.ExtraText = "2035-01-02"; }},
    {PI::PROPERTY_POWER_ON_HOURS, 23101, PI::KIND_UNSIGNED, PI::UNIT_HOURS, "unsigned 700", [](CTorvexAdapter& a) { a.PowerOnHours = 700; }},
    {PI::PROPERTY_AVAILABLE_SPARE, 23110, PI::KIND_RANGE, PI::UNIT_PERCENT, "range 98 in 0..100 by 1", [](CTorvexAdapter& a) { a.ReserveSpace = 98; }},
    {PI::PROPERTY_WARNING_LEVEL, 23112, PI::KIND_CHOICE, PI::UNIT_NONE, "choice 40473 of {40473}", [](CTorvexAdapter&) {}},
    {PI::PROPERTY_SPARE_THRESHOLD, 23113, PI::KIND_RANGE, PI::UNIT_PERCENT, "range 11 in 1..100 by 1", [](CTorvexAdapter& a) { a.WarningThreshold = 11; }},
    {PI::PROPERTY_DATA_READ, 23017, PI::KIND_NUMBER_WITH_UNIT, PI::UNIT_NONE, "unsigned 500", [](CTorvexAdapter& a) { a.DataUnitsRead = 500; }},
    {PI::PROPERTY_DATA_WRITTEN, 23018, PI::KIND_NUMBER_WITH_UNIT, PI::UNIT_NONE, "unsigned 1280", [](CTorvexAdapter& a) { a.DataUnitsWritten = 1280; }},
    {PI::PROPERTY_REMAINING_LIFE, 23105, PI::KIND_RANGE, PI::UNIT_PERCENT, "range 96 in 0..100 by 1", [](CTorvexAdapter& a) { a.PercentageUsed = 4; }},
    {PI::PROPERTY_LIFE_STATE, 23147, PI::KIND_CHOICE, PI::UNIT_NONE, "choice 40252 of {40252,40410,40411}", [](CTorvexAdapter&) {}},
    {PI::PROPERTY_MEDIA_ERRORS, 23143, PI::KIND_UNSIGNED, PI::UNIT_NONE, "unsigned 6", [](CTorvexAdapter& a) { a.StatusWord3 = 6; }},
    {PI::PROPERTY_HEALTH_REASONS, 23004, PI::KIND_MULTIPLE_CHOICE, PI::UNIT_NONE, "multi {} of {40459,40460,40449,40487,40452}", [](CTorvexAdapter&) {}},
  };
  // clang-format on
  return samples;
}

// The same of a drive whose name is one of those that show the temperature.
inline const std::vector<Sample<CTorvexPhysicalDrive>>& DriveSamples() {
  // clang-format off
  static const std::vector<Sample<CTorvexPhysicalDrive>> samples = {
    {PI::PROPERTY_NAME, 23299, PI::KIND_STRING, PI::UNIT_NONE, "text SSD of ours", [](CTorvexPhysicalDrive& d) { d.Name = "SSD of ours"; }},
    {PI::PROPERTY_CHANNEL, 23306, PI::KIND_UNSIGNED, PI::UNIT_NONE, "unsigned 0", [](CTorvexPhysicalDrive&) {}, 4},
    {PI::PROPERTY_TARGET, 23285, PI::KIND_UNSIGNED, PI::UNIT_NONE, "unsigned 0", [](CTorvexPhysicalDrive&) {}},
    {PI::PROPERTY_LOCATION, 1, PI::KIND_STRING, PI::UNIT_NONE, "text PCI:Bus=1&Device=2&Function=3&ID=0", [](CTorvexPhysicalDrive& d) { d.Location = "PCI:Bus=1&Device=2&Function=3&ID=0"; }, 0},
    {PI::PROPERTY_VENDOR, 23332, PI::KIND_STRING, PI::UNIT_NONE, "text INTEL", [](CTorvexPhysicalDrive& d) { d.Vendor = "INTEL"; }},
    {PI::PROPERTY_MODEL, 23309, PI::KIND_STRING, PI::UNIT_NONE, "text INTEL SSDPE2KX010T7", [](CTorvexPhysicalDrive& d) { d.ModelNumber = "INTEL SSDPE2KX010T7"; }},
    {PI::PROPERTY_INTERFACE, 23330, PI::KIND_CHOICE, PI::UNIT_NONE, "choice 40200 of {40200}", [](CTorvexPhysicalDrive&) {}},
    {PI::PROPERTY_PHYSICAL_SIZE, 23305, PI::KIND_UNSIGNED, PI::UNIT_MIB, "unsigned 953869", [](CTorvexPhysicalDrive& d) { d.PhysicalSizeMiB = 953869; }},
    {PI::PROPERTY_TOTAL_SIZE, 23282, PI::KIND_UNSIGNED, PI::UNIT_MIB, "unsigned 953870", [](CTorvexPhysicalDrive& d) { d.PhysicalSizeMiB2 = 953870; }},
    {PI::PROPERTY_HEALTH, 23325, PI::KIND_CHOICE, PI::UNIT_NONE, "choice 40099 of {40099,40095}", [](CTorvexPhysicalDrive&) {}},
    {PI::PROPERTY_USABLE_SIZE, 23291, PI::KIND_UNSIGNED, PI::UNIT_MIB, "unsigned 953868", [](CTorvexPhysicalDrive& d) { d.UsableSizeMiB = 953868; }},
    {PI::PROPERTY_USABLE_SHARE, 23290, PI::KIND_UNSIGNED, PI::UNIT_PERCENT, "unsigned 99", [](CTorvexPhysicalDrive& d) { d.UsablePercent = 99; }},
    {PI::PROPERTY_SECTOR_SIZE, 23279, PI::KIND_UNSIGNED, PI::UNIT_BYTES_PER_SECTOR, "unsigned 512", [](CTorvexPhysicalDrive& d) { d.SectorSize = 512; }},
    {PI::PROPERTY_DRIVE_TEMPERATURE, 23327, PI::KIND_NUMBER_WITH_UNIT, PI::UNIT_CELSIUS, "float 35000", [](CTorvexPhysicalDrive& d) { d.Temperature = 35.0F; }},
    {PI::PROPERTY_SERIAL_NUMBER, 23327, PI::KIND_STRING, PI::UNIT_NONE, "text SN1", [](CTorvexPhysicalDrive& d) { d.SerialNumber = "SN1"; }},
  };
  // clang-format on
  return samples;
}

// A good adapter, with a value of its own in every field that a property shows.
inline CTorvexAdapter HealthyAdapter() {
  CTorvexAdapter adapter;
  adapter.m_ID = 0x0135000000000001;
  adapter.m_Type = PI::OBJECT_TYPE_ADAPTER;
  adapter.GlobalAdapterNumber = 5;
  for (const auto& sample : AdapterSamples()) sample.set(adapter);
  return adapter;
}

// A drive of that adapter that shows every property.
inline CTorvexPhysicalDrive ShownDrive() {
  CTorvexPhysicalDrive drive;
  drive.m_ID = 0x0135000000000002;
  drive.m_Type = PI::OBJECT_TYPE_PHYSICAL_DRIVE;
  drive.DriveNumber = 1;
  drive.ParentAdapterNumber = 5;
  for (const auto& sample : DriveSamples()) sample.set(drive);
  return drive;
}

// The same drive with a name as scans make them: its temperature is known and not shown.
inline CTorvexPhysicalDrive HealthyDrive() {
  CTorvexPhysicalDrive drive = ShownDrive();
  drive.Name = "Intel SSD DC P4600, SSDPE2KX010T7";
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

template <class Object>
void ExpectShows(const PI::CProperty& property, const Sample<Object>& sample) {
  EXPECT_EQ(property.m_PropertyID, sample.id);
  EXPECT_EQ(property.m_LabelID, sample.label) << sample.id;
  EXPECT_EQ(property.m_Kind, sample.kind) << sample.id;
  EXPECT_EQ(property.m_Unit, sample.unit) << sample.id;
  EXPECT_EQ(property.m_Default, sample.preset) << sample.id;
  EXPECT_FALSE(property.m_Settable) << sample.id;
  EXPECT_EQ(boost::apply_visitor(Render(), property.m_Value), sample.value) << sample.id;
}

// The properties are the samples, in their order.
template <class Object>
void ExpectShows(const std::vector<PI::CProperty>& properties,
                 const std::vector<Sample<Object>>& samples) {
  ASSERT_EQ(properties.size(), samples.size()) << "a property lacks its sample";
  for (std::size_t i = 0; i < samples.size(); ++i) ExpectShows(properties[i], samples[i]);
}

// Makes a member another than it was, by as little as it can differ.
inline void Alter(std::string& text) {
  text += '\0';
}
inline void Alter(std::vector<int>& codes) {
  codes.push_back(PI::CHOICE_REASON_SPARE);
}
inline void Alter(bool& flag) {
  flag = !flag;
}
inline void Alter(float& number) {
  number += 0.125F;
}
inline void Alter(std::integral auto& number) {
  ++number;
}

}  // namespace vxtest
