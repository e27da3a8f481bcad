#pragma once

#include "piTorvexAdapter.h"
#include "piTorvexCmdEmu.h"
#include "piTorvexPhysicalDrive.h"
#include "piTorvexPlugin.h"

#include <array>
#include <atomic>
#include <initializer_list>
#include <ios>
#include <memory>
#include <string>
#include <type_traits>
#include <variant>
#include <vector>

#include <boost/filesystem/path.hpp>
#include <boost/function.hpp>
#include <boost/optional.hpp>
#include <rapidjson/fwd.h>

#include <DB/Database.h>
#include <DatabaseORM/Records.h>
#include <PI/ConfigFile.h>
#include <PI/PluginApi.h>
#include <PI/PluginHelper.h>
#include <TLX/Internals/TraceStreamBuffer.h>
#include <TLX/Misc/ModuleInfo.h>
#include <TLX/Output_Streams/FormatStream.h>
#include <TLX/Threading/Annotations.h>
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

// Writes a trace line of the file that defines TRACE_FILE under the given function name. Nothing is
// evaluated while the level is off.
#define TORVEX_TRACE_IN(function, level, ...)                                                   \
  do {                                                                                          \
    if ((::NAMESPACE_piTorvex::TLX_MODULE_INFO_piTorvex.TraceMask() & (level)) != 0) {          \
      ::NAMESPACE_piTorvex::WriteTrace((level), TRACE_FILE, (function), __LINE__, __VA_ARGS__); \
    }                                                                                           \
  } while (false)

// The same under the name of the member function that it stands in. Not for lambdas.
#define TORVEX_TRACE(level, ...) TORVEX_TRACE_IN(__func__, level, __VA_ARGS__)

// Holds a lock of the interface object to the end of the scope, with the two lines of a scoped
// guard. The release is not traced. Whether the wait succeeded is not looked at: a request proceeds
// in any case, and the guard releases only what it got.
#define TORVEX_SCOPED_LOCK_IN(function, guard, mutex)                               \
  TORVEX_TRACE_IN(function, TLX::Misc::TRACE_LOCKS, "Before " #mutex ".Wait (sg)"); \
  const TLX::Threading::Native_OS::CFastMutexGuard guard(mutex);                    \
  TORVEX_TRACE_IN(function, TLX::Misc::TRACE_LOCKS, "After " #mutex ".Wait (sg)")
#define TORVEX_SCOPED_LOCK(guard, mutex) TORVEX_SCOPED_LOCK_IN(__func__, guard, mutex)

// Traces what a guard at one of the boundaries caught.
void TraceStopped(const char* function, const char* what) noexcept;

// --- Text, independent of the host's global locale. [any thread]

using CFormatValue = std::variant<long, unsigned long, std::string>;

// Fills a format text ("%s", "%d", "%02d") positionally, in the classic locale.
std::string FormatValues(const char* format, std::initializer_list<CFormatValue> values);

template <class Value>
CFormatValue ToFormatValue(const Value& value) {
  if constexpr (std::is_convertible_v<const Value&, std::string>) {
    return std::string(value);
  } else if constexpr (std::is_signed_v<Value>) {
    return static_cast<long>(value);
  } else {
    return static_cast<unsigned long>(value);
  }
}

template <class... Values>
std::string FormatText(const char* format, const Values&... values) {
  return FormatValues(format, {ToFormatValue(values)...});
}

// --- Property tables, shared by adapter and drive.

template <class Record>
using CRecordField =
    std::variant<std::monostate, int Record::*, unsigned long Record::*, std::string Record::*,
                 double Record::*, std::vector<std::string> Record::*>;

// One row of a property table: what the host shows, where the value comes from, and which field of
// the database record holds it (none: monostate).
template <class Object, class Record>
struct CPropertyRow {
  PI::_PROPERTY_DESCRIPTION m_Description;
  // Sets the value; false when the object has none and the property is left out.
  bool (*m_Read)(const Object& object, PI::CProperty& property);
  CRecordField<Record> m_Field;
};

template <class Rows>
constexpr bool HasUniqueIDs(const Rows& rows) {
  for (auto row = rows.begin(); row != rows.end(); ++row) {
    for (auto other = rows.begin(); other != row; ++other) {
      if (other->m_Description.m_PropertyID == row->m_Description.m_PropertyID) return false;
    }
  }
  return true;
}

// Readers of a table's rows, by the member that they show.
template <auto Member, class Object>
bool ShowText(const Object& object, PI::CProperty& property) {
  property.SetValue(object.*Member);
  return true;
}

template <auto Member, class Object>
bool ShowTextIfAny(const Object& object, PI::CProperty& property) {
  return !(object.*Member).empty() && ShowText<Member>(object, property);
}

template <auto Member, class Object>
bool ShowNumber(const Object& object, PI::CProperty& property) {
  property.SetValue(static_cast<unsigned long>(object.*Member));
  return true;
}

template <auto Member, class Object>
bool ShowNumberIfReported(const Object& object, PI::CProperty& property) {
  return object.*Member != NOT_REPORTED && ShowNumber<Member>(object, property);
}

template <auto Member, class Object>
bool ShowTemperatureIfKnown(const Object& object, PI::CProperty& property) {
  if (object.*Member == TEMPERATURE_UNKNOWN) return false;
  property.SetValue(object.*Member);
  return true;
}

// Choices: a constexpr array of the codes that the member may hold.
template <auto Member, const auto& Choices, class Object>
bool ShowChoice(const Object& object, PI::CProperty& property) {
  property.SetValue(static_cast<int>(object.*Member),
                    std::vector<int>(Choices.begin(), Choices.end()));
  return true;
}

// Empties out and appends, in the order of the table, the property with the given id, or all for
// PI::PROPERTY_ALL. An id that the table does not have appends nothing.
template <class Rows, class Object>
void WalkProperties(const Rows& rows, const Object& object, unsigned long propertyId,
                    std::vector<PI::CProperty>& out) {
  out.clear();
  for (const auto& row : rows) {
    if (propertyId != PI::PROPERTY_ALL && propertyId != row.m_Description.m_PropertyID) continue;
    PI::CProperty property;
    PI::CPluginHelper::GenerateCProperty(row.m_Description, property);
    if (row.m_Read(object, property)) out.push_back(property);
  }
}

// Converts a property's value to the width of a record's field: numbers saturate (unsigned ones at
// the highest signed one, which is the database's own end; all ones stay what they are, the null)
// and never become the null of an integer, choices and ranges give the selected value, multiple
// choices the decimal texts of the selected codes, texts stand as they are. False, field untouched,
// for a floating -1.0
// ("unknown") and for a value that has no such form.
bool StoreValue(const PI::CPropertyValue& value, int& field);
bool StoreValue(const PI::CPropertyValue& value, unsigned long& field);
bool StoreValue(const PI::CPropertyValue& value, std::string& field);
bool StoreValue(const PI::CPropertyValue& value, double& field);
bool StoreValue(const PI::CPropertyValue& value, std::vector<std::string>& field);

// Copies the properties into the record's fields, row by row; what has no property or no field is
// passed over.
template <class Rows, class Record>
void CopyPropertiesToRecord(const Rows& rows, const std::vector<PI::CProperty>& properties,
                            Record& record) {
  for (const auto& row : rows) {
    for (const PI::CProperty& property : properties) {
      if (property.m_PropertyID != row.m_Description.m_PropertyID) continue;
      std::visit(
          [&](auto field) {
            if constexpr (!std::is_same_v<decltype(field), std::monostate>) {
              StoreValue(property.m_Value, record.*field);
            }
          },
          row.m_Field);
      break;
    }
  }
}

// --- Operations.

// What an operation is offered with: the nine numbers, the first of them its id, and the flag.
struct COperationDescriptor {
  std::array<int, 9> m_Numbers;
  bool m_Flag;
};

PI::COperation MakeOperation(const COperationDescriptor& descriptor);

// A whole text as an unsigned number, written in the base that the manipulator stands for
// (std::dec, std::hex: an optional "0x"): leading white space is skipped, nothing may follow, and a
// minus sign is refused. In the classic locale, whatever the host's is. [any thread]
boost::optional<unsigned long> ParseNumber(const std::string& text,
                                           std::ios_base& (*base)(std::ios_base&));

// The object that an id names; at most one member is set.
struct CFoundObject {
  CTorvexPlugin* m_Plugin = nullptr;
  CTorvexAdapter* m_Adapter = nullptr;
  CTorvexPhysicalDrive* m_Drive = nullptr;

  PI::CObject* Object() const {
    if (m_Plugin != nullptr) return m_Plugin;
    if (m_Adapter != nullptr) return m_Adapter;
    return m_Drive;
  }
};

// The one interface object of a load. Members in the order of their declaration are also destroyed
// in reverse order; the destructor does not stop the worker: command 3 must have returned before
// it.
//
// Numbers that look alike and must not be taken for each other:
//   index of a tool record     the tool's, any integer, -1 none: command lines, renumbering
//   position of a tool record  from 0, in scan and log pass: place in m_Adapters, DriveNumber
//   AdapterNumber, tool record from 1, among the accepted drives: the adapter's first number
//   AdapterNumber, adapter     from 1, kept while published: property, row, PI::CAdapterID, traces
//   GlobalAdapterNumber        unique in the host: the drive's ParentAdapterNumber
//   DriveNumber                from 0, at the last scan: LockObjects, log pass
//   host number                the host's, in PI::CAdapterID, -1 none: display name
//   identification numbers     PCI segment, bus, device, function: finding the host's record
//   object id                  from NewID: requests; events too but for 19002
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
  // Empties both lists and fills them from the tool records. freshIds false carries ids, numbers
  // and read counters over from the published lists, which must not be the outputs then; such a
  // scan ends with 20000 as soon as a stop is requested. Otherwise 0. May throw.
  unsigned long ScanSystem(std::vector<CTorvexAdapter>& adapters,
                           std::vector<CTorvexPhysicalDrive>& drives, bool freshIds)
      VX_REQUIRES(m_DataLock);
  // Merges the new lists into the published ones, queues the events and writes the rows. 0 when
  // anything was added, removed or changed, 20000 when nothing was. Takes m_EventsLock itself.
  unsigned long UpdateSystem(std::vector<CTorvexAdapter>& newAdapters,
                             std::vector<CTorvexPhysicalDrive>& newDrives) VX_REQUIRES(m_DataLock);

  // --- piTorvexPlugin: ids and locks of objects
  unsigned long NewID() VX_REQUIRES(m_DataLock);
  // adapterIndex below 0: marks the plug-in object and unmarks all others. Otherwise marks the
  // drives whose DriveNumber it is: the first for a driveIndex of 0 or more, all for one below 0.
  unsigned int LockObjects(int adapterIndex, int driveIndex) VX_REQUIRES(m_DataLock);
  unsigned int UnlockObjects() VX_REQUIRES(m_DataLock);

  // --- piTorvexPlugin: the plug-in object
  unsigned long GetPluginProperties(CTorvexPlugin& plugin, std::vector<PI::CProperty>& out,
                                    unsigned long propertyId) VX_REQUIRES(m_DataLock);
  unsigned long SetPluginProperty(CTorvexPlugin& plugin, PI::CProperty& property)
      VX_REQUIRES(m_DataLock);
  unsigned int GetPluginOperations(CTorvexPlugin& plugin, std::vector<PI::COperation>& out)
      VX_REQUIRES(m_DataLock);
  unsigned int CheckPluginOperation(CTorvexPlugin& plugin, PI::COperation& operation)
      VX_REQUIRES(m_DataLock);
  unsigned int ExecutePluginOperation(CTorvexPlugin& plugin, PI::COperation& operation)
      VX_REQUIRES(m_DataLock);
  unsigned int SetDatabaseObjectProperties(RaidDataModels::Plugin& record, CTorvexPlugin& plugin)
      VX_REQUIRES(m_DataLock);
  unsigned int InsertObjectToDatabase(CTorvexPlugin& plugin, bool unused) VX_REQUIRES(m_DataLock);
  unsigned int UpdateObjectInDatabase(CTorvexPlugin& plugin) VX_REQUIRES(m_DataLock);
  unsigned int DeleteObjectFromDatabase(CTorvexPlugin& plugin) VX_REQUIRES(m_DataLock);

  // --- piTorvexAdapter
  unsigned long GetAdapterProperties(CTorvexAdapter& adapter, std::vector<PI::CProperty>& out,
                                     unsigned long propertyId) VX_REQUIRES(m_DataLock);
  unsigned long SetAdapterProperty(CTorvexAdapter& adapter, PI::CProperty& property)
      VX_REQUIRES(m_DataLock);
  unsigned int GetAdapterOperations(CTorvexAdapter& adapter, std::vector<PI::COperation>& out)
      VX_REQUIRES(m_DataLock);
  unsigned int CheckAdapterOperation(CTorvexAdapter& adapter, PI::COperation& operation)
      VX_REQUIRES(m_DataLock);
  unsigned int ExecuteAdapterOperation(CTorvexAdapter& adapter, PI::COperation& operation)
      VX_REQUIRES(m_DataLock);
  unsigned int SetDatabaseObjectProperties(RaidDataModels::Adapter& record, CTorvexAdapter& adapter)
      VX_REQUIRES(m_DataLock);
  unsigned int InsertObjectToDatabase(CTorvexAdapter& adapter, bool unused) VX_REQUIRES(m_DataLock);
  unsigned int UpdateObjectInDatabase(CTorvexAdapter& adapter) VX_REQUIRES(m_DataLock);
  unsigned int DeleteObjectFromDatabase(CTorvexAdapter& adapter) VX_REQUIRES(m_DataLock);

  // --- piTorvexPhysicalDrive
  unsigned long GetPhysicalDriveProperties(CTorvexPhysicalDrive& drive,
                                           std::vector<PI::CProperty>& out,
                                           unsigned long propertyId) VX_REQUIRES(m_DataLock);
  unsigned long SetPhysicalDriveProperty(CTorvexPhysicalDrive& drive, PI::CProperty& property)
      VX_REQUIRES(m_DataLock);
  unsigned int GetPhysicalDriveOperations(CTorvexPhysicalDrive& drive,
                                          std::vector<PI::COperation>& out) VX_REQUIRES(m_DataLock);
  unsigned int CheckPhysicalDriveOperation(CTorvexPhysicalDrive& drive, PI::COperation& operation)
      VX_REQUIRES(m_DataLock);
  unsigned int ExecutePhysicalDriveOperation(CTorvexPhysicalDrive& drive, PI::COperation& operation)
      VX_REQUIRES(m_DataLock);
  unsigned int SetDatabaseObjectProperties(RaidDataModels::PD& record, CTorvexPhysicalDrive& drive)
      VX_REQUIRES(m_DataLock);
  unsigned int InsertObjectToDatabase(CTorvexPhysicalDrive& drive, bool unused)
      VX_REQUIRES(m_DataLock);
  unsigned int UpdateObjectInDatabase(CTorvexPhysicalDrive& drive) VX_REQUIRES(m_DataLock);
  unsigned int DeleteObjectFromDatabase(CTorvexPhysicalDrive& drive) VX_REQUIRES(m_DataLock);

  // --- piTorvexCmdEmu: the vendor's tool; each blocks until the tool has ended
  unsigned int GetAdaptersInfo() VX_REQUIRES(m_DataLock);  // replaces m_ToolRecords
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
  std::string m_CommandPrefix;            // written by Initialize, before any other thread reads it
  boost::filesystem::path m_ToolPath;     // the same
  CTorvexPlugin m_Plugin VX_GUARDED_BY(m_DataLock);
  std::vector<CTorvexAdapter> m_Adapters VX_GUARDED_BY(m_DataLock);
  std::vector<CTorvexPhysicalDrive> m_PhysicalDrives VX_GUARDED_BY(m_DataLock);
  std::vector<CCmdEmuAdapter> m_ToolRecords VX_GUARDED_BY(m_DataLock);
  std::vector<PI::CETR> m_ETRs;  // kept and destroyed, not used
  std::vector<PI::CAdapterID> m_HostAdapterIDs VX_GUARDED_BY(m_DataLock);
  std::vector<PI::CEvent> m_Events VX_GUARDED_BY(m_EventsLock);
  unsigned long m_AdapterCount VX_GUARDED_BY(m_DataLock) = 0;
  std::atomic<unsigned int> PollInterval{30};  // seconds, 2 to 255
  unsigned long m_NextID VX_GUARDED_BY(m_DataLock) = 0;
  unsigned long m_TopologyRefreshInterval = 30000;  // milliseconds; written by the constructor
  std::unique_ptr<TLX::Threading::CThread> m_WorkerThread;
  PI::CConfigFile m_CustomOptions;
  PI::CConfigFile m_PluginOptions;
  std::string m_ToolVersion VX_GUARDED_BY(m_DataLock);
  std::shared_ptr<DatabaseWrapper::CHostDatabase> m_Database;

  // Called before each tool record of a scan or a log pass; advances m_RecordPosition.
  boost::function<void()> m_RecordCallback;
  int m_RecordPosition VX_GUARDED_BY(m_DataLock) = -1;  // 0-based position of the tool record

  // Workers of earlier SetAdapterIDs calls that still ran at the next one; command 3 ends them too.
  std::vector<std::unique_ptr<TLX::Threading::CThread>> m_OlderWorkers;
  std::atomic<bool> m_SeveralWorkers{false};

  // What the database still has to be told at the next scan.
  bool m_PluginRowIsMissing VX_GUARDED_BY(m_DataLock) = false;                // its insert failed
  bool m_PluginRowIsStale VX_GUARDED_BY(m_DataLock) = false;                  // its update failed
  std::vector<CTorvexAdapter> m_UndeletedAdapters VX_GUARDED_BY(m_DataLock);  // rows to delete

  // The storage object of the host's database. Throws DatabaseException when there is none.
  DatabaseORM::storage_t& Storage() const;

 private:
  // What a wake-up of the worker leaves for the next one.
  struct CWorkerState {
    bool m_RescanDue = true;
    unsigned long m_LastScan = 0;  // time of now()
  };
  // What the log pass asks for.
  enum class CLogPass { Done, RescanNeeded, Stopped };
  // What one merge finds out; numbers are positions in the new or the published lists.
  struct CMerge;
  enum class CRowWork { Insert, Update, Delete };

  // --- piTorvex
  CFoundObject Find(unsigned long objectId) VX_REQUIRES(m_DataLock);
  // Calls the handler of the object's kind; 20008 when there is no object.
  template <class Result, class... Args>
  unsigned int Route(const CFoundObject& found,
                     Result (IPLUGINAPI_IMPL::*onPlugin)(CTorvexPlugin&, Args...),
                     Result (IPLUGINAPI_IMPL::*onAdapter)(CTorvexAdapter&, Args...),
                     Result (IPLUGINAPI_IMPL::*onDrive)(CTorvexPhysicalDrive&, Args...),
                     std::type_identity_t<Args>... args);

  // --- piTorvexPlugin: start-up and shut-down
  unsigned int InitializeLocks();
  unsigned int QueryTool();
  unsigned long FirstScan() VX_REQUIRES(m_DataLock);
  void WithdrawObjects() VX_REQUIRES(m_DataLock);
  void PublishAdapters(std::vector<PI::CAdapterID>& out) VX_REQUIRES(m_DataLock);
  void TakeAdapterIDs(const std::vector<PI::CAdapterID>& ids) VX_REQUIRES(m_DataLock);
  void TakeFirstAdapterIDs(const std::vector<PI::CAdapterID>& ids) VX_NO_THREAD_SAFETY_ANALYSIS;
  bool IsWorkerRunning() const;
  void StartWorker();
  void EndWorker(TLX::Threading::CThread& worker, unsigned long since);
  const PI::CAdapterID* FindHostRecord(const CTorvexAdapter& adapter) const VX_REQUIRES(m_DataLock);

  // --- piTorvexPlugin: worker [worker thread]
  bool HandleSignal(unsigned int signal, CWorkerState& state);
  void OnPrivateEvent();
  void UnlockObjectsUnguarded() VX_NO_THREAD_SAFETY_ANALYSIS;
  void Refresh(CWorkerState& state);
  void RefreshGuarded(CWorkerState& state);
  unsigned long FullScan() VX_REQUIRES(m_DataLock, m_EventsLock);
  unsigned long MergeScan(std::vector<CTorvexAdapter>& adapters,
                          std::vector<CTorvexPhysicalDrive>& drives) VX_REQUIRES(m_DataLock);
  void Relink() VX_REQUIRES(m_DataLock);
  CLogPass RunLogPass() VX_REQUIRES(m_DataLock);
  bool RefreshRecord(CCmdEmuAdapter& record) VX_REQUIRES(m_DataLock);
  bool PauseBetweenRecords();
  void NotifyHost();

  // --- piTorvexPlugin: scan; holds m_DataLock
  class CScan;
  void BuildAdapter(CScan& scan, const CCmdEmuAdapter& record, bool healthKnown,
                    CTorvexAdapter& adapter, CTorvexPhysicalDrive& drive) VX_REQUIRES(m_DataLock);
  void BuildDrive(CScan& scan, CCmdEmuAdapter& record, bool healthKnown, bool freshIds,
                  const CTorvexAdapter& adapter, CTorvexPhysicalDrive& drive)
      VX_REQUIRES(m_DataLock);
  void AdvanceRecordPosition() VX_REQUIRES(m_DataLock) { ++m_RecordPosition; }
  bool IsStopRequested() { return m_StopRequest.Wait(0) == TLX::Threading::WAIT_ACQUIRED; }
  bool QueryHealth(int index, CCmdEmuGetlog& log);
  void DropDuplicates(std::vector<CTorvexAdapter>& adapters,
                      std::vector<CTorvexPhysicalDrive>& drives);

  // --- piTorvexPlugin: merge; holds m_DataLock
  void CompareAdapters(CMerge& merge) VX_REQUIRES(m_DataLock);
  void FindRemovedAdapters(CMerge& merge) VX_REQUIRES(m_DataLock);
  void CompareDrives(CMerge& merge) VX_REQUIRES(m_DataLock);
  void ReplaceLists(CMerge& merge) VX_REQUIRES(m_DataLock, m_EventsLock);
  void KeepLists(const CMerge& merge) VX_REQUIRES(m_DataLock, m_EventsLock);

  // --- piTorvexPlugin: rows; holds m_DataLock
  // Runs one database operation; whatever it throws is traced. False when it has to be sent again;
  // where there is no database nothing has.
  template <class Object>
  bool WriteRow(CRowWork work, Object& object) VX_REQUIRES(m_DataLock);
  template <class Object>
  void InsertRow(Object& object) VX_REQUIRES(m_DataLock);
  void InsertDriveRow(CTorvexPhysicalDrive& drive) VX_REQUIRES(m_DataLock);
  template <class Object>
  void UpdateRow(Object& object) VX_REQUIRES(m_DataLock);
  void WriteMergedRows(CMerge& merge) VX_REQUIRES(m_DataLock);
  void DeleteRows() VX_REQUIRES(m_DataLock);
  bool IsDeletePending(unsigned int adapterNumber) const VX_REQUIRES(m_DataLock);
  void WritePluginRow(bool changed) VX_REQUIRES(m_DataLock);
};

}  // namespace NAMESPACE_piTorvex
