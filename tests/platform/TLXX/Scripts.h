#pragma once

#include "support/Files.h"

#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include <TLX/Internals/TraceSink.h>

namespace tlxxtest {

// Shell scripts as child programs, in a directory of their own.
class Scripts {
 public:
  // Writes an executable script and returns its path. In the body $DIR is the directory.
  std::string Add(const std::string& name, const std::string& body);

  std::string Path(const std::string& name) const { return (dir_ / name).string(); }
  bool Has(const std::string& name) const;
  // Number of lines of a file, 0 when it is missing: scripts count their runs in one.
  int Lines(const std::string& name) const;

 private:
  vxtest::TempDir dir_;
};

// A named pipe that a program and all its descendants hold open for as long as they live.
class LifeLine {
 public:
  explicit LifeLine(std::string path);
  ~LifeLine();
  LifeLine(const LifeLine&) = delete;
  LifeLine& operator=(const LifeLine&) = delete;

  // Shell text that takes hold of the line and says so.
  std::string Hold() const { return "exec 9>" + path_ + "\necho held >&9\n"; }
  // Waits until the line is held. False when nobody does within thirty seconds.
  bool WaitUntilHeld();
  // Waits until nobody holds the line any more. False when somebody still does after thirty
  // seconds.
  bool WaitUntilReleased();
  // Whether somebody holds the line now. After WaitUntilHeld.
  bool IsHeld();

 private:
  // Reads until the end, or the first text when that is asked for.
  bool ReadUntil(bool text, int milliseconds);

  std::string path_;
  int reading_;
};

// Collects the trace of the platform while it lives, mask 2 and 16, and hands each line to a
// function when one is given.
class TraceCapture {
 public:
  explicit TraceCapture(std::function<void(const std::string&)> onLine = {});
  ~TraceCapture();
  TraceCapture(const TraceCapture&) = delete;
  TraceCapture& operator=(const TraceCapture&) = delete;

  // The lines of the library under test so far.
  std::vector<std::string> Lines() const;

 private:
  class Sink;
  std::shared_ptr<Sink> sink_;
};

// How many descriptors this process has open.
std::size_t OpenDescriptors();

// Whether this process has a child, running or waiting to be reaped.
bool HasChildren();

}  // namespace tlxxtest
