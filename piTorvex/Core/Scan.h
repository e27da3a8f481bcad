#pragma once

#include "Core/Adapter.h"
#include "Core/PhysicalDrive.h"
#include "Core/SerialIndex.h"
#include "Core/ToolRecords.h"
#include "Core/Trace.h"

#include <functional>
#include <string>
#include <unordered_set>
#include <vector>

#include <PI/AdapterID.h>

// From the tool's records to objects. Knows no lock of the plug-in and asks no tool; place and
// driver of a drive come from sysfs. The number that all plug-ins share comes from the host's list,
// whose mutex (PI::AllHostsAdaptersUniqueIDsMtx) is taken for a moment, an adapter at a time.
namespace NAMESPACE_piTorvex {

// Whether one of the devices that are served sits on the PCI bus. [any thread]
[[nodiscard]] bool IsHardwarePresent();

// Whether a drive sits behind a controller of volume management: another plug-in's. [any thread]
[[nodiscard]] bool IsBehindVolumeManagement(const std::string& devicePath);

// The numbers of adapters in use. An adapter keeps its number as long as it is published: the
// number keys its database row and must not move when another drive is pulled.
class CAdapterNumbers {
 public:
  void Use(unsigned int number) { m_Used.insert(number); }

  // The wanted number, or the lowest free one from 1 when it is taken or 0.
  [[nodiscard]] unsigned int Take(unsigned int wanted);

 private:
  std::unordered_set<unsigned int> m_Used;
  unsigned int m_LowestFree = 1;  // none below is free: numbers are only taken
};

// One scan: makes an adapter and a drive of each tool record. What it refers to must outlive it and
// not change meanwhile. One thread at a time.
class CScan {
 public:
  // What a scan starts from.
  struct CBasis {
    // Whose ids, numbers and read counters go on where a serial number is found again; empty at
    // start-up.
    const std::vector<CTorvexAdapter>& m_Adapters;
    const std::vector<CTorvexPhysicalDrive>& m_Drives;
    const std::vector<PI::CAdapterID>& m_HostIds;  // what the host has numbered
    std::function<unsigned long()> m_NewId;
    bool m_IsStartUp;
  };

  CScan(const CBasis& basis, const CTracer& trace);

  // Adapter and drive of a record. position: of the record, from 0. healthKnown: whether the
  // record's health values could be read; without them the objects keep their defaults, unknown.
  // Changes of the record its physical size, which becomes the capacity that the health query has
  // told. Both objects must be new.
  void Build(CCmdEmuAdapter& record, unsigned int position, bool healthKnown,
             CTorvexAdapter& adapter, CTorvexPhysicalDrive& drive);

 private:
  void BuildAdapter(const CCmdEmuAdapter& record, bool healthKnown, CTorvexAdapter& adapter,
                    CTorvexPhysicalDrive& drive);
  void BuildDrive(CCmdEmuAdapter& record, unsigned int position, bool healthKnown,
                  const CTorvexAdapter& adapter, CTorvexPhysicalDrive& drive);
  void Locate(CTorvexAdapter& adapter, CTorvexPhysicalDrive& drive) const;
  void SizeDrive(CCmdEmuAdapter& record, bool healthKnown, CTorvexPhysicalDrive& drive) const;

  const CBasis m_Basis;
  const CTracer m_Trace;
  CSerialIndex m_AdapterIndex;
  CSerialIndex m_DriveIndex;
  CAdapterNumbers m_Numbers;
};

// No two published objects share a serial number: the first one of each stays. Returns how many
// adapters were dropped.
std::size_t DropDuplicates(std::vector<CTorvexAdapter>& adapters,
                           std::vector<CTorvexPhysicalDrive>& drives);

}  // namespace NAMESPACE_piTorvex
