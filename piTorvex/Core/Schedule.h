#pragma once

namespace NAMESPACE_piTorvex {

// What wakes the worker.
enum class EWakeUp {
  Timeout,  // its interval has passed
  Force,    // somebody asks for a full scan
  Private,  // somebody asks it to release the object locks and to notify the host
  Stop,     // it is to end; also when waiting failed
};

// The wake-up that a waiter's result stands for. [any thread]
[[nodiscard]] EWakeUp WakeUpOf(unsigned int waiterResult);

// When the worker scans. Times are of the clock, in milliseconds. Knows no clock, no lock and no
// tool. One thread at a time.
class CSchedule {
 public:
  static constexpr unsigned int FIRST_INTERVAL = 100;  // milliseconds, until the first wake-up

  // The first wake-up scans, whenever it comes.
  explicit CSchedule(unsigned long now) : m_LastScan(now) {}

  // A wake-up by time-out or force: a scan becomes due by force, or when more than the refresh
  // interval has passed since the last one.
  void Wake(EWakeUp wakeUp, unsigned long now, unsigned long refreshInterval);

  // A log pass has found that a scan is needed.
  void RequestScan() { m_IsScanDue = true; }

  [[nodiscard]] bool IsScanDue() const { return m_IsScanDue; }

  // A scan has ended, well or not: a tool that always fails is not run more often than the
  // intervals say.
  void Scanned(unsigned long now);

 private:
  bool m_IsScanDue = true;
  unsigned long m_LastScan;
};

}  // namespace NAMESPACE_piTorvex
