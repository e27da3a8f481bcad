#pragma once

#include "Core/Adapter.h"
#include "Core/ToolRecords.h"

// The judgement of a drive's health: from what the logs report to what the adapter shows. Pure
// functions. [any thread]
namespace NAMESPACE_piTorvex {

// Adds the plug-in's own temperature bits to the warning word; never clears one.
void AddTemperatureWarnings(CCmdEmuGetlog& log);

// Takes over the values that a log pass may write into a published adapter: those that raise no
// event.
void CopyWear(const CCmdEmuGetlog& log, CTorvexAdapter& adapter);

// Takes over the values whose change raises events, and judges them: warning word, state of the
// life time, health and its reasons. Only a scan may call it, or a bit that a log pass had written
// would never be seen to become set. The reasons of the adapter must be empty.
void CopyStatus(const CCmdEmuGetlog& log, CTorvexAdapter& adapter);

// The rated endurance of a model in terabytes written; 1 when it is not known.
[[nodiscard]] unsigned long EnduranceOf(const std::string& modelNumber);

// The day on which the drive will be worn out, year-month-day; empty when nothing can be said. now:
// milliseconds since the epoch.
[[nodiscard]] std::string EndOfLifeDate(const CTorvexAdapter& adapter, unsigned long now);

// The state of a drive behind the adapter, a choice.
[[nodiscard]] unsigned int DriveStateOf(const CTorvexAdapter& adapter);

}  // namespace NAMESPACE_piTorvex
