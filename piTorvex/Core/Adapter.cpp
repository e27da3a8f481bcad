#include "Core/Adapter.h"

#include "Core/Trace.h"

#include <array>

#include <TLX/Misc/Clock.h>

namespace NAMESPACE_piTorvex {
namespace {

// Bits of the status word that raise an event when they become set, in the order in which they are
// looked at. The bits of the drive's own temperature threshold and of read-only media raise
// nothing.
struct CBitEvent {
  unsigned int m_Bit;
  unsigned int m_EventID;
  unsigned int m_Severity;
};
constexpr auto BIT_EVENTS = std::to_array<CBitEvent>({
    {PI::WARNING_BACKUP_FAILED, PI::EVENT_BACKUP_FAILED, PI::SEVERITY_ERROR},
    {PI::WARNING_RELIABILITY, PI::EVENT_RELIABILITY_DEGRADED, PI::SEVERITY_WARNING},
    {PI::WARNING_TEMPERATURE_HIGH, PI::EVENT_TEMPERATURE_HIGH, PI::SEVERITY_ERROR},
    {PI::WARNING_TEMPERATURE_SHUTDOWN, PI::EVENT_TEMPERATURE_SHUTDOWN, PI::SEVERITY_ERROR},
    {PI::WARNING_TEMPERATURE_WARNING, PI::EVENT_TEMPERATURE_WARNING, PI::SEVERITY_WARNING},
    {PI::WARNING_TEMPERATURE_ABOVE_LIMIT, PI::EVENT_TEMPERATURE_ABOVE_LIMIT, PI::SEVERITY_WARNING},
    {PI::WARNING_SPARE_LOW, PI::EVENT_SPARE_LOW, PI::SEVERITY_ERROR},
});

}  // namespace

void CTorvexAdapter::Update(const CTorvexAdapter& newer, std::vector<PI::CEvent>& events) {
  const CTracer trace(TraceSource::ADAPTER);
  const unsigned long time = TLX::Misc::now();
  const auto raise = [&](unsigned int eventId, unsigned int severity) {
    PI::CEvent event(eventId, severity, m_ID, time, Name);
    event.SetPlaceHolder1(Name);
    events.push_back(event);
  };
  trace.Detail("Update () %x -> %x", StatusBits, newer.StatusBits);
  const unsigned int becameSet = newer.StatusBits & ~StatusBits;
  for (const CBitEvent& row : BIT_EVENTS) {
    if ((becameSet & row.m_Bit) != 0) raise(row.m_EventID, row.m_Severity);
  }
  if (StatusBits != 0 && newer.StatusBits == 0) {
    raise(PI::EVENT_ALL_CLEAR, PI::SEVERITY_INFORMATION);
  }
  ++m_ReadCounter;
}

bool CTorvexAdapter::SameAs(const CTorvexAdapter& other) const {
  return PI::CObject::operator==(other) && CAdapterValues::operator==(other);
}

}  // namespace NAMESPACE_piTorvex
