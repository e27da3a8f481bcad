#pragma once

#include <mutex>
#include <set>
#include <string>

#include <TLX/Export.h>

namespace PI {

// The name under which every host calls itself in adapter and database keys: one host, whatever the
// machine is called today, so that rows are found again after it was renamed.
inline constexpr const char* LOOPBACK_HOST_NAME = "localhost";

// A number for an adapter that is unique across all plug-ins of the process. The same (host, serial
// number) gives the same number for the life of the process, also when the adapter goes and comes
// back; another process gives others. Numbers count from 1 in the order of asking.
//
// A value type: copies share nothing, and a copy taken before the number was made has none. Throws
// for lack of memory only. [one thread at a time]
class VX_EXPORT CGlobalAdapterID {
 public:
  // Both texts are compared byte for byte; neither is looked up anywhere. No number yet.
  CGlobalAdapterID(const std::string& host, const std::string& serialNumber);

  // Finds or makes the number. Takes AllHostsAdaptersUniqueIDsMtx itself: who holds it waits for
  // ever. [one thread at a time]
  void GenerateUniqueAdapterNumber();
  // 0 before GenerateUniqueAdapterNumber.
  [[nodiscard]] unsigned int GetGlobalAdapterNumber() const;

  // Orders by host, then serial number; the number plays no part.
  bool operator<(const CGlobalAdapterID& other) const;

 private:
  std::string m_Host;
  std::string m_SerialNumber;
  unsigned int m_Number = 0;
};

// Every id that was ever looked up, guarded by the mutex. Entries stay for the life of the process
// and may lack a number, which GenerateUniqueAdapterNumber then adds. Plug-ins may look up and
// insert; nobody erases.
// Held for single look-ups only; no other lock is taken, and nothing is called, while it is held.
VX_EXPORT extern std::mutex AllHostsAdaptersUniqueIDsMtx;
VX_EXPORT extern std::set<CGlobalAdapterID> AllHostsAdaptersUniqueIDs;

}  // namespace PI
