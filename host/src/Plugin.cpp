#include "Plugin.h"

#include <algorithm>
#include <optional>

#include <dlfcn.h>
#include <fmt/format.h>

#include <TLX/Misc/Clock.h>

namespace vxhost {

namespace {

constexpr std::string_view PREFIX = "lib";
constexpr std::string_view SUFFIX = ".so";

std::string PlainName(const std::filesystem::path& file) {
  std::string name = file.filename().string();
  if (name.ends_with(SUFFIX)) name.resize(name.size() - SUFFIX.size());
  if (name.starts_with(PREFIX)) name.erase(0, PREFIX.size());
  return name;
}

std::string LastLoaderError() {
  const char* const text = dlerror();
  return text != nullptr ? text : "unknown reason";
}

template <class Function>
Function Symbol(void* library, const char* name, const std::filesystem::path& file) {
  void* const address = dlsym(library, name);
  if (address == nullptr) {
    throw PluginError(fmt::format("{} is no plug-in: it does not export {}", file.string(), name));
  }
  return reinterpret_cast<Function>(address);
}

// The clock at real time while it lives.
class RealTime {
 public:
  RealTime() : before_(TLX::Misc::CClock::TimeScale()) { TLX::Misc::CClock::SetTimeScale(1); }
  ~RealTime() { TLX::Misc::CClock::SetTimeScale(before_); }
  RealTime(const RealTime&) = delete;
  RealTime& operator=(const RealTime&) = delete;

 private:
  const double before_;
};

}  // namespace

PluginLibrary::PluginLibrary(const std::filesystem::path& file) : name_(PlainName(file)) {
  std::error_code error;
  // An absolute path, since the loader looks a bare name up elsewhere.
  const std::filesystem::path path = std::filesystem::absolute(file, error);
  if (!std::filesystem::exists(path, error)) {
    throw PluginError(fmt::format("{}: no such plug-in", file.string()));
  }
  void* const library = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
  if (library == nullptr) {
    throw PluginError(fmt::format("{} cannot be loaded: {}", file.string(), LastLoaderError()));
  }
  create_ = Symbol<CreateIfFunction>(library, "createIf", file);
  release_ = Symbol<ReleaseIfFunction>(library, "releaseIf", file);
}

unsigned int PluginLibrary::Create(IPLUGINAPI** out) const {
  const unsigned int result = create_(out);
  if (*out == nullptr || (*out)->m_InterfaceVersion == PI::INTERFACE_VERSION) return result;
  const unsigned int version = (*out)->m_InterfaceVersion;
  Release(out);
  *out = nullptr;
  throw PluginError(fmt::format("plug-in {} speaks interface version {}, this host speaks {}",
                                name_, version, PI::INTERFACE_VERSION));
}

std::vector<std::filesystem::path> PluginFiles(const std::filesystem::path& directory) {
  std::vector<std::filesystem::path> files;
  std::error_code error;
  for (std::filesystem::directory_iterator entry(directory, error), end; !error && entry != end;
       entry.increment(error)) {
    if (entry->path().extension() == SUFFIX) files.push_back(entry->path());
  }
  std::sort(files.begin(), files.end());
  return files;
}

unsigned int ExecuteCommand(IPLUGINAPI& interface, unsigned int command, unsigned long object,
                            void* data) {
  std::optional<RealTime> realTime;
  if (command == PI::COMMAND_DEINITIALIZE) realTime.emplace();
  return interface.Execute(static_cast<PI::_COMMAND>(command), object, data);
}

}  // namespace vxhost
