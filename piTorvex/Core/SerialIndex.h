#pragma once

#include <cstddef>
#include <limits>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

// Finding objects by their serial number, compared byte for byte. An index lives no longer than the
// objects, which must not change meanwhile. [any thread]
namespace NAMESPACE_piTorvex {

inline constexpr std::size_t NOT_FOUND = std::numeric_limits<std::size_t>::max();

// Position of the first object with a serial number.
class CSerialIndex {
 public:
  template <class Object>
  explicit CSerialIndex(const std::vector<Object>& objects) {
    m_Positions.reserve(objects.size());
    for (std::size_t i = 0; i < objects.size(); ++i) {
      m_Positions.emplace(objects[i].SerialNumber, i);
    }
  }

  // The position, or NOT_FOUND.
  [[nodiscard]] std::size_t Find(const std::string& serialNumber) const {
    const auto found = m_Positions.find(serialNumber);
    return found == m_Positions.end() ? NOT_FOUND : found->second;
  }

  // How many different serial numbers there are.
  [[nodiscard]] std::size_t Size() const { return m_Positions.size(); }

 private:
  std::unordered_map<std::string_view, std::size_t> m_Positions;
};

// The same for a list without duplicates. As a rule two scans report the same drives in the same
// order: where an object is expected is looked at first, and the index is made when that fails. One
// thread at a time.
template <class Object>
class CSerialLookup {
 public:
  explicit CSerialLookup(const std::vector<Object>& objects) : m_Objects(objects) {}

  // expected: the position where the object should be; any number.
  [[nodiscard]] std::size_t Find(const std::string& serialNumber, std::size_t expected) {
    if (expected < m_Objects.size() && m_Objects[expected].SerialNumber == serialNumber) {
      return expected;
    }
    if (!m_Index.has_value()) m_Index.emplace(m_Objects);
    return m_Index->Find(serialNumber);
  }

 private:
  const std::vector<Object>& m_Objects;
  std::optional<CSerialIndex> m_Index;
};

}  // namespace NAMESPACE_piTorvex
