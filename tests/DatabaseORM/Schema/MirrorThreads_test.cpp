#include "DatabaseORM/RawSqlite.h"
#include "support/Files.h"

#include <atomic>
#include <thread>

#include <gtest/gtest.h>

#include <Schema/Mirror.h>

namespace {

using DBEXCEPTION::DatabaseException;
using RaidDataModels::Adapter;

// Plug-ins write while the host starts another one, takes a start back and removes rows.
TEST(MirrorThreads, StartsWhileOthersWrite_RefuseNothingAndKeepTheLastCommittedStart) {
  const vxtest::TempDir dir;
  const std::filesystem::path path = dir / "vx.db";
  std::atomic<int> lines = 0;
  Schema::CMirrorOptions options;
  options.Say = [&](const std::string&) { ++lines; };
  Schema::CMirror mirror(path.string(), options);
  std::atomic<bool> stops = false;
  std::atomic<int> refused = 0;
  std::vector<std::thread> writers;
  for (int writer = 0; writer < 3; ++writer) {
    writers.emplace_back([&, writer] {
      Adapter adapter;
      adapter.Host = "elsewhere";  // no start removes these
      adapter.AdapterNumber = writer;
      while (!stops) {
        try {
          getDatabasePointer()->Storage().insert(adapter);
        } catch (const DatabaseException&) {
          ++refused;
        }
      }
    });
  }
  for (int start = 0; start < 40; ++start) {
    const auto begun = mirror.BeginStart();
    ASSERT_NE(begun, nullptr);
    Adapter mine;
    mine.Host = "localhost";
    getDatabasePointer()->Storage().insert(mine);
    if (start % 2 == 0) {
      EXPECT_EQ(begun->Commit(), std::nullopt);
    }
  }
  stops = true;
  for (std::thread& writer : writers) writer.join();
  EXPECT_EQ(refused, 0);
  EXPECT_EQ(lines, 0);
  const vxtest::RawSqlite raw(path);
  EXPECT_EQ(raw.One("PRAGMA integrity_check"), "ok");
  // Each start takes the rows of the one before away, and the last one was not kept.
  EXPECT_EQ(raw.One("SELECT COUNT(*) FROM Adapter WHERE Host = 'localhost'"), "1");
}

}  // namespace
