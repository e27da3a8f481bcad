#pragma once

#include <map>
#include <optional>
#include <string>
#include <vector>

#include <PI/AdapterID.h>
#include <PI/Object.h>

namespace vxhost {

// The value of a property, by its kind; nothing when the object does not show it.
const PI::CProperty* FindProperty(const PI::CObject& object, unsigned int id);
std::optional<std::string> TextValue(const PI::CObject& object, unsigned int id);
std::optional<unsigned long> UnsignedValue(const PI::CObject& object, unsigned int id);
std::optional<int> ChoiceValue(const PI::CObject& object, unsigned int id);
// The value for people, or the empty text.
std::string Shown(const PI::CObject& object, unsigned int id);

// The objects of one plug-in, linked: plug-in, adapters, drives below them.
class Topology {
 public:
  struct Adapter {
    const PI::CObject* object;
    int hostNumber;  // -1: the host has not numbered it
    std::vector<const PI::CObject*> drives;
  };

  Topology() = default;
  // numbered: the adapters as the host has numbered them.
  Topology(std::vector<PI::CObject> objects, const std::vector<PI::CAdapterID>& numbered);
  Topology(const Topology&) = delete;
  Topology& operator=(const Topology&) = delete;
  Topology(Topology&&) = default;
  Topology& operator=(Topology&&) = default;

  const std::vector<PI::CObject>& Objects() const { return objects_; }
  const PI::CObject* Plugin() const { return plugin_; }
  const std::vector<Adapter>& Adapters() const { return adapters_; }
  // Drives that belong to no adapter of the topology.
  const std::vector<const PI::CObject*>& Strays() const { return strays_; }

  // The adapter that the object is or that it is below; null for others.
  const Adapter* AdapterOf(const PI::CObject& object) const;
  const PI::CObject* Find(unsigned long id) const;

  // What a user may call an object: its id, a serial number, a device path, or a host number. A
  // serial number or path means the adapter. Null when nothing has that name.
  const PI::CObject* Lookup(const std::string& name) const;

 private:
  void NumberByPlace(const std::vector<PI::CAdapterID>& numbered);
  void PlaceDrive(const PI::CObject& drive, const std::map<std::string, std::size_t>& bySerial);

  std::vector<PI::CObject> objects_;
  const PI::CObject* plugin_ = nullptr;
  std::vector<Adapter> adapters_;
  std::vector<const PI::CObject*> strays_;
};

// Whether the health values are missing: no temperature and no counter is there. What such an
// adapter says of its state means nothing. One that shows no state at all has none to miss.
bool IsNotAnswering(const PI::CObject& adapter);

// "good", "degraded (spare low)", "not answering"; "not reported" for an adapter that shows no
// state.
std::string HealthText(const PI::CObject& adapter);

// The display name; without one (the host has not numbered the adapter) "SERIAL at LOCATION", and
// the id of an object that shows neither.
std::string DisplayName(const PI::CObject& object);

}  // namespace vxhost
