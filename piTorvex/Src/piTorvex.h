#pragma once

#include "Core/Mirror.h"
#include "Core/Schedule.h"
#include "Core/Trace.h"
#include "piTorvexAdapter.h"
#include "piTorvexCmdEmu.h"
#include "piTorvexPhysicalDrive.h"
#include "piTorvexPlugin.h"

#include <atomic>
#include <memory>
#include <string>
#include <vector>

#include <boost/filesystem/path.hpp>
#include <boost/function.hpp>

#include <DB/Database.h>
#include <DatabaseORM/Records.h>
#include <PI/Catalogue.h>
#include <PI/ConfigFile.h>
#include <PI/PluginApi.h>
#include <TLX/Threading/Annotations.h>
#include <TLX/Threading/Event.h>
#include <TLX/Threading/FastMutex.h>
#include <TLX/Threading/Thread.h>

namespace NAMESPACE_piTorvex {

// Result codes of the plug-in, by the names of the interface.
using PI::ERR_API_INITIALIZATION_FAILED;
using PI::ERR_GENERAL_FAILURE;
using PI::ERR_LOCK_INITIALIZATION_FAILED;
using PI::ERR_NO_SUPPORTED_HARDWARE;
using PI::ERR_OBJECT_NOT_FOUND;
using PI::ERR_OPERATION_NOT_ALLOWED;
using PI::ERR_OPERATION_NOT_SUPPORTED;
using PI::ERR_OUT_OF_MEMORY;
using PI::ERR_PROPERTY_NOT_SETTABLE;
using PI::ERR_TOOL_COMMAND_FAILED;
using PI::ERR_UNKNOWN_COMMAND;
using PI::ERR_UNKNOWN_LOG_PAGE;
using PI::SUCCESS;

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

  // The door. Nothing leaves it but TLX::Threading::CCancelled, on a thread that has been
  // cancelled. [host request thread]
  unsigned int Execute(PI::_COMMAND command, unsigned long objectId, void* data) override;
  ~IPLUGINAPI_IMPL() override;

  // --- piTorvex: routing of commands 5 to 10; each takes m_DataLock [host request thread]
  unsigned int GetProperties(unsigned long objectId, std::vector<PI::CProperty>& out);
  unsigned int GetProperty(unsigned long objectId, PI::CProperty& property);
  unsigned int SetProperty(unsigned long objectId, PI::CProperty& property);
  unsigned int GetOperations(unsigned long objectId, std::vector<PI::COperation>& out);
  unsigned int CheckOperation(unsigned long objectId, PI::COperation& operation);
  unsigned int ExecuteOperation(unsigned long objectId, PI::COperation& operation);

  // --- piTorvexPlugin: life cycle, one call after another [host request thread]
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
  unsigned int GetLogPage(int index, int logId, CToolDocument& document);
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
  std::vector<PI::CETR> m_ETRs;  // at its place among the members; always empty
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

  // The storage object of the host's database. Throws DatabaseException when there is none.
  DatabaseORM::storage_t& Storage() const;

 private:
  friend struct CInspection;  // of tests

  // What the log pass asks for.
  enum class ELogPass { Done, ScanNeeded, Stopped };
  class CRowWriter;

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
  unsigned int InitializeLocks(const CTracer& trace);
  unsigned int FirstInventory(const CTracer& trace) VX_REQUIRES(m_DataLock);
  unsigned int QueryTool(const CTracer& trace);
  unsigned long FirstScan(const CTracer& trace) VX_REQUIRES(m_DataLock);
  unsigned int FailInitialize(unsigned int result);
  void WithdrawObjects() VX_REQUIRES(m_DataLock);
  void PublishAdapters(std::vector<PI::CAdapterID>& out) VX_REQUIRES(m_DataLock);
  void TakeAdapterIDs(const std::vector<PI::CAdapterID>& ids) VX_REQUIRES(m_DataLock);
  void TakeFirstAdapterIDs(const std::vector<PI::CAdapterID>& ids) VX_NO_THREAD_SAFETY_ANALYSIS;
  bool IsWorkerRunning() const;
  void StartWorker();
  void EndWorker(const CTracer& trace, TLX::Threading::CThread& worker, unsigned long since);

  // --- piTorvexPlugin: worker [worker thread]
  bool HandleWakeUp(const CTracer& trace, EWakeUp wakeUp, CSchedule& schedule);
  void OnPrivateEvent(const CTracer& trace);
  void UnlockObjectsUnguarded() VX_NO_THREAD_SAFETY_ANALYSIS;
  void Refresh(const CTracer& trace, CSchedule& schedule);
  void RefreshGuarded(const CTracer& trace, CSchedule& schedule);
  unsigned long FullScan(const CTracer& trace) VX_REQUIRES(m_DataLock, m_EventsLock);
  unsigned long MergeScan(const CTracer& trace, std::vector<CTorvexAdapter>& adapters,
                          std::vector<CTorvexPhysicalDrive>& drives) VX_REQUIRES(m_DataLock);
  void Relink() VX_REQUIRES(m_DataLock);
  ELogPass RunLogPass(const CTracer& trace) VX_REQUIRES(m_DataLock);
  bool RefreshRecord(CCmdEmuAdapter& record) VX_REQUIRES(m_DataLock);
  bool PauseBetweenRecords();
  void NotifyHost(const CTracer& trace);

  // --- rows: one body for the three kinds of work on each kind of object; result codes
  unsigned int WriteObject(ERowWork work, CTorvexPlugin& plugin, const CTracer& trace)
      VX_REQUIRES(m_DataLock);
  unsigned int WriteObject(ERowWork work, CTorvexAdapter& adapter, const CTracer& trace)
      VX_REQUIRES(m_DataLock);
  unsigned int WriteObject(ERowWork work, CTorvexPhysicalDrive& drive, const CTracer& trace)
      VX_REQUIRES(m_DataLock);
  bool HasNoDatabaseToTell() const;
  // Runs one database operation for the mirror; whatever it throws is traced. False when it has to
  // be sent again; where there is no database nothing has.
  template <class Object>
  bool WriteRow(ERowWork work, Object& object) VX_REQUIRES(m_DataLock);

  // --- piTorvexPlugin: scan and merge
  bool IsStopRequested() { return m_StopRequest.Wait(0) == TLX::Threading::WAIT_ACQUIRED; }
  bool QueryHealth(int index, CCmdEmuGetlog& log);
  void DropDuplicatesTraced(std::vector<CTorvexAdapter>& adapters,
                            std::vector<CTorvexPhysicalDrive>& drives);
  void Publish(struct CMergeResult& merged) VX_REQUIRES(m_DataLock, m_EventsLock);
  void AdvanceRecordPosition() VX_REQUIRES(m_DataLock) { ++m_RecordPosition; }

  // Called before each tool record of a scan or a log pass; advances m_RecordPosition.
  boost::function<void()> m_RecordCallback;
  int m_RecordPosition VX_GUARDED_BY(m_DataLock) = -1;  // 0-based position of the tool record

  // Workers of earlier SetAdapterIDs calls that still ran at the next one; command 3 ends them too.
  std::vector<std::unique_ptr<TLX::Threading::CThread>> m_OlderWorkers;
  std::atomic<bool> m_SeveralWorkers{false};

  CMirror m_Mirror VX_GUARDED_BY(m_DataLock);  // what the database still has to be told
};

}  // namespace NAMESPACE_piTorvex
