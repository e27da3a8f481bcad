#include "ClockTime.h"
#include "Parker.h"
#include "ThreadState.h"

#include <algorithm>
#include <cmath>
#include <mutex>

#include <TLX/Misc/Clock.h>
#include <TLX/Threading/Cancellation.h>
#include <TLX/Threading/Results.h>

namespace TLX::Internals {
namespace {

using std::chrono::steady_clock;

constexpr double HIGHEST_SCALE = 1e6;

// Trivially destructible, so that it serves the destructors of static objects too.
struct CClockState {
  std::mutex m_Lock;
  steady_clock::time_point m_RealBase = steady_clock::now();
  CClockTime m_Base =
      std::chrono::duration_cast<CClockTime>(std::chrono::system_clock::now().time_since_epoch());
  double m_Scale = 1;

  // Both hold m_Lock.
  CClockTime At(steady_clock::time_point real) const {
    const std::chrono::duration<double, std::micro> elapsed = real - m_RealBase;
    return m_Base + CClockTime(static_cast<CClockTime::rep>(elapsed.count() * m_Scale));
  }
  void Rebase(double scale) {
    const auto real = steady_clock::now();
    m_Base = At(real);
    m_RealBase = real;
    m_Scale = scale;
  }
};

CClockState& State() {
  static CClockState state;
  return state;
}

// The clock starts when the library is loaded, not when somebody first asks.
[[maybe_unused]] const CClockState& g_StartedAtLoad = State();

std::chrono::nanoseconds RealSpan(double microseconds, double scale) {
  constexpr double MOST = 9.2e18;
  return std::chrono::nanoseconds(static_cast<std::chrono::nanoseconds::rep>(
      std::min(MOST, std::ceil(microseconds * 1e3 / scale))));
}

}  // namespace

CClockTime ClockNow() {
  CClockState& state = State();
  const std::lock_guard lock(state.m_Lock);
  return state.At(steady_clock::now());
}

CClockTime ClockAfter(unsigned long milliseconds) {
  const CClockTime present = ClockNow();
  const auto room = static_cast<unsigned long>((NEVER - present).count()) / 1000;
  if (milliseconds >= room) return NEVER;
  return present + std::chrono::milliseconds(milliseconds);
}

CClockTime WaitDeadline(unsigned int milliseconds) {
  return milliseconds == Threading::WAIT_INFINITE ? NEVER : ClockAfter(milliseconds);
}

steady_clock::time_point RealTimeOf(CClockTime point) {
  constexpr std::chrono::hours LOOK_AGAIN(24);
  CClockState& state = State();
  const std::lock_guard lock(state.m_Lock);
  const auto real = steady_clock::now();
  const auto left = static_cast<double>((point - state.At(real)).count());
  if (left <= 0) return real;
  return real + std::min<std::chrono::nanoseconds>(RealSpan(left, state.m_Scale), LOOK_AGAIN);
}

}  // namespace TLX::Internals

namespace TLX::Misc {

unsigned long now() {
  using std::chrono::milliseconds;
  return static_cast<unsigned long>(
      std::chrono::duration_cast<milliseconds>(Internals::ClockNow()).count());
}

void Sleep(unsigned long milliseconds) {
  const Internals::CClockTime end = Internals::ClockAfter(milliseconds);
  {
    Internals::CParker parker;
    while (!Internals::CancellationPending() && Internals::ClockNow() < end) parker.Park(end);
  }
  Threading::CCancellation::Deliver();
}

void CClock::SetTimeScale(double scale) {
  Internals::CClockState& state = Internals::State();
  {
    const std::lock_guard lock(state.m_Lock);
    // Written so that a scale that is not a number counts as 1, too.
    state.Rebase(scale >= 1 ? std::min(scale, Internals::HIGHEST_SCALE) : 1);
  }
  Internals::CParker::UnparkAll();
}

double CClock::TimeScale() {
  Internals::CClockState& state = Internals::State();
  const std::lock_guard lock(state.m_Lock);
  return state.m_Scale;
}

std::chrono::nanoseconds CClock::ToRealTime(unsigned long milliseconds) {
  return Internals::RealSpan(static_cast<double>(milliseconds) * 1e3, TimeScale());
}

}  // namespace TLX::Misc
