#include "Topology.h"

#include "Catalogue.h"
#include "Json.h"

#include <algorithm>
#include <array>
#include <string_view>

#include <fmt/format.h>

#include <PI/Codes.h>

namespace vxhost {

namespace {

constexpr std::array ADDRESS = {PI::PROPERTY_PCI_SEGMENT, PI::PROPERTY_PCI_BUS,
                                PI::PROPERTY_PCI_DEVICE, PI::PROPERTY_PCI_FUNCTION};

bool HasAddress(const PI::CObject& adapter) {
  return std::any_of(ADDRESS.begin(), ADDRESS.end(),
                     [&](unsigned int id) { return FindProperty(adapter, id) != nullptr; });
}

int HostNumberOf(const PI::CObject& adapter, const std::vector<PI::CAdapterID>& numbered) {
  std::array<unsigned int, 4> address{};
  for (std::size_t i = 0; i < ADDRESS.size(); ++i) {
    address.at(i) = static_cast<unsigned int>(UnsignedValue(adapter, ADDRESS.at(i)).value_or(~0UL));
  }
  const auto found = std::find_if(numbered.begin(), numbered.end(),
                                  [&](const auto& id) { return id.m_Identification == address; });
  return found != numbered.end() ? found->m_HostNumber : -1;
}

// "/dev/nvme0" for the paths of the controller, its namespaces and their partitions; other texts as
// they are. People name whichever they see.
std::string ControllerPath(const std::string& path) {
  constexpr std::string_view PREFIX = "/dev/nvme";
  if (!path.starts_with(PREFIX)) return path;
  return path.substr(0, path.find_first_not_of("0123456789", PREFIX.size()));
}

bool HasParent(const PI::CObject& object, unsigned long id) {
  return std::find(object.m_ParentIDs.begin(), object.m_ParentIDs.end(), id) !=
         object.m_ParentIDs.end();
}

}  // namespace

const PI::CProperty* FindProperty(const PI::CObject& object, unsigned int id) {
  const auto found = std::find_if(object.m_Properties.begin(), object.m_Properties.end(),
                                  [&](const PI::CProperty& p) { return p.m_PropertyID == id; });
  return found != object.m_Properties.end() ? &*found : nullptr;
}

std::optional<std::string> TextValue(const PI::CObject& object, unsigned int id) {
  const PI::CProperty* const property = FindProperty(object, id);
  if (property == nullptr) return std::nullopt;
  const auto* const data = boost::get<PI::CStringData>(&property->m_Value);
  return data != nullptr ? std::optional(data->m_Value) : std::nullopt;
}

std::optional<unsigned long> UnsignedValue(const PI::CObject& object, unsigned int id) {
  const PI::CProperty* const property = FindProperty(object, id);
  if (property == nullptr) return std::nullopt;
  const auto* const data = boost::get<PI::CLongData>(&property->m_Value);
  return data != nullptr ? std::optional(data->m_Value) : std::nullopt;
}

std::optional<int> ChoiceValue(const PI::CObject& object, unsigned int id) {
  const PI::CProperty* const property = FindProperty(object, id);
  if (property == nullptr) return std::nullopt;
  const auto* const data = boost::get<PI::CChoiceData>(&property->m_Value);
  return data != nullptr ? std::optional(data->m_Selected) : std::nullopt;
}

std::string Shown(const PI::CObject& object, unsigned int id) {
  const PI::CProperty* const property = FindProperty(object, id);
  return property != nullptr ? ValueText(*property) : std::string();
}

Topology::Topology(std::vector<PI::CObject> objects, const std::vector<PI::CAdapterID>& numbered)
    : objects_(std::move(objects)) {
  std::map<std::string, std::size_t> bySerial;
  for (const PI::CObject& object : objects_) {
    if (object.m_Type == PI::OBJECT_TYPE_PLUGIN && plugin_ == nullptr) plugin_ = &object;
    if (object.m_Type != PI::OBJECT_TYPE_ADAPTER) continue;
    bySerial.try_emplace(TextValue(object, PI::PROPERTY_SERIAL_NUMBER).value_or(""),
                         adapters_.size());
    adapters_.push_back({&object, HostNumberOf(object, numbered), {}});
  }
  NumberByPlace(numbered);
  for (const PI::CObject& object : objects_) {
    if (object.m_Type == PI::OBJECT_TYPE_PHYSICAL_DRIVE) PlaceDrive(object, bySerial);
  }
}

// Adapters that are no PCI functions show no address. They go by their place, as long as there are
// as many as the plug-in has listed.
void Topology::NumberByPlace(const std::vector<PI::CAdapterID>& numbered) {
  if (adapters_.size() != numbered.size()) return;
  for (std::size_t i = 0; i < adapters_.size(); ++i) {
    if (!HasAddress(*adapters_[i].object)) adapters_[i].hostNumber = numbered[i].m_HostNumber;
  }
}

// Links win; where a plug-in does not link its drives, the serial number ties them to the adapter.
void Topology::PlaceDrive(const PI::CObject& drive,
                          const std::map<std::string, std::size_t>& bySerial) {
  if (!drive.m_ParentIDs.empty()) {
    const auto parent = std::find_if(adapters_.begin(), adapters_.end(), [&](const Adapter& a) {
      return HasParent(drive, a.object->m_ID);
    });
    if (parent != adapters_.end()) {
      parent->drives.push_back(&drive);
      return;
    }
  }
  const auto found = bySerial.find(TextValue(drive, PI::PROPERTY_SERIAL_NUMBER).value_or(""));
  if (found != bySerial.end()) {
    adapters_[found->second].drives.push_back(&drive);
  } else {
    strays_.push_back(&drive);
  }
}

const Topology::Adapter* Topology::AdapterOf(const PI::CObject& object) const {
  const auto found = std::find_if(adapters_.begin(), adapters_.end(), [&](const Adapter& a) {
    return a.object == &object ||
           std::find(a.drives.begin(), a.drives.end(), &object) != a.drives.end();
  });
  return found != adapters_.end() ? &*found : nullptr;
}

const PI::CObject* Topology::Find(unsigned long id) const {
  const auto found = std::find_if(objects_.begin(), objects_.end(),
                                  [&](const PI::CObject& object) { return object.m_ID == id; });
  return found != objects_.end() ? &*found : nullptr;
}

const PI::CObject* Topology::Lookup(const std::string& name) const {
  if (const auto id = ParseHexId(name)) return Find(*id);
  for (const Adapter& adapter : adapters_) {
    if (adapter.hostNumber > 0 && name == std::to_string(adapter.hostNumber)) {
      return adapter.object;
    }
  }
  for (const PI::CObject& object : objects_) {
    if (!name.empty() && TextValue(object, PI::PROPERTY_SERIAL_NUMBER) == name) return &object;
  }
  for (const PI::CObject& object : objects_) {
    const auto path = TextValue(object, PI::PROPERTY_DEVICE_PATH);
    if (path && !path->empty() && ControllerPath(*path) == ControllerPath(name)) return &object;
  }
  return nullptr;
}

bool IsNotAnswering(const PI::CObject& adapter) {
  if (!ChoiceValue(adapter, PI::PROPERTY_HEALTH)) return false;
  constexpr std::array VALUES = {PI::PROPERTY_TEMPERATURE, PI::PROPERTY_POWER_ON_HOURS,
                                 PI::PROPERTY_DATA_READ, PI::PROPERTY_DATA_WRITTEN};
  return std::none_of(VALUES.begin(), VALUES.end(),
                      [&](unsigned int id) { return FindProperty(adapter, id) != nullptr; });
}

std::string HealthText(const PI::CObject& adapter) {
  const auto shown = ChoiceValue(adapter, PI::PROPERTY_HEALTH);
  if (!shown) return "not reported";
  if (IsNotAnswering(adapter)) return "not answering";
  const int state = *shown;
  const PI::CProperty* const reasons = FindProperty(adapter, PI::PROPERTY_HEALTH_REASONS);
  const auto* const codes =
      reasons != nullptr ? boost::get<PI::CMultiValueData>(&reasons->m_Value) : nullptr;
  if (codes != nullptr && !codes->m_Selected.empty()) {
    return fmt::format("{} ({})", ChoiceText(state), ValueText(*reasons));
  }
  const auto life = ChoiceValue(adapter, PI::PROPERTY_LIFE_STATE);
  if (state == PI::CHOICE_HEALTH_DEGRADED && life && *life != PI::CHOICE_LIFE_AS_NEW) {
    return ChoiceText(state) + " (normalized attribute EA below 100)";
  }
  return ChoiceText(state);
}

std::string DisplayName(const PI::CObject& object) {
  std::string name = TextValue(object, PI::PROPERTY_NAME).value_or("");
  if (!name.empty()) return name;
  const auto serial = TextValue(object, PI::PROPERTY_SERIAL_NUMBER);
  const auto location = TextValue(object, PI::PROPERTY_LOCATION);
  if (!serial && !location) return HexId(object.m_ID);
  return fmt::format("{} at {}", serial.value_or("?"), location.value_or("unknown place"));
}

}  // namespace vxhost
