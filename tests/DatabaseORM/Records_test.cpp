#include <cstddef>
#include <type_traits>

#include <gtest/gtest.h>

#include <DB/Database.h>
#include <DatabaseORM/FieldMap.h>
#include <DatabaseORM/Records.h>

namespace {

using RaidDataModels::Adapter;
using RaidDataModels::PD;
using RaidDataModels::Plugin;

static_assert(std::is_standard_layout_v<Adapter> && offsetof(Adapter, ID) == 0);
static_assert(std::is_standard_layout_v<PD> && offsetof(PD, ID) == 0);
static_assert(std::is_standard_layout_v<Plugin> && offsetof(Plugin, ID) == 0);
static_assert(RaidDataModels::NULL_REAL == 0x1p-126);

TEST(Records, DefaultConstructed_AreEqualFieldByField) {
  EXPECT_EQ(Adapter(), Adapter());
  EXPECT_EQ(PD(), PD());
  EXPECT_EQ(Plugin(), Plugin());
}

TEST(Records, DefaultConstructed_HoldTheNullsOfTheirKinds) {
  const Adapter adapter;
  EXPECT_EQ(adapter.ID, -2147483647 - 1);
  EXPECT_EQ(adapter.ObjectID, 18446744073709551615UL);
  EXPECT_EQ(adapter.SerialNumber, "NULL");
  EXPECT_EQ(adapter.EndOfLifeDate, "NULL");
  EXPECT_EQ(adapter.Temperature, 1.1754943508222875e-38);
  EXPECT_EQ(adapter.Flag, 0);
  EXPECT_TRUE(adapter.HealthReasons.empty());
}

TEST(Records, Copy_KeepsEveryTextNumberAndList) {
  Adapter adapter;
  adapter.ID = 1;
  adapter.Host = "localhost";
  adapter.Flag = 1;
  adapter.Temperature = 35.5;
  adapter.MediaErrors = 9;
  adapter.HealthReasons = {"a", "b"};
  const Adapter copy = adapter;
  EXPECT_EQ(copy, adapter);
  EXPECT_NE(copy, Adapter());
}

TEST(Records, CopiesOfTheOtherRecords_KeepEveryTextAndNumber) {
  Plugin plugin;
  plugin.ID = 1;
  plugin.ToolVersion = "3.0.26";
  plugin.ObjectID = 2;
  plugin.Version = "7.22.0";
  PD drive;
  drive.ID = 3;
  drive.SerialNumber = "S1";
  drive.PhysicalSize = 4;
  drive.Temperature = 35.5;
  const Plugin pluginCopy = plugin;
  PD driveCopy;
  driveCopy = drive;
  EXPECT_EQ(pluginCopy, plugin);
  EXPECT_NE(pluginCopy, Plugin());
  EXPECT_EQ(driveCopy, drive);
  EXPECT_NE(driveCopy, PD());
}

TEST(Records, FieldMaps_AreOneInstanceEach) {
  using RaidDataModels::dbModelFieldsMap;
  using RaidDataModels::Singleton;
  EXPECT_NE(Singleton<dbModelFieldsMap<Adapter>>::Instance(), nullptr);
  EXPECT_EQ(Singleton<dbModelFieldsMap<Adapter>>::Instance(),
            Singleton<dbModelFieldsMap<Adapter>>::Instance());
}

TEST(Records, FieldMap_KeepsFieldsOfDifferentKindsApart) {
  RaidDataModels::dbModelFieldsMap<Adapter> map;
  map.SetColumn(&Adapter::Temperature, "t");
  map.SetColumn(&Adapter::PowerOnHours, "p");
  map.SetColumn(&Adapter::HealthReasons, "r");
  EXPECT_EQ(map.Column(&Adapter::Temperature), "t");
  EXPECT_EQ(map.Column(&Adapter::PowerOnHours), "p");
  EXPECT_EQ(map.Column(&Adapter::HealthReasons), "r");
  EXPECT_EQ(map.Column(&Adapter::ID), "");
  map.SetColumn(&Adapter::Temperature, "again");
  EXPECT_EQ(map.Column(&Adapter::Temperature), "again");
}

}  // namespace
