#pragma once

#include "Plugin.h"

#include <array>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <tuple>
#include <vector>

#include <PI/PluginApi.h>

namespace vxhost {

// The host's numbers of adapters, over all plug-ins: from 1 up in the order of first sight, kept
// for a PCI address as long as the process lives. Address 0:0:0.0 is never an adapter's: one that
// says so is no PCI function, and goes by its plug-in and the index that it has there.
class HostNumbers {
 public:
  int NumberOf(const std::string& plugin, const PI::CAdapterID& adapter);

 private:
  // Address, plug-in, index.
  using Key = std::tuple<std::array<unsigned int, 4>, std::string, unsigned int>;
  std::map<Key, int> numbers_;
};

// One life of a plug-in's interface object, as a host should lead it: createIf, callback, command
// 1, numbering, command 2 ... command 3, releaseIf. [one thread at a time; requests after
// Start: any thread]
class Session {
 public:
  Session(const PluginLibrary& plugin, HostNumbers& numbers, std::function<void()> onNotify);
  ~Session();  // Stop
  Session(const Session&) = delete;
  Session& operator=(const Session&) = delete;

  // Asked whether the host is to end, on the thread that starts.
  using StopQuestion = std::function<bool()>;

  // Makes the object and takes it through command 2. Returns 0 or the code that stopped it; nothing
  // when it was broken off after command 1, because the host is to end. Unless it is 0 the object
  // is released again. Throws PluginError for an object of another interface.
  [[nodiscard]] std::optional<unsigned int> Start(const StopQuestion& isToEnd = nullptr);

  // Command 3 where command 2 was called, then releaseIf. Does nothing when there is no object.
  void Stop();

  // Requests to the running object. Each returns the plug-in's code.
  std::vector<PI::CObject> GetTopology();
  [[nodiscard]] unsigned int GetProperty(unsigned long object, PI::CProperty& property);
  [[nodiscard]] unsigned int SetProperty(unsigned long object, PI::CProperty& property);
  [[nodiscard]] unsigned int GetOperations(unsigned long object,
                                           std::vector<PI::COperation>& operations);
  std::vector<PI::CEvent> FetchEvents();

  const PluginLibrary& Plugin() const { return plugin_; }
  // The adapters of command 1 with their host numbers.
  const std::vector<PI::CAdapterID>& Adapters() const { return adapters_; }

 private:
  [[nodiscard]] unsigned int Create();
  [[nodiscard]] std::optional<unsigned int> Initialize(const StopQuestion& isToEnd);

  const PluginLibrary& plugin_;
  HostNumbers& numbers_;
  Notifier notifier_;
  IPLUGINAPI* interface_ = nullptr;
  bool running_ = false;  // command 2 was called
  unsigned long pluginObject_ = 0;
  std::vector<PI::CAdapterID> adapters_;
};

}  // namespace vxhost
