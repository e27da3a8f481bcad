#include <algorithm>
#include <cstdlib>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <dlfcn.h>
#include <gtest/gtest.h>

#include <TLX/Internals/TraceSink.h>
#include <TLX/Misc/ModuleInfo.h>

namespace {

using namespace TLX::Misc;
using TLX::Language_Support::CLanguageSupport;

std::vector<std::string> Registered() {
  std::vector<std::string> names;
  CModuleInfo::ForEach([&](CModuleInfo& module) { names.push_back(module.Name()); });
  return names;
}

bool IsRegistered(const std::string& name) {
  return std::ranges::count(Registered(), name) == 1;
}

class ModuleInfo : public testing::Test {
 protected:
  ~ModuleInfo() override {
    CModuleInfo::SetPluginTraceMask(0);
    CModuleInfo::SetPlatformTraceMask(0);
  }
};

TEST_F(ModuleInfo, KeepsItsIdentity) {
  const CLanguageSupport::CLngFile messages("m.nls", 1, "utf-8", 1, {}, 0);
  const CLanguageSupport::ERROR_MSG_LIST errors;
  const CModuleInfo module(MODULE_piTorvex, "mine", "P:1 F:1", &messages, &errors);
  EXPECT_EQ(module.Id(), 309U);
  EXPECT_EQ(module.Name(), "mine");
  EXPECT_EQ(module.Version(), "P:1 F:1");
  EXPECT_EQ(module.Messages(), &messages);
  EXPECT_EQ(module.Errors(), &errors);
  EXPECT_EQ(module.TraceMask(), 0U);
  EXPECT_FALSE(module.IsPlatform());
}

TEST_F(ModuleInfo, RegistersItselfForItsLife) {
  {
    const CModuleInfo module(MODULE_piTorvex, "passing", "1", nullptr, nullptr);
    EXPECT_TRUE(IsRegistered("passing"));
  }
  EXPECT_FALSE(IsRegistered("passing"));
}

class LastLineSink final : public TLX::Internals::ITraceSink {
 public:
  void Write(const TLX::Internals::CTraceLine& line) override {
    text_ = std::string(line.m_Module) + ": " + line.m_Text;
  }
  std::string text_;
};

TEST_F(ModuleInfo, OfAnUnloadedLibrary_TracesToTheLastAndIsGone) {
  const auto sink = std::make_shared<LastLineSink>();
  TLX::Internals::SetTraceSink(sink);
  for (int round = 0; round < 3; ++round) {
    CModuleInfo::SetPluginTraceMask(2);
    void* const library = dlopen(VX_TRACING_MODULE, RTLD_NOW | RTLD_LOCAL);
    ASSERT_NE(library, nullptr) << dlerror();
    EXPECT_TRUE(IsRegistered("unloadable"));
    sink->text_.clear();
    ASSERT_EQ(dlclose(library), 0);
    EXPECT_EQ(sink->text_, "unloadable: unloadable is unloaded");
    EXPECT_FALSE(IsRegistered("unloadable"));
    CModuleInfo::SetPluginTraceMask(0);
  }
  TLX::Internals::SetTraceSink(nullptr);
}

TEST_F(ModuleInfo, TheLibraryItselfIsRegisteredAndSilent) {
  CModuleInfo::ForEach([](CModuleInfo& module) {
    if (module.Name() != "TLX") return;
    EXPECT_EQ(module.Id(), MODULE_TLX);
    EXPECT_EQ(module.TraceMask(), 0U);
  });
  EXPECT_TRUE(IsRegistered("TLX"));
}

bool g_lookAtTheEnd = false;

// Runs behind the destructors of all static objects, those of the libraries included, and ends the
// process with 0 when the library's record has outlived them.
void LookAtTheEnd(int /*status*/, void* /*argument*/) {
  if (g_lookAtTheEnd) std::_Exit(IsRegistered("TLX") ? 0 : 1);
}
// Before any library is initialised, so that what is registered here runs last; not by atexit,
// whose functions run with the destructors of the program that they belong to.
void RegisterFirst() {
  on_exit(LookAtTheEnd, nullptr);
}
[[gnu::section(".preinit_array"), gnu::used]] void (*const g_registerFirst)() = RegisterFirst;

// Threads that nobody waits for may still trace while the process ends.
TEST_F(ModuleInfo, TheLibrarysOwnRecord_OutlivesAllStaticObjects) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  const auto end = [] {
    g_lookAtTheEnd = true;
    std::exit(2);
  };
  EXPECT_EXIT(end(), testing::ExitedWithCode(0), "");
}

TEST_F(ModuleInfo, SetMasks_ReachTheirKindOnly) {
  CModuleInfo plugin(MODULE_piTorvex, "plugin", "1", nullptr, nullptr);
  CModuleInfo platform(MODULE_PI, "platform", "1", nullptr, nullptr);
  EXPECT_TRUE(platform.IsPlatform());
  CModuleInfo::SetPluginTraceMask(30);
  EXPECT_EQ(plugin.TraceMask(), 30U);
  EXPECT_EQ(platform.TraceMask(), 0U);
  CModuleInfo::SetPlatformTraceMask(8);
  EXPECT_EQ(plugin.TraceMask(), 30U);
  EXPECT_EQ(platform.TraceMask(), 8U);
}

TEST_F(ModuleInfo, RegisteredLater_TakesTheMaskOfItsKind) {
  CModuleInfo::SetPluginTraceMask(16);
  CModuleInfo::SetPlatformTraceMask(2);
  const CModuleInfo plugin(MODULE_FIRST_PLUGIN, "first", "1", nullptr, nullptr);
  const CModuleInfo host(MODULE_HOST, "host", "1", nullptr, nullptr);
  EXPECT_EQ(plugin.TraceMask(), 16U);
  EXPECT_EQ(host.TraceMask(), 2U);
}

TEST_F(ModuleInfo, SetTraceMask_IsOfTheOneRecord) {
  CModuleInfo one(MODULE_piTorvex, "one", "1", nullptr, nullptr);
  const CModuleInfo two(MODULE_piTorvex, "two", "1", nullptr, nullptr);
  one.SetTraceMask(4);
  EXPECT_EQ(one.TraceMask(), 4U);
  EXPECT_EQ(two.TraceMask(), 0U);
}

}  // namespace
