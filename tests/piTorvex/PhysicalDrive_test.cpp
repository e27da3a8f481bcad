// A drive's defaults, equality, change event, properties and operations.
#include "Object_fixtures.h"
#include "PluginTrace.h"

#include <functional>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include <TLX/Misc/Clock.h>

using namespace NAMESPACE_piTorvex;
using vxtest::Alter;
using vxtest::DriveSamples;
using vxtest::ExpectShows;
using vxtest::HealthyDrive;
using vxtest::ShownDrive;

namespace {

class PhysicalDriveTest : public ::testing::Test {
 protected:
  std::vector<PI::CProperty> Get(CTorvexPhysicalDrive drive, unsigned long id) {
    std::vector<PI::CProperty> out(2);  // what was in the list must be gone
    EXPECT_EQ(plugin.GetPhysicalDriveProperties(drive, out, id), 0U);
    return out;
  }

  IPLUGINAPI_IMPL plugin;
};

}  // namespace

// --- Object

static_assert(std::is_base_of_v<PI::CObject, CTorvexPhysicalDrive>);
static_assert(std::has_virtual_destructor_v<CTorvexPhysicalDrive>);

TEST(PhysicalDrive, Copy_IsWholeAndIndependent) {
  CTorvexPhysicalDrive one = HealthyDrive();
  one.m_ReadCounter = 9;
  one.m_ParentIDs = {7};
  CTorvexPhysicalDrive copy;
  copy = one;
  EXPECT_TRUE(copy.SameAs(one));
  EXPECT_EQ(copy.m_ReadCounter, 9U);
  EXPECT_EQ(copy.m_ParentIDs, one.m_ParentIDs);
  copy.SerialNumber = "other";
  copy.m_ParentIDs.clear();
  EXPECT_EQ(one.SerialNumber, "SN1");
  EXPECT_EQ(one.m_ParentIDs.size(), 1U);
}

TEST(PhysicalDrive, FreshObject_HasTheDefaults) {
  const CTorvexPhysicalDrive drive;
  EXPECT_EQ(drive.DriveNumber + drive.ParentAdapterNumber + drive.SectorSize, 0U);
  EXPECT_EQ(drive.SerialNumber + drive.Vendor + drive.ModelNumber + drive.Name + drive.Location +
                drive.DriveText,
            "");
  EXPECT_EQ(drive.UsableSizeMiB + drive.PhysicalSizeMiB + drive.PhysicalSizeMiB2, 0U);
  EXPECT_EQ(drive.UsablePercent, 100U);
  EXPECT_EQ(drive.Temperature, -1.0F);
}

TEST(PhysicalDrive, Assigned_HasEveryValueOfItsSource) {
  CTorvexPhysicalDrive source = HealthyDrive();
  source.RowIsStale = true;
  CTorvexPhysicalDrive drive;
  drive = source;
  EXPECT_TRUE(drive.SameAs(source));
  EXPECT_TRUE(drive.RowIsStale);
  EXPECT_EQ(source.SerialNumber, HealthyDrive().SerialNumber);
}

TEST(PhysicalDrive, Equality_SeesAChangeInEachSingleMember) {
  using Change = std::function<void(CTorvexPhysicalDrive&)>;
  const std::vector<std::pair<const char*, Change>> changes = {
      {"m_ID", [](auto& d) { Alter(d.m_ID); }},
      {"m_Type", [](auto& d) { Alter(d.m_Type); }},
      {"m_Unused", [](auto& d) { Alter(d.m_Unused); }},
#define DRIVE_MEMBER(type, member, ...) {#member, [](auto& d) { Alter(d.member); }},
#define DRIVE_COPY DRIVE_MEMBER
#include <Facts/Fields.def>
  };
  for (const auto& [name, change] : changes) {
    const CTorvexPhysicalDrive one = HealthyDrive();
    CTorvexPhysicalDrive other = one;
    EXPECT_TRUE(one.SameAs(other)) << name;
    change(other);
    EXPECT_FALSE(one.SameAs(other)) << name;
    EXPECT_FALSE(other.SameAs(one)) << name;
  }
}

TEST(PhysicalDrive, Equality_DoesNotLookAtMarksLinksAndCounters) {
  const CTorvexPhysicalDrive one = HealthyDrive();
  CTorvexPhysicalDrive other = one;
  other.RowIsStale = true;
  other.RowIsMissing = true;
  other.m_ReadCounter = 3;
  other.m_LockFlag = true;
  EXPECT_TRUE(one.SameAs(other));
}

// --- Event

TEST(PhysicalDriveUpdate, StateOrSectorSize_RaisesTheChangeEventOnce) {
  CTorvexAdapter owner;
  owner.Name = "owner's new name";
  using Change = std::function<void(CTorvexPhysicalDrive&)>;
  const std::vector<Change> changes = {[](auto& d) { d.HealthState = PI::CHOICE_HEALTH_CRITICAL; },
                                       [](auto& d) { d.SectorSize = 4096; },
                                       [](auto& d) {
                                         d.HealthState = PI::CHOICE_HEALTH_CRITICAL;
                                         d.SectorSize = 4096;
                                       }};
  for (const Change& change : changes) {
    CTorvexPhysicalDrive published = HealthyDrive();
    CTorvexPhysicalDrive newer = HealthyDrive();
    newer.Name = "drive's new name";
    newer.m_ID = 99;
    change(newer);
    std::vector<PI::CEvent> events;
    const unsigned long before = TLX::Misc::now();
    published.Update(newer, owner, events);
    ASSERT_EQ(events.size(), 1U);
    EXPECT_GE(events[0].m_Time, before);
    EXPECT_LE(events[0].m_Time, TLX::Misc::now());
    EXPECT_EQ(events[0].m_EventID, PI::EVENT_DRIVE_CHANGED);
    EXPECT_EQ(events[0].m_Severity, PI::SEVERITY_INFORMATION);
    EXPECT_EQ(events[0].m_ObjectID, 0x0135000000000002UL);
    EXPECT_EQ(events[0].m_Name, "Intel SSD DC P4600, SSDPE2KX010T7");
    EXPECT_EQ(events[0].m_PlaceHolder1, "owner's new name");
    EXPECT_EQ(events[0].m_PlaceHolder2, "Intel SSD DC P4600, SSDPE2KX010T7");
    EXPECT_EQ(published.m_ReadCounter, 1U);
    EXPECT_EQ(published.HealthState, PI::CHOICE_DRIVE_WORKING);
  }
}

TEST(PhysicalDriveUpdate, OtherDifferences_RaiseNothingButCountARead) {
  CTorvexPhysicalDrive published = HealthyDrive();
  CTorvexPhysicalDrive newer = HealthyDrive();
  newer.Temperature = 84.0F;
  newer.UsableSizeMiB = 1;
  newer.PhysicalSizeMiB = 2;
  newer.UsablePercent = 3;
  newer.ModelNumber = "other";
  std::vector<PI::CEvent> events;
  published.Update(newer, CTorvexAdapter(), events);
  EXPECT_TRUE(events.empty());
  EXPECT_EQ(published.m_ReadCounter, 1U);
  EXPECT_EQ(published.Temperature, 35.0F);
}

// --- Properties

TEST_F(PhysicalDriveTest, AllProperties_AreTheSamplesInTheirOrder) {
  ExpectShows(Get(ShownDrive(), PI::PROPERTY_ALL), DriveSamples());
}

TEST_F(PhysicalDriveTest, EachSingleId_GivesExactlyItsRow) {
  for (const auto& sample : DriveSamples()) {
    const std::vector<PI::CProperty> properties = Get(ShownDrive(), sample.id);
    ASSERT_EQ(properties.size(), 1U) << sample.id;
    ExpectShows(properties[0], sample);
  }
}

TEST_F(PhysicalDriveTest, IdThatDrivesDoNotHave_GivesNothing) {
  for (const unsigned long id : std::initializer_list<unsigned long>{
           0, 2, PI::PROPERTY_ADAPTER_NUMBER, PI::PROPERTY_TEMPERATURE,
           0x100000000UL + PI::PROPERTY_NAME, ~0UL}) {
    EXPECT_TRUE(Get(HealthyDrive(), id).empty()) << id;
  }
}

TEST_F(PhysicalDriveTest, Temperature_IsShownOnlyForNamesThatBeginWithSSD) {
  for (const char* name : {"Intel SSD DC P4600", "ssd", "SS", "", " SSD", "Ssd x"}) {
    CTorvexPhysicalDrive drive = HealthyDrive();
    drive.Name = name;
    EXPECT_TRUE(Get(drive, PI::PROPERTY_DRIVE_TEMPERATURE).empty()) << name;
    EXPECT_EQ(Get(drive, PI::PROPERTY_ALL).size(), DriveSamples().size() - 1) << name;
  }
  for (const char* name : {"SSD", "SSD PCIe3", "SSDs"}) {
    CTorvexPhysicalDrive drive = HealthyDrive();
    drive.Name = name;
    EXPECT_EQ(Get(drive, PI::PROPERTY_ALL).size(), DriveSamples().size()) << name;
    drive.Temperature = -1.0F;
    EXPECT_EQ(Get(drive, PI::PROPERTY_ALL).size(), DriveSamples().size() - 1) << name;
    drive.Temperature = -1.5F;
    EXPECT_EQ(Get(drive, PI::PROPERTY_ALL).size(), DriveSamples().size()) << name;
  }
}

TEST_F(PhysicalDriveTest, State_IsTheDrivesOwn_AndTheInterfaceNeverChanges) {
  CTorvexPhysicalDrive drive = HealthyDrive();
  drive.HealthState = PI::CHOICE_HEALTH_CRITICAL;
  EXPECT_EQ(boost::get<PI::CChoiceData>(Get(drive, PI::PROPERTY_HEALTH)[0].m_Value).m_Selected,
            PI::CHOICE_HEALTH_CRITICAL);
  EXPECT_EQ(boost::get<PI::CChoiceData>(Get(drive, PI::PROPERTY_INTERFACE)[0].m_Value).m_Selected,
            PI::CHOICE_INTERFACE_NVME);
}

TEST_F(PhysicalDriveTest, NoPropertyIsSettable) {
  CTorvexPhysicalDrive drive = HealthyDrive();
  for (const unsigned int id : {PI::PROPERTY_ALL, PI::PROPERTY_NAME, PI::PROPERTY_DRIVE_TEMPERATURE,
                                PI::PROPERTY_POLL_INTERVAL}) {
    PI::CProperty property(static_cast<PI::_PROPERTY_ID>(id), true);
    EXPECT_EQ(plugin.SetPhysicalDriveProperty(drive, property), PI::ERR_PROPERTY_NOT_SETTABLE)
        << id;
  }
  EXPECT_TRUE(drive.SameAs(HealthyDrive()));
}

// --- Operations

TEST_F(PhysicalDriveTest, OffersNoOperation_TheOneThatIsDefinedIsSwitchedOff) {
  CTorvexPhysicalDrive drive = HealthyDrive();
  std::vector<PI::COperation> operations(3);
  vxtest::PluginTrace trace;
  EXPECT_EQ(plugin.GetPhysicalDriveOperations(drive, operations), 0U);
  EXPECT_TRUE(operations.empty());
  EXPECT_TRUE(trace.Lines().empty());
}

TEST_F(PhysicalDriveTest, CheckOfTheSwitchedOffOperation_FollowsTheState) {
  PI::COperation operation;
  CTorvexPhysicalDrive drive = HealthyDrive();
  for (const auto& [id, state, result] :
       std::vector<std::tuple<unsigned int, unsigned int, unsigned int>>{
           {PI::OPERATION_DRIVE, PI::CHOICE_DRIVE_WORKING, 0},
           {PI::OPERATION_DRIVE, PI::CHOICE_HEALTH_CRITICAL, PI::ERR_OPERATION_NOT_ALLOWED},
           {PI::OPERATION_DRIVE, 0, PI::ERR_OPERATION_NOT_ALLOWED},
           {PI::OPERATION_FETCH_EVENTS, PI::CHOICE_HEALTH_CRITICAL, 0},
           {0, PI::CHOICE_HEALTH_CRITICAL, 0}}) {
    operation.SetOperationID(id);
    drive.HealthState = state;
    vxtest::PluginTrace trace;
    EXPECT_EQ(plugin.CheckPhysicalDriveOperation(drive, operation), result);
    const std::vector<std::string> expected = {
        "ENTER CheckPhysicalDriveOperation()",
        "LEAVE CheckPhysicalDriveOperation() -> " + std::to_string(result)};
    EXPECT_EQ(trace.Texts(), expected);
    EXPECT_EQ(trace.Lines()[0].level, 2U);
    EXPECT_EQ(trace.Lines()[0].file, "piTorvex/Src/piTorvexPhysicalDrive");
    EXPECT_EQ(trace.Lines()[0].function, "CheckPhysicalDriveOperation");
  }
}

TEST_F(PhysicalDriveTest, RunsNoOperation) {
  CTorvexPhysicalDrive drive = HealthyDrive();
  for (const unsigned int id : {PI::OPERATION_DRIVE, PI::OPERATION_FETCH_EVENTS, 0U}) {
    PI::COperation operation;
    operation.SetOperationID(id);
    vxtest::PluginTrace trace;
    EXPECT_EQ(plugin.ExecutePhysicalDriveOperation(drive, operation),
              PI::ERR_OPERATION_NOT_SUPPORTED);
    const std::vector<std::string> expected = {"ENTER ExecutePhysicalDriveOperation()",
                                               "LEAVE ExecutePhysicalDriveOperation() -> 20005"};
    EXPECT_EQ(trace.Texts(), expected);
    for (const auto& line : trace.Lines()) {
      EXPECT_EQ(line.level, 2U);
      EXPECT_EQ(line.function, "ExecutePhysicalDriveOperation");
    }
  }
  EXPECT_TRUE(drive.SameAs(HealthyDrive()));
}
