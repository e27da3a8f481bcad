#pragma once

#include "Fleet.h"
#include "FleetReader.h"

#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace vxsim {

// Reads a fleet file. A text that is not JSON is read again for a short while: somebody may be
// writing it in place. Throws FleetError or FileError.
Fleet LoadFleet(const std::filesystem::path& file);

// A fleet file being edited: the JSON as its author wrote it, with all that an edit does not touch.
class FleetEditor {
 public:
  FleetEditor(std::string text, const std::filesystem::path& file);
  ~FleetEditor();
  FleetEditor(const FleetEditor&) = delete;
  FleetEditor& operator=(const FleetEditor&) = delete;

  const Fleet& Current() const { return fleet_; }
  // A drive of Current() by serial number or index; throws FleetError when there is none.
  const Drive& Find(std::string_view serialOrIndex) const;

  // Set a member of a drive of Current(); the path is "present" or "health.temperature".
  void Set(const Drive& drive, std::string_view path, bool value);
  void Set(const Drive& drive, std::string_view path, std::int64_t value);
  void Set(const Drive& drive, std::string_view path, std::uint64_t value);
  void Set(const Drive& drive, std::string_view path, const std::string& value);
  // name may hold any character, dots included.
  void SetSetting(const Drive& drive, const std::string& name, const std::string& value);
  void Remove(const Drive& drive, std::string_view path);
  // A key below "extra.ANSWER", whose name may hold any character. The value is JSON; one that is
  // not is a text.
  void SetExtra(const Drive& drive, const std::string& answer, const std::string& key,
                const std::string& value);
  // Throws FleetError when there is no such key.
  void RemoveExtra(const Drive& drive, const std::string& answer, const std::string& key);
  // A counter below "maintenance".
  void CountUp(const Drive& drive, const char* counter);

  // Appends a drive or a fault given as a JSON object.
  void AddDrive(const std::string& json);
  void AddFault(const std::string& json);
  // Removes the faults that the test picks.
  void RemoveFaults(const std::function<bool(const Fault&)>& test);
  // Gives the faults that are limited to certain calls new counters, with ids from firstId up;
  // those that shared one still do. False when there are none.
  bool RenewFaults(std::uint64_t firstId);

  // The edited file; throws FleetError when it is no fleet any more.
  std::string Text() const;

 private:
  struct Json;
  void Append(const char* list, const std::string& json);

  std::filesystem::path file_;
  std::unique_ptr<Json> json_;
  Fleet fleet_;
};

// Reads, edits, checks and replaces a fleet file, with other writers held off. Returns the fleet as
// it is then. Nothing is written when the edit returns false or throws, or when its result is no
// fleet.
Fleet EditFleet(const std::filesystem::path& file, const std::function<bool(FleetEditor&)>& edit);

// The sector size of LBA format 0.
inline constexpr std::uint32_t kFactorySectorSize = 512;

// What happens to drives. Each is one edit.
void Format(FleetEditor& editor, const Drive& drive, std::uint32_t sectorSize,
            std::int32_t lbaFormat);
void SecureErase(FleetEditor& editor, const Drive& drive);
void Heat(FleetEditor& editor, const Drive& drive, std::int32_t temperature);
void Repair(FleetEditor& editor, const Drive& drive);

}  // namespace vxsim
