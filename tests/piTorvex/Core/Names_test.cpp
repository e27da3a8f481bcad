#include "Core/Names.h"

#include "CoreObjects.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using NAMESPACE_piTorvex::CTorvexAdapter;
using NAMESPACE_piTorvex::FindHostRecord;
using NAMESPACE_piTorvex::getAdapterName;
using NAMESPACE_piTorvex::IdentificationOf;
using NAMESPACE_piTorvex::MarketingNameOf;
using NAMESPACE_piTorvex::UNKNOWN_ADAPTER_NAME;
using testing::ElementsAre;

PI::CAdapterID RecordOf(const std::array<unsigned int, 4>& identification, int hostNumber) {
  PI::CAdapterID id;
  id.m_Identification = identification;
  id.m_HostNumber = hostNumber;
  return id;
}

CTorvexAdapter AdapterAt(unsigned long segment, unsigned long bus, unsigned long device,
                         unsigned long function) {
  CTorvexAdapter adapter;
  adapter.PciSegment = segment;
  adapter.PciBus = bus;
  adapter.PciDevice = device;
  adapter.PciFunction = function;
  return adapter;
}

TEST(AdapterName, GoesByTheSubsystem) {
  EXPECT_EQ(getAdapterName(0x3702, 0x0953), "PACC EP P3700");
  EXPECT_EQ(getAdapterName(0x3703, 0x0953), "SSD PCIe3 P3700");
  EXPECT_EQ(getAdapterName(0x3904, 0x2701), "PACC EP P4800X");
  EXPECT_EQ(getAdapterName(0x3905, 0x2701), "SSD PCIe3 P4800X");
  EXPECT_EQ(getAdapterName(0x4712, 0x0A54), "SSD PCIe3 P4600");
  EXPECT_EQ(getAdapterName(0x4714, 0x0A54), "PACC EP P4600");
}

TEST(AdapterName, OfTwoSubsystems_DependsOnTheDevice) {
  EXPECT_EQ(getAdapterName(0x4703, 0x0A54), "SSD PCIe3 P4501");
  EXPECT_EQ(getAdapterName(0x4703, 0x0A55), "SSD PCIe3 P4601");
  EXPECT_EQ(getAdapterName(0x4705, 0x0A54), "PACC EP P4501");
  EXPECT_EQ(getAdapterName(0x4705, 0), "PACC EP P4601");
}

TEST(AdapterName, OfAnUnknownSubsystem_IsTheGeneralOne) {
  for (const unsigned long subsystem : {0UL, 0x3701UL, 0x0A54UL, 0x13702UL, ~0UL}) {
    EXPECT_EQ(getAdapterName(subsystem, 0x0A54), UNKNOWN_ADAPTER_NAME) << subsystem;
  }
}

TEST(MarketingName, AsksWithFunctionAndDeviceOfThePciAddress) {
  EXPECT_EQ(MarketingNameOf(RecordOf({0, 0, 0x0A54, 0x4703}, 1)), "SSD PCIe3 P4501");
  EXPECT_EQ(MarketingNameOf(RecordOf({0, 0, 0, 0x4703}, 1)), "SSD PCIe3 P4601");
  EXPECT_EQ(MarketingNameOf(RecordOf({0, 0, 0x4703, 0x0A54}, 1)), UNKNOWN_ADAPTER_NAME);
}

TEST(Identification, IsSegmentBusDeviceFunctionCutTo32Bits) {
  EXPECT_THAT(IdentificationOf(AdapterAt(1, 2, 3, 4)), ElementsAre(1U, 2U, 3U, 4U));
  EXPECT_THAT(IdentificationOf(AdapterAt(0x100000001, 0x100000002, 0x100000003, 0x100000004)),
              ElementsAre(1U, 2U, 3U, 4U));
}

TEST(HostRecord, IsTheFirstOneOfTheAddressThatHasANumber) {
  const std::vector<PI::CAdapterID> ids = {RecordOf({1, 2, 3, 5}, 6), RecordOf({1, 2, 3, 4}, -1),
                                           RecordOf({1, 2, 3, 4}, 7), RecordOf({1, 2, 3, 4}, 8)};
  EXPECT_EQ(FindHostRecord(ids, AdapterAt(1, 2, 3, 4)), &ids[2]);
}

TEST(HostRecord, OfAnotherAddressOrWithoutANumber_IsNone) {
  const std::vector<PI::CAdapterID> ids = {RecordOf({1, 2, 3, 4}, -1), RecordOf({9, 2, 3, 4}, 1),
                                           RecordOf({1, 9, 3, 4}, 1), RecordOf({1, 2, 9, 4}, 1),
                                           RecordOf({1, 2, 3, 9}, 1)};
  EXPECT_EQ(FindHostRecord(ids, AdapterAt(1, 2, 3, 4)), nullptr);
  EXPECT_EQ(FindHostRecord({}, AdapterAt(1, 2, 3, 4)), nullptr);
}

TEST(HostRecord, WithTheNumber0_IsNumbered) {
  const std::vector<PI::CAdapterID> ids = {RecordOf({1, 2, 3, 4}, 0)};
  EXPECT_EQ(FindHostRecord(ids, AdapterAt(1, 2, 3, 4)), &ids[0]);
}

}  // namespace
