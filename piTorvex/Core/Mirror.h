#pragma once

#include "Core/Adapter.h"
#include "Core/PhysicalDrive.h"

#include <vector>

#include <PI/Object.h>

namespace NAMESPACE_piTorvex {

// What is done with a row of the host's database.
enum class ERowWork { Insert, Update, Delete };

// Does it. Each function returns whether it is done; otherwise the mirror asks again at the next
// scan. Never throws.
class IRowWriter {
 public:
  virtual ~IRowWriter() = default;
  [[nodiscard]] virtual bool WritePlugin(ERowWork work) = 0;
  [[nodiscard]] virtual bool Write(ERowWork work, CTorvexAdapter& adapter) = 0;
  [[nodiscard]] virtual bool Write(ERowWork work, CTorvexPhysicalDrive& drive) = 0;
};

// Which rows of the database have to be written, and what is still owed to it. The objects carry
// the marks of their own rows; what is owed beyond them, rows to delete and the plug-in's, stands
// here. Knows no database and no lock. One thread at a time.
class CMirror {
 public:
  // A start-up begins: numbers of adapters count from 1 again, so that deletes that are still owed
  // would hit the new rows.
  void Begin() { m_Undeleted.clear(); }

  // The rows of a start-up: the plug-in's row first, then each adapter's, and after each adapter
  // all drives, whose insert takes a drive that is stored already. One success is enough for a row
  // to be there. Hosts that watch the statements rely on the repetition.
  void InsertPlugin(IRowWriter& writer);
  void InsertAll(std::vector<CTorvexAdapter>& adapters, std::vector<CTorvexPhysicalDrive>& drives,
                 IRowWriter& writer);

  // Takes back what a start-up has written before it failed; drives stay.
  void Withdraw(std::vector<CTorvexAdapter>& adapters, IRowWriter& writer);

  // The rows of adapters that are gone are owed a delete. Throws std::bad_alloc, and owes nothing
  // more then.
  void OweDeletes(const std::vector<CTorvexAdapter>& removed);

  // Writes what is owed and what the marks say: deletes, updates, inserts, in this order, because
  // an adapter's number may be another's now, and the plug-in's row at the end. As long as a row
  // could not be deleted nothing is written under its number. changed: whether the plug-in's own
  // row has changed.
  void Write(std::vector<CTorvexAdapter>& adapters, std::vector<CTorvexPhysicalDrive>& drives,
             bool changed, IRowWriter& writer);

  // Writes the row of one adapter now, or marks it where its number is still another's.
  void Update(CTorvexAdapter& adapter, IRowWriter& writer) const;

  // Writes the plug-in's row now, whatever it holds.
  void UpdatePlugin(IRowWriter& writer);

 private:
  [[nodiscard]] bool IsDeleteOwed(unsigned int adapterNumber) const;
  void UpdateStale(std::vector<CTorvexAdapter>& adapters, std::vector<CTorvexPhysicalDrive>& drives,
                   IRowWriter& writer) const;
  void InsertMissing(std::vector<CTorvexAdapter>& adapters,
                     std::vector<CTorvexPhysicalDrive>& drives, IRowWriter& writer) const;

  std::vector<CTorvexAdapter> m_Undeleted;
  bool m_PluginRowIsMissing = false;  // its insert failed
  bool m_PluginRowIsStale = false;    // its update failed
};

}  // namespace NAMESPACE_piTorvex
