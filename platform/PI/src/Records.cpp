// The special members of the records live here and nowhere else, so that host and plug-in share one
// virtual table and one type per record, and so that no user of the headers compiles them again.

#include <PI/AdapterID.h>
#include <PI/CETR.h>
#include <PI/Event.h>
#include <PI/Object.h>
#include <PI/Operation.h>
#include <PI/PluginApi.h>

namespace PI {

CObject::CObject() = default;
CObject::CObject(const CObject&) = default;
CObject& CObject::operator=(const CObject&) = default;
CObject::CObject(CObject&&) noexcept = default;
CObject& CObject::operator=(CObject&&) noexcept = default;
CObject::~CObject() = default;

bool CObject::operator==(const CObject& other) const {
  return m_ID == other.m_ID && m_Type == other.m_Type && m_Unused == other.m_Unused;
}

COperation::COperation() = default;
COperation::COperation(const COperation&) = default;
COperation& COperation::operator=(const COperation&) = default;
COperation::~COperation() = default;

CEvent::CEvent() = default;
CEvent::CEvent(unsigned int id, unsigned int severity, unsigned long objectId, unsigned long time,
               const std::string& name)
    : m_EventID(id), m_Severity(severity), m_ObjectID(objectId), m_Time(time), m_Name(name) {}
CEvent::CEvent(const CEvent&) = default;
CEvent& CEvent::operator=(const CEvent&) = default;
CEvent::~CEvent() = default;

void CEvent::SetPlaceHolder1(const std::string& text) {
  m_PlaceHolder1 = text;
}
void CEvent::SetPlaceHolder2(const std::string& text) {
  m_PlaceHolder2 = text;
}

CAdapterID::CAdapterID() = default;
CAdapterID::CAdapterID(const CAdapterID&) = default;
CAdapterID& CAdapterID::operator=(const CAdapterID&) = default;
CAdapterID::~CAdapterID() = default;

CETR::CETR() = default;
CETR::CETR(const CETR&) = default;
CETR& CETR::operator=(const CETR&) = default;
CETR::~CETR() = default;

}  // namespace PI

IPLUGINAPI::~IPLUGINAPI() = default;
