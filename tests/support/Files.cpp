#include "support/Files.h"

#include <cstdlib>
#include <fstream>
#include <sstream>
#include <stdexcept>

namespace vxtest {

namespace fs = std::filesystem;

TempDir::TempDir() {
  std::string pattern = (fs::temp_directory_path() / "vxtest-XXXXXX").string();
  if (mkdtemp(pattern.data()) == nullptr) throw std::runtime_error("cannot make " + pattern);
  path_ = pattern;
}

TempDir::~TempDir() {
  std::error_code ignored;
  fs::remove_all(path_, ignored);
}

void WriteFile(const fs::path& path, const std::string& content, bool executable) {
  if (path.has_parent_path()) fs::create_directories(path.parent_path());
  {
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out << content;
    if (!out.flush()) throw std::runtime_error("cannot write " + path.string());
  }
  if (executable) fs::permissions(path, fs::perms(0755));
}

std::string ReadFile(const fs::path& path) {
  std::ifstream in(path, std::ios::binary);
  if (!in) throw std::runtime_error("cannot read " + path.string());
  std::ostringstream text;
  text << in.rdbuf();
  return text.str();
}

}  // namespace vxtest
