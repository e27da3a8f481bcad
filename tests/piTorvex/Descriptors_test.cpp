#include "Object_fixtures.h"

#include <vector>

#include <dlfcn.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <PI/PluginHelper.h>

// What the plug-in hands to the host's library. This executable stands in front of the function,
// since a property shows less than its description holds.

namespace {

bool g_Records = false;
std::vector<PI::_PROPERTY_DESCRIPTION> g_Descriptions;  // in the order of the calls

template <class Function>
Function Original(const char* symbol) {
  return reinterpret_cast<Function>(dlsym(RTLD_NEXT, symbol));
}

}  // namespace

void PI::CPluginHelper::GenerateCProperty(const _PROPERTY_DESCRIPTION& description,
                                          CProperty& property) {
  if (g_Records) g_Descriptions.push_back(description);
  using Function = void (*)(const _PROPERTY_DESCRIPTION&, CProperty&);
  static const auto original = Original<Function>(
      "_ZN2PI13CPluginHelper17GenerateCPropertyERKNS_21_PROPERTY_DESCRIPTIONERNS_9CPropertyE");
  original(description, property);
}

namespace {

using testing::Each;
using testing::ElementsAreArray;
using testing::Field;

// What of a description no property shows, with the id.
struct Flags {
  unsigned int id;
  unsigned int last;
  bool operator==(const Flags&) const = default;
};

const std::vector<Flags> ADAPTER_ROWS = {
#define ADAPTER_PROPERTY(name, label, text, preset, kind, unit, last, value, column) \
  {PI::PROPERTY_##name, last},
#include <Facts/Fields.def>
};

const std::vector<Flags> DRIVE_ROWS = {
#define DRIVE_PROPERTY(name, label, text, preset, kind, unit, last, value, column) \
  {PI::PROPERTY_##name, last},
#include <Facts/Fields.def>
};

std::vector<Flags> GivenFlags() {
  std::vector<Flags> given;
  for (const PI::_PROPERTY_DESCRIPTION& each : g_Descriptions) {
    given.push_back({each.m_PropertyID, each.m_LastFlag});
  }
  return given;
}

class Descriptions : public testing::Test {
 protected:
  Descriptions() {
    g_Descriptions.clear();
    g_Records = true;
  }
  ~Descriptions() override { g_Records = false; }

  NAMESPACE_piTorvex::IPLUGINAPI_IMPL plugin;
  std::vector<PI::CProperty> out;
};

TEST_F(Descriptions, OfAnAdapter_HaveTheFlagsOfTheirRows) {
  vxtest::CTorvexAdapter adapter = vxtest::HealthyAdapter();
  plugin.GetAdapterProperties(adapter, out, PI::PROPERTY_ALL);
  EXPECT_THAT(GivenFlags(), ElementsAreArray(ADAPTER_ROWS));
  EXPECT_THAT(g_Descriptions, Each(Field(&PI::_PROPERTY_DESCRIPTION::m_Flag1, 1U)));
  EXPECT_THAT(g_Descriptions, Each(Field(&PI::_PROPERTY_DESCRIPTION::m_Flag2, 1U)));
}

TEST_F(Descriptions, OfADrive_HaveTheFlagsOfTheirRows) {
  vxtest::CTorvexPhysicalDrive drive = vxtest::HealthyDrive();
  plugin.GetPhysicalDriveProperties(drive, out, PI::PROPERTY_ALL);
  EXPECT_THAT(GivenFlags(), ElementsAreArray(DRIVE_ROWS));
  EXPECT_THAT(g_Descriptions, Each(Field(&PI::_PROPERTY_DESCRIPTION::m_Flag1, 1U)));
  EXPECT_THAT(g_Descriptions, Each(Field(&PI::_PROPERTY_DESCRIPTION::m_Flag2, 1U)));
}

TEST_F(Descriptions, OfOneProperty_AreAskedForAlone) {
  vxtest::CTorvexAdapter adapter = vxtest::HealthyAdapter();
  plugin.GetAdapterProperties(adapter, out, PI::PROPERTY_SERIAL_NUMBER);
  EXPECT_THAT(g_Descriptions, testing::ElementsAre(Field(&PI::_PROPERTY_DESCRIPTION::m_PropertyID,
                                                         PI::PROPERTY_SERIAL_NUMBER)));
}

}  // namespace
