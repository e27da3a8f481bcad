#pragma once

#include "JsonMemory.h"

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <PI/AdapterID.h>
#include <PI/Object.h>
#include <PI/Operation.h>
#include <PI/Property.h>
#include <TLX/Misc/Text.h>

namespace vxhost {

using TLX::Misc::ToUtf8;

// An object id as people and JSON write it: "0x" and sixteen hexadecimal digits.
std::string HexId(unsigned long id);
// Reads one back, with up to sixteen digits; nothing for other texts.
[[nodiscard]] std::optional<unsigned long> ParseHexId(std::string_view text);

// How deep lists and objects nest; brackets in texts do not count. For texts that are no JSON it
// may be anything. Whoever follows a document by recursion looks at this first.
int JsonDepth(std::string_view json);

// Builds one JSON text without line ends, from front to back.
class JsonText {
 public:
  JsonText() : writer_(buffer_) {}

  JsonText& Key(std::string_view name);  // UTF-8
  JsonText& Text(std::string_view bytes);
  JsonText& Id(unsigned long id);
  JsonText& Unsigned(unsigned long number);
  JsonText& Signed(long number);
  JsonText& Float(
      float number);  // the shortest text that reads back the same; NaN and infinity null
  JsonText& Bool(bool value);
  JsonText& Null();
  JsonText& Raw(std::string_view json);  // a finished JSON value
  JsonText& StartObject();
  JsonText& EndObject();
  JsonText& StartArray();
  JsonText& EndArray();

  std::string Take() const { return {buffer_.GetString(), buffer_.GetSize()}; }

 private:
  JsonBuffer buffer_;
  JsonWriter writer_;
};

void Write(JsonText& json, const PI::CAdapterID& adapter);
void Write(JsonText& json, const PI::CEvent& event);
void Write(JsonText& json, const PI::CProperty& property);
void Write(JsonText& json, const PI::COperation& operation);
void Write(JsonText& json, const PI::CObject& object);

template <class Record>
void Write(JsonText& json, const std::vector<Record>& records) {
  json.StartArray();
  for (const Record& record : records) Write(json, record);
  json.EndArray();
}

// The value alone: what stands under "value" in a property.
void WriteValue(JsonText& json, const PI::CPropertyValue& value);

}  // namespace vxhost
