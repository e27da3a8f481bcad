#pragma once

#include "Core/Adapter.h"
#include "Core/PhysicalDrive.h"

#include <vector>

#include <PI/Event.h>

namespace NAMESPACE_piTorvex {

// What one scan changes in what is published. A value.
struct CMergeResult {
  bool m_IsChanged = false;  // whether anything was added, removed or changed
  // The lists to publish, with the marks of the rows that have to be written: adapters in the
  // published order, those that are new behind them; drives in the scan's. Empty unless something
  // changed.
  std::vector<CTorvexAdapter> m_Adapters;
  std::vector<CTorvexPhysicalDrive> m_Drives;
  std::vector<unsigned long> m_Children;  // ids of the adapters as the scan found them
  // By published adapter: the tool's index at this scan. Empty when something changed.
  std::vector<int> m_ToolIndexes;
  std::vector<CTorvexAdapter> m_Removed;  // as they were published
  std::vector<PI::CEvent> m_Events;       // in the order in which hosts get them
  unsigned long m_TopologyChanges = 0;    // adapters that came or went
};

// Compares the objects of a scan with the published ones, by serial number. No list may hold a
// serial number twice. Changes nothing; the time of the events is the clock's. pluginId: the parent
// of every adapter. Throws std::bad_alloc alone. [any thread]
[[nodiscard]] CMergeResult Merge(const std::vector<CTorvexAdapter>& publishedAdapters,
                                 const std::vector<CTorvexPhysicalDrive>& publishedDrives,
                                 const std::vector<CTorvexAdapter>& newAdapters,
                                 const std::vector<CTorvexPhysicalDrive>& newDrives,
                                 unsigned long pluginId);

}  // namespace NAMESPACE_piTorvex
