#pragma once

#include <mutex>
#include <set>
#include <string>

#include <TLX/Export.h>

namespace PI {

// The name under which every host calls itself in adapter and database keys.
inline constexpr const char* LOOPBACK_HOST_NAME = "localhost";

// A number for an adapter that is unique across all plug-ins of the process. The same (host, serial
// number) gives the same number for the life of the process. Numbers count from 1.
class VX_EXPORT CGlobalAdapterID {
 public:
  CGlobalAdapterID(const std::string& host, const std::string& serialNumber);

  // Finds or makes the number. Takes AllHostsAdaptersUniqueIDsMtx itself: do not hold it. [any
  // thread]
  void GenerateUniqueAdapterNumber();
  // 0 before GenerateUniqueAdapterNumber.
  unsigned int GetGlobalAdapterNumber() const;

  // Orders by host, then serial number.
  bool operator<(const CGlobalAdapterID& other) const;

 private:
  std::string m_Host;
  std::string m_SerialNumber;
  unsigned int m_Number = 0;
};

// Every id that was ever looked up, guarded by the mutex.
VX_EXPORT extern std::mutex AllHostsAdaptersUniqueIDsMtx;
VX_EXPORT extern std::set<CGlobalAdapterID> AllHostsAdaptersUniqueIDs;

}  // namespace PI
