#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>

#include <Schema/Database.h>
#include <TLX/Export.h>

// The host's mirror over its whole life: a database that plug-ins find from the first moment,
// whether or not its file can be opened yet.
namespace Schema {

// What a host decides about its mirror. Copied into it; everything may be left as it is.
struct CMirrorOptions {
  // How the file is opened, each time it is tried.
  COptions Database;

  // Makes the directory of the file when it is missing.
  bool MakesDirectory = false;

  // How long a file that could not be opened is left alone: at first, and at most after doubling
  // with each try. In milliseconds of Now.
  unsigned long FirstPause = 5'000;
  unsigned long LongestPause = 60'000;

  // The clock of these pauses; empty: TLX::Misc::now.
  std::function<unsigned long()> Now;

  // Told in one line, without a line feed, when the mirror can no longer be written and when it can
  // again: each once for each change, not once for each statement. Must not call the mirror and
  // must not throw. [any thread]
  std::function<void(const std::string&)> Say;
};

// What plug-ins find with getDatabasePointer(). Before the first statement of a run reaches the
// file the file is open, has our tables, and has lost the rows of the run before; while that cannot
// be, statements fail with the reason, so that a plug-in sends them again later. [any thread]
class VX_EXPORT CMirror {
 public:
  // Tries to open the file, and registers itself whatever came of it. Later tries are made by the
  // statements that come when a pause is over. path: as for OpenForWriting.
  CMirror(const std::string& path, CMirrorOptions options);

  // Takes the registration back when it is still this one's. The file is closed when the last
  // holder of the registered database lets go.
  ~CMirror();
  CMirror(const CMirror&) = delete;
  CMirror& operator=(const CMirror&) = delete;

  // The statements of a start as one transaction, in which the rows of the run before are removed:
  // readers see these until Commit, and then the new ones. Undone unless it is committed.
  class VX_EXPORT CStart {
   public:
    ~CStart();
    CStart(const CStart&) = delete;
    CStart& operator=(const CStart&) = delete;

    // Keeps what was written. Otherwise the reason why nothing was kept, as one line; Say is not
    // told of it.
    [[nodiscard]] std::optional<std::string> Commit() noexcept;

   private:
    friend class CMirror;
    struct Impl;  // holds the database, also when the mirror goes first
    explicit CStart(std::unique_ptr<Impl> impl);
    std::unique_ptr<Impl> m_Impl;
  };

  // Begins a start; the start must end before the next one begins. From here to its end it takes
  // the statements of all threads, and other programs cannot write into the file. Null when the
  // database cannot be written just now: Say is told, and statements go on to be tried one by one.
  // Waits for a locked file as long as a statement does.
  [[nodiscard]] std::unique_ptr<CStart> BeginStart();

  // The rows that are there are those of a run that has ended: removes them, now or, when that
  // cannot be, before the next statement. Not during a start. A mirror begins with such rows: it
  // need not be told of those that it finds in the file.
  void RemoveEarlierRun();

 private:
  class CGate;
  std::shared_ptr<CGate> m_Gate;
  std::shared_ptr<DatabaseWrapper::CHostDatabase> m_Registered;
};

}  // namespace Schema
