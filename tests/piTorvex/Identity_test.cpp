#include "Frame_fixtures.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <TLX/Misc/ModuleInfo.h>

namespace NAMESPACE_piTorvex {
namespace NLS {
extern TLX::Language_Support::CLanguageSupport::CLngFile m_LngFile;
}  // namespace NLS
extern TLX::Language_Support::CLanguageSupport::ERROR_MSG_LIST ErrorMsgList;
}  // namespace NAMESPACE_piTorvex

namespace {

using frametest::IPLUGINAPI_IMPL;
using NAMESPACE_piTorvex::getAdapterName;
using NAMESPACE_piTorvex::TLX_MODULE_INFO_piTorvex;
using testing::ElementsAre;
using testing::IsEmpty;
using vxtest::PluginTrace;

using NAMESPACE_piTorvex::CTracer;

CTracer Tracer() {
  return CTracer(NAMESPACE_piTorvex::TraceSource::PLUGIN, "Operation");
}

TEST(ModuleIdentity, Record_SaysWhoTheModuleIs) {
  EXPECT_EQ(TLX_MODULE_INFO_piTorvex.Id(), 309U);
  EXPECT_EQ(TLX_MODULE_INFO_piTorvex.Name(), "piTorvex");
  EXPECT_EQ(TLX_MODULE_INFO_piTorvex.Version(), "P:7.22.0 F:7.22.0");
  EXPECT_EQ(TLX_MODULE_INFO_piTorvex.Messages(), &NAMESPACE_piTorvex::NLS::m_LngFile);
  EXPECT_EQ(TLX_MODULE_INFO_piTorvex.Errors(), &NAMESPACE_piTorvex::ErrorMsgList);
}

TEST(ModuleIdentity, Messages_AreBuiltIn) {
  const auto* messages = TLX_MODULE_INFO_piTorvex.Messages();
  ASSERT_NE(messages, nullptr);
  EXPECT_EQ(messages->m_FileName, "piTorvex.nls");
  EXPECT_EQ(messages->m_LanguageCode, 25966U);
  EXPECT_EQ(messages->m_Encoding, "utf-8");
  EXPECT_EQ(messages->m_FirstMessage, 1U);
  EXPECT_EQ(messages->m_MessageCount, 2U);
  EXPECT_THAT(messages->m_DefaultMessages, ElementsAre("General error in piTorvex plugin",
                                                       "No information available for this error"));
}

TEST(ModuleIdentity, Errors_AreOneEntry) {
  const auto* errors = TLX_MODULE_INFO_piTorvex.Errors();
  ASSERT_NE(errors, nullptr);
  ASSERT_EQ(errors->size(), 1U);
  EXPECT_EQ(errors->front().m_Code, 0x21350001U);
  EXPECT_EQ(errors->front().m_Message, 0U);
  EXPECT_EQ(errors->front().m_Severity, 0U);
  EXPECT_EQ(errors->front().m_Flags, 0U);
}

TEST(Trace, WhileItsLevelIsOff_EvaluatesNothing) {
  PluginTrace trace(0);
  int evaluated = 0;
  Tracer().Steps("%d", [&evaluated] { return ++evaluated; });
  EXPECT_EQ(evaluated, 0);
  trace.SetMask(4);
  Tracer().Steps("%d", [&evaluated] { return ++evaluated; });
  EXPECT_EQ(evaluated, 0);
  trace.SetMask(2);
  Tracer().Steps("%d", [&evaluated] { return ++evaluated; });
  EXPECT_EQ(evaluated, 1);
  EXPECT_THAT(trace.Texts(), ElementsAre("1"));
}

TEST(Trace, Numbers_HaveTheWidthOfTheirType) {
  PluginTrace trace(2);
  Tracer().Steps("0x%x %x %d %d %d %s", 0x0135000000000001UL, 0xFFFFFFFFU, ~0UL, -1, 1UL << 40U,
                 std::string("text"));
  EXPECT_THAT(trace.Texts(), ElementsAre("0x135000000000001 ffffffff -1 -1 1099511627776 text"));
}

struct LineSink : TLX::Internals::ITraceSink {
  void Write(const TLX::Internals::CTraceLine& line) override {
    file = line.m_File;
    lineNumber = line.m_Line;
  }
  std::string file;
  unsigned int lineNumber = 0;
};

TEST(Trace, SaysWhereItWasWritten) {
  const auto sink = std::make_shared<LineSink>();
  TLX::Internals::SetTraceSink(sink);
  TLX_MODULE_INFO_piTorvex.SetTraceMask(2);
  Tracer().Steps("text");
  const unsigned int here = __LINE__ - 1;
  TLX_MODULE_INFO_piTorvex.SetTraceMask(0);
  TLX::Internals::SetTraceSink(nullptr);
  EXPECT_EQ(sink->file, "piTorvex/Src/piTorvexPlugin");
  EXPECT_EQ(sink->lineNumber, here);
}

TEST(Trace, OfATextThatLooksLikeAFormat_ShowsItAsItStands) {
  PluginTrace trace(2);
  Tracer().Steps("(%s) (%d)", std::string("%d %s %n"), 7);
  EXPECT_THAT(trace.Texts(), ElementsAre("(%d %s %n) (7)"));
}

struct FailingSink : TLX::Internals::ITraceSink {
  void Write(const TLX::Internals::CTraceLine&) override { throw std::runtime_error("disk full"); }
};

TEST(Trace, ThatCannotBeWritten_FailsNoRequest) {
  frametest::Guest guest;
  TLX::Internals::SetTraceSink(std::make_shared<FailingSink>());
  TLX_MODULE_INFO_piTorvex.SetTraceMask(31);
  std::vector<PI::CObject> objects;
  EXPECT_EQ(guest.Call(4, 0, &objects), 0U);
  TLX_MODULE_INFO_piTorvex.SetTraceMask(0);
  TLX::Internals::SetTraceSink(nullptr);
  EXPECT_EQ(objects.size(), 1U);
}

struct NameCase {
  unsigned long subsystem;
  const char* on0A54;
  const char* elsewhere;
};

TEST(AdapterName, FollowsTheSubsystem_AndOfTwoTheDevice0A54) {
  const std::vector<NameCase> cases = {
      {0x3702, "PACC EP P3700", "PACC EP P3700"},
      {0x3703, "SSD PCIe3 P3700", "SSD PCIe3 P3700"},
      {0x3904, "PACC EP P4800X", "PACC EP P4800X"},
      {0x3905, "SSD PCIe3 P4800X", "SSD PCIe3 P4800X"},
      {0x4703, "SSD PCIe3 P4501", "SSD PCIe3 P4601"},
      {0x4705, "PACC EP P4501", "PACC EP P4601"},
      {0x4712, "SSD PCIe3 P4600", "SSD PCIe3 P4600"},
      {0x4714, "PACC EP P4600", "PACC EP P4600"},
      {0, "Intel PCIe Device Adapter", "Intel PCIe Device Adapter"},
      {0x4704, "Intel PCIe Device Adapter", "Intel PCIe Device Adapter"},
      {0x0A54, "Intel PCIe Device Adapter", "Intel PCIe Device Adapter"},
      {0x100004703, "Intel PCIe Device Adapter", "Intel PCIe Device Adapter"},
  };
  for (const NameCase& each : cases) {
    EXPECT_EQ(getAdapterName(each.subsystem, 0x0A54), each.on0A54) << std::hex << each.subsystem;
    for (const unsigned long device : {0UL, 0x0953UL, 0x0A53UL, 0x0A55UL, 0x2701UL}) {
      EXPECT_EQ(getAdapterName(each.subsystem, device), each.elsewhere)
          << std::hex << each.subsystem << " on " << device;
    }
  }
}

TEST(ObjectIds, CountUpBelowTheModuleId) {
  IPLUGINAPI_IMPL plugin;
  EXPECT_EQ(plugin.NewID(), 0x0135000000000000UL);
  EXPECT_EQ(plugin.NewID(), 0x0135000000000001UL);
  EXPECT_EQ(plugin.NewID(), 0x0135000000000002UL);
}

// Two adapters with a drive each, and a third drive that shares the first one's adapter index.
class ObjectLocks : public testing::Test {
 protected:
  ObjectLocks() {
    plugin.m_Adapters.resize(2);
    plugin.m_PhysicalDrives.resize(3);
    plugin.m_PhysicalDrives[1].DriveNumber = 1;
  }

  std::string Flags() const {
    std::string flags;
    const auto add = [&flags](const PI::CObject& object) {
      flags += object.m_LockFlag ? 'x' : '.';
    };
    add(plugin.m_Plugin);
    for (const auto& adapter : plugin.m_Adapters) add(adapter);
    for (const auto& drive : plugin.m_PhysicalDrives) add(drive);
    return flags;
  }

  IPLUGINAPI_IMPL plugin;
};

TEST_F(ObjectLocks, OfNoAdapter_MarkThePluginAlone) {
  plugin.m_Adapters[0].m_LockFlag = true;
  plugin.m_PhysicalDrives[2].m_LockFlag = true;
  EXPECT_EQ(plugin.LockObjects(-1, 5), 0U);
  EXPECT_EQ(Flags(), "x.....");
}

TEST_F(ObjectLocks, OfOneDrive_MarkTheFirstWhateverTheDriveIndex) {
  EXPECT_EQ(plugin.LockObjects(0, 0), 0U);
  EXPECT_EQ(Flags(), "...x..");
  plugin.UnlockObjects();
  EXPECT_EQ(plugin.LockObjects(0, 7), 0U);
  EXPECT_EQ(Flags(), "...x..");
}

TEST_F(ObjectLocks, OfAllDrives_MarkThemAndLeaveTheOthers) {
  plugin.m_PhysicalDrives[1].m_LockFlag = true;
  EXPECT_EQ(plugin.LockObjects(0, -1), 0U);
  EXPECT_EQ(Flags(), "...xxx");
}

TEST_F(ObjectLocks, AreAllTakenBack) {
  plugin.m_Plugin.m_LockFlag = true;
  plugin.m_Adapters[1].m_LockFlag = true;
  plugin.m_PhysicalDrives[1].m_LockFlag = true;
  EXPECT_EQ(plugin.UnlockObjects(), 0U);
  EXPECT_EQ(Flags(), "......");
}

}  // namespace
