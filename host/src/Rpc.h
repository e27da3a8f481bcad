#pragma once

#include "Database.h"
#include "Output.h"
#include "Plugin.h"
#include "RpcRequest.h"
#include "Signals.h"

#include <chrono>
#include <mutex>
#include <string_view>
#include <variant>

namespace vxhost {

// Serves one plug-in, call by call: requests line by line from a descriptor, one answer line each.
// Only the lines asked for commands; the notifications come from threads of the plug-in.
class RpcServer {
 public:
  // Creates the interface object and sets its callback. Throws PluginError for an object of another
  // interface. Call after Output::MoveToBackground.
  RpcServer(const PluginLibrary& plugin, Output& output, MirrorDatabase& database,
            const StopRequest& stop);
  ~RpcServer();  // command 3 if command 2 was called and 3 was not, then releaseIf
  RpcServer(const RpcServer&) = delete;
  RpcServer& operator=(const RpcServer&) = delete;

  // Serves until the end of input or until asked to stop. False when the answers could not be
  // written.
  [[nodiscard]] bool Run(int input);

 private:
  [[nodiscard]] bool Serve(std::string_view line);
  std::string Perform(RpcRequest& request);
  std::string Call(RpcRequest& request);
  std::string CreateAnew(const RpcRequest& request);
  std::string ReleaseIfEnded(const RpcRequest& request);
  [[nodiscard]] unsigned int Create();
  void Release();
  void Sleep(std::chrono::milliseconds time) const;
  void WriteNotification();

  const PluginLibrary& plugin_;
  Output& output_;
  MirrorDatabase& database_;
  const StopRequest& stop_;
  Notifier notifier_;
  std::mutex notifying_;
  unsigned long notifications_ = 0;  // since createIf, guarded by notifying_
  IPLUGINAPI* interface_ = nullptr;
  bool workerMayRun_ = false;  // command 2 was called and 3 was not
};

}  // namespace vxhost
