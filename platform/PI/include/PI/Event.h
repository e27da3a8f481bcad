#pragma once

#include <string>

#include <PI/Catalogue.h>
#include <TLX/Export.h>

namespace PI {

// One thing that happened. A value type.
class VX_EXPORT CEvent {
 public:
  CEvent();
  CEvent(unsigned int id, unsigned int severity, unsigned long objectId, unsigned long time,
         const std::string& name);
  CEvent(const CEvent&);
  CEvent& operator=(const CEvent&);
  virtual ~CEvent();

  void SetPlaceHolder1(const std::string& text);
  void SetPlaceHolder2(const std::string& text);

  unsigned int m_EventID = 0;
  unsigned int m_Severity = 0;
  unsigned long m_ObjectID = 0;
  unsigned long m_Time = 0;  // milliseconds since the epoch
  std::string m_Name;        // display name of the object
  std::string m_PlaceHolder1;
  std::string m_PlaceHolder2;
};

}  // namespace PI
