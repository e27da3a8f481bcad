#include "Started.h"

#include "Catalogue.h"
#include "ToolWatch.h"

#include <algorithm>

#include <fmt/format.h>

#include <PI/Codes.h>

namespace vxhost {

namespace {

void Start(StartedPlugin& plugin, const std::filesystem::path& file, HostNumbers& numbers) {
  plugin.m_Library = std::make_unique<PluginLibrary>(file);
  plugin.m_Name = plugin.m_Library->Name();
  auto session = std::make_unique<Session>(*plugin.m_Library, numbers, nullptr);
  plugin.m_Result = session->Start().value();  // nobody breaks it off
  if (plugin.m_Result != 0) {
    plugin.m_Problem = StartProblem(plugin.m_Name, plugin.m_Result);
    return;
  }
  plugin.m_Topology = Topology(session->GetTopology(), session->Adapters());
  plugin.m_Session = std::move(session);
}

}  // namespace

std::string StartProblem(const std::string& plugin, unsigned int result) {
  if (result == PI::ERR_NO_SUPPORTED_HARDWARE) {
    return fmt::format("plug-in {}: no supported hardware: no drive that it serves is there",
                       plugin);
  }
  return fmt::format("plug-in {}: start-up failed: {} ({})", plugin, ResultText(result), result);
}

std::vector<StartedPlugin> StartPlugins(const Host& host, HostNumbers& numbers) {
  // An empty machine and a tool that fails look alike to a plug-in; people see which it was.
  const ToolWatch toolWatch;
  std::vector<StartedPlugin> plugins;
  for (const std::filesystem::path& file : host.Plugins()) {
    StartedPlugin& plugin = plugins.emplace_back();
    plugin.m_Name = file.filename().string();
    try {
      Start(plugin, file, numbers);
    } catch (const PluginError& error) {
      plugin.m_Library.reset();
      plugin.m_Problem = error.what();
    }
    if (!plugin.m_Problem.empty()) Say(plugin.m_Problem);
  }
  return plugins;
}

int StatusOf(const std::vector<StartedPlugin>& plugins) {
  const auto runs = [](const StartedPlugin& plugin) { return plugin.m_Session != nullptr; };
  const auto lacks = [](const StartedPlugin& plugin) {
    return plugin.m_Library == nullptr || plugin.m_Result == PI::ERR_NO_SUPPORTED_HARDWARE;
  };
  if (std::any_of(plugins.begin(), plugins.end(), runs)) return EXIT_DONE;
  return std::all_of(plugins.begin(), plugins.end(), lacks) ? EXIT_NOTHING : EXIT_FAILED;
}

}  // namespace vxhost
