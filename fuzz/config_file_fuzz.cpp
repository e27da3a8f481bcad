// The reader and writer of options files. Input: the key up to the first line feed, the value up to
// the second, the content of the file behind that. Besides not crashing:
//   - a value that was written is read back, without the blanks around it;
//   - a refused write leaves every byte of the file as it was;
//   - a written file is the old one with one stretch replaced, or with something added at its end.

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <string_view>

#include <unistd.h>

#include <PI/ConfigFile.h>

namespace {

void Require(bool condition, const char* statement) {
  if (condition) return;
  std::fprintf(stderr, "does not hold: %s\n", statement);
  std::abort();
}

// One directory per process, in memory where the machine has such a place.
class Workplace {
 public:
  Workplace() {
    namespace fs = std::filesystem;
    const fs::path parent =
        ::access("/dev/shm", W_OK) == 0 ? fs::path("/dev/shm") : fs::temp_directory_path();
    std::string pattern = parent / "config-fuzz-XXXXXX";
    Require(::mkdtemp(pattern.data()) != nullptr, "a temporary directory can be made");
    directory_ = pattern;
  }
  ~Workplace() {
    std::error_code ignored;
    std::filesystem::remove_all(directory_, ignored);
  }
  Workplace(const Workplace&) = delete;
  Workplace& operator=(const Workplace&) = delete;

  std::string File() const { return directory_ + "/options.ini"; }

 private:
  std::string directory_;
};

std::string Load(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

void Store(const std::string& path, std::string_view content) {
  std::ofstream out(path, std::ios::binary | std::ios::trunc);
  out << content;
  Require(static_cast<bool>(out.flush()), "the file can be written");
}

std::string_view CutLine(std::string_view& text) {
  const std::size_t end = text.find('\n');
  const std::string_view line = text.substr(0, end);
  text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
  return line;
}

std::string Trimmed(const std::string& text) {
  constexpr std::string_view blanks = " \t\r\v\f";
  const std::size_t first = text.find_first_not_of(blanks);
  if (first == std::string::npos) return "";
  return text.substr(first, text.find_last_not_of(blanks) - first + 1);
}

// Whether after is before with the old value replaced by the new one somewhere.
bool IsReplacement(const std::string& before, const std::string& after, const std::string& oldValue,
                   const std::string& newValue) {
  if (after.size() + oldValue.size() != before.size() + newValue.size()) return false;
  std::size_t common = 0;
  while (common < before.size() && common < after.size() && before[common] == after[common]) {
    ++common;
  }
  for (std::size_t at = 0; at <= common && at + newValue.size() <= after.size(); ++at) {
    if (before.compare(at, oldValue.size(), oldValue) == 0 &&
        after.compare(at, newValue.size(), newValue) == 0 &&
        before.compare(at + oldValue.size(), std::string::npos, after, at + newValue.size()) == 0) {
      return true;
    }
  }
  return false;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const Workplace workplace;
  std::string_view rest(reinterpret_cast<const char*>(data), size);
  const std::string key(CutLine(rest));
  const std::string value(CutLine(rest));
  const std::string before(rest);

  PI::CConfigFile file;
  file.SetFileName(workplace.File());
  Store(workplace.File(), before);

  std::string found = "untouched";
  const bool wasThere = file.ReadKeyValue(key, found, -1, -1) == 0;
  Require(wasThere || found == "untouched", "a failed read leaves the output alone");

  const bool isWritten = file.WriteKeyValue(key, value, -1, -1) == 0;
  const std::string after = Load(workplace.File());
  if (!isWritten) {
    Require(after == before, "a refused write changes nothing");
    return 0;
  }
  std::string again;
  Require(file.ReadKeyValue(key, again, -1, -1) == 0, "what was written is found");
  Require(again == Trimmed(value), "what was written is read back");
  if (wasThere) {
    Require(IsReplacement(before, after, found, value), "only the value is replaced");
  } else {
    Require(after.starts_with(before), "a new key is added at the end");
  }
  return 0;
}
