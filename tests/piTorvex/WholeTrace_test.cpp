#include "Frame_fixtures.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using frametest::Eventually;
using frametest::FrameDatabase;
using frametest::Guest;
using frametest::Machine;
using vxtest::PluginTrace;

using Lines = std::vector<std::string>;

void Append(Lines& lines, const Lines& more) {
  lines.insert(lines.end(), more.begin(), more.end());
}

// The tool's runs, as they are traced for the one drive of this file.
Lines Inventory() {
  return {"Name: Index, Value: (0)",
          "Name: Bootloader, Value: (0136)",
          "Name: DevicePath, Value: (/dev/nvme0)",
          "Name: Firmware, Value: (VDV10131)",
          "Name: ProductFamily, Value: (Intel SSD DC P4510 Series)",
          "Name: MaximumLBA, Value: (3907029167)",
          "Name: ModelNumber, Value: (INTEL SSDPE2KX020T8)",
          "Name: NativeMaxLBA, Value: (3907029168)",
          "Name: SectorSize, Value: (512)",
          "Name: SerialNumber, Value: (SERIAL)"};
}

Lines Run(const std::string& prefix, const std::string& arguments) {
  return {"TLXX::CSystem::ExecuteCommand start: " + prefix + " " + arguments,
          "TLXX::CSystem::ExecuteCommand returned with 1"};
}

Lines Health(const std::string& prefix) {
  Lines lines = {"GetLogPageInformation: begin"};
  Append(lines, Run(prefix, "show -o json -torvex 0 -nvmelog SmartHealthInfo"));
  Append(lines,
         {"Name: Critical Warnings, Value: (0)",
          "Name: Available Spare Space has fallen below the threshold, Value: (false)",
          "Name: Device reliability has degraded, Value: (false)",
          "Name: Media is in a read-only mode, Value: (false)",
          "Name: Volatile memory backup device has failed, Value: (false)",
          "Name: Available Spare Normalized percentage of the remaining spare capacity available, "
          "Value: (100)",
          "Name: Available Spare Threshold Percentage, Value: (10)",
          "Name: Percentage Used, Value: (0)", "Name: Data Units Read, Value: (500)",
          "Name: Data Units Written, Value: (2)", "Name: Power On Hours, Value: (100)",
          "Name: Media Errors, Value: (0)"});
  Append(lines, Run(prefix, "show -o json -torvex 0 -nvmelog TemperatureStatistics"));
  Append(lines, {"Name: Current Temperature, Value: (30)",
                 "Name: Estimated offset in Celsius, Value: (0)"});
  Append(lines, Run(prefix, "show -o json -smart -torvex 0"));
  Append(lines, {"Name: Normalized, Value: (100)"});
  Append(lines, Run(prefix, "show -all -o json -torvex 0"));
  Append(lines, {"Name: PhysicalSize, Value: (2000398934016)", "GetLogPageInformation: end"});
  return lines;
}

Lines Scan(const std::string& prefix, bool freshIds) {
  Lines lines = {std::string("ENTER ScanSystem(") + (freshIds ? "1" : "0") + ") PhyDrive=0",
                 "ScanSystem, AdapterCount = 1"};
  Append(lines, Health(prefix));
  Append(lines, {"ScanSystem, DataUnitsRead = 500", "ScanSystem, DataUnitsWritten = 2",
                 "ScanSystem, PowerOnHours = 100", "ScanSystem, ReserveSpace = 100",
                 "ScanSystem, WarningThreshold = 10", "ScanSystem, PhysicalSize = 1907729",
                 "LEAVE ScanSystem() -> 0"});
  return lines;
}

Lines StartUp(const std::string& prefix) {
  Lines lines = {"ENTER Initialize()"};
  Append(lines, Inventory());
  Append(lines,
         {"Initialize, CmdEmu_getAdapterCount returned = 1", "Name: Version, Value: (3.0.26)",
          "Before m_DataLock.Wait (sg)", "After m_DataLock.Wait (sg)"});
  Append(lines, Scan(prefix, true));
  Append(lines, {"ScanSystem() ret = 0 m_PhysicalDrives=1", "Plugin Torvex inserted to db.",
                 "Adapter () (1) inserted to db.", "PD (SERIAL) inserted to db.",
                 "LEAVE Initialize() -> 0"});
  return lines;
}

// The adapter's name changes from the host's number to the serial number: one change.
Lines FirstScan(const std::string& prefix) {
  Lines lines = {"ENTER Worker()",
                 "Worker() timeout event received",
                 "Before m_DataLock.Wait(INFINITE)",
                 "After m_DataLock.Wait(INFINITE)",
                 "Before m_EventsLock.Wait(INFINITE)",
                 "After m_EventsLock.Wait(INFINITE)"};
  Append(lines, Inventory());
  Append(lines, {"Before ScanSystem()"});
  Append(lines, Scan(prefix, false));
  Append(lines,
         {"After ScanSystem() ret = 0", "Before UpdateSystem()",
          "ENTER UpdateSystem for 1 adapter, 1 physicalDrives", "Before m_EventsLock.Wait (sg)",
          "After m_EventsLock.Wait (sg)", "Update () 0 -> 0",
          "Adapter (Intel PCIe Device Adapter (SERIAL)) (1) updated in db.",
          "Plugin Torvex updated in db.", "LEAVE UpdateSystem ret = 0",
          "After UpdateSystem() ret = 0", "Worker() after bscan", "Before m_EventsLock.Release ()",
          "After m_EventsLock.Release ()", "Before m_DataLock.Release ()",
          "After m_DataLock.Release ()", "Worker() before restart interval"});
  return lines;
}

Lines LogPass(const std::string& prefix) {
  Lines lines = {"Worker() m_PrivateEvent event received",  // the test's, for the new interval
                 "Worker() before restart interval",       "Worker() timeout event received",
                 "Before m_DataLock.Wait(INFINITE)",       "After m_DataLock.Wait(INFINITE)",
                 "Worker GetLogPageInformation()"};
  Append(lines, Health(prefix));
  Append(lines, {"Before m_DataLock.Release ()", "After m_DataLock.Release ()",
                 "Worker() before restart interval"});
  return lines;
}

// A start-up, a scan with one change, a log pass and a shut-down.
void Live(Guest& guest, Machine& machine, const std::function<void(std::size_t)>& awaitWakeUps) {
  ASSERT_EQ(guest.Initialize(), 0U);
  guest.SetAdapterIDs();
  awaitWakeUps(1);
  machine.tool.SetHook([&guest](const std::string&) { guest.Impl().PollInterval = 255; });
  guest.Impl().PollInterval = 2;
  guest.Impl().m_PrivateEvent.Set();
  awaitWakeUps(3);
  EXPECT_EQ(guest.DeInitialize(), 0U);
}

class WholeTrace : public testing::Test {
 protected:
  WholeTrace() {
    machine.AddDrive("SERIAL");
    machine.Option("piTorvex.ini", "PollInterval=255\n");
    machine.Option("CustomOpOpts.ini", "IntelPCIeTopologologyRefreshRate=1000000000\n");
  }
  frametest::FasterClock clock{50};
  FrameDatabase database;
  Machine machine;
};

TEST_F(WholeTrace, OfALife_IsWrittenLineByLine) {
  PluginTrace trace(30);
  Guest guest;
  Live(guest, machine, [&trace](std::size_t count) {
    ASSERT_TRUE(
        Eventually([&] { return trace.Count("Worker() before restart interval") >= count; }));
  });
  Lines lines = trace.Texts();
  // How often the shut-down looks for the worker's end is a matter of time.
  lines.erase(std::remove(lines.begin(), lines.end(), "Wait for termination... (Worker)"),
              lines.end());

  const std::string prefix = machine.tool.Prefixes().back();
  Lines expected = StartUp(prefix);
  Append(expected,
         {"ENTER SetAdapterIDs", "Adapter (Intel PCIe Device Adapter (1)) (1) updated in db."});
  Append(expected, FirstScan(prefix));
  Append(expected, LogPass(prefix));
  Append(expected, {"ENTER DeInitialize", "Worker() something else perhaps m_StopRequest",
                    "LEAVE Worker()", "LEAVE DeInitialize"});
  for (std::size_t i = 0; i < std::min(lines.size(), expected.size()); ++i) {
    ASSERT_EQ(lines[i], expected[i]) << "line " << i;
  }
  EXPECT_EQ(lines.size(), expected.size());
}

TEST_F(WholeTrace, OfALifeWithTheMaskAtZero_IsEmpty) {
  PluginTrace trace(0);
  Guest guest;
  std::size_t calls = 0;
  testing::internal::CaptureStdout();
  Live(guest, machine, [&](std::size_t count) {
    calls += count == 1 ? 2 + 4 + 1 + 4 : 4;  // start-up and scan; log pass
    ASSERT_TRUE(Eventually([&] { return machine.tool.Calls().size() >= calls; }));
  });
  // And the one line is all that goes to standard output.
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "piTorvex:  Initialize:  adapter count is 1\n");
  EXPECT_THAT(trace.Texts(), testing::IsEmpty());
}

}  // namespace
