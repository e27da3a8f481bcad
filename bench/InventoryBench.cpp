// Reading the tool's inventory into records, against RapidJSON's own parse of the same text.

#include "FleetAnswers.h"
#include "piTorvexCmdEmu.h"

#include <string>
#include <vector>

#include <benchmark/benchmark.h>
#include <rapidjson/document.h>

namespace {

using namespace NAMESPACE_piTorvex;

std::string InventoryText(benchmark::State& state) {
  return vxbench::FleetAnswers(static_cast<int>(state.range(0)), 30)["show -all -o json -torvex"]
      .output;
}

void ReadOurs(benchmark::State& state) {
  const std::string text = InventoryText(state);
  for (auto _ : state) {
    NAMESPACE_piTorvex::CToolDocument document;
    std::vector<CCmdEmuAdapter> drives;
    if (!ParseToolOutput(text, document)) {
      state.SkipWithError("the inventory does not parse");
      return;
    }
    ReadInventory(document, drives);
    if (drives.size() != static_cast<std::size_t>(state.range(0))) {
      state.SkipWithError("drives are missing");
      return;
    }
    benchmark::DoNotOptimize(drives.data());
  }
}

void ReadYardstick(benchmark::State& state) {
  const std::string text = InventoryText(state);
  for (auto _ : state) {
    rapidjson::Document document;
    document.Parse(text.c_str(), text.size());
    benchmark::DoNotOptimize(document.MemberCount());
  }
}

BENCHMARK(ReadOurs)->Name("read inventory/ours")->Arg(1)->Arg(64)->Arg(1024);
BENCHMARK(ReadYardstick)->Name("read inventory/yardstick")->Arg(1)->Arg(64)->Arg(1024);

}  // namespace
