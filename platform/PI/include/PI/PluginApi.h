#pragma once

#include <PI/AdapterID.h>
#include <PI/CETR.h>
#include <PI/Codes.h>
#include <PI/Event.h>
#include <PI/Object.h>
#include <PI/Operation.h>
#include <PI/Property.h>
#include <TLX/Delegates_and_Calls/Delegate.h>
#include <TLX/Export.h>

// The door between host and plug-in. A plug-in exports createIf and releaseIf and nothing else.
class VX_EXPORT IPLUGINAPI {
 public:
  // What data points to, by command:
  //   1 Initialize        std::vector<PI::CAdapterID>, output
  //   2 SetAdapterIDs     const std::vector<PI::CAdapterID>, input
  //   3 DeInitialize      not used
  //   4 GetTopology       std::vector<PI::CObject>, output
  //   5 GetProperties     std::vector<PI::CProperty>, output
  //   6 GetProperty       PI::CProperty, id in, value out
  //   7 SetProperty       PI::CProperty, input
  //   8 GetOperations     std::vector<PI::COperation>, output
  //   9 CheckOperation    PI::COperation
  //  10 ExecuteOperation  PI::COperation
  // objectId matters from 5 on. Returns 0 or a code in the 20000 range. Nothing but
  // TLX::Threading::CCancelled leaves it, and that on a thread that has been cancelled alone. The
  // host owns what data points to; the plug-in keeps no pointer into it. [host request thread]
  [[nodiscard]] virtual unsigned int Execute(PI::_COMMAND command, unsigned long objectId,
                                             void* data) = 0;
  virtual ~IPLUGINAPI();

  unsigned int m_InterfaceVersion = PI::INTERFACE_VERSION;
  unsigned int m_ModuleID = 0;

  // Called by the plug-in with itself when there is something to fetch; empty until the host sets
  // it, between createIf and command 1. Called on a thread of the plug-in, with no lock held, so
  // that it may call Execute (commands 4 to 10; calling 3 from it is an error of the host). Must
  // not throw.
  TLX::Delegates_and_Calls::CDelegate<void(IPLUGINAPI*)> m_NotifyHost;
};

// createIf: makes the one interface object and stores it, or null and a code; the host owns it
// until it gives it to releaseIf, which destroys it and stores null. Command 3 must have returned
// before that.
using CreateIfFunction = unsigned int (*)(IPLUGINAPI** out);
using ReleaseIfFunction = void (*)(IPLUGINAPI** in);
