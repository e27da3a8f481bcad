// A whole scan with an instant tool in memory, and the merge of its result: time a drive, at
// growing numbers of drives.

#include "FleetAnswers.h"
#include "piTorvex.h"

#include <vector>

#include <benchmark/benchmark.h>

namespace {

using namespace NAMESPACE_piTorvex;

struct Lists {
  std::vector<CTorvexAdapter> adapters;
  std::vector<CTorvexPhysicalDrive> drives;
};

Lists Scan(IPLUGINAPI_IMPL& plugin, bool freshIds) {
  Lists lists;
  plugin.ScanSystem(lists.adapters, lists.drives, freshIds);
  return lists;
}

// An interface object that publishes that many drives.
struct Published {
  explicit Published(int count) : tool(vxbench::FleetAnswers(count, 30)), drives(count) {
    plugin.m_DataLock.Init();
    plugin.m_EventsLock.Init();
    plugin.GetAdaptersInfo();
    Lists lists = Scan(plugin, true);
    plugin.m_Adapters = lists.adapters;
    plugin.m_PhysicalDrives = lists.drives;
  }

  vxtest::ScriptedTool tool;
  int drives;
  IPLUGINAPI_IMPL plugin;
};

void ReportPerDrive(benchmark::State& state) {
  state.SetItemsProcessed(state.iterations() * state.range(0));
}

void WholeScan(benchmark::State& state) {
  Published published(static_cast<int>(state.range(0)));
  for (auto _ : state) {
    published.plugin.GetAdaptersInfo();
    Lists lists = Scan(published.plugin, false);
    published.plugin.UpdateSystem(lists.adapters, lists.drives);
    published.tool.ClearCalls();  // or they would pile up
  }
  ReportPerDrive(state);
}

void MergeIdentical(benchmark::State& state) {
  Published published(static_cast<int>(state.range(0)));
  const Lists same = Scan(published.plugin, false);
  Lists lists;  // made and freed while the clock stands
  for (auto _ : state) {
    state.PauseTiming();
    lists = same;
    state.ResumeTiming();
    published.plugin.UpdateSystem(lists.adapters, lists.drives);
  }
  ReportPerDrive(state);
}

void MergeAllChanged(benchmark::State& state) {
  Published published(static_cast<int>(state.range(0)));
  const Lists base = Scan(published.plugin, false);
  Lists lists;  // made and freed while the clock stands
  float temperature = 40.0F;
  for (auto _ : state) {
    state.PauseTiming();
    lists = base;
    temperature = temperature > 60.0F ? 40.0F : temperature + 1.0F;
    for (auto& adapter : lists.adapters) adapter.Temperature = temperature;
    state.ResumeTiming();
    if (published.plugin.UpdateSystem(lists.adapters, lists.drives) != 0) {
      state.SkipWithError("nothing changed");
      return;
    }
  }
  ReportPerDrive(state);
}

BENCHMARK(WholeScan)->Name("whole scan/ours")->Arg(64)->Arg(1024);
BENCHMARK(MergeIdentical)->Name("merge identical/ours")->Arg(64)->Arg(1024)->Arg(8192);
BENCHMARK(MergeAllChanged)->Name("merge all changed/ours")->Arg(64)->Arg(1024)->Arg(8192);

}  // namespace
