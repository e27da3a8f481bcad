#include "DriveTool.h"

#include "Json.h"

#include <algorithm>
#include <new>
#include <thread>

#include <Facts/Tool.h>
#include <fmt/format.h>
#include <rapidjson/memorystream.h>
#include <rapidjson/reader.h>

#include <TLX/Misc/Text.h>
#include <TLXX/System.h>

namespace vxhost {

namespace {

constexpr int DEEPEST = 256;  // what nests deeper the plug-in refuses
constexpr std::size_t FIRST_WORDS = 200;
// What one answer may take beside its own text. A true inventory needs about as much as its text;
// a list of nothing but small numbers sixteen times as much.
constexpr std::size_t MEMORY = std::size_t{256} << 20U;

std::string WithWords(const std::string& problem, std::string_view output) {
  const std::string words = TLX::Misc::PrintableStart(output, FIRST_WORDS);
  return words.empty() ? problem : fmt::format("{}; it says \"{}\"", problem, words);
}

// How many bytes of a byte order mark, which the plug-in reads past, stand in front.
std::size_t MarkLength(std::string_view text) {
  constexpr std::string_view BYTE_ORDER_MARK = "\xEF\xBB\xBF";
  return text.starts_with(BYTE_ORDER_MARK) ? BYTE_ORDER_MARK.size() : 0;
}

// Where the text ceases to be one JSON object; nothing when it is one. A NUL is the parser's end,
// and what stands behind it makes the text unreadable as well.
std::optional<std::size_t> EndOfObject(std::string_view text) {
  const std::size_t mark = MarkLength(text);
  const std::size_t start = text.find_first_not_of(" \t\r\n", mark);
  if (start == std::string_view::npos || text[start] != '{') return 0;
  rapidjson::GenericReader<rapidjson::UTF8<>, rapidjson::UTF8<>, JsonMemory> reader;
  rapidjson::BaseReaderHandler<> nothing;
  rapidjson::MemoryStream bytes(text.data() + mark, text.size() - mark);
  reader.Parse<rapidjson::kParseIterativeFlag>(bytes, nothing);
  if (reader.HasParseError()) return mark + reader.GetErrorOffset();
  const std::size_t nul = text.find('\0');
  return nul == std::string_view::npos || nul + 1 == text.size() ? std::nullopt
                                                                 : std::optional(nul);
}

}  // namespace

std::string AnswerProblem(std::string_view output) {
  if (output.empty()) return "the tool is silent";
  if (JsonDepth(output) > DEEPEST) {
    return WithWords(fmt::format("the tool's answer nests deeper than {} levels", DEEPEST), output);
  }
  const std::optional<std::size_t> end = EndOfObject(output);
  if (!end) return {};
  return WithWords(
      fmt::format("the tool's answer is no JSON object (at byte {} of {})", *end, output.size()),
      output);
}

std::string ToolAnswer::Read(std::string output) {
  document_.reset();
  pool_.reset();
  if (const std::string problem = AnswerProblem(output); !problem.empty()) return problem;
  text_ = std::move(output);
  firstWords_ = TLX::Misc::PrintableStart(text_, FIRST_WORDS);
  try {
    memory_.emplace(MEMORY);
    pool_.emplace(std::size_t{64} << 10U, &*memory_);
    document_.emplace(&*pool_, 1024, &*memory_);
    document_->ParseInsitu<rapidjson::kParseIterativeFlag>(text_.data() + MarkLength(text_));
    return {};
  } catch (const std::bad_alloc&) {
    document_.reset();
    pool_.reset();
    return fmt::format(
        "the tool's answer of {} bytes takes more memory than there is for it; it says \"{}\"",
        text_.size(), firstWords_);
  }
}

DriveTool::DriveTool(const std::filesystem::path& home)
    : path_(home / Facts::TOOL_DIRECTORY / Facts::TOOL_NAME),
      library_(path_.parent_path() / Facts::PRELOAD_LIBRARY) {
  // The plug-ins that were started run the tool at the same time, on threads of their own.
  TLXX::CSystem::SetRunObserver([this, own = std::this_thread::get_id()](const std::string&,
                                                                         const std::string& failure,
                                                                         const std::string&) {
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
  if (output.empty() && !failure_.empty()) return "the tool is silent: " + failure_;
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
