#pragma once

#include <array>
#include <vector>

#include <PI/Event.h>
#include <TLX/Export.h>

namespace PI {

// One operation that an object offers or that the host runs. A value type.
class VX_EXPORT COperation {
 public:
  COperation();
  COperation(const COperation&);
  COperation& operator=(const COperation&);
  virtual ~COperation();

  // The first of the nine numbers: what CheckOperation and ExecuteOperation test.
  unsigned int OperationID() const { return static_cast<unsigned int>(m_Numbers[0]); }
  void SetOperationID(unsigned int id) { m_Numbers[0] = static_cast<int>(id); }

  std::array<int, 9> m_Numbers{};
  bool m_Flag = false;
  std::vector<CEvent> m_Events;  // filled by the event operation
};

}  // namespace PI
