#pragma once

#include <string>
#include <vector>

#include <PI/Catalogue.h>
#include <PI/Event.h>
#include <PI/Object.h>
#include <PI/PropertyTable.h>

namespace NAMESPACE_piTorvex {

using PI::NOT_REPORTED;
using PI::TEMPERATURE_UNKNOWN;

inline constexpr unsigned int HEALTH_GOOD = PI::CHOICE_HEALTH_GOOD;
inline constexpr unsigned int HEALTH_DEGRADED = PI::CHOICE_HEALTH_DEGRADED;
inline constexpr unsigned int HEALTH_CRITICAL = PI::CHOICE_HEALTH_CRITICAL;
inline constexpr unsigned int LIFE_AS_NEW = PI::CHOICE_LIFE_AS_NEW;

// All that makes two adapters different. Members, units and meanings are rows of Facts/Fields.def.
struct CAdapterValues {
#define ADAPTER_MEMBER(type, member, initial, meaning) type member initial;
#define ADAPTER_COPY(type, member, initial, key, meaning) type member initial;
#define ADAPTER_WEAR(type, member, initial, key, conversion, meaning) type member initial;
#include <Facts/Fields.def>
  bool operator==(const CAdapterValues&) const = default;
};

// One adapter: the PCIe controller of one served drive. A value type; the published ones belong to
// IPLUGINAPI_IMPL. [holds m_DataLock]
class CTorvexAdapter : public PI::CObject, public CAdapterValues {
 public:
  CTorvexAdapter() = default;
  CTorvexAdapter(const CTorvexAdapter&) = default;
  CTorvexAdapter& operator=(const CTorvexAdapter&) = default;
  CTorvexAdapter(CTorvexAdapter&&) noexcept = default;
  CTorvexAdapter& operator=(CTorvexAdapter&&) noexcept = default;
  ~CTorvexAdapter() override = default;

  // Compares the status word with the newer object's and queues an event for each bit that has
  // become set, or one when all is clear again. Changes nothing of this object but its read
  // counter, which grows by one: it has been looked at. Called on the published object or a copy of
  // it.
  void Update(const CTorvexAdapter& newer, std::vector<PI::CEvent>& events);

  // Whether the object part and all values are equal.
  [[nodiscard]] bool SameAs(const CTorvexAdapter& other) const;

  // No values of the adapter, and not compared:
  int ToolIndex = -1;         // the tool's index at the last scan; -1: none yet
  bool RowIsStale = false;    // the database row shows older values: write it at the next scan
  bool RowIsMissing = false;  // the row could not be inserted: insert it at the next scan
};

}  // namespace NAMESPACE_piTorvex
