#include "Started.h"

#include "Catalogue.h"
#include "ToolWatch.h"

#include <algorithm>

#include <fmt/format.h>

#include <PI/Codes.h>

namespace vxhost {

namespace {

void Start(StartedPlugin& plugin, const std::filesystem::path& file, HostNumbers& numbers) {
  plugin.library = std::make_unique<PluginLibrary>(file);
  plugin.name = plugin.library->Name();
  auto session = std::make_unique<Session>(*plugin.library, numbers, nullptr);
  plugin.result = session->Start().value();  // nobody breaks it off
  if (plugin.result != 0) {
    plugin.problem = StartProblem(plugin.name, plugin.result);
    return;
  }
  plugin.topology = Topology(session->GetTopology(), session->Adapters());
  plugin.session = std::move(session);
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
    plugin.name = file.filename().string();
    try {
      Start(plugin, file, numbers);
    } catch (const PluginError& error) {
      plugin.library.reset();
      plugin.problem = error.what();
    }
    if (!plugin.problem.empty()) Say(plugin.problem);
  }
  return plugins;
}

int StatusOf(const std::vector<StartedPlugin>& plugins) {
  const auto runs = [](const StartedPlugin& plugin) { return plugin.session != nullptr; };
  const auto lacks = [](const StartedPlugin& plugin) {
    return plugin.library == nullptr || plugin.result == PI::ERR_NO_SUPPORTED_HARDWARE;
  };
  if (std::any_of(plugins.begin(), plugins.end(), runs)) return EXIT_DONE;
  return std::all_of(plugins.begin(), plugins.end(), lacks) ? EXIT_NOTHING : EXIT_FAILED;
}

}  // namespace vxhost
