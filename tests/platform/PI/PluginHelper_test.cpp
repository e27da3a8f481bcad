#include <limits>
#include <set>
#include <string>

#include <gtest/gtest.h>

#include <PI/Catalogue.h>
#include <PI/PluginHelper.h>

namespace {

constexpr unsigned long ALL_ONES = std::numeric_limits<unsigned long>::max();
constexpr unsigned long MOST_HOURS = 61362000;
constexpr unsigned long TERABYTE = 1'000'000'000'000;

// ---- ComputeRemainingLifeTime ----

unsigned long Remaining(unsigned long hours, unsigned long written, unsigned long percent,
                        unsigned long endurance) {
  unsigned long remaining = 4711;
  PI::CPluginHelper::ComputeRemainingLifeTime(hours, written, percent, endurance, remaining);
  return remaining;
}

TEST(RemainingLifeTime, FromPercent_ExtrapolatesTheHoursUsed) {
  EXPECT_EQ(Remaining(1000, 0, 50, 1), 1000UL);
  EXPECT_EQ(Remaining(1000, 0, 90, 1), 9000UL);
  EXPECT_EQ(Remaining(1000, 0, 25, 1), 333UL);
  EXPECT_EQ(Remaining(1000, 0, 0, 1), 0UL);
}

TEST(RemainingLifeTime, FromBytes_ExtrapolatesUpToTheRating) {
  EXPECT_EQ(Remaining(1000, 10 * TERABYTE, 100, 110), 10000UL);
  EXPECT_EQ(Remaining(1000, 300 * TERABYTE, 100, 400), 333UL);
}

TEST(RemainingLifeTime, BothKnown_ShorterCounts) {
  EXPECT_EQ(Remaining(1000, 10 * TERABYTE, 50, 110), 1000UL);
  EXPECT_EQ(Remaining(1000, 100 * TERABYTE, 99, 110), 100UL);
}

TEST(RemainingLifeTime, RatingNotKnown_BytesDoNotCount) {
  for (const unsigned long rating : {0UL, 1UL, ALL_ONES}) {
    EXPECT_EQ(Remaining(1000, 100 * TERABYTE, 50, rating), 1000UL) << rating;
    EXPECT_EQ(Remaining(1000, 100 * TERABYTE, 100, rating), ALL_ONES) << rating;
  }
}

TEST(RemainingLifeTime, RatingUsedUp_IsZero) {
  EXPECT_EQ(Remaining(1000, 7300 * TERABYTE, 80, 7300), 0UL);
  EXPECT_EQ(Remaining(1000, 9000 * TERABYTE, 80, 7300), 0UL);
}

TEST(RemainingLifeTime, NoHours_IsNotKnown) {
  EXPECT_EQ(Remaining(0, 10 * TERABYTE, 50, 110), ALL_ONES);
  EXPECT_EQ(Remaining(0, 10 * TERABYTE, 0, 110), ALL_ONES);
}

TEST(RemainingLifeTime, HoursNotReported_IsNotKnown) {
  EXPECT_EQ(Remaining(ALL_ONES, 10 * TERABYTE, 50, 110), ALL_ONES);
}

TEST(RemainingLifeTime, NothingUsed_IsNotKnown) {
  EXPECT_EQ(Remaining(1000, 0, 100, 110), ALL_ONES);
  EXPECT_EQ(Remaining(1000, 0, 101, 110), ALL_ONES);
}

TEST(RemainingLifeTime, BytesNotReported_PercentCounts) {
  EXPECT_EQ(Remaining(1000, ALL_ONES, 50, 7300), 1000UL);
  EXPECT_EQ(Remaining(1000, ALL_ONES, 100, 7300), ALL_ONES);
}

TEST(RemainingLifeTime, KnownResult_IsBounded) {
  EXPECT_EQ(Remaining(MOST_HOURS, 0, 50, 1), MOST_HOURS);
  EXPECT_EQ(Remaining(MOST_HOURS - 1, 0, 50, 1), MOST_HOURS - 1);
  EXPECT_EQ(Remaining(MOST_HOURS, 0, 99, 1), MOST_HOURS);
  EXPECT_EQ(Remaining(1, 1, 100, 7300), MOST_HOURS);
}

// The largest numbers of every argument, against a plain count of the cases that must hold.
TEST(RemainingLifeTime, ExtremeArguments_StayWithinBounds) {
  const unsigned long values[] = {
      0,   1,        2,         50,         99,           100,          101,
      255, TERABYTE, 1UL << 32, 1UL << 63U, ALL_ONES / 2, ALL_ONES - 1, ALL_ONES};
  for (const unsigned long hours : values) {
    for (const unsigned long written : values) {
      for (const unsigned long percent : values) {
        for (const unsigned long rating : values) {
          const unsigned long remaining = Remaining(hours, written, percent, rating);
          EXPECT_TRUE(remaining <= MOST_HOURS || remaining == ALL_ONES)
              << hours << ' ' << written << ' ' << percent << ' ' << rating << ": " << remaining;
        }
      }
    }
  }
}

TEST(RemainingLifeTime, HugeFactorsWithSmallResult_AreExact) {
  // 2^62 bytes written of a little more than twice that: as long again as before.
  EXPECT_EQ(Remaining(20000, 1UL << 62U, 100, 9223373), 20000UL);
  // The product of hours and bytes left would need more than 128 bits.
  EXPECT_EQ(Remaining(ALL_ONES - 1, ALL_ONES - 1, 100, ALL_ONES - 1), MOST_HOURS);
  // Its lower 128 bits are all zero here.
  EXPECT_EQ(Remaining(1UL << 62U, 4096, 100, 3918941886216158897), MOST_HOURS);
}

// A real drive: 238 TB written and 3 % used after 20000 hours.
TEST(RemainingLifeTime, RatedDrive_AgreesWithItsOwnPercentage) {
  const unsigned long byBytes = Remaining(20000, 238 * TERABYTE, 100, 7300);
  const unsigned long byPercent = Remaining(20000, 0, 97, 1);
  EXPECT_EQ(byBytes, 593445UL);
  EXPECT_EQ(byPercent, 646666UL);
}

// ---- ConvertBytesToOtherUnit ----

struct Converted {
  float number;
  PI::_UNITS unit;
  bool operator==(const Converted&) const = default;
};

std::ostream& operator<<(std::ostream& out, const Converted& value) {
  return out << value.number << " of unit " << value.unit;
}

Converted Convert(unsigned long bytes) {
  Converted result{-1.0F, PI::UNIT_NONE};
  PI::CPluginHelper::ConvertBytesToOtherUnit(bytes, result.number, result.unit);
  return result;
}

TEST(ConvertBytes, GivesNumberBelow1024AndItsUnit) {
  EXPECT_EQ(Convert(0), (Converted{0.0F, PI::UNIT_BYTES}));
  EXPECT_EQ(Convert(1023), (Converted{1023.0F, PI::UNIT_BYTES}));
  EXPECT_EQ(Convert(1024), (Converted{1.0F, PI::UNIT_KIB}));
  EXPECT_EQ(Convert(1536), (Converted{1.5F, PI::UNIT_KIB}));
  EXPECT_EQ(Convert(1UL << 20U), (Converted{1.0F, PI::UNIT_MIB}));
  EXPECT_EQ(Convert(1UL << 30U), (Converted{1.0F, PI::UNIT_GIB}));
  EXPECT_EQ(Convert(1UL << 40U), (Converted{1.0F, PI::UNIT_TIB}));
  EXPECT_EQ(Convert(1UL << 50U), (Converted{1.0F, PI::UNIT_PIB}));
  EXPECT_EQ(Convert(1UL << 60U), (Converted{1.0F, PI::UNIT_EIB}));
}

TEST(ConvertBytes, RoundsUpIntoTheNextUnitRatherThanTo1024) {
  EXPECT_EQ(Convert((1UL << 30U) - 1), (Converted{1.0F, PI::UNIT_GIB}));
  EXPECT_EQ(Convert((1UL << 60U) - 1), (Converted{1.0F, PI::UNIT_EIB}));
}

TEST(ConvertBytes, LargestNumber_IsSixteenExbibytes) {
  EXPECT_EQ(Convert(ALL_ONES), (Converted{16.0F, PI::UNIT_EIB}));
}

// ---- GetLifeTimeDataNVMe ----

// As a scan looks a model up.
unsigned long RatingOf(const std::string& model) {
  for (const auto& [pattern, rating] : PI::GetLifeTimeDataNVMe()) {
    if (model.find(pattern) != std::string::npos) return rating;
  }
  return 1;
}

TEST(LifeTimeData, KnownModels_HaveTheirPublicRating) {
  EXPECT_EQ(RatingOf("INTEL SSDPE2MD400G4"), 7300UL);
  EXPECT_EQ(RatingOf("INTEL SSDPEDMD800G4"), 14600UL);
  EXPECT_EQ(RatingOf("INTEL SSDPEDMD016T4"), 43800UL);
  EXPECT_EQ(RatingOf("INTEL SSDPE2MD020T4"), 62050UL);
  EXPECT_EQ(RatingOf("INTEL SSDPEDME400G4"), 2190UL);
  EXPECT_EQ(RatingOf("INTEL SSDPE2ME016T4"), 8760UL);
  EXPECT_EQ(RatingOf("INTEL SSDPEDME020T4"), 10950UL);
  EXPECT_EQ(RatingOf("INTEL SSDPE2KX010T7"), 1380UL);
  EXPECT_EQ(RatingOf("INTEL SSDPE2KX020T7"), 1890UL);
  EXPECT_EQ(RatingOf("INTEL SSDPE2KX040T7"), 4840UL);
  EXPECT_EQ(RatingOf("INTEL SSDPE2KE016T7"), 8760UL);
  EXPECT_EQ(RatingOf("INTEL SSDPE2KE020T7"), 10950UL);
  EXPECT_EQ(RatingOf("INTEL SSDPE2KE032T7"), 17520UL);
  EXPECT_EQ(RatingOf("INTEL SSDPEDKE040T7"), 21900UL);
  EXPECT_EQ(RatingOf("INTEL SSDPED1K375GA"), 20500UL);
  EXPECT_EQ(RatingOf("INTEL SSDPE21K750GA"), 41000UL);
}

TEST(LifeTimeData, LetterOfAServerVendor_DoesNotMatter) {
  EXPECT_EQ(RatingOf("Dell Express Flash SSDPE2KE016T7T"), 8760UL);
}

TEST(LifeTimeData, UnpublishedModels_AreNotInTheTable) {
  EXPECT_EQ(RatingOf("INTEL SSDPE7KX020T7"), 1UL);
  EXPECT_EQ(RatingOf("INTEL SSDPECME040T4"), 1UL);
  EXPECT_EQ(RatingOf("SAMSUNG MZQLB960HAJR"), 1UL);
  EXPECT_EQ(RatingOf(""), 1UL);
}

TEST(LifeTimeData, EveryRow_IsAKnownRatingAndReachable) {
  const auto& table = PI::GetLifeTimeDataNVMe();
  ASSERT_FALSE(table.empty());
  for (const auto& [pattern, rating] : table) {
    EXPECT_FALSE(pattern.empty());
    EXPECT_GT(rating, 1UL) << pattern;
    EXPECT_LT(rating, 1'000'000UL) << pattern;
    EXPECT_EQ(RatingOf(pattern), rating) << pattern << " is hidden by an earlier row";
  }
}

// ---- PropertyValueToString ----

TEST(ValueTexts, HealthStates_ReadAsWords) {
  EXPECT_EQ(PI::PropertyValueToString(PI::CHOICE_HEALTH_GOOD), "good");
  EXPECT_EQ(PI::PropertyValueToString(PI::CHOICE_HEALTH_DEGRADED), "degraded");
  EXPECT_EQ(PI::PropertyValueToString(PI::CHOICE_HEALTH_CRITICAL), "critical");
  EXPECT_EQ(PI::PropertyValueToString(PI::CHOICE_DRIVE_WORKING), "working");
}

TEST(ValueTexts, EveryCodeThatOccurs_HasItsOwnText) {
  std::set<std::string> texts;
#define PI_NUMBER(name, number, ...) number,
  const int codes[] = {PI_CATALOGUE_CHOICES(PI_NUMBER)};
#undef PI_NUMBER
  for (const int code : codes) {
    EXPECT_NE(PI::PropertyValueToString(code), "") << code;
    texts.insert(PI::PropertyValueToString(code));
  }
  EXPECT_EQ(texts.size(), std::size(codes));
}

TEST(ValueTexts, UnknownCodes_HaveNone) {
  for (const int code : {0, -1, 1, 40023, 40025, 40489, std::numeric_limits<int>::max(),
                         std::numeric_limits<int>::min()}) {
    EXPECT_EQ(PI::PropertyValueToString(code), "") << code;
  }
}

}  // namespace
