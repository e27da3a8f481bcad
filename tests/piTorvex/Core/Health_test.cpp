#include "Core/Health.h"

#include "Core/PhysicalDrive.h"

#include <limits>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <PI/PluginHelper.h>

namespace {

using NAMESPACE_piTorvex::AddTemperatureWarnings;
using NAMESPACE_piTorvex::CCmdEmuGetlog;
using NAMESPACE_piTorvex::CopyStatus;
using NAMESPACE_piTorvex::CopyWear;
using NAMESPACE_piTorvex::CTorvexAdapter;
using NAMESPACE_piTorvex::DriveStateOf;
using NAMESPACE_piTorvex::EndOfLifeDate;
using NAMESPACE_piTorvex::EnduranceOf;
using testing::ElementsAre;
using testing::IsEmpty;

// --- Temperature

unsigned int BitsAt(int temperature, int offset = 0, unsigned int before = 0) {
  CCmdEmuGetlog log;
  log.CurrentTemperature = temperature;
  log.TemperatureOffset = offset;
  log.CriticalWarnings = before;
  AddTemperatureWarnings(log);
  return log.CriticalWarnings;
}

constexpr unsigned int WARNING = PI::WARNING_TEMPERATURE_WARNING;
constexpr unsigned int HIGH = PI::WARNING_TEMPERATURE_HIGH | PI::WARNING_TEMPERATURE_ABOVE_LIMIT;
constexpr unsigned int SHUTDOWN =
    PI::WARNING_TEMPERATURE_SHUTDOWN | PI::WARNING_TEMPERATURE_ABOVE_LIMIT;

TEST(TemperatureBits, ChangeAt78And80And84Degrees) {
  EXPECT_EQ(BitsAt(77), 0U);
  EXPECT_EQ(BitsAt(78), WARNING);
  EXPECT_EQ(BitsAt(79), WARNING);
  EXPECT_EQ(BitsAt(80), HIGH);
  EXPECT_EQ(BitsAt(83), HIGH);
  EXPECT_EQ(BitsAt(84), SHUTDOWN);
  EXPECT_EQ(BitsAt(std::numeric_limits<int>::max()), SHUTDOWN);
  EXPECT_EQ(BitsAt(std::numeric_limits<int>::min()), 0U);
}

TEST(TemperatureBits, GoByTheTemperatureLessItsOffset) {
  EXPECT_EQ(BitsAt(80, 3), 0U);
  EXPECT_EQ(BitsAt(80, 2), WARNING);
  EXPECT_EQ(BitsAt(80, -4), SHUTDOWN);
}

TEST(TemperatureBits, OfADifferenceBeyondAnInteger_AreThoseOfItsLow32Bits) {
  EXPECT_EQ(BitsAt(std::numeric_limits<int>::max(), -1), 0U);
  EXPECT_EQ(BitsAt(std::numeric_limits<int>::min(), 1), SHUTDOWN);
}

TEST(TemperatureBits, AreAddedAndNeverCleared) {
  EXPECT_EQ(BitsAt(20, 0, PI::WARNING_TEMPERATURE_SHUTDOWN | PI::WARNING_SPARE_LOW),
            PI::WARNING_TEMPERATURE_SHUTDOWN | PI::WARNING_SPARE_LOW);
  EXPECT_EQ(BitsAt(78, 0, PI::WARNING_READ_ONLY), WARNING | PI::WARNING_READ_ONLY);
}

// --- Health and its reasons

CTorvexAdapter Judged(const CCmdEmuGetlog& log) {
  CTorvexAdapter adapter;
  CopyStatus(log, adapter);
  return adapter;
}

TEST(Judgement, WithoutAWarning_IsGood) {
  const CTorvexAdapter adapter = Judged({});
  EXPECT_EQ(adapter.StatusBits, 0U);
  EXPECT_EQ(adapter.HealthState, PI::CHOICE_HEALTH_GOOD);
  EXPECT_THAT(adapter.HealthReasons, IsEmpty());
  EXPECT_EQ(adapter.LifeState, PI::CHOICE_LIFE_AS_NEW);
  EXPECT_EQ(adapter.StatusWord2, 100UL);
}

TEST(Judgement, OfLittleSpare_IsDegraded) {
  CCmdEmuGetlog log;
  log.CriticalWarnings = PI::WARNING_SPARE_LOW;
  log.SpareBelowThreshold = true;
  EXPECT_EQ(Judged(log).HealthState, PI::CHOICE_HEALTH_DEGRADED);
  EXPECT_THAT(Judged(log).HealthReasons, ElementsAre(PI::CHOICE_REASON_SPARE));
}

TEST(Judgement, OfEachTemperatureBit_IsDegraded) {
  for (const unsigned int bit :
       {PI::WARNING_TEMPERATURE, PI::WARNING_TEMPERATURE_WARNING, PI::WARNING_TEMPERATURE_HIGH,
        PI::WARNING_TEMPERATURE_SHUTDOWN, PI::WARNING_TEMPERATURE_ABOVE_LIMIT}) {
    CCmdEmuGetlog log;
    log.CriticalWarnings = bit;
    EXPECT_EQ(Judged(log).HealthState, PI::CHOICE_HEALTH_DEGRADED) << bit;
    EXPECT_THAT(Judged(log).HealthReasons, ElementsAre(PI::CHOICE_REASON_TEMPERATURE)) << bit;
  }
}

TEST(Judgement, OfABitThatIsNoTemperature_NamesNoTemperature) {
  for (const unsigned int bit : {PI::WARNING_SPARE_LOW, PI::WARNING_RELIABILITY,
                                 PI::WARNING_READ_ONLY, PI::WARNING_BACKUP_FAILED}) {
    CCmdEmuGetlog log;
    log.CriticalWarnings = bit;
    EXPECT_THAT(Judged(log).HealthReasons, IsEmpty()) << bit;
    EXPECT_EQ(Judged(log).HealthState, PI::CHOICE_HEALTH_GOOD) << bit;
  }
}

TEST(Judgement, OfReliabilityReadOnlyAndBackup_IsCritical) {
  const std::pair<bool CCmdEmuGetlog::*, int> cases[] = {
      {&CCmdEmuGetlog::ReliabilityDegraded, PI::CHOICE_REASON_RELIABILITY},
      {&CCmdEmuGetlog::ReadOnlyMode, PI::CHOICE_REASON_READ_ONLY},
      {&CCmdEmuGetlog::VolatileBackupFailed, PI::CHOICE_REASON_BACKUP},
  };
  for (const auto& [flag, reason] : cases) {
    CCmdEmuGetlog log;
    log.CriticalWarnings = PI::WARNING_RELIABILITY;  // any bit: the flags say which
    log.*flag = true;
    EXPECT_EQ(Judged(log).HealthState, PI::CHOICE_HEALTH_CRITICAL) << reason;
    EXPECT_THAT(Judged(log).HealthReasons, ElementsAre(reason));
  }
}

CCmdEmuGetlog AllWarnings() {
  CCmdEmuGetlog log;
  log.CriticalWarnings = ~0U;
  log.SpareBelowThreshold = true;
  log.ReliabilityDegraded = true;
  log.ReadOnlyMode = true;
  log.VolatileBackupFailed = true;
  return log;
}

TEST(Judgement, OfAllWarnings_NamesThemInOrderAndIsCritical) {
  const CTorvexAdapter adapter = Judged(AllWarnings());
  EXPECT_EQ(adapter.HealthState, PI::CHOICE_HEALTH_CRITICAL);
  EXPECT_THAT(adapter.HealthReasons,
              ElementsAre(PI::CHOICE_REASON_SPARE, PI::CHOICE_REASON_TEMPERATURE,
                          PI::CHOICE_REASON_RELIABILITY, PI::CHOICE_REASON_READ_ONLY,
                          PI::CHOICE_REASON_BACKUP));
}

TEST(Judgement, OfFlagsWithoutTheWarningWord_IsGood) {
  CCmdEmuGetlog log = AllWarnings();
  log.CriticalWarnings = 0;
  EXPECT_EQ(Judged(log).HealthState, PI::CHOICE_HEALTH_GOOD);
  EXPECT_THAT(Judged(log).HealthReasons, IsEmpty());
}

CTorvexAdapter WithLife(unsigned long percent, bool backupFailed = false) {
  CCmdEmuGetlog log;
  log.NormalizedEA = percent;
  log.VolatileBackupFailed = backupFailed;
  return Judged(log);
}

TEST(Judgement, OfALifeBelow100Percent_IsDegradedWithoutAReason) {
  for (const unsigned long percent : {0UL, 1UL, 99UL}) {
    EXPECT_EQ(WithLife(percent).HealthState, PI::CHOICE_HEALTH_DEGRADED) << percent;
    EXPECT_THAT(WithLife(percent).HealthReasons, IsEmpty()) << percent;
  }
  for (const unsigned long percent : {100UL, 101UL, ~0UL}) {
    EXPECT_EQ(WithLife(percent).HealthState, PI::CHOICE_HEALTH_GOOD) << percent;
  }
}

TEST(Judgement, ThatIsCritical_IsNotMadeBetterByTheLife) {
  CCmdEmuGetlog log = AllWarnings();
  log.NormalizedEA = 5;
  EXPECT_EQ(Judged(log).HealthState, PI::CHOICE_HEALTH_CRITICAL);
}

TEST(LifeState, TellsAsNewAboveAndBelow) {
  EXPECT_EQ(WithLife(100).LifeState, PI::CHOICE_LIFE_AS_NEW);
  EXPECT_EQ(WithLife(101).LifeState, PI::CHOICE_LIFE_ABOVE_NEW);
  EXPECT_EQ(WithLife(99).LifeState, PI::CHOICE_LIFE_BELOW_NEW);
  EXPECT_EQ(WithLife(0).LifeState, PI::CHOICE_LIFE_BELOW_NEW);
  EXPECT_EQ(WithLife(99).StatusWord2, 99UL);
}

TEST(LifeState, WithAFailedBackup_IsTheNextChoiceBelow100Alone) {
  EXPECT_EQ(WithLife(99, true).LifeState, PI::CHOICE_LIFE_ABOVE_NEW);
  EXPECT_EQ(WithLife(100, true).LifeState, PI::CHOICE_LIFE_AS_NEW);
  EXPECT_EQ(WithLife(101, true).LifeState, PI::CHOICE_LIFE_ABOVE_NEW);
}

TEST(DriveState, IsCriticalBehindACriticalAdapterAlone) {
  CTorvexAdapter adapter;
  EXPECT_EQ(DriveStateOf(adapter), PI::CHOICE_DRIVE_WORKING);
  adapter.HealthState = PI::CHOICE_HEALTH_DEGRADED;
  EXPECT_EQ(DriveStateOf(adapter), PI::CHOICE_DRIVE_WORKING);
  adapter.HealthState = PI::CHOICE_HEALTH_CRITICAL;
  EXPECT_EQ(DriveStateOf(adapter), PI::CHOICE_HEALTH_CRITICAL);
}

// --- Wear

TEST(Wear, IsCopiedAsReported) {
  CCmdEmuGetlog log;
  log.PercentageUsed = 120;
  log.MediaErrors = 2;
  log.CurrentTemperature = 45;
  log.DataUnitsRead = 3;
  log.DataUnitsWritten = 4;
  log.PowerOnHours = 5;
  log.AvailableSpare = 60;
  log.AvailableSpareThreshold = 7;
  CTorvexAdapter adapter;
  CopyWear(log, adapter);
  EXPECT_EQ(adapter.PercentageUsed, 120U);
  EXPECT_EQ(adapter.StatusWord3, 2UL);
  EXPECT_EQ(adapter.Temperature, 45.0F);
  EXPECT_EQ(adapter.DataUnitsRead, 3UL);
  EXPECT_EQ(adapter.DataUnitsWritten, 4UL);
  EXPECT_EQ(adapter.PowerOnHours, 5UL);
  EXPECT_EQ(adapter.ReserveSpace, 60U);
  EXPECT_EQ(adapter.WarningThreshold, 7U);
}

TEST(Wear, PercentagesBelow0_Are0) {
  CCmdEmuGetlog log;
  log.PercentageUsed = log.AvailableSpare = log.AvailableSpareThreshold = -1;
  CTorvexAdapter adapter;
  CopyWear(log, adapter);
  EXPECT_EQ(adapter.PercentageUsed, 0U);
  EXPECT_EQ(adapter.ReserveSpace, 0U);
  EXPECT_EQ(adapter.WarningThreshold, 0U);
}

// What raises events is the scan's: a log pass that wrote it would hide the difference.
TEST(Wear, LeavesWhatIsJudgedAlone) {
  CTorvexAdapter adapter;
  CCmdEmuGetlog log = AllWarnings();
  log.NormalizedEA = 5;
  CopyWear(log, adapter);
  const CTorvexAdapter fresh;
  EXPECT_EQ(adapter.StatusBits, fresh.StatusBits);
  EXPECT_EQ(adapter.StatusWord2, fresh.StatusWord2);
  EXPECT_EQ(adapter.HealthState, fresh.HealthState);
  EXPECT_EQ(adapter.HealthReasons, fresh.HealthReasons);
  EXPECT_EQ(adapter.LifeState, fresh.LifeState);
}

// --- End of life

constexpr unsigned long NOW = 1'600'000'000'000;  // 2020-09-13 12:26:40 UTC
constexpr unsigned long UNKNOWN_RATING = 1;

CTorvexAdapter Worn(unsigned long hours, unsigned int percentageUsed, unsigned long unitsWritten,
                    unsigned long rating = UNKNOWN_RATING) {
  CTorvexAdapter adapter;
  adapter.PowerOnHours = hours;
  adapter.PercentageUsed = percentageUsed;
  adapter.DataUnitsWritten = unitsWritten;
  adapter.EnduranceRating = rating;
  return adapter;
}

TEST(EndOfLife, IsExtrapolatedFromTheShareUsed) {
  EXPECT_EQ(EndOfLifeDate(Worn(24, 50, 0), NOW), "2020-09-14");
  EXPECT_EQ(EndOfLifeDate(Worn(24, 25, 0), NOW), "2020-09-16");
  EXPECT_EQ(EndOfLifeDate(Worn(24, 100, 0), NOW), "2020-09-13");
  EXPECT_EQ(EndOfLifeDate(Worn(24, 250, 0), NOW), "2020-09-13");  // no life left is no life left
}

TEST(EndOfLife, IsTheShorterOfShareAndBytes) {
  // 500,000 units are 256 GB, the 4000th part of the rating: 3999 days are left.
  EXPECT_EQ(EndOfLifeDate(Worn(24, 0, 500'000, 1024), NOW), "2031-08-26");
  EXPECT_EQ(EndOfLifeDate(Worn(24, 50, 500'000, 1024), NOW), "2020-09-14");
}

TEST(EndOfLife, OfWhatNobodyReported_IsEmpty) {
  EXPECT_EQ(EndOfLifeDate(CTorvexAdapter(), NOW), "");
  EXPECT_EQ(EndOfLifeDate(Worn(0, 50, 0), NOW), "");
  EXPECT_EQ(EndOfLifeDate(Worn(24, 0, 0), NOW), "");
  EXPECT_EQ(EndOfLifeDate(Worn(24, 0, NAMESPACE_piTorvex::NOT_REPORTED, 10), NOW), "");
  EXPECT_EQ(EndOfLifeDate(Worn(NAMESPACE_piTorvex::NOT_REPORTED, 50, 500, 10), NOW), "");
}

// 512000 bytes a unit: from 2^64 / 512000 units on, more bytes than can be counted.
TEST(EndOfLife, OfMoreBytesThanCanBeCounted_IsADate) {
  constexpr unsigned long FIRST_BEYOND = ~0UL / 512000 + 1;
  EXPECT_EQ(EndOfLifeDate(Worn(24, 0, FIRST_BEYOND - 1, 10), NOW), "2020-09-13");
  EXPECT_EQ(EndOfLifeDate(Worn(24, 0, FIRST_BEYOND, 10), NOW), "2020-09-13");
  EXPECT_EQ(EndOfLifeDate(Worn(24, 0, NAMESPACE_piTorvex::NOT_REPORTED - 1, 10), NOW),
            "2020-09-13");
}

TEST(EndOfLife, NeverLeavesYear9999) {
  EXPECT_EQ(EndOfLifeDate(Worn(~0UL - 1, 1, 0), NOW), "9020-11-05");  // 7000 years at most
  EXPECT_EQ(EndOfLifeDate(Worn(~0UL - 1, 1, 0), ~0UL), "9999-12-31");
}

// --- Endurance

TEST(Endurance, OfAModelThatNobodyKnows_IsOne) {
  EXPECT_EQ(EnduranceOf(""), 1UL);
  EXPECT_EQ(EnduranceOf("NO SUCH MODEL"), 1UL);
}

TEST(Endurance, IsFoundAnywhereInTheModel) {
  const auto& [pattern, rating] = PI::GetLifeTimeDataNVMe().front();
  EXPECT_EQ(EnduranceOf(pattern), rating);
  EXPECT_EQ(EnduranceOf("INTEL " + pattern + "X"), rating);
}

}  // namespace
