#include "ToolWatch.h"

#include "DriveTool.h"
#include "Output.h"
#include "TextTable.h"

#include <algorithm>
#include <chrono>
#include <new>

#include <Facts/Tool.h>
#include <fmt/format.h>

#include <TLX/Misc/Clock.h>
#include <TLXX/System.h>

namespace vxhost {

namespace {

// A command that failed and was not tried again for so long belongs to a drive that is gone: longer
// than three polls at the slowest setting.
constexpr unsigned long FORGET_AFTER = 15UL * 60 * 1000;

thread_local std::string t_lastFailure;

// An inventory that cannot be read is an empty machine for the plug-in. Other queries may well be
// answered in words: a drive that was pulled has no log.
std::string InventoryProblem(const std::string& arguments, const std::string& output) {
  if (arguments != Facts::INVENTORY_ARGUMENTS) return {};
  try {
    return AnswerProblem(output);
  } catch (const std::bad_alloc&) {
    return "there is no memory to look at the tool's answer";
  }
}

double Seconds(std::chrono::nanoseconds time) {
  return std::chrono::duration<double>(time).count();
}

}  // namespace

ToolWatch::ToolWatch() {
  TLXX::CSystem::SetRunObserver(
      [this](const std::string& arguments, const std::string& failure, const std::string& output) {
        t_lastFailure = failure.empty() ? InventoryProblem(arguments, output) : failure;
        Note(arguments, t_lastFailure);
      });
}

ToolWatch::~ToolWatch() {
  TLXX::CSystem::SetRunObserver(nullptr);
}

const std::string& ToolWatch::LastFailureOfThisThread() {
  return t_lastFailure;
}

void ToolWatch::Quiet() {
  const std::lock_guard lock(mutex_);
  quiet_ = true;
}

void ToolWatch::Note(const std::string& arguments, const std::string& failure) {
  const std::lock_guard lock(mutex_);
  if (quiet_) return;
  const unsigned long now = TLX::Misc::now();
  const bool failed = !failing_.empty();
  DropOld(now);
  if (failure.empty()) {
    failing_.erase(arguments);
  } else {
    failing_[arguments] = {now, failure};
    ++failures_;
  }
  if (!failed && !failing_.empty()) {
    Say(fmt::format("the drive tool has started to fail: {} ({})", failure, arguments));
  } else if (failed && failing_.empty()) {
    Say(fmt::format("the drive tool works again, after {} failed {}", failures_,
                    failures_ == 1 ? "run" : "runs"));
    failures_ = 0;
  }
}

void ToolWatch::DropOld(unsigned long now) {
  std::erase_if(failing_,
                [&](const auto& entry) { return now - entry.second.since > FORGET_AFTER; });
}

std::string RenderRunStatistics() {
  const auto statistics = TLXX::CSystem::RunStatistics();
  if (statistics.empty()) return {};
  TextTable table({{"command"},
                   {"   runs", true},
                   {" failed", true},
                   {"time-out", true},
                   {"repeated", true},
                   {"   mean s", true},
                   {"longest s", true}});
  for (const auto& [command, counters] : statistics) {
    const double mean =
        Seconds(counters.m_TotalTime) / static_cast<double>(std::max(counters.m_Runs, 1UL));
    table.Add({command, std::to_string(counters.m_Runs), std::to_string(counters.m_Failures),
               std::to_string(counters.m_Timeouts), std::to_string(counters.m_Repeats),
               fmt::format("{:.3f}", mean),
               fmt::format("{:.3f}", Seconds(counters.m_LongestTime))});
  }
  return table.Text();
}

}  // namespace vxhost
