#pragma once

#include <PI/ConfigFile.h>

// The two settings of the options files. A value that is missing or no whole number is the default.
// [any thread]
namespace NAMESPACE_piTorvex {

inline constexpr const char* POLL_INTERVAL_KEY = "PollInterval";
inline constexpr unsigned int LOWEST_POLL_INTERVAL = 2;  // seconds
inline constexpr unsigned int HIGHEST_POLL_INTERVAL = 255;

// Seconds between two wake-ups of the worker, within their bounds.
[[nodiscard]] unsigned int ClampPollInterval(unsigned long seconds);

// Seconds between two wake-ups of the worker: 30 by default, within their bounds.
[[nodiscard]] unsigned int ReadPollInterval(const PI::CConfigFile& file);

// Milliseconds after which a scan is due, 30000 by default; 0: on every wake-up.
[[nodiscard]] unsigned long ReadRefreshInterval(const PI::CConfigFile& file);

}  // namespace NAMESPACE_piTorvex
