#include "WriterLock.h"

#include <cerrno>
#include <cstring>
#include <sstream>

#include <errno.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <DB/DatabaseException.h>

namespace DatabaseWrapper {

using DBEXCEPTION::DatabaseException;

namespace {

constexpr const char* LOCK_SUFFIX = ".lock";
constexpr mode_t LOCK_MODE = 0644;

// "vxhost (process 4711)", as far as the file tells.
std::string Holder(int descriptor) {
  char text[256] = {};
  if (pread(descriptor, text, sizeof text - 1, 0) <= 0) return "another process";
  std::istringstream fields(text);
  long pid = 0;
  std::string program;
  fields >> pid;
  std::getline(fields >> std::ws, program);
  if (pid <= 0) return "another process";
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

}  // namespace

CWriterLock::CWriterLock(const std::string& databasePath)
    : m_DatabasePath(databasePath), m_Path(databasePath + LOCK_SUFFIX), m_Descriptor(Acquire()) {}

CWriterLock::~CWriterLock() {
  close(m_Descriptor);
}

void CWriterLock::Renew() {
  if (LeadsTo(m_Path, m_Descriptor)) return;
  const int renewed = Acquire();
  close(m_Descriptor);
  m_Descriptor = renewed;
}

int CWriterLock::Acquire() const {
  const int descriptor = open(m_Path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, LOCK_MODE);
  if (descriptor < 0) {
    throw DatabaseException("The database \"" + m_DatabasePath +
                            "\" cannot be locked for writing: \"" + m_Path +
                            "\": " + std::strerror(errno) +
                            "; its directory must exist and be writable for this user.");
  }
  if (flock(descriptor, LOCK_EX | LOCK_NB) != 0) {
    const std::string holder =
        errno == EWOULDBLOCK ? Holder(descriptor) : std::string(std::strerror(errno));
    close(descriptor);
    throw DatabaseException("The database \"" + m_DatabasePath + "\" is written by " + holder +
                            "; it takes one writer: end that one or name another file.");
  }
  WriteHolder(descriptor);
  return descriptor;
}

}  // namespace DatabaseWrapper
