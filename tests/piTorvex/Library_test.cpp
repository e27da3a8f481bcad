// The plug-in as the library that a host loads and unloads.
#include "support/ScriptedTool.h"

#include <atomic>
#include <chrono>
#include <string>
#include <thread>
#include <vector>

#include <dlfcn.h>
#include <gtest/gtest.h>

#include <PI/AdapterID.h>
#include <PI/PluginApi.h>
#include <TLX/Misc/ModuleInfo.h>

namespace {

using TLX::Misc::CModuleInfo;

// The module records of that name.
std::vector<const CModuleInfo*> RecordsOf(const std::string& name) {
  std::vector<const CModuleInfo*> records;
  CModuleInfo::ForEach([&](CModuleInfo& module) {
    if (module.Name() == name) records.push_back(&module);
  });
  return records;
}

template <class Function>
Function Symbol(void* library, const char* name) {
  return reinterpret_cast<Function>(dlsym(library, name));
}

// Every load begins anew: identity, ids, options.
TEST(Library, LoadedAndUnloaded_BringsItsIdentityAndTakesItAway) {
  for (int round = 0; round < 3; ++round) {
    ASSERT_TRUE(RecordsOf("piTorvex").empty()) << round;
    void* const library = dlopen(VX_PLUGIN, RTLD_NOW | RTLD_LOCAL);
    ASSERT_NE(library, nullptr) << dlerror();
    const auto records = RecordsOf("piTorvex");
    ASSERT_EQ(records.size(), 1U);
    EXPECT_EQ(records[0]->Id(), 309U);
    EXPECT_EQ(records[0]->Messages()->m_FileName, "piTorvex.nls");
    EXPECT_EQ(records[0]->Errors()->size(), 1U);

    const auto create = Symbol<CreateIfFunction>(library, "createIf");
    const auto release = Symbol<ReleaseIfFunction>(library, "releaseIf");
    ASSERT_TRUE(create != nullptr && release != nullptr);
    IPLUGINAPI* plugin = nullptr;
    ASSERT_EQ(create(&plugin), 0U);
    std::vector<PI::CObject> objects;
    EXPECT_EQ(plugin->Execute(PI::COMMAND_GET_TOPOLOGY, 0, &objects), 0U);
    ASSERT_EQ(objects.size(), 1U);
    EXPECT_EQ(objects[0].m_ID, 0U);
    objects.clear();
    release(&plugin);
    ASSERT_EQ(dlclose(library), 0);
  }
}

// Nothing of the library runs any more once command 3 has returned: the code goes, and a worker
// that went on would end the process.
TEST(Library, UnloadedAfterItsWorkerHasRun_LeavesNothingRunning) {
  for (int round = 0; round < 2; ++round) {
    // It reports no drive, and takes its time over it once it is slow: longer than a shut-down
    // pauses by itself.
    vxtest::ScriptedTool tool;
    std::atomic<int> runs{0};
    std::atomic<bool> isSlow{false};
    std::atomic<bool> isRunning{false};
    tool.SetHook([&](const std::string&) {
      ++runs;
      isRunning = true;
      if (isSlow) std::this_thread::sleep_for(std::chrono::milliseconds(1500));
      isRunning = false;
    });
    void* const library = dlopen(VX_PLUGIN, RTLD_NOW | RTLD_LOCAL);
    ASSERT_NE(library, nullptr) << dlerror();
    IPLUGINAPI* plugin = nullptr;
    ASSERT_EQ(Symbol<CreateIfFunction>(library, "createIf")(&plugin), 0U);
    std::vector<PI::CAdapterID> adapters;
    EXPECT_EQ(plugin->Execute(PI::COMMAND_INITIALIZE, 0, &adapters), PI::ERR_NO_SUPPORTED_HARDWARE);
    const int before = runs;
    isSlow = true;
    EXPECT_EQ(plugin->Execute(PI::COMMAND_SET_ADAPTER_IDS, 0, &adapters), 0U);
    while (runs == before) std::this_thread::sleep_for(std::chrono::milliseconds(1));
    EXPECT_EQ(plugin->Execute(PI::COMMAND_DEINITIALIZE, 0, nullptr), 0U);
    ASSERT_FALSE(isRunning);
    Symbol<ReleaseIfFunction>(library, "releaseIf")(&plugin);
    ASSERT_EQ(dlclose(library), 0);
    ASSERT_EQ(dlopen(VX_PLUGIN, RTLD_NOW | RTLD_NOLOAD), nullptr);
  }
}

}  // namespace
