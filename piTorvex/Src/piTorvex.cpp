#include "piTorvex.h"

#include <algorithm>
#include <array>
#include <new>
#include <string>
#include <utility>

#include <DB/DatabaseException.h>
#include <TLX/Language_Support/LanguageSupport.h>
#include <TLX/Threading/Cancellation.h>
#include <TLX/Threading/TracedGuard.h>

namespace NAMESPACE_piTorvex {

// The module's identity: built in this order when the library is loaded, destroyed in reverse.
namespace NLS {
TLX::Language_Support::CLanguageSupport::CLngFile m_LngFile(
    "piTorvex.nls", 'e' * 256U + 'n', "utf-8", 1,
    {"General error in piTorvex plugin", "No information available for this error"}, 2);
}  // namespace NLS

TLX::Language_Support::CLanguageSupport::ERROR_MSG_LIST ErrorMsgList{{0x21350001U, 0, 0, 0}};

TLX::Misc::CModuleInfo TLX_MODULE_INFO_piTorvex(TLX::Misc::MODULE_piTorvex, "piTorvex",
                                                "P:7.22.0 F:7.22.0", &NLS::m_LngFile,
                                                &ErrorMsgList);

namespace {

using TLX::Threading::CTracedGuard;

// One command of Execute.
struct CCommand {
  bool m_NeedsData;
  unsigned int (*m_Run)(IPLUGINAPI_IMPL& plugin, unsigned long objectId, void* data);
  void (*m_Clear)(void* data);  // empties the output after a failure; null: nothing to empty
};

template <class Element>
std::vector<Element>& ListIn(void* data) {
  return *static_cast<std::vector<Element>*>(data);
}

template <class Element>
void ClearList(void* data) {
  ListIn<Element>(data).clear();
}

PI::CProperty& PropertyIn(void* data) {
  return *static_cast<PI::CProperty*>(data);
}

PI::COperation& OperationIn(void* data) {
  return *static_cast<PI::COperation*>(data);
}

// Command 1 first, without gaps.
constexpr auto COMMANDS = std::to_array<CCommand>({
    {true,
     [](IPLUGINAPI_IMPL& plugin, unsigned long, void* data) {
       return plugin.Initialize(ListIn<PI::CAdapterID>(data));
     },
     &ClearList<PI::CAdapterID>},
    {true,
     [](IPLUGINAPI_IMPL& plugin, unsigned long, void* data) {
       return plugin.SetAdapterIDs(ListIn<PI::CAdapterID>(data));
     },
     nullptr},
    {false, [](IPLUGINAPI_IMPL& plugin, unsigned long, void*) { return plugin.DeInitialize(); },
     nullptr},
    {true,
     [](IPLUGINAPI_IMPL& plugin, unsigned long, void* data) {
       return plugin.GetTopology(ListIn<PI::CObject>(data));
     },
     &ClearList<PI::CObject>},
    {true,
     [](IPLUGINAPI_IMPL& plugin, unsigned long id, void* data) {
       return plugin.GetProperties(id, ListIn<PI::CProperty>(data));
     },
     &ClearList<PI::CProperty>},
    {true,
     [](IPLUGINAPI_IMPL& plugin, unsigned long id, void* data) {
       return plugin.GetProperty(id, PropertyIn(data));
     },
     nullptr},
    {true,
     [](IPLUGINAPI_IMPL& plugin, unsigned long id, void* data) {
       return plugin.SetProperty(id, PropertyIn(data));
     },
     nullptr},
    {true,
     [](IPLUGINAPI_IMPL& plugin, unsigned long id, void* data) {
       return plugin.GetOperations(id, ListIn<PI::COperation>(data));
     },
     &ClearList<PI::COperation>},
    {true,
     [](IPLUGINAPI_IMPL& plugin, unsigned long id, void* data) {
       return plugin.CheckOperation(id, OperationIn(data));
     },
     nullptr},
    {true,
     [](IPLUGINAPI_IMPL& plugin, unsigned long id, void* data) {
       return plugin.ExecuteOperation(id, OperationIn(data));
     },
     nullptr},
});
static_assert(COMMANDS.size() == PI::COMMAND_EXECUTE_OPERATION);

// Nothing but a cancellation of the calling thread passes.
unsigned int Run(const CCommand& command, IPLUGINAPI_IMPL& plugin, unsigned long objectId,
                 void* data) {
  unsigned int result = ERR_GENERAL_FAILURE;
  TLX::Threading::Guarded(
      [&] { result = command.m_Run(plugin, objectId, data); },
      [](const char* what) { TraceStopped(CTracer(TraceSource::FRAME, "Execute"), what); });
  return result;
}

}  // namespace

unsigned int IPLUGINAPI_IMPL::Execute(PI::_COMMAND command, unsigned long objectId, void* data) {
  const unsigned int index = static_cast<unsigned int>(command) - 1U;
  if (index >= COMMANDS.size()) return ERR_UNKNOWN_COMMAND;
  const CCommand& row = COMMANDS[index];
  if (row.m_NeedsData && data == nullptr) return ERR_GENERAL_FAILURE;
  const unsigned int result = Run(row, *this, objectId, data);
  if (result != SUCCESS && row.m_Clear != nullptr) row.m_Clear(data);
  return result;
}

// --- Routing

CFoundObject IPLUGINAPI_IMPL::Find(unsigned long objectId) {
  const auto hasId = [objectId](const PI::CObject& object) { return object.m_ID == objectId; };
  CFoundObject found;
  if (hasId(m_Plugin)) {
    found.m_Plugin = &m_Plugin;
    return found;
  }
  const auto adapter = std::find_if(m_Adapters.begin(), m_Adapters.end(), hasId);
  if (adapter != m_Adapters.end()) {
    found.m_Adapter = &*adapter;
    return found;
  }
  const auto drive = std::find_if(m_PhysicalDrives.begin(), m_PhysicalDrives.end(), hasId);
  if (drive != m_PhysicalDrives.end()) found.m_Drive = &*drive;
  return found;
}

template <class Result, class... Args>
unsigned int IPLUGINAPI_IMPL::Route(const CFoundObject& found,
                                    Result (IPLUGINAPI_IMPL::*onPlugin)(CTorvexPlugin&, Args...),
                                    Result (IPLUGINAPI_IMPL::*onAdapter)(CTorvexAdapter&, Args...),
                                    Result (IPLUGINAPI_IMPL::*onDrive)(CTorvexPhysicalDrive&,
                                                                       Args...),
                                    std::type_identity_t<Args>... args) {
  Result result = ERR_OBJECT_NOT_FOUND;
  if (found.m_Plugin != nullptr) {
    result = (this->*onPlugin)(*found.m_Plugin, args...);
  } else if (found.m_Adapter != nullptr) {
    result = (this->*onAdapter)(*found.m_Adapter, args...);
  } else if (found.m_Drive != nullptr) {
    result = (this->*onDrive)(*found.m_Drive, args...);
  }
  return static_cast<unsigned int>(result);
}

unsigned int IPLUGINAPI_IMPL::GetProperties(unsigned long objectId,
                                            std::vector<PI::CProperty>& out) {
  const CTracer trace(TraceSource::FRAME);
  const CTracedGuard guard(trace, m_DataLock, "m_DataLock");
  const CFoundObject found = Find(objectId);
  if (found.m_Plugin == nullptr) {
    trace.Detail("GetProperties() Adapter = %d", m_Adapters.size());
    if (found.m_Adapter == nullptr) {
      trace.Detail("GetProperties() PhysicalDrives = %d", m_PhysicalDrives.size());
    }
  }
  return Route(found, &IPLUGINAPI_IMPL::GetPluginProperties, &IPLUGINAPI_IMPL::GetAdapterProperties,
               &IPLUGINAPI_IMPL::GetPhysicalDriveProperties, out, PI::PROPERTY_ALL);
}

unsigned int IPLUGINAPI_IMPL::GetProperty(unsigned long objectId, PI::CProperty& property) {
  const CTracer trace(TraceSource::FRAME);
  const CTracedGuard guard(trace, m_DataLock, "m_DataLock");
  const CFoundObject found = Find(objectId);
  if (found.m_Plugin == nullptr) {
    trace.Detail("GetProperty() Adapter = %d", m_Adapters.size());
    if (found.m_Adapter == nullptr) {
      trace.Detail("GetProperty() PhysicalDrives = %d", m_PhysicalDrives.size());
    }
  }
  std::vector<PI::CProperty> properties;
  const unsigned int result =
      Route(found, &IPLUGINAPI_IMPL::GetPluginProperties, &IPLUGINAPI_IMPL::GetAdapterProperties,
            &IPLUGINAPI_IMPL::GetPhysicalDriveProperties, properties, property.m_PropertyID);
  PI::CObject* const object = found.Object();
  if (object == nullptr) return result;
  ++object->m_ReadCounter;  // a read counts whatever it gave
  if (result != SUCCESS) return result;
  if (properties.empty()) return ERR_GENERAL_FAILURE;
  property = std::move(properties.front());  // a copy might fail half-way
  return SUCCESS;
}

unsigned int IPLUGINAPI_IMPL::SetProperty(unsigned long objectId, PI::CProperty& property) {
  const CTracer trace(TraceSource::FRAME);
  const CTracedGuard guard(trace, m_DataLock, "m_DataLock");
  return Route(Find(objectId), &IPLUGINAPI_IMPL::SetPluginProperty,
               &IPLUGINAPI_IMPL::SetAdapterProperty, &IPLUGINAPI_IMPL::SetPhysicalDriveProperty,
               property);
}

// The exit line begins with ENTER as well: readers of traces look for that word.
unsigned int IPLUGINAPI_IMPL::GetOperations(unsigned long objectId,
                                            std::vector<PI::COperation>& out) {
  const CTracer trace(TraceSource::FRAME);
  trace.Tool("ENTER GetOperations object=0x%x", objectId);
  const CTracedGuard guard(trace, m_DataLock, "m_DataLock");
  const unsigned int result = Route(Find(objectId), &IPLUGINAPI_IMPL::GetPluginOperations,
                                    &IPLUGINAPI_IMPL::GetAdapterOperations,
                                    &IPLUGINAPI_IMPL::GetPhysicalDriveOperations, out);
  trace.Tool("ENTER GetOperations ret=%d", result);
  return result;
}

unsigned int IPLUGINAPI_IMPL::CheckOperation(unsigned long objectId, PI::COperation& operation) {
  const CTracer trace(TraceSource::FRAME);
  trace.Locks("ENTER CheckOperation operation=%d", operation.OperationID());
  const CTracedGuard guard(trace, m_DataLock, "m_DataLock");
  const unsigned int result = Route(Find(objectId), &IPLUGINAPI_IMPL::CheckPluginOperation,
                                    &IPLUGINAPI_IMPL::CheckAdapterOperation,
                                    &IPLUGINAPI_IMPL::CheckPhysicalDriveOperation, operation);
  trace.Locks("LEAVE CheckOperation(%d)", result);
  return result;
}

unsigned int IPLUGINAPI_IMPL::ExecuteOperation(unsigned long objectId, PI::COperation& operation) {
  const CTracer trace(TraceSource::FRAME);
  const CTracedGuard guard(trace, m_DataLock, "m_DataLock");
  return Route(Find(objectId), &IPLUGINAPI_IMPL::ExecutePluginOperation,
               &IPLUGINAPI_IMPL::ExecuteAdapterOperation,
               &IPLUGINAPI_IMPL::ExecutePhysicalDriveOperation, operation);
}

// --- Database

DatabaseORM::storage_t& IPLUGINAPI_IMPL::Storage() const {
  if (m_Database == nullptr) {
    throw DBEXCEPTION::DatabaseException("The host has no database.");
  }
  return m_Database->Storage();
}

}  // namespace NAMESPACE_piTorvex

// --- The two exported functions

extern "C" VX_EXPORT unsigned int createIf(IPLUGINAPI** out) {
  using namespace NAMESPACE_piTorvex;
  if (out == nullptr) return ERR_OUT_OF_MEMORY;
  *out = nullptr;
  const auto create = [out] {
    // The constructor reads files and asks for the database, so that it may throw.
    *out = new (std::nothrow) IPLUGINAPI_IMPL;
    if (*out != nullptr) (*out)->m_ModuleID = TLX_MODULE_INFO_piTorvex.Id();
  };
  TLX::Threading::Guarded(create, [](const char* what) {
    TraceStopped(CTracer(TraceSource::FRAME, "createIf"), what);
  });
  return *out != nullptr ? SUCCESS : ERR_OUT_OF_MEMORY;
}

extern "C" VX_EXPORT void releaseIf(IPLUGINAPI** in) {
  if (in == nullptr) return;
  delete *in;
  *in = nullptr;
}
