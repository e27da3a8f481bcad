#pragma once

#include "piTorvex.h"
#include "support/TraceRecorder.h"

namespace vxtest {

// Keeps the trace lines while it lives; the mask, every level unless given, is the plug-in's.
class PluginTrace : public TraceRecorder {
 public:
  explicit PluginTrace(unsigned int mask = 31)
      : TraceRecorder(NAMESPACE_piTorvex::TLX_MODULE_INFO_piTorvex, mask) {}
};

}  // namespace vxtest
