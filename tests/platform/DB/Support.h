#pragma once

#include "support/Files.h"

#include <filesystem>
#include <functional>
#include <string>

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <DB/Sqlite.h>

namespace vxtest {

// What a function throws, as text.
template <class Function>
std::string FailureOf(Function function) {
  try {
    function();
  } catch (const DBEXCEPTION::DatabaseException& failure) {
    return failure.what();
  }
  return "(no failure)";
}

// Runs a function in a child process, which ends without closing anything, and returns its text.
inline std::string InChild(const std::function<std::string()>& function) {
  int ends[2];
  if (pipe2(ends, O_CLOEXEC) != 0) throw std::runtime_error("no pipe");
  const pid_t child = fork();
  if (child == 0) {
    std::string text;
    try {
      text = function();
    } catch (const std::exception& failure) {
      text = std::string("threw: ") + failure.what();
    }
    const ssize_t written = write(ends[1], text.data(), text.size());
    _exit(written == static_cast<ssize_t>(text.size()) ? 0 : 1);
  }
  close(ends[1]);
  std::string text;
  char part[4096];
  for (ssize_t got = 0; (got = read(ends[0], part, sizeof part)) > 0;) {
    text.append(part, static_cast<std::size_t>(got));
  }
  close(ends[0]);
  int status = 0;
  waitpid(child, &status, 0);
  return status == 0 ? text : text + " (ended with status " + std::to_string(status) + ")";
}

// Opens for writing or reading, runs a statement, returns its first cell or the failure.
inline std::string Attempt(const std::string& path, bool readOnly, const std::string& statement) {
  DatabaseWrapper::CSqliteOptions options;
  options.ReadOnly = readOnly;
  std::string cell = "(nothing)";
  const std::string failure = FailureOf([&] {
    DatabaseWrapper::CSqliteDatabase database(path, options);
    const auto cells = database.query(statement);
    if (!cells.empty()) cell = cells[0];
  });
  return failure == "(no failure)" ? cell : failure;
}

}  // namespace vxtest
