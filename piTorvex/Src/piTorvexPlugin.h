#pragma once

#include "Core/Names.h"

#include <PI/Object.h>

namespace NAMESPACE_piTorvex {

// The plug-in object itself: parent of every adapter. The one there is belongs to IPLUGINAPI_IMPL.
// [holds m_DataLock]
class CTorvexPlugin : public PI::CObject {
 public:
  CTorvexPlugin() = default;
  CTorvexPlugin(const CTorvexPlugin&) = default;
  CTorvexPlugin& operator=(const CTorvexPlugin&) = default;
  ~CTorvexPlugin() override = default;
};

}  // namespace NAMESPACE_piTorvex
