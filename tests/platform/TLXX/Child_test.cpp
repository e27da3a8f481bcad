#include "Child.h"

#include "Scripts.h"

#include <csignal>

#include <gtest/gtest.h>
#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

using namespace std::chrono_literals;
using TLXX::CChild;
using TLXX::CCommand;
using TLXX::CDescriptor;

CCommand Command(std::vector<std::string> words) {
  CCommand command;
  command.m_Words = std::move(words);
  return command;
}

TEST(ChildTest, Reap_OfAnEndedChild_GivesItsStatus) {
  CChild child;
  CDescriptor output;
  ASSERT_EQ(child.Start(Command({"/bin/sh", "-c", "exit 3"}), output), 0);
  const auto status = child.Reap(10s);
  ASSERT_TRUE(status.has_value());
  EXPECT_TRUE(WIFEXITED(*status));
  EXPECT_EQ(WEXITSTATUS(*status), 3);
  EXPECT_FALSE(child.Reap(10s).has_value());
  EXPECT_FALSE(tlxxtest::HasChildren());
}

TEST(ChildTest, HasEnded_LeavesTheChildToBeReaped) {
  CChild child;
  CDescriptor output;
  ASSERT_EQ(child.Start(Command({"/bin/sh", "-c", "exit 3"}), output), 0);
  pollfd ended{child.EndDescriptor(), POLLIN, 0};
  ASSERT_EQ(poll(&ended, 1, 10'000), 1);
  EXPECT_TRUE(child.HasEnded());
  EXPECT_TRUE(child.HasEnded());
  EXPECT_TRUE(child.Reap(10s).has_value());
}

TEST(ChildTest, Start_ThatFails_LeavesNothing) {
  const std::size_t descriptors = tlxxtest::OpenDescriptors();
  CChild child;
  CDescriptor output;
  EXPECT_EQ(child.Start(Command({"/nowhere/tool"}), output), ENOENT);
  EXPECT_FALSE(output.IsOpen());
  EXPECT_EQ(tlxxtest::OpenDescriptors(), descriptors);
  EXPECT_FALSE(tlxxtest::HasChildren());
}

TEST(ChildTest, Destructor_OfARunningChild_KillsAndReapsIt) {
  const std::size_t descriptors = tlxxtest::OpenDescriptors();
  {
    CChild child;
    CDescriptor output;
    ASSERT_EQ(child.Start(Command({"/bin/sleep", "600"}), output), 0);
    EXPECT_FALSE(child.HasEnded());
  }
  EXPECT_FALSE(tlxxtest::HasChildren());
  EXPECT_EQ(tlxxtest::OpenDescriptors(), descriptors);
}

TEST(ChildTest, AbandonedChild_IsReapedOnceItHasEnded) {
  CDescriptor output;
  {
    CChild child;
    ASSERT_EQ(child.Start(Command({"/bin/sh", "-c", "echo $$; exec sleep 600"}), output), 0);
    EXPECT_FALSE(child.Reap(20ms).has_value());
    child.Abandon();
  }
  EXPECT_EQ(CChild::ReapAbandoned(), 1U);
  char text[32] = {};
  ASSERT_GT(read(output.Get(), text, sizeof text - 1), 0);
  kill(std::stoi(text), SIGKILL);
  while (CChild::ReapAbandoned() != 0) sched_yield();
  EXPECT_FALSE(tlxxtest::HasChildren());
}

}  // namespace
