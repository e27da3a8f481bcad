#pragma once

#include "PluginTrace.h"
#include "piTorvex.h"
#include "platform/TLXX/Sysfs.h"
#include "support/Files.h"
#include "support/ScriptedTool.h"

#include <chrono>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <tuple>
#include <vector>

#include <DB/Database.h>
#include <DB/Sqlite.h>
#include <PI/ConfigFile.h>
#include <PI/PluginApi.h>
#include <TLX/Misc/Clock.h>

namespace NAMESPACE_piTorvex {

// What is private of the interface object, for tests that have no other way to see or to set it.
struct CInspection {
  static boost::function<void()>& RecordCallback(IPLUGINAPI_IMPL& plugin) {
    return plugin.m_RecordCallback;
  }
  static bool HasSeveralWorkers(const IPLUGINAPI_IMPL& plugin) { return plugin.m_SeveralWorkers; }
  static const auto& OlderWorkers(const IPLUGINAPI_IMPL& plugin) { return plugin.m_OlderWorkers; }
};

}  // namespace NAMESPACE_piTorvex

// What the tests of the plug-in's frame stand on: a machine with drives, a tool that reports them,
// and a database. Real clocks run in real time unless a test speeds them up.
namespace frametest {

using NAMESPACE_piTorvex::CInspection;
using NAMESPACE_piTorvex::IPLUGINAPI_IMPL;
using vxtest::FakeDrive;

// Waits until the condition holds, 60 s at most. Whether it does.
bool Eventually(const std::function<bool()>& condition);

// Whether a thread other than the caller could take the lock at this moment. The mutexes are
// recursive: a thread that left one locked would not notice by taking it again.
bool IsFree(TLX::Threading::Native_OS::CFastMutex& mutex);

// --- Database

// A database in memory with the host's tables, registered while it lives. Keeps what is sent.
class FrameDatabase {
 public:
  FrameDatabase();
  ~FrameDatabase();
  FrameDatabase(const FrameDatabase&) = delete;
  FrameDatabase& operator=(const FrameDatabase&) = delete;

  // The statements that write, as "INSERT Adapter", "UPDATE PD", "DELETE Plugin".
  std::vector<std::string> Writes() const;
  std::size_t SentCount() const;
  void ClearWrites();
  // Statements for which this is true fail.
  void FailWhen(std::function<bool(const std::string& statement)> fails);
  // Past the plug-in: not recorded, never fails.
  std::vector<std::string> Run(const std::string& statement);
  // Columns, row by row.
  std::vector<std::string> Column(const std::string& table, const std::string& column,
                                  const std::string& where = "1");

 private:
  struct Dao;
  std::shared_ptr<Dao> dao_;
};

// --- Machine

// A machine with an options directory of its own and no drive.
class Machine {
 public:
  Machine();
  ~Machine();
  Machine(const Machine&) = delete;
  Machine& operator=(const Machine&) = delete;

  // Puts a drive on PCI bus number (its position + 1) of domain 0 and reports it. The device name
  // and the tool's index are the position.
  void AddDrive(const std::string& serial, const std::string& pciDevice = "0x0a54");
  // The same behind a volume-management controller.
  void AddManagedDrive(const std::string& serial, const std::string& controller = "0x201d");
  void Option(const std::string& file, const std::string& text);

  vxtest::ScriptedTool tool;
  tlxxtest::Sysfs sysfs;

 private:
  FakeDrive Report(const std::string& serial);

  vxtest::TempDir config_;
  std::string configBefore_;
  int drives_ = 0;
};

// --- Host

// The plug-in as a host holds it: created by the exported function, called through Execute. Stops
// the worker and gives the plug-in back at the end.
class Guest {
 public:
  Guest();
  ~Guest();
  Guest(const Guest&) = delete;
  Guest& operator=(const Guest&) = delete;

  IPLUGINAPI_IMPL& Impl() { return *static_cast<IPLUGINAPI_IMPL*>(api_); }
  IPLUGINAPI& Api() { return *api_; }

  unsigned int Call(unsigned int command, unsigned long object, void* data);
  unsigned int Initialize(std::vector<PI::CAdapterID>& ids) { return Call(1, 0, &ids); }
  unsigned int Initialize();
  // Numbers the adapters of the latest Initialize from 1 up.
  unsigned int SetAdapterIDs();
  unsigned int DeInitialize();
  std::vector<PI::CObject> Topology();
  std::vector<PI::CEvent> FetchEvents();
  unsigned long PluginId();

  std::vector<PI::CAdapterID> ids;

 private:
  IPLUGINAPI* api_ = nullptr;
  bool workerStarted_ = false;
};

// Runs the clock faster for a scope.
class FasterClock {
 public:
  explicit FasterClock(double scale) { TLX::Misc::CClock::SetTimeScale(scale); }
  ~FasterClock() { TLX::Misc::CClock::SetTimeScale(1); }
  FasterClock(const FasterClock&) = delete;
  FasterClock& operator=(const FasterClock&) = delete;
};

const PI::CObject* ObjectOf(const std::vector<PI::CObject>& objects, unsigned int type,
                            std::size_t position = 0);
const PI::CProperty* PropertyOf(const PI::CObject& object, unsigned int id);
std::string TextOf(const PI::CObject& object, unsigned int id);  // "" when there is none
std::vector<unsigned int> IdsOf(const std::vector<PI::CEvent>& events);

}  // namespace frametest
