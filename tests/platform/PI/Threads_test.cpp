#include "support/Files.h"

#include <atomic>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include <PI/ConfigFile.h>
#include <PI/GlobalAdapterID.h>
#include <PI/Object.h>

namespace {

using PI::CGlobalAdapterID;

unsigned int NumberOf(const std::string& host, const std::string& serial) {
  CGlobalAdapterID id(host, serial);
  id.GenerateUniqueAdapterNumber();
  return id.GetGlobalAdapterNumber();
}

// Runs the body on several threads at once and waits for all of them.
template <class Body>
void OnThreads(int count, Body body) {
  std::atomic<bool> start = false;
  std::vector<std::thread> threads;
  for (int i = 0; i < count; ++i) {
    threads.emplace_back([&start, &body, i] {
      start.wait(false);
      body(i);
    });
  }
  start = true;
  start.notify_all();
  for (std::thread& thread : threads) thread.join();
}

TEST(GlobalAdapterID, New_HasNoNumber) {
  EXPECT_EQ(CGlobalAdapterID(PI::LOOPBACK_HOST_NAME, "new").GetGlobalAdapterNumber(), 0U);
}

TEST(GlobalAdapterID, LoopbackHost_IsLocalhost) {
  EXPECT_STREQ(PI::LOOPBACK_HOST_NAME, "localhost");
}

TEST(GlobalAdapterID, SameHostAndSerial_GiveTheSameNumber) {
  const unsigned int number = NumberOf("localhost", "SERIAL1");
  EXPECT_GE(number, 1U);
  EXPECT_EQ(NumberOf("localhost", "SERIAL1"), number);
}

TEST(GlobalAdapterID, Again_KeepsTheNumber) {
  CGlobalAdapterID id("localhost", "again");
  id.GenerateUniqueAdapterNumber();
  const unsigned int number = id.GetGlobalAdapterNumber();
  id.GenerateUniqueAdapterNumber();
  EXPECT_EQ(id.GetGlobalAdapterNumber(), number);
}

TEST(GlobalAdapterID, OtherHostOrSerial_GiveAnotherNumber) {
  const unsigned int number = NumberOf("host a", "S");
  EXPECT_NE(NumberOf("host b", "S"), number);
  EXPECT_NE(NumberOf("host a", "s"), number);
  EXPECT_NE(NumberOf("host aS", ""), NumberOf("host a", "SS"));
}

TEST(GlobalAdapterID, EmptySerial_IsAnIdLikeOthers) {
  EXPECT_EQ(NumberOf("localhost", ""), NumberOf("localhost", ""));
}

// What a scan does before it asks for the number.
TEST(GlobalAdapterID, InsertedByThePluginBefore_GetsANumber) {
  CGlobalAdapterID id("localhost", "inserted before");
  {
    const std::lock_guard<std::mutex> guard(PI::AllHostsAdaptersUniqueIDsMtx);
    if (PI::AllHostsAdaptersUniqueIDs.find(id) == PI::AllHostsAdaptersUniqueIDs.end()) {
      PI::AllHostsAdaptersUniqueIDs.insert(id);
    }
  }
  id.GenerateUniqueAdapterNumber();
  EXPECT_GE(id.GetGlobalAdapterNumber(), 1U);
  EXPECT_EQ(NumberOf("localhost", "inserted before"), id.GetGlobalAdapterNumber());
}

TEST(GlobalAdapterID, Generated_IsInTheSetWithItsNumber) {
  const unsigned int number = NumberOf("localhost", "in the set");
  const std::lock_guard<std::mutex> guard(PI::AllHostsAdaptersUniqueIDsMtx);
  const auto found =
      PI::AllHostsAdaptersUniqueIDs.find(CGlobalAdapterID("localhost", "in the set"));
  ASSERT_NE(found, PI::AllHostsAdaptersUniqueIDs.end());
  EXPECT_EQ(found->GetGlobalAdapterNumber(), number);
}

TEST(GlobalAdapterID, Order_IsHostThenSerial) {
  EXPECT_LT(CGlobalAdapterID("a", "z"), CGlobalAdapterID("b", "a"));
  EXPECT_LT(CGlobalAdapterID("a", "a"), CGlobalAdapterID("a", "b"));
  EXPECT_FALSE(CGlobalAdapterID("a", "a") < CGlobalAdapterID("a", "a"));
}

TEST(GlobalAdapterID, ManyThreads_AgreeOnDistinctNumbers) {
  constexpr int threads = 8;
  constexpr int serials = 1000;
  std::vector<std::vector<unsigned int>> numbers(threads);
  OnThreads(threads, [&numbers](int thread) {
    auto& own = numbers[static_cast<std::size_t>(thread)];
    for (int serial = 0; serial < serials; ++serial) {
      own.push_back(NumberOf("threads", std::to_string(serial)));
    }
  });
  for (const auto& each : numbers) EXPECT_EQ(each, numbers[0]);
  EXPECT_EQ(std::set<unsigned int>(numbers[0].begin(), numbers[0].end()).size(),
            static_cast<std::size_t>(serials));
}

TEST(LockFlag, WrittenDuringCopies_HoldsOneOfBothValues) {
  PI::CObject object;
  object.m_ID = 5;
  std::atomic<bool> done = false;
  std::atomic<int> writes = 0;
  std::thread writer([&] {
    while (!done) object.m_LockFlag = writes++ % 2 == 0;
  });
  while (writes == 0) std::this_thread::yield();
  for (int i = 0; i < 2000; ++i) {
    const PI::CObject copy(object);
    PI::CObject assigned;
    assigned = object;
    EXPECT_EQ(copy.m_ID, 5UL);
    EXPECT_EQ(assigned.m_ID, 5UL);
  }
  done = true;
  writer.join();
  object.m_LockFlag = true;
  EXPECT_TRUE(PI::CObject(object).m_LockFlag);
}

TEST(ConfigFile, WritersOfDifferentKeys_LoseNoLine) {
  constexpr int threads = 4;
  constexpr int writes = 10;
  const vxtest::TempDir directory;
  const std::string path = directory / "shared.ini";
  OnThreads(threads, [&path](int thread) {
    PI::CConfigFile file;
    file.SetFileName(path);
    for (int i = 0; i < writes; ++i) {
      EXPECT_EQ(file.WriteKeyValue("key" + std::to_string(thread), std::to_string(i), -1, -1), 0U);
    }
  });
  PI::CConfigFile file;
  file.SetFileName(path);
  for (int thread = 0; thread < threads; ++thread) {
    std::string value;
    EXPECT_EQ(file.ReadKeyValue("key" + std::to_string(thread), value, -1, -1), 0U);
    EXPECT_EQ(value, std::to_string(writes - 1));
  }
}

TEST(ConfigFile, ReaderDuringWrites_AlwaysFindsAWholeValue) {
  const vxtest::TempDir directory;
  const std::string texts[] = {std::string(50000, 'a'), std::string(60000, 'b')};
  PI::CConfigFile file;
  file.SetFileName(directory / "busy.ini");
  ASSERT_EQ(file.WriteKeyValue("key", texts[1], -1, -1), 0U);
  std::atomic<bool> done = false;
  std::thread reader([&] {
    const PI::CConfigFile own = file;
    while (!done) {
      std::string value;
      EXPECT_EQ(own.ReadKeyValue("key", value, -1, -1), 0U);
      EXPECT_TRUE(value == texts[0] || value == texts[1]);
    }
  });
  for (std::size_t i = 0; i < 20; ++i) {
    EXPECT_EQ(file.WriteKeyValue("key", texts[i % 2], -1, -1), 0U);
  }
  done = true;
  reader.join();
}

TEST(ConfigFile, DirectoryIsSetWhileRead_GivesOneOfBoth) {
  std::thread writer([] {
    for (int i = 0; i < 1000; ++i) PI::CConfigFile::SetConfigDirectory(i % 2 == 0 ? "/a" : "/b");
  });
  for (int i = 0; i < 1000; ++i) {
    const std::string seen = PI::CConfigFile::ConfigDirectory();
    EXPECT_TRUE(seen == "." || seen == "/a" || seen == "/b") << seen;
  }
  writer.join();
  PI::CConfigFile::SetConfigDirectory("");
  EXPECT_EQ(PI::CConfigFile::ConfigDirectory(), ".");
}

}  // namespace
