#include "Child.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <mutex>
#include <string>
#include <vector>

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

namespace TLXX {

namespace {

// How often a child without an end descriptor is asked whether it has ended.
constexpr std::chrono::milliseconds ASKING_INTERVAL{10};

// How long the destructor waits for a child that it killed.
constexpr std::chrono::milliseconds DEATH_PATIENCE{2'000};

struct CAbandoned {
  std::mutex m_Mutex;
  std::vector<pid_t> m_Pids;
};

// Never destroyed: threads may still run commands while the process ends.
CAbandoned& Abandoned() {
  static auto* const abandoned = new CAbandoned;
  return *abandoned;
}

// The attributes and file actions of a spawn, with the first error that occurs among them.
class CSpawnSetup {
 public:
  CSpawnSetup() {
    Note(posix_spawnattr_init(&m_Attributes));
    Note(posix_spawn_file_actions_init(&m_Actions));
  }
  ~CSpawnSetup() {
    posix_spawn_file_actions_destroy(&m_Actions);
    posix_spawnattr_destroy(&m_Attributes);
  }
  CSpawnSetup(const CSpawnSetup&) = delete;
  CSpawnSetup& operator=(const CSpawnSetup&) = delete;

  // Own session, and so own process group and no terminal whose job control could stop it; no
  // signal blocked, all dispositions the default ones.
  void ResetSignalsAndSession() {
    sigset_t none;
    sigset_t all;
    sigemptyset(&none);
    sigfillset(&all);
    Note(posix_spawnattr_setflags(
        &m_Attributes, POSIX_SPAWN_SETSID | POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF));
    Note(posix_spawnattr_setsigmask(&m_Attributes, &none));
    Note(posix_spawnattr_setsigdefault(&m_Attributes, &all));
  }

  // errors: where standard error goes; -1: to the process's own.
  void SetStreams(int output, int errors) {
    Note(posix_spawn_file_actions_addopen(&m_Actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0));
    Note(posix_spawn_file_actions_adddup2(&m_Actions, output, STDOUT_FILENO));
    if (errors >= 0) {
      Note(posix_spawn_file_actions_adddup2(&m_Actions, errors, STDERR_FILENO));
    } else if (fcntl(STDERR_FILENO, F_GETFD) >= 0) {
      // Onto itself: stays open in the child whatever its close-on-exec flag says.
      Note(posix_spawn_file_actions_adddup2(&m_Actions, STDERR_FILENO, STDERR_FILENO));
    } else {
      Note(posix_spawn_file_actions_addopen(&m_Actions, STDERR_FILENO, "/dev/null", O_WRONLY, 0));
    }
    // Also what some other library opened without close-on-exec.
    Note(posix_spawn_file_actions_addclosefrom_np(&m_Actions, STDERR_FILENO + 1));
  }

  int Spawn(pid_t& pid, char* const* words, char* const* environment) const {
    if (m_Error != 0) return m_Error;
    return posix_spawnp(&pid, words[0], &m_Actions, &m_Attributes, words, environment);
  }

 private:
  void Note(int error) {
    if (m_Error == 0) m_Error = error;
  }

  posix_spawnattr_t m_Attributes{};
  posix_spawn_file_actions_t m_Actions{};
  int m_Error = 0;
};

// Moves a descriptor above the standard ones, which are the child's to be set. Matters only in a
// process that has closed one of its own.
int MoveUp(CDescriptor& descriptor) {
  if (descriptor.Get() > STDERR_FILENO) return 0;
  CDescriptor moved(fcntl(descriptor.Get(), F_DUPFD_CLOEXEC, STDERR_FILENO + 1));
  if (!moved.IsOpen()) return errno;
  descriptor = std::move(moved);
  return 0;
}

int MakePipe(CDescriptor& reading, CDescriptor& writing) {
  int ends[2];
  if (pipe2(ends, O_CLOEXEC) != 0) return errno;
  reading = CDescriptor(ends[0]);
  writing = CDescriptor(ends[1]);
  const int error = MoveUp(reading);
  return error != 0 ? error : MoveUp(writing);
}

// A pipe for standard error, or none when there is no descriptor left for it.
struct CErrorPipe {
  CDescriptor m_Reading;
  CDescriptor m_Writing;

  void Make() {
    const bool made =
        MakePipe(m_Reading, m_Writing) == 0 && fcntl(m_Reading.Get(), F_SETFL, O_NONBLOCK) == 0;
    if (made) return;
    m_Reading.Close();
    m_Writing.Close();
  }
};

// A process inherits from its parent that ends of children are ignored; the kernel would then reap
// ours, and their exit statuses would be lost. Set back once: what the process does later is its
// own decision.
void NoticeEndsOfChildren() {
  static std::once_flag once;
  std::call_once(once, [] {
    struct sigaction present {};
    if (sigaction(SIGCHLD, nullptr, &present) != 0 || present.sa_handler != SIG_IGN) return;
    present.sa_handler = SIG_DFL;
    sigaction(SIGCHLD, &present, nullptr);
  });
}

std::string TextOf(const CCommand& command) {
  std::string text;
  for (const std::string& word : command.m_Words) text += (text.empty() ? "" : " ") + word;
  return text;
}

std::vector<char*> Pointers(std::vector<std::string>& texts) {
  std::vector<char*> pointers;
  pointers.reserve(texts.size() + 1);
  for (std::string& text : texts) pointers.push_back(text.data());
  pointers.push_back(nullptr);
  return pointers;
}

}  // namespace

void CDescriptor::Close() {
  if (m_Descriptor >= 0) close(std::exchange(m_Descriptor, -1));
}

CChild::~CChild() {
  if (m_Pid < 0) return;
  Kill();
  Reap(DEATH_PATIENCE);
  Abandon();
}

int CChild::Start(const CCommand& command, CDescriptor& output, CDescriptor* errors,
                  ERunKind kind) {
  NoticeEndsOfChildren();
  CDescriptor reading;
  CDescriptor writing;
  if (const int error = MakePipe(reading, writing); error != 0) return error;
  CErrorPipe errorPipe;
  if (errors != nullptr && !command.m_JoinErrors) errorPipe.Make();
  CSpawnSetup setup;
  setup.ResetSignalsAndSession();
  setup.SetStreams(writing.Get(), command.m_JoinErrors ? writing.Get() : errorPipe.m_Writing.Get());
  std::vector<std::string> words = command.m_Words;
  std::vector<std::string> environment = MergeEnvironment(environ, command.m_Environment);
  const std::vector<char*> wordPointers = Pointers(words);
  const std::vector<char*> environmentPointers = Pointers(environment);
  pid_t pid = -1;
  const auto spawn = [&](pid_t& started) {
    return setup.Spawn(started, wordPointers.data(), environmentPointers.data());
  };
  if (const int error = CRunningChildren::Instance().Start(kind, TextOf(command), spawn, pid);
      error != 0) {
    return error;
  }
  m_Pid = pid;
  m_EndDescriptor = CDescriptor(static_cast<int>(syscall(SYS_pidfd_open, pid, 0)));
  output = std::move(reading);
  if (errors != nullptr) *errors = std::move(errorPipe.m_Reading);
  return 0;
}

bool CChild::HasEnded() {
  if (m_Ended || m_Pid < 0) return true;
  siginfo_t info{};
  int result;
  do {
    result = waitid(P_PID, static_cast<id_t>(m_Pid), &info, WEXITED | WNOHANG | WNOWAIT);
  } while (result != 0 && errno == EINTR);
  // An error means that there is no such child any more: the process ignores SIGCHLD, and the
  // kernel has reaped it.
  if (result != 0) TakePid();
  m_Ended = result != 0 || info.si_pid != 0;
  return m_Ended;
}

// The child's number, for whoever reaps it or leaves it to others: nobody else may use it any more.
pid_t CChild::TakePid() {
  CRunningChildren::Instance().Forget(m_Pid);
  return std::exchange(m_Pid, -1);
}

void CChild::Kill() {
  if (m_Pid < 0) return;
  kill(-m_Pid, SIGKILL);
  kill(m_Pid, SIGKILL);  // should it have left its group
}

bool CChild::WaitForEnd(std::chrono::milliseconds patience) {
  const auto deadline = std::chrono::steady_clock::now() + patience;
  while (!HasEnded()) {
    const auto left =
        std::chrono::ceil<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now());
    if (left.count() <= 0) return false;
    const auto slice = m_EndDescriptor.IsOpen() ? left : std::min(left, ASKING_INTERVAL);
    pollfd ended{m_EndDescriptor.Get(), POLLIN, 0};
    poll(&ended, 1, static_cast<int>(slice.count()));
  }
  return true;
}

std::optional<int> CChild::Reap(std::chrono::milliseconds patience) {
  if (!WaitForEnd(patience) || m_Pid < 0) return std::nullopt;
  int status = 0;
  const pid_t reaped = waitpid(TakePid(), &status, 0);
  return reaped > 0 ? std::optional<int>(status) : std::nullopt;
}

void CChild::Abandon() {
  if (m_Pid < 0) return;
  CAbandoned& abandoned = Abandoned();
  const std::lock_guard guard(abandoned.m_Mutex);
  abandoned.m_Pids.push_back(TakePid());
}

std::size_t CChild::ReapAbandoned() {
  CAbandoned& abandoned = Abandoned();
  const std::lock_guard guard(abandoned.m_Mutex);
  const auto reaped = [](pid_t pid) { return waitpid(pid, nullptr, WNOHANG) != 0; };
  abandoned.m_Pids.erase(std::remove_if(abandoned.m_Pids.begin(), abandoned.m_Pids.end(), reaped),
                         abandoned.m_Pids.end());
  return abandoned.m_Pids.size();
}

}  // namespace TLXX
