#pragma once

#include <map>
#include <string>
#include <vector>

#include <TLXX/System.h>

namespace vxbench {

// What the tool would print for a fleet of so many drives, by argument string. temperature: of
// every drive, degrees Celsius.
std::map<std::string, std::string> FleetAnswers(int drives, int temperature);

// Answers the tool's command lines from memory.
class CannedTool : public TLXX::ICommandRunner {
 public:
  explicit CannedTool(std::map<std::string, std::string> answers);
  ~CannedTool() override;  // puts the real runner back
  CannedTool(const CannedTool&) = delete;
  CannedTool& operator=(const CannedTool&) = delete;

  int Execute(const std::string& command, const std::string& arguments,
              std::string& output) override;
  int Execute(const std::string& command, const std::string& arguments,
              std::vector<std::string>& lines) override;

  void Replace(std::map<std::string, std::string> answers) { answers_ = std::move(answers); }

 private:
  std::map<std::string, std::string> answers_;
};

}  // namespace vxbench
