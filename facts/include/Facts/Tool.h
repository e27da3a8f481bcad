#pragma once

#include <array>
#include <span>
#include <string_view>

// What is known of the vendor's tool and of the hardware that is asked through it: command lines,
// names of sections and keys, models and PCI ids. The keys of the values stand in Facts/Fields.def.
// Texts live as long as the process. Constants only. [any thread]
//
// Read by the plug-in (Core/ToolText, Core/Scan, Src/piTorvexCmdEmu, Src/piTorvexPlugin), and by
// the host where it looks at the machine and the tool by itself (doctor).
namespace Facts {

// --- Hardware

// Of drives and controllers alike. PCI ids here are four hexadecimal digits without "0x".
inline constexpr const char* PCI_VENDOR = "8086";
// PCI device ids whose presence means that there is hardware to serve, in the order of looking.
inline constexpr auto SERVED_DEVICES = std::to_array<const char*>({"0953", "0A54", "2701"});
// Controllers of volume management. A drive behind one belongs to another plug-in.
inline constexpr auto VOLUME_MANAGEMENT_DEVICES = std::to_array<const char*>({"201d", "28c0"});
// Beginnings of the model numbers that are served; the case counts. A drive of another model that
// the tool lists is left out, without a word. The order says nothing: no beginning is one of
// another.
inline constexpr auto SERVED_MODELS =
    std::to_array<std::string_view>({"INTEL SSDPE2", "INTEL SSDPED", "INTEL SSDPEC", "INTEL SSDPE7",
                                     "INTEL SSDPEY", "INTEL SSDPEL"});

// --- Sections of an answer: beginnings of their names, whatever the case
//
// An answer is one JSON object whose members, the sections, are objects; a section that is none is
// passed over. A log may stand under any of its names; when an answer has several such sections,
// all are read, and the later value of a key counts.

inline constexpr auto DRIVE_SECTIONS =
    std::to_array<std::string_view>({"Intel SSD", "Intel Optane"});
inline constexpr auto HEALTH_SECTIONS = std::to_array<std::string_view>(
    {"SMART and Health Information", "NVMeLog2", "NVMeLog SMART and Health Information"});
inline constexpr auto TEMPERATURE_SECTIONS =
    std::to_array<std::string_view>({"Temp Statistics", "NVMeLog197", "NVMeLog Temp Statistics"});
inline constexpr auto ATTRIBUTE_SECTIONS = std::to_array<std::string_view>({"SMART Attributes"});
// Every name begins with the empty text: the capacity stands in the section of the drive.
inline constexpr auto ANY_SECTION = std::to_array<std::string_view>({""});

// --- Keys with a meaning of their own

// In a drive's section, with whatever value: the drive is a member of a platform RAID volume and is
// not served.
inline constexpr const char* RAID_MEMBER_KEY = "RSTeDiskId";
// In every section of one drive: its serial number.
inline constexpr const char* SERIAL_KEY = "SerialNumber";
// In an attribute's object of the attribute log: the value that counts.
inline constexpr const char* NORMALIZED_KEY = "Normalized";
inline constexpr const char* VERSION_SECTION = "Version Information";  // the whole name
inline constexpr const char* VERSION_KEY = "Version";

// What a maintenance or log command prints when it finds no drive under the index; anywhere in its
// output.
inline constexpr const char* NO_DEVICE = "No device selected";

// --- Command lines, behind the path of the tool. "%d" is the tool's index of the drive.

// The library of the vendor that every run of the tool preloads; it stands beside the tool.
inline constexpr const char* PRELOAD_LIBRARY = "libIntel.SSDFeatures.so.2.0.0";
// The tool's own path, from the directory of the host's program on.
inline constexpr const char* TOOL_DIRECTORY = "bin";
inline constexpr const char* TOOL_NAME = "isdct";

inline constexpr const char* INVENTORY_ARGUMENTS = "show -all -o json -torvex";
inline constexpr const char* VERSION_ARGUMENTS = "version -o json";

// The four logs of a drive; which of them a key stands in is said in its row of Facts/Fields.def.
enum class ELog { Health, Temperature, Attribute, Capacity };

// One query of a drive.
struct CLog {
  ELog m_Log;
  int m_Id;                 // by which the plug-in's interface names it
  const char* m_Arguments;  // command line
  // Beginnings of the names of the sections that are read; the others are passed over.
  std::span<const std::string_view> m_Sections;
};
// In the order in which they are asked for, which hosts see in traces and the tool sees in its
// runs. The first that fails ends the reading of the drive: what the logs before it have told stays
// in the record. The plug-in's readers stand in the same order.
inline constexpr auto LOGS = std::to_array<CLog>({
    {ELog::Health, 2, "show -o json -torvex %d -nvmelog SmartHealthInfo", HEALTH_SECTIONS},
    {ELog::Temperature, 197, "show -o json -torvex %d -nvmelog TemperatureStatistics",
     TEMPERATURE_SECTIONS},
    {ELog::Attribute, 202, "show -o json -smart -torvex %d", ATTRIBUTE_SECTIONS},
    {ELog::Capacity, 203, "show -all -o json -torvex %d", ANY_SECTION},
});

}  // namespace Facts
