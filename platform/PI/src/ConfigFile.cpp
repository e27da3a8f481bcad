#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <PI/Catalogue.h>
#include <PI/ConfigFile.h>

namespace PI {

namespace {

// No options file is this large; what is, is something else and is left alone.
constexpr std::size_t LARGEST_FILE = 16UL << 20;

constexpr std::string_view BYTE_ORDER_MARK = "\xEF\xBB\xBF";
constexpr std::string_view BLANKS = " \t\r\v\f";
constexpr std::string_view NOT_AN_ENTRY = "#;[";  // comments, and headings of other programs
constexpr std::string_view LINE_BREAKERS("\n\r\0", 3);

// ---- The text of a file ----

std::string_view Trim(std::string_view text) {
  const std::size_t first = text.find_first_not_of(BLANKS);
  if (first == std::string_view::npos) return text.substr(0, 0);
  return text.substr(first, text.find_last_not_of(BLANKS) - first + 1);
}

// A key that would not be found again after it was written is no key.
bool IsKey(std::string_view key) {
  return !key.empty() && Trim(key) == key && key.find('=') == std::string_view::npos &&
         key.find_first_of(LINE_BREAKERS) == std::string_view::npos &&
         NOT_AN_ENTRY.find(key.front()) == std::string_view::npos &&
         !key.starts_with(BYTE_ORDER_MARK);
}

// The value in a line of the given key, without the blanks around it.
std::optional<std::string_view> ValueOfLine(std::string_view line, std::string_view key) {
  const std::size_t equals = line.find('=');
  if (equals == std::string_view::npos) return std::nullopt;
  const std::string_view name = Trim(line.substr(0, equals));
  // A comment line never compares equal, because a key does not begin like one.
  if (name != key) return std::nullopt;
  return Trim(line.substr(equals + 1));
}

// The value of the first line with the key, as a part of content.
std::optional<std::string_view> FindValue(std::string_view content, std::string_view key) {
  std::size_t begin = content.starts_with(BYTE_ORDER_MARK) ? BYTE_ORDER_MARK.size() : 0;
  while (begin < content.size()) {
    const std::size_t end = std::min(content.find('\n', begin), content.size());
    const auto value = ValueOfLine(content.substr(begin, end - begin), key);
    if (value) return value;
    begin = end + 1;
  }
  return std::nullopt;
}

// The line end that the file uses, judged by its first line.
std::string_view LineEndOf(std::string_view content) {
  const std::size_t feed = content.find('\n');
  const bool hasReturn = feed != std::string_view::npos && feed > 0 && content[feed - 1] == '\r';
  return hasReturn ? "\r\n" : "\n";
}

// Changes nothing but the value, or adds one line at the end.
void StoreValue(std::string& content, const std::string& key, const std::string& value) {
  if (const auto old = FindValue(content, key)) {
    content.replace(static_cast<std::size_t>(old->data() - content.data()), old->size(), value);
    return;
  }
  const std::string lineEnd(LineEndOf(content));
  const bool isOpenLine = !content.empty() && content != BYTE_ORDER_MARK && content.back() != '\n';
  if (isOpenLine) content += lineEnd;
  content += key + '=' + value + lineEnd;
}

// ---- Files ----

// Repeats a system call that a signal interrupted.
template <class Call>
auto Retry(Call call) {
  auto result = call();
  while (result == -1 && errno == EINTR) result = call();
  return result;
}

class CDescriptor {
 public:
  explicit CDescriptor(int descriptor) : m_Descriptor(descriptor) {}
  ~CDescriptor() { Close(); }
  CDescriptor(const CDescriptor&) = delete;
  CDescriptor& operator=(const CDescriptor&) = delete;

  int Get() const { return m_Descriptor; }
  bool IsOpen() const { return m_Descriptor >= 0; }
  bool Close() { return m_Descriptor < 0 || ::close(std::exchange(m_Descriptor, -1)) == 0; }

 private:
  int m_Descriptor;
};

bool ReadAll(int descriptor, std::string& content) {
  char buffer[16 * 1024];
  for (;;) {
    const ssize_t count = Retry([&] { return ::read(descriptor, buffer, sizeof buffer); });
    if (count < 0) return false;
    if (count == 0) return true;
    content.append(buffer, static_cast<std::size_t>(count));
    if (content.size() > LARGEST_FILE) return false;
  }
}

bool WriteAll(int descriptor, std::string_view content) {
  while (!content.empty()) {
    const ssize_t count =
        Retry([&] { return ::write(descriptor, content.data(), content.size()); });
    if (count < 0) return false;
    content.remove_prefix(static_cast<std::size_t>(count));
  }
  return true;
}

enum class LOADED { YES, NO_SUCH_FILE, FAILED };

// Opened without waiting, so that a pipe in the place of the file does not stop the caller.
LOADED Load(const std::string& path, std::string& content, struct stat& status) {
  const CDescriptor file(
      Retry([&] { return ::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY); }));
  if (!file.IsOpen()) return errno == ENOENT ? LOADED::NO_SUCH_FILE : LOADED::FAILED;
  if (::fstat(file.Get(), &status) != 0 || !S_ISREG(status.st_mode)) return LOADED::FAILED;
  return ReadAll(file.Get(), content) ? LOADED::YES : LOADED::FAILED;
}

// Where the content of a name really lies: a link is written through, not replaced. Also for a link
// to a file that does not exist yet.
std::optional<std::string> FollowLinks(const std::string& name) {
  namespace fs = std::filesystem;
  constexpr int MOST_LINKS = 40;  // as the kernel
  fs::path path = name;
  for (int link = 0; link < MOST_LINKS; ++link) {
    std::error_code error;
    if (!fs::is_symlink(fs::symlink_status(path, error))) return path.string();
    const fs::path target = fs::read_symlink(path, error);
    if (error) return std::nullopt;
    path = path.parent_path() / target;  // an absolute target stands alone
  }
  return std::nullopt;
}

// A new file beside the given one; removed again unless it took that one's place.
class CReplacement {
 public:
  explicit CReplacement(const std::string& path) : m_Path(path), m_File(Create()) {}
  ~CReplacement() {
    if (m_File.IsOpen() || m_IsPending) ::unlink(m_TemporaryPath.c_str());
  }
  CReplacement(const CReplacement&) = delete;
  CReplacement& operator=(const CReplacement&) = delete;

  // old: the file to be replaced, whose owner and mode are kept; null when there is none.
  bool Write(std::string_view content, const struct stat* old) {
    if (!m_File.IsOpen()) return false;
    if (old != nullptr && !TakeOver(*old)) return false;
    if (!WriteAll(m_File.Get(), content)) return false;
    return Retry([&] { return ::fsync(m_File.Get()); }) == 0;
  }

  bool Commit() {
    m_IsPending = true;
    if (!m_File.Close()) return false;
    if (::rename(m_TemporaryPath.c_str(), m_Path.c_str()) != 0) return false;
    m_IsPending = false;
    return true;
  }

 private:
  // The name is short whatever the file is called, and unlike that of a crashed process before.
  int Create() {
    constexpr int MOST_TRIES = 1000;
    const std::string directory = m_Path.substr(0, m_Path.rfind('/') + 1);
    for (int attempt = 0; attempt < MOST_TRIES; ++attempt) {
      m_TemporaryPath = directory + ".vxconfig-" + std::to_string(::getpid()) + "-" +
                        std::to_string(attempt) + ".tmp";
      const int descriptor = Retry([&] {
        return ::open(m_TemporaryPath.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC | O_NOFOLLOW,
                      0644);
      });
      if (descriptor >= 0 || errno != EEXIST) return descriptor;
    }
    return -1;
  }

  // The owner comes first, because changing it clears bits of the mode. Only root can give a file
  // away; for anybody else a file of another owner becomes the writer's own.
  bool TakeOver(const struct stat& old) {
    const bool gaveAway = ::fchown(m_File.Get(), old.st_uid, old.st_gid) == 0;
    const mode_t mode = old.st_mode & (gaveAway ? 07777U : 0777U);
    return ::fchmod(m_File.Get(), mode) == 0;
  }

  const std::string m_Path;
  std::string m_TemporaryPath;
  CDescriptor m_File;
  bool m_IsPending = false;
};

// Best effort: when this fails the new content is in place, but after a power cut the old one may
// be back. Some file systems cannot do it at all.
void SyncDirectoryOf(const std::string& path) {
  const std::string directory = path.substr(0, path.rfind('/') + 1);
  const CDescriptor opened(
      Retry([&] { return ::open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC); }));
  if (opened.IsOpen()) Retry([&] { return ::fsync(opened.Get()); });
}

bool Replace(const std::string& path, std::string_view content, const struct stat* old) {
  // A rename would also replace a file that may not be written.
  if (old != nullptr && ::faccessat(AT_FDCWD, path.c_str(), W_OK, AT_EACCESS) != 0) return false;
  CReplacement replacement(path);
  if (!replacement.Write(content, old) || !replacement.Commit()) return false;
  SyncDirectoryOf(path);
  return true;
}

// ---- Process-wide state ----

struct CDirectory {
  std::mutex m_Mutex;
  std::string m_Path = ".";
};

CDirectory& Directory() {
  static CDirectory directory;
  return directory;
}

// One read-change-write at a time in this process, so that no writer loses the line of another.
std::mutex& WriteMutex() {
  static std::mutex mutex;
  return mutex;
}

// No path when the name can be none.
std::optional<std::string> FullPath(const std::string& name) {
  if (name.empty() || name.find('\0') != std::string::npos) return std::nullopt;
  return name.front() == '/' ? name : CConfigFile::ConfigDirectory() + '/' + name;
}

}  // namespace

void CConfigFile::SetFileName(const std::string& name) {
  m_Name = name;
}

const std::string& CConfigFile::FileName() const {
  return m_Name;
}

unsigned int CConfigFile::ReadKeyValue(const std::string& key, std::string& value, int /*section*/,
                                       int /*index*/) const {
  const std::optional<std::string> path = FullPath(m_Name);
  if (!path || !IsKey(key)) return ERR_GENERAL_FAILURE;
  std::string content;
  struct stat status = {};
  if (Load(*path, content, status) != LOADED::YES) return ERR_GENERAL_FAILURE;
  const auto found = FindValue(content, key);
  if (!found) return ERR_GENERAL_FAILURE;
  value = *found;
  return SUCCESS;
}

unsigned int CConfigFile::WriteKeyValue(const std::string& key, const std::string& value,
                                        int /*section*/, int /*index*/) const {
  const bool isOneLine = value.find_first_of(LINE_BREAKERS) == std::string::npos;
  const std::optional<std::string> name = FullPath(m_Name);
  if (!name || !IsKey(key) || !isOneLine) return ERR_GENERAL_FAILURE;

  const std::lock_guard<std::mutex> guard(WriteMutex());
  const std::optional<std::string> path = FollowLinks(*name);
  if (!path) return ERR_GENERAL_FAILURE;
  std::string content;
  struct stat status = {};
  const LOADED loaded = Load(*path, content, status);
  if (loaded == LOADED::FAILED) return ERR_GENERAL_FAILURE;
  StoreValue(content, key, value);
  if (content.size() > LARGEST_FILE) return ERR_GENERAL_FAILURE;
  const struct stat* const old = loaded == LOADED::YES ? &status : nullptr;
  return Replace(*path, content, old) ? SUCCESS : ERR_GENERAL_FAILURE;
}

void CConfigFile::SetConfigDirectory(const std::string& directory) {
  CDirectory& state = Directory();
  const std::lock_guard<std::mutex> guard(state.m_Mutex);
  state.m_Path = directory.empty() ? "." : directory;
}

std::string CConfigFile::ConfigDirectory() {
  CDirectory& state = Directory();
  const std::lock_guard<std::mutex> guard(state.m_Mutex);
  return state.m_Path;
}

}  // namespace PI
