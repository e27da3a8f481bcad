#include "Child.h"

#include <csignal>
#include <sstream>
#include <string>

#include <gtest/gtest.h>

namespace {

TEST(Child, Output_IsBothStreamsInTheOrderWritten) {
  const auto result = vxhost::RunChild({"/bin/sh", "-c", "echo a; echo b >&2; echo c; exit 7"});
  EXPECT_EQ(result.m_Status, 7);
  EXPECT_EQ(result.m_Output, "a\nb\nc\n");
}

TEST(Child, WhatCannotBeStartedOrDiesBySignal_HasNoStatus) {
  const auto missing = vxhost::RunChild({"/nowhere/tool"});
  EXPECT_EQ(missing.m_Status, -1);
  EXPECT_EQ(missing.m_Output, "No such file or directory");
  EXPECT_EQ(vxhost::RunChild({"/bin/sh", "-c", "kill -KILL $$"}).m_Status, -1);
}

TEST(Child, Signals_AreNeitherBlockedNorIgnoredAsInTheHost) {
  sigset_t blocked;
  sigset_t before;
  sigemptyset(&blocked);
  sigaddset(&blocked, SIGTERM);
  pthread_sigmask(SIG_BLOCK, &blocked, &before);
  const auto oldPipe = std::signal(SIGPIPE, SIG_IGN);
  const auto oldSize = std::signal(SIGXFSZ, SIG_IGN);
  const auto result = vxhost::RunChild({"/bin/grep", "-E", "SigBlk|SigIgn", "/proc/self/status"});
  std::signal(SIGPIPE, oldPipe);
  std::signal(SIGXFSZ, oldSize);
  pthread_sigmask(SIG_SETMASK, &before, nullptr);
  std::istringstream lines(result.m_Output);
  std::string name;
  unsigned long blockedThere = ~0UL;
  unsigned long ignoredThere = ~0UL;
  lines >> name >> std::hex >> blockedThere >> name >> ignoredThere;
  EXPECT_EQ(blockedThere, 0U) << result.m_Output;
  EXPECT_EQ(ignoredThere & (1UL << (SIGPIPE - 1) | 1UL << (SIGXFSZ - 1)), 0U) << result.m_Output;
}

}  // namespace
