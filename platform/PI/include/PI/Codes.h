#pragma once

namespace PI {

// Commands of IPLUGINAPI::Execute. Any other number is passed through and refused by the plug-in.
enum _COMMAND : unsigned int {
  COMMAND_INITIALIZE = 1,
  COMMAND_SET_ADAPTER_IDS = 2,
  COMMAND_DEINITIALIZE = 3,
  COMMAND_GET_TOPOLOGY = 4,
  COMMAND_GET_PROPERTIES = 5,
  COMMAND_GET_PROPERTY = 6,
  COMMAND_SET_PROPERTY = 7,
  COMMAND_GET_OPERATIONS = 8,
  COMMAND_CHECK_OPERATION = 9,
  COMMAND_EXECUTE_OPERATION = 10,
};

// Ids of properties; 1 in a request asks for all.
enum _PROPERTY_ID : unsigned int { PROPERTY_ALL = 1 };

enum _UNITS : unsigned int {
  UNIT_NONE = 1,
  UNIT_CELSIUS = 21000,
  UNIT_KIB = 21001,
  UNIT_MIB = 21002,
  UNIT_GIB = 21003,
  UNIT_TIB = 21004,
  UNIT_HOURS = 21005,
  UNIT_BYTES = 21006,
  UNIT_PIB = 21007,
  UNIT_EIB = 21008,
  UNIT_PERCENT = 21010,
  UNIT_BYTES_PER_SECTOR = 21025,
};

// Kinds of value in a property description.
enum _DATA_KIND : unsigned int {
  KIND_STRING = 2,
  KIND_CHOICE = 3,
  KIND_UNSIGNED = 5,
  KIND_RANGE = 7,
  KIND_MULTIPLE_CHOICE = 8,
  KIND_NUMBER_WITH_UNIT = 9,
};

// Result codes that the host library names. 0 is success everywhere.
inline constexpr unsigned int ERR_NO_SUPPORTED_HARDWARE = 20001;
inline constexpr unsigned int ERR_LOCK_INITIALIZATION_FAILED = 20011;
inline constexpr unsigned int ERR_API_INITIALIZATION_FAILED = 20012;

// Types of object that the host knows.
inline constexpr unsigned int OBJECT_TYPE_PLUGIN = 19006;
inline constexpr unsigned int OBJECT_TYPE_PHYSICAL_DRIVE = 19018;
inline constexpr unsigned int OBJECT_TYPE_ADAPTER = 19038;

// The version of IPLUGINAPI that this host speaks.
inline constexpr unsigned int INTERFACE_VERSION = 2;

}  // namespace PI
