#pragma once

#include "Host.h"
#include "Session.h"
#include "Topology.h"

#include <memory>
#include <string>
#include <vector>

namespace vxhost {

// A plug-in that a command works with.
struct StartedPlugin {
  std::string name;
  std::unique_ptr<PluginLibrary> library;  // null when it could not be loaded
  std::unique_ptr<Session> session;        // null unless it runs
  unsigned int result = 0;                 // of its start
  std::string problem;                     // why it does not run, one line
  Topology topology;                       // as it was after the start
};

// Loads and starts every plug-in, each for itself: a bad one does not stop the others. Says what
// goes wrong, one line for each plug-in that does not run.
std::vector<StartedPlugin> StartPlugins(const Host& host, HostNumbers& numbers);

// The exit status for a start: 0 when one runs; 3 when all lack hardware or cannot be loaded; else
// 1.
int StatusOf(const std::vector<StartedPlugin>& plugins);

// Why a start ended with the result, as one line.
std::string StartProblem(const std::string& plugin, unsigned int result);

}  // namespace vxhost
