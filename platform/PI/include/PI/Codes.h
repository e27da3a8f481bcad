#pragma once

#include <PI/Catalogue.h>

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

// Kinds of value in a property description.
enum _DATA_KIND : unsigned int {
  KIND_STRING = 2,
  KIND_CHOICE = 3,
  KIND_UNSIGNED = 5,
  KIND_RANGE = 7,
  KIND_MULTIPLE_CHOICE = 8,
  KIND_NUMBER_WITH_UNIT = 9,
};

// The version of IPLUGINAPI that this host speaks.
inline constexpr unsigned int INTERFACE_VERSION = 2;

}  // namespace PI
