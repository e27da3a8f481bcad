// The smallest plug-in that behaves: one plug-in object and one adapter object, the machine that
// the host runs on, with its name. Start your own from here; docs/plugin-authors.md goes through
// it.

#include <array>
#include <new>
#include <string>
#include <vector>

#include <sys/utsname.h>

#include <PI/Catalogue.h>
#include <PI/PluginApi.h>
#include <PI/PropertyTable.h>
#include <TLX/Misc/ModuleInfo.h>
#include <TLX/Threading/Cancellation.h>
#include <TLX/Threading/FastMutex.h>

namespace {

// Every plug-in has an id of its own; it is the top 16 bits of its object ids.
constexpr auto MODULE_ID = static_cast<TLX::Misc::Qora_MODULE_IDs>(400);

// The record through which the host identifies the module and switches its trace.
TLX::Misc::CModuleInfo moduleInfo(MODULE_ID, "minimal", "P:1.0.0 F:1.0.0", nullptr, nullptr);

bool ShowHostName(const PI::CObject&, PI::CProperty& property) {
  utsname names{};
  property.SetValue(uname(&names) == 0 ? names.nodename : "unknown");
  return true;
}

bool ShowVendor(const PI::CObject&, PI::CProperty& property) {
  property.SetValue("Example");
  return true;
}

// A text that hosts show under the property's own name: no label, no unit.
constexpr PI::_PROPERTY_DESCRIPTION Text(PI::_PROPERTY_ID id) {
  return {id, 1, 1, 1, 0, PI::KIND_STRING, PI::UNIT_NONE, 1};
}

// One row a property: what the host shows it as, and how it is read from the object.
constexpr auto PROPERTIES = std::to_array<PI::CPropertyRow<PI::CObject>>({
    {Text(PI::PROPERTY_NAME), ShowHostName},
    {Text(PI::PROPERTY_VENDOR), ShowVendor},
});
static_assert(PI::HasUniqueIDs(PROPERTIES));

class MinimalPlugin : public IPLUGINAPI {
 public:
  MinimalPlugin() { lock_.Init(); }

  // Nothing but a cancellation of the calling thread may leave this function.
  unsigned int Execute(PI::_COMMAND command, unsigned long objectId, void* data) override {
    unsigned int result = PI::ERR_GENERAL_FAILURE;
    TLX::Threading::Guarded([&] { result = Dispatch(command, objectId, data); },
                            [](const char*) {});
    return result;
  }

 private:
  unsigned int Dispatch(PI::_COMMAND command, unsigned long objectId, void* data) {
    if (command == PI::COMMAND_DEINITIALIZE) return PI::SUCCESS;  // no thread to stop
    if (command < PI::COMMAND_INITIALIZE || command > PI::COMMAND_EXECUTE_OPERATION) {
      return PI::ERR_UNKNOWN_COMMAND;
    }
    if (data == nullptr) return PI::ERR_GENERAL_FAILURE;
    const TLX::Threading::Native_OS::CFastMutexGuard guard(lock_);
    switch (command) {
      case PI::COMMAND_INITIALIZE:
        return Initialize(*static_cast<std::vector<PI::CAdapterID>*>(data));
      case PI::COMMAND_SET_ADAPTER_IDS:
        return PI::SUCCESS;
      case PI::COMMAND_GET_TOPOLOGY:
        return Topology(*static_cast<std::vector<PI::CObject>*>(data));
      default:
        return OnObject(command, objectId, data);
    }
  }

  unsigned int Initialize(std::vector<PI::CAdapterID>& out) {
    plugin_.m_ID = NextId();
    plugin_.m_Type = PI::OBJECT_TYPE_PLUGIN;
    machine_.m_ID = NextId();
    machine_.m_Type = PI::OBJECT_TYPE_ADAPTER;
    plugin_.m_ChildIDs = {machine_.m_ID};
    machine_.m_ParentIDs = {plugin_.m_ID};
    PI::CAdapterID id;  // the host answers with its number in SetAdapterIDs
    id.m_AdapterIndex = 1;
    out.push_back(id);
    return PI::SUCCESS;
  }

  // The whole tree, plug-in object first, each object with its properties and operations.
  unsigned int Topology(std::vector<PI::CObject>& out) {
    out.assign({plugin_, machine_});
    for (PI::CObject& object : out) object.m_Properties = Properties(object, PI::PROPERTY_ALL);
    return PI::SUCCESS;
  }

  unsigned int OnObject(PI::_COMMAND command, unsigned long objectId, void* data) {
    PI::CObject* const object = Find(objectId);
    switch (command) {
      case PI::COMMAND_GET_PROPERTIES: {
        auto& out = *static_cast<std::vector<PI::CProperty>*>(data);
        out.clear();
        if (object == nullptr) return PI::ERR_OBJECT_NOT_FOUND;
        out = Properties(*object, PI::PROPERTY_ALL);
        return PI::SUCCESS;
      }
      case PI::COMMAND_GET_PROPERTY: {
        if (object == nullptr) return PI::ERR_OBJECT_NOT_FOUND;
        auto& property = *static_cast<PI::CProperty*>(data);
        ++object->m_ReadCounter;
        const auto found = Properties(*object, property.m_PropertyID);
        if (found.empty()) return PI::ERR_GENERAL_FAILURE;
        property = found.front();
        return PI::SUCCESS;
      }
      case PI::COMMAND_GET_OPERATIONS:
        static_cast<std::vector<PI::COperation>*>(data)->clear();
        return object == nullptr ? PI::ERR_OBJECT_NOT_FOUND : PI::SUCCESS;
      case PI::COMMAND_SET_PROPERTY:
        return object == nullptr ? PI::ERR_OBJECT_NOT_FOUND : PI::ERR_PROPERTY_NOT_SETTABLE;
      default:
        return object == nullptr ? PI::ERR_OBJECT_NOT_FOUND : PI::ERR_OPERATION_NOT_SUPPORTED;
    }
  }

  static std::vector<PI::CProperty> Properties(const PI::CObject& object, PI::_PROPERTY_ID wanted) {
    std::vector<PI::CProperty> properties;
    PI::WalkProperties(PROPERTIES, object, wanted, properties);
    return properties;
  }

  PI::CObject* Find(unsigned long id) {
    if (plugin_.m_ID == id) return &plugin_;
    return machine_.m_ID == id ? &machine_ : nullptr;
  }

  unsigned long NextId() { return (static_cast<unsigned long>(MODULE_ID) << 48U) | nextId_++; }

  TLX::Threading::Native_OS::CFastMutex lock_;
  PI::CObject plugin_;
  PI::CObject machine_;
  unsigned long nextId_ = 0;
};

}  // namespace

extern "C" {

VX_EXPORT unsigned int createIf(IPLUGINAPI** out) {
  if (out == nullptr) return PI::ERR_OUT_OF_MEMORY;
  try {
    *out = new (std::nothrow) MinimalPlugin();
  } catch (const std::exception&) {
    *out = nullptr;
  }
  if (*out == nullptr) return PI::ERR_OUT_OF_MEMORY;
  (*out)->m_ModuleID = moduleInfo.Id();
  return PI::SUCCESS;
}

VX_EXPORT void releaseIf(IPLUGINAPI** in) {
  if (in == nullptr) return;
  delete *in;
  *in = nullptr;
}
}
