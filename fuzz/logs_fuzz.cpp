// The tool's other answers: the first byte picks the reader ('0' health log, '1' temperatures, '2'
// attributes, '3' capacity, '4' version, '5' the text of a counter), the rest is what the tool
// prints.
#include "Core/Health.h"
#include "piTorvex.h"

#include <array>
#include <cstdint>
#include <cstdlib>
#include <string>

#include <boost/optional/bad_optional_access.hpp>
#include <rapidjson/document.h>

using namespace NAMESPACE_piTorvex;

namespace {

void Require(bool holds) {
  if (!holds) std::abort();
}

using Reader = void (*)(const NAMESPACE_piTorvex::CToolValue&, CCmdEmuGetlog&);
constexpr std::array<Reader, 4> READERS = {ReadHealthLog, ReadTemperatureLog, ReadAttributeLog,
                                           ReadCapacityLog};

void ReadLog(Reader reader, const NAMESPACE_piTorvex::CToolValue& root) {
  CCmdEmuGetlog log;
  try {
    reader(root, log);
  } catch (const boost::bad_optional_access&) {
    // A counter that is no hexadecimal number.
  }
  const unsigned int before = log.CriticalWarnings;
  AddTemperatureWarnings(log);
  Require((log.CriticalWarnings & before) == before);
  Require((log.CriticalWarnings & ~before & ~0x2E0U) == 0);
}

void ReadCounter(const std::string& text) {
  try {
    (void)HexadecimalToNumber(text);
    Require(text.find('-') == std::string::npos);
  } catch (const boost::bad_optional_access&) {
    // Not a number.
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) return 0;
  // Lines are formatted, and dropped.
  TLX_MODULE_INFO_piTorvex.SetTraceMask(TLX::Misc::TRACE_STEPS);
  const std::string text(reinterpret_cast<const char*>(data) + 1, size - 1);
  const std::size_t reader = static_cast<std::size_t>(data[0] - '0');
  if (reader == 5) {
    ReadCounter(text);
    return 0;
  }
  NAMESPACE_piTorvex::CToolDocument document;
  if (!ParseToolOutput(text, document)) return 0;
  if (reader < READERS.size()) {
    ReadLog(READERS[reader], document);
  } else {
    std::string version;
    ReadVersion(document, version);
  }
  return 0;
}
