#include "Replies.h"

#include <algorithm>
#include <cstdio>
#include <string_view>
#include <utility>
#include <vector>

#include <rapidjson/document.h>
#include <rapidjson/prettywriter.h>
#include <rapidjson/stringbuffer.h>

namespace vxsim {

namespace {

const std::vector<ExtraKey>& ExtraOf(const Drive& drive, ToolCommand answer) {
  static const std::vector<ExtraKey> kNone;
  const auto found = drive.extra.find(answer);
  return found == drive.extra.end() ? kNone : found->second;
}

// Writes one answer: a root object of sections of keys.
class Answer {
 public:
  Answer() : writer_(buffer_) {
    writer_.SetIndent(' ', 2);
    writer_.StartObject();
  }

  void Open(const std::string& name) {
    Name(name);
    writer_.StartObject();
  }
  void Close() { writer_.EndObject(); }

  // A section of the drive, with the extra keys that it has in such an answer. They are written at
  // its end, and what is put under one of their names is left out.
  void OpenSection(const std::string& name, const std::vector<ExtraKey>& extra) {
    Open(name);
    extra_ = extra;
  }
  void CloseSection() {
    for (const ExtraKey& key : std::exchange(extra_, {})) {
      Name(key.name);
      writer_.RawValue(key.json.data(), key.json.size(), rapidjson::kObjectType);
    }
    Close();
  }
  bool IsReplaced(std::string_view name) const {
    return std::any_of(extra_.begin(), extra_.end(),
                       [&](const ExtraKey& key) { return key.name == name; });
  }

  void Put(const char* key, const std::string& text) {
    if (IsReplaced(key)) return;
    Name(key);
    writer_.String(text.data(), static_cast<rapidjson::SizeType>(text.size()));
  }
  void Put(const char* key, bool value) {
    if (!IsReplaced(key)) Name(key), writer_.Bool(value);
  }
  void Put(const char* key, std::int32_t value) {
    if (!IsReplaced(key)) Name(key), writer_.Int(value);
  }
  void Put(const char* key, std::uint32_t value) {
    if (!IsReplaced(key)) Name(key), writer_.Uint(value);
  }
  void Put(const char* key, std::uint64_t value) {
    if (!IsReplaced(key)) Name(key), writer_.Uint64(value);
  }

  // Not reported: not printed.
  template <class T>
  void Put(const char* key, const std::optional<T>& value) {
    if (value) Put(key, *value);
  }

  // The tool prints the wide counters of the health log as hexadecimal texts.
  void PutCounter(const char* key, const std::optional<std::uint64_t>& value) {
    if (!value) return;
    char digits[24];
    std::snprintf(digits, sizeof digits, "%llX", static_cast<unsigned long long>(*value));
    Put(key, std::string(digits));
  }

  std::string Text() {
    writer_.EndObject();
    return std::string(buffer_.GetString(), buffer_.GetSize()) + "\n";
  }

 private:
  void Name(const std::string& name) {
    writer_.Key(name.data(), static_cast<rapidjson::SizeType>(name.size()));
  }

  rapidjson::StringBuffer buffer_;
  rapidjson::PrettyWriter<rapidjson::StringBuffer> writer_;
  std::vector<ExtraKey> extra_;  // of the section that is open
};

std::optional<std::uint64_t> PhysicalSizeOf(const Drive& drive) {
  if (drive.physicalSize || !drive.nativeMaxLBA || !drive.sectorSize) return drive.physicalSize;
  return *drive.nativeMaxLBA * *drive.sectorSize;
}

// One drive with everything that the tool knows of it, keys in alphabetical order.
void PutDrive(Answer& answer, const Drive& drive) {
  answer.OpenSection(drive.section + " " + drive.serial, ExtraOf(drive, ToolCommand::Inventory));
  answer.Put("Bootloader", drive.bootloader);
  answer.Put("ControllerDescription", drive.controllerDescription);
  answer.Put("ControllerIDEMode", drive.controllerIdeMode);
  answer.Put("ControllerManufacturer", drive.controllerManufacturer);
  answer.Put("ControllerService", drive.controllerService);
  answer.Put("DevicePath", drive.devicePath);
  answer.Put("DeviceStatus", drive.deviceStatus);
  answer.Put("DriverDescription", drive.driverDescription);
  answer.Put("DriverMajorVersion", drive.driverMajorVersion);
  answer.Put("DriverManufacturer", drive.driverManufacturer);
  answer.Put("DriverMinorVersion", drive.driverMinorVersion);
  answer.Put("ErrorString", drive.errorString);
  answer.Put("Firmware", drive.firmware);
  answer.Put("Index", drive.index);
  answer.Put("LBAFormat", drive.lbaFormat);
  answer.Put("MaximumLBA", drive.maximumLBA);
  answer.Put("ModelNumber", drive.model);
  answer.Put("NVMePowerState", drive.powerState);
  answer.Put("NativeMaxLBA", drive.nativeMaxLBA);
  answer.Put("NumLBAFormats", drive.numLbaFormats);
  answer.Put("PhysicalSize", PhysicalSizeOf(drive));
  answer.Put("PowerGovernorMode", drive.powerGovernorMode);
  answer.Put("ProductFamily", drive.family);
  answer.Put("RSTeDiskId", drive.rsteDiskId);
  answer.Put("SectorSize", drive.sectorSize);
  answer.Put("SerialNumber", drive.serial);
  answer.Put("TempThreshold", drive.tempThreshold);
  answer.CloseSection();
}

void PutHealth(Answer& answer, const Drive& drive) {
  const Health& health = drive.health;
  answer.OpenSection("NVMeLog SMART and Health Information " + drive.serial,
                     ExtraOf(drive, ToolCommand::Log2));
  answer.Put("Critical Warnings", health.criticalWarnings);
  for (std::size_t i = 0; i < kWarningFlags.size(); ++i) {
    std::optional<bool> flag = health.flags[i];
    if (!flag && health.criticalWarnings) {
      flag = (*health.criticalWarnings & kWarningFlags[i].bit) != 0;
    }
    answer.Put(kWarningFlags[i].toolKey, flag);
  }
  answer.Put("Available Spare Normalized percentage of the remaining spare capacity available",
             health.availableSpare);
  answer.Put("Available Spare Threshold Percentage", health.availableSpareThreshold);
  answer.Put("Percentage Used", health.percentageUsed);
  answer.PutCounter("Data Units Read", health.dataUnitsRead);
  answer.PutCounter("Data Units Written", health.dataUnitsWritten);
  answer.PutCounter("Power On Hours", health.powerOnHours);
  answer.PutCounter("Media Errors", health.mediaErrors);
  answer.CloseSection();
}

void PutTemperature(Answer& answer, const Drive& drive) {
  answer.OpenSection("NVMeLog Temp Statistics " + drive.serial,
                     ExtraOf(drive, ToolCommand::Log197));
  answer.Put("Current Temperature", drive.health.temperature);
  answer.Put("Estimated offset in Celsius", drive.health.temperatureOffset);
  answer.CloseSection();
}

void PutAttributes(Answer& answer, const Drive& drive) {
  const auto put = [&](const char* id, const std::optional<std::uint64_t>& normalized) {
    if (!normalized || answer.IsReplaced(id)) return;
    answer.Open(id);
    answer.Put("Normalized", *normalized);
    answer.Close();
  };
  answer.OpenSection("SMART Attributes " + drive.serial, ExtraOf(drive, ToolCommand::Log202));
  put("AD", drive.health.normalizedAD);
  put("EA", drive.health.normalizedEA);
  answer.CloseSection();
}

using Value = rapidjson::Value;
using Allocator = rapidjson::Document::AllocatorType;

void TurnType(Value& value, Allocator& allocator) {
  if (value.IsObject()) {
    auto member = value.MemberBegin();
    for (auto left = value.MemberCount(); left > 0; --left, ++member) {
      TurnType(member->value, allocator);
    }
  } else if (value.IsNumber()) {
    const std::string text =
        value.IsInt64() ? std::to_string(value.GetInt64()) : std::to_string(value.GetUint64());
    value.SetString(text.data(), static_cast<rapidjson::SizeType>(text.size()), allocator);
  } else if (value.IsString()) {
    value.SetUint(value.GetStringLength());
  } else if (value.IsBool()) {
    value.SetUint(value.GetBool() ? 1 : 0);
  }
}

}  // namespace

std::string InventoryReply(const Fleet& fleet) {
  Answer answer;
  for (const Drive& drive : fleet.drives) {
    if (drive.present) PutDrive(answer, drive);
  }
  return answer.Text();
}

std::string VersionReply(const Fleet& fleet) {
  Answer answer;
  answer.Open("Version Information");
  answer.Put("Version", fleet.toolVersion);
  answer.Close();
  return answer.Text();
}

std::string LogReply(const Drive& drive, ToolCommand command) {
  Answer answer;
  switch (command) {
    case ToolCommand::Log2:
      PutHealth(answer, drive);
      break;
    case ToolCommand::Log197:
      PutTemperature(answer, drive);
      break;
    case ToolCommand::Log202:
      PutAttributes(answer, drive);
      break;
    default:
      PutDrive(answer, drive);
      break;
  }
  return answer.Text();
}

std::string WithWrongTypes(const std::string& json) {
  rapidjson::Document document;
  document.Parse(json.data(), json.size());
  if (document.HasParseError() || !document.IsObject()) return json;
  TurnType(document, document.GetAllocator());
  rapidjson::StringBuffer buffer;
  rapidjson::PrettyWriter<rapidjson::StringBuffer> writer(buffer);
  writer.SetIndent(' ', 2);
  document.Accept(writer);
  return std::string(buffer.GetString(), buffer.GetSize()) + "\n";
}

std::string Flooded(const std::string& json, std::size_t bytes) {
  const std::size_t end = json.rfind('}');
  if (end == std::string::npos) return json + std::string(bytes, '.') + "\n";
  const bool empty = json.find('"') == std::string::npos;
  const std::string head = json.substr(0, end) + (empty ? "" : ",") + "\"Padding\": {\"Text\": \"";
  return head + std::string(bytes > head.size() ? bytes - head.size() : 0, '.') + "\"}}\n";
}

}  // namespace vxsim
