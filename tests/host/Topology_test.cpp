#include "Topology.h"

#include "EventLines.h"
#include "RecordReader.h"
#include "TreeView.h"

#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <rapidjson/document.h>

#include <PI/Catalogue.h>

namespace {

using vxhost::Topology;

template <class Record>
Record FromJson(const std::string& text) {
  vxhost::JsonDocument document;
  document.Parse(text.c_str());
  EXPECT_FALSE(document.HasParseError()) << text;
  Record record;
  vxhost::Read(document, record);
  return record;
}

std::string Text(int id, const std::string& value) {
  return R"({"id":)" + std::to_string(id) + R"(,"value":")" + value + "\"},";
}

std::string Number(int id, int value, int unit = 1) {
  return R"({"id":)" + std::to_string(id) + R"(,"unit":)" + std::to_string(unit) +
         R"(,"kind":"unsigned","value":)" + std::to_string(value) + "},";
}

std::string Choice(int id, int value) {
  return R"({"id":)" + std::to_string(id) + R"(,"value":{"selected":)" + std::to_string(value) +
         R"(,"choices":[]}},)";
}

std::string Object(unsigned long id, int type, std::string properties) {
  if (!properties.empty()) properties.pop_back();
  return R"({"id":)" + std::to_string(id) + R"(,"type":)" + std::to_string(type) +
         R"(,"properties":[)" + properties + "]}";
}

const std::string VALUES =
    R"({"id":30442,"unit":21000,"kind":"float","value":36},)" +
    Number(PI::PROPERTY_POWER_ON_HOURS, 1549, PI::UNIT_HOURS) +
    Number(PI::PROPERTY_DATA_WRITTEN, 18492023) +
    R"({"id":30494,"unit":21010,"value":{"value":98,"min":0,"max":100,"step":1}},)";

std::string Adapter(unsigned long id, const std::string& name, const std::string& serial, int bus,
                    int health, const std::string& more) {
  return Object(id, PI::OBJECT_TYPE_ADAPTER,
                Text(PI::PROPERTY_NAME, name) + Text(PI::PROPERTY_MODEL, "MODEL") +
                    Choice(PI::PROPERTY_HEALTH, health) + Number(PI::PROPERTY_PCI_SEGMENT, 0) +
                    Number(PI::PROPERTY_PCI_BUS, bus) + Number(PI::PROPERTY_PCI_DEVICE, 0) +
                    Number(PI::PROPERTY_PCI_FUNCTION, 0) +
                    Text(PI::PROPERTY_LOCATION, "PCI:Bus=" + std::to_string(bus)) +
                    Text(PI::PROPERTY_SERIAL_NUMBER, serial) +
                    Text(PI::PROPERTY_DEVICE_PATH, "/dev/nvme" + std::to_string(bus)) + more);
}

std::string Drive(unsigned long id, const std::string& serial, int state) {
  return Object(id, PI::OBJECT_TYPE_PHYSICAL_DRIVE,
                Text(PI::PROPERTY_NAME, "DRIVE " + serial) +
                    Number(PI::PROPERTY_PHYSICAL_SIZE, 1526186, PI::UNIT_MIB) +
                    Choice(PI::PROPERTY_HEALTH, state) +
                    Number(PI::PROPERTY_SECTOR_SIZE, 4096, PI::UNIT_BYTES_PER_SECTOR) +
                    Text(PI::PROPERTY_SERIAL_NUMBER, serial));
}

const std::string PLUGIN =
    Object(100, PI::OBJECT_TYPE_PLUGIN,
           Text(PI::PROPERTY_NAME, "Fixture") + Text(PI::PROPERTY_VERSION, "1.2"));

Topology Make(const std::vector<std::string>& objects) {
  std::string list;
  for (const std::string& object : objects) list += (list.empty() ? "" : ",") + object;
  const auto numbered = FromJson<std::vector<PI::CAdapterID>>(
      R"([{"numbers":[0,3,0,0],"hostNumber":1},{"numbers":[0,4,0,0],"hostNumber":12}])");
  return {FromJson<std::vector<PI::CObject>>("[" + list + "]"), numbered};
}

Topology TwoAdapters() {
  return Make({PLUGIN, Adapter(1, "SSD A (1)", "SER-A", 3, PI::CHOICE_HEALTH_GOOD, VALUES),
               Adapter(2, "", "SER-LONG", 4, PI::CHOICE_HEALTH_DEGRADED,
                       VALUES + R"({"id":30165,"value":{"selected":[40459],"choices":[]}},)"),
               Drive(11, "SER-A", PI::CHOICE_DRIVE_WORKING),
               Drive(12, "SER-LONG", PI::CHOICE_DRIVE_WORKING),
               Drive(13, "OTHER", PI::CHOICE_HEALTH_CRITICAL)});
}

TEST(TreeView, Tree_IsAlignedWithHealthFirst) {
  EXPECT_EQ(vxhost::RenderTree(TwoAdapters(), "fixture", false),
            "Fixture 1.2, 2 adapters\n"
            "├─ good                   1  SSD A (1)              MODEL  SER-A     PCI:Bus=3  36 °C"
            "  98 % life left  9.47 TB written  1549 h on\n"
            "│  └─ working                DRIVE SER-A     1.60 TB  4096 B per sector\n"
            "├─ degraded (spare low)  12  SER-LONG at PCI:Bus=4  MODEL  SER-LONG  PCI:Bus=4  36 °C"
            "  98 % life left  9.47 TB written  1549 h on\n"
            "│  └─ working                DRIVE SER-LONG  1.60 TB  4096 B per sector\n"
            "└─ critical                  DRIVE OTHER     1.60 TB  4096 B per sector\n");
}

TEST(TreeView, Colour_IsOnTheHealthAlone) {
  const std::string tree = vxhost::RenderTree(
      Make({PLUGIN, Adapter(1, "A", "S", 3, PI::CHOICE_HEALTH_CRITICAL, VALUES)}), "fixture", true);
  EXPECT_NE(tree.find("└─ \x1b[31mcritical\x1b[0m  1  A"), std::string::npos) << tree;
}

TEST(TreeView, WhatIsNotSeenAsItself_DoesNotReachTheTerminal) {
  const std::string tree = vxhost::RenderTree(
      Make({PLUGIN,
            Adapter(1, "A\\u009b31m", "S\\u202e\\u200b", 3, PI::CHOICE_HEALTH_CRITICAL, VALUES)}),
      "fixture", false);
  EXPECT_NE(tree.find("A\\u{009b}31m"), std::string::npos) << tree;
  EXPECT_NE(tree.find("S\\u{202e}\\u{200b}"), std::string::npos) << tree;
}

TEST(Topology, AdapterWithoutValues_IsNotAnsweringWhateverItsState) {
  const Topology topology = Make({PLUGIN, Adapter(1, "A", "S", 3, PI::CHOICE_HEALTH_GOOD, ""),
                                  Drive(2, "S", PI::CHOICE_DRIVE_WORKING)});
  EXPECT_EQ(vxhost::HealthText(*topology.Adapters()[0].object), "not answering");
  const std::string tree = vxhost::RenderTree(topology, "fixture", false);
  EXPECT_NE(tree.find("└─ not answering     1  A"), std::string::npos) << tree;
  EXPECT_NE(tree.find("   └─ not answering     DRIVE S"), std::string::npos) << tree;
}

TEST(Topology, OneValueAlone_MeansThatTheDriveAnswers) {
  for (const int id :
       {PI::PROPERTY_POWER_ON_HOURS, PI::PROPERTY_DATA_READ, PI::PROPERTY_DATA_WRITTEN}) {
    const Topology topology =
        Make({Adapter(1, "A", "S", 3, PI::CHOICE_HEALTH_GOOD, Number(id, 0))});
    EXPECT_EQ(vxhost::HealthText(*topology.Adapters()[0].object), "good") << id;
  }
}

TEST(Topology, AdaptersThatAreNoPciFunctions_GoByTheirPlace) {
  const std::string plain = Object(1, PI::OBJECT_TYPE_ADAPTER, Text(PI::PROPERTY_NAME, "host a"));
  const std::string bare = Object(0x0190000000000002UL, PI::OBJECT_TYPE_ADAPTER, "");
  EXPECT_EQ(vxhost::RenderTree(Make({PLUGIN, plain, bare}), "fixture", false),
            "Fixture 1.2, 2 adapters\n"
            "├─ not reported   1  host a\n"
            "└─ not reported  12  0x0190000000000002\n");
  // With one more than the plug-in has listed, nobody can tell which is which.
  const Topology more = Make({PLUGIN, plain, bare, Object(3, PI::OBJECT_TYPE_ADAPTER, "")});
  for (const auto& adapter : more.Adapters()) EXPECT_EQ(adapter.hostNumber, -1);
}

TEST(EventLines, AdapterThatReportsNoHealth_IsNotCalledSilent) {
  const Topology before = Make({PLUGIN});
  const Topology after =
      Make({PLUGIN, Object(1, PI::OBJECT_TYPE_ADAPTER, Text(PI::PROPERTY_NAME, "host a"))});
  EXPECT_TRUE(vxhost::MakeReports({}, before, after, "").empty());
}

TEST(Topology, AdapterAtAnAddressThatWasNotListed_HasNoNumber) {
  const Topology topology = Make({Adapter(1, "A", "S", 3, PI::CHOICE_HEALTH_GOOD, ""),
                                  Adapter(2, "B", "T", 9, PI::CHOICE_HEALTH_GOOD, "")});
  EXPECT_EQ(topology.Adapters()[0].hostNumber, 1);
  EXPECT_EQ(topology.Adapters()[1].hostNumber, -1);
}

TEST(Topology, DegradedWithoutReason_NamesTheAttribute) {
  const Topology topology =
      Make({Adapter(1, "A", "S", 3, PI::CHOICE_HEALTH_DEGRADED,
                    VALUES + Choice(PI::PROPERTY_LIFE_STATE, PI::CHOICE_LIFE_BELOW_NEW))});
  EXPECT_EQ(vxhost::HealthText(*topology.Adapters()[0].object),
            "degraded (normalized attribute EA below 100)");
}

TEST(Topology, Lookup_KnowsIdSerialPathAndHostNumber) {
  const Topology topology = TwoAdapters();
  for (const char* const name :
       {"0x0000000000000002", "0x2", "SER-LONG", "/dev/nvme4", "/dev/nvme4n1p2", "12"}) {
    ASSERT_NE(topology.Lookup(name), nullptr) << name;
    EXPECT_EQ(topology.Lookup(name)->m_ID, 2U) << name;
  }
  EXPECT_EQ(topology.Lookup("0xB")->m_ID, 11U);
  for (const char* const name :
       {"", "2", "-1", "0x", "0x99", "ser-a", "/dev/nvme9", "/dev/nvme40"}) {
    EXPECT_EQ(topology.Lookup(name), nullptr) << name;
  }
}

TEST(Topology, Links_WinOverSerialNumbers) {
  std::string drive = Drive(11, "SER-A", PI::CHOICE_DRIVE_WORKING);
  drive.insert(drive.size() - 1, R"(,"parents":[2])");
  const Topology topology =
      Make({Adapter(1, "A", "SER-A", 3, PI::CHOICE_HEALTH_GOOD, VALUES),
            Adapter(2, "B", "SER-B", 4, PI::CHOICE_HEALTH_GOOD, VALUES), drive});
  EXPECT_TRUE(topology.Adapters()[0].drives.empty());
  EXPECT_EQ(topology.Adapters()[1].drives.size(), 1U);
}

PI::CEvent Event(unsigned int id, unsigned long object, const std::string& first,
                 const std::string& second) {
  PI::CEvent event(id, 3, object, 0, first);
  event.SetPlaceHolder1(first);
  event.SetPlaceHolder2(second);
  return event;
}

TEST(EventLines, NewcomerWithoutName_IsFoundByTheIdsNotKnownBefore) {
  const Topology before = Make({Adapter(1, "A", "SER-A", 3, PI::CHOICE_HEALTH_GOOD, VALUES)});
  const Topology after = Make({Adapter(1, "A", "SER-A", 3, PI::CHOICE_HEALTH_GOOD, VALUES),
                               Adapter(2, "", "SER-NEW", 9, PI::CHOICE_HEALTH_GOOD, VALUES)});
  const auto reports = vxhost::MakeReports(
      {Event(PI::EVENT_ADAPTER_ADDED, PI::EVENT_OBJECT_ADAPTERS, "", " ")}, before, after, "");
  ASSERT_EQ(reports.size(), 1U);
  EXPECT_EQ(reports[0].text, "Adapter added: SER-NEW at PCI:Bus=9");
  EXPECT_EQ(reports[0].serial, "SER-NEW");
}

TEST(EventLines, RemovedAdapters_AreFoundByTheNameOrTheSerialNumberOfTheirEvents) {
  const Topology before = Make({Adapter(1, "A", "SER-A", 3, PI::CHOICE_HEALTH_GOOD, VALUES),
                                Adapter(2, "B", "SER-B", 4, PI::CHOICE_HEALTH_GOOD, VALUES),
                                Adapter(3, "C", "SER-C", 5, PI::CHOICE_HEALTH_GOOD, VALUES)});
  const auto reports = vxhost::MakeReports(
      {Event(PI::EVENT_ADAPTER_REMOVED, PI::EVENT_OBJECT_ADAPTERS, "C", " "),
       Event(PI::EVENT_ADAPTER_REMOVED, PI::EVENT_OBJECT_ADAPTERS, "Unknown", " SER-B"),
       Event(PI::EVENT_ADAPTER_REMOVED, PI::EVENT_OBJECT_ADAPTERS, "", " ")},
      before, Make({PLUGIN}), "");
  ASSERT_EQ(reports.size(), 3U);
  EXPECT_EQ(reports[0].serial, "SER-C");
  EXPECT_EQ(reports[1].serial, "SER-B");
  EXPECT_EQ(reports[2].serial, "SER-A");
}

TEST(EventLines, RemovalWhileTheToolFailed_IsShownWithThatReason) {
  const Topology before = Make({Adapter(1, "A", "SER-A", 3, PI::CHOICE_HEALTH_GOOD, VALUES)});
  const Topology after = Make({PLUGIN});
  const auto good = vxhost::MakeReports(
      {Event(PI::EVENT_ADAPTER_REMOVED, PI::EVENT_OBJECT_ADAPTERS, "A", " ")}, before, after, "");
  EXPECT_EQ(good.at(0).remark, "");
  EXPECT_EQ(good.at(0).serial, "SER-A");
  const auto failed =
      vxhost::MakeReports({Event(PI::EVENT_ADAPTER_REMOVED, PI::EVENT_OBJECT_ADAPTERS, "A", " ")},
                          before, after, "gone");
  EXPECT_EQ(failed.at(0).remark, "in a scan in which the drive tool failed: gone");
}

TEST(EventLines, SilenceAndReturn_AreReportedThoughNoEventTells) {
  const Topology answering = Make({Adapter(1, "A", "S", 3, PI::CHOICE_HEALTH_GOOD, VALUES)});
  const Topology silent = Make({Adapter(1, "A", "S", 3, PI::CHOICE_HEALTH_GOOD, "")});
  const auto lost =
      vxhost::MakeReports({Event(PI::EVENT_ALL_CLEAR, 1, "A", "")}, answering, silent, "");
  ASSERT_EQ(lost.size(), 2U);
  EXPECT_EQ(lost[0].remark, "not answering");
  EXPECT_EQ(lost[1].text, "Drive not answering: A");
  EXPECT_TRUE(lost[1].isNotice);
  const auto back = vxhost::MakeReports({}, silent, answering, "");
  ASSERT_EQ(back.size(), 1U);
  EXPECT_EQ(back[0].text, "Drive answers again: A");
  EXPECT_TRUE(vxhost::MakeReports({}, silent, silent, "").empty());
}

TEST(EventLines, Json_HasTheEventAndWhatTheHostKnows) {
  const Topology topology = Make({Adapter(1, "A", "S", 3, PI::CHOICE_HEALTH_GOOD, VALUES)});
  const auto reports = vxhost::MakeReports({Event(PI::EVENT_TEMPERATURE_WARNING, 1, "A", "")},
                                           topology, topology, "");
  EXPECT_EQ(vxhost::ReportJson(reports.at(0), "fixture"),
            R"({"plugin":"fixture","id":10967,"severity":3,"object":"0x0000000000000001","time":0,)"
            R"("name":"A","placeholder1":"A","placeholder2":"",)"
            R"("text":"Temperature is close to its limit, 78 or 79 °C: A","serial":"S",)"
            R"("location":"PCI:Bus=3"})");
}

TEST(EventLines, Line_HasTimeSeverityTextAndDrive) {
  const Topology topology = Make({Adapter(1, "A", "S", 3, PI::CHOICE_HEALTH_GOOD, VALUES)});
  const auto reports = vxhost::MakeReports({Event(PI::EVENT_TEMPERATURE_WARNING, 1, "A", "")},
                                           topology, topology, "");
  const std::string line = vxhost::ReportLine(reports.at(0), false);
  EXPECT_NE(line.find(" warning      Temperature is close to its limit, 78 or 79 °C: A  "
                      "[S, PCI:Bus=3]"),
            std::string::npos)
      << line;
  EXPECT_NE(vxhost::ReportLine(reports.at(0), true).find("\x1b[33mwarning\x1b[0m      Temp"),
            std::string::npos);
}

TEST(EventLines, Line_StaysOneLineWhateverTheDriveIsCalled) {
  const Topology topology = Make({Adapter(1, "A", "S\\n1", 3, PI::CHOICE_HEALTH_GOOD, VALUES)});
  const auto reports = vxhost::MakeReports(
      {Event(PI::EVENT_TEMPERATURE_WARNING, 1, "A\x1b[31m\xff", "")}, topology, topology, "");
  const std::string line = vxhost::ReportLine(reports.at(0), false);
  EXPECT_NE(line.find("A\\x1b[31m\uFFFD  [S\\x0a1, PCI:Bus=3]"), std::string::npos) << line;
}

}  // namespace
