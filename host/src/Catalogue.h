#pragma once

#include <optional>
#include <string>
#include <string_view>

#include <PI/Event.h>
#include <PI/Property.h>

// Every text for people that belongs to a number of the plug-ins: events, properties, choices,
// units, results. Tables only; what they say about one number is said in one place.
namespace vxhost {

// The ids of properties that the host itself looks at.
namespace property {
inline constexpr unsigned int VENDOR = 30003;
inline constexpr unsigned int TOOL_VERSION = 30004;
inline constexpr unsigned int POLL_INTERVAL = 30005;
inline constexpr unsigned int NAME = 30007;
inline constexpr unsigned int HEALTH = 30017;
inline constexpr unsigned int FIRMWARE = 30020;
inline constexpr unsigned int SERIAL_NUMBER = 30022;
inline constexpr unsigned int PCI_BUS = 30037;
inline constexpr unsigned int PCI_DEVICE = 30038;
inline constexpr unsigned int PCI_FUNCTION = 30039;
inline constexpr unsigned int PHYSICAL_SIZE = 30059;
inline constexpr unsigned int MODEL = 30063;
inline constexpr unsigned int VERSION = 30099;
inline constexpr unsigned int LOCATION = 30137;
inline constexpr unsigned int HEALTH_REASONS = 30165;
inline constexpr unsigned int MEDIA_ERRORS = 30189;
inline constexpr unsigned int DEVICE_PATH = 30247;
inline constexpr unsigned int TEMPERATURE = 30442;
inline constexpr unsigned int SECTOR_SIZE = 30460;
inline constexpr unsigned int USABLE_SIZE = 30461;
inline constexpr unsigned int LIFE_STATE = 30468;
inline constexpr unsigned int PCI_SEGMENT = 30479;
inline constexpr unsigned int AVAILABLE_SPARE = 30486;
inline constexpr unsigned int DATA_READ = 30489;
inline constexpr unsigned int DATA_WRITTEN = 30490;
inline constexpr unsigned int REMAINING_LIFE = 30494;
inline constexpr unsigned int POWER_ON_HOURS = 30498;
}  // namespace property

namespace choice {
inline constexpr int HEALTH_GOOD = 40024;
inline constexpr int HEALTH_CRITICAL = 40095;
inline constexpr int DRIVE_WORKING = 40099;
inline constexpr int HEALTH_DEGRADED = 40150;
inline constexpr int EA_AT_100 = 40252;
}  // namespace choice

namespace event {
inline constexpr unsigned int ADAPTER_ADDED = 11093;
inline constexpr unsigned int ADAPTER_REMOVED = 11094;
}  // namespace event

// The operation with which events are fetched.
inline constexpr unsigned int OPERATION_FETCH_EVENTS = 50002;

// The event's text; the object's name stands in it when the event carries one. Never empty.
std::string EventText(const PI::CEvent& event);
// Whether the catalogue knows the event.
bool HasEvent(unsigned int id);

// "information", "warning", "error"; the number for others.
std::string SeverityText(unsigned int severity);

// What a property is called: by its label and id together, else by its label, else by its id, else
// "property N".
std::string PropertyText(unsigned int id, unsigned int label);
bool HasProperty(unsigned int id, unsigned int label);

// What a choice is called; the number when the catalogue has no text.
std::string ChoiceText(int code);
bool HasChoice(int code);

// "°C", "MiB", ...; empty for none and for what is not known.
std::string_view UnitText(unsigned int unit);
bool HasUnit(unsigned int unit);

// What a result code means.
std::string ResultText(unsigned int result);

// What an object type is called.
std::string_view ObjectTypeText(unsigned int type);

// Whether the word names the property: its number, or its text whatever the case, blanks, hyphens
// and underscores.
bool NamesProperty(std::string_view word, const PI::CProperty& property);

// The value for people, with its unit: "36 °C", "1526186 MiB (1.6 TB)", "degraded".
std::string ValueText(const PI::CProperty& property);

}  // namespace vxhost
