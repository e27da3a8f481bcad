#include "RecordReader.h"

#include "Json.h"
#include "RecordNames.h"

#include <algorithm>
#include <limits>
#include <optional>

namespace vxhost {

namespace {

using Json = JsonValue;

std::string_view Name(const Json& string) {
  return {string.GetString(), string.GetStringLength()};
}

// Messages begin with ':' at the value they are about; At() puts the path in front.
[[noreturn]] void Refuse(const std::string& what) {
  throw Malformed(": " + what);
}

unsigned long ReadUnsigned64(const Json& json) {
  if (!json.IsUint64()) Refuse("must be an unsigned number of 64 bits");
  return json.GetUint64();
}

int ReadSigned32(const Json& json) {
  if (!json.IsInt()) Refuse("must be a signed number of 32 bits");
  return json.GetInt();
}

bool ReadBool(const Json& json) {
  if (!json.IsBool()) Refuse("must be true or false");
  return json.GetBool();
}

std::string ReadText(const Json& json) {
  if (!json.IsString()) Refuse("must be a text");
  return std::string(Name(json));
}

// Calls the reader for the member if it is there; says whether it was.
template <class Reader>
bool Optional(const Json& json, std::string_view name, Reader&& reader) {
  const Json* const member = Member(json, name);
  if (member == nullptr) return false;
  At(name, [&] { reader(*member); });
  return true;
}

template <class Reader>
void Required(const Json& json, std::string_view name, Reader&& reader) {
  if (!Optional(json, name, reader)) Refuse("lacks the member \"" + std::string(name) + "\"");
}

// A list whose elements the reader turns into elements of the output.
template <class Element, class Reader>
void ReadList(const Json& json, std::vector<Element>& out, Reader&& reader) {
  if (!json.IsArray()) Refuse("must be a list");
  out.clear();
  out.reserve(json.Size());
  for (rapidjson::SizeType i = 0; i < json.Size(); ++i) {
    At("[" + std::to_string(i) + "]", [&] { out.push_back(reader(json[i])); });
  }
}

template <class Element, std::size_t Size, class Reader>
void ReadArray(const Json& json, std::array<Element, Size>& out, Reader&& reader) {
  std::vector<Element> list;
  ReadList(json, list, reader);
  if (list.size() != Size) Refuse("must have " + std::to_string(Size) + " numbers");
  std::copy(list.begin(), list.end(), out.begin());
}

template <class Data>
Data ReadChoices(const Json& json);

template <>
PI::CChoiceData ReadChoices(const Json& json) {
  CheckMembers(json, {"selected", "choices"});
  PI::CChoiceData data;
  Optional(json, "selected", [&](const Json& member) { data.m_Selected = ReadSigned32(member); });
  Optional(json, "choices",
           [&](const Json& member) { ReadList(member, data.m_Choices, ReadSigned32); });
  return data;
}

template <>
PI::CMultiValueData ReadChoices(const Json& json) {
  CheckMembers(json, {"selected", "choices"});
  PI::CMultiValueData data;
  Optional(json, "selected",
           [&](const Json& member) { ReadList(member, data.m_Selected, ReadSigned32); });
  Optional(json, "choices",
           [&](const Json& member) { ReadList(member, data.m_Choices, ReadSigned32); });
  return data;
}

PI::CRangeData ReadRange(const Json& json) {
  CheckMembers(json, {"value", "min", "max", "step"});
  PI::CRangeData data;
  Optional(json, "value", [&](const Json& member) { data.m_Value = ReadSigned32(member); });
  Optional(json, "min", [&](const Json& member) { data.m_Minimum = ReadSigned32(member); });
  Optional(json, "max", [&](const Json& member) { data.m_Maximum = ReadSigned32(member); });
  Optional(json, "step", [&](const Json& member) { data.m_Step = ReadUnsigned32(member); });
  return data;
}

PI::CSignedLongData ReadSigned64(const Json& json) {
  if (!json.IsInt64()) Refuse("must be a signed number of 64 bits");
  return {json.GetInt64()};
}

PI::CFloatData ReadFloat(const Json& json) {
  if (json.IsNull()) return {std::numeric_limits<float>::quiet_NaN()};
  if (!json.IsNumber()) Refuse("must be a number");
  return {static_cast<float>(json.GetDouble())};
}

PI::CMultiLongData ReadMultiLong(const Json& json) {
  PI::CMultiLongData data;
  ReadList(json, data.m_Values, ReadUnsigned64);
  return data;
}

PI::CMultiStringData ReadMultiString(const Json& json) {
  PI::CMultiStringData data;
  ReadList(json, data.m_Values, ReadText);
  return data;
}

// How a value of each kind is read, in the order of the variant; the default value when there is no
// JSON for it.
using ValueReader = PI::CPropertyValue (*)(const Json*);

template <class Data, Data (*Reader)(const Json&)>
PI::CPropertyValue ReadOr(const Json* json) {
  return json == nullptr ? Data{} : Reader(*json);
}

template <class Data, class Element, Element (*Reader)(const Json&)>
PI::CPropertyValue ReadPlain(const Json* json) {
  return json == nullptr ? Data{} : Data{Reader(*json)};
}

constexpr std::array<ValueReader, KIND_NAMES.size()> VALUE_READERS = {
    ReadOr<PI::CChoiceData, ReadChoices<PI::CChoiceData>>,
    ReadOr<PI::CRangeData, ReadRange>,
    ReadPlain<PI::CStringData, std::string, ReadText>,
    ReadPlain<PI::CBoolData, bool, ReadBool>,
    ReadPlain<PI::CLongData, unsigned long, ReadUnsigned64>,
    ReadOr<PI::CSignedLongData, ReadSigned64>,
    ReadOr<PI::CMultiValueData, ReadChoices<PI::CMultiValueData>>,
    ReadOr<PI::CFloatData, ReadFloat>,
    ReadOr<PI::CMultiLongData, ReadMultiLong>,
    ReadPlain<PI::CXMLData, std::string, ReadText>,
    ReadOr<PI::CMultiStringData, ReadMultiString>,
};

std::size_t KindByName(std::string_view name) {
  const auto found = std::find(KIND_NAMES.begin(), KIND_NAMES.end(), name);
  if (found == KIND_NAMES.end()) Refuse("is not one of the kinds of value");
  return static_cast<std::size_t>(found - KIND_NAMES.begin());
}

// The kind that a value without a named kind has by its shape.
std::string_view GuessKind(const Json& value) {
  if (value.IsString()) return "string";
  if (value.IsBool()) return "bool";
  if (value.IsUint64()) return "unsigned";
  if (value.IsInt64()) return "signed";
  if (value.IsNumber()) return "float";
  if (value.IsArray()) return !value.Empty() && value[0].IsString() ? "multiString" : "multiLong";
  if (!value.IsObject()) Refuse("must be given with a \"kind\"");
  if (!value.HasMember("choices") && !value.HasMember("selected")) return "range";
  const Json* const selected = Member(value, "selected");
  return selected != nullptr && selected->IsArray() ? "multiValue" : "choice";
}

}  // namespace

void CheckMembers(const Json& json, const std::vector<std::string_view>& known) {
  if (!json.IsObject()) Refuse("must be an object");
  std::vector<bool> seen(known.size());
  for (const auto& member : json.GetObject()) {
    const auto found = std::find(known.begin(), known.end(), Name(member.name));
    if (found == known.end()) {
      Refuse("has an unknown member \"" + std::string(Name(member.name)) + "\"");
    }
    const auto place = static_cast<std::size_t>(found - known.begin());
    if (seen[place]) Refuse("has the member \"" + std::string(*found) + "\" twice");
    seen[place] = true;
  }
}

const Json* Member(const Json& json, std::string_view name) {
  for (const auto& member : json.GetObject()) {
    if (Name(member.name) == name) return &member.value;
  }
  return nullptr;
}

unsigned int ReadUnsigned32(const Json& json) {
  if (!json.IsUint()) Refuse("must be an unsigned number of 32 bits");
  return json.GetUint();
}

unsigned long ReadId(const Json& json) {
  if (json.IsUint64()) return json.GetUint64();
  if (const auto id = ParseHexId(json.IsString() ? Name(json) : "")) return *id;
  Refuse("must be an id: \"0x\" and up to 16 hexadecimal digits, or an unsigned number");
}

void Read(const Json& json, PI::CAdapterID& adapter) {
  CheckMembers(json, {"name", "numbers", "index", "hostNumber"});
  Optional(json, "name", [&](const Json& member) { adapter.m_Name = ReadText(member); });
  Required(json, "numbers", [&](const Json& member) {
    ReadArray(member, adapter.m_Identification, ReadUnsigned32);
  });
  Optional(json, "index",
           [&](const Json& member) { adapter.m_AdapterIndex = ReadUnsigned32(member); });
  Required(json, "hostNumber",
           [&](const Json& member) { adapter.m_HostNumber = ReadSigned32(member); });
}

void Read(const Json& json, PI::CEvent& event) {
  CheckMembers(json, {"id", "severity", "object", "time", "name", "placeholder1", "placeholder2"});
  Required(json, "id", [&](const Json& member) { event.m_EventID = ReadUnsigned32(member); });
  Optional(json, "severity",
           [&](const Json& member) { event.m_Severity = ReadUnsigned32(member); });
  Optional(json, "object", [&](const Json& member) { event.m_ObjectID = ReadId(member); });
  Optional(json, "time", [&](const Json& member) { event.m_Time = ReadUnsigned64(member); });
  Optional(json, "name", [&](const Json& member) { event.m_Name = ReadText(member); });
  Optional(json, "placeholder1",
           [&](const Json& member) { event.SetPlaceHolder1(ReadText(member)); });
  Optional(json, "placeholder2",
           [&](const Json& member) { event.SetPlaceHolder2(ReadText(member)); });
}

void Read(const Json& json, PI::CProperty& property) {
  CheckMembers(json, {"id", "label", "kind", "unit", "settable", "value"});
  Required(json, "id", [&](const Json& member) {
    property.m_PropertyID = static_cast<PI::_PROPERTY_ID>(ReadUnsigned32(member));
  });
  Optional(json, "label", [&](const Json& member) { property.m_LabelID = ReadUnsigned32(member); });
  Optional(json, "unit", [&](const Json& member) {
    property.m_Unit = static_cast<PI::_UNITS>(ReadUnsigned32(member));
  });
  Optional(json, "settable", [&](const Json& member) { property.m_Settable = ReadBool(member); });
  const Json* const value = Member(json, "value");
  std::optional<std::size_t> kind;
  Optional(json, "kind", [&](const Json& member) { kind = KindByName(ReadText(member)); });
  if (value == nullptr && !kind) return;
  At("value", [&] {
    if (!kind) kind = KindByName(GuessKind(*value));
    property.m_Value = VALUE_READERS.at(*kind)(value);
  });
}

void Read(const Json& json, PI::COperation& operation) {
  CheckMembers(json, {"id", "numbers", "flag", "events"});
  Optional(json, "numbers",
           [&](const Json& member) { ReadArray(member, operation.m_Numbers, ReadSigned32); });
  const bool numbered = Member(json, "numbers") != nullptr;
  Required(json, "id", [&](const Json& member) {
    const unsigned int id = ReadUnsigned32(member);
    if (numbered && operation.OperationID() != id) Refuse("differs from the first of the numbers");
    operation.SetOperationID(id);
  });
  Optional(json, "flag", [&](const Json& member) { operation.m_Flag = ReadBool(member); });
  Optional(json, "events", [&](const Json& member) { Read(member, operation.m_Events); });
}

void Read(const Json& json, PI::CObject& object) {
  CheckMembers(json, {"id", "type", "parents", "children", "readCounter", "locked", "properties",
                      "operations"});
  Required(json, "id", [&](const Json& member) { object.m_ID = ReadId(member); });
  Optional(json, "type", [&](const Json& member) { object.m_Type = ReadUnsigned32(member); });
  Optional(json, "parents",
           [&](const Json& member) { ReadList(member, object.m_ParentIDs, ReadId); });
  Optional(json, "children",
           [&](const Json& member) { ReadList(member, object.m_ChildIDs, ReadId); });
  Optional(json, "readCounter",
           [&](const Json& member) { object.m_ReadCounter = ReadUnsigned64(member); });
  Optional(json, "locked", [&](const Json& member) { object.m_LockFlag = ReadBool(member); });
  Optional(json, "properties", [&](const Json& member) { Read(member, object.m_Properties); });
  Optional(json, "operations", [&](const Json& member) { Read(member, object.m_Operations); });
}

}  // namespace vxhost
