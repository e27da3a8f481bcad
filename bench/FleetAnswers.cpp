#include "FleetAnswers.h"

#include <cstdio>

namespace vxbench {
namespace {

template <class... Values>
std::string Print(const char* format, Values... values) {
  char buffer[2048];
  const int length = std::snprintf(buffer, sizeof buffer, format, values...);
  return {buffer, static_cast<std::size_t>(length)};
}

std::string Section(int drive) {
  return Print(
      R"("Intel SSD DC P4600 Series BENCH%06d":{"Bootloader":"0132","DevicePath":"/dev/nvme%d",)"
      R"("DeviceStatus":"Healthy","Firmware":"QDV10190","FirmwareUpdateAvailable":"none","Index":%d,)"
      R"("LBAFormat":0,"MaximumLBA":3125627567,"ModelNumber":"INTEL SSDPE2KE016T7",)"
      R"("NativeMaxLBA":3125627567,"NumLBAFormats":1,"NVMePowerState":0,)"
      R"("PhysicalSize":1600321314816,"PowerGovernorMode":"25W",)"
      R"("ProductFamily":"Intel SSD DC P4600 Series","SectorSize":512,)"
      R"("SerialNumber":"BENCH%06d","TempThreshold":70})",
      drive, drive, drive, drive);
}

std::string Health(int drive) {
  return Print(
      R"({"SMART and Health Information":{"Available Spare Normalized percentage of the remaining )"
      R"(spare capacity available":100,"Available Spare Threshold Percentage":10,)"
      R"("Available Spare Space has fallen below the threshold":false,"Critical Warnings":0,)"
      R"("Data Units Read":"%X","Data Units Written":"%X","Media Errors":"0","Percentage Used":1,)"
      R"("Power On Hours":"1F4"}})",
      1000 + drive, 2000 + drive);
}

}  // namespace

vxtest::ScriptedTool::Script FleetAnswers(int drives, int temperature) {
  vxtest::ScriptedTool::Script answers;
  std::string inventory = "{";
  for (int drive = 0; drive < drives; ++drive) {
    if (drive > 0) inventory += ',';
    inventory += Section(drive);
    answers[Print("show -o json -torvex %d -nvmelog SmartHealthInfo", drive)].output =
        Health(drive);
    answers[Print("show -o json -torvex %d -nvmelog TemperatureStatistics", drive)].output =
        Print(R"({"Temp Statistics":{"Current Temperature":%d,"Estimated offset in Celsius":0}})",
              temperature);
    answers[Print("show -o json -smart -torvex %d", drive)].output =
        R"({"SMART Attributes":{"AD":{"Normalized":100},"EA":{"Normalized":100}}})";
    answers[Print("show -all -o json -torvex %d", drive)].output = "{" + Section(drive) + "}";
  }
  answers["show -all -o json -torvex"].output = inventory + "}";
  answers["version -o json"].output = R"({"Version Information":{"Version":"3.0.26"}})";
  return answers;
}

}  // namespace vxbench
