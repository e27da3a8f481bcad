#pragma once

#include <string>

#include <TLX/Export.h>

namespace TLX::Misc {

// The program that this process runs, as plug-ins see it: they find what belongs to them beside it.
class VX_EXPORT CTlxApplication {
 public:
  // The resolved path of the executable file of this process, or what SetProcessPath was given.
  // [any thread]
  static std::string GetProcessPath();

  // Replaces the path that GetProcessPath reports; empty restores the real one. For a host that
  // wants its plug-ins to find another tool directory. [before other threads start]
  static void SetProcessPath(const std::string& path);
};

}  // namespace TLX::Misc
