#pragma once

#include <string>

#include <TLX/Export.h>
#include <TLX/Internals/TraceStreamBuffer.h>

namespace TLX::Output_Streams {

// Fills the places of a format text from left to right. "%d": signed decimal of the width of the
// argument (an unsigned int of all ones shows as -1); "%x": unsigned hexadecimal without padding;
// "%s": text. "%%" is a percent sign, and so is one before any other letter. A place takes what it
// is given: a number at "%s" shows as at "%d", a text at "%d" or "%x" as it is. A place without an
// argument shows nothing, an argument without a place is dropped. What follows the last filled
// place is written when the stream closes.
//
// So a wrong format shows a wrong line and does no other harm. Nothing depends on the locale.
// Throws nothing: what there is no memory for is lost with its line. [its own thread]
class VX_EXPORT CFormatStream {
 public:
  // The format text must stay valid until the stream closes; the buffer must outlive the stream.
  CFormatStream(Internals::CTraceStreamBuffer& buffer, const char* format);
  ~CFormatStream() noexcept;
  CFormatStream(const CFormatStream&) = delete;
  CFormatStream& operator=(const CFormatStream&) = delete;

  // Fills the next place. The width of the argument matters for negative numbers alone.
  CFormatStream& FormatInt(unsigned int value);
  CFormatStream& FormatInt(unsigned long value);
  // The same with a text, which need not stay valid; null counts as empty.
  CFormatStream& operator<<(const char* text);
  CFormatStream& operator<<(const std::string& text);

 private:
  // Writes the format text up to the next place and returns its conversion letter, 0 at the end.
  char NextPlace();
  Internals::CTraceStreamBuffer& m_Buffer;
  const char* m_Rest;
};

}  // namespace TLX::Output_Streams
