#include <chrono>

#include <TLXX/SystemTime.h>

namespace TLXX {

namespace {

constexpr unsigned long MILLISECONDS_A_DAY = 86'400'000;

// The calendar repeats itself every 400 years. Dates are looked up within the first such period:
// the years of <chrono> end long before an unsigned long of milliseconds does.
constexpr int PERIOD_YEARS = 400;
constexpr unsigned long PERIOD_DAYS = 146'097;

}  // namespace

void CSystemTime::Lx_GetDate(unsigned long milliseconds, int& year, int& month, int& day) {
  const unsigned long days = milliseconds / MILLISECONDS_A_DAY;
  const std::chrono::days inPeriod(static_cast<int>(days % PERIOD_DAYS));
  const std::chrono::year_month_day date{std::chrono::sys_days(inPeriod)};
  year = static_cast<int>(date.year()) + PERIOD_YEARS * static_cast<int>(days / PERIOD_DAYS);
  month = static_cast<int>(static_cast<unsigned int>(date.month()));
  day = static_cast<int>(static_cast<unsigned int>(date.day()));
}

}  // namespace TLXX
