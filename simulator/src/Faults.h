#pragma once

#include "Fleet.h"

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace vxsim {

// One fleet's call counters, one per fault that is limited to certain calls. They live in
// "<fleet file name>.calls" in the directory of the environment variable VXSIM_STATE, else beside
// the fleet file, and count on from one run of the tool to the next.
class CallCounters {
 public:
  explicit CallCounters(const std::filesystem::path& fleetFile);

  // Counts one more call for each of these faults and returns the new counts, in order. Safe
  // against other processes. Throws FileError when the counters cannot be kept.
  std::vector<std::uint32_t> Count(const std::vector<const Fault*>& faults);
  // Every fault starts over; no file is no error.
  void Forget();
  const std::filesystem::path& File() const { return file_; }

 private:
  std::filesystem::path file_;
};

// The faults that strike this call, in the order of the fleet file.
std::vector<Fault> FaultsOfCall(const Fleet& fleet, ToolCommand command,
                                std::optional<std::int32_t> index, CallCounters& counters);

// What a call ends in.
struct Outcome {
  std::string output;
  std::string message;  // for standard error
  int status = 0;
  int signal = 0;  // ends by this signal when not 0
};

// Waits as Latency and Hang ask. Returns only when the call goes on; a hanging call ends with the
// process that started it.
void Delay(const std::vector<Fault>& faults);

// Whether the call ends before it does anything, as a crash or a failure that keeps no output does.
bool EndsEarly(const std::vector<Fault>& faults);

// Turns what would have been printed into what is printed.
void Spoil(const std::vector<Fault>& faults, Outcome& outcome);

}  // namespace vxsim
