#include "Commands.h"

#include "Json.h"
#include "Rpc.h"
#include "Started.h"
#include "TreeView.h"

#include <fmt/format.h>
#include <unistd.h>

namespace vxhost {

namespace {

std::string TreeJson(const std::vector<StartedPlugin>& plugins) {
  JsonText json;
  json.StartObject().Key("plugins").StartArray();
  for (const StartedPlugin& plugin : plugins) {
    json.StartObject().Key("plugin").Text(plugin.m_Name).Key("result").Unsigned(plugin.m_Result);
    if (!plugin.m_Problem.empty()) json.Key("problem").Text(plugin.m_Problem);
    json.Key("adapters");
    Write(json, plugin.m_Session ? plugin.m_Session->Adapters() : std::vector<PI::CAdapterID>());
    json.Key("objects");
    Write(json, plugin.m_Topology.Objects());
    json.EndObject();
  }
  json.EndArray().EndObject();
  return json.Take();
}

PluginLibrary LoadTheOne(const Host& host) {
  const auto files = host.Plugins();
  if (files.size() > 1) {
    throw Failure(EXIT_USAGE, fmt::format("there are {} plug-ins in {}: choose one with --plugin",
                                          files.size(), files.front().parent_path().string()));
  }
  try {
    return PluginLibrary(files.front());
  } catch (const PluginError& error) {
    throw Failure(EXIT_NOTHING, error.what());
  }
}

}  // namespace

int RunTree(Host& host) {
  HostNumbers numbers;
  const std::vector<StartedPlugin> plugins = StartPlugins(host, numbers);
  if (host.Settings().m_Json) {
    host.Out().WriteLine(TreeJson(plugins));
    return StatusOf(plugins);
  }
  for (const StartedPlugin& plugin : plugins) {
    if (plugin.m_Session == nullptr) continue;
    host.Out().Write(RenderTree(plugin.m_Topology, plugin.m_Name, host.Colour()));
  }
  return StatusOf(plugins);
}

int RunRpc(Host& host) {
  const PluginLibrary plugin = LoadTheOne(host);
  RpcServer server(plugin, host.Out(), host.Settings().m_TimeScale);
  return server.Run(STDIN_FILENO) ? EXIT_DONE : EXIT_FAILED;
}

const std::vector<Command>& Commands() {
  static const std::vector<Command> commands = {
      {{"tree", "Show plug-ins, adapters and drives as a tree", {}}, RunTree},
      {{"rpc", "Serve a plug-in call by call: JSON lines in, JSON lines out", {}}, RunRpc},
  };
  return commands;
}

}  // namespace vxhost
