#include "ThreadState.h"

#include <charconv>
#include <cstring>
#include <exception>
#include <mutex>
#include <utility>

#include <TLX/Internals/TraceSink.h>
#include <TLX/Internals/TraceStreamBuffer.h>
#include <TLX/Misc/Clock.h>
#include <TLX/Output_Streams/FormatStream.h>

namespace TLX::Internals {
namespace {

struct CSinkHolder {
  std::mutex m_Lock;  // held while a line is written: the sink sees one at a time
  std::shared_ptr<ITraceSink> m_Sink;
};

// Never destroyed: static objects trace while they die.
CSinkHolder& Holder() {
  static CSinkHolder& holder = *new CSinkHolder;
  return holder;
}

// Set while the calling thread is in the sink: what the sink itself traces is dropped.
thread_local bool t_InSink = false;

void Write(ITraceSink& sink, const CTraceLine& line) {
  t_InSink = true;
  // Cancellation is held back here, so a handler for everything swallows none.
  try {
    sink.Write(line);
  } catch (...) {  // NOLINT(bugprone-empty-catch): the line is lost, as the sink's contract says
  }
  t_InSink = false;
}

}  // namespace

ITraceSink::~ITraceSink() = default;

void SetTraceSink(std::shared_ptr<ITraceSink> sink) {
  CSinkHolder& holder = Holder();
  // The old sink goes after the lock.
  const std::lock_guard lock(holder.m_Lock);
  holder.m_Sink.swap(sink);
}

CTraceStreamBuffer::CTraceStreamBuffer(unsigned int level, const Misc::CModuleInfo& module,
                                       const char* file, const char* function, unsigned int line)
    : m_Level(level), m_Module(module), m_File(file), m_Function(function), m_Line(line) {}

void CTraceStreamBuffer::Append(const char* text, std::size_t length) noexcept {
  try {
    m_Text.append(text, length);
  } catch (const std::exception&) {  // no memory, or more than a string holds
    m_IsLost = true;
  }
}

CTraceStreamBuffer::~CTraceStreamBuffer() noexcept {
  if (t_InSink || m_IsLost) return;
  const CNoCancellation undisturbed;
  CSinkHolder& holder = Holder();
  const std::lock_guard lock(holder.m_Lock);
  if (holder.m_Sink == nullptr) return;
  // The time is taken here, so that times rise from line to line.
  Write(*holder.m_Sink, {.m_Time = Misc::now(),
                         .m_Level = m_Level,
                         .m_Module = m_Module.Name().c_str(),
                         .m_File = m_File,
                         .m_Function = m_Function,
                         .m_Line = m_Line,
                         .m_Text = m_Text});
}

}  // namespace TLX::Internals

namespace TLX::Output_Streams {
namespace {

template <class Signed, class Unsigned>
void AppendNumber(Internals::CTraceStreamBuffer& buffer, char place, Unsigned value) {
  char digits[32];
  const std::to_chars_result result =
      place == 'x'
          ? std::to_chars(std::begin(digits), std::end(digits), value, 16)
          : std::to_chars(std::begin(digits), std::end(digits), static_cast<Signed>(value));
  buffer.Append(digits, static_cast<std::size_t>(result.ptr - digits));
}

bool IsPlace(char letter) {
  return letter == 'd' || letter == 'x' || letter == 's';
}

}  // namespace

CFormatStream::CFormatStream(Internals::CTraceStreamBuffer& buffer, const char* format)
    : m_Buffer(buffer), m_Rest(format) {}

CFormatStream::~CFormatStream() noexcept {
  while (NextPlace() != 0) continue;
}

char CFormatStream::NextPlace() {
  for (;;) {
    const std::size_t plain = std::strcspn(m_Rest, "%");
    m_Buffer.Append(m_Rest, plain);
    m_Rest += plain;
    if (*m_Rest == 0) return 0;
    const char letter = m_Rest[1];
    if (IsPlace(letter)) {
      m_Rest += 2;
      return letter;
    }
    // A percent sign, doubled or in front of anything else, stands for itself.
    m_Buffer.Append("%", 1);
    m_Rest += letter == '%' ? 2 : 1;
  }
}

CFormatStream& CFormatStream::FormatInt(unsigned int value) {
  if (const char place = NextPlace()) AppendNumber<int>(m_Buffer, place, value);
  return *this;
}

CFormatStream& CFormatStream::FormatInt(unsigned long value) {
  if (const char place = NextPlace()) AppendNumber<long>(m_Buffer, place, value);
  return *this;
}

CFormatStream& CFormatStream::operator<<(const char* text) {
  if (NextPlace() != 0 && text != nullptr) m_Buffer.Append(text, std::strlen(text));
  return *this;
}

CFormatStream& CFormatStream::operator<<(const std::string& text) {
  if (NextPlace() != 0) m_Buffer.Append(text.data(), text.size());
  return *this;
}

}  // namespace TLX::Output_Streams
