#pragma once

#include "Core/Adapter.h"
#include "Core/PhysicalDrive.h"

#include <string>
#include <vector>

#include <PI/Catalogue.h>
#include <PI/Event.h>

// Objects for the tests of the units: an adapter and its drive belong together by serial number.
namespace coretest {

using NAMESPACE_piTorvex::CTorvexAdapter;
using NAMESPACE_piTorvex::CTorvexPhysicalDrive;

inline CTorvexAdapter MakeAdapter(const std::string& serial, unsigned int number) {
  CTorvexAdapter adapter;
  adapter.m_ID = 2000 + number;
  adapter.m_Type = PI::OBJECT_TYPE_ADAPTER;
  adapter.AdapterNumber = number;
  adapter.GlobalAdapterNumber = 50 + number;
  adapter.SerialNumber = serial;
  adapter.Name = "Adapter " + serial;
  adapter.DriverName = "nvme";
  return adapter;
}

inline CTorvexPhysicalDrive MakeDrive(const std::string& serial, unsigned int number) {
  CTorvexPhysicalDrive drive;
  drive.m_ID = 3000 + number;
  drive.m_Type = PI::OBJECT_TYPE_PHYSICAL_DRIVE;
  drive.DriveNumber = number - 1;
  drive.ParentAdapterNumber = 50 + number;
  drive.SerialNumber = serial;
  drive.Name = "Drive " + serial;
  drive.SectorSize = 512;
  return drive;
}

// Adapters and drives of one scan or of what is published.
struct Lists {
  std::vector<CTorvexAdapter> adapters;
  std::vector<CTorvexPhysicalDrive> drives;

  void Add(const std::string& serial, unsigned int number) {
    adapters.push_back(MakeAdapter(serial, number));
    drives.push_back(MakeDrive(serial, number));
  }
};

template <class Object>
std::vector<std::string> SerialsOf(const std::vector<Object>& objects) {
  std::vector<std::string> serials;
  for (const Object& object : objects) serials.push_back(object.SerialNumber);
  return serials;
}

inline std::vector<unsigned int> IdsOf(const std::vector<PI::CEvent>& events) {
  std::vector<unsigned int> ids;
  for (const PI::CEvent& event : events) ids.push_back(event.m_EventID);
  return ids;
}

}  // namespace coretest
