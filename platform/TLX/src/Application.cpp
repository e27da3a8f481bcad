#include <filesystem>
#include <mutex>
#include <system_error>

#include <TLX/Misc/Application.h>

namespace TLX::Misc {
namespace {

struct CProcessPath {
  std::mutex m_Lock;
  std::string m_Real;
  std::string m_Given;

  // Read once, at load: after an upgrade of the running program the link names a deleted file.
  CProcessPath() {
    std::error_code error;
    m_Real = std::filesystem::read_symlink("/proc/self/exe", error).string();
  }
};

// Never destroyed, so that it serves the destructors of static objects too.
CProcessPath& Path() {
  static CProcessPath& path = *new CProcessPath;
  return path;
}

[[maybe_unused]] const CProcessPath& g_ReadAtLoad = Path();

}  // namespace

std::string CTlxApplication::GetProcessPath() {
  CProcessPath& path = Path();
  const std::lock_guard lock(path.m_Lock);
  return path.m_Given.empty() ? path.m_Real : path.m_Given;
}

void CTlxApplication::SetProcessPath(const std::string& given) {
  CProcessPath& path = Path();
  const std::lock_guard lock(path.m_Lock);
  path.m_Given = given;
}

}  // namespace TLX::Misc
