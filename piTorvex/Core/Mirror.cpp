#include "Core/Mirror.h"

#include "Core/SerialIndex.h"

#include <algorithm>

#include <DB/Database.h>

namespace NAMESPACE_piTorvex {
namespace {

template <class Object>
void InsertRow(Object& object, IRowWriter& writer) {
  object.RowIsMissing = !writer.Write(ERowWork::Insert, object);
  if (!object.RowIsMissing) object.RowIsStale = false;
}

template <class Object>
void UpdateRow(Object& object, IRowWriter& writer) {
  object.RowIsStale = !writer.Write(ERowWork::Update, object);
}

// A serial number that reads like the database's null is stored as null, and no key finds the row
// again: each time the drive is plugged in one more would stay. Only start-up inserts such drives.
void InsertDriveRow(CTorvexPhysicalDrive& drive, IRowWriter& writer) {
  if (drive.SerialNumber == DatabaseWrapper::NULL_DB_STRING) {
    drive.RowIsMissing = false;
  } else {
    InsertRow(drive, writer);
  }
}

}  // namespace

void CMirror::InsertPlugin(IRowWriter& writer) {
  m_PluginRowIsMissing = !writer.WritePlugin(ERowWork::Insert);
}

void CMirror::InsertAll(std::vector<CTorvexAdapter>& adapters,
                        std::vector<CTorvexPhysicalDrive>& drives, IRowWriter& writer) {
  for (CTorvexPhysicalDrive& drive : drives) drive.RowIsMissing = true;
  for (CTorvexAdapter& adapter : adapters) {
    adapter.RowIsMissing = !writer.Write(ERowWork::Insert, adapter);
    for (CTorvexPhysicalDrive& drive : drives) {
      if (writer.Write(ERowWork::Insert, drive)) drive.RowIsMissing = false;
    }
  }
}

void CMirror::Withdraw(std::vector<CTorvexAdapter>& adapters, IRowWriter& writer) {
  (void)writer.WritePlugin(ERowWork::Delete);
  m_PluginRowIsMissing = false;
  for (CTorvexAdapter& adapter : adapters) (void)writer.Write(ERowWork::Delete, adapter);
}

void CMirror::OweDeletes(const std::vector<CTorvexAdapter>& removed) {
  std::vector<CTorvexAdapter> undeleted(m_Undeleted);
  undeleted.insert(undeleted.end(), removed.begin(), removed.end());
  m_Undeleted.swap(undeleted);
}

void CMirror::Write(std::vector<CTorvexAdapter>& adapters,
                    std::vector<CTorvexPhysicalDrive>& drives, bool changed, IRowWriter& writer) {
  // What cannot be deleted stays in the list. Nothing here takes memory, so that a shortage loses
  // no delete.
  std::erase_if(m_Undeleted, [&writer](CTorvexAdapter& adapter) {
    return writer.Write(ERowWork::Delete, adapter);
  });
  UpdateStale(adapters, drives, writer);
  InsertMissing(adapters, drives, writer);
  if (m_PluginRowIsMissing) {
    InsertPlugin(writer);
  } else if (changed || m_PluginRowIsStale) {
    UpdatePlugin(writer);
  }
}

void CMirror::UpdateStale(std::vector<CTorvexAdapter>& adapters,
                          std::vector<CTorvexPhysicalDrive>& drives, IRowWriter& writer) const {
  for (CTorvexAdapter& adapter : adapters) {
    if (adapter.RowIsStale && !adapter.RowIsMissing && !IsDeleteOwed(adapter.AdapterNumber)) {
      UpdateRow(adapter, writer);
    }
  }
  for (CTorvexPhysicalDrive& drive : drives) {
    if (drive.RowIsStale && !drive.RowIsMissing) UpdateRow(drive, writer);
  }
}

// Each adapter and then its drive.
void CMirror::InsertMissing(std::vector<CTorvexAdapter>& adapters,
                            std::vector<CTorvexPhysicalDrive>& drives, IRowWriter& writer) const {
  CSerialLookup lookup(drives);
  for (std::size_t i = 0; i < adapters.size(); ++i) {
    CTorvexAdapter& adapter = adapters[i];
    if (adapter.RowIsMissing && !IsDeleteOwed(adapter.AdapterNumber)) InsertRow(adapter, writer);
    const std::size_t drive = lookup.Find(adapter.SerialNumber, i);
    if (drive != NOT_FOUND && drives[drive].RowIsMissing) InsertDriveRow(drives[drive], writer);
  }
}

void CMirror::Update(CTorvexAdapter& adapter, IRowWriter& writer) const {
  if (IsDeleteOwed(adapter.AdapterNumber)) {
    adapter.RowIsStale = true;  // the row under its number is still another's
  } else {
    UpdateRow(adapter, writer);
  }
}

void CMirror::UpdatePlugin(IRowWriter& writer) {
  m_PluginRowIsStale = !writer.WritePlugin(ERowWork::Update);
}

bool CMirror::IsDeleteOwed(unsigned int adapterNumber) const {
  return std::ranges::any_of(m_Undeleted, [adapterNumber](const CTorvexAdapter& adapter) {
    return adapter.AdapterNumber == adapterNumber;
  });
}

}  // namespace NAMESPACE_piTorvex
