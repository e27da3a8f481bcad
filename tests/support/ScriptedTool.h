#pragma once

#include <functional>
#include <map>
#include <mutex>
#include <string>
#include <vector>

#include <TLXX/System.h>

namespace vxtest {

// One drive as the tool reports it.
struct FakeDrive {
  int index = 0;
  std::string serial;
  std::string model = "INTEL SSDPE2KX020T8";
  std::string family = "Intel SSD DC P4510 Series";
  std::string devicePath;
  std::string firmware = "VDV10131";
  std::string bootloader = "0136";
  unsigned int sectorSize = 512;
  unsigned long maximumLba = 3'907'029'167;
  unsigned long nativeMaxLba = 3'907'029'168;
  int warnings = 0;
  bool spareLow = false;
  bool unreliable = false;
  bool readOnly = false;
  bool backupFailed = false;
  int spare = 100;
  int spareThreshold = 10;
  int percentageUsed = 0;
  std::string unitsRead = "1F4";  // hexadecimal
  std::string unitsWritten = "2";
  std::string hours = "64";
  std::string mediaErrors = "0";
  int temperature = 30;
  int offset = 0;
  unsigned long ea = 100;
  unsigned long capacity = 2'000'398'934'016;
  bool healthFails = false;
};

// The vendor's tool in this process, in place of the real runner while it lives. It answers from
// its script first and then, as the tool would, from its list of drives; what neither knows fails.
// [any thread; the script: before other threads start]
class ScriptedTool : public TLXX::ICommandRunner {
 public:
  struct Answer {
    int result = 1;  // of the runner
    std::string output;
    std::vector<std::string> lines;
  };
  using Script = std::map<std::string, Answer>;  // by the arguments

  explicit ScriptedTool(Script answers = {});
  ~ScriptedTool() override;
  ScriptedTool(const ScriptedTool&) = delete;
  ScriptedTool& operator=(const ScriptedTool&) = delete;

  int Execute(const std::string& command, const std::string& arguments,
              std::string& output) override;
  int Execute(const std::string& command, const std::string& arguments,
              std::vector<std::string>& lines) override;

  Script script;  // answers by the arguments; changed only while nothing runs

  void Change(const std::function<void(std::vector<FakeDrive>&)>& change);
  // Called in each run before it answers, without a lock; may block.
  void SetHook(std::function<void(const std::string& arguments)> hook);
  void FailInventory(bool fail);
  std::vector<std::string> Calls() const;     // arguments of each run
  std::vector<std::string> Prefixes() const;  // what stood before them
  std::size_t CountCalls(const std::string& part) const;
  void ClearCalls();

 private:
  Answer Run(const std::string& command, const std::string& arguments);
  Answer AnswerOfDrives(const std::string& arguments) const;

  mutable std::mutex mutex_;
  std::vector<FakeDrive> drives_;
  std::vector<std::string> calls_;
  std::vector<std::string> prefixes_;
  std::function<void(const std::string&)> hook_;
  bool inventoryFails_ = false;
  TLXX::ICommandRunner* previous_;
};

}  // namespace vxtest
