#include "Core/Options.h"

#include "Core/Text.h"

#include <algorithm>
#include <limits>
#include <string>

#include <PI/Catalogue.h>

namespace NAMESPACE_piTorvex {
namespace {

constexpr unsigned int DEFAULT_POLL_INTERVAL = 30;         // seconds
constexpr unsigned long DEFAULT_REFRESH_INTERVAL = 30000;  // milliseconds
// The doubled syllable belongs to the key: options files in use spell it so.
constexpr const char* REFRESH_INTERVAL_KEY = "IntelPCIeTopologologyRefreshRate";

template <class Number>
Number ReadNumber(const PI::CConfigFile& file, const char* key, Number byDefault) {
  std::string text;
  if (file.ReadKeyValue(key, text, -1, -1) != PI::SUCCESS) return byDefault;
  const boost::optional<unsigned long> number = ParseNumber(text, std::dec);
  if (!number || *number > std::numeric_limits<Number>::max()) return byDefault;
  return static_cast<Number>(*number);
}

}  // namespace

unsigned int ClampPollInterval(unsigned long seconds) {
  return static_cast<unsigned int>(
      std::clamp<unsigned long>(seconds, LOWEST_POLL_INTERVAL, HIGHEST_POLL_INTERVAL));
}

unsigned int ReadPollInterval(const PI::CConfigFile& file) {
  return ClampPollInterval(ReadNumber(file, POLL_INTERVAL_KEY, DEFAULT_POLL_INTERVAL));
}

unsigned long ReadRefreshInterval(const PI::CConfigFile& file) {
  return ReadNumber(file, REFRESH_INTERVAL_KEY, DEFAULT_REFRESH_INTERVAL);
}

}  // namespace NAMESPACE_piTorvex
