#pragma once

#include "Output.h"
#include "Plugin.h"
#include "RpcRequest.h"

#include <atomic>
#include <string_view>
#include <variant>

namespace vxhost {

// Serves one plug-in, call by call: requests line by line from a descriptor, one answer line each.
// Only the lines asked for commands; the notifications come from threads of the plug-in.
class RpcServer {
 public:
  // Creates the interface object and sets its callback.
  RpcServer(const PluginLibrary& plugin, Output& output, double timeScale);
  ~RpcServer();  // command 3 if command 2 was called and 3 was not, then releaseIf
  RpcServer(const RpcServer&) = delete;
  RpcServer& operator=(const RpcServer&) = delete;

  // Serves until the end of input. False when the answers could not be written.
  bool Run(int input);

 private:
  bool Serve(std::string_view line);
  std::string Perform(RpcRequest& request);
  std::string Call(RpcRequest& request);
  unsigned int Create();
  void Release();
  void WriteNotification();

  const PluginLibrary& plugin_;
  Output& output_;
  const double timeScale_;
  Notifier notifier_;
  std::atomic<unsigned long> notifications_{0};
  IPLUGINAPI* interface_ = nullptr;
  bool workerMayRun_ = false;  // command 2 was called and 3 was not
};

}  // namespace vxhost
