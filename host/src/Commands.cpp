#include "Commands.h"

#include "Database.h"
#include "Json.h"
#include "Rpc.h"
#include "Service.h"
#include "Started.h"
#include "TreeView.h"

#include <cstdlib>

#include <fmt/format.h>
#include <unistd.h>

#include <TLXX/System.h>

namespace vxhost {

namespace {

constexpr ArgumentRow OBJECT = {"OBJECT",
                                "id, serial number, device path, host number or name of a plug-in"};
constexpr ArgumentRow PROPERTY = {"PROPERTY", "number or name of the property"};
constexpr ArgumentRow VALUE = {"VALUE", "new value"};

std::string TreeJson(const std::vector<StartedPlugin>& plugins) {
  JsonText json;
  json.StartObject().Key("plugins").StartArray();
  for (const StartedPlugin& plugin : plugins) {
    json.StartObject().Key("plugin").Text(plugin.name).Key("result").Unsigned(plugin.result);
    if (!plugin.problem.empty()) json.Key("problem").Text(plugin.problem);
    json.Key("adapters");
    Write(json, plugin.session ? plugin.session->Adapters() : std::vector<PI::CAdapterID>());
    json.Key("objects");
    Write(json, plugin.topology.Objects());
    json.EndObject();
  }
  json.EndArray().EndObject();
  return json.Take();
}

// The options of a command that starts plug-ins, and its own.
std::vector<Option> With(std::vector<Option> own) {
  std::vector<Option> options = {Option::Plugin,    Option::ConfigDir,   Option::Sysfs,
                                 Option::Simulate,  Option::Trace,       Option::TracePlatform,
                                 Option::TraceFile, Option::ToolTimeout, Option::TimeScale};
  options.insert(options.end(), own.begin(), own.end());
  return options;
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
  if (host.Settings().json) {
    host.Out().WriteLine(TreeJson(plugins));
    return StatusOf(plugins);
  }
  for (const StartedPlugin& plugin : plugins) {
    if (plugin.session == nullptr) continue;
    host.Out().Write(RenderTree(plugin.topology, plugin.name, host.Colour()));
  }
  return StatusOf(plugins);
}

int RunRpc(Host& host) {
  const PluginLibrary plugin = LoadTheOne(host);
  host.Out().MoveToBackground(true);
  StopRequest stop(host.Signals(), nullptr, [&host] { host.Out().Hurry(); });
  bool served = false;
  {
    MirrorDatabase database(host, MirrorDatabase::Default::None);
    try {
      RpcServer server(plugin, host.Out(), database, stop);
      served = server.Run(STDIN_FILENO);
    } catch (const PluginError& error) {
      throw Failure(EXIT_NOTHING, error.what());
    }
  }
  // All is in order: now the signal has its own effect, so that whoever sent it sees that.
  if (stop.Signal() != 0) {
    host.Out().Finish();
    host.Signals().EndBy(stop.Signal());
  }
  return served ? EXIT_DONE : EXIT_FAILED;
}

int RunService(Host& host) {
  host.Out().MoveToBackground(host.Settings().json);
  Service service(host);
  return service.Run();
}

int RunSimulate(Host& host) {
  std::vector<std::string> words = {Simulation::CheckedTool(host.Home()), "simulator"};
  const std::vector<std::string>& edit = host.Settings().arguments;
  words.insert(words.end(), edit.begin(), edit.end());
  if (edit.empty()) words.emplace_back("--help");
  // So that its help names what the user has typed.
  ::setenv("VXSIM_CALLED_AS", "vxhost simulate", 1);
  const TLXX::CProgramResult result = TLXX::CSystem::RunProgram(words);
  if (result.m_Status != 0) {
    Say(result.Complaint());
    return result.m_Status > 0 ? result.m_Status : EXIT_FAILED;
  }
  host.Out().Write(result.m_Output);
  return EXIT_DONE;
}

const std::vector<Command>& Commands() {
  static const std::vector<Command> commands = {
      {{"tree", "Show plug-ins, adapters and drives as a tree", {}, With({Option::Json})}, RunTree},
      {{"show", "Show an object with its properties", {OBJECT}, With({Option::Json})}, RunShow},
      {{"get", "Show one property of an object", {OBJECT, PROPERTY}, With({Option::Json})}, RunGet},
      {{"set", "Set a property of an object", {OBJECT, PROPERTY, VALUE}, With({Option::Json})},
       RunSet},
      {{"ops", "Show the operations of an object", {OBJECT}, With({Option::Json})}, RunOps},
      {{"run",
        "Run plug-ins as a service in the foreground and print their events",
        {},
        With({Option::Database, Option::Json})},
       RunService},
      {{"rpc",
        "Serve a plug-in call by call: JSON lines in, JSON lines out",
        {},
        With({Option::Database})},
       RunRpc},
      {{"db",
        "Show the rows of the database",
        {},
        {Option::Trace, Option::TracePlatform, Option::TraceFile, Option::Database, Option::Json}},
       RunDatabase},
      {{"doctor",
        "Say of every NVMe device why it is an adapter or not",
        {},
        With({Option::Json, Option::Verbose})},
       RunDoctor},
      {{"simulate",
        "Change a fleet of simulated drives: pull, plug, heat, wear, fail ...",
        {{"EDIT", "what to do; without it: help", true}},
        {}},
       RunSimulate},
  };
  return commands;
}

}  // namespace vxhost
