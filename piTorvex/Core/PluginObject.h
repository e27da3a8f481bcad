#pragma once

#include <string>
#include <vector>

#include <DatabaseORM/Records.h>
#include <PI/Property.h>

// What the plug-in object shows and what its row holds. Pure functions. [any thread]
namespace NAMESPACE_piTorvex {

inline constexpr const char* PLUGIN_NAME = "Torvex-Plugin";  // the key of its row

// What changes about the plug-in object.
struct CPluginState {
  std::string m_ToolVersion;    // empty: the tool told none
  unsigned int m_PollInterval;  // seconds
};

// Empties out and appends the property with the id, or all for PI::PROPERTY_ALL.
void ShowPlugin(const CPluginState& state, unsigned long propertyId,
                std::vector<PI::CProperty>& out);

// The row, without its identity.
[[nodiscard]] RaidDataModels::Plugin PluginRecord(const CPluginState& state,
                                                  unsigned long objectId);

}  // namespace NAMESPACE_piTorvex
