#pragma once

#include "Failure.h"
#include "Options.h"
#include "Output.h"
#include "Signals.h"
#include "Simulation.h"

#include <filesystem>
#include <memory>
#include <string>
#include <vector>

namespace vxhost {

// What every command works with: the command line, the runtime tree, the platform set up as the
// options say. One per process. [main thread]
class Host {
 public:
  // Sets the platform up. Throws Failure.
  Host(const Options& options, Output& output, SignalWatch& signals);

  const Options& Settings() const { return options_; }
  Output& Out() { return output_; }
  SignalWatch& Signals() { return signals_; }

  // The directory of the executable, which is the runtime tree.
  const std::filesystem::path& Home() const { return home_; }

  // The plug-in of --plugin, else those of plugins/. Throws Failure when there is none.
  std::vector<std::filesystem::path> Plugins() const;

  // Whether to colour what people read.
  bool Colour() const;

 private:
  void SetUpTrace();
  void SetUpDirectories();

  const Options options_;
  Output& output_;
  const std::filesystem::path home_;
  SignalWatch& signals_;
  std::unique_ptr<Simulation> simulation_;
};

// The directory in which the executable file of this process lies.
std::filesystem::path RuntimeTree();

}  // namespace vxhost
