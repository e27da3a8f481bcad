// Requests through the door: the whole topology, and one property against the bare construction of
// the property list that it ends in.

#include "FleetAnswers.h"
#include "piTorvex.h"

#include <vector>

#include <benchmark/benchmark.h>

#include <PI/Catalogue.h>

namespace {

using namespace NAMESPACE_piTorvex;

struct Served {
  explicit Served(int drives) : tool(vxbench::FleetAnswers(drives, 30)) {
    plugin.m_DataLock.Init();
    plugin.m_EventsLock.Init();
    plugin.GetAdaptersInfo();
    plugin.ScanSystem(plugin.m_Adapters, plugin.m_PhysicalDrives, true);
  }

  vxtest::ScriptedTool tool;
  IPLUGINAPI_IMPL plugin;
};

void Topology(benchmark::State& state) {
  Served served(static_cast<int>(state.range(0)));
  std::vector<PI::CObject> objects;
  for (auto _ : state) {
    served.plugin.Execute(PI::COMMAND_GET_TOPOLOGY, 0, &objects);
    benchmark::DoNotOptimize(objects.data());
  }
  state.SetItemsProcessed(state.iterations() * state.range(0));
}

void PropertyOurs(benchmark::State& state) {
  Served served(static_cast<int>(state.range(0)));
  const unsigned long last = served.plugin.m_Adapters.back().m_ID;
  for (auto _ : state) {
    PI::CProperty property(PI::PROPERTY_NAME, false);
    if (served.plugin.Execute(PI::COMMAND_GET_PROPERTY, last, &property) != 0) {
      state.SkipWithError("the property was not answered");
      return;
    }
    benchmark::DoNotOptimize(&property);
  }
}

void PropertyYardstick(benchmark::State& state) {
  Served served(static_cast<int>(state.range(0)));
  std::vector<PI::CProperty> properties;
  for (auto _ : state) {
    served.plugin.GetAdapterProperties(served.plugin.m_Adapters.back(), properties,
                                       PI::PROPERTY_NAME);
    benchmark::DoNotOptimize(properties.data());
  }
}

BENCHMARK(Topology)->Name("topology/ours")->Arg(64)->Arg(1024);
BENCHMARK(PropertyOurs)->Name("one property/ours")->Arg(64)->Arg(1024);
BENCHMARK(PropertyYardstick)->Name("one property/yardstick")->Arg(64)->Arg(1024);

}  // namespace
