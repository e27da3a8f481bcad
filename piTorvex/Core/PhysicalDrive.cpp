#include "Core/PhysicalDrive.h"

#include "Core/Adapter.h"

#include <TLX/Misc/Clock.h>

namespace NAMESPACE_piTorvex {

void CTorvexPhysicalDrive::Update(const CTorvexPhysicalDrive& newer, const CTorvexAdapter& owner,
                                  std::vector<PI::CEvent>& events) {
  if (newer.SectorSize != SectorSize || newer.HealthState != HealthState) {
    PI::CEvent event(PI::EVENT_DRIVE_CHANGED, PI::SEVERITY_INFORMATION, m_ID, TLX::Misc::now(),
                     Name);
    event.SetPlaceHolder1(owner.Name);
    event.SetPlaceHolder2(Name);
    events.push_back(event);
  }
  ++m_ReadCounter;
}

bool CTorvexPhysicalDrive::SameAs(const CTorvexPhysicalDrive& other) const {
  return PI::CObject::operator==(other) && CDriveValues::operator==(other);
}

}  // namespace NAMESPACE_piTorvex
