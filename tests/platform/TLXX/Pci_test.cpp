#include "Pci.h"

#include <gtest/gtest.h>

namespace {

using TLXX::CPciAddress;
using TLXX::ParsePciAddress;
using TLXX::ParsePciId;

TEST(PciTest, Address_OfFourToEightDigitDomains_IsRead) {
  EXPECT_EQ(ParsePciAddress("0000:01:00.0"), (CPciAddress{0, 1, 0, 0}));
  EXPECT_EQ(ParsePciAddress("10000:e1:1f.7"), (CPciAddress{0x10000, 0xE1, 0x1F, 7}));
  EXPECT_EQ(ParsePciAddress("FFFFFFFF:Ab:0A.1"), (CPciAddress{0xFFFFFFFF, 0xAB, 0x0A, 1}));
}

TEST(PciTest, Address_OfAnythingElse_IsRefused) {
  for (const char* const text :
       {"", "nvme0", "pci0000:00", "pci0000:5d", "000:01:00.0", "123456789:01:00.0", "0000:01:00",
        "0000:01:20.0", "0000:01:00.8", "0000:01:00.0 ", " 0000:01:00.0", "0000:01:00.00",
        "0000:-1:00.0", "-000:01:00.0", "0000.01:00.0", "0000:01:00:0", "000g:01:00.0",
        "0x00:01:00.0", "0000:1:00.0"}) {
    EXPECT_FALSE(ParsePciAddress(text).has_value()) << text;
  }
}

TEST(PciTest, Addresses_AreOrderedAsTheBusIs) {
  EXPECT_LT((CPciAddress{0, 0xFF, 0, 0}), (CPciAddress{1, 0, 0, 0}));
  EXPECT_LT((CPciAddress{0, 1, 0x1F, 7}), (CPciAddress{0, 2, 0, 0}));
  EXPECT_LT((CPciAddress{0, 1, 2, 3}), (CPciAddress{0, 1, 2, 4}));
}

TEST(PciTest, Id_IsReadWithoutRegardToCaseAndPrefix) {
  for (const char* const text : {"0a54", "0A54", "0x0a54", "0X0A54", "a54"}) {
    EXPECT_EQ(ParsePciId(text), 0x0A54U) << text;
  }
  for (const char* const text : {"", "0x", "x0a54", "0a54 ", "00a54", "-a54", "0x0x54", "ga54"}) {
    EXPECT_FALSE(ParsePciId(text).has_value()) << text;
  }
}

}  // namespace
