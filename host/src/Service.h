#pragma once

#include "Database.h"
#include "Host.h"
#include "Session.h"
#include "Signals.h"
#include "ToolWatch.h"
#include "Topology.h"
#include "WakeEvent.h"

#include <atomic>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include <TLXX/RunStop.h>

namespace vxhost {

// One plug-in under the service: its session and what was last known of it.
class ServedPlugin {
 public:
  ServedPlugin(std::unique_ptr<PluginLibrary> library, HostNumbers& numbers, Output& output,
               bool json, bool colour);

  // Starts a fresh interface object, and once more when the database lost what the first start
  // wrote. alone: no other plug-in runs. Returns as Session::Start, with the database as it was
  // unless that is 0; throws PluginError. [one thread at a time]
  [[nodiscard]] std::optional<unsigned int> Start(MirrorDatabase& database, bool alone,
                                                  const Session::StopQuestion& isToEnd);
  void Stop();

  [[nodiscard]] bool Runs() const { return session_ != nullptr; }
  const std::string& Name() const { return library_->Name(); }
  // Of its start: the worker may have found others since. While it runs.
  [[nodiscard]] std::size_t AdapterCount() const;

 private:
  struct Started {
    std::optional<unsigned int> result;
    bool rowsKept = true;
  };
  [[nodiscard]] Started StartSession(std::unique_ptr<MirrorDatabase::Bracket> transaction,
                                     const Session::StopQuestion& isToEnd);
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
// comes or nobody reads the lines any more. Call after Output::MoveToBackground.
class Service {
 public:
  explicit Service(Host& host);
  Service(const Service&) = delete;
  Service& operator=(const Service&) = delete;

  // Returns the exit status. [main thread]
  [[nodiscard]] int Run();

 private:
  struct Entry {
    std::unique_ptr<ServedPlugin> plugin;
    unsigned int result = 0;    // of the last start
    bool givenUp = false;       // not tried again
    unsigned long pause = 0;    // milliseconds of now() until the next try
    unsigned long nextTry = 0;  // now() of it
  };

  void Load();
  void KeepStarting();
  void Try(Entry& entry);
  void NoteFailedStart(Entry& entry, unsigned int result);
  void PauseStarts();
  void EndStarts();
  void WaitForEnd();
  [[nodiscard]] std::optional<unsigned long> NextTry() const;
  [[nodiscard]] int Status() const;

  Host& host_;
  MirrorDatabase database_;
  ToolWatch toolWatch_;
  HostNumbers numbers_;
  std::vector<Entry> entries_;  // the starts thread's while it runs, else the main thread's
  bool readerHasGone_ = false;
  WakeEvent startsAreOver_;         // the starts thread has nothing left to start
  TLXX::CRunStop startRuns_;        // ends the tool runs of a start
  std::atomic<bool> ends_ = false;  // the service is to end
  std::mutex endsMutex_;            // held while ends_ is set
  std::condition_variable endsChanged_;
  StopRequest stop_;  // goes first: a signal during the end of the rest has its own effect
};

}  // namespace vxhost
