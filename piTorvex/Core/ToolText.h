#pragma once

#include "Core/JsonMemory.h"
#include "Core/ToolRecords.h"

#include <string>
#include <vector>

// Reading what the vendor's tool prints: no child process, no lock. Every value that is taken over
// is traced with its key. Sections that are missing, keys that are missing or of another type, and
// a root that is no object change nothing and are no error. [any thread]
namespace NAMESPACE_piTorvex {

// Parses the whole text as one JSON value. False, with a null document, when it is not JSON, holds
// anything behind the value, is larger than 64 MiB, would become a document above 256 MiB, or nests
// deeper than 256 (which would cost the parser its stack). Throws std::bad_alloc when there is no
// memory for it.
[[nodiscard]] bool ParseToolOutput(const std::string& text, CToolDocument& document);

// Appends the drives that this plug-in serves, in the tool's order; their numbers carry on from the
// size of the list.
void ReadInventory(const CToolValue& root, std::vector<CCmdEmuAdapter>& drives);

// One reader per log. ReadHealthLog throws boost::bad_optional_access when the text of a counter is
// no hexadecimal number; what was read before it stays.
void ReadHealthLog(const CToolValue& root, CCmdEmuGetlog& log);
void ReadTemperatureLog(const CToolValue& root, CCmdEmuGetlog& log);
void ReadAttributeLog(const CToolValue& root, CCmdEmuGetlog& log);
void ReadCapacityLog(const CToolValue& root, CCmdEmuGetlog& log);

// Takes the tool's version from the first version section; leaves the text as it is without one.
void ReadVersion(const CToolValue& root, std::string& version);

// The number that a text of hexadecimal digits stands for: leading blanks and "0x" are accepted,
// nothing may follow. Throws boost::bad_optional_access.
[[nodiscard]] unsigned long HexadecimalToNumber(const std::string& text);

}  // namespace NAMESPACE_piTorvex
