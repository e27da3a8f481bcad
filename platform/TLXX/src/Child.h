#pragma once

#include "CommandText.h"
#include "RunningChildren.h"

#include <chrono>
#include <optional>
#include <utility>

#include <sys/types.h>

namespace TLXX {

// Owns a file descriptor.
class CDescriptor {
 public:
  CDescriptor() = default;
  explicit CDescriptor(int descriptor) : m_Descriptor(descriptor) {}
  CDescriptor(CDescriptor&& other) noexcept : m_Descriptor(std::exchange(other.m_Descriptor, -1)) {}
  CDescriptor& operator=(CDescriptor&& other) noexcept {
    std::swap(m_Descriptor, other.m_Descriptor);
    return *this;
  }
  ~CDescriptor() { Close(); }

  int Get() const { return m_Descriptor; }
  bool IsOpen() const { return m_Descriptor >= 0; }
  void Close();

 private:
  int m_Descriptor = -1;
};

// A child process, the leader of its own session and process group. Whatever happens to the caller,
// the child is killed (when it still runs) and reaped, at the latest in the destructor. [one thread
// at a time]
class CChild {
 public:
  CChild() = default;
  ~CChild();
  CChild(const CChild&) = delete;
  CChild& operator=(const CChild&) = delete;

  // Starts the command: standard input from /dev/null, default signal mask and dispositions, no
  // descriptor of ours but 0 to 2, no terminal. output becomes the reading end of what it prints.
  // errors, when given, becomes that of its standard error, not blocking; it stays closed where the
  // command joins the two and where there is no descriptor left, and standard error is then the
  // process's own. Returns 0 or the error number; nothing is left of a start that failed. Call
  // once.
  int Start(const CCommand& command, CDescriptor& output, CDescriptor* errors = nullptr,
            ERunKind kind = ERunKind::Query);

  // Polls readable once the child has ended; -1 when the kernel gives none: ask HasEnded instead.
  int EndDescriptor() const { return m_EndDescriptor.Get(); }

  // Whether the child has ended. Does not reap it, so that its number stays its own.
  bool HasEnded();

  // Kills the child and everything in its process group. Nothing once it is reaped.
  void Kill();

  // Reaps the child and returns its wait status; waits for its end as long as given. Nothing when
  // the time runs out, and when the process lets the kernel reap its children.
  std::optional<int> Reap(std::chrono::milliseconds patience);

  // Leaves a child that was killed and does not die to a later call of ReapAbandoned.
  void Abandon();

  // Reaps those of the abandoned children that have ended; returns how many still have not. [any
  // thread]
  static std::size_t ReapAbandoned();

 private:
  bool WaitForEnd(std::chrono::milliseconds patience);
  pid_t TakePid();

  pid_t m_Pid = -1;  // -1: none, or reaped
  bool m_Ended = false;
  CDescriptor m_EndDescriptor;
};

}  // namespace TLXX
