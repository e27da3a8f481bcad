#include "Frame_fixtures.h"

#include <cstdio>
#include <ctime>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <PI/GlobalAdapterID.h>
#include <PI/PluginHelper.h>
#include <TLX/Misc/Clock.h>
#include <TLXX/SystemTime.h>

namespace {

using frametest::FakeDrive;
using frametest::IPLUGINAPI_IMPL;
using frametest::Machine;
using NAMESPACE_piTorvex::CTorvexAdapter;
using NAMESPACE_piTorvex::CTorvexPhysicalDrive;
using NAMESPACE_piTorvex::NOT_REPORTED;
using testing::ElementsAre;
using testing::IsEmpty;
using vxtest::PluginTrace;

class ScanTest : public testing::Test {
 protected:
  unsigned long Scan(bool freshIds) {
    plugin.GetAdaptersInfo();
    return plugin.ScanSystem(adapters, drives, freshIds);
  }

  // The only adapter after a change of the only drive.
  CTorvexAdapter Adapter(const std::function<void(FakeDrive&)>& change) {
    if (adapters.empty() && plugin.m_ToolRecords.empty()) machine.AddDrive("SERIAL");
    machine.tool.Change([&change](std::vector<FakeDrive>& all) { change(all.front()); });
    EXPECT_EQ(Scan(true), 0UL);
    return adapters.at(0);
  }
  CTorvexPhysicalDrive Drive(const std::function<void(FakeDrive&)>& change) {
    Adapter(change);
    return drives.at(0);
  }

  void Publish() {
    plugin.m_Adapters = adapters;
    plugin.m_PhysicalDrives = drives;
  }

  PluginTrace trace{0};
  Machine machine;
  IPLUGINAPI_IMPL plugin;
  std::vector<CTorvexAdapter> adapters;
  std::vector<CTorvexPhysicalDrive> drives;
};

TEST_F(ScanTest, OfAHealthyDrive_FillsAdapterAndDrive) {
  const CTorvexAdapter adapter = Adapter([](FakeDrive&) {});
  EXPECT_EQ(adapter.m_Type, PI::OBJECT_TYPE_ADAPTER);
  EXPECT_EQ(adapter.AdapterNumber, 1U);
  EXPECT_EQ(adapter.ToolIndex, 0);
  EXPECT_EQ(adapter.SerialNumber, "SERIAL");
  EXPECT_EQ(adapter.Vendor, "INTEL");
  EXPECT_EQ(adapter.ModelNumber, "INTEL SSDPE2KX020T8");
  EXPECT_EQ(adapter.ModelNumberCopy, adapter.ModelNumber);
  EXPECT_EQ(adapter.Name, "");
  EXPECT_EQ(adapter.DriverName, "nvme");
  EXPECT_EQ(adapter.Firmware, "VDV10131");
  EXPECT_EQ(adapter.Bootloader, "0136");
  EXPECT_EQ(adapter.DevicePath, "/dev/nvme0");
  EXPECT_EQ(adapter.StatusBits, 0U);
  EXPECT_EQ(adapter.StatusWord2, 100UL);
  EXPECT_EQ(adapter.StatusWord3, 0UL);
  EXPECT_FLOAT_EQ(adapter.Temperature, 30.0F);
  EXPECT_EQ(adapter.HealthState, PI::CHOICE_HEALTH_GOOD);
  EXPECT_THAT(adapter.HealthReasons, IsEmpty());
  EXPECT_EQ(adapter.LifeState, PI::CHOICE_LIFE_AS_NEW);
  EXPECT_EQ(adapter.DataUnitsRead, 500UL);
  EXPECT_EQ(adapter.DataUnitsWritten, 2UL);
  EXPECT_EQ(adapter.PowerOnHours, 100UL);
  EXPECT_EQ(adapter.ReserveSpace, 100U);
  EXPECT_EQ(adapter.WarningThreshold, 10U);
  EXPECT_NE(adapter.GlobalAdapterNumber, 0U);
  EXPECT_EQ(adapter.StatusWord4, 0UL);  // nothing fills these
  EXPECT_FALSE(adapter.Flag);
  EXPECT_EQ(adapter.SelectedLevel, PI::CHOICE_LEVEL_STANDARD);

  const CTorvexPhysicalDrive& drive = drives.at(0);
  EXPECT_EQ(drive.DriveText, "");
  EXPECT_EQ(drive.m_Type, PI::OBJECT_TYPE_PHYSICAL_DRIVE);
  EXPECT_EQ(drive.DriveNumber, 0U);
  EXPECT_EQ(drive.ParentAdapterNumber, adapter.GlobalAdapterNumber);
  EXPECT_EQ(drive.SerialNumber, "SERIAL");
  EXPECT_EQ(drive.Vendor, "INTEL");
  EXPECT_EQ(drive.ModelNumber, adapter.ModelNumber);
  EXPECT_EQ(drive.Name, "Intel SSD DC P4510, SSDPE2KX020T8");
  EXPECT_EQ(drive.HealthState, PI::CHOICE_DRIVE_WORKING);
  EXPECT_EQ(drive.SectorSize, 512U);
  EXPECT_EQ(drive.PhysicalSizeMiB, 1907729UL);
  EXPECT_EQ(drive.PhysicalSizeMiB2, drive.PhysicalSizeMiB);
  EXPECT_EQ(drive.UsablePercent, 99UL);
  EXPECT_FLOAT_EQ(drive.Temperature, 30.0F);
}

TEST_F(ScanTest, OnSegmentZero_LocatesByBus) {
  machine.AddDrive("A");
  machine.AddDrive("B");
  machine.AddDrive("C");
  Scan(true);
  EXPECT_EQ(adapters[2].Location, "PCI:Bus=3&Device=0&Function=0");
  EXPECT_EQ(drives[2].Location, "PCI:Bus=3&Device=0&Function=0&ID=0");
}

TEST_F(ScanTest, OnAnotherSegment_NamesIt) {
  machine.AddDrive("A");
  machine.sysfs.Controller(machine.sysfs.Pci("pci0001:00/0001:03:00.0", "0x8086", "0x0a54"),
                           "nvme7");
  machine.tool.Change([](std::vector<FakeDrive>& all) { all[0].devicePath = "/dev/nvme7"; });
  Scan(true);
  EXPECT_EQ(adapters[0].Location, "PCI:Segment=1&Bus=3&Device=0&Function=0");
  EXPECT_EQ(drives[0].Location, "PCI:Segment=1&Bus=3&Device=0&Function=0&ID=0");
  EXPECT_EQ(adapters[0].PciSegment, 1UL);
}

TEST_F(ScanTest, OfADriveWithoutAPlace_SaysSoAndGoesOnWithZeros) {
  trace.SetMask(16);
  const CTorvexAdapter adapter = Adapter([](FakeDrive& drive) { drive.devicePath = "/dev/lost"; });
  EXPECT_EQ(adapter.Location, "PCI:Bus=0&Device=0&Function=0");
  EXPECT_TRUE(trace.Has("ScanSystem, Can not retrive PCI properties"));
}

TEST_F(ScanTest, OfADriveBehindVolumeManagement_YieldsNothingAndUsesNoId) {
  machine.AddManagedDrive("MANAGED");
  machine.AddDrive("PLAIN");
  Scan(true);
  ASSERT_EQ(adapters.size(), 1U);
  EXPECT_EQ(adapters[0].SerialNumber, "PLAIN");
  EXPECT_EQ(adapters[0].m_ID, 0x0135000000000000UL);
  EXPECT_EQ(drives[0].m_ID, 0x0135000000000001UL);
  EXPECT_EQ(drives[0].DriveNumber, 1U);                 // the place of its record
  EXPECT_EQ(machine.tool.CountCalls("-torvex 0"), 4U);  // it is asked all the same
}

TEST_F(ScanTest, WithoutFreshIds_KeepsIdsNumbersAndCounters) {
  machine.AddDrive("A");
  machine.AddDrive("B");
  Scan(true);
  Publish();
  plugin.m_Adapters[1].m_ReadCounter = 7;
  plugin.m_PhysicalDrives[1].m_ReadCounter = 9;
  machine.tool.Change([](std::vector<FakeDrive>& all) { all.erase(all.begin()); });
  Scan(false);
  ASSERT_EQ(adapters.size(), 1U);
  EXPECT_EQ(adapters[0].m_ID, plugin.m_Adapters[1].m_ID);
  EXPECT_EQ(adapters[0].m_ReadCounter, 7UL);
  EXPECT_EQ(adapters[0].AdapterNumber, 2U);  // although it is the first record now
  EXPECT_EQ(drives[0].m_ID, plugin.m_PhysicalDrives[1].m_ID);
  EXPECT_EQ(drives[0].m_ReadCounter, 9UL);
  Scan(true);
  EXPECT_NE(adapters[0].m_ID, plugin.m_Adapters[1].m_ID);
}

TEST_F(ScanTest, WithoutFreshIds_ComparesSerialNumbersByteForByte) {
  machine.AddDrive("SERIAL");
  Scan(true);
  Publish();
  for (const char* other : {"serial", "SERIAL ", "SERIA", ""}) {
    machine.tool.Change([other](std::vector<FakeDrive>& all) { all[0].serial = other; });
    Scan(false);
    EXPECT_NE(adapters[0].m_ID, plugin.m_Adapters[0].m_ID) << other;
    EXPECT_NE(drives[0].m_ID, plugin.m_PhysicalDrives[0].m_ID) << other;
  }
}

// Ids are looked up in the lists that such a scan would empty.
TEST_F(ScanTest, IntoThePublishedListsWithoutFreshIds_IsAMistake) {
  machine.AddDrive("SERIAL");
  Scan(true);
  Publish();
  EXPECT_DEBUG_DEATH(plugin.ScanSystem(plugin.m_Adapters, plugin.m_PhysicalDrives, false),
                     "Assertion");
}

TEST_F(ScanTest, OfANewDrive_GivesItALowestFreeNumber) {
  trace.SetMask(16);
  machine.AddDrive("A");
  machine.AddDrive("B");
  Scan(true);
  Publish();
  plugin.m_Adapters.erase(plugin.m_Adapters.begin());  // A is gone, B is number 2
  machine.AddDrive("C");
  machine.tool.Change([](std::vector<FakeDrive>& all) {
    all.erase(all.begin());
    std::swap(all[0], all[1]);  // C is now the first record, B the second
  });
  trace.Clear();
  Scan(false);
  EXPECT_EQ(adapters[0].SerialNumber, "C");
  EXPECT_EQ(adapters[0].AdapterNumber, 1U);
  EXPECT_EQ(adapters[1].AdapterNumber, 2U);
  EXPECT_EQ(trace.Count("The drive is not found yet!"), 1U);
}

TEST_F(ScanTest, OfANewDriveWhoseNumberIsTaken_TakesAnother) {
  machine.AddDrive("A");
  machine.AddDrive("B");
  Scan(true);
  Publish();
  machine.AddDrive("C");
  machine.tool.Change([](std::vector<FakeDrive>& all) { std::swap(all[1], all[2]); });  // A C B
  Scan(false);
  EXPECT_EQ(adapters[1].SerialNumber, "C");
  EXPECT_EQ(adapters[1].AdapterNumber, 3U);
  EXPECT_EQ(adapters[2].AdapterNumber, 2U);
}

TEST_F(ScanTest, ThatCannotReadTheHealth_LeavesItUnknown) {
  trace.SetMask(16);
  const CTorvexAdapter adapter = Adapter([](FakeDrive& drive) {
    drive.healthFails = true;
    drive.warnings = 4;
  });
  EXPECT_FLOAT_EQ(adapter.Temperature, -1.0F);
  EXPECT_EQ(adapter.PowerOnHours, NOT_REPORTED);
  EXPECT_EQ(adapter.DataUnitsRead, NOT_REPORTED);
  EXPECT_EQ(adapter.DataUnitsWritten, NOT_REPORTED);
  EXPECT_EQ(adapter.HealthState, PI::CHOICE_HEALTH_GOOD);
  EXPECT_EQ(adapter.StatusBits, 0U);
  EXPECT_EQ(adapter.ExtraText, "");
  EXPECT_EQ(drives[0].PhysicalSizeMiB, 3'907'029'168UL * 512 >> 20U);  // the inventory's
  EXPECT_FALSE(trace.Has("ScanSystem, ReserveSpace = 100"));
}

// The warnings of the first log are read when the second one fails.
TEST_F(ScanTest, ThatFailsHalfWayThroughTheHealth_LeavesNothingOfWhatItHadRead) {
  const CTorvexAdapter adapter = Adapter([](FakeDrive& drive) {
    drive.warnings = 4;
    drive.unreliable = true;
    drive.mediaErrors = "12G";
  });
  EXPECT_EQ(adapter.StatusBits, 0U);
  EXPECT_EQ(adapter.HealthState, PI::CHOICE_HEALTH_GOOD);
  EXPECT_THAT(adapter.HealthReasons, IsEmpty());
  EXPECT_EQ(adapter.LifeState, CTorvexAdapter().LifeState);
  EXPECT_EQ(drives[0].HealthState, PI::CHOICE_DRIVE_WORKING);
}

TEST_F(ScanTest, OfACounterThatIsNoNumber_LeavesTheHealthUnknownAndGoesOn) {
  machine.AddDrive("A");
  machine.AddDrive("B");
  machine.tool.Change([](std::vector<FakeDrive>& all) { all[0].unitsRead = "12G"; });
  EXPECT_EQ(Scan(true), 0UL);
  EXPECT_FLOAT_EQ(adapters[0].Temperature, -1.0F);
  EXPECT_FLOAT_EQ(adapters[1].Temperature, 30.0F);
}

struct WarningCase {
  const char* name;
  std::function<void(FakeDrive&)> change;
  std::vector<int> reasons;
  unsigned int health;
};

// Short, so that a case of the table stays a line.
namespace WarningNames {
constexpr int SPARE = PI::CHOICE_REASON_SPARE;
constexpr int TEMPERATURE = PI::CHOICE_REASON_TEMPERATURE;
constexpr int RELIABILITY = PI::CHOICE_REASON_RELIABILITY;
constexpr int READ_ONLY = PI::CHOICE_REASON_READ_ONLY;
constexpr int BACKUP = PI::CHOICE_REASON_BACKUP;
constexpr unsigned int GOOD = PI::CHOICE_HEALTH_GOOD;
constexpr unsigned int DEGRADED = PI::CHOICE_HEALTH_DEGRADED;
constexpr unsigned int CRITICAL = PI::CHOICE_HEALTH_CRITICAL;
}  // namespace WarningNames

TEST_F(ScanTest, Warnings_GiveReasonsInOrderAndTheHealth) {
  using namespace WarningNames;
  const std::vector<WarningCase> cases = {
      {"spare", [](FakeDrive& d) { d.warnings = 1, d.spareLow = true; }, {SPARE}, DEGRADED},
      {"temperature", [](FakeDrive& d) { d.warnings = 2; }, {TEMPERATURE}, DEGRADED},
      {"warm by the word", [](FakeDrive& d) { d.warnings = 0x20; }, {TEMPERATURE}, DEGRADED},
      {"hot by the word", [](FakeDrive& d) { d.warnings = 0x40; }, {TEMPERATURE}, DEGRADED},
      {"at the shut-down limit by the word",
       [](FakeDrive& d) { d.warnings = 0x80; },
       {TEMPERATURE},
       DEGRADED},
      {"above the limit by the word",
       [](FakeDrive& d) { d.warnings = 0x200; },
       {TEMPERATURE},
       DEGRADED},
      {"not yet warm", [](FakeDrive& d) { d.temperature = 77; }, {}, GOOD},
      {"warm", [](FakeDrive& d) { d.temperature = 78; }, {TEMPERATURE}, DEGRADED},
      {"hot", [](FakeDrive& d) { d.temperature = 80; }, {TEMPERATURE}, DEGRADED},
      {"unreliable",
       [](FakeDrive& d) { d.warnings = 4, d.unreliable = true; },
       {RELIABILITY},
       CRITICAL},
      {"read only", [](FakeDrive& d) { d.warnings = 8, d.readOnly = true; }, {READ_ONLY}, CRITICAL},
      {"backup", [](FakeDrive& d) { d.warnings = 16, d.backupFailed = true; }, {BACKUP}, CRITICAL},
      {"no indicator", [](FakeDrive& d) { d.warnings = 0x100; }, {}, GOOD},
      {"indicator without the word", [](FakeDrive& d) { d.readOnly = true; }, {}, GOOD},
      {"all",
       [](FakeDrive& d) {
         d.warnings = 0x1F;
         d.spareLow = d.unreliable = d.readOnly = d.backupFailed = true;
       },
       {SPARE, TEMPERATURE, RELIABILITY, READ_ONLY, BACKUP},
       CRITICAL},
      {"worn", [](FakeDrive& d) { d.ea = 99; }, {}, DEGRADED},
      {"worn and unreliable",
       [](FakeDrive& d) { d.ea = 50, d.warnings = 4, d.unreliable = true; },
       {RELIABILITY},
       CRITICAL},
  };
  machine.AddDrive("SERIAL");
  FakeDrive plain;
  machine.tool.Change([&plain](std::vector<FakeDrive>& all) { plain = all.front(); });
  for (const WarningCase& each : cases) {
    machine.tool.Change([&](std::vector<FakeDrive>& all) {
      all.front() = plain;
      each.change(all.front());
    });
    Scan(true);
    EXPECT_EQ(adapters.at(0).HealthReasons, each.reasons) << each.name;
    EXPECT_EQ(adapters.at(0).HealthState, each.health) << each.name;
    EXPECT_EQ(drives.at(0).HealthState, each.health == PI::CHOICE_HEALTH_CRITICAL
                                            ? PI::CHOICE_HEALTH_CRITICAL
                                            : PI::CHOICE_DRIVE_WORKING)
        << each.name;
  }
}

TEST_F(ScanTest, LifeState_FollowsTheRemainingLife) {
  EXPECT_EQ(Adapter([](FakeDrive& drive) { drive.ea = 100; }).LifeState, PI::CHOICE_LIFE_AS_NEW);
  EXPECT_EQ(Adapter([](FakeDrive& drive) { drive.ea = 101; }).LifeState, PI::CHOICE_LIFE_ABOVE_NEW);
  EXPECT_EQ(adapters[0].StatusWord2, 101UL);
  EXPECT_EQ(Adapter([](FakeDrive& drive) { drive.ea = 99; }).LifeState, PI::CHOICE_LIFE_BELOW_NEW);
  EXPECT_EQ(adapters[0].StatusWord2, 99UL);
  EXPECT_EQ(Adapter([](FakeDrive& drive) { drive.backupFailed = true; }).LifeState,
            PI::CHOICE_LIFE_ABOVE_NEW);
}

TEST_F(ScanTest, StatusWords_HoldTheRemainingLifeAndTheMediaErrors) {
  const CTorvexAdapter adapter =
      Adapter([](FakeDrive& drive) { drive.ea = 99, drive.mediaErrors = "1F"; });
  EXPECT_EQ(adapter.StatusWord2, 99UL);
  EXPECT_EQ(adapter.StatusWord3, 31UL);
}

TEST_F(ScanTest, OddPercentages_StayInTheirBounds) {
  const CTorvexAdapter adapter = Adapter([](FakeDrive& drive) {
    drive.percentageUsed = 101;
    drive.spare = -1;
    drive.spareThreshold = -7;
  });
  EXPECT_EQ(adapter.PercentageUsed, 101U);
  EXPECT_EQ(adapter.ReserveSpace, 0U);
  EXPECT_EQ(adapter.WarningThreshold, 0U);
  // Worn out today, not in some other millennium.
  int year = 0;
  int month = 0;
  int day = 0;
  TLXX::CSystemTime::Lx_GetDate(TLX::Misc::now(), year, month, day);
  EXPECT_EQ(adapter.ExtraText.substr(0, 4), std::to_string(year));
}

TEST_F(ScanTest, EndOfLife_IsADateOrNothing) {
  EXPECT_THAT(Adapter([](FakeDrive& drive) {
                drive.percentageUsed = 50;
                drive.hours = "2238";  // 8760
              }).ExtraText,
              testing::MatchesRegex("[0-9]{4}-[0-9]{2}-[0-9]{2}"));
  EXPECT_EQ(Adapter([](FakeDrive& drive) {
              drive.percentageUsed = 0;
              drive.hours = "0";
              drive.unitsWritten = "0";
            }).ExtraText,
            "");
}

// The day, by the plug-in's clock, after so many hours.
std::string DayIn(unsigned long hours) {
  const auto end = static_cast<std::time_t>(TLX::Misc::now() / 1000 + hours * 3600);
  std::tm day{};
  gmtime_r(&end, &day);
  char text[16];
  std::strftime(text, sizeof text, "%Y-%m-%d", &day);
  return text;
}

TEST_F(ScanTest, EndOfLife_IsWhatHoursShareAndBytesLead) {
  struct Case {
    const char* hours;    // hexadecimal
    int used;             // percent
    const char* written;  // hexadecimal, units of 512000 bytes
    unsigned long remaining;
  };
  // The model is rated at 2050 TB: 400390625 (17DD 79E1) units are a tenth of that.
  const std::vector<Case> cases = {
      {"2238", 50, "0", 8760},                // as long again
      {"2238", 80, "0", 2190},                // a quarter of it
      {"2238", 100, "0", 0},                  // today
      {"2238", 0, "17DD79E1", 9 * 8760},      // nine tenths of the rating are left
      {"2238", 50, "17DD79E1", 8760},         // the shorter counts
      {"2238", 50, "FFFFFFFFFFFFFFFF", 8760}  // the bytes are not reported
  };
  for (const Case& each : cases) {
    const std::string before = DayIn(each.remaining);
    const std::string date = Adapter([&each](FakeDrive& drive) {
                               drive.hours = each.hours;
                               drive.percentageUsed = each.used;
                               drive.unitsWritten = each.written;
                             }).ExtraText;
    EXPECT_THAT(date, testing::AnyOf(before, DayIn(each.remaining))) << each.remaining;
  }
}

TEST_F(ScanTest, EndOfLife_OfHoursThatAreNotReported_IsUnknown) {
  const CTorvexAdapter adapter = Adapter([](FakeDrive& drive) {
    drive.hours = "FFFFFFFFFFFFFFFF";
    drive.percentageUsed = 50;
  });
  EXPECT_EQ(adapter.PowerOnHours, NOT_REPORTED);
  EXPECT_EQ(adapter.ExtraText, "");
}

TEST_F(ScanTest, HugeCounters_DoNotOverflow) {
  const CTorvexAdapter adapter = Adapter([](FakeDrive& drive) {
    drive.unitsWritten = "FFFFFFFFFFFFFFFE";
    drive.hours = "FFFFFFFFFFFFFFFE";
    drive.percentageUsed = 1;
  });
  EXPECT_EQ(adapter.DataUnitsWritten, ~0UL - 1);
  EXPECT_LE(adapter.ExtraText.size(), 10U);
}

TEST_F(ScanTest, UnknownModels_HaveTheRatingOne) {
  EXPECT_EQ(Adapter([](FakeDrive& drive) { drive.model = "INTEL SSDPE2XX999"; }).EnduranceRating,
            1UL);
  EXPECT_GT(Adapter([](FakeDrive& drive) { drive.model = "INTEL SSDPE2KX020T8"; }).EnduranceRating,
            1UL);
}

TEST_F(ScanTest, Rating_IsThatOfTheFirstPatternOfTheTable) {
  const auto& table = PI::GetLifeTimeDataNVMe();
  const auto& first = table.front();
  const auto& last = table.back();
  ASSERT_NE(first.second, last.second);
  EXPECT_EQ(Adapter([&](FakeDrive& drive) { drive.model = "INTEL " + last.first; }).EnduranceRating,
            last.second);
  EXPECT_EQ(Adapter([&](FakeDrive& drive) {
              drive.model = "INTEL " + last.first + first.first;
            }).EnduranceRating,
            first.second);
}

TEST_F(ScanTest, UsablePercent_HasThreeSources) {
  const auto percent = [this](unsigned long maximum, unsigned long native, unsigned long capacity) {
    return Drive([=](FakeDrive& drive) {
             drive.maximumLba = maximum;
             drive.nativeMaxLba = native;
             drive.capacity = capacity;
           })
        .UsablePercent;
  };
  EXPECT_EQ(percent(800, 1000, 1UL << 30U), 80UL);
  EXPECT_EQ(percent(1UL << 20U, 0, 1UL << 30U), 50UL);  // 512 MiB of 1024
  EXPECT_EQ(percent(1UL << 20U, 0, 0), 100UL);
  EXPECT_EQ(percent(1UL << 63U, 1UL << 63U, 1UL << 30U), 100UL);
}

TEST_F(ScanTest, OfDrivesBehindEitherVolumeController_YieldsNothing) {
  machine.AddManagedDrive("ONE", "0x201d");
  machine.AddManagedDrive("OTHER", "0x28c0");
  machine.AddManagedDrive("PLAIN BRIDGE", "0x2030");
  Scan(true);
  ASSERT_EQ(adapters.size(), 1U);
  EXPECT_EQ(adapters[0].SerialNumber, "PLAIN BRIDGE");
}

// The largest block address counts as it is, without one more for the first.
TEST_F(ScanTest, Sizes_AreTheLargestAddressTimesTheSectorSize) {
  for (const auto& [maximum, mebibytes] : {std::pair{2047UL, 0UL}, std::pair{2048UL, 1UL}}) {
    const CTorvexPhysicalDrive drive = Drive([lba = maximum](FakeDrive& each) {
      each.sectorSize = 512;
      each.maximumLba = each.nativeMaxLba = lba;
      each.capacity = 0;
    });
    EXPECT_EQ(drive.UsableSizeMiB, mebibytes);
    EXPECT_EQ(drive.PhysicalSizeMiB, mebibytes);
    EXPECT_EQ(drive.UsablePercent, 100UL);
  }
}

TEST_F(ScanTest, DriveName_OfAModelWithoutABlank_KeepsAllOfIt) {
  NAMESPACE_piTorvex::CCmdEmuAdapter record;
  record.ModelNumber = "SSDPE2KX";
  record.ProductFamily = "Family";
  plugin.m_ToolRecords = {record};
  EXPECT_EQ(plugin.ScanSystem(adapters, drives, true), 0UL);
  EXPECT_EQ(drives.at(0).Name, "Family, SSDPE2KX");
}

TEST_F(ScanTest, PhysicalSize_IsTheInventorysWhenNoCapacityIsTold) {
  const CTorvexPhysicalDrive drive = Drive([](FakeDrive& each) {
    each.nativeMaxLba = 1UL << 22U;
    each.capacity = 0;
  });
  EXPECT_EQ(drive.PhysicalSizeMiB, 2048UL);
  EXPECT_EQ(drive.PhysicalSizeMiB2, 2048UL);
}

TEST_F(ScanTest, DriveName_CutsTheSeriesAndTheVendor) {
  const auto name = [this](const std::string& family, const std::string& model) {
    return Drive([&](FakeDrive& drive) { drive.family = family, drive.model = model; }).Name;
  };
  EXPECT_EQ(name("Intel SSD DC P4600 Series X", "INTEL SSDPE2KE016T7 B"),
            "Intel SSD DC P4600, SSDPE2KE016T7 B");
  EXPECT_EQ(name("Some Family", "INTEL SSDPE2KE016T7"), "Some Family, SSDPE2KE016T7");
  EXPECT_EQ(name("", "INTEL SSDPE2KE016T7"), ", SSDPE2KE016T7");
}

// The inventory serves none such, but the scan must not trip over it.
TEST_F(ScanTest, DriveName_OfAModelWithoutABlank_KeepsItWhole) {
  machine.AddDrive("SERIAL");
  plugin.GetAdaptersInfo();
  for (const char* model : {"SSDPE2KE016T7", "", "INTEL "}) {
    plugin.m_ToolRecords[0].ModelNumber = model;
    plugin.ScanSystem(adapters, drives, true);
    const std::string kept = std::string(model) == "INTEL " ? "" : model;
    EXPECT_EQ(drives[0].Name, "Intel SSD DC P4510, " + kept);
  }
}

TEST_F(ScanTest, DriverVersion_IsTheModulesIfItHasOne) {
  EXPECT_EQ(Adapter([](FakeDrive&) {}).DriverVersion, "");
  machine.sysfs.File("module/nvme/version", "1.0\n");
  EXPECT_EQ(Adapter([](FakeDrive&) {}).DriverVersion, "1.0");
}

TEST_F(ScanTest, DriverVersion_OfAModuleWithoutOne_IsTheToolsIfItTellsBothNumbers) {
  const auto version = [this](const std::string& major, const std::string& minor) {
    NAMESPACE_piTorvex::CCmdEmuAdapter record;
    record.DriverMajorVersion = major;
    record.DriverMinorVersion = minor;
    plugin.m_ToolRecords = {record};
    EXPECT_EQ(plugin.ScanSystem(adapters, drives, true), 0UL);
    return adapters.at(0).DriverVersion;
  };
  EXPECT_EQ(version("4", "2"), "4.2");
  EXPECT_EQ(version(std::string(1, '\0'), "\n"), std::string("\0.\n", 3));
  EXPECT_EQ(version("4", ""), "");
  EXPECT_EQ(version("", "2"), "");
  machine.sysfs.File("module/nvme/version", "1.0\n");
  EXPECT_EQ(version("4", "2"), "1.0");
}

TEST_F(ScanTest, WithANumberedHostRecord_NamesTheAdapter) {
  PI::CAdapterID id;
  id.m_Identification = {0, 1, 0, 0};
  plugin.m_HostAdapterIDs.push_back(id);  // not numbered
  EXPECT_EQ(Adapter([](FakeDrive&) {}).Name, "");
  id.m_HostNumber = 5;
  plugin.m_HostAdapterIDs.push_back(id);
  EXPECT_EQ(Adapter([](FakeDrive&) {}).Name, "Intel PCIe Device Adapter (SERIAL)");
}

TEST_F(ScanTest, WithoutTheirPlaces_AllTakeTheHostRecordOfZeros) {
  PI::CAdapterID id;  // 0, 0, 0, 0
  id.m_HostNumber = 5;
  plugin.m_HostAdapterIDs.push_back(id);
  machine.AddDrive("A");
  machine.AddDrive("B");
  machine.AddDrive("C");
  machine.tool.Change([](std::vector<FakeDrive>& all) {
    all[0].devicePath = "/dev/lost";
    all[2].devicePath = "";
  });
  Scan(true);
  EXPECT_EQ(adapters[0].Name, "Intel PCIe Device Adapter (A)");
  EXPECT_EQ(adapters[1].Name, "");
  EXPECT_EQ(adapters[2].Name, "Intel PCIe Device Adapter (C)");
  EXPECT_NE(adapters[0].GlobalAdapterNumber, adapters[2].GlobalAdapterNumber);
}

TEST_F(ScanTest, GlobalNumber_StaysTheSame) {
  const unsigned int first = Adapter([](FakeDrive&) {}).GlobalAdapterNumber;
  EXPECT_EQ(Adapter([](FakeDrive&) {}).GlobalAdapterNumber, first);
}

TEST_F(ScanTest, GlobalNumbers_GrowByNewSerialNumbersOnly) {
  const auto known = [] {
    const std::lock_guard<std::mutex> guard(PI::AllHostsAdaptersUniqueIDsMtx);
    return PI::AllHostsAdaptersUniqueIDs.size();
  };
  machine.AddDrive("NEVER-SEEN-A");
  machine.AddDrive("NEVER-SEEN-B");
  const std::size_t before = known();
  Scan(true);
  EXPECT_EQ(known(), before + 2);
  Scan(true);
  Scan(false);
  EXPECT_EQ(known(), before + 2);
}

TEST_F(ScanTest, WithoutItsCallback_Throws) {
  machine.AddDrive("SERIAL");
  frametest::CInspection::RecordCallback(plugin).clear();
  try {
    Scan(true);
    FAIL() << "nothing was thrown";
  } catch (const std::exception& error) {
    EXPECT_STREQ(error.what(), "call to empty boost::function");
  }
  EXPECT_EQ(machine.tool.CountCalls("-torvex 0"), 0U);  // it comes before the health query
}

TEST_F(ScanTest, WithAStopRequest_EndsWithoutAResult) {
  machine.AddDrive("A");
  Scan(true);
  plugin.m_StopRequest.Init(true, true);
  machine.tool.ClearCalls();
  EXPECT_EQ(Scan(false), PI::ERR_GENERAL_FAILURE);
  EXPECT_THAT(machine.tool.Calls(), ElementsAre("show -all -o json -torvex"));
  EXPECT_EQ(Scan(true), 0UL);  // start-up does not look at it
}

TEST_F(ScanTest, Trace_TellsTheStepsAndTheValues) {
  machine.AddDrive("SERIAL");
  plugin.GetAdaptersInfo();
  drives.resize(3);
  trace.SetMask(16 | 2);
  plugin.ScanSystem(adapters, drives, true);
  std::vector<std::string> texts;
  for (const vxtest::TraceLine& line : trace.Lines()) {
    if (line.function == "ScanSystem") texts.push_back(line.text);
  }
  EXPECT_THAT(texts,
              ElementsAre("ENTER ScanSystem(1) PhyDrive=3", "ScanSystem, AdapterCount = 1",
                          "ScanSystem, DataUnitsRead = 500", "ScanSystem, DataUnitsWritten = 2",
                          "ScanSystem, PowerOnHours = 100", "ScanSystem, ReserveSpace = 100",
                          "ScanSystem, WarningThreshold = 10", "ScanSystem, PhysicalSize = 1907729",
                          "LEAVE ScanSystem() -> 0"));
}

}  // namespace
