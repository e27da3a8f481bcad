#include "Edits.h"

#include "Files.h"
#include "JsonDepth.h"

#include <chrono>
#include <map>
#include <thread>
#include <utility>

#include <rapidjson/document.h>
#include <rapidjson/prettywriter.h>
#include <rapidjson/stringbuffer.h>

namespace vxsim {

namespace {

namespace fs = std::filesystem;
using Value = rapidjson::Value;
using Allocator = rapidjson::Document::AllocatorType;

constexpr int kReadAttempts = 25;
constexpr std::chrono::milliseconds kReadPause(20);

Value TextValue(std::string_view text, Allocator& allocator) {
  return {text.data(), static_cast<rapidjson::SizeType>(text.size()), allocator};
}

// The member of that name, made when it is missing.
Value& MemberOf(Value& object, std::string_view name, Allocator& allocator) {
  if (!object.IsObject()) object.SetObject();
  Value key = TextValue(name, allocator);
  if (object.HasMember(key)) return object[key];
  object.AddMember(key, Value(), allocator);
  return (object.MemberEnd() - 1)->value;
}

// The text of a fleet file and what it says. A text that is no JSON is read again for a while.
std::pair<std::string, Fleet> Load(const fs::path& file) {
  for (int attempt = 1;; ++attempt) {
    std::string text = ReadWholeFile(file);
    try {
      Fleet fleet = ParseFleet(text, file.string());
      return {std::move(text), std::move(fleet)};
    } catch (const FleetSyntaxError&) {
      if (attempt == kReadAttempts) throw;
    }
    std::this_thread::sleep_for(kReadPause);
  }
}

}  // namespace

struct FleetEditor::Json {
  rapidjson::Document document;

  Value& DriveAt(const Fleet& fleet, const Drive& drive) {
    return document["drives"][static_cast<rapidjson::SizeType>(&drive - fleet.drives.data())];
  }

  Value& Place(Value& object, std::string_view path) {
    const std::size_t dot = path.find('.');
    Value& member = MemberOf(object, path.substr(0, dot), document.GetAllocator());
    return dot == std::string_view::npos ? member : Place(member, path.substr(dot + 1));
  }
};

Fleet LoadFleet(const fs::path& file) {
  return Load(file).second;
}

FleetEditor::FleetEditor(std::string text, const fs::path& file)
    : file_(file), json_(std::make_unique<Json>()), fleet_(ParseFleet(text, file.string())) {
  json_->document.Parse(text.data(), text.size());
}

FleetEditor::~FleetEditor() = default;

const Drive& FleetEditor::Find(std::string_view serialOrIndex) const {
  const Drive* drive = FindDrive(fleet_, serialOrIndex);
  if (drive != nullptr) return *drive;
  std::string known;
  for (const Drive& one : fleet_.drives) known += (known.empty() ? "" : ", ") + one.serial;
  throw FleetError(
      file_.string() + ": no drive \"" + std::string(serialOrIndex) +
      "\"; name one by its index or serial number: " + (known.empty() ? "there is none" : known));
}

void FleetEditor::Set(const Drive& drive, std::string_view path, bool value) {
  json_->Place(json_->DriveAt(fleet_, drive), path).SetBool(value);
}

void FleetEditor::Set(const Drive& drive, std::string_view path, std::int64_t value) {
  json_->Place(json_->DriveAt(fleet_, drive), path).SetInt64(value);
}

void FleetEditor::Set(const Drive& drive, std::string_view path, std::uint64_t value) {
  json_->Place(json_->DriveAt(fleet_, drive), path).SetUint64(value);
}

void FleetEditor::Set(const Drive& drive, std::string_view path, const std::string& value) {
  json_->Place(json_->DriveAt(fleet_, drive), path) =
      TextValue(value, json_->document.GetAllocator());
}

void FleetEditor::SetSetting(const Drive& drive, const std::string& name,
                             const std::string& value) {
  Allocator& allocator = json_->document.GetAllocator();
  Value& settings = MemberOf(json_->DriveAt(fleet_, drive), "settings", allocator);
  MemberOf(settings, name, allocator) = TextValue(value, allocator);
}

void FleetEditor::Remove(const Drive& drive, std::string_view path) {
  Allocator& allocator = json_->document.GetAllocator();
  Value* object = &json_->DriveAt(fleet_, drive);
  for (std::size_t dot = path.find('.'); dot != std::string_view::npos; dot = path.find('.')) {
    const Value name = TextValue(path.substr(0, dot), allocator);
    if (!object->HasMember(name)) return;
    object = &(*object)[name];
    path.remove_prefix(dot + 1);
  }
  object->RemoveMember(TextValue(path, allocator));
}

void FleetEditor::SetExtra(const Drive& drive, const std::string& answer, const std::string& key,
                           const std::string& value) {
  Allocator& allocator = json_->document.GetAllocator();
  rapidjson::Document parsed(&allocator);
  parsed.Parse<rapidjson::kParseIterativeFlag>(value.data(), value.size());
  Value& keys = json_->Place(json_->DriveAt(fleet_, drive), "extra." + answer);
  Value& member = MemberOf(keys, key, allocator);
  if (parsed.HasParseError()) {
    member = TextValue(value, allocator);
  } else {
    static_cast<Value&>(parsed).Swap(member);
  }
}

void FleetEditor::RemoveExtra(const Drive& drive, const std::string& answer,
                              const std::string& key) {
  Allocator& allocator = json_->document.GetAllocator();
  Value& keys = json_->Place(json_->DriveAt(fleet_, drive), "extra." + answer);
  if (keys.IsObject() && keys.RemoveMember(TextValue(key, allocator))) return;
  throw FleetError(file_.string() + ": drive " + drive.serial + " has no extra key \"" + key +
                   "\" in " + answer + "; name one of those that \"extra\" lists");
}

void FleetEditor::CountUp(const Drive& drive, const char* counter) {
  Value& value = json_->Place(json_->DriveAt(fleet_, drive), std::string("maintenance.") + counter);
  value.SetUint64(value.IsUint64() ? value.GetUint64() + 1 : 1);
}

void FleetEditor::Append(const char* list, const std::string& json) {
  Allocator& allocator = json_->document.GetAllocator();
  rapidjson::Document entry(&allocator);
  entry.Parse<rapidjson::kParseIterativeFlag>(json.data(), json.size());
  if (entry.HasParseError()) {
    throw FleetSyntaxError("the new entry of \"" + std::string(list) +
                           "\": is not JSON; give one JSON object");
  }
  Value& entries = MemberOf(json_->document, list, allocator);
  if (!entries.IsArray()) entries.SetArray();
  entries.PushBack(Value(entry, allocator), allocator);
}

void FleetEditor::AddDrive(const std::string& json) {
  Append("drives", json);
}

void FleetEditor::AddFault(const std::string& json) {
  Append("faults", json);
}

void FleetEditor::RemoveFaults(const std::function<bool(const Fault&)>& test) {
  for (std::size_t i = fleet_.faults.size(); i-- > 0;) {
    if (!test(fleet_.faults[i])) continue;
    Value& faults = json_->document["faults"];
    faults.Erase(faults.Begin() + i);
  }
}

bool FleetEditor::RenewFaults(std::uint64_t firstId) {
  std::map<std::string, std::uint64_t> ids;  // by the fault's counter
  for (std::size_t i = 0; i < fleet_.faults.size(); ++i) {
    const Fault& fault = fleet_.faults[i];
    if (!fault.firstCalls && !fault.fromCall) continue;
    const std::uint64_t id = ids.try_emplace(fault.key, firstId + ids.size()).first->second;
    Value& entry = json_->document["faults"][static_cast<rapidjson::SizeType>(i)];
    MemberOf(entry, "id", json_->document.GetAllocator()).SetUint64(id);
  }
  return !ids.empty();
}

std::string FleetEditor::Text() const {
  if (IsDeeper(json_->document)) {
    throw FleetError(file_.string() + ": would nest more than " + std::to_string(kDeepestJson) +
                     " levels deep; give a flatter value");
  }
  rapidjson::StringBuffer buffer;
  rapidjson::PrettyWriter<rapidjson::StringBuffer> writer(buffer);
  writer.SetIndent(' ', 2);
  json_->document.Accept(writer);
  return std::string(buffer.GetString(), buffer.GetSize()) + "\n";
}

Fleet EditFleet(const fs::path& file, const std::function<bool(FleetEditor&)>& edit) {
  const DirectoryLock lock(DirectoryOf(file));
  FleetEditor editor(Load(file).first, file);
  if (!edit(editor)) return editor.Current();
  const std::string text = editor.Text();
  Fleet edited = ParseFleet(text, file.string());
  ReplaceFile(file, text);
  return edited;
}

void Format(FleetEditor& editor, const Drive& drive, std::uint32_t sectorSize,
            std::int32_t lbaFormat) {
  const std::uint64_t before = drive.sectorSize.value_or(kFactorySectorSize);
  const auto resize = [&](const char* key, const std::optional<std::uint64_t>& sectors) {
    if (sectors) editor.Set(drive, key, *sectors * before / sectorSize);
  };
  resize("maximumLBA", drive.maximumLBA);
  resize("nativeMaxLBA", drive.nativeMaxLBA);
  editor.Set(drive, "sectorSize", std::uint64_t{sectorSize});
  editor.Set(drive, "lbaFormat", std::int64_t{lbaFormat});
  editor.Set(drive, "usedBytes", std::uint64_t{0});
  editor.CountUp(drive, "formats");
}

void SecureErase(FleetEditor& editor, const Drive& drive) {
  editor.Set(drive, "usedBytes", std::uint64_t{0});
  editor.CountUp(drive, "erases");
}

void Heat(FleetEditor& editor, const Drive& drive, std::int32_t temperature) {
  editor.Set(drive, "health.temperature", std::int64_t{temperature});
  if (!drive.tempThreshold) return;
  const bool over = temperature >= static_cast<std::int64_t>(*drive.tempThreshold);
  const std::uint32_t before = drive.health.criticalWarnings.value_or(0);
  const std::uint32_t after = over ? before | kTemperatureWarning : before & ~kTemperatureWarning;
  editor.Set(drive, "health.criticalWarnings", std::uint64_t{after});
}

void Repair(FleetEditor& editor, const Drive& drive) {
  constexpr std::int32_t kHot = 70;
  constexpr std::int32_t kCool = 35;
  const Health& health = drive.health;
  if (health.criticalWarnings) editor.Set(drive, "health.criticalWarnings", std::uint64_t{0});
  if (health.mediaErrors) editor.Set(drive, "health.mediaErrors", std::uint64_t{0});
  if (health.temperature.value_or(0) >= kHot) {
    editor.Set(drive, "health.temperature", std::int64_t{kCool});
  }
  editor.Remove(drive, "health.flags");
  editor.Remove(drive, "state");
  if (!drive.index) return;
  editor.RemoveFaults([&](const Fault& fault) { return fault.index == drive.index; });
}

}  // namespace vxsim
