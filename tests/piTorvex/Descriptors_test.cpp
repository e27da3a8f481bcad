#include "Object_fixtures.h"

#include <set>

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
using testing::Field;
using testing::SizeIs;
using testing::UnorderedElementsAre;

// The ids of the descriptions whose last flag is 0.
std::multiset<unsigned int> IdsWithoutLastFlag() {
  std::multiset<unsigned int> ids;
  for (const PI::_PROPERTY_DESCRIPTION& each : g_Descriptions) {
    EXPECT_LE(each.m_LastFlag, 1U);
    if (each.m_LastFlag == 0) ids.insert(each.m_PropertyID);
  }
  return ids;
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
  EXPECT_THAT(g_Descriptions, SizeIs(29));
  EXPECT_THAT(g_Descriptions, Each(Field(&PI::_PROPERTY_DESCRIPTION::m_Flag1, 1U)));
  EXPECT_THAT(g_Descriptions, Each(Field(&PI::_PROPERTY_DESCRIPTION::m_Flag2, 1U)));
  EXPECT_THAT(IdsWithoutLastFlag(),
              UnorderedElementsAre(PI::PROPERTY_TEMPERATURE, PI::PROPERTY_END_OF_LIFE,
                                   PI::PROPERTY_POWER_ON_HOURS, PI::PROPERTY_AVAILABLE_SPARE,
                                   PI::PROPERTY_DATA_READ, PI::PROPERTY_DATA_WRITTEN,
                                   PI::PROPERTY_REMAINING_LIFE, PI::PROPERTY_MEDIA_ERRORS));
}

TEST_F(Descriptions, OfADrive_HaveTheFlagsOfTheirRows) {
  vxtest::CTorvexPhysicalDrive drive = vxtest::HealthyDrive();
  plugin.GetPhysicalDriveProperties(drive, out, PI::PROPERTY_ALL);
  EXPECT_THAT(g_Descriptions, SizeIs(15));
  EXPECT_THAT(g_Descriptions, Each(Field(&PI::_PROPERTY_DESCRIPTION::m_Flag1, 1U)));
  EXPECT_THAT(g_Descriptions, Each(Field(&PI::_PROPERTY_DESCRIPTION::m_Flag2, 1U)));
  EXPECT_THAT(IdsWithoutLastFlag(),
              UnorderedElementsAre(PI::PROPERTY_DRIVE_TEMPERATURE, PI::PROPERTY_SERIAL_NUMBER));
}

TEST_F(Descriptions, OfOneProperty_AreAskedForAlone) {
  vxtest::CTorvexAdapter adapter = vxtest::HealthyAdapter();
  plugin.GetAdapterProperties(adapter, out, PI::PROPERTY_SERIAL_NUMBER);
  EXPECT_THAT(g_Descriptions, testing::ElementsAre(Field(&PI::_PROPERTY_DESCRIPTION::m_PropertyID,
                                                         PI::PROPERTY_SERIAL_NUMBER)));
}

}  // namespace
