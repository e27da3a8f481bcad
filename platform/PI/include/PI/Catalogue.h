#pragma once

#include <array>
#include <cstddef>

// Every number of the plug-in interface that has a meaning, by name: properties, events, choices,
// operations, units, severities, result codes, types of object, and the bits of the warning word.
// One row a number, checked to be unique while compiling; plug-ins, hosts and tests write the
// names. What a host shows people for a number is the host's; the short texts of choices stand here
// because PropertyValueToString answers with them. Constants only. [any thread]
//
// Each group but the properties is a list macro: give it the name of a macro of your own that takes
// a row, and it is expanded once a row, in the order of the numbers unless a group says otherwise.
// So a table of all events is made without writing any of them again. A number never changes its
// meaning and is never given away anew: hosts store them, and look texts up by them.
namespace PI {

// --- Properties: what an object shows. Their rows stand with the fields that they show.

// Ids of properties, and the one that asks for all of an object's: an answer to it never bears its
// number.
enum _PROPERTY_ID : unsigned int {
  PROPERTY_ALL = 1,
#define PROPERTY(name, number) PROPERTY_##name = number,
#include <Facts/Fields.def>
};

// --- Choices: the values of properties of kind choice and multiple choice, and their short texts.
// The part of the name before the first "_" says what they are about. Signed, as the values of such
// properties are.
#define PI_CATALOGUE_CHOICES(ROW)                                                          \
  ROW(HEALTH_GOOD, 40024, "good")                                                          \
  ROW(HEALTH_CRITICAL, 40095, "critical") /* also the state of a drive that is critical */ \
  ROW(DRIVE_WORKING, 40099, "working")                                                     \
  ROW(HEALTH_DEGRADED, 40150, "degraded")                                                  \
  ROW(INTERFACE_NVME, 40200, "NVMe")                                                       \
  ROW(LIFE_AS_NEW, 40252, "at 100")                                                        \
  ROW(LIFE_BELOW_NEW, 40410, "below 100")                                                  \
  ROW(LIFE_ABOVE_NEW, 40411, "above 100, or below 100 with a failed memory backup")        \
  ROW(REASON_RELIABILITY, 40449, "reliability degraded")                                   \
  ROW(REASON_BACKUP, 40452, "memory backup failed")                                        \
  ROW(REASON_SPARE, 40459, "spare low")                                                    \
  ROW(REASON_TEMPERATURE, 40460, "temperature high")                                       \
  ROW(LEVEL_STANDARD, 40473, "standard")                                                   \
  ROW(MODE_NORMAL, 40480, "normal")                                                        \
  ROW(REASON_READ_ONLY, 40487, "read-only")                                                \
  ROW(MODE_SPECIAL, 40488, "special")

#define PI_ROW(name, number, text) inline constexpr int CHOICE_##name = number;
PI_CATALOGUE_CHOICES(PI_ROW)
#undef PI_ROW

// --- Events: what a plug-in queues for operation FETCH_EVENTS. All are of an adapter, but for
// DRIVE_CHANGED, which is of a drive, and ADDED and REMOVED, which are of EVENT_OBJECT_ADAPTERS.
// Seven and ALL_CLEAR follow the warning word: a bit that becomes set raises its own, the last that
// goes raises ALL_CLEAR.
#define PI_CATALOGUE_EVENTS(ROW)      \
  ROW(BACKUP_FAILED, 10957)           \
  ROW(TEMPERATURE_HIGH, 10959)        \
  ROW(TEMPERATURE_SHUTDOWN, 10960)    \
  ROW(TEMPERATURE_ABOVE_LIMIT, 10962) \
  ROW(TEMPERATURE_WARNING, 10967)     \
  ROW(SPARE_LOW, 10968)               \
  ROW(ALL_CLEAR, 10980)               \
  ROW(DRIVE_CHANGED, 10985)           \
  ROW(RELIABILITY_DEGRADED, 11088)    \
  ROW(ADAPTER_ADDED, 11093)           \
  ROW(ADAPTER_REMOVED, 11094)

#define PI_ROW(name, number) inline constexpr unsigned int EVENT_##name = number;
PI_CATALOGUE_EVENTS(PI_ROW)
#undef PI_ROW

// --- Severities of events, ascending: each event is raised with one and the same, always.
#define PI_CATALOGUE_SEVERITIES(ROW) \
  ROW(INFORMATION, 2)                \
  ROW(WARNING, 3)                    \
  ROW(ERROR, 4)

#define PI_ROW(name, number) inline constexpr unsigned int SEVERITY_##name = number;
PI_CATALOGUE_SEVERITIES(PI_ROW)
#undef PI_ROW

// --- Operations: what commands 8 to 10 offer, check and run, by the first of the nine numbers.
#define PI_CATALOGUE_OPERATIONS(ROW)                                      \
  ROW(FETCH_EVENTS, 50002) /* of the plug-in object: empties its queue */ \
  ROW(DRIVE, 50026)        /* of a drive: defined and never offered */

#define PI_ROW(name, number) inline constexpr unsigned int OPERATION_##name = number;
PI_CATALOGUE_OPERATIONS(PI_ROW)
#undef PI_ROW

// --- Units of property values, for people: no value is converted by its unit.
#define PI_CATALOGUE_UNITS(ROW) \
  ROW(NONE, 1)                  \
  ROW(CELSIUS, 21000)           \
  ROW(KIB, 21001)               \
  ROW(MIB, 21002)               \
  ROW(GIB, 21003)               \
  ROW(TIB, 21004)               \
  ROW(HOURS, 21005)             \
  ROW(BYTES, 21006)             \
  ROW(PIB, 21007)               \
  ROW(EIB, 21008)               \
  ROW(PERCENT, 21010)           \
  ROW(BYTES_PER_SECTOR, 21025)

enum _UNITS : unsigned int {
#define PI_ROW(name, number) UNIT_##name = number,
  PI_CATALOGUE_UNITS(PI_ROW)
#undef PI_ROW
};

// --- Result codes of every call across the interface. 0 is success, the others are failures.
// They are plain unsigned ints, and their names bear no prefix.
#define PI_CATALOGUE_RESULTS(ROW)            \
  ROW(SUCCESS, 0)                            \
  ROW(ERR_GENERAL_FAILURE, 20000)            \
  ROW(ERR_NO_SUPPORTED_HARDWARE, 20001)      \
  ROW(ERR_UNKNOWN_COMMAND, 20002)            \
  ROW(ERR_TOOL_COMMAND_FAILED, 20003)        \
  ROW(ERR_PROPERTY_NOT_SETTABLE, 20004)      \
  ROW(ERR_OPERATION_NOT_SUPPORTED, 20005)    \
  ROW(ERR_UNKNOWN_LOG_PAGE, 20006)           \
  ROW(ERR_OUT_OF_MEMORY, 20007)              \
  ROW(ERR_OBJECT_NOT_FOUND, 20008)           \
  ROW(ERR_LOCK_INITIALIZATION_FAILED, 20011) \
  ROW(ERR_API_INITIALIZATION_FAILED, 20012)  \
  ROW(ERR_OPERATION_NOT_ALLOWED, 20042)

#define PI_ROW(name, number) inline constexpr unsigned int name = number;
PI_CATALOGUE_RESULTS(PI_ROW)
#undef PI_ROW

// --- Types of object, and the object that events of adapters come and gone are told of: no
// object has this id, since those of objects bear their module's number in their top 16 bits.
#define PI_CATALOGUE_OBJECT_TYPES(ROW) \
  ROW(PLUGIN, 19006)                   \
  ROW(PHYSICAL_DRIVE, 19018)           \
  ROW(ADAPTER, 19038)

#define PI_ROW(name, number) inline constexpr unsigned int OBJECT_TYPE_##name = number;
PI_CATALOGUE_OBJECT_TYPES(PI_ROW)
#undef PI_ROW

inline constexpr unsigned long EVENT_OBJECT_ADAPTERS = 19002;

// --- Warning word of a drive: the bits that the drive reports (bits 0 to 4 of the critical
// warnings of the NVMe standard), and those that its temperature adds. The thresholds, in degrees
// Celsius, are those from which on the temperature sets the bits; each holds up to the next.
inline constexpr int TEMPERATURE_WARNING_FROM = 78;
inline constexpr int TEMPERATURE_HIGH_FROM = 80;
inline constexpr int TEMPERATURE_SHUTDOWN_FROM = 84;

#define PI_CATALOGUE_WARNING_BITS(ROW)                                         \
  ROW(SPARE_LOW, 0x001)                                                        \
  ROW(TEMPERATURE, 0x002) /* the drive's own threshold; no event of its own */ \
  ROW(RELIABILITY, 0x004)                                                      \
  ROW(READ_ONLY, 0x008) /* no event of its own */                              \
  ROW(BACKUP_FAILED, 0x010)                                                    \
  ROW(TEMPERATURE_WARNING, 0x020)     /* from TEMPERATURE_WARNING_FROM on */   \
  ROW(TEMPERATURE_HIGH, 0x040)        /* from TEMPERATURE_HIGH_FROM on */      \
  ROW(TEMPERATURE_SHUTDOWN, 0x080)    /* from TEMPERATURE_SHUTDOWN_FROM on */  \
  ROW(TEMPERATURE_ABOVE_LIMIT, 0x200) /* from TEMPERATURE_HIGH_FROM on */

enum _WARNING_BIT : unsigned int {
#define PI_ROW(name, number) WARNING_##name = number,
  PI_CATALOGUE_WARNING_BITS(PI_ROW)
#undef PI_ROW
};

namespace Catalogue {

// Whether no two numbers are equal. Runs in the compiler alone, so a number that stands twice in a
// list stops the build with the name of the list.
template <class Number, std::size_t Count>
consteval bool IsUnique(const std::array<Number, Count>& numbers) {
  for (std::size_t i = 0; i < Count; ++i) {
    for (std::size_t j = 0; j < i; ++j) {
      if (numbers[i] == numbers[j]) return false;
    }
  }
  return true;
}

#define PI_NUMBER(name, number, ...) number##U,
#define PI_NUMBERS(ROWS) std::to_array<unsigned int>({ROWS(PI_NUMBER)})
#define PROPERTY(name, number) number##U,
static_assert(IsUnique(std::to_array<unsigned int>({
#include <Facts/Fields.def>
              })),
              "a property id stands twice");
static_assert(IsUnique(PI_NUMBERS(PI_CATALOGUE_CHOICES)), "a choice stands twice");
static_assert(IsUnique(PI_NUMBERS(PI_CATALOGUE_EVENTS)), "an event id stands twice");
static_assert(IsUnique(PI_NUMBERS(PI_CATALOGUE_SEVERITIES)), "a severity stands twice");
static_assert(IsUnique(PI_NUMBERS(PI_CATALOGUE_OPERATIONS)), "an operation id stands twice");
static_assert(IsUnique(PI_NUMBERS(PI_CATALOGUE_UNITS)), "a unit stands twice");
static_assert(IsUnique(PI_NUMBERS(PI_CATALOGUE_RESULTS)), "a result code stands twice");
static_assert(IsUnique(PI_NUMBERS(PI_CATALOGUE_OBJECT_TYPES)), "an object type stands twice");
static_assert(IsUnique(PI_NUMBERS(PI_CATALOGUE_WARNING_BITS)), "a warning bit stands twice");
#undef PI_NUMBERS
#undef PI_NUMBER

}  // namespace Catalogue

}  // namespace PI
