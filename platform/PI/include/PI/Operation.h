#pragma once

#include <array>
#include <vector>

#include <PI/Event.h>
#include <TLX/Export.h>

namespace PI {

// One operation that an object offers (command 8), or that the host asks about (9) or runs (10).
// The host owns the record throughout; a plug-in writes to it only during the call.
//
// A value type: copies share nothing. The special members are compiled in the library, so that
// host and plug-ins share one virtual table. Nothing throws but for lack of memory.
// [one thread at a time]
class VX_EXPORT COperation {
 public:
  // No operation: id 0 and no event.
  COperation();
  COperation(const COperation&);
  COperation& operator=(const COperation&);
  virtual ~COperation();

  // The first of the nine numbers: what CheckOperation and ExecuteOperation test. Setting it leaves
  // the other eight, the second copy of the id included, as they are.
  unsigned int OperationID() const { return static_cast<unsigned int>(m_Numbers[0]); }
  void SetOperationID(unsigned int id) { m_Numbers[0] = static_cast<int>(id); }

  // The operation's description: its id twice, then seven numbers of the plug-in. The library and
  // vxhost carry those seven and print them; they read no meaning into them. A request needs the
  // first alone.
  std::array<int, 9> m_Numbers{};
  // Part of the description like the seven numbers; false in every operation that piTorvex
  // describes.
  bool m_Flag = false;

  // Output of the event operation: every queued event, oldest first, and the queue is empty after
  // it. What the list held before is dropped. Other operations leave it alone.
  std::vector<CEvent> m_Events;
};

}  // namespace PI
