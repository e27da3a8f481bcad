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
  std::string m_Name;
  std::unique_ptr<PluginLibrary> m_Library;  // null when it could not be loaded
  std::unique_ptr<Session> m_Session;        // null unless it runs
  unsigned int m_Result = 0;                 // of its start
  std::string m_Problem;                     // why it does not run, one line
  Topology m_Topology;                       // as it was after the start
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
