#include "ErrorLines.h"

#include <algorithm>
#include <utility>

namespace TLXX {

CErrorLines::CErrorLines(CSink sink) : m_Sink(std::move(sink)) {}

void CErrorLines::Take(std::string_view text) {
  const std::size_t room = std::min(text.size(), MAX_ERROR_TEXT - m_Taken);
  m_Taken += room;
  m_LeftOut += text.size() - room;
  text = text.substr(0, room);
  for (std::size_t end = text.find('\n'); end != std::string_view::npos; end = text.find('\n')) {
    m_Line += text.substr(0, end);
    HandOn();
    text.remove_prefix(end + 1);
  }
  m_Line += text;
}

void CErrorLines::End() {
  if (!m_Line.empty()) HandOn();
  if (m_LeftOut == 0) return;
  m_Line = "(" + std::to_string(std::exchange(m_LeftOut, 0)) + " more bytes are not shown)";
  HandOn();
}

void CErrorLines::HandOn() {
  if (IsWanted()) m_Sink(std::exchange(m_Line, {}));
}

}  // namespace TLXX
