#pragma once

#include "Database.h"
#include "Host.h"
#include "Session.h"
#include "Signals.h"
#include "ToolWatch.h"
#include "Topology.h"

#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace vxhost {

// One plug-in under the service: its session and what was last known of it.
class ServedPlugin {
 public:
  ServedPlugin(std::unique_ptr<PluginLibrary> library, HostNumbers& numbers, Output& output,
               bool json, bool colour);

  // Starts a fresh interface object, and once more when the database lost what the first start
  // wrote. alone: no other plug-in runs. Returns its result; throws PluginError. [one thread at a
  // time]
  unsigned int Start(MirrorDatabase& database, bool alone);
  void Stop();

  bool Runs() const { return session_ != nullptr; }
  const std::string& Name() const { return library_->Name(); }
  std::size_t AdapterCount();

 private:
  struct CStarted {
    unsigned int m_Result;
    bool m_RowsKept;
  };
  CStarted StartSession(std::unique_ptr<MirrorDatabase::Bracket> transaction);
  void OnNotify();
  void Report();

  const std::unique_ptr<PluginLibrary> library_;
  HostNumbers& numbers_;
  Output& output_;
  const bool json_;
  const bool colour_;
  std::mutex mutex_;  // guards known_, and keeps the lines of one notification together
  Topology known_;
  std::unique_ptr<Session> session_;
};

// The host as a service in the foreground: all plug-ins, their events line by line, until a signal
// comes or nobody reads the lines any more.
class Service {
 public:
  explicit Service(Host& host);
  Service(const Service&) = delete;
  Service& operator=(const Service&) = delete;

  // Returns the exit status.
  int Run();

 private:
  struct Entry {
    std::unique_ptr<ServedPlugin> m_Plugin;
    unsigned int m_Result = 0;    // of the last start
    bool m_GivenUp = false;       // not tried again
    unsigned long m_Pause = 0;    // milliseconds of now() until the next try
    unsigned long m_NextTry = 0;  // now() of it
  };

  void Load();
  void Try(Entry& entry);
  void NoteFailedStart(Entry& entry, unsigned int result);
  bool WaitForStop();
  unsigned long NextTry() const;
  int TimeToNextTry() const;
  int Status() const;

  Host& host_;
  MirrorDatabase database_;
  ToolWatch toolWatch_;
  HostNumbers numbers_;
  std::vector<Entry> entries_;
  bool readerHasGone_ = false;
  StopRequest stop_;  // goes first: a signal during the end of the rest has its own effect
};

}  // namespace vxhost
