// The tool's inventory: any bytes for what it prints.
#include "piTorvex.h"

#include <cstdint>
#include <cstdlib>
#include <string>
#include <vector>

#include <rapidjson/document.h>

using namespace NAMESPACE_piTorvex;

namespace {

void Require(bool holds) {
  if (!holds) std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  // Lines are formatted, and dropped.
  TLX_MODULE_INFO_piTorvex.SetTraceMask(TLX::Misc::TRACE_STEPS);
  NAMESPACE_piTorvex::CToolDocument document;
  std::vector<CCmdEmuAdapter> drives;
  if (!ParseToolOutput(std::string(reinterpret_cast<const char*>(data), size), document)) {
    Require(document.IsNull());
    return 0;
  }
  ReadInventory(document, drives);
  for (std::size_t i = 0; i < drives.size(); ++i) {
    Require(drives[i].AdapterNumber == i + 1);
    Require(drives[i].Index != -1);
    Require(drives[i].ModelNumber.starts_with("INTEL SSDPE"));
    Require(drives[i].DriverMajorVersion.size() <= 1 && drives[i].DriverMinorVersion.size() <= 1);
  }
  return 0;
}
