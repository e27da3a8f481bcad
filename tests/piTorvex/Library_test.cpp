// The plug-in as the library that a host loads and unloads.
#include <string>
#include <vector>

#include <dlfcn.h>
#include <gtest/gtest.h>

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

}  // namespace
