#include <cerrno>
#include <cstdio>
#include <cstring>
#include <ctime>

#include <fcntl.h>
#include <unistd.h>

#include <TLX/Internals/TraceSink.h>
#include <TLX/Misc/Text.h>

namespace TLX::Internals {
namespace {

// 2026-03-01T12:34:56.789Z
std::string TimeText(unsigned long milliseconds) {
  const auto seconds = static_cast<std::time_t>(milliseconds / 1000);
  std::tm date{};
  gmtime_r(&seconds, &date);
  char text[48];
  const std::size_t length = std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%S", &date);
  std::snprintf(text + length, sizeof text - length, ".%03luZ", milliseconds % 1000);
  return text;
}

class CFileTraceSink final : public ITraceSink {
 public:
  explicit CFileTraceSink(int descriptor) : m_Descriptor(descriptor) {}
  ~CFileTraceSink() override { close(m_Descriptor); }
  CFileTraceSink(const CFileTraceSink&) = delete;
  CFileTraceSink& operator=(const CFileTraceSink&) = delete;

  void Write(const CTraceLine& line) override {
    std::string text;
    // The rest of a line that a full disk cut short is not mixed with this one.
    if (m_CutShort) text += '\n';
    text += TimeText(line.m_Time);
    text += '\t' + std::to_string(line.m_Level);
    text += '\t';
    text += line.m_File;
    text += '\t';
    text += line.m_Function;
    text += '\t' + std::to_string(line.m_Line) + '\t';
    text += Misc::Printable(line.m_Text);
    text += '\n';
    WriteAll(text);
  }

 private:
  // Gives up at the first error: the line is lost, wholly or from where it was cut.
  void WriteAll(const std::string& text) {
    std::size_t done = 0;
    while (done < text.size()) {
      const ssize_t written = write(m_Descriptor, text.data() + done, text.size() - done);
      if (written < 0 && errno == EINTR) continue;
      if (written <= 0) break;
      done += static_cast<std::size_t>(written);
    }
    if (done > 0) m_CutShort = done < text.size();
  }

  const int m_Descriptor;
  bool m_CutShort = false;
};

}  // namespace

std::shared_ptr<ITraceSink> MakeFileTraceSink(const std::string& path, std::string& error) {
  const int descriptor = open(path.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0644);
  if (descriptor < 0) {
    error = "cannot open trace file \"" + path + "\": " + std::strerror(errno);
    return nullptr;
  }
  return std::make_shared<CFileTraceSink>(descriptor);
}

}  // namespace TLX::Internals
