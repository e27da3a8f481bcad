#pragma once

#include <filesystem>
#include <functional>
#include <stdexcept>
#include <string>
#include <vector>

#include <PI/PluginApi.h>

namespace vxhost {

// Why a plug-in cannot be used, as one line for people that names its file.
class PluginError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// A plug-in's library. It stays loaded until the process ends: a thread of the plug-in that could
// not be ended in time may still run its code.
class PluginLibrary {
 public:
  // Loads the file. Throws PluginError.
  explicit PluginLibrary(const std::filesystem::path& file);

  // The file name without "lib" and ".so".
  const std::string& Name() const { return name_; }

  // createIf: its result. An object of another interface is released again: throws PluginError.
  [[nodiscard]] unsigned int Create(IPLUGINAPI** out) const;
  void Release(IPLUGINAPI** in) const { release_(in); }

 private:
  std::string name_;
  CreateIfFunction create_ = nullptr;
  ReleaseIfFunction release_ = nullptr;
};

// The plug-in files of a directory, in the order of their names; empty when there is none.
std::vector<std::filesystem::path> PluginFiles(const std::filesystem::path& directory);

// What a plug-in's notification callback is bound to.
class Notifier : public TLX::Delegates_and_Calls::CDelegateTarget {
 public:
  // The function is called on threads of the plug-in and must not throw.
  explicit Notifier(std::function<void()> onNotify) : onNotify_(std::move(onNotify)) {}

  // Sets the callback of the interface object, which must not outlive the notifier.
  void Attach(IPLUGINAPI& interface) { interface.m_NotifyHost = {this, &Notifier::Notify}; }

 private:
  void Notify(IPLUGINAPI*) {
    if (onNotify_) onNotify_();
  }

  const std::function<void()> onNotify_;
};

// Calls Execute, and command 3 with the clock at real time: how long it waits for the worker is a
// matter of real time. The time scale is afterwards as it was.
unsigned int ExecuteCommand(IPLUGINAPI& interface, unsigned int command, unsigned long object,
                            void* data);

}  // namespace vxhost
