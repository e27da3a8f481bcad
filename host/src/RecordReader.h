#pragma once

#include "JsonMemory.h"

#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include <PI/AdapterID.h>
#include <PI/Object.h>
#include <PI/Operation.h>
#include <PI/Property.h>

namespace vxhost {

// A JSON value that is not what the protocol wants; the text says where and what.
class Malformed : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// Records out of JSON. Each throws Malformed, with the place as a path ("numbers[2]: ...").
void Read(const JsonValue& json, PI::CAdapterID& adapter);
void Read(const JsonValue& json, PI::CEvent& event);
void Read(const JsonValue& json, PI::CProperty& property);
void Read(const JsonValue& json, PI::COperation& operation);
void Read(const JsonValue& json, PI::CObject& object);

// An object id: "0x" and up to sixteen hexadecimal digits, or an unsigned number.
unsigned long ReadId(const JsonValue& json);
unsigned int ReadUnsigned32(const JsonValue& json);

// Checks that json is an object whose members all have one of the names, none of them twice.
void CheckMembers(const JsonValue& json, const std::vector<std::string_view>& known);

// The member, or null when there is none.
const JsonValue* Member(const JsonValue& json, std::string_view name);

// Puts the place in front of the message of what the function throws.
template <class Function>
void At(std::string_view place, Function&& function) {
  try {
    function();
  } catch (const Malformed& inner) {
    const std::string_view text = inner.what();
    const std::string_view joint = text.starts_with('[') ? "" : (text.starts_with(':') ? "" : ".");
    throw Malformed(std::string(place) + std::string(joint) + std::string(text));
  }
}

template <class Record>
void Read(const JsonValue& json, std::vector<Record>& records) {
  if (!json.IsArray()) throw Malformed(": must be a list");
  records.clear();
  records.reserve(json.Size());
  for (rapidjson::SizeType i = 0; i < json.Size(); ++i) {
    records.emplace_back();
    At("[" + std::to_string(i) + "]", [&] { Read(json[i], records.back()); });
  }
}

}  // namespace vxhost
