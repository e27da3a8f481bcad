#include "FleetUnion.h"

#include "Json.h"

#include <algorithm>
#include <array>

#include <rapidjson/document.h>
#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

namespace vxhost {

namespace {

using rapidjson::Document;
using rapidjson::Value;

// Deeper nesting than any fleet has; copying and writing values recurse.
constexpr int MAX_DEPTH = 64;

// The document is null when the text is no JSON or nests too deeply.
void Parse(const std::string& text, Document& document) {
  if (JsonDepth(text) > MAX_DEPTH) return;
  document.Parse<rapidjson::kParseIterativeFlag>(text.data(), text.size());
}

bool IsFleet(const Document& fleet) {
  if (fleet.HasParseError() || !fleet.IsObject() || !fleet.HasMember("drives")) return false;
  const Value& drives = fleet["drives"];
  return drives.IsArray() && std::all_of(drives.Begin(), drives.End(),
                                         [](const Value& drive) { return drive.IsObject(); });
}

bool IsPresent(const Value& drive) {
  const auto present = drive.FindMember("present");
  return present == drive.MemberEnd() || !present->value.IsFalse();
}

// What only one drive of a machine can have, as the fleet file names it.
std::array<std::string, 3> PlaceOf(const Value& drive) {
  const auto text = [](const Value& object, const char* key) -> std::string {
    if (!object.IsObject()) return {};
    const auto member = object.FindMember(key);
    if (member == object.MemberEnd() || !member->value.IsString()) return {};
    return {member->value.GetString(), member->value.GetStringLength()};
  };
  const auto pci = drive.FindMember("pci");
  if (pci == drive.MemberEnd()) return {text(drive, "devicePath"), {}, {}};
  return {text(drive, "devicePath"), text(pci->value, "address"), text(pci->value, "slot")};
}

bool SharesAPlace(const Value& left, const Value& right) {
  const auto first = PlaceOf(left);
  const auto second = PlaceOf(right);
  for (std::size_t i = 0; i < first.size(); ++i) {
    if (!first.at(i).empty() && first.at(i) == second.at(i)) return true;
  }
  return false;
}

std::string TextOf(const Document& document) {
  rapidjson::StringBuffer buffer;
  rapidjson::Writer<rapidjson::StringBuffer> writer(buffer);
  document.Accept(writer);
  return {buffer.GetString(), buffer.GetSize()};
}

}  // namespace

std::optional<std::string> UnionOfFleets(const std::string& oldFleet, const std::string& newFleet) {
  Document before;
  Parse(oldFleet, before);
  Document fleet;
  Parse(newFleet, fleet);
  if (!IsFleet(before) || !IsFleet(fleet)) return std::nullopt;
  auto& allocator = fleet.GetAllocator();
  Value& drives = fleet["drives"];
  const rapidjson::SizeType count = drives.Size();
  for (const Value& drive : before["drives"].GetArray()) {
    const bool stays = std::any_of(drives.Begin(), drives.Begin() + count, [&](const Value& other) {
      return IsPresent(other) && SharesAPlace(drive, other);
    });
    if (IsPresent(drive) && !stays) drives.PushBack(Value(drive, allocator), allocator);
  }
  if (drives.Size() == count) return std::nullopt;
  for (Value& drive : drives.GetArray()) {
    drive.RemoveMember("index");
    drive.AddMember("index", Value(), allocator);
  }
  // A drive that has moved is there twice.
  fleet.RemoveMember("allowDuplicateSerials");
  fleet.AddMember("allowDuplicateSerials", true, allocator);
  return TextOf(fleet);
}

bool IsJson(const std::string& text) {
  Document document;
  document.Parse<rapidjson::kParseIterativeFlag>(text.data(), text.size());
  return !document.HasParseError();
}

}  // namespace vxhost
