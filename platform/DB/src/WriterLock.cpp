#include "WriterLock.h"

#include <cerrno>
#include <cstring>
#include <sstream>

#include <errno.h>
#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

#include <DB/DatabaseException.h>
#include <DB/Sqlite.h>

namespace DatabaseWrapper {

using DBEXCEPTION::DatabaseException;

namespace {

constexpr const char* LOCK_SUFFIX = ".lock";
constexpr mode_t LOCK_MODE = 0600;
constexpr mode_t DATABASE_MODE = 0644;  // as SQLite makes one
// A byte that SQLite neither locks nor stores anything at.
constexpr off_t LOCKED_BYTE = 0x40000000 + 0x1000;
constexpr int RETRY_INTERVAL = 10;  // milliseconds

constexpr const char* SOMEBODY = "another process";

struct flock WholeLock() {
  struct flock lock {};
  lock.l_type = F_WRLCK;
  lock.l_whence = SEEK_SET;
  lock.l_start = LOCKED_BYTE;
  lock.l_len = 1;
  return lock;
}

// Of the open file, not of the process: no other descriptor that this process closes gives it up.
bool TryToLock(int descriptor) {
  const struct flock lock = WholeLock();
  return fcntl(descriptor, F_OFD_SETLK, &lock) == 0;
}

// Whoever may read a file may put a read lock on it, which keeps ours out and means no writer.
bool OnlyReadersHold(int descriptor) {
  struct flock lock = WholeLock();
  return fcntl(descriptor, F_OFD_GETLK, &lock) == 0 && lock.l_type == F_RDLCK;
}

// False: somebody writes the database.
bool LockUnlessRead(int descriptor) {
  return TryToLock(descriptor) || OnlyReadersHold(descriptor) || TryToLock(descriptor);
}

using CTry = bool (*)(int descriptor);

bool Lock(int descriptor, std::chrono::milliseconds patience, CTry tryToLock) {
  for (auto waited = std::chrono::milliseconds(0); !tryToLock(descriptor);
       waited += std::chrono::milliseconds(RETRY_INTERVAL)) {
    if (waited >= patience) return false;
    poll(nullptr, 0, RETRY_INTERVAL);
  }
  return true;
}

// "vxhost (process 4711)", as far as the file tells.
std::string Holder(int descriptor) {
  char text[256] = {};
  if (pread(descriptor, text, sizeof text - 1, 0) <= 0) return SOMEBODY;
  std::istringstream fields(text);
  long pid = 0;
  std::string program;
  fields >> pid;
  std::getline(fields >> std::ws, program);
  if (pid <= 0) return SOMEBODY;
  return (program.empty() ? "another program" : program) + " (process " + std::to_string(pid) + ")";
}

// For the reader of a refusal only: the lock holds whether or not this could be written.
void WriteHolder(int descriptor) {
  const std::string text = std::to_string(getpid()) + " " + program_invocation_short_name + "\n";
  if (ftruncate(descriptor, 0) != 0) return;
  [[maybe_unused]] const ssize_t written = pwrite(descriptor, text.data(), text.size(), 0);
}

bool LeadsTo(const std::string& path, int descriptor) {
  struct stat there {};
  struct stat open {};
  return stat(path.c_str(), &there) == 0 && fstat(descriptor, &open) == 0 &&
         there.st_dev == open.st_dev && there.st_ino == open.st_ino;
}

struct COpenFile {
  CDescriptor Descriptor;
  bool Made;
};

COpenFile OpenOrMake(const std::string& path, mode_t mode, int flags) {
  flags |= O_RDWR | O_CLOEXEC | O_NONBLOCK;
  CDescriptor made(open(path.c_str(), flags | O_CREAT | O_EXCL, mode));
  if (made || errno != EEXIST) return {std::move(made), true};
  return {CDescriptor(open(path.c_str(), flags)), false};
}

}  // namespace

CDescriptor::~CDescriptor() {
  if (m_Descriptor >= 0) close(m_Descriptor);
}

CWriterLock::CWriterLock(const std::string& databasePath, std::chrono::milliseconds patience)
    : m_DatabasePath(databasePath), m_Path(databasePath + LOCK_SUFFIX), m_File(LockFile(patience)) {
  try {
    m_Database = LockDatabase(patience);
  } catch (const DatabaseException&) {
    if (m_File.Made) unlink(m_Path.c_str());
    throw;
  }
  WriteHolder(m_File.Descriptor.Get());
}

CWriterLock::~CWriterLock() {
  // While both are still locked: nobody can have begun to use them.
  if (m_Database.Made) unlink(m_DatabasePath.c_str());
  if (m_File.Made) unlink(m_Path.c_str());
}

void CWriterLock::Keep() {
  m_File.Made = m_Database.Made = false;
}

void CWriterLock::Renew() {
  if (LeadsTo(m_Path, m_File.Descriptor.Get())) return;
  m_File = LockFile(std::chrono::milliseconds(0));
  m_File.Made = false;
  WriteHolder(m_File.Descriptor.Get());
}

void CWriterLock::RenewDatabase() {
  const int descriptor = m_Database.Descriptor.Get();
  if (descriptor >= 0 && !LockUnlessRead(descriptor)) Refuse(SOMEBODY);
}

void CWriterLock::Refuse(const std::string& holder) const {
  throw DatabaseException("The database \"" + m_DatabasePath + "\" is written by " + holder +
                          "; it takes one writer: end that one or name another file.");
}

CWriterLock::CLocked CWriterLock::LockFile(std::chrono::milliseconds patience) const {
  for (;;) {
    COpenFile file = OpenOrMake(m_Path, LOCK_MODE, O_NOFOLLOW);
    struct stat found {};
    const bool isOpen = file.Descriptor && fstat(file.Descriptor.Get(), &found) == 0;
    if (!isOpen && errno == ENOENT && access(m_Path.c_str(), F_OK) == 0) continue;
    if (!isOpen) {
      throw DatabaseException("The database \"" + m_DatabasePath +
                              "\" cannot be locked for writing: \"" + m_Path +
                              "\": " + std::strerror(errno) +
                              "; its directory must exist and be writable for this user.");
    }
    // Its content is overwritten: it must be nobody's file under another name.
    if (!S_ISREG(found.st_mode) || found.st_nlink > 1) {
      throw DatabaseException("The database \"" + m_DatabasePath +
                              "\" cannot be locked for writing: \"" + m_Path +
                              "\" is no file of its own; remove it.");
    }
    if (!Lock(file.Descriptor.Get(), patience, TryToLock)) Refuse(Holder(file.Descriptor.Get()));
    // Who made it and was refused elsewhere has removed it before giving up the lock.
    if (!LeadsTo(m_Path, file.Descriptor.Get())) continue;
    [[maybe_unused]] const int unchanged = fchmod(file.Descriptor.Get(), LOCK_MODE);
    return {std::move(file.Descriptor), file.Made};
  }
}

CWriterLock::CLocked CWriterLock::LockDatabase(std::chrono::milliseconds patience) const {
  COpenFile file = OpenOrMake(m_DatabasePath, DATABASE_MODE, 0);
  // A file that cannot be written at all needs no lock, and SQLite has the better words.
  if (file.Descriptor && !Lock(file.Descriptor.Get(), patience, LockUnlessRead)) Refuse(SOMEBODY);
  const bool isOpen = static_cast<bool>(file.Descriptor);
  return {std::move(file.Descriptor), isOpen && file.Made};
}

CDescriptor CWriterLock::LockSuccessor(const std::string& path) const {
  CDescriptor successor(open(path.c_str(), O_RDWR | O_CLOEXEC));
  if (!successor || !LockUnlessRead(successor.Get())) {
    throw DatabaseException("\"" + path + "\" cannot be locked: " + std::strerror(errno) + ".");
  }
  return successor;
}

void CWriterLock::Succeed(CDescriptor successor) {
  m_Database.Descriptor = std::move(successor);
}

bool HasWriter(const std::string& path) {
  const CDescriptor file(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
  struct flock lock = WholeLock();
  return file && fcntl(file.Get(), F_OFD_GETLK, &lock) == 0 && lock.l_type == F_WRLCK;
}

}  // namespace DatabaseWrapper
