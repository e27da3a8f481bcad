// A line of the call-by-call protocol, whatever its bytes: it is read or refused, and what is
// answered is one line of valid JSON with the same id.
#include "Json.h"
#include "RpcRequest.h"

#include <cstdint>
#include <cstdlib>
#include <string_view>

#include <rapidjson/document.h>

namespace {

struct Echo {
  vxhost::JsonText& json;
  void operator()(const vxhost::NoData&) const { json.Null(); }
  template <class Data>
  void operator()(const Data& data) const {
    vxhost::Write(json, data);
  }
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  const auto result = vxhost::ReadRpcRequest({reinterpret_cast<const char*>(bytes), size});
  vxhost::JsonText json;
  json.StartObject();
  if (!result.IsGood()) {
    json.Key("id").Raw(result.Reason().id).Key("error").Text(result.Reason().text);
  } else {
    const auto& request = result.Get();
    json.Key("id").Raw(request.id).Key("data");
    std::visit(Echo{json}, request.data);
  }
  json.EndObject();
  const std::string line = json.Take();
  rapidjson::Document answer;
  answer.Parse<rapidjson::kParseValidateEncodingFlag | rapidjson::kParseIterativeFlag>(
      line.c_str());
  if (answer.HasParseError() || line.find('\n') != std::string::npos) std::abort();
  return 0;
}
