#include "DriveTool.h"

#include "Json.h"

#include <algorithm>
#include <new>
#include <thread>

#include <Facts/Tool.h>
#include <fmt/format.h>

#include <TLX/Misc/Text.h>
#include <TLXX/System.h>

namespace vxhost {

namespace {

constexpr int DEEPEST = 256;  // what nests deeper the plug-in refuses
constexpr std::size_t FIRST_WORDS = 200;
// What one answer may take beside its own text. A true inventory needs about as much as its text;
// a list of nothing but small numbers sixteen times as much.
constexpr std::size_t MEMORY = std::size_t{256} << 20U;

}  // namespace

std::string ToolAnswer::Read(std::string output) {
  document_.reset();
  pool_.reset();
  text_ = std::move(output);
  firstWords_ = TLX::Misc::PrintableStart(text_, FIRST_WORDS);
  const std::string problem = Problem();
  if (problem.empty()) return {};
  document_.reset();
  pool_.reset();
  return firstWords_.empty() ? problem : fmt::format("{}; it says \"{}\"", problem, firstWords_);
}

std::string ToolAnswer::Problem() {
  const std::size_t size = text_.size();
  if (JsonDepth(text_) > DEEPEST) {
    return fmt::format("the tool's answer nests deeper than {} levels", DEEPEST);
  }
  // The parser takes a NUL for the end; what stands behind it makes the text unreadable as well.
  const std::size_t end = std::min(text_.find('\0'), size);
  try {
    memory_.emplace(MEMORY);
    pool_.emplace(std::size_t{64} << 10U, &*memory_);
    document_.emplace(&*pool_, 1024, &*memory_);
    document_->ParseInsitu<rapidjson::kParseIterativeFlag>(text_.data());
  } catch (const std::bad_alloc&) {
    return fmt::format("the tool's answer of {} bytes takes more memory than there is for it",
                       size);
  }
  const bool whole = !document_->HasParseError() && document_->IsObject();
  if (whole && end + 1 >= size) return {};
  return fmt::format("the tool's answer is no JSON object (at byte {} of {})",
                     whole ? end : document_->GetErrorOffset(), size);
}

DriveTool::DriveTool(const std::filesystem::path& home)
    : path_(home / Facts::TOOL_DIRECTORY / Facts::TOOL_NAME),
      library_(path_.parent_path() / Facts::PRELOAD_LIBRARY) {
  // The plug-ins that were started run the tool at the same time, on threads of their own.
  TLXX::CSystem::SetRunObserver(
      [this, own = std::this_thread::get_id()](const std::string&, const std::string& failure) {
        if (std::this_thread::get_id() == own) failure_ = failure;
      });
}

DriveTool::~DriveTool() {
  TLXX::CSystem::SetRunObserver(nullptr);
}

std::string DriveTool::Ask(const std::string& arguments, ToolAnswer& answer) {
  std::string output;
  const std::string command = "LD_PRELOAD=" + library_.string() + " " + path_.string();
  const int result = TLXX::CSystem::ExecuteCommand(command, arguments, output);
  if (result != 1) {
    return "the tool failed: " + (failure_.empty() ? std::string("no reason") : failure_);
  }
  if (output.empty()) {
    return failure_.empty() ? "the tool is silent" : "the tool is silent: " + failure_;
  }
  return answer.Read(std::move(output));
}

std::string DriveTool::InstallationProblem() const {
  std::error_code error;
  if (!std::filesystem::exists(path_, error) || std::filesystem::exists(library_, error)) return {};
  return fmt::format(
      "its library {} is missing, and every run complains of that: put it beside the tool",
      library_.string());
}

}  // namespace vxhost
