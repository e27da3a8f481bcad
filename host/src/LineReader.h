#pragma once

#include <cstddef>
#include <optional>
#include <string>

namespace vxhost {

// Lines of a descriptor, however long up to a limit. [one thread at a time]
class LineReader {
 public:
  // stop: a descriptor that ends the input for good when it becomes readable; -1 for none.
  LineReader(int descriptor, std::size_t longest, int stop = -1)
      : descriptor_(descriptor), longest_(longest), stop_(stop) {}

  struct Line {
    std::string text;      // without its line feed; empty when too long
    bool tooLong = false;  // longer than the limit: read to its end and dropped
  };

  // The next line, the unfinished last one included; nothing at the end of input, when reading
  // fails, or once stopped.
  std::optional<Line> Next();

 private:
  bool IsStopped() const;
  bool MayRead() const;
  bool Fill();
  void Keep(Line& line, std::size_t length);

  const int descriptor_;
  const std::size_t longest_;
  const int stop_;
  std::string buffer_;
  std::size_t begin_ = 0;
};

}  // namespace vxhost
