#include <tuple>
#include <utility>

#include <PI/GlobalAdapterID.h>

namespace PI {

std::mutex AllHostsAdaptersUniqueIDsMtx;
std::set<CGlobalAdapterID> AllHostsAdaptersUniqueIDs;

namespace {

// Guarded by AllHostsAdaptersUniqueIDsMtx. Only grows, so that no number is ever given twice.
unsigned int g_LastNumber = 0;

}  // namespace

CGlobalAdapterID::CGlobalAdapterID(const std::string& host, const std::string& serialNumber)
    : m_Host(host), m_SerialNumber(serialNumber) {}

void CGlobalAdapterID::GenerateUniqueAdapterNumber() {
  const std::lock_guard<std::mutex> guard(AllHostsAdaptersUniqueIDsMtx);
  auto known = AllHostsAdaptersUniqueIDs.insert(*this).first;
  if (known->m_Number == 0) {
    // A caller may have inserted the id without a number. The number is no part of the order, but
    // elements of a set are constant, so the element is taken out for the change.
    auto node = AllHostsAdaptersUniqueIDs.extract(known);
    node.value().m_Number = ++g_LastNumber;
    known = AllHostsAdaptersUniqueIDs.insert(std::move(node)).position;
  }
  m_Number = known->m_Number;
}

unsigned int CGlobalAdapterID::GetGlobalAdapterNumber() const {
  return m_Number;
}

bool CGlobalAdapterID::operator<(const CGlobalAdapterID& other) const {
  return std::tie(m_Host, m_SerialNumber) < std::tie(other.m_Host, other.m_SerialNumber);
}

}  // namespace PI
