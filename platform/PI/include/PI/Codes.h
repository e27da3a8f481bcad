#pragma once

#include <PI/Catalogue.h>

namespace PI {

// Commands of IPLUGINAPI::Execute; PluginApi.h says what each is given and may be called when. Any
// other number is passed through and refused by the plug-in with ERR_UNKNOWN_COMMAND.
enum _COMMAND : unsigned int {
  // Finds what there is to serve; starts no thread.
  COMMAND_INITIALIZE = 1,
  // Tells the plug-in the host's numbers of its adapters, and starts its threads.
  COMMAND_SET_ADAPTER_IDS = 2,
  // Ends the threads: when it returns, no thread of the plug-in runs.
  COMMAND_DEINITIALIZE = 3,
  // Copies of all objects, properties and operations included: the plug-in object, then adapters,
  // then drives.
  COMMAND_GET_TOPOLOGY = 4,
  // All properties of one object. What is not known is left out.
  COMMAND_GET_PROPERTIES = 5,
  // One property of one object; ERR_GENERAL_FAILURE when the object has none of that id now.
  COMMAND_GET_PROPERTY = 6,
  // Changes one property, where it is settable.
  COMMAND_SET_PROPERTY = 7,
  // The operations that one object offers.
  COMMAND_GET_OPERATIONS = 8,
  // Whether an operation would be allowed now; changes nothing.
  COMMAND_CHECK_OPERATION = 9,
  // Runs an operation; the call lasts as long as the operation.
  COMMAND_EXECUTE_OPERATION = 10,
};

// Kinds of value in a property description: how a host shows the value, and which data
// CPluginHelper::GenerateCProperty puts into a fresh property.
enum _DATA_KIND : unsigned int {
  // CStringData.
  KIND_STRING = 2,
  // CChoiceData.
  KIND_CHOICE = 3,
  // CLongData; temperatures set a float instead.
  KIND_UNSIGNED = 5,
  // CRangeData.
  KIND_RANGE = 7,
  // CMultiValueData.
  KIND_MULTIPLE_CHOICE = 8,
  // CFloatData; counters set an unsigned number instead.
  KIND_NUMBER_WITH_UNIT = 9,
};

// The version of IPLUGINAPI that this host speaks. A plug-in puts into m_InterfaceVersion the one
// that it was compiled with; a host that knows another refuses to load it.
inline constexpr unsigned int INTERFACE_VERSION = 2;

}  // namespace PI
