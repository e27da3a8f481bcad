#include "piTorvex.h"

#include <algorithm>
#include <array>
#include <limits>
#include <locale>
#include <new>
#include <string>
#include <utility>

#include <boost/convert.hpp>
#include <boost/convert/stream.hpp>
#include <boost/format.hpp>
#include <boost/variant.hpp>

#include <DB/DatabaseException.h>
#include <TLX/Threading/Cancellation.h>

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

constexpr const char* TRACE_FILE = "piTorvex/Src/piTorvex";

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
  TLX::Threading::Guarded([&] { result = command.m_Run(plugin, objectId, data); },
                          [](const char* what) { TraceStopped("Execute", what); });
  return result;
}

}  // namespace

void TraceStopped(const char* function, const char* what) noexcept {
  try {
    TORVEX_TRACE_IN(function, TLX::Misc::TRACE_STEPS, "Exception stopped: %s", what);
  } catch (const std::exception&) {
    // Out of memory for the line itself: it is lost.
  }
}

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
  TORVEX_SCOPED_LOCK(guard, m_DataLock);
  const CFoundObject found = Find(objectId);
  if (found.m_Plugin == nullptr) {
    TORVEX_TRACE(TLX::Misc::TRACE_DETAIL, "GetProperties() Adapter = %d", m_Adapters.size());
    if (found.m_Adapter == nullptr) {
      TORVEX_TRACE(TLX::Misc::TRACE_DETAIL, "GetProperties() PhysicalDrives = %d",
                   m_PhysicalDrives.size());
    }
  }
  return Route(found, &IPLUGINAPI_IMPL::GetPluginProperties, &IPLUGINAPI_IMPL::GetAdapterProperties,
               &IPLUGINAPI_IMPL::GetPhysicalDriveProperties, out, PI::PROPERTY_ALL);
}

unsigned int IPLUGINAPI_IMPL::GetProperty(unsigned long objectId, PI::CProperty& property) {
  TORVEX_SCOPED_LOCK(guard, m_DataLock);
  const CFoundObject found = Find(objectId);
  if (found.m_Plugin == nullptr) {
    TORVEX_TRACE(TLX::Misc::TRACE_DETAIL, "GetProperty() Adapter = %d", m_Adapters.size());
    if (found.m_Adapter == nullptr) {
      TORVEX_TRACE(TLX::Misc::TRACE_DETAIL, "GetProperty() PhysicalDrives = %d",
                   m_PhysicalDrives.size());
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
  TORVEX_SCOPED_LOCK(guard, m_DataLock);
  return Route(Find(objectId), &IPLUGINAPI_IMPL::SetPluginProperty,
               &IPLUGINAPI_IMPL::SetAdapterProperty, &IPLUGINAPI_IMPL::SetPhysicalDriveProperty,
               property);
}

// The exit line begins with ENTER as well; that is how it is meant to be.
unsigned int IPLUGINAPI_IMPL::GetOperations(unsigned long objectId,
                                            std::vector<PI::COperation>& out) {
  TORVEX_TRACE(TLX::Misc::TRACE_TOOL, "ENTER GetOperations object=0x%x", objectId);
  TORVEX_SCOPED_LOCK(guard, m_DataLock);
  const unsigned int result = Route(Find(objectId), &IPLUGINAPI_IMPL::GetPluginOperations,
                                    &IPLUGINAPI_IMPL::GetAdapterOperations,
                                    &IPLUGINAPI_IMPL::GetPhysicalDriveOperations, out);
  TORVEX_TRACE(TLX::Misc::TRACE_TOOL, "ENTER GetOperations ret=%d", result);
  return result;
}

unsigned int IPLUGINAPI_IMPL::CheckOperation(unsigned long objectId, PI::COperation& operation) {
  TORVEX_TRACE(TLX::Misc::TRACE_LOCKS, "ENTER CheckOperation operation=%d",
               operation.OperationID());
  TORVEX_SCOPED_LOCK(guard, m_DataLock);
  const unsigned int result = Route(Find(objectId), &IPLUGINAPI_IMPL::CheckPluginOperation,
                                    &IPLUGINAPI_IMPL::CheckAdapterOperation,
                                    &IPLUGINAPI_IMPL::CheckPhysicalDriveOperation, operation);
  TORVEX_TRACE(TLX::Misc::TRACE_LOCKS, "LEAVE CheckOperation(%d)", result);
  return result;
}

unsigned int IPLUGINAPI_IMPL::ExecuteOperation(unsigned long objectId, PI::COperation& operation) {
  TORVEX_SCOPED_LOCK(guard, m_DataLock);
  return Route(Find(objectId), &IPLUGINAPI_IMPL::ExecutePluginOperation,
               &IPLUGINAPI_IMPL::ExecuteAdapterOperation,
               &IPLUGINAPI_IMPL::ExecutePhysicalDriveOperation, operation);
}

// --- Helpers of all kinds of object

std::string FormatValues(const char* format, std::initializer_list<CFormatValue> values) {
  boost::format text(format, std::locale::classic());
  for (const CFormatValue& value : values) {
    std::visit([&text](const auto& held) { text % held; }, value);
  }
  return text.str();
}

boost::optional<unsigned long> ParseNumber(const std::string& text,
                                           std::ios_base& (*base)(std::ios_base&)) {
  // The converter alone would take a minus sign and wrap around: a typing error in an options file
  // would stop the scans for good, and a counter of "-1" would read as "not reported".
  const std::size_t first = text.find_first_not_of(" \t\n\v\f\r");
  if (first != std::string::npos && text[first] == '-') return boost::none;
  boost::cnv::cstream converter;
  converter(std::locale::classic());
  converter(base)(std::skipws);
  boost::optional<unsigned long> number;
  converter(text, number);
  return number;
}

PI::COperation MakeOperation(const COperationDescriptor& descriptor) {
  PI::COperation operation;
  operation.m_Numbers = descriptor.m_Numbers;
  operation.m_Flag = descriptor.m_Flag;
  return operation;
}

DatabaseORM::storage_t& IPLUGINAPI_IMPL::Storage() const {
  if (m_Database == nullptr) {
    throw DBEXCEPTION::DatabaseException("The host has no database.");
  }
  return m_Database->Storage();
}

// --- From property values to the fields of records

namespace {

// The lowest integer is the null of a field, so the one above it is the lowest value.
constexpr long LOWEST_INT = -std::numeric_limits<int>::max();
constexpr long HIGHEST_INT = std::numeric_limits<int>::max();
constexpr unsigned long HIGHEST_UNSIGNED = std::numeric_limits<long>::max();
constexpr float UNKNOWN_NUMBER = -1.0F;

int Saturate(long value) {
  return static_cast<int>(std::clamp(value, LOWEST_INT, HIGHEST_INT));
}

// A number in the widest forms, or none.
struct CNumber {
  enum class CKind { None, Signed, Unsigned, Real };
  CKind m_Kind = CKind::None;
  long m_Signed = 0;
  unsigned long m_Unsigned = 0;
  double m_Real = 0.0;

  static CNumber Of(long value) { return {CKind::Signed, value, 0, 0.0}; }
  static CNumber Of(unsigned long value) { return {CKind::Unsigned, 0, value, 0.0}; }
  static CNumber Of(double value) { return {CKind::Real, 0, 0, value}; }
};

struct CNumberReader : boost::static_visitor<CNumber> {
  CNumber operator()(const PI::CChoiceData& data) const {
    return CNumber::Of(static_cast<long>(data.m_Selected));
  }
  CNumber operator()(const PI::CRangeData& data) const {
    return CNumber::Of(static_cast<long>(data.m_Value));
  }
  CNumber operator()(const PI::CBoolData& data) const {
    return CNumber::Of(data.m_Value ? 1L : 0L);
  }
  CNumber operator()(const PI::CLongData& data) const { return CNumber::Of(data.m_Value); }
  CNumber operator()(const PI::CSignedLongData& data) const { return CNumber::Of(data.m_Value); }
  CNumber operator()(const PI::CFloatData& data) const {
    if (data.m_Value == UNKNOWN_NUMBER) return {};
    return CNumber::Of(static_cast<double>(data.m_Value));
  }
  template <class Other>
  CNumber operator()(const Other&) const {
    return {};
  }
};

CNumber NumberIn(const PI::CPropertyValue& value) {
  return boost::apply_visitor(CNumberReader(), value);
}

}  // namespace

bool StoreValue(const PI::CPropertyValue& value, int& field) {
  const CNumber number = NumberIn(value);
  switch (number.m_Kind) {
    case CNumber::CKind::None:
      break;
    case CNumber::CKind::Signed:
      field = Saturate(number.m_Signed);
      return true;
    case CNumber::CKind::Unsigned:
      field =
          static_cast<int>(std::min(number.m_Unsigned, static_cast<unsigned long>(HIGHEST_INT)));
      return true;
    case CNumber::CKind::Real:
      field = static_cast<int>(std::clamp(number.m_Real, static_cast<double>(LOWEST_INT),
                                          static_cast<double>(HIGHEST_INT)));
      return true;
  }
  return false;
}

bool StoreValue(const PI::CPropertyValue& value, unsigned long& field) {
  const CNumber number = NumberIn(value);
  switch (number.m_Kind) {
    case CNumber::CKind::None:
      break;
    case CNumber::CKind::Signed:
      field = static_cast<unsigned long>(std::max(number.m_Signed, 0L));
      return true;
    case CNumber::CKind::Unsigned:
      // Above the end the database would keep an approximation, which no row is read back from.
      field = number.m_Unsigned == RaidDataModels::NULL_UNSIGNED
                  ? number.m_Unsigned
                  : std::min(number.m_Unsigned, HIGHEST_UNSIGNED);
      return true;
    case CNumber::CKind::Real:
      field = static_cast<unsigned long>(
          std::clamp(number.m_Real, 0.0, static_cast<double>(HIGHEST_UNSIGNED)));
      return true;
  }
  return false;
}

bool StoreValue(const PI::CPropertyValue& value, double& field) {
  const CNumber number = NumberIn(value);
  switch (number.m_Kind) {
    case CNumber::CKind::None:
      break;
    case CNumber::CKind::Signed:
      field = static_cast<double>(number.m_Signed);
      return true;
    case CNumber::CKind::Unsigned:
      field = static_cast<double>(number.m_Unsigned);
      return true;
    case CNumber::CKind::Real:
      field = number.m_Real;
      return true;
  }
  return false;
}

bool StoreValue(const PI::CPropertyValue& value, std::string& field) {
  if (const auto* text = boost::get<PI::CStringData>(&value)) {
    field = text->m_Value;
    return true;
  }
  if (const auto* xml = boost::get<PI::CXMLData>(&value)) {
    field = xml->m_Value;
    return true;
  }
  return false;
}

bool StoreValue(const PI::CPropertyValue& value, std::vector<std::string>& field) {
  if (const auto* texts = boost::get<PI::CMultiStringData>(&value)) {
    field = texts->m_Values;
    return true;
  }
  const auto storeNumbers = [&field](const auto& numbers) {
    field.clear();
    for (const auto number : numbers) field.push_back(std::to_string(number));
    return true;
  };
  if (const auto* choice = boost::get<PI::CMultiValueData>(&value)) {
    return storeNumbers(choice->m_Selected);
  }
  if (const auto* numbers = boost::get<PI::CMultiLongData>(&value)) {
    return storeNumbers(numbers->m_Values);
  }
  return false;
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
  TLX::Threading::Guarded(create, [](const char* what) { TraceStopped("createIf", what); });
  return *out != nullptr ? SUCCESS : ERR_OUT_OF_MEMORY;
}

extern "C" VX_EXPORT void releaseIf(IPLUGINAPI** in) {
  if (in == nullptr) return;
  delete *in;
  *in = nullptr;
}
