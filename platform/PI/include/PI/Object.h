#pragma once

#include <atomic>
#include <vector>

#include <PI/Operation.h>
#include <PI/Property.h>
#include <TLX/Export.h>

namespace PI {

// The lock flag of an object: a byte that one thread may write while another copies the object.
class CLockFlag {
 public:
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

// What every published object is. A value type.
class VX_EXPORT CObject {
 public:
  CObject();
  CObject(const CObject&);
  CObject& operator=(const CObject&);
  CObject(CObject&&) noexcept;
  CObject& operator=(CObject&&) noexcept;
  virtual ~CObject();

  // Equal id, type and last field. Links, read counter, lock flag and lists change without the
  // object changing.
  bool operator==(const CObject& other) const;

  unsigned long m_ID = 0;
  unsigned int m_Type = 0;
  std::vector<unsigned long> m_ParentIDs;
  std::vector<unsigned long> m_ChildIDs;
  unsigned long m_ReadCounter = 0;
  CLockFlag m_LockFlag;
  std::vector<CProperty> m_Properties;   // filled only in copies handed out by the topology
  std::vector<COperation> m_Operations;  // the same
  unsigned long m_Unused = 0;            // copied and compared, not used
};

}  // namespace PI
