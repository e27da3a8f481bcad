#include "Host.h"

#include "Plugin.h"
#include "TreeView.h"

#include <chrono>
#include <cmath>
#include <cstdlib>

#include <fmt/format.h>

#include <PI/ConfigFile.h>
#include <TLX/Internals/TraceSink.h>
#include <TLX/Misc/Application.h>
#include <TLX/Misc/Clock.h>
#include <TLX/Misc/ModuleInfo.h>
#include <TLX/Misc/Text.h>
#include <TLXX/ConfigManager.h>
#include <TLXX/System.h>

namespace vxhost {

namespace {

// Trace lines between the host's own lines on standard error.
class StandardErrorSink : public TLX::Internals::ITraceSink {
 public:
  void Write(const TLX::Internals::CTraceLine& line) override {
    Say(fmt::format("trace {} {}.{}: {}", line.m_Level, line.m_Module, line.m_Function,
                    Printable(line.m_Text)));
  }
};

// The drive tool is started with an unquoted command line that names this directory.
void WarnAboutPath(const std::filesystem::path& home) {
  if (home.string().find_first_of(" \t\n:") == std::string::npos) return;
  Say(fmt::format(
      "warning: the path {} holds a blank or a colon, and the drive tool cannot be started from "
      "such a path: move the program to another directory",
      home.string()));
}

// Seconds as the runner counts them. 0 means no limit, so what is shorter than its unit is one
// unit.
std::chrono::milliseconds ToTimeout(double seconds) {
  return std::chrono::milliseconds(static_cast<long>(std::ceil(seconds * 1000)));
}

void RequireDirectory(const std::string& option, const std::string& path) {
  std::error_code error;
  if (std::filesystem::is_directory(path, error)) return;
  throw Failure(EXIT_USAGE, fmt::format("{} {}: no such directory", option, path));
}

}  // namespace

std::filesystem::path RuntimeTree() {
  return std::filesystem::path(TLX::Misc::CTlxApplication::GetProcessPath()).parent_path();
}

Host::Host(const Options& options, Output& output, SignalWatch& signals)
    : options_(options), output_(output), home_(RuntimeTree()), signals_(signals) {
  WarnAboutPath(home_);
  SetUpTrace();
  SetUpDirectories();
  TLXX::CRunLimits limits = TLXX::CSystem::RunLimits();
  limits.m_QueryTimeout = ToTimeout(options_.toolTimeout);
  TLXX::CSystem::SetRunLimits(limits);
  TLXX::CSystem::SetErrorSink(
      [](const std::string& line) { Say("tool: " + TLX::Misc::Printable(line)); });
  TLX::Misc::CClock::SetTimeScale(options_.timeScale);
}

void Host::SetUpTrace() {
  std::shared_ptr<TLX::Internals::ITraceSink> sink = std::make_shared<StandardErrorSink>();
  if (!options_.traceFile.empty()) {
    std::string error;
    sink = TLX::Internals::MakeFileTraceSink(options_.traceFile, error, {},
                                             [](const std::string& line) { Say(line); });
    if (sink == nullptr) throw Failure(EXIT_FAILED, "--trace-file: " + error);
  }
  TLX::Internals::SetTraceSink(std::move(sink));
  TLX::Misc::CModuleInfo::SetPluginTraceMask(options_.trace);
  TLX::Misc::CModuleInfo::SetPlatformTraceMask(options_.tracePlatform);
}

void Host::SetUpDirectories() {
  if (options_.configDir.empty()) {
    PI::CConfigFile::SetConfigDirectory((home_ / "etc").string());
  } else {
    RequireDirectory("--config-dir", options_.configDir);
    PI::CConfigFile::SetConfigDirectory(std::filesystem::absolute(options_.configDir).string());
  }
  if (!options_.sysfs.empty()) {
    RequireDirectory("--sysfs", options_.sysfs);
    TLXX::CConfigManager::SetSysfsRoot(std::filesystem::absolute(options_.sysfs).string());
  }
  if (!options_.simulate.empty()) {
    simulation_ = std::make_unique<Simulation>(home_, options_.simulate, signals_);
  }
}

std::vector<std::filesystem::path> Host::Plugins() const {
  if (!options_.plugin.empty()) return {options_.plugin};
  auto files = PluginFiles(home_ / "plugins");
  if (files.empty()) {
    throw Failure(EXIT_NOTHING, fmt::format("no plug-in in {}", (home_ / "plugins").string()));
  }
  return files;
}

bool Host::Colour() const {
  return output_.IsTerminal() && std::getenv("NO_COLOR") == nullptr;
}

}  // namespace vxhost
