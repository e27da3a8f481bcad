#include "Json.h"

#include "RecordNames.h"

#include <array>
#include <charconv>
#include <cmath>

#include <fmt/format.h>

namespace vxhost {

namespace {

void WriteNumbers(JsonText& json, const std::vector<int>& numbers) {
  json.StartArray();
  for (const int number : numbers) json.Signed(number);
  json.EndArray();
}

void WriteIds(JsonText& json, const std::vector<unsigned long>& ids) {
  json.StartArray();
  for (const unsigned long id : ids) json.Id(id);
  json.EndArray();
}

// Writes the value of each kind.
class ValueWriter : public boost::static_visitor<void> {
 public:
  explicit ValueWriter(JsonText& json) : json_(json) {}

  void operator()(const PI::CChoiceData& data) const {
    json_.StartObject().Key("selected").Signed(data.m_Selected).Key("choices");
    WriteNumbers(json_, data.m_Choices);
    json_.EndObject();
  }
  void operator()(const PI::CRangeData& data) const {
    json_.StartObject().Key("value").Signed(data.m_Value).Key("min").Signed(data.m_Minimum);
    json_.Key("max").Signed(data.m_Maximum).Key("step").Unsigned(data.m_Step).EndObject();
  }
  void operator()(const PI::CMultiValueData& data) const {
    json_.StartObject().Key("selected");
    WriteNumbers(json_, data.m_Selected);
    json_.Key("choices");
    WriteNumbers(json_, data.m_Choices);
    json_.EndObject();
  }
  void operator()(const PI::CMultiLongData& data) const {
    json_.StartArray();
    for (const unsigned long number : data.m_Values) json_.Unsigned(number);
    json_.EndArray();
  }
  void operator()(const PI::CMultiStringData& data) const {
    json_.StartArray();
    for (const std::string& text : data.m_Values) json_.Text(text);
    json_.EndArray();
  }
  void operator()(const PI::CStringData& data) const { json_.Text(data.m_Value); }
  void operator()(const PI::CXMLData& data) const { json_.Text(data.m_Value); }
  void operator()(const PI::CBoolData& data) const { json_.Bool(data.m_Value); }
  void operator()(const PI::CLongData& data) const { json_.Unsigned(data.m_Value); }
  void operator()(const PI::CSignedLongData& data) const { json_.Signed(data.m_Value); }
  void operator()(const PI::CFloatData& data) const { json_.Float(data.m_Value); }

 private:
  JsonText& json_;
};

}  // namespace

std::string HexId(unsigned long id) {
  return fmt::format("0x{:016x}", id);
}

std::optional<unsigned long> ParseHexId(std::string_view text) {
  if (!text.starts_with("0x") && !text.starts_with("0X")) return std::nullopt;
  unsigned long id = 0;
  const char* const end = text.data() + text.size();
  const auto result = std::from_chars(text.data() + 2, end, id, 16);
  return result.ec == std::errc() && result.ptr == end ? std::optional(id) : std::nullopt;
}

int JsonDepth(std::string_view json) {
  int depth = 0;
  int deepest = 0;
  bool inText = false;
  for (std::size_t i = 0; i < json.size(); ++i) {
    const char c = json[i];
    if (inText) {
      if (c == '\\') ++i;
      inText = c != '"';
    } else if (c == '"') {
      inText = true;
    } else if (c == '{' || c == '[') {
      deepest = std::max(deepest, ++depth);
    } else if (c == '}' || c == ']') {
      --depth;
    }
  }
  return deepest;
}

JsonText& JsonText::Key(std::string_view name) {
  writer_.Key(name.data(), static_cast<rapidjson::SizeType>(name.size()));
  return *this;
}

JsonText& JsonText::Text(std::string_view bytes) {
  const std::string text = ToUtf8(bytes);
  writer_.String(text.data(), static_cast<rapidjson::SizeType>(text.size()));
  return *this;
}

JsonText& JsonText::Id(unsigned long id) {
  return Text(HexId(id));
}

JsonText& JsonText::Unsigned(unsigned long number) {
  writer_.Uint64(number);
  return *this;
}

JsonText& JsonText::Signed(long number) {
  writer_.Int64(number);
  return *this;
}

JsonText& JsonText::Float(float number) {
  if (!std::isfinite(number)) return Null();
  std::array<char, 64> text{};
  const auto end = std::to_chars(text.data(), text.data() + text.size(), number).ptr;
  std::string json(text.data(), end);
  if (json.find_first_of(".e") == std::string::npos) json += ".0";
  writer_.RawValue(json.data(), json.size(), rapidjson::kNumberType);
  return *this;
}

JsonText& JsonText::Bool(bool value) {
  writer_.Bool(value);
  return *this;
}

JsonText& JsonText::Null() {
  writer_.Null();
  return *this;
}

JsonText& JsonText::Raw(std::string_view json) {
  writer_.RawValue(json.data(), json.size(), rapidjson::kObjectType);
  return *this;
}

JsonText& JsonText::StartObject() {
  writer_.StartObject();
  return *this;
}

JsonText& JsonText::EndObject() {
  writer_.EndObject();
  return *this;
}

JsonText& JsonText::StartArray() {
  writer_.StartArray();
  return *this;
}

JsonText& JsonText::EndArray() {
  writer_.EndArray();
  return *this;
}

void Write(JsonText& json, const PI::CAdapterID& adapter) {
  json.StartObject().Key("name").Text(adapter.m_Name).Key("numbers").StartArray();
  for (const unsigned int number : adapter.m_Identification) json.Unsigned(number);
  json.EndArray().Key("index").Unsigned(adapter.m_AdapterIndex);
  json.Key("hostNumber").Signed(adapter.m_HostNumber).EndObject();
}

void Write(JsonText& json, const PI::CEvent& event) {
  json.StartObject().Key("id").Unsigned(event.m_EventID).Key("severity");
  json.Unsigned(event.m_Severity).Key("object").Id(event.m_ObjectID);
  json.Key("time").Unsigned(event.m_Time).Key("name").Text(event.m_Name);
  json.Key("placeholder1").Text(event.m_PlaceHolder1);
  json.Key("placeholder2").Text(event.m_PlaceHolder2).EndObject();
}

void Write(JsonText& json, const PI::CProperty& property) {
  json.StartObject().Key("id").Unsigned(property.m_PropertyID);
  json.Key("label").Unsigned(property.m_LabelID);
  json.Key("kind").Text(KindName(property.m_Value.which()));
  json.Key("unit").Unsigned(property.m_Unit).Key("settable").Bool(property.m_Settable);
  json.Key("value");
  WriteValue(json, property.m_Value);
  json.EndObject();
}

void WriteValue(JsonText& json, const PI::CPropertyValue& value) {
  boost::apply_visitor(ValueWriter(json), value);
}

void Write(JsonText& json, const PI::COperation& operation) {
  json.StartObject().Key("id").Unsigned(operation.OperationID()).Key("numbers").StartArray();
  for (const int number : operation.m_Numbers) json.Signed(number);
  json.EndArray().Key("flag").Bool(operation.m_Flag).Key("events");
  Write(json, operation.m_Events);
  json.EndObject();
}

void Write(JsonText& json, const PI::CObject& object) {
  json.StartObject().Key("id").Id(object.m_ID).Key("type").Unsigned(object.m_Type).Key("parents");
  WriteIds(json, object.m_ParentIDs);
  json.Key("children");
  WriteIds(json, object.m_ChildIDs);
  json.Key("readCounter").Unsigned(object.m_ReadCounter);
  json.Key("locked").Bool(object.m_LockFlag).Key("properties");
  Write(json, object.m_Properties);
  json.Key("operations");
  Write(json, object.m_Operations);
  json.EndObject();
}

}  // namespace vxhost
