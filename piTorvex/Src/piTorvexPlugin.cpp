#include "piTorvexPlugin.h"

#include "Core/Health.h"
#include "Core/Merge.h"
#include "Core/Options.h"
#include "Core/PluginObject.h"
#include "Core/Rows.h"
#include "Core/Scan.h"
#include "Core/Text.h"
#include "Core/TracedLock.h"
#include "piTorvex.h"

#include <algorithm>
#include <array>
#include <cassert>
#include <cstdio>
#include <new>
#include <string>
#include <utility>

#include <Facts/Tool.h>
#include <boost/bind/bind.hpp>
#include <boost/filesystem/path.hpp>

#include <PI/PropertyTable.h>
#include <TLX/Misc/Application.h>
#include <TLX/Misc/Clock.h>
#include <TLX/Threading/Cancellation.h>
#include <TLX/Threading/TracedGuard.h>
#include <TLX/Threading/Waiter.h>

namespace NAMESPACE_piTorvex {

namespace {

using TLX::Threading::CTracedGuard;
using TLX::Threading::WAIT_ACQUIRED;
using TLX::Threading::WAIT_TIMED_OUT;
using TLX::Threading::Native_OS::CFastMutexGuard;

// --- Facts

constexpr unsigned int RECORD_PAUSE = 1000;   // milliseconds, between two records of a log pass
constexpr unsigned int SHUTDOWN_PAUSE = 100;  // milliseconds, at both ends of the shut-down
constexpr unsigned int SHUTDOWN_STEP = 500;   // milliseconds
// milliseconds, after which the worker is cancelled
constexpr unsigned long SHUTDOWN_LIMIT = 24999;

constexpr unsigned long OBJECT_ID_PREFIX = 0x0135000000000000UL;  // the module id on top

constexpr PI::COperationDescriptor FETCH_EVENTS_DESCRIPTOR = {
    {static_cast<int>(PI::OPERATION_FETCH_EVENTS), static_cast<int>(PI::OPERATION_FETCH_EVENTS), 6,
     1, 1, 1, 1, 0, 1},
    false};

constexpr CRowTextTable ROW_TEXTS = {
    {"Plugin Torvex inserted to db.",
     "Exception thrown during inserting Torvex plugin object to db. (%s)"},
    {"Plugin Torvex updated in db.",
     "Exception thrown during updating Torvex plugin object entry in db. (%s)"},
    {"Plugin Torvex removed from db.",
     "Exception thrown during removing Torvex plugin object from db. (%s)"},
};

// --- Small tools

// The one thing that goes to standard output. Flushed, so that it is seen in a pipe at once.
void PrintAdapterCount(unsigned long count) {
  std::printf("%s:  Initialize:  adapter count is %lu\n", TLX_MODULE_INFO_piTorvex.Name().c_str(),
              count);
  std::fflush(stdout);
}

constexpr const char* WORKER_RELEASE = "Release ()";     // with a blank
constexpr const char* GET_EVENTS_RELEASE = "Release()";  // without

}  // namespace

// --- Life cycle

IPLUGINAPI_IMPL::IPLUGINAPI_IMPL() : m_Database(getDatabasePointer()) {
  m_PluginOptions.SetFileName("piTorvex.ini");
  PollInterval = ReadPollInterval(m_PluginOptions);
  m_CustomOptions.SetFileName("CustomOpOpts.ini");
  m_TopologyRefreshInterval = ReadRefreshInterval(m_CustomOptions);
  m_RecordCallback = boost::bind(&IPLUGINAPI_IMPL::AdvanceRecordPosition, this);
}

IPLUGINAPI_IMPL::~IPLUGINAPI_IMPL() = default;

unsigned int IPLUGINAPI_IMPL::InitializeLocks(const CTracer& trace) {
  // The events lock goes by another name in its message, which readers of traces look for.
  const auto check = [&trace](unsigned int result, const char* name) {
    if (result == WAIT_ACQUIRED) return true;
    trace.Steps("LEAVE Initialize() %s.Init() -> PI::ERR_LOCK_INITIALIZATION_FAILED %d", name,
                result);
    return false;
  };
  const bool ready = check(m_DataLock.Init(), "m_DataLock") &&
                     check(m_EventsLock.Init(), "m_PrivateEventsLock") &&
                     check(m_ForceWorker.Init(false, false), "m_ForceWorker") &&
                     check(m_StopRequest.Init(false, true), "m_StopRequest") &&
                     check(m_PrivateEvent.Init(false, false), "m_PrivateEvent");
  return ready ? SUCCESS : ERR_LOCK_INITIALIZATION_FAILED;
}

// The inventory of a start-up. One that does not fit into memory is one that could not be read; a
// scan of the worker is given up instead, so that no drive seems to have gone.
unsigned int IPLUGINAPI_IMPL::FirstInventory(const CTracer& trace) {
  try {
    return GetAdaptersInfo();
  } catch (const std::bad_alloc& error) {
    TraceStopped(trace, error.what());
    return ERR_TOOL_COMMAND_FAILED;
  }
}

// Inventory and version of the tool. The lock is taken without trace lines: nobody else is there
// yet unless the host starts up twice, and then it keeps the worker away from the records.
unsigned int IPLUGINAPI_IMPL::QueryTool(const CTracer& trace) {
  const CFastMutexGuard guard(m_DataLock);
  const boost::filesystem::path process(TLX::Misc::CTlxApplication::GetProcessPath());
  m_ToolPath = process.parent_path() / Facts::TOOL_DIRECTORY / Facts::TOOL_NAME;
  m_CommandPrefix = "LD_PRELOAD=" + m_ToolPath.parent_path().string() + "/" +
                    Facts::PRELOAD_LIBRARY + " " + m_ToolPath.string();
  const unsigned int result = FirstInventory(trace);
  m_AdapterCount = m_ToolRecords.size();
  trace.Tool("Initialize, CmdEmu_getAdapterCount returned = %d", m_AdapterCount);
  if (result != SUCCESS) {
    trace.Tool("Initialize, CmdEmu_getAdapterCount called = %d", result);
    PrintAdapterCount(m_AdapterCount);
    return result;
  }
  (void)GetVersion(m_ToolVersion);  // its result says nothing
  return SUCCESS;
}

// The scan at start-up, straight into the published lists.
unsigned long IPLUGINAPI_IMPL::FirstScan(const CTracer& trace) {
  m_Mirror.Begin();
  try {
    const unsigned long result = ScanSystem(m_Adapters, m_PhysicalDrives, true);
    DropDuplicatesTraced(m_Adapters, m_PhysicalDrives);
    return result;
  } catch (const std::exception& error) {
    TraceStopped(trace, error.what());
    return ERR_GENERAL_FAILURE;
  }
}

// The mirror's way to the database.
class IPLUGINAPI_IMPL::CRowWriter : public IRowWriter {
 public:
  explicit CRowWriter(IPLUGINAPI_IMPL& plugin) : m_Owner(plugin) {}

  bool WritePlugin(ERowWork work) override VX_NO_THREAD_SAFETY_ANALYSIS {
    return m_Owner.WriteRow(work, m_Owner.m_Plugin);
  }
  bool Write(ERowWork work, CTorvexAdapter& adapter) override VX_NO_THREAD_SAFETY_ANALYSIS {
    return m_Owner.WriteRow(work, adapter);
  }
  bool Write(ERowWork work, CTorvexPhysicalDrive& drive) override VX_NO_THREAD_SAFETY_ANALYSIS {
    return m_Owner.WriteRow(work, drive);
  }

 private:
  IPLUGINAPI_IMPL& m_Owner;
};

// Takes back what a start-up has published; its rows are the mirror's.
void IPLUGINAPI_IMPL::WithdrawObjects() {
  m_Adapters.clear();
  m_PhysicalDrives.clear();
  m_Plugin.m_ChildIDs.clear();  // of an earlier start-up
  ++m_Plugin.m_ReadCounter;
  m_AdapterCount = 0;
}

// A start-up that fails before its scan leaves no objects, also those of an earlier one, and no
// rows of theirs where there is a database.
unsigned int IPLUGINAPI_IMPL::FailInitialize(unsigned int result) {
  const CFastMutexGuard guard(m_DataLock);
  if (!m_Adapters.empty() && m_Database != nullptr) {
    CRowWriter writer(*this);
    m_Mirror.Withdraw(m_Adapters, writer);
  }
  if (!m_Adapters.empty()) WithdrawObjects();
  m_ToolRecords.clear();  // or a worker that still runs would publish them again
  return result;
}

void IPLUGINAPI_IMPL::PublishAdapters(std::vector<PI::CAdapterID>& out) {
  m_Plugin.m_ChildIDs.clear();
  for (CTorvexAdapter& adapter : m_Adapters) {
    PI::CAdapterID id;
    id.m_Identification = IdentificationOf(adapter);
    id.m_AdapterIndex = adapter.AdapterNumber;
    id.m_HostNumber = -1;
    out.push_back(id);
    m_Plugin.m_ChildIDs.push_back(adapter.m_ID);
    adapter.m_ParentIDs.push_back(m_Plugin.m_ID);
  }
  CRowWriter writer(*this);
  m_Mirror.InsertAll(m_Adapters, m_PhysicalDrives, writer);
}

unsigned int IPLUGINAPI_IMPL::Initialize(std::vector<PI::CAdapterID>& out) {
  const CTracer trace(TraceSource::PLUGIN);
  trace.Steps("ENTER Initialize()");
  if (const unsigned int result = InitializeLocks(trace); result != SUCCESS) {
    return FailInitialize(result);
  }
  if (!IsHardwarePresent()) {
    PrintAdapterCount(0);
    trace.Steps("LEAVE Initialize() -> PI::ERR_NO_SUPPORTED_HARDWARE");
    return FailInitialize(ERR_NO_SUPPORTED_HARDWARE);
  }
  if (QueryTool(trace) != SUCCESS) {
    trace.Steps("LEAVE Initialize() -> PI::ERR_API_INITIALIZATION_FAILED");
    return FailInitialize(ERR_API_INITIALIZATION_FAILED);
  }
  const CTracedGuard guard(trace, m_DataLock, "m_DataLock");
  m_Plugin.m_ID = NewID();
  m_Plugin.m_Type = PI::OBJECT_TYPE_PLUGIN;
  std::vector<CTorvexAdapter> earlier;  // of a start-up before: their rows go with them
  if (m_Database != nullptr) earlier = m_Adapters;
  const unsigned long scanResult = FirstScan(trace);
  trace.Tool("ScanSystem() ret = %d m_PhysicalDrives=%d", scanResult, m_PhysicalDrives.size());
  CRowWriter writer(*this);
  m_Mirror.InsertPlugin(writer);
  unsigned int result = SUCCESS;
  if (scanResult != SUCCESS || m_Adapters.empty()) {
    earlier.insert(earlier.end(), m_Adapters.begin(), m_Adapters.end());
    m_Mirror.Withdraw(earlier, writer);
    WithdrawObjects();
    result = ERR_NO_SUPPORTED_HARDWARE;
  } else {
    PublishAdapters(out);
  }
  PrintAdapterCount(m_Adapters.size());
  trace.Steps("LEAVE Initialize() -> %d", result);
  return result;
}

void IPLUGINAPI_IMPL::TakeAdapterIDs(const std::vector<PI::CAdapterID>& ids) {
  m_HostAdapterIDs.insert(m_HostAdapterIDs.end(), ids.begin(), ids.end());
  CRowWriter writer(*this);
  for (CTorvexAdapter& adapter : m_Adapters) {
    const PI::CAdapterID* const id = FindHostRecord(m_HostAdapterIDs, adapter);
    if (id == nullptr) continue;
    adapter.Name = FormatText("%s (%d)", MarketingNameOf(*id), id->m_HostNumber);
    m_Mirror.Update(adapter, writer);
  }
}

// Before the first worker is started no lock is taken: nobody else changes the objects then.
void IPLUGINAPI_IMPL::TakeFirstAdapterIDs(const std::vector<PI::CAdapterID>& ids) {
  TakeAdapterIDs(ids);
}

namespace {

bool Runs(const std::unique_ptr<TLX::Threading::CThread>& worker) {
  return worker != nullptr && worker->Wait(0) == WAIT_TIMED_OUT;
}

}  // namespace

bool IPLUGINAPI_IMPL::IsWorkerRunning() const {
  return Runs(m_WorkerThread) || std::any_of(m_OlderWorkers.begin(), m_OlderWorkers.end(), Runs);
}

// Workers that still run are kept beside the new one until command 3 ends them all.
void IPLUGINAPI_IMPL::StartWorker() {
  std::erase_if(m_OlderWorkers, [](const auto& worker) { return !Runs(worker); });
  if (Runs(m_WorkerThread)) m_OlderWorkers.push_back(std::move(m_WorkerThread));
  m_SeveralWorkers = !m_OlderWorkers.empty();
  m_WorkerThread = std::make_unique<TLX::Threading::CThread>(
      TLX::Threading::CThread::CBody(this, &IPLUGINAPI_IMPL::Worker), 0);
}

unsigned int IPLUGINAPI_IMPL::SetAdapterIDs(const std::vector<PI::CAdapterID>& ids) {
  const CTracer trace(TraceSource::PLUGIN);
  trace.Steps("ENTER SetAdapterIDs");
  if (IsWorkerRunning()) {
    const CFastMutexGuard guard(m_DataLock);
    TakeAdapterIDs(ids);
  } else {
    TakeFirstAdapterIDs(ids);
  }
  StartWorker();
  return SUCCESS;
}

void IPLUGINAPI_IMPL::EndWorker(const CTracer& trace, TLX::Threading::CThread& worker,
                                unsigned long since) {
  while (worker.Native().HasHandle() && worker.Wait(0) == WAIT_TIMED_OUT) {
    trace.Tool("Wait for termination... (Worker)");
    if (TLX::Misc::now() - since > SHUTDOWN_LIMIT) {
      if (worker.Wait(0) == WAIT_TIMED_OUT) {
        trace.Tool("Kill Worker");
        (void)worker.Native().Cancel();
      }
      return;
    }
    TLX::Misc::Sleep(SHUTDOWN_STEP);
  }
}

unsigned int IPLUGINAPI_IMPL::DeInitialize() {
  const CTracer trace(TraceSource::PLUGIN);
  trace.Steps("ENTER DeInitialize");
  m_StopRequest.Set();
  TLX::Misc::Sleep(SHUTDOWN_PAUSE);
  const unsigned long since = TLX::Misc::now();
  if (m_WorkerThread != nullptr) EndWorker(trace, *m_WorkerThread, since);
  for (const auto& worker : m_OlderWorkers) EndWorker(trace, *worker, since);
  TLX::Misc::Sleep(SHUTDOWN_PAUSE);
  trace.Steps("LEAVE DeInitialize");
  return SUCCESS;
}

// --- Topology and events

unsigned int IPLUGINAPI_IMPL::GetTopology(std::vector<PI::CObject>& out) {
  const CTracer trace(TraceSource::PLUGIN);
  trace.Steps("ENTER GetTopology");
  const CTracedGuard guard(trace, m_DataLock, "m_DataLock");
  out.clear();
  out.reserve(1 + m_Adapters.size() + m_PhysicalDrives.size());

  PI::CObject& plugin = out.emplace_back(m_Plugin);
  (void)GetPluginProperties(m_Plugin, plugin.m_Properties, PI::PROPERTY_ALL);
  (void)GetPluginOperations(m_Plugin, plugin.m_Operations);

  for (CTorvexAdapter& adapter : m_Adapters) {
    PI::CObject& copy = out.emplace_back(adapter);
    (void)GetAdapterProperties(adapter, copy.m_Properties, PI::PROPERTY_ALL);
    (void)GetAdapterOperations(adapter, copy.m_Operations);
    trace.Detail("GetTopology() Adapter m_ID=0x%x", adapter.m_ID);
  }
  trace.Detail("GetTopology() m_Adapters = %d", m_Adapters.size());

  for (CTorvexPhysicalDrive& drive : m_PhysicalDrives) {
    PI::CObject& copy = out.emplace_back(drive);
    (void)GetPhysicalDriveProperties(drive, copy.m_Properties, PI::PROPERTY_ALL);
    (void)GetPhysicalDriveOperations(drive, copy.m_Operations);
    trace.Detail("GetTopology() PhysicalDrive m_ID=0x%x", drive.m_ID);
  }
  trace.Detail("GetTopology() m_PhysicalDrives = %d", m_PhysicalDrives.size());
  trace.Steps("LEAVE GetTopology");
  return SUCCESS;
}

unsigned int IPLUGINAPI_IMPL::GetEvents(CTorvexPlugin& /*plugin*/, PI::COperation& operation) {
  const CTracer trace(TraceSource::PLUGIN);
  trace.Steps("ENTER GetEvents()");
  operation.m_Events.clear();
  CTracedLock events(m_EventsLock, "m_EventsLock", trace, GET_EVENTS_RELEASE);
  if (!events.IsOwned()) return SUCCESS;  // the queue keeps its events
  operation.m_Events = m_Events;
  m_Events.clear();
  events.Release();
  trace.Steps("LEAVE GetEvents() -> %d", SUCCESS);
  return SUCCESS;
}

// --- Worker. Its traces stand under its name, whichever step writes them.

void IPLUGINAPI_IMPL::Worker() {
  const CTracer trace(TraceSource::PLUGIN);
  trace.Steps("ENTER Worker()");
  TLX::Threading::CWaiter waiter;
  waiter.Add(m_ForceWorker);
  waiter.Add(m_StopRequest);
  waiter.Add(m_PrivateEvent);
  CSchedule schedule(TLX::Misc::now());
  unsigned int interval = CSchedule::FIRST_INTERVAL;
  while (HandleWakeUp(trace, WakeUpOf(waiter.Wait(interval, false)), schedule)) {
    trace.Steps("Worker() before restart interval");
    interval = PollInterval.load() * 1000U;
  }
  trace.Steps("LEAVE Worker()");
}

// One wake-up. False when the worker is to end.
bool IPLUGINAPI_IMPL::HandleWakeUp(const CTracer& trace, EWakeUp wakeUp, CSchedule& schedule) {
  switch (wakeUp) {
    case EWakeUp::Private:
      trace.Detail("Worker() m_PrivateEvent event received");
      OnPrivateEvent(trace);
      return true;
    case EWakeUp::Timeout:
      trace.Detail("Worker() timeout event received");
      break;
    case EWakeUp::Force:
      trace.Detail("Worker() m_ForceWorker event received, force scan");
      break;
    case EWakeUp::Stop:
      trace.Detail("Worker() something else perhaps m_StopRequest");
      return false;
  }
  schedule.Wake(wakeUp, TLX::Misc::now(), m_TopologyRefreshInterval);
  RefreshGuarded(trace, schedule);
  return true;
}

// The lists change only on this thread, so that marks can be cleared without the lock, unless a
// second worker runs; then the lock is taken, without trace lines.
void IPLUGINAPI_IMPL::OnPrivateEvent(const CTracer& trace) {
  if (m_SeveralWorkers) {
    const CFastMutexGuard guard(m_DataLock);
    (void)UnlockObjects();
  } else {
    UnlockObjectsUnguarded();
  }
  NotifyHost(trace);
}

void IPLUGINAPI_IMPL::UnlockObjectsUnguarded() {
  (void)UnlockObjects();
}

// Nothing but a cancellation leaves a wake-up.
void IPLUGINAPI_IMPL::RefreshGuarded(const CTracer& trace, CSchedule& schedule) {
  const bool done = TLX::Threading::Guarded(
      [&] { Refresh(trace, schedule); }, [&trace](const char* what) { TraceStopped(trace, what); });
  if (!done && schedule.IsScanDue()) schedule.Scanned(TLX::Misc::now());
}

void IPLUGINAPI_IMPL::Refresh(const CTracer& trace, CSchedule& schedule) {
  CTracedLock data(m_DataLock, "m_DataLock", trace, WORKER_RELEASE);
  if (!data.IsOwned()) return;
  if (!schedule.IsScanDue()) {
    if (RunLogPass(trace) != ELogPass::ScanNeeded) {
      data.Release();
      return;
    }
    schedule.RequestScan();
  }
  CTracedLock events(m_EventsLock, "m_EventsLock", trace, WORKER_RELEASE);
  if (!events.IsOwned()) {
    data.Release();
    return;
  }
  const unsigned long result = FullScan(trace);
  const bool notify = !m_Events.empty() || result == SUCCESS;
  events.Release();
  if (notify) (void)UnlockObjects();
  data.Release();
  if (notify) NotifyHost(trace);
  schedule.Scanned(TLX::Misc::now());
}

unsigned long IPLUGINAPI_IMPL::FullScan(const CTracer& trace) {
  (void)GetAdaptersInfo();  // whatever it says: the records are what there is
  m_AdapterCount = m_ToolRecords.size();
  std::vector<CTorvexAdapter> adapters;
  std::vector<CTorvexPhysicalDrive> drives;
  trace.Tool("Before ScanSystem()");
  unsigned long result = ScanSystem(adapters, drives, false);
  trace.Tool("After ScanSystem() ret = %d", result);
  if (result == SUCCESS) result = MergeScan(trace, adapters, drives);
  ++m_Plugin.m_ReadCounter;
  trace.Detail("Worker() after bscan");
  return result;
}

unsigned long IPLUGINAPI_IMPL::MergeScan(const CTracer& trace,
                                         std::vector<CTorvexAdapter>& adapters,
                                         std::vector<CTorvexPhysicalDrive>& drives) {
  trace.Tool("Before UpdateSystem()");
  const unsigned long result = UpdateSystem(adapters, drives);
  trace.Tool("After UpdateSystem() ret = %d", result);
  Relink();
  return result;
}

// The plug-in object's children are the adapters in the order in which they are published, which
// after a change is not the tool's.
void IPLUGINAPI_IMPL::Relink() {
  m_Plugin.m_ChildIDs.clear();
  for (CTorvexAdapter& adapter : m_Adapters) {
    adapter.m_ParentIDs.assign(1, m_Plugin.m_ID);
    m_Plugin.m_ChildIDs.push_back(adapter.m_ID);
    ++adapter.m_ReadCounter;
  }
}

IPLUGINAPI_IMPL::ELogPass IPLUGINAPI_IMPL::RunLogPass(const CTracer& trace) {
  bool scanNeeded = false;
  m_RecordPosition = -1;
  for (CCmdEmuAdapter& record : m_ToolRecords) {
    m_RecordCallback();
    trace.Tool("Worker GetLogPageInformation()");
    if (RefreshRecord(record)) scanNeeded = true;
    if (!PauseBetweenRecords()) return ELogPass::Stopped;
  }
  return scanNeeded ? ELogPass::ScanNeeded : ELogPass::Done;
}

// Whether a scan is needed: there is no adapter at the record's position, the adapter there is of
// another record (a drive has come or gone, or the answer names another drive's serial number), or
// the warnings have changed. The values are then left to the scan.
bool IPLUGINAPI_IMPL::RefreshRecord(CCmdEmuAdapter& record) {
  CCmdEmuGetlog log = record.Health;
  if (!QueryHealth(record.Index, log)) return false;
  record.Health = log;
  const auto position = static_cast<std::size_t>(m_RecordPosition);
  if (position >= m_Adapters.size()) return true;
  CTorvexAdapter& adapter = m_Adapters[position];
  if (adapter.ToolIndex != log.ToolIndex || adapter.StatusBits != log.CriticalWarnings) return true;
  if (!log.NamedSerial.empty() && log.NamedSerial != record.SerialNumber) return true;

  const CAdapterValues before = adapter;
  CopyWear(log, adapter);
  const CAdapterValues& after = adapter;
  if (before != after) adapter.RowIsStale = true;
  const auto drive = std::find_if(
      m_PhysicalDrives.begin(), m_PhysicalDrives.end(),
      [position](const CTorvexPhysicalDrive& each) { return each.DriveNumber == position; });
  if (drive != m_PhysicalDrives.end() && drive->Temperature != adapter.Temperature) {
    drive->Temperature = adapter.Temperature;
    drive->RowIsStale = true;
  }
  return false;
}

// Paces the tool. False when a stop is requested; the request stays set.
bool IPLUGINAPI_IMPL::PauseBetweenRecords() {
  return m_StopRequest.Wait(RECORD_PAUSE) != WAIT_ACQUIRED;
}

// Called with no lock held, so that the host may call back. What the callback throws is dropped.
void IPLUGINAPI_IMPL::NotifyHost(const CTracer& trace) {
  const auto notify = m_NotifyHost;
  if (!notify) return;
  TLX::Threading::Guarded([&] { notify(this); },
                          [&trace](const char* what) { TraceStopped(trace, what); });
}

// --- Scan

// Whether the health values could be read. A counter that is no number is thrown as an exception by
// the query and is a failed query here. A cancellation passes through: it is no std::exception.
bool IPLUGINAPI_IMPL::QueryHealth(int index, CCmdEmuGetlog& log) {
  try {
    return GetLogPageInformation(index, log) == SUCCESS;
  } catch (const std::exception& error) {
    TraceStopped(CTracer(TraceSource::TOOL, "GetLogPageInformation"), error.what());
    return false;
  }
}

unsigned long IPLUGINAPI_IMPL::ScanSystem(std::vector<CTorvexAdapter>& adapters,
                                          std::vector<CTorvexPhysicalDrive>& drives,
                                          bool freshIds) {
  assert(freshIds || (&adapters != &m_Adapters && &drives != &m_PhysicalDrives));
  const CTracer trace(TraceSource::PLUGIN);
  trace.Steps("ENTER ScanSystem(%d) PhyDrive=%d", freshIds, drives.size());
  trace.Tool("ScanSystem, AdapterCount = %d", m_ToolRecords.size());
  adapters.clear();
  drives.clear();
  const std::vector<CTorvexAdapter> noAdapters;
  const std::vector<CTorvexPhysicalDrive> noDrives;
  const auto newId = [this]() VX_NO_THREAD_SAFETY_ANALYSIS { return NewID(); };
  CScan scan({freshIds ? noAdapters : m_Adapters, freshIds ? noDrives : m_PhysicalDrives,
              m_HostAdapterIDs, newId, freshIds},
             trace);

  const auto isStopped = [&] { return !freshIds && IsStopRequested(); };
  m_RecordPosition = -1;
  for (CCmdEmuAdapter& record : m_ToolRecords) {
    m_RecordCallback();
    const bool healthKnown = QueryHealth(record.Index, record.Health);
    // The query was cut short: its record must not be taken for a drive without warnings.
    if (isStopped()) break;
    if (IsBehindVolumeManagement(record.DevicePath)) continue;  // another plug-in's drive
    CTorvexAdapter adapter;
    CTorvexPhysicalDrive drive;
    scan.Build(record, static_cast<unsigned int>(m_RecordPosition), healthKnown, adapter, drive);
    adapters.push_back(adapter);
    drives.push_back(drive);
  }
  // Also without a record: the inventory may have failed because all around it is being ended.
  const unsigned long result = isStopped() ? ERR_GENERAL_FAILURE : SUCCESS;
  trace.Steps("LEAVE ScanSystem() -> %d", result);
  return result;
}

void IPLUGINAPI_IMPL::DropDuplicatesTraced(std::vector<CTorvexAdapter>& adapters,
                                           std::vector<CTorvexPhysicalDrive>& drives) {
  const std::size_t dropped = DropDuplicates(adapters, drives);
  if (dropped == 0) return;
  CTracer(TraceSource::PLUGIN, "ScanSystem")
      .Tool("Dropped %d adapters whose serial number is taken", dropped);
}

// --- Merge

unsigned long IPLUGINAPI_IMPL::UpdateSystem(std::vector<CTorvexAdapter>& newAdapters,
                                            std::vector<CTorvexPhysicalDrive>& newDrives) {
  const CTracer trace(TraceSource::PLUGIN);
  trace.Steps("ENTER UpdateSystem for %d adapter, %d physicalDrives", newAdapters.size(),
              newDrives.size());
  const CTracedGuard guard(trace, m_EventsLock, "m_EventsLock");
  DropDuplicatesTraced(newAdapters, newDrives);
  CMergeResult merged = Merge(m_Adapters, m_PhysicalDrives, newAdapters, newDrives, m_Plugin.m_ID);
  Publish(merged);
  CRowWriter writer(*this);
  m_Mirror.Write(m_Adapters, m_PhysicalDrives, merged.m_IsChanged, writer);
  // "Nothing changed" is told with the code of a general failure, and is none.
  const unsigned long result = merged.m_IsChanged ? SUCCESS : ERR_GENERAL_FAILURE;
  trace.Steps("LEAVE UpdateSystem ret = %d", result);
  return result;
}

// What takes memory comes first, so that a failure leaves objects, events and rows owed as they
// were, and the next scan finds the same differences again.
void IPLUGINAPI_IMPL::Publish(CMergeResult& merged) {
  if (!merged.m_Events.empty()) {
    merged.m_Events.insert(merged.m_Events.begin(), m_Events.begin(), m_Events.end());
  }
  if (!merged.m_IsChanged) {
    for (std::size_t i = 0; i < m_Adapters.size(); ++i) {
      m_Adapters[i].ToolIndex = merged.m_ToolIndexes[i];
      m_Adapters[i].m_ParentIDs.assign(1, m_Plugin.m_ID);
    }
  } else {
    m_Mirror.OweDeletes(merged.m_Removed);
    m_Adapters.swap(merged.m_Adapters);
    m_PhysicalDrives.swap(merged.m_Drives);
  }
  m_Plugin.m_ReadCounter += merged.m_TopologyChanges;
  m_Plugin.m_ChildIDs.swap(merged.m_Children);
  if (!merged.m_Events.empty()) m_Events.swap(merged.m_Events);
}

// --- Rows. A statement that fails is sent again at the next scan: the object keeps its mark.

// Whether writing a row would do nothing at all: there is no database, and nobody reads the trace
// line that says so. A start with many drives inserts each of them once for each adapter.
bool IPLUGINAPI_IMPL::HasNoDatabaseToTell() const {
  return m_Database == nullptr && !CTracer(TraceSource::PLUGIN).IsOn(TLX::Misc::TRACE_STEPS);
}

template <class Object>
bool IPLUGINAPI_IMPL::WriteRow(ERowWork work, Object& object) {
  if (HasNoDatabaseToTell()) return true;
  unsigned int result = ERR_GENERAL_FAILURE;
  try {
    switch (work) {
      case ERowWork::Insert:
        result = InsertObjectToDatabase(object, false);
        break;
      case ERowWork::Update:
        result = UpdateObjectInDatabase(object);
        break;
      case ERowWork::Delete:
        result = DeleteObjectFromDatabase(object);
        break;
    }
  } catch (const std::exception& error) {
    // A row that cannot be read must not stop the others.
    TraceStopped(CTracer(TraceSource::PLUGIN), error.what());
  }
  return result == SUCCESS || m_Database == nullptr;
}

// --- Ids and locks of objects

unsigned long IPLUGINAPI_IMPL::NewID() {
  return m_NextID++ | OBJECT_ID_PREFIX;
}

unsigned int IPLUGINAPI_IMPL::LockObjects(int adapterIndex, int driveIndex) {
  if (adapterIndex < 0) {
    (void)UnlockObjects();
    m_Plugin.m_LockFlag = true;
    return SUCCESS;
  }
  for (CTorvexPhysicalDrive& drive : m_PhysicalDrives) {
    if (drive.DriveNumber != static_cast<unsigned int>(adapterIndex)) continue;
    drive.m_LockFlag = true;
    if (driveIndex >= 0) break;  // only its sign counts
  }
  return SUCCESS;
}

unsigned int IPLUGINAPI_IMPL::UnlockObjects() {
  m_Plugin.m_LockFlag = false;
  for (CTorvexAdapter& adapter : m_Adapters) adapter.m_LockFlag = false;
  for (CTorvexPhysicalDrive& drive : m_PhysicalDrives) drive.m_LockFlag = false;
  return SUCCESS;
}

// --- The plug-in object: properties

unsigned long IPLUGINAPI_IMPL::GetPluginProperties(CTorvexPlugin& /*plugin*/,
                                                   std::vector<PI::CProperty>& out,
                                                   unsigned long propertyId) {
  ShowPlugin({m_ToolVersion, PollInterval.load()}, propertyId, out);
  return SUCCESS;
}

// The bounds are those that the host sends, which should be those that it was given; whatever it
// sends, the interval stays within its own.
unsigned long IPLUGINAPI_IMPL::SetPluginProperty(CTorvexPlugin& plugin, PI::CProperty& property) {
  if (property.m_PropertyID != PI::PROPERTY_POLL_INTERVAL) return ERR_PROPERTY_NOT_SETTABLE;
  int value = 0;
  int minimum = 0;
  int maximum = 0;
  unsigned int step = 0;
  if (!property.GetValue(value, minimum, maximum, step)) return ERR_GENERAL_FAILURE;
  value = std::max(value, minimum);
  value = std::min(value, maximum);
  const unsigned int interval = ClampPollInterval(static_cast<unsigned long>(std::max(value, 0)));
  PollInterval = interval;
  ++plugin.m_ReadCounter;
  const unsigned int result =
      m_PluginOptions.WriteKeyValue(POLL_INTERVAL_KEY, FormatText("%d", interval), -1, -1);
  m_PrivateEvent.Set();
  return result;
}

// --- The plug-in object: operations

unsigned int IPLUGINAPI_IMPL::GetPluginOperations(CTorvexPlugin& /*plugin*/,
                                                  std::vector<PI::COperation>& out) {
  out.clear();
  out.push_back(PI::MakeOperation(FETCH_EVENTS_DESCRIPTOR));
  return SUCCESS;
}

unsigned int IPLUGINAPI_IMPL::CheckPluginOperation(CTorvexPlugin& /*plugin*/,
                                                   PI::COperation& /*operation*/) {
  return SUCCESS;
}

// The row is written whatever the operation was, and whether that works changes no result.
unsigned int IPLUGINAPI_IMPL::ExecutePluginOperation(CTorvexPlugin& plugin,
                                                     PI::COperation& operation) {
  const CTracer trace(TraceSource::PLUGIN);
  trace.Steps("ENTER ExecutePluginOperation()");
  unsigned int result = ERR_OPERATION_NOT_SUPPORTED;
  if (operation.OperationID() == PI::OPERATION_FETCH_EVENTS) result = GetEvents(plugin, operation);
  CRowWriter writer(*this);
  m_Mirror.UpdatePlugin(writer);
  trace.Steps("LEAVE ExecutePluginOperation() -> %d", result);
  return result;
}

// --- The plug-in object: its row

unsigned int IPLUGINAPI_IMPL::SetDatabaseObjectProperties(RaidDataModels::Plugin& record,
                                                          CTorvexPlugin& plugin) {
  record = PluginRecord({m_ToolVersion, PollInterval.load()}, plugin.m_ID);
  return SUCCESS;
}

unsigned int IPLUGINAPI_IMPL::WriteObject(ERowWork work, CTorvexPlugin& plugin,
                                          const CTracer& trace) {
  return WriteRows<RaidDataModels::Plugin>(
             work, trace, ROW_TEXTS, [this]() -> auto& { return Storage(); },
             DatabaseORM::where(DatabaseORM::is_equal(&RaidDataModels::Plugin::Name, PLUGIN_NAME)),
             [this, &plugin]() VX_NO_THREAD_SAFETY_ANALYSIS {
               RaidDataModels::Plugin record;
               (void)SetDatabaseObjectProperties(record, plugin);
               return record;
             })
             ? SUCCESS
             : ERR_GENERAL_FAILURE;
}

unsigned int IPLUGINAPI_IMPL::InsertObjectToDatabase(CTorvexPlugin& plugin, bool /*unused*/) {
  return WriteObject(ERowWork::Insert, plugin, CTracer(TraceSource::PLUGIN));
}

unsigned int IPLUGINAPI_IMPL::UpdateObjectInDatabase(CTorvexPlugin& plugin) {
  return WriteObject(ERowWork::Update, plugin, CTracer(TraceSource::PLUGIN));
}

unsigned int IPLUGINAPI_IMPL::DeleteObjectFromDatabase(CTorvexPlugin& plugin) {
  return WriteObject(ERowWork::Delete, plugin, CTracer(TraceSource::PLUGIN));
}

}  // namespace NAMESPACE_piTorvex
