#include "FleetReader.h"

#include "JsonDepth.h"

#include <algorithm>
#include <limits>
#include <map>
#include <set>
#include <type_traits>
#include <utility>
#include <vector>

#include <rapidjson/document.h>
#include <rapidjson/error/en.h>
#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

namespace vxsim {

namespace {

using Value = rapidjson::Value;

// The NVMe identify fields that hold these texts have these lengths.
constexpr std::size_t kSerialLength = 20;
constexpr std::size_t kModelLength = 40;
constexpr std::size_t kFirmwareLength = 8;
constexpr std::size_t kMostDrives = 10000;
// An extra value stands five levels deep in the file.
constexpr int kDeepestExtra = kDeepestJson - 5;

[[noreturn]] void Fail(const std::string& place, const std::string& problem,
                       const std::string& wayOut) {
  throw FleetError(place + ": " + problem + "; " + wayOut);
}

const char* KindOf(const Value& value) {
  switch (value.GetType()) {
    case rapidjson::kNullType:
      return "null";
    case rapidjson::kFalseType:
    case rapidjson::kTrueType:
      return "a boolean";
    case rapidjson::kObjectType:
      return "an object";
    case rapidjson::kArrayType:
      return "a list";
    case rapidjson::kStringType:
      return "a text";
    default:
      return "a number";
  }
}

[[noreturn]] void FailKind(const std::string& place, const Value& value, const char* wanted) {
  Fail(place, std::string("is ") + KindOf(value), std::string("give ") + wanted);
}

std::string TextOf(const Value& value) {
  return {value.GetString(), value.GetStringLength()};
}

void Take(const std::string& place, const Value& value, std::string& out) {
  if (!value.IsString()) FailKind(place, value, "a text");
  out = TextOf(value);
}

void Take(const std::string& place, const Value& value, bool& out) {
  if (!value.IsBool()) FailKind(place, value, "true or false");
  out = value.GetBool();
}

template <class Number>
requires std::is_integral_v<Number>
void Take(const std::string& place, const Value& value, Number& out) {
  using Limits = std::numeric_limits<Number>;
  const bool fits = std::is_signed_v<Number>
                        ? value.IsInt64() && std::in_range<Number>(value.GetInt64())
                        : value.IsUint64() && std::in_range<Number>(value.GetUint64());
  if (!fits) {
    Fail(place, value.IsNumber() ? "is out of range" : std::string("is ") + KindOf(value),
         "give a whole number from " + std::to_string(Limits::min()) + " to " +
             std::to_string(Limits::max()));
  }
  out = std::is_signed_v<Number> ? static_cast<Number>(value.GetInt64())
                                 : static_cast<Number>(value.GetUint64());
}

template <class T>
void Take(const std::string& place, const Value& value, std::optional<T>& out) {
  Take(place, value, out.emplace());
}

// One object of the file: hands out its members and, at the end, refuses those nobody asked for.
class ObjectReader {
 public:
  ObjectReader(const Value& value, std::string place) : place_(std::move(place)) {
    if (!value.IsObject()) FailKind(place_, value, "an object");
    for (const auto& member : value.GetObject()) {
      const std::string name = TextOf(member.name);
      if (!members_.emplace(name, &member.value).second) {
        Fail(PlaceOf(name), "is there twice", "keep one of them");
      }
    }
  }

  std::string PlaceOf(const std::string& key) const {
    return place_.ends_with(": ") ? place_ + key : place_ + "." + key;
  }

  const Value* Find(const char* key) {
    known_.push_back(key);
    const auto found = members_.find(key);
    return found == members_.end() ? nullptr : found->second;
  }

  template <class T>
  void Optional(const char* key, T& out) {
    if (const Value* value = Find(key)) Take(PlaceOf(key), *value, out);
  }

  template <class T>
  void Required(const char* key, T& out, const char* meaning) {
    const Value* value = Find(key);
    if (value == nullptr) Fail(PlaceOf(key), "is missing", std::string("add ") + meaning);
    Take(PlaceOf(key), *value, out);
  }

  template <class T>
  void OptionalInRange(const char* key, std::optional<T>& out, T least, T most) {
    Optional(key, out);
    if (out && (*out < least || *out > most)) {
      Fail(PlaceOf(key), std::to_string(*out) + " is out of range",
           "give a whole number from " + std::to_string(least) + " to " + std::to_string(most));
    }
  }

  void RefuseUnknown() const {
    for (const auto& [name, value] : members_) {
      if (std::find(known_.begin(), known_.end(), name) != known_.end()) continue;
      std::string list;
      for (const std::string& key : known_) list += (list.empty() ? "" : ", ") + key;
      Fail(PlaceOf(name), "is not known", "remove it or use one of: " + list);
    }
  }

 private:
  std::string place_;
  std::map<std::string, const Value*> members_;
  std::vector<std::string> known_;
};

void CheckLength(const std::string& place, const std::string& text, std::size_t most) {
  if (text.empty()) Fail(place, "is empty", "give a text");
  if (text.size() > most) {
    Fail(place, "has " + std::to_string(text.size()) + " characters",
         "give at most " + std::to_string(most));
  }
}

void TakeAddress(const std::string& place, const Value& value, PciAddress& out) {
  std::string text;
  Take(place, value, text);
  const auto address = ParsePciAddress(text);
  if (!address) {
    Fail(place, "\"" + text + "\" is no PCI address", "write it as in \"0000:01:00.0\"");
  }
  out = *address;
}

void TakePciId(ObjectReader& reader, const char* key, std::uint16_t& out) {
  const Value* value = reader.Find(key);
  if (value == nullptr) return;
  std::string text;
  Take(reader.PlaceOf(key), *value, text);
  const bool digits =
      text.size() == 4 && text.find_first_not_of("0123456789abcdefABCDEF") == std::string::npos;
  if (!digits) {
    Fail(reader.PlaceOf(key), "\"" + text + "\" is no PCI id",
         "write four hexadecimal digits, as in \"0a54\"");
  }
  out = static_cast<std::uint16_t>(std::stoul(text, nullptr, 16));
}

VolumeController ReadVolumeController(const Value& value, const std::string& place) {
  ObjectReader reader(value, place);
  VolumeController controller;
  const Value* address = reader.Find("address");
  if (address == nullptr) {
    Fail(reader.PlaceOf("address"), "is missing", "add the controller's own PCI address");
  }
  TakeAddress(reader.PlaceOf("address"), *address, controller.address);
  TakePciId(reader, "vendor", controller.vendor);
  TakePciId(reader, "device", controller.device);
  std::optional<std::uint32_t> firstBus;
  reader.OptionalInRange("firstBus", firstBus, 0U, 255U);
  controller.firstBus = firstBus.value_or(0);
  reader.RefuseUnknown();
  return controller;
}

// Drivers and slots are directories of the sysfs tree.
void CheckName(const std::string& place, const std::string& name) {
  constexpr const char* kAllowed =
      "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789_-.";
  if (!name.empty() && name.front() != '.' &&
      name.find_first_not_of(kAllowed) == std::string::npos) {
    return;
  }
  Fail(place, "\"" + name + "\" is no name that sysfs could show",
       "use letters, digits, '_', '-' and '.'");
}

PciPlace ReadPciPlace(const Value& value, const std::string& place) {
  ObjectReader reader(value, place);
  PciPlace pci;
  const Value* address = reader.Find("address");
  if (address == nullptr) {
    Fail(reader.PlaceOf("address"), "is missing", "add the drive's PCI address");
  }
  TakeAddress(reader.PlaceOf("address"), *address, pci.address);
  TakePciId(reader, "vendor", pci.vendor);
  std::string device;
  reader.Required("device", device, "the drive's PCI device id, as in \"0a54\"");
  TakePciId(reader, "device", pci.device);
  TakePciId(reader, "subsystemVendor", pci.subsystemVendor);
  if (reader.Find("subsystemDevice") != nullptr) {
    TakePciId(reader, "subsystemDevice", pci.subsystemDevice.emplace());
  }
  reader.Optional("driver", pci.driver);
  if (!pci.driver.empty()) CheckName(reader.PlaceOf("driver"), pci.driver);
  reader.Optional("slot", pci.slot);
  if (pci.slot) CheckName(reader.PlaceOf("slot"), *pci.slot);
  if (const Value* port = reader.Find("port")) {
    TakeAddress(reader.PlaceOf("port"), *port, pci.port.emplace());
  }
  if (const Value* behind = reader.Find("behind")) {
    pci.behind = ReadVolumeController(*behind, reader.PlaceOf("behind"));
  }
  reader.RefuseUnknown();
  return pci;
}

void ReadFlags(const Value& value, const std::string& place, Health& health) {
  ObjectReader reader(value, place);
  for (std::size_t i = 0; i < kWarningFlags.size(); ++i) {
    reader.Optional(kWarningFlags[i].key, health.flags[i]);
  }
  reader.RefuseUnknown();
}

Health ReadHealth(const Value& value, const std::string& place) {
  ObjectReader reader(value, place);
  Health health;
  reader.OptionalInRange("criticalWarnings", health.criticalWarnings, 0U, 0x7fffffffU);
  if (const Value* flags = reader.Find("flags")) {
    ReadFlags(*flags, reader.PlaceOf("flags"), health);
  }
  reader.OptionalInRange("availableSpare", health.availableSpare, 0, 255);
  reader.OptionalInRange("availableSpareThreshold", health.availableSpareThreshold, 0, 255);
  reader.OptionalInRange("percentageUsed", health.percentageUsed, 0, 255);
  reader.Optional("dataUnitsRead", health.dataUnitsRead);
  reader.Optional("dataUnitsWritten", health.dataUnitsWritten);
  reader.Optional("powerOnHours", health.powerOnHours);
  reader.Optional("mediaErrors", health.mediaErrors);
  reader.OptionalInRange("temperature", health.temperature, -273, 1000);
  reader.OptionalInRange("temperatureOffset", health.temperatureOffset, -1000, 1000);
  reader.Optional("normalizedEA", health.normalizedEA);
  reader.Optional("normalizedAD", health.normalizedAD);
  reader.RefuseUnknown();
  return health;
}

void ReadControllerAndDriver(ObjectReader& reader, Drive& drive) {
  if (const Value* value = reader.Find("controller")) {
    ObjectReader controller(*value, reader.PlaceOf("controller"));
    controller.Optional("description", drive.controllerDescription);
    controller.Optional("manufacturer", drive.controllerManufacturer);
    controller.Optional("service", drive.controllerService);
    controller.Optional("ideMode", drive.controllerIdeMode);
    controller.RefuseUnknown();
  }
  if (const Value* value = reader.Find("driver")) {
    ObjectReader driver(*value, reader.PlaceOf("driver"));
    driver.Optional("description", drive.driverDescription);
    driver.Optional("manufacturer", drive.driverManufacturer);
    driver.Optional("majorVersion", drive.driverMajorVersion);
    driver.Optional("minorVersion", drive.driverMinorVersion);
    driver.RefuseUnknown();
  }
}

void ReadIdentity(ObjectReader& reader, Drive& drive) {
  reader.Required("serial", drive.serial, "the drive's serial number as a text");
  CheckLength(reader.PlaceOf("serial"), drive.serial, kSerialLength);
  reader.Required("model", drive.model, "the model number, as in \"INTEL SSDPE2KX020T8\"");
  CheckLength(reader.PlaceOf("model"), drive.model, kModelLength);
  reader.Optional("firmware", drive.firmware);
  if (drive.firmware) CheckLength(reader.PlaceOf("firmware"), *drive.firmware, kFirmwareLength);
  reader.Optional("bootloader", drive.bootloader);
  reader.Optional("family", drive.family);
  drive.section = drive.family.value_or("Intel SSD");
  reader.Optional("section", drive.section);
  reader.Optional("devicePath", drive.devicePath);
  reader.Optional("deviceStatus", drive.deviceStatus);
  reader.Optional("errorString", drive.errorString);
}

void ReadSizes(ObjectReader& reader, Drive& drive) {
  reader.Optional("maximumLBA", drive.maximumLBA);
  reader.Optional("nativeMaxLBA", drive.nativeMaxLBA);
  reader.OptionalInRange("sectorSize", drive.sectorSize, 512U, 65536U);
  reader.Optional("physicalSize", drive.physicalSize);
  reader.Optional("lbaFormat", drive.lbaFormat);
  reader.Optional("numLbaFormats", drive.numLbaFormats);
}

// A number without a place, a null for a drive that the tool lists without an index, or nothing for
// the position in the list.
void ReadIndex(ObjectReader& reader, std::size_t position, Drive& drive) {
  drive.index = static_cast<std::int32_t>(position);
  const Value* value = reader.Find("index");
  if (value == nullptr) return;
  if (value->IsNull()) {
    drive.index.reset();
  } else {
    Take(reader.PlaceOf("index"), *value, drive.index);
  }
}

// What maintenance commands leave behind; the tool prints none of it.
void CheckHistory(ObjectReader& reader) {
  std::optional<std::uint64_t> usedBytes;
  reader.Optional("usedBytes", usedBytes);
  if (const Value* value = reader.Find("maintenance")) {
    ObjectReader maintenance(*value, reader.PlaceOf("maintenance"));
    std::optional<std::uint64_t> count;
    maintenance.Optional("formats", count);
    maintenance.Optional("erases", count);
    maintenance.RefuseUnknown();
  }
  if (const Value* value = reader.Find("settings")) {
    const std::string place = reader.PlaceOf("settings");
    if (!value->IsObject()) FailKind(place, *value, "an object of texts");
    for (const auto& member : value->GetObject()) {
      if (!member.value.IsString())
        FailKind(place + "." + TextOf(member.name), member.value, "a text");
    }
  }
}

std::string JsonOf(const Value& value) {
  rapidjson::StringBuffer buffer;
  rapidjson::Writer<rapidjson::StringBuffer> writer(buffer);
  value.Accept(writer);
  return {buffer.GetString(), buffer.GetSize()};
}

// Keys that the simulator knows nothing of, by the answer that they are printed in.
void ReadExtra(ObjectReader& drive, Drive& out) {
  const Value* const value = drive.Find("extra");
  if (value == nullptr) return;
  ObjectReader answers(*value, drive.PlaceOf("extra"));
  for (const ToolCommand answer : kExtraAnswers) {
    const Value* const section = answers.Find(NameOf(answer));
    if (section == nullptr) continue;
    const ObjectReader keys(*section,
                            answers.PlaceOf(NameOf(answer)));  // refuses what is there twice
    for (const auto& member : section->GetObject()) {
      if (IsDeeper(member.value, kDeepestExtra)) {
        Fail(keys.PlaceOf(TextOf(member.name)), "nests too deeply",
             "give at most " + std::to_string(kDeepestExtra) + " levels");
      }
      out.extra[answer].push_back({TextOf(member.name), JsonOf(member.value)});
    }
  }
  answers.RefuseUnknown();
}

Drive ReadDrive(const Value& value, const std::string& place, std::size_t position) {
  ObjectReader reader(value, place);
  Drive drive;
  std::optional<std::string> comment;
  reader.Optional("comment", comment);
  ReadIndex(reader, position, drive);
  reader.Optional("present", drive.present);
  reader.Optional("state", drive.state);
  ReadIdentity(reader, drive);
  ReadSizes(reader, drive);
  reader.Optional("powerState", drive.powerState);
  reader.Optional("powerGovernorMode", drive.powerGovernorMode);
  reader.Optional("tempThreshold", drive.tempThreshold);
  reader.Optional("rsteDiskId", drive.rsteDiskId);
  ReadControllerAndDriver(reader, drive);
  CheckHistory(reader);
  if (const Value* health = reader.Find("health")) {
    drive.health = ReadHealth(*health, reader.PlaceOf("health"));
  }
  if (const Value* pci = reader.Find("pci")) {
    drive.pci = ReadPciPlace(*pci, reader.PlaceOf("pci"));
  }
  ReadExtra(reader, drive);
  reader.RefuseUnknown();
  return drive;
}

template <class Row, std::size_t N>
std::string Names(const std::array<Row, N>& rows) {
  std::string list;
  for (const Row& row : rows) list += (list.empty() ? "" : ", ") + std::string(row.name);
  return list;
}

template <class Row, std::size_t N>
const Row& RowOf(const std::array<Row, N>& rows, const std::string& place, const std::string& name,
                 const char* also) {
  for (const Row& row : rows) {
    if (name == row.name) return row;
  }
  Fail(place, "\"" + name + "\" is not known", "use one of: " + Names(rows) + also);
}

void ReadFaultTarget(ObjectReader& reader, Fault& fault) {
  std::string command;
  reader.Required("command", command, "the command that it strikes, or \"any\"");
  if (command != "any") {
    fault.command = RowOf(kToolCommands, reader.PlaceOf("command"), command, ", any").command;
  }
  reader.Optional("index", fault.index);
  if (fault.index && fault.command && !DescriptionOf(*fault.command).addressesDrive) {
    Fail(reader.PlaceOf("index"), "command \"" + command + "\" addresses no drive",
         "remove the index");
  }
}

std::string KeyOf(const Fault& fault) {
  std::string key = fault.command ? NameOf(*fault.command) : "any";
  key += fault.index ? " " + std::to_string(*fault.index) : "";
  key += std::string(" ") + NameOf(fault.kind);
  key += fault.firstCalls ? " first " + std::to_string(*fault.firstCalls) : "";
  key += fault.fromCall ? " from " + std::to_string(*fault.fromCall) : "";
  key += fault.id ? " id " + std::to_string(*fault.id) : "";
  return key;
}

Fault ReadFault(const Value& value, const std::string& place) {
  ObjectReader reader(value, place);
  Fault fault;
  ReadFaultTarget(reader, fault);
  std::string kind;
  reader.Required("kind", kind, ("one of: " + Names(kFaultKinds)).c_str());
  fault.kind = RowOf(kFaultKinds, reader.PlaceOf("kind"), kind, "").kind;
  if (fault.kind == FaultKind::WrongTypes && fault.command &&
      !DescriptionOf(*fault.command).answersJson) {
    Fail(reader.PlaceOf("kind"),
         std::string("command \"") + NameOf(*fault.command) +
             "\" answers with lines, which have no types",
         "use another kind");
  }
  std::optional<std::uint32_t> number;
  if (fault.kind == FaultKind::Latency) reader.Required("ms", fault.ms, "the milliseconds to wait");
  if (fault.kind == FaultKind::Exit) {
    reader.OptionalInRange("status", number, 0U, 255U);
    fault.status = number.value_or(fault.status);
  }
  if (fault.kind == FaultKind::Crash) {
    reader.OptionalInRange("signal", number, 1U, 31U);
    fault.signal = number.value_or(fault.signal);
  }
  if (fault.kind == FaultKind::Flood) {
    reader.OptionalInRange("megabytes", number, 1U, 1024U);
    fault.megabytes = number.value_or(fault.megabytes);
  }
  if (fault.kind == FaultKind::Preamble) reader.Optional("text", fault.text);
  if (fault.kind == FaultKind::Exit || fault.kind == FaultKind::Crash) {
    reader.Optional("keepOutput", fault.keepOutput);
  }
  reader.Optional("id", fault.id);
  reader.OptionalInRange("firstCalls", fault.firstCalls, 1U, 0x7fffffffU);
  reader.OptionalInRange("fromCall", fault.fromCall, 1U, 0x7fffffffU);
  reader.RefuseUnknown();
  fault.key = KeyOf(fault);
  return fault;
}

// Values that must differ from drive to drive, each with the place that used it first.
class Uniqueness {
 public:
  explicit Uniqueness(std::size_t rootLength) : rootLength_(rootLength) {}

  void Add(const std::string& kind, const std::string& value, const std::string& place,
           const char* wayOut) {
    const auto [first, added] = places_.emplace(kind + " " + value, place.substr(rootLength_));
    if (!added) {
      Fail(place, kind + " " + value + " is already used by " + first->second, wayOut);
    }
  }

 private:
  std::size_t rootLength_;  // of the file name, which an error says once
  std::map<std::string, std::string> places_;
};

// Only drives that are there need a place of their own: a pulled one may be waiting for the place
// of another.
void CheckUnique(const Drive& drive, const std::string& place, bool duplicateSerials,
                 Uniqueness& seen) {
  if (!duplicateSerials) {
    seen.Add("serial number", drive.serial, place + ".serial",
             "change it, or set \"allowDuplicateSerials\" to true if it is meant");
  }
  if (!drive.present) return;
  if (drive.index) {
    seen.Add("index", std::to_string(*drive.index), place + ".index",
             "give every drive its own, or pull one of the two first");
  }
  if (drive.devicePath) {
    seen.Add("device path", *drive.devicePath, place + ".devicePath",
             "give every drive its own, or pull one of the two first");
  }
  if (drive.pci) {
    seen.Add("PCI address", ToText(drive.pci->address), place + ".pci.address",
             "give every drive its own, or pull one of the two first");
  }
  if (drive.pci && drive.pci->slot) {
    seen.Add("slot", *drive.pci->slot, place + ".pci.slot",
             "give every drive its own, or pull one of the two first");
  }
}

std::string ElementPlace(const std::string& root, const char* list, std::size_t i) {
  return root + list + "[" + std::to_string(i) + "]";
}

const Value& ListOf(const Value* value, const std::string& place) {
  if (!value->IsArray()) FailKind(place, *value, "a list");
  if (value->Size() > kMostDrives) {
    Fail(place, "has " + std::to_string(value->Size()) + " entries",
         "give at most " + std::to_string(kMostDrives));
  }
  return *value;
}

Fleet ReadFleet(const Value& document, const std::string& root) {
  if (!document.IsObject())
    FailKind(root + "the whole file", document, "an object with \"drives\"");
  ObjectReader reader(document, root);
  Fleet fleet;
  std::optional<std::string> comment;
  bool duplicateSerials = false;
  reader.Optional("comment", comment);
  reader.Optional("toolVersion", fleet.toolVersion);
  reader.Optional("allowDuplicateSerials", duplicateSerials);
  const Value* drives = reader.Find("drives");
  if (drives == nullptr) Fail(root + "drives", "is missing", "add the list of drives, [] for none");
  Uniqueness seen(root.size());
  for (const Value& value : ListOf(drives, root + "drives").GetArray()) {
    const std::string place = ElementPlace(root, "drives", fleet.drives.size());
    fleet.drives.push_back(ReadDrive(value, place, fleet.drives.size()));
    CheckUnique(fleet.drives.back(), place, duplicateSerials, seen);
  }
  if (const Value* faults = reader.Find("faults")) {
    for (const Value& value : ListOf(faults, root + "faults").GetArray()) {
      fleet.faults.push_back(ReadFault(value, ElementPlace(root, "faults", fleet.faults.size())));
    }
  }
  reader.RefuseUnknown();
  return fleet;
}

std::size_t LineOf(std::string_view text, std::size_t offset) {
  const auto end = text.begin() + static_cast<std::ptrdiff_t>(std::min(offset, text.size()));
  return 1 + static_cast<std::size_t>(std::count(text.begin(), end, '\n'));
}

}  // namespace

Fleet ParseFleet(std::string_view text, std::string_view fileName) {
  const std::string root = std::string(fileName) + ": ";
  rapidjson::Document document;
  // Iterative: a deeply nested text must not use up the stack.
  document.Parse<rapidjson::kParseIterativeFlag | rapidjson::kParseValidateEncodingFlag>(
      text.data(), text.size());
  if (document.HasParseError()) {
    throw FleetSyntaxError(
        root + "line " + std::to_string(LineOf(text, document.GetErrorOffset())) +
        ": is not JSON (" + rapidjson::GetParseError_En(document.GetParseError()) +
        "); correct it, or write the file aside and rename it into place");
  }
  return ReadFleet(document, root);
}

}  // namespace vxsim
