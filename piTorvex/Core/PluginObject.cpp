#include "Core/PluginObject.h"

#include "Core/Options.h"
#include "Core/Text.h"

#include <array>

#include <PI/PropertyTable.h>
#include <TLX/Misc/ModuleInfo.h>

namespace NAMESPACE_piTorvex {
namespace {

constexpr const char* VERSION = "7.22.0";
constexpr const char* VENDOR = "Vioteis.";
constexpr const char* SETTABLE =
    R"({"settableProperties":[{"name":"pollinterval","formatStr":"<int32>[2..255, 1]"}]})";

std::string Location() {
  return FormatText("Plugin:ID=%d", static_cast<unsigned int>(TLX::Misc::MODULE_piTorvex));
}

// What the plug-in object shows.
struct CPluginValues {
  std::string Location;
  std::string Name;
  std::string Version;
  std::string Vendor;
  std::string ToolVersion;
  int PollInterval;
};

bool ShowPollInterval(const CPluginValues& values, PI::CProperty& property) {
  property.SetValue(values.PollInterval, static_cast<int>(LOWEST_POLL_INTERVAL),
                    static_cast<int>(HIGHEST_POLL_INTERVAL), 1U);
  return true;
}

using CObj = CPluginValues;
constexpr auto PLUGIN_PROPERTIES = std::to_array<PI::CPropertyRow<CPluginValues>>({
#define PLUGIN_PROPERTY VX_PLUGIN_PROPERTY_ROW
#define STORED(...)
#include "Core/PropertyRows.h"
});
static_assert(PI::HasUniqueIDs(PLUGIN_PROPERTIES), "a plug-in property stands twice in the table");

}  // namespace

void ShowPlugin(const CPluginState& state, unsigned long propertyId,
                std::vector<PI::CProperty>& out) {
  const CPluginValues values = {
      Location(), PLUGIN_NAME,         VERSION,
      VENDOR,     state.m_ToolVersion, static_cast<int>(state.m_PollInterval)};
  PI::WalkProperties(PLUGIN_PROPERTIES, values, propertyId, out);
}

RaidDataModels::Plugin PluginRecord(const CPluginState& state, unsigned long objectId) {
  RaidDataModels::Plugin record;
  record.ObjectID = objectId;
  record.Description = Location();
  record.Name = PLUGIN_NAME;
  record.Version = VERSION;
  record.Vendor = VENDOR;
  if (!state.m_ToolVersion.empty()) record.ToolVersion = state.m_ToolVersion;
  record.PollInterval = static_cast<int>(ClampPollInterval(state.m_PollInterval));
  record.SettableProperties = SETTABLE;
  return record;
}

}  // namespace NAMESPACE_piTorvex
