#pragma once

#include "Host.h"

#include <filesystem>
#include <memory>

#include <Schema/Database.h>

namespace vxhost {

// The database that a command writes its mirror to, or none. What is wrong with it is said in one
// line, and the command goes on without a mirror.
class MirrorDatabase {
 public:
  enum class Default { None, StateDirectory };

  // Opens what --db names, or else the command's default. Throws Failure for a --db that names
  // nothing. [before plug-ins are made]
  MirrorDatabase(const Host& host, Default otherwise);

  // Brackets the statements of a start into one transaction, which is committed when the bracket
  // goes. Null without a database.
  class Bracket {
   public:
    explicit Bracket(std::unique_ptr<DatabaseWrapper::CTransaction> transaction);
    ~Bracket();

    // Commits now. False, and a line on standard error, when nothing was kept.
    bool Commit() noexcept;
    Bracket(const Bracket&) = delete;
    Bracket& operator=(const Bracket&) = delete;

   private:
    std::unique_ptr<DatabaseWrapper::CTransaction> transaction_;
  };
  std::unique_ptr<Bracket> BeginStart();

  // Removes the rows of the interface object before: to be called before another one is made. When
  // it fails, that is said; the next call removes these rows, too.
  void RemoveEarlierRun();

 private:
  std::unique_ptr<Schema::CDatabase> database_;
};

// The file that --db names; empty for "none". Throws Failure.
std::string DatabasePath(const Host& host, MirrorDatabase::Default otherwise);

}  // namespace vxhost
