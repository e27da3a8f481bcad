#pragma once

#include "JsonMemory.h"

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

namespace vxhost {

// Why what the tool has printed is no answer, with the tool's own first words; empty when it is a
// JSON object that the plug-in reads. Takes no memory to speak of, however long it is. [any thread]
[[nodiscard]] std::string AnswerProblem(std::string_view output);

// One answer of the drive tool, read. [one thread at a time]
class ToolAnswer {
 public:
  // Takes what the tool has printed, in place. Returns why it cannot be read, with the tool's own
  // first words; empty when Root() is an object. An answer that would take too much memory is one
  // that cannot be read.
  [[nodiscard]] std::string Read(std::string output);

  // Of the last good Read; its texts lie in this object.
  [[nodiscard]] const JsonValue& Root() const { return *document_; }

  // The first words of what was read last, fit for people: what a tool says that has no answer.
  [[nodiscard]] const std::string& FirstWords() const { return firstWords_; }

 private:
  std::string text_;
  std::string firstWords_;
  std::optional<JsonMemory> memory_;
  std::optional<JsonPool> pool_;
  std::optional<JsonDocument> document_;  // goes first: it lies in the others
};

// The drive tool, asked by the host itself, with the command lines that the plug-in uses. Listens
// to the runner, so one at a time, and no ToolWatch beside it. [one thread at a time]
class DriveTool {
 public:
  // home: the directory of the host's program, as plug-ins are told.
  explicit DriveTool(const std::filesystem::path& home);
  ~DriveTool();
  DriveTool(const DriveTool&) = delete;
  DriveTool& operator=(const DriveTool&) = delete;

  [[nodiscard]] const std::filesystem::path& Path() const { return path_; }

  // Returns why there is no answer; empty when there is one.
  [[nodiscard]] std::string Ask(const std::string& arguments, ToolAnswer& answer);

  // What is wrong beside a tool that is there, and what to do; empty when nothing is.
  [[nodiscard]] std::string InstallationProblem() const;

 private:
  const std::filesystem::path path_;
  const std::filesystem::path library_;
  std::string failure_;  // of this thread's last run
};

}  // namespace vxhost
