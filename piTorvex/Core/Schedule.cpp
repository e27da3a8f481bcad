#include "Core/Schedule.h"

#include <TLX/Threading/Results.h>

namespace NAMESPACE_piTorvex {
namespace {

// Results of the waiter, by the order in which the worker's events were added to it.
constexpr unsigned int SIGNAL_FORCE = 1;
constexpr unsigned int SIGNAL_PRIVATE = 3;

}  // namespace

EWakeUp WakeUpOf(unsigned int waiterResult) {
  switch (waiterResult) {
    case TLX::Threading::WAIT_TIMED_OUT:
      return EWakeUp::Timeout;
    case SIGNAL_FORCE:
      return EWakeUp::Force;
    case SIGNAL_PRIVATE:
      return EWakeUp::Private;
    default:
      return EWakeUp::Stop;
  }
}

void CSchedule::Wake(EWakeUp wakeUp, unsigned long now, unsigned long refreshInterval) {
  if (wakeUp == EWakeUp::Force || now - m_LastScan > refreshInterval) m_IsScanDue = true;
}

void CSchedule::Scanned(unsigned long now) {
  m_IsScanDue = false;
  m_LastScan = now;
}

}  // namespace NAMESPACE_piTorvex
