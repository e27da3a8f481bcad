#include "Core/Merge.h"

#include "Core/Names.h"
#include "Core/SerialIndex.h"

#include <algorithm>
#include <optional>

#include <TLX/Misc/Clock.h>

namespace NAMESPACE_piTorvex {
namespace {

// What tells that an adapter has come or gone. Drivers of volume management name it by its key.
struct CAdapterChange {
  unsigned int m_EventId;
  unsigned int m_Severity;
};
constexpr CAdapterChange ADDED = {PI::EVENT_ADAPTER_ADDED, PI::SEVERITY_INFORMATION};
constexpr CAdapterChange REMOVED = {PI::EVENT_ADAPTER_REMOVED, PI::SEVERITY_WARNING};

bool IsVolumeManagementDriver(const std::string& driverName) {
  return driverName == "IaNVMe" || driverName == "iaVROC";
}

PI::CEvent MakeAdapterEvent(const CAdapterChange& change, const CTorvexAdapter& adapter) {
  const bool byKey = IsVolumeManagementDriver(adapter.DriverName);
  const std::string unknown = UNKNOWN_ADAPTER_NAME;
  const std::string name = byKey ? unknown + " (" + adapter.SerialNumber + ")" : adapter.Name;
  PI::CEvent event(change.m_EventId, change.m_Severity, PI::EVENT_OBJECT_ADAPTERS, TLX::Misc::now(),
                   name);
  event.SetPlaceHolder1(byKey ? unknown : adapter.Name);
  event.SetPlaceHolder2(byKey ? " " + adapter.SerialNumber : " ");
  return event;
}

// How a new object follows a published one.
template <class Object>
struct CSuccession {
  const Object* m_Published = nullptr;  // null: the object is new
  bool m_IsChanged = false;
  bool m_IsAdded = false;           // its adapter is new: its row is to be inserted
  unsigned long m_ReadCounter = 0;  // of the published object, once it has been looked at
};

// The new object in the published one's place: its id, links and marks go on.
template <class Object>
Object Successor(const Object& newer, const CSuccession<Object>& succession) {
  Object object = newer;
  object.RowIsStale = false;
  object.RowIsMissing = succession.m_IsAdded;
  if (succession.m_Published == nullptr) return object;
  const Object& published = *succession.m_Published;
  object.m_ID = published.m_ID;
  object.m_ParentIDs = published.m_ParentIDs;
  object.m_ChildIDs = published.m_ChildIDs;
  object.m_LockFlag = published.m_LockFlag;
  object.m_ReadCounter = std::max(newer.m_ReadCounter, succession.m_ReadCounter);
  object.RowIsStale = published.RowIsStale || succession.m_IsChanged;
  object.RowIsMissing = published.RowIsMissing || succession.m_IsAdded;
  return object;
}

class CMerger {
 public:
  CMerger(const std::vector<CTorvexAdapter>& publishedAdapters,
          const std::vector<CTorvexPhysicalDrive>& publishedDrives,
          const std::vector<CTorvexAdapter>& newAdapters,
          const std::vector<CTorvexPhysicalDrive>& newDrives, unsigned long pluginId)
      : m_PublishedAdapters(publishedAdapters),
        m_PublishedDrives(publishedDrives),
        m_NewAdapters(newAdapters),
        m_NewDrives(newDrives),
        m_PluginId(pluginId),
        m_PublishedAdapterLookup(publishedAdapters),
        m_PublishedDriveLookup(publishedDrives),
        m_NewAdapterLookup(newAdapters),
        m_NewDriveLookup(newDrives),
        m_AdapterSuccessions(newAdapters.size()),
        m_DriveSuccessions(newDrives.size()),
        m_Successors(publishedAdapters.size(), NOT_FOUND) {}

  CMergeResult Run() {
    for (std::size_t i = 0; i < m_NewAdapters.size(); ++i) CompareAdapter(i);
    FindRemovedAdapters();
    for (std::size_t i = 0; i < m_NewDrives.size(); ++i) CompareDrive(i);
    ListChildren();
    if (m_Result.m_IsChanged) {
      MakeLists();
    } else {
      TakeToolIndexes();
    }
    return std::move(m_Result);
  }

 private:
  void CompareAdapter(std::size_t i) {
    const CTorvexAdapter& newer = m_NewAdapters[i];
    const std::size_t position = m_PublishedAdapterLookup.Find(newer.SerialNumber, i);
    if (position == NOT_FOUND) {
      AddAdapter(i);
      return;
    }
    const CTorvexAdapter& published = m_PublishedAdapters[position];
    m_Successors[position] = i;
    CSuccession<CTorvexAdapter>& succession = m_AdapterSuccessions[i];
    succession.m_Published = &published;
    succession.m_ReadCounter = published.m_ReadCounter;
    if (published.SameAs(newer)) return;
    CTorvexAdapter looked = published;
    looked.Update(newer, m_Result.m_Events);
    succession.m_ReadCounter = looked.m_ReadCounter;
    succession.m_IsChanged = true;
    m_Result.m_IsChanged = true;
  }

  void AddAdapter(std::size_t i) {
    const CTorvexAdapter& newer = m_NewAdapters[i];
    ++m_Result.m_TopologyChanges;
    m_Result.m_Events.push_back(MakeAdapterEvent(ADDED, newer));
    m_Result.m_IsChanged = true;
    m_AdapterSuccessions[i].m_IsAdded = true;
    const std::size_t drive = m_NewDriveLookup.Find(newer.SerialNumber, i);
    if (drive != NOT_FOUND) m_DriveSuccessions[drive].m_IsAdded = true;
  }

  void FindRemovedAdapters() {
    for (std::size_t i = 0; i < m_PublishedAdapters.size(); ++i) {
      const CTorvexAdapter& published = m_PublishedAdapters[i];
      if (m_NewAdapterLookup.Find(published.SerialNumber, i) != NOT_FOUND) continue;
      ++m_Result.m_TopologyChanges;
      m_Result.m_Events.push_back(MakeAdapterEvent(REMOVED, published));
      m_Result.m_Removed.push_back(published);
      m_Result.m_IsChanged = true;
    }
  }

  // The drive of an added adapter takes over the adapter's number, whatever the scan gave it.
  CTorvexPhysicalDrive WithParent(std::size_t i) {
    CTorvexPhysicalDrive drive = m_NewDrives[i];
    const std::size_t owner = m_NewAdapterLookup.Find(drive.SerialNumber, i);
    if (m_DriveSuccessions[i].m_IsAdded && owner != NOT_FOUND) {
      drive.ParentAdapterNumber = m_NewAdapters[owner].GlobalAdapterNumber;
    }
    return drive;
  }

  [[nodiscard]] bool IsSame(const CTorvexPhysicalDrive& published, std::size_t i) {
    return m_DriveSuccessions[i].m_IsAdded ? published.SameAs(WithParent(i))
                                           : published.SameAs(m_NewDrives[i]);
  }

  void CompareDrive(std::size_t i) {
    const std::size_t position = m_PublishedDriveLookup.Find(m_NewDrives[i].SerialNumber, i);
    if (position == NOT_FOUND) return;
    const CTorvexPhysicalDrive& published = m_PublishedDrives[position];
    CSuccession<CTorvexPhysicalDrive>& succession = m_DriveSuccessions[i];
    succession.m_Published = &published;
    succession.m_ReadCounter = published.m_ReadCounter;
    if (IsSame(published, i)) return;
    const std::size_t owner = m_NewAdapterLookup.Find(published.SerialNumber, i);
    if (owner != NOT_FOUND) {
      CTorvexPhysicalDrive looked = published;
      looked.Update(m_NewDrives[i], m_NewAdapters[owner], m_Result.m_Events);
      succession.m_ReadCounter = looked.m_ReadCounter;
    }
    succession.m_IsChanged = true;
    m_Result.m_IsChanged = true;
  }

  void ListChildren() {
    m_Result.m_Children.reserve(m_NewAdapters.size());
    for (std::size_t i = 0; i < m_NewAdapters.size(); ++i) {
      const CTorvexAdapter* const published = m_AdapterSuccessions[i].m_Published;
      m_Result.m_Children.push_back((published != nullptr ? *published : m_NewAdapters[i]).m_ID);
    }
  }

  [[nodiscard]] CTorvexAdapter AdapterToPublish(std::size_t i) const {
    CTorvexAdapter adapter = Successor(m_NewAdapters[i], m_AdapterSuccessions[i]);
    adapter.m_ParentIDs.assign(1, m_PluginId);
    return adapter;
  }

  void MakeLists() {
    m_Result.m_Adapters.reserve(std::max(m_PublishedAdapters.size(), m_NewAdapters.size()));
    for (const std::size_t successor : m_Successors) {
      if (successor != NOT_FOUND) m_Result.m_Adapters.push_back(AdapterToPublish(successor));
    }
    for (std::size_t i = 0; i < m_NewAdapters.size(); ++i) {
      if (m_AdapterSuccessions[i].m_IsAdded) m_Result.m_Adapters.push_back(AdapterToPublish(i));
    }
    m_Result.m_Drives.reserve(m_NewDrives.size());
    for (std::size_t i = 0; i < m_NewDrives.size(); ++i) {
      m_Result.m_Drives.push_back(m_DriveSuccessions[i].m_IsAdded
                                      ? Successor(WithParent(i), m_DriveSuccessions[i])
                                      : Successor(m_NewDrives[i], m_DriveSuccessions[i]));
    }
  }

  // The new objects equal the published ones: only what is not compared is taken over.
  void TakeToolIndexes() {
    for (std::size_t i = 0; i < m_PublishedAdapters.size(); ++i) {
      const std::size_t successor = m_Successors[i];
      m_Result.m_ToolIndexes.push_back(successor == NOT_FOUND ? m_PublishedAdapters[i].ToolIndex
                                                              : m_NewAdapters[successor].ToolIndex);
    }
  }

  const std::vector<CTorvexAdapter>& m_PublishedAdapters;
  const std::vector<CTorvexPhysicalDrive>& m_PublishedDrives;
  const std::vector<CTorvexAdapter>& m_NewAdapters;
  const std::vector<CTorvexPhysicalDrive>& m_NewDrives;
  const unsigned long m_PluginId;
  CSerialLookup<CTorvexAdapter> m_PublishedAdapterLookup;
  CSerialLookup<CTorvexPhysicalDrive> m_PublishedDriveLookup;
  CSerialLookup<CTorvexAdapter> m_NewAdapterLookup;
  CSerialLookup<CTorvexPhysicalDrive> m_NewDriveLookup;
  std::vector<CSuccession<CTorvexAdapter>> m_AdapterSuccessions;      // by new adapter
  std::vector<CSuccession<CTorvexPhysicalDrive>> m_DriveSuccessions;  // by new drive
  std::vector<std::size_t> m_Successors;  // by published adapter: the new one
  CMergeResult m_Result;
};

}  // namespace

CMergeResult Merge(const std::vector<CTorvexAdapter>& publishedAdapters,
                   const std::vector<CTorvexPhysicalDrive>& publishedDrives,
                   const std::vector<CTorvexAdapter>& newAdapters,
                   const std::vector<CTorvexPhysicalDrive>& newDrives, unsigned long pluginId) {
  return CMerger(publishedAdapters, publishedDrives, newAdapters, newDrives, pluginId).Run();
}

}  // namespace NAMESPACE_piTorvex
