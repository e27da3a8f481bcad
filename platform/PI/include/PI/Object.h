#pragma once

#include <atomic>
#include <vector>

#include <PI/Operation.h>
#include <PI/Property.h>
#include <TLX/Export.h>

namespace PI {

// The lock flag of an object: a byte that one thread may write while another copies the object,
// because the worker clears the flags of all objects without a lock. A mark for hosts to show; it
// locks nothing. Reads and writes are whole and in no order with other memory, so nothing else may
// be concluded from its value. Never throws. [any thread]
class CLockFlag {
 public:
  // Copies take the value of the moment; they are no longer tied to the original. Conversions in
  // both directions are wanted: the flag is used as the bool it stands for.
  CLockFlag(bool value = false) : m_Value(value) {}
  CLockFlag(const CLockFlag& other) : m_Value(static_cast<bool>(other)) {}
  CLockFlag& operator=(const CLockFlag& other) { return *this = static_cast<bool>(other); }
  CLockFlag& operator=(bool value) {
    m_Value.store(value, std::memory_order_relaxed);
    return *this;
  }
  operator bool() const { return m_Value.load(std::memory_order_relaxed); }

 private:
  std::atomic<bool> m_Value;
};

// What every published object is: the plug-in itself, an adapter, a physical drive. Plug-ins derive
// from it and keep their objects to themselves; a host gets copies of this part (command 4) and
// names an object by its id. Hosts show objects of any type; adapters and drives they also show as
// such.
//
// A value type: a copy shares nothing with the original, does not follow it and belongs to whoever
// holds it. The special members are compiled in the library, so that host and plug-ins share one
// virtual table. Copying throws for lack of memory only; moving never throws and leaves an object
// that may only be assigned to or destroyed. [one thread at a time; m_LockFlag: any thread]
class VX_EXPORT CObject {
 public:
  // Id 0 and type 0: an object that is not published yet.
  CObject();
  CObject(const CObject&);
  CObject& operator=(const CObject&);
  CObject(CObject&&) noexcept;
  CObject& operator=(CObject&&) noexcept;
  virtual ~CObject();

  // Equal id, type and last field. Links, read counter, lock flag and lists change without the
  // object changing.
  bool operator==(const CObject& other) const;

  // Unique in the process and never given twice: the module id in the top 16 bits, below it a count
  // of the plug-in's own.
  unsigned long m_ID = 0;

  // One of the OBJECT_TYPE_ values, or one of the plug-in's own, which hosts show as it stands.
  unsigned int m_Type = 0;

  // Ids of the objects above and below, in the order in which hosts list them. The plug-in object
  // names its adapters and they name it; a drive without a parent id belongs to the adapter with
  // its serial number.
  std::vector<unsigned long> m_ParentIDs;
  std::vector<unsigned long> m_ChildIDs;

  // How often the object was read, by the host (command 6) and by the plug-in's own scans. Never
  // goes back while the object lives.
  unsigned long m_ReadCounter = 0;

  // Marks an object that an operation keeps busy. The worker clears the marks of all objects when
  // it calls the host.
  CLockFlag m_LockFlag;

  // Filled in the copies that command 4 hands out, in the order of the plug-in's tables. Empty in
  // the objects that a plug-in keeps: their values are read anew for every request.
  std::vector<CProperty> m_Properties;
  std::vector<COperation> m_Operations;

  // A number of the host's, 0 in a fresh object. Part of the equality, so it is copied with the
  // rest.
  unsigned long m_Unused = 0;
};

}  // namespace PI
