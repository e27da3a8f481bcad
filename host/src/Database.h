#pragma once

#include "Host.h"

#include <filesystem>
#include <memory>

#include <Schema/Mirror.h>

namespace vxhost {

// The database that a command writes its mirror to, or none. When it cannot be written that is said
// in one line, and in another one when it can again; the command goes on.
class MirrorDatabase {
 public:
  enum class Default { None, StateDirectory };

  // Opens what --db names, or else the command's default. Throws Failure for a --db that names
  // nothing. [before other threads start]
  MirrorDatabase(const Host& host, Default otherwise);

  // The statements of a start as one transaction, which takes the rows of the run before away and
  // is undone unless it is committed.
  class Bracket {
   public:
    explicit Bracket(std::unique_ptr<Schema::CMirror::CStart> start);

    // Commits now. False, and a line on standard error, when nothing was kept.
    [[nodiscard]] bool Commit() noexcept;

   private:
    std::unique_ptr<Schema::CMirror::CStart> start_;
  };

  // To be called when no plug-in runs: the transaction takes the statements of all of them. Null
  // without a database, and when it cannot be written just now.
  [[nodiscard]] std::unique_ptr<Bracket> BeginStart();

  // The rows that are there are those of a run that has ended: removes them, now or before the next
  // row is written. To be called when no plug-in runs.
  void RemoveEarlierRun();

 private:
  std::unique_ptr<Schema::CMirror> mirror_;
};

// The file that --db names; empty for "none". Throws Failure.
[[nodiscard]] std::string DatabasePath(const Host& host, MirrorDatabase::Default otherwise);

}  // namespace vxhost
