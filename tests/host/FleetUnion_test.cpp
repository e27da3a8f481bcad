#include "FleetUnion.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using testing::HasSubstr;
using testing::Not;
using vxhost::UnionOfFleets;

std::string Drive(const std::string& serial, const std::string& address,
                  const std::string& rest = "") {
  return R"({"serial":")" + serial + R"(","index":4,"pci":{"address":")" + address + "\"}" + rest +
         "}";
}
std::string Fleet(const std::string& drives) {
  return "{\"drives\":[" + drives + "]}";
}

TEST(FleetUnion, DriveThatLeaves_IsThereBesideTheOneThatComes) {
  const auto fleet = UnionOfFleets(
      Fleet(Drive("A", "0000:01:00.0")),
      Fleet(Drive("A", "0000:01:00.0", ",\"present\":false") + "," + Drive("B", "0000:02:00.0")));
  ASSERT_TRUE(fleet.has_value());
  EXPECT_THAT(*fleet, HasSubstr(R"("serial":"B")"));
  EXPECT_THAT(*fleet, HasSubstr(R"({"serial":"A","pci":{"address":"0000:01:00.0"},"index":null})"));
  EXPECT_THAT(*fleet, Not(HasSubstr(R"("index":4)")));
  EXPECT_THAT(*fleet, HasSubstr(R"("allowDuplicateSerials":true)"));
}

TEST(FleetUnion, PlaceThatIsTaken_IsTheNewDrives) {
  EXPECT_FALSE(UnionOfFleets(Fleet(Drive("A", "0000:01:00.0")), Fleet(Drive("B", "0000:01:00.0"))));
}

TEST(FleetUnion, DriveThatWasNotPresent_DoesNotComeBack) {
  EXPECT_FALSE(UnionOfFleets(Fleet(Drive("A", "0000:01:00.0", ",\"present\":false")), Fleet("")));
}

TEST(FleetUnion, WhatIsNoFleet_HasNone) {
  for (const char* const text : {"", "5", "{}", R"({"drives":5})", R"({"drives":[5]})"}) {
    EXPECT_FALSE(UnionOfFleets(text, Fleet("")));
    EXPECT_FALSE(UnionOfFleets(Fleet(Drive("A", "0000:01:00.0")), text));
  }
}

TEST(FleetUnion, NestingTooDeep_IsNotFollowed) {
  constexpr std::size_t DEPTH = 200'000;
  const std::string list = std::string(DEPTH, '[') + std::string(DEPTH, ']');
  const std::string deep = Fleet(Drive("A", "0000:01:00.0", ",\"note\":" + list));
  EXPECT_FALSE(UnionOfFleets(deep, Fleet("")));
  EXPECT_FALSE(UnionOfFleets(Fleet(Drive("A", "0000:01:00.0")), deep));
  EXPECT_TRUE(vxhost::IsJson(deep));
  EXPECT_FALSE(vxhost::IsJson(deep + "]"));
}

}  // namespace
