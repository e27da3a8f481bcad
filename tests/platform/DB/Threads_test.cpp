#include "platform/DB/Support.h"
#include "support/Files.h"
#include "support/Scale.h"

#include <atomic>
#include <thread>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <DB/Sqlite.h>

namespace {

using DatabaseWrapper::CHostDatabase;
using DatabaseWrapper::CSqliteDatabase;
using DatabaseWrapper::CTransaction;

void InThreads(int count, const std::function<void(int)>& body) {
  std::vector<std::thread> threads;
  for (int number = 0; number < count; ++number) threads.emplace_back(body, number);
  for (std::thread& thread : threads) thread.join();
}

TEST(SqliteThreads, Statements_OfManyThreads_AreRunOneAtATime) {
  const vxtest::TempDir dir;
  CSqliteDatabase database((dir / "vx.db").string());
  database.query("CREATE TABLE t(thread INTEGER, number INTEGER)");
  const int each = vxtest::Count(50, 1000);
  std::atomic<int> torn = 0;
  InThreads(4, [&](int thread) {
    for (int number = 0; number < each; ++number) {
      const std::string value = std::to_string(thread);
      database.query("INSERT INTO t VALUES(" + value + ", " + std::to_string(number) + ")");
      const auto cells =
          database.query("SELECT thread, MAX(number) FROM t WHERE thread = " + value);
      if (cells != std::vector<std::string>{value, std::to_string(number)}) ++torn;
    }
  });
  EXPECT_EQ(torn, 0);
  EXPECT_EQ(database.query("SELECT COUNT(*) FROM t").at(0), std::to_string(4 * each));
}

TEST(SqliteThreads, Failures_OfOneThread_AreNotAnothers) {
  CSqliteDatabase database(DatabaseWrapper::IN_MEMORY);
  std::atomic<int> wrong = 0;
  InThreads(4, [&](int thread) {
    const std::string name = "nowhere" + std::to_string(thread);
    for (int number = 0; number < 50; ++number) {
      const std::string text = vxtest::FailureOf([&] { database.query("SELECT * FROM " + name); });
      if (text.find("no such table: " + name + ")") == std::string::npos) ++wrong;
    }
  });
  EXPECT_EQ(wrong, 0);
}

TEST(SqliteThreads, DeletedFile_IsWrittenBackOnceUnderLoad) {
  const vxtest::TempDir dir;
  const std::string path = (dir / "vx.db").string();
  CSqliteDatabase database(path);
  database.query("CREATE TABLE t(a)");
  InThreads(4, [&](int thread) {
    for (int number = 0; number < 25; ++number) {
      if (thread == 0 && number % 5 == 0) std::filesystem::remove(path);
      database.query("INSERT INTO t VALUES(1)");
    }
  });
  EXPECT_EQ(database.query("SELECT COUNT(*) FROM t").at(0), "100");
  EXPECT_EQ(database.query("PRAGMA integrity_check").at(0), "ok");
}

TEST(SqliteThreads, Transaction_WhileOthersWrite_KeepsAllOrNothing) {
  CSqliteDatabase database(DatabaseWrapper::IN_MEMORY);
  database.query("CREATE TABLE t(a)");
  InThreads(2, [&](int thread) {
    for (int number = 0; number < 50; ++number) {
      if (thread == 1) {
        database.query("INSERT INTO t VALUES(1)");
      } else {
        CTransaction transaction(database);
        database.query("INSERT INTO t VALUES(2)");
        transaction.Commit();
      }
    }
  });
  EXPECT_EQ(database.query("SELECT COUNT(*) FROM t").at(0), "100");
}

TEST(SqliteThreads, Registration_MayBeReplacedWhileOthersAsk) {
  std::atomic<bool> done = false;
  std::thread asking([&] {
    while (!done) {
      if (const auto database = getDatabasePointer()) database->Dao().query("SELECT 1");
    }
  });
  for (int round = 0; round < 50; ++round) {
    auto dao = std::make_shared<CSqliteDatabase>(DatabaseWrapper::IN_MEMORY);
    DatabaseWrapper::registerDatabase(std::make_shared<CHostDatabase>(dao, nullptr));
    DatabaseWrapper::registerDatabase(nullptr);
  }
  done = true;
  asking.join();
  EXPECT_EQ(getDatabasePointer(), nullptr);
}

}  // namespace
