#include "support/Scale.h"

#include <ctime>
#include <limits>
#include <random>

#include <gtest/gtest.h>

#include <TLXX/SystemTime.h>

namespace {

struct Date {
  int year = 0;
  int month = 0;
  int day = 0;
  bool operator==(const Date&) const = default;
};

Date Of(unsigned long milliseconds) {
  Date date;
  TLXX::CSystemTime::Lx_GetDate(milliseconds, date.year, date.month, date.day);
  return date;
}

TEST(SystemTimeTest, GetDate_OfKnownMoments) {
  EXPECT_EQ(Of(0), (Date{1970, 1, 1}));
  EXPECT_EQ(Of(86'399'999), (Date{1970, 1, 1}));
  EXPECT_EQ(Of(86'400'000), (Date{1970, 1, 2}));
  EXPECT_EQ(Of(951'782'400'000), (Date{2000, 2, 29}));
  EXPECT_EQ(Of(4'107'542'399'999), (Date{2100, 2, 28}));
  EXPECT_EQ(Of(4'107'542'400'000), (Date{2100, 3, 1}));
  EXPECT_EQ(Of(253'402'300'799'999), (Date{9999, 12, 31}));
  EXPECT_EQ(Of(253'402'300'800'000), (Date{10000, 1, 1}));
}

TEST(SystemTimeTest, GetDate_IgnoresTheTimeZone) {
  ASSERT_EQ(setenv("TZ", "Pacific/Kiritimati", 1), 0);
  tzset();
  EXPECT_EQ(Of(86'399'999), (Date{1970, 1, 1}));
  unsetenv("TZ");
  tzset();
}

TEST(SystemTimeTest, GetDate_AgreesWithTheCLibraryOverTheWholeRange) {
  std::mt19937_64 random(20240229);
  const int rounds = vxtest::Count(20'000, 2'000'000);
  for (int round = 0; round <= rounds; ++round) {
    const unsigned long moment = round == 0 ? std::numeric_limits<unsigned long>::max()
                                            : random() >> (static_cast<unsigned>(round) % 30U);
    const auto seconds = static_cast<std::time_t>(moment / 1000);
    std::tm parts{};
    ASSERT_NE(gmtime_r(&seconds, &parts), nullptr);
    ASSERT_EQ(Of(moment), (Date{parts.tm_year + 1900, parts.tm_mon + 1, parts.tm_mday})) << moment;
  }
}

}  // namespace
