#include "Faults.h"

#include "Files.h"
#include "Replies.h"

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <sstream>
#include <thread>

#include <unistd.h>

namespace vxsim {

namespace {

namespace fs = std::filesystem;

constexpr std::size_t kGarbageBytes = 4096;
constexpr std::chrono::milliseconds kHangCheck(200);

// One counter: the calls so far and the fault's key, "3 log2 0 latency first 2" on a line.
struct Counter {
  std::uint32_t calls = 0;
  std::string key;
};

std::vector<Counter> ReadCounters(const fs::path& file) {
  std::vector<Counter> counters;
  if (!fs::exists(file)) return counters;
  std::istringstream lines(ReadWholeFile(file));
  Counter counter;
  while (lines >> counter.calls && lines.get() == ' ' && std::getline(lines, counter.key)) {
    counters.push_back(counter);
  }
  return counters;
}

void WriteCounters(const fs::path& file, const std::vector<Counter>& counters) {
  std::string text;
  for (const Counter& counter : counters) {
    text += std::to_string(counter.calls) + " " + counter.key + "\n";
  }
  WriteFile(file, text);
}

bool Matches(const Fault& fault, ToolCommand command, std::optional<std::int32_t> index) {
  return (!fault.command || fault.command == command) && (!fault.index || fault.index == index);
}

bool IsLimited(const Fault& fault) {
  return fault.firstCalls || fault.fromCall;
}

// With both limits: that many calls, from that one on.
bool StrikesAt(const Fault& fault, std::uint32_t call) {
  const std::uint64_t from = fault.fromCall.value_or(1);
  return call >= from && (!fault.firstCalls || call < from + *fault.firstCalls);
}

// Bytes that are no text, no UTF-8 and no JSON, the same ones every time.
std::string Garbage() {
  std::string bytes(kGarbageBytes, '\0');
  std::uint32_t state = 0x2545f491;
  for (char& byte : bytes) {
    state = state * 1664525U + 1013904223U;
    byte = static_cast<char>(state >> 24U);
  }
  return bytes;
}

void SpoilOutput(const Fault& fault, Outcome& outcome) {
  switch (fault.kind) {
    case FaultKind::Silent:
      outcome.output.clear();
      break;
    case FaultKind::Truncated:
      outcome.output.resize(outcome.output.size() / 2);
      break;
    case FaultKind::NoDevice:
      outcome.output = kNoDeviceSelected;
      break;
    case FaultKind::Garbage:
      outcome.output = Garbage();
      break;
    case FaultKind::WrongTypes:
      outcome.output = WithWrongTypes(outcome.output);
      break;
    case FaultKind::Flood:
      outcome.output = Flooded(outcome.output, std::size_t{fault.megabytes} << 20U);
      break;
    case FaultKind::Preamble:
      outcome.output = fault.text + outcome.output;
      break;
    default:
      break;
  }
}

void SpoilEnd(const Fault& fault, Outcome& outcome) {
  if (fault.kind == FaultKind::Crash) outcome.signal = static_cast<int>(fault.signal);
  if (fault.kind == FaultKind::Exit) {
    outcome.status = static_cast<int>(fault.status);
    outcome.message = "isdct: simulated failure\n";
  }
  if (!fault.keepOutput) outcome.output.clear();
}

}  // namespace

CallCounters::CallCounters(const fs::path& fleetFile) {
  const char* directory = std::getenv("VXSIM_STATE");
  const bool given = directory != nullptr && *directory != '\0';
  file_ = (given ? fs::path(directory) : DirectoryOf(fleetFile)) /
          (fleetFile.filename().string() + ".calls");
}

std::vector<std::uint32_t> CallCounters::Count(const std::vector<const Fault*>& faults) {
  // Not what lies above it: a host that has gone has removed its directory, and that stays so.
  std::error_code none;
  fs::create_directory(DirectoryOf(file_), none);
  const DirectoryLock lock(DirectoryOf(file_));
  std::vector<Counter> counters = ReadCounters(file_);
  std::vector<std::uint32_t> calls;
  for (const Fault* fault : faults) {
    auto found = std::find_if(counters.begin(), counters.end(),
                              [&](const Counter& row) { return row.key == fault->key; });
    if (found == counters.end()) found = counters.insert(found, Counter{0, fault->key});
    calls.push_back(++found->calls);
  }
  WriteCounters(file_, counters);
  return calls;
}

void CallCounters::Forget() {
  std::error_code none;
  fs::remove(file_, none);
  if (none) throw FileError("cannot remove " + file_.string() + ": " + none.message());
}

std::vector<Fault> FaultsOfCall(const Fleet& fleet, ToolCommand command,
                                std::optional<std::int32_t> index, CallCounters& counters) {
  std::vector<const Fault*> limited;
  for (const Fault& fault : fleet.faults) {
    if (Matches(fault, command, index) && IsLimited(fault)) limited.push_back(&fault);
  }
  std::vector<std::uint32_t> calls;
  if (!limited.empty()) calls = counters.Count(limited);
  std::vector<Fault> striking;
  auto call = calls.begin();
  for (const Fault& fault : fleet.faults) {
    if (!Matches(fault, command, index)) continue;
    if (!IsLimited(fault) || StrikesAt(fault, *call++)) striking.push_back(fault);
  }
  return striking;
}

void Delay(const std::vector<Fault>& faults) {
  const pid_t parent = getppid();
  for (const Fault& fault : faults) {
    if (fault.kind == FaultKind::Latency) {
      std::this_thread::sleep_for(std::chrono::milliseconds(fault.ms));
    }
    if (fault.kind == FaultKind::Hang) {
      while (getppid() == parent) std::this_thread::sleep_for(kHangCheck);
      std::_Exit(EXIT_FAILURE);
    }
  }
}

bool EndsEarly(const std::vector<Fault>& faults) {
  return std::any_of(faults.begin(), faults.end(), [](const Fault& fault) {
    return (fault.kind == FaultKind::Exit || fault.kind == FaultKind::Crash) && !fault.keepOutput;
  });
}

void Spoil(const std::vector<Fault>& faults, Outcome& outcome) {
  for (const Fault& fault : faults) {
    if (fault.kind == FaultKind::Exit || fault.kind == FaultKind::Crash) {
      SpoilEnd(fault, outcome);
    } else {
      SpoilOutput(fault, outcome);
    }
  }
}

}  // namespace vxsim
