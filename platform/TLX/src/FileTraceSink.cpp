#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <exception>
#include <filesystem>
#include <fstream>
#include <limits>
#include <system_error>
#include <utility>

#include <fcntl.h>
#include <unistd.h>
// Its files are not for the programs that a process starts.
#define SPDLOG_PREVENT_CHILD_FD
#include <spdlog/sinks/rotating_file_sink.h>

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

using spdlog::sinks::rotating_file_sink_st;

// How long lines are lost without another try when the file cannot even be opened.
constexpr std::chrono::seconds OPEN_PAUSE(1);

// Whether the file at the path may be moved away under that name: a file of its own, and no name
// for something that others hold, such as /dev/stderr.
bool CanRotate(const std::string& path) {
  std::error_code error;
  return std::filesystem::is_regular_file(path, error) && !path.starts_with("/dev/") &&
         !path.starts_with("/proc/");
}

// Whether the last line of the file has no end.
bool EndsInMidLine(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  char last = '\n';
  return file.seekg(-1, std::ios::end) && file.get(last) && last != '\n';
}

// One line after the other through spdlog, which turns the file over when it is full.
class CFileTraceSink final : public ITraceSink {
 public:
  // Throws spdlog::spdlog_ex when the file cannot be opened.
  CFileTraceSink(std::string path, const CTraceFileLimits& limits, CTraceFileSay say)
      : m_Path(std::move(path)),
        m_CanRotate(CanRotate(m_Path)),
        m_Limits(limits),
        m_Say(std::move(say)) {
    Open();
  }

  void Write(const CTraceLine& line) override {
    try {
      if (!IsOpen()) return;
      WriteText((m_CutShort ? "\n" : "") + Text(line));
      NoteSuccess();
    } catch (const spdlog::spdlog_ex& failure) {
      NoteFailure(failure.what());
    }
  }

 private:
  static std::string Text(const CTraceLine& line) {
    std::string text = TimeText(line.m_Time);
    text += '\t' + std::to_string(line.m_Level);
    text += '\t';
    text += line.m_File;
    text += '\t';
    text += line.m_Function;
    text += '\t' + std::to_string(line.m_Line) + '\t';
    return text + Misc::Printable(line.m_Text);
  }

  void Open() {
    spdlog::file_event_handlers handlers;
    // Each line is written at once, and its failure is seen at once.
    handlers.after_open = [](const spdlog::filename_t&, std::FILE* file) {
      std::setvbuf(file, nullptr, _IONBF, 0);
    };
    const std::size_t bytes =
        m_CanRotate ? m_Limits.m_Bytes : std::numeric_limits<std::size_t>::max();
    m_Sink = std::make_unique<rotating_file_sink_st>(m_Path, bytes, m_Limits.m_OlderFiles, false,
                                                     handlers);
    m_Sink->set_pattern("%v");
    // What was cut short, by a full disk or an earlier end, is not mixed with the next line.
    m_CutShort = m_CanRotate && EndsInMidLine(m_Path);
  }

  // Opens the file again after a failure; throws when that fails.
  bool IsOpen() {
    if (m_Sink != nullptr) return true;
    const auto now = std::chrono::steady_clock::now();
    if (now < m_NextOpen) {
      ++m_Lost;
      return false;
    }
    m_NextOpen = now + OPEN_PAUSE;
    Open();
    m_NextOpen = {};
    return true;
  }

  void WriteText(const std::string& text) {
    m_Sink->log(spdlog::details::log_msg("", spdlog::level::info, text));
    m_CutShort = false;
  }

  void NoteFailure(const char* reason) {
    // After a failure spdlog may be left without its file.
    m_Sink.reset();
    if (m_Lost++ == 0 && m_Say) m_Say("trace lines are lost: " + std::string(reason));
  }

  void NoteSuccess() {
    const std::size_t lost = std::exchange(m_Lost, 0);
    if (lost == 0 || !m_Say) return;
    m_Say("the trace file \"" + m_Path + "\" is written again; " + std::to_string(lost) +
          " lines were lost");
  }

  const std::string m_Path;
  const bool m_CanRotate;
  const CTraceFileLimits m_Limits;
  const CTraceFileSay m_Say;
  std::unique_ptr<rotating_file_sink_st> m_Sink;  // null: to be opened again
  std::chrono::steady_clock::time_point m_NextOpen{};
  bool m_CutShort = false;
  std::size_t m_Lost = 0;  // since the last line that was written
};

}  // namespace

std::shared_ptr<ITraceSink> MakeFileTraceSink(const std::string& path, std::string& error,
                                              const CTraceFileLimits& limits, CTraceFileSay say) {
  // Opened here first: spdlog would try several times, and make directories that are missing. Kept
  // open for as long, so that the reader of a pipe does not see its end in between.
  const int descriptor = open(path.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0644);
  if (descriptor < 0) {
    error = "cannot open trace file \"" + path + "\": " + std::strerror(errno);
    return nullptr;
  }
  std::shared_ptr<ITraceSink> sink;
  try {
    sink = std::make_shared<CFileTraceSink>(path, limits, std::move(say));
  } catch (const std::exception& failure) {
    error = "cannot open trace file \"" + path + "\": " + failure.what();
  }
  close(descriptor);
  return sink;
}

}  // namespace TLX::Internals
