#pragma once

#include "piTorvexAdapter.h"
#include "piTorvexCmdEmu.h"
#include "piTorvexPhysicalDrive.h"
#include "piTorvexPlugin.h"

#include <atomic>
#include <memory>
#include <string>
#include <type_traits>
#include <vector>

#include <boost/filesystem/path.hpp>
#include <boost/function.hpp>
#include <rapidjson/fwd.h>

#include <DB/Database.h>
#include <DatabaseORM/Records.h>
#include <PI/ConfigFile.h>
#include <PI/PluginApi.h>
#include <TLX/Internals/TraceStreamBuffer.h>
#include <TLX/Misc/ModuleInfo.h>
#include <TLX/Output_Streams/FormatStream.h>
#include <TLX/Threading/Event.h>
#include <TLX/Threading/FastMutex.h>
#include <TLX/Threading/Thread.h>

namespace NAMESPACE_piTorvex {

// Result codes of the plug-in. Those that the host library names are in PI/Codes.h.
inline constexpr unsigned int SUCCESS = 0;
inline constexpr unsigned int ERR_GENERAL_FAILURE = 20000;
inline constexpr unsigned int ERR_UNKNOWN_COMMAND = 20002;
inline constexpr unsigned int ERR_TOOL_COMMAND_FAILED = 20003;
inline constexpr unsigned int ERR_PROPERTY_NOT_SETTABLE = 20004;
inline constexpr unsigned int ERR_OPERATION_NOT_SUPPORTED = 20005;
inline constexpr unsigned int ERR_UNKNOWN_LOG_PAGE = 20006;
inline constexpr unsigned int ERR_OUT_OF_MEMORY = 20007;
inline constexpr unsigned int ERR_OBJECT_NOT_FOUND = 20008;
inline constexpr unsigned int ERR_OPERATION_NOT_ALLOWED = 20042;

// The module's identity and trace switch.
extern TLX::Misc::CModuleInfo TLX_MODULE_INFO_piTorvex;

// Feeds one argument of a trace line: numbers in the width they have, texts as they stand.
template <class Value>
void FeedTrace(TLX::Output_Streams::CFormatStream& stream, const Value& value) {
  if constexpr (std::is_convertible_v<const Value&, std::string>) {
    stream << value;
  } else if constexpr (sizeof(Value) > sizeof(unsigned int)) {
    stream.FormatInt(static_cast<unsigned long>(value));
  } else {
    stream.FormatInt(static_cast<unsigned int>(value));
  }
}

template <class... Values>
void WriteTrace(unsigned int level, const char* file, const char* function, unsigned int line,
                const char* format, const Values&... values) {
  TLX::Internals::CTraceStreamBuffer buffer(level, TLX_MODULE_INFO_piTorvex, file, function, line);
  TLX::Output_Streams::CFormatStream stream(buffer, format);
  (FeedTrace(stream, values), ...);
}

// Writes a trace line from a member function of the file that defines TRACE_FILE. Nothing is
// evaluated while the level is off.
#define TORVEX_TRACE(level, ...)                                                              \
  do {                                                                                        \
    if ((::NAMESPACE_piTorvex::TLX_MODULE_INFO_piTorvex.TraceMask() & (level)) != 0) {        \
      ::NAMESPACE_piTorvex::WriteTrace((level), TRACE_FILE, __func__, __LINE__, __VA_ARGS__); \
    }                                                                                         \
  } while (false)

// The one interface object of a load. Members in the order of their declaration are also destroyed
// in reverse order; the destructor does not stop the worker: command 3 must have returned before
// it.
//
// Threads: host request threads call Execute; one worker thread runs Worker. m_DataLock guards the
// published objects and the tool records; m_EventsLock guards the event queue and is always taken
// after m_DataLock when both are held. The host's callback runs with no lock held.
class IPLUGINAPI_IMPL : public IPLUGINAPI, public TLX::Delegates_and_Calls::CDelegateTarget {
 public:
  IPLUGINAPI_IMPL();

  // The door. Never throws. [host request thread]
  unsigned int Execute(PI::_COMMAND command, unsigned long objectId, void* data) override;
  ~IPLUGINAPI_IMPL() override;

  // --- piTorvex: routing of commands 5 to 10; each takes m_DataLock [host request thread]
  unsigned int GetProperties(unsigned long objectId, std::vector<PI::CProperty>& out);
  unsigned int GetProperty(unsigned long objectId, PI::CProperty& property);
  unsigned int SetProperty(unsigned long objectId, PI::CProperty& property);
  unsigned int GetOperations(unsigned long objectId, std::vector<PI::COperation>& out);
  unsigned int CheckOperation(unsigned long objectId, PI::COperation& operation);
  unsigned int ExecuteOperation(unsigned long objectId, PI::COperation& operation);

  // --- piTorvexPlugin: life cycle [host request thread, one after another]
  unsigned int Initialize(std::vector<PI::CAdapterID>& out);
  unsigned int SetAdapterIDs(const std::vector<PI::CAdapterID>& ids);
  unsigned int DeInitialize();

  // --- piTorvexPlugin: topology and events
  unsigned int GetTopology(std::vector<PI::CObject>& out);                   // takes m_DataLock
  unsigned int GetEvents(CTorvexPlugin& plugin, PI::COperation& operation);  // takes m_EventsLock

  // --- piTorvexPlugin: worker, scan, merge
  void Worker();  // [worker thread]
  // holds m_DataLock:
  unsigned long ScanSystem(std::vector<CTorvexAdapter>& adapters,
                           std::vector<CTorvexPhysicalDrive>& drives, bool freshIds);
  unsigned long UpdateSystem(std::vector<CTorvexAdapter>& newAdapters,
                             std::vector<CTorvexPhysicalDrive>& newDrives);

  // --- piTorvexPlugin: ids and locks of objects; holds m_DataLock
  unsigned long NewID();
  unsigned int LockObjects(int adapterIndex, int driveIndex);
  unsigned int UnlockObjects();

  // --- piTorvexPlugin: the plug-in object; holds m_DataLock
  unsigned long GetPluginProperties(CTorvexPlugin& plugin, std::vector<PI::CProperty>& out,
                                    unsigned long propertyId);
  unsigned long SetPluginProperty(CTorvexPlugin& plugin, PI::CProperty& property);
  unsigned int GetPluginOperations(CTorvexPlugin& plugin, std::vector<PI::COperation>& out);
  unsigned int CheckPluginOperation(CTorvexPlugin& plugin, PI::COperation& operation);
  unsigned int ExecutePluginOperation(CTorvexPlugin& plugin, PI::COperation& operation);
  unsigned int SetDatabaseObjectProperties(RaidDataModels::Plugin& record, CTorvexPlugin& plugin);
  unsigned int InsertObjectToDatabase(CTorvexPlugin& plugin, bool unused);
  unsigned int UpdateObjectInDatabase(CTorvexPlugin& plugin);
  unsigned int DeleteObjectFromDatabase(CTorvexPlugin& plugin);

  // --- piTorvexAdapter; holds m_DataLock
  unsigned long GetAdapterProperties(CTorvexAdapter& adapter, std::vector<PI::CProperty>& out,
                                     unsigned long propertyId);
  unsigned long SetAdapterProperty(CTorvexAdapter& adapter, PI::CProperty& property);
  unsigned int GetAdapterOperations(CTorvexAdapter& adapter, std::vector<PI::COperation>& out);
  unsigned int CheckAdapterOperation(CTorvexAdapter& adapter, PI::COperation& operation);
  unsigned int ExecuteAdapterOperation(CTorvexAdapter& adapter, PI::COperation& operation);
  unsigned int SetDatabaseObjectProperties(RaidDataModels::Adapter& record,
                                           CTorvexAdapter& adapter);
  unsigned int InsertObjectToDatabase(CTorvexAdapter& adapter, bool unused);
  unsigned int UpdateObjectInDatabase(CTorvexAdapter& adapter);
  unsigned int DeleteObjectFromDatabase(CTorvexAdapter& adapter);

  // --- piTorvexPhysicalDrive; holds m_DataLock
  unsigned long GetPhysicalDriveProperties(CTorvexPhysicalDrive& drive,
                                           std::vector<PI::CProperty>& out,
                                           unsigned long propertyId);
  unsigned long SetPhysicalDriveProperty(CTorvexPhysicalDrive& drive, PI::CProperty& property);
  unsigned int GetPhysicalDriveOperations(CTorvexPhysicalDrive& drive,
                                          std::vector<PI::COperation>& out);
  unsigned int CheckPhysicalDriveOperation(CTorvexPhysicalDrive& drive, PI::COperation& operation);
  unsigned int ExecutePhysicalDriveOperation(CTorvexPhysicalDrive& drive,
                                             PI::COperation& operation);
  unsigned int SetDatabaseObjectProperties(RaidDataModels::PD& record, CTorvexPhysicalDrive& drive);
  unsigned int InsertObjectToDatabase(CTorvexPhysicalDrive& drive, bool unused);
  unsigned int UpdateObjectInDatabase(CTorvexPhysicalDrive& drive);
  unsigned int DeleteObjectFromDatabase(CTorvexPhysicalDrive& drive);

  // --- piTorvexCmdEmu: the vendor's tool; each blocks until the tool has ended
  unsigned int GetAdaptersInfo();  // replaces m_ToolRecords
  unsigned int GetLogPage(int index, int logId, rapidjson::Document& document);
  unsigned int GetLogPageInformation(int index, CCmdEmuGetlog& log);
  unsigned int GetVersion(std::string& version);
  unsigned int CmdEmu_format(int index);
  unsigned int CmdEmu_delete(int index);
  unsigned int CmdEmu_set(int index, std::string name, int kind, int value);

  TLX::Threading::Native_OS::CFastMutex m_DataLock;
  TLX::Threading::Native_OS::CFastMutex m_EventsLock;
  TLX::Threading::CEvent m_ForceWorker;   // full scan now
  TLX::Threading::CEvent m_StopRequest;   // end
  TLX::Threading::CEvent m_PrivateEvent;  // release object locks and notify the host
  std::string m_CommandPrefix;
  boost::filesystem::path m_ToolPath;
  CTorvexPlugin m_Plugin;
  std::vector<CTorvexAdapter> m_Adapters;
  std::vector<CTorvexPhysicalDrive> m_PhysicalDrives;
  std::vector<CCmdEmuAdapter> m_ToolRecords;
  std::vector<PI::CETR> m_ETRs;  // kept and destroyed, not used
  std::vector<PI::CAdapterID> m_HostAdapterIDs;
  std::vector<PI::CEvent> m_Events;
  unsigned long m_AdapterCount = 0;
  std::atomic<unsigned int> PollInterval{30};  // seconds, 2 to 255
  unsigned long m_NextID = 0;
  unsigned long m_TopologyRefreshInterval = 30000;  // milliseconds
  std::unique_ptr<TLX::Threading::CThread> m_WorkerThread;
  PI::CConfigFile m_CustomOptions;
  PI::CConfigFile m_PluginOptions;
  std::string m_ToolVersion;
  std::shared_ptr<DatabaseWrapper::CHostDatabase> m_Database;
};

}  // namespace NAMESPACE_piTorvex
