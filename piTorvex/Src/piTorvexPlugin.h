#pragma once

#include <string>

#include <PI/Object.h>

namespace NAMESPACE_piTorvex {

// The plug-in object itself: parent of every adapter.
class CTorvexPlugin : public PI::CObject {
 public:
  CTorvexPlugin() = default;
  CTorvexPlugin(const CTorvexPlugin&) = default;
  CTorvexPlugin& operator=(const CTorvexPlugin&) = default;
  ~CTorvexPlugin() override = default;
};

// The marketing name that goes with a PCI subsystem device id and a PCI device id.
std::string getAdapterName(unsigned long subsystemDeviceId, unsigned long deviceId);

}  // namespace NAMESPACE_piTorvex
