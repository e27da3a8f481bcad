#pragma once

#include <string>

#include <PI/Catalogue.h>
#include <TLX/Export.h>

namespace PI {

// One thing that happened to one object. The plug-in queues it and calls m_NotifyHost; the host
// fetches it, once, with the event operation and makes its text from the id, the name and the two
// placeholders. From then on it is the host's; the plug-in keeps none.
//
// A value type: copies share nothing, and the object it names may be gone by the time it is read.
// The special members are compiled in the library, so that host and plug-ins share one virtual
// table. Nothing throws but for lack of memory. [one thread at a time]
class VX_EXPORT CEvent {
 public:
  // An event without id, object and time: for lists only.
  CEvent();
  // The fields in their order below; placeholders empty. Takes every number as it is.
  CEvent(unsigned int id, unsigned int severity, unsigned long objectId, unsigned long time,
         const std::string& name);
  CEvent(const CEvent&);
  CEvent& operator=(const CEvent&);
  virtual ~CEvent();

  // What the host puts in place of the first and second gap of the event's text: UTF-8, no escapes,
  // any length. Each call replaces the text before.
  void SetPlaceHolder1(const std::string& text);
  void SetPlaceHolder2(const std::string& text);

  // Which text of the host's catalogue describes it.
  unsigned int m_EventID = 0;
  // One of the SEVERITY_ values: nothing to do, act before it gets worse, act now.
  unsigned int m_Severity = 0;
  // CObject::m_ID of the object it is about; EVENT_OBJECT_ADAPTERS when an adapter came or went,
  // because the one that went has no object any more.
  unsigned long m_ObjectID = 0;
  // Milliseconds since 1970-01-01 00:00 UTC on the clock of TLX::Misc::now(), which time scaling
  // moves; when the difference was seen, which may be a poll interval after it came about.
  unsigned long m_Time = 0;
  // Display name of the object at that time; what the first placeholder repeats for most events.
  std::string m_Name;
  // Empty where the event's text has no such gap.
  std::string m_PlaceHolder1;
  std::string m_PlaceHolder2;
};

}  // namespace PI
