#include "RpcRequest.h"

#include "Json.h"
#include "RecordReader.h"

#include <algorithm>

#include <fmt/format.h>
#include <rapidjson/encodedstream.h>
#include <rapidjson/error/en.h>
#include <rapidjson/memorystream.h>
#include <rapidjson/reader.h>

#include <PI/Codes.h>

namespace vxhost {

namespace {

// Deeper nesting than any record has; reading and writing recurse.
constexpr int MAX_DEPTH = 64;

// Not with full precision: that code of the parser takes 18446744073709551615 and one more digit
// from 5 on for 0. The values of the interface are floats, which the usual precision is enough for.
constexpr auto PARSE_FLAGS = rapidjson::kParseIterativeFlag | rapidjson::kParseValidateEncodingFlag;

struct Control {
  std::string_view name;
  RpcKind kind;
  std::string_view argument;  // name of its one number; empty: none
};
constexpr std::array<Control, 4> CONTROLS = {{{"release", RpcKind::Release, ""},
                                              {"create", RpcKind::Create, ""},
                                              {"sleep", RpcKind::Sleep, "ms"},
                                              {"trace", RpcKind::Trace, "mask"}}};

// Copies the value of the member "id" of the outermost object, numbers digit by digit, and
// ends the parsing there.
class IdEcho {
 public:
  bool Null() {
    return Put([&] { writer_.Null(); });
  }
  bool Bool(bool value) {
    return Put([&] { writer_.Bool(value); });
  }
  bool RawNumber(const char* digits, rapidjson::SizeType length, bool) {
    return Put([&] { writer_.RawValue(digits, length, rapidjson::kNumberType); });
  }
  bool String(const char* text, rapidjson::SizeType length, bool) {
    return Put([&] { Text(text, length); });
  }
  bool Key(const char* name, rapidjson::SizeType length, bool) {
    if (depth_ == 1) {
      echoes_ = std::string_view(name, length) == "id";
    } else if (echoes_) {
      Text(name, length);
    }
    return true;
  }
  bool StartObject() {
    return Open([&] { writer_.StartObject(); });
  }
  bool EndObject(rapidjson::SizeType) {
    return Close([&] { writer_.EndObject(); });
  }
  bool StartArray() {
    return Open([&] { writer_.StartArray(); });
  }
  bool EndArray(rapidjson::SizeType) {
    return Close([&] { writer_.EndArray(); });
  }

  // With numbers as strings, the parser has none but raw ones.
  bool Int(int) { return false; }
  bool Uint(unsigned) { return false; }
  bool Int64(std::int64_t) { return false; }
  bool Uint64(std::uint64_t) { return false; }
  bool Double(double) { return false; }

  std::string Take() const { return {buffer_.GetString(), buffer_.GetSize()}; }

 private:
  template <class Write>
  bool Put(Write write) {
    if (echoes_) write();
    return !(echoes_ && depth_ == 1);
  }
  template <class Write>
  bool Open(Write write) {
    if (echoes_) write();
    ++depth_;
    return true;
  }
  template <class Write>
  bool Close(Write write) {
    --depth_;
    return Put(write);
  }

  // Half a surrogate pair, written as an escape, is read into bytes that are no UTF-8.
  void Text(const char* bytes, rapidjson::SizeType length) {
    const std::string text = ToUtf8({bytes, length});
    writer_.String(text.data(), static_cast<rapidjson::SizeType>(text.size()));
  }

  JsonBuffer buffer_;
  JsonWriter writer_{buffer_};
  int depth_ = 0;
  bool echoes_ = false;
};

// The id of the line, which is JSON and has one.
std::string EchoOfId(std::string_view line) {
  constexpr auto FLAGS = rapidjson::kParseIterativeFlag | rapidjson::kParseNumbersAsStringsFlag;
  rapidjson::MemoryStream bytes(line.data(), line.size());
  // As the document was read: behind a byte order mark, or what the parser takes for one.
  rapidjson::EncodedInputStream<rapidjson::UTF8<>, rapidjson::MemoryStream> stream(bytes);
  IdEcho echo;
  rapidjson::GenericReader<rapidjson::UTF8<>, rapidjson::UTF8<>, JsonMemory>().Parse<FLAGS>(stream,
                                                                                            echo);
  return echo.Take();
}

// The id to answer with; null when there is none or when it stands twice.
std::string IdOf(const JsonDocument& document, std::string_view line, bool deep) {
  if (!document.IsObject()) return "null";
  const JsonValue* id = nullptr;
  for (const auto& member : document.GetObject()) {
    if (std::string_view(member.name.GetString(), member.name.GetStringLength()) != "id") continue;
    if (id != nullptr) return "null";
    id = &member.value;
  }
  if (id == nullptr) return "null";
  if (deep && (id->IsObject() || id->IsArray())) return "null";
  return EchoOfId(line);
}

void ReadControl(const JsonValue& json, RpcRequest& request) {
  const JsonValue& name = *Member(json, "control");
  const auto control = std::find_if(CONTROLS.begin(), CONTROLS.end(), [&](const Control& known) {
    return name.IsString() &&
           known.name == std::string_view(name.GetString(), name.GetStringLength());
  });
  if (control == CONTROLS.end()) {
    throw Malformed("control: must be \"release\", \"create\", \"sleep\" or \"trace\"");
  }
  request.kind = control->kind;
  if (control->argument.empty()) {
    CheckMembers(json, {"id", "control"});
    return;
  }
  CheckMembers(json, {"id", "control", control->argument});
  const JsonValue* const number = Member(json, control->argument);
  if (number == nullptr) {
    throw Malformed(
        fmt::format(": \"{}\" lacks the member \"{}\"", control->name, control->argument));
  }
  At(control->argument, [&] { request.number = ReadUnsigned32(*number); });
}

// Fills the list or record from the JSON.
struct DataReader {
  const JsonValue& json;
  void operator()(NoData&) const {}  // a command without data: whatever was given is not used
  template <class Data>
  void operator()(Data& data) const {
    Read(json, data);
  }
};

void ReadCommand(const JsonValue& json, RpcRequest& request) {
  CheckMembers(json, {"id", "command", "object", "data"});
  const JsonValue* const command = Member(json, "command");
  if (command == nullptr) throw Malformed(": lacks the member \"command\" or \"control\"");
  At("command", [&] { request.command = ReadUnsigned32(*command); });
  if (const JsonValue* const object = Member(json, "object")) {
    At("object", [&] { request.object = ReadId(*object); });
  }
  const JsonValue* const data = Member(json, "data");
  if (data != nullptr && data->IsNull()) return;
  request.data = EmptyData(request.command);
  if (data != nullptr) At("data", [&] { std::visit(DataReader{*data}, request.data); });
}

}  // namespace

RpcData EmptyData(unsigned int command) {
  switch (command) {
    case PI::COMMAND_INITIALIZE:
    case PI::COMMAND_SET_ADAPTER_IDS:
      return std::vector<PI::CAdapterID>();
    case PI::COMMAND_GET_TOPOLOGY:
      return std::vector<PI::CObject>();
    case PI::COMMAND_GET_PROPERTIES:
      return std::vector<PI::CProperty>();
    case PI::COMMAND_GET_PROPERTY:
    case PI::COMMAND_SET_PROPERTY:
      return PI::CProperty();
    case PI::COMMAND_GET_OPERATIONS:
      return std::vector<PI::COperation>();
    case PI::COMMAND_CHECK_OPERATION:
    case PI::COMMAND_EXECUTE_OPERATION:
      return PI::COperation();
    default:
      return NoData();
  }
}

bool AnswersWithData(unsigned int command) {
  return command != PI::COMMAND_SET_ADAPTER_IDS &&
         !std::holds_alternative<NoData>(EmptyData(command));
}

Result<RpcRequest, RpcProblem> ReadRpcRequest(std::string_view line) {
  if (line.find('\0') != std::string_view::npos) {
    return RpcProblem{"null", "the line holds a NUL byte"};
  }
  JsonDocument document;
  try {
    document.Parse<PARSE_FLAGS>(line.data(), line.size());
  } catch (const std::bad_alloc&) {
    return RpcProblem{"null", "the line takes more memory than there is"};
  }
  if (document.HasParseError()) {
    return RpcProblem{"null", fmt::format("no JSON: {} At byte {}.",
                                          rapidjson::GetParseError_En(document.GetParseError()),
                                          document.GetErrorOffset())};
  }
  const bool deep = JsonDepth(line) > MAX_DEPTH;
  RpcRequest request;
  request.id = IdOf(document, line, deep);
  try {
    if (deep) throw Malformed(fmt::format(": nests deeper than {} levels", MAX_DEPTH));
    if (!document.IsObject()) throw Malformed(": must be an object");
    if (Member(document, "control") != nullptr) {
      ReadControl(document, request);
    } else {
      ReadCommand(document, request);
    }
  } catch (const Malformed& problem) {
    const std::string_view text = problem.what();
    return RpcProblem{request.id, (text.starts_with(':') ? "the line" : "") + std::string(text)};
  }
  return request;
}

}  // namespace vxhost
