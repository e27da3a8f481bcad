#pragma once

#include "Result.h"

#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include <PI/AdapterID.h>
#include <PI/Object.h>
#include <PI/Operation.h>
#include <PI/Property.h>

namespace vxhost {

// What a command's data pointer points to. NoData: the command has none, or null was asked for.
struct NoData {};
using RpcData = std::variant<NoData, std::vector<PI::CAdapterID>, std::vector<PI::CObject>,
                             std::vector<PI::CProperty>, PI::CProperty, std::vector<PI::COperation>,
                             PI::COperation>;

enum class RpcKind { Command, Release, Create, Sleep, Trace };

// One line of the protocol.
struct RpcRequest {
  RpcKind kind = RpcKind::Command;
  std::string id = "null";   // JSON text, as it is answered
  unsigned int command = 0;  // of a command
  unsigned long object = 0;
  RpcData data;
  unsigned int number = 0;  // milliseconds or trace mask of a control line
};

// What is wrong with a line, and the id it is answered with.
struct RpcProblem {
  std::string id = "null";
  std::string text;
};

// An empty list or record of the command's kind; NoData for commands without data and unknown ones.
RpcData EmptyData(unsigned int command);

// Whether the answer to the command shows its data: all known commands but 2 and 3.
bool AnswersWithData(unsigned int command);

// Reads one line, without its line feed. Never throws on bad input, whatever the bytes.
Result<RpcRequest, RpcProblem> ReadRpcRequest(std::string_view line);

}  // namespace vxhost
