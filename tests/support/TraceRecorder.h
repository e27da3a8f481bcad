#pragma once

#include <algorithm>
#include <cstddef>
#include <memory>
#include <mutex>
#include <string>
#include <tuple>
#include <vector>

#include <TLX/Internals/TraceSink.h>
#include <TLX/Misc/ModuleInfo.h>

namespace vxtest {

struct TraceLine {
  unsigned int level;
  std::string file;
  std::string function;
  std::string text;
  unsigned long time = 0;

  // Lines that say the same are equal, whenever they were written.
  bool operator==(const TraceLine& other) const {
    return std::tie(level, file, function, text) ==
           std::tie(other.level, other.file, other.function, other.text);
  }
};

// Keeps the trace lines of the process while it lives, with the mask of one module; that is 0
// again at the end. [any thread]
class TraceRecorder {
 public:
  explicit TraceRecorder(TLX::Misc::CModuleInfo& module, unsigned int mask)
      : module_(module), sink_(std::make_shared<Sink>()) {
    TLX::Internals::SetTraceSink(sink_);
    SetMask(mask);
  }
  ~TraceRecorder() {
    SetMask(0);
    TLX::Internals::SetTraceSink(nullptr);
  }
  TraceRecorder(const TraceRecorder&) = delete;
  TraceRecorder& operator=(const TraceRecorder&) = delete;

  void SetMask(unsigned int mask) { module_.SetTraceMask(mask); }
  void Clear() {
    const std::lock_guard<std::mutex> guard(sink_->mutex);
    sink_->lines.clear();
  }
  std::vector<TraceLine> Lines() const {
    const std::lock_guard<std::mutex> guard(sink_->mutex);
    return sink_->lines;
  }
  std::vector<std::string> Texts() const {
    std::vector<std::string> texts;
    for (const TraceLine& line : Lines()) texts.push_back(line.text);
    return texts;
  }
  std::size_t Count(const std::string& text) const {
    const std::vector<std::string> texts = Texts();
    return static_cast<std::size_t>(std::count(texts.begin(), texts.end(), text));
  }
  bool Has(const std::string& text) const { return Count(text) != 0; }

 private:
  struct Sink : TLX::Internals::ITraceSink {
    void Write(const TLX::Internals::CTraceLine& line) override {
      const std::lock_guard<std::mutex> guard(mutex);
      lines.push_back({line.m_Level, line.m_File, line.m_Function, line.m_Text, line.m_Time});
    }
    std::mutex mutex;
    std::vector<TraceLine> lines;
  };

  TLX::Misc::CModuleInfo& module_;
  std::shared_ptr<Sink> sink_;
};

}  // namespace vxtest
