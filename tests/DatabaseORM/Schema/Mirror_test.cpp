#include "DatabaseORM/RawSqlite.h"
#include "support/Files.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <Schema/Mirror.h>

namespace {

using DBEXCEPTION::DatabaseException;
using RaidDataModels::Adapter;
using RaidDataModels::PD;
using RaidDataModels::Plugin;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using vxtest::RawSqlite;

class MirrorTest : public testing::Test {
 protected:
  Schema::CMirrorOptions Options() {
    Schema::CMirrorOptions options;
    options.Database.BusyTimeout = std::chrono::milliseconds(1);
    options.Database.PauseAfterBusy = std::chrono::milliseconds(0);
    options.Now = [this] { return now_; };
    options.Say = [this](const std::string& line) { said_.push_back(line); };
    return options;
  }

  std::filesystem::path Path() const { return dir_ / "vx.db"; }

  // A file with the rows of a run that has ended.
  void MakeEarlierRun() const {
    Schema::CMirror mirror(Path().string(), {});
    WriteAdapter(8);
    WriteAdapter(9);
    Plugin plugin;
    plugin.Name = "earlier";
    getDatabasePointer()->Storage().insert(plugin);
  }

  static void WriteAdapter(int number) {
    Adapter adapter;
    adapter.Host = "localhost";
    adapter.AdapterNumber = number;
    getDatabasePointer()->Storage().insert(adapter);
  }

  // The numbers of the adapters, as another program reads them.
  std::string Numbers() const {
    return RawSqlite(Path()).One(
        "SELECT IFNULL(group_concat(AdapterNumber), '') FROM (SELECT * FROM Adapter ORDER BY ID)");
  }

  vxtest::TempDir dir_;
  unsigned long now_ = 1000;
  std::vector<std::string> said_;
};

TEST_F(MirrorTest, Registration_LastsAsLongAsTheMirror) {
  {
    const Schema::CMirror mirror(Path().string(), Options());
    ASSERT_NE(getDatabasePointer(), nullptr);
  }
  EXPECT_EQ(getDatabasePointer(), nullptr);
  {
    const Schema::CMirror first(DatabaseWrapper::IN_MEMORY, Options());
    const auto registered = getDatabasePointer();
    {
      const Schema::CMirror second(DatabaseWrapper::IN_MEMORY, Options());
      DatabaseWrapper::registerDatabase(registered);
    }
    EXPECT_EQ(getDatabasePointer(), registered);
  }
}

TEST_F(MirrorTest, FirstStatement_RemovesTheEarlierRunBeforeIt) {
  MakeEarlierRun();
  const Schema::CMirror mirror(Path().string(), Options());
  EXPECT_EQ(Numbers(), "8,9");
  WriteAdapter(1);
  EXPECT_EQ(Numbers(), "1");
  EXPECT_EQ(RawSqlite(Path()).One("SELECT COUNT(*) FROM Plugin"), "0");
  WriteAdapter(2);
  EXPECT_EQ(Numbers(), "1,2");
  EXPECT_THAT(said_, IsEmpty());
}

TEST_F(MirrorTest, Start_ShowsTheEarlierRowsUntilItIsCommitted) {
  MakeEarlierRun();
  Schema::CMirror mirror(Path().string(), Options());
  {
    const auto start = mirror.BeginStart();
    ASSERT_NE(start, nullptr);
    WriteAdapter(1);
    EXPECT_EQ(Numbers(), "8,9");
    EXPECT_EQ(start->Commit(), std::nullopt);
    EXPECT_EQ(Numbers(), "1");
  }
  EXPECT_EQ(Numbers(), "1");
}

// As after a kill in the middle of a start.
TEST_F(MirrorTest, StartThatIsNotCommitted_LeavesTheEarlierRows) {
  MakeEarlierRun();
  Schema::CMirror mirror(Path().string(), Options());
  {
    const auto start = mirror.BeginStart();
    WriteAdapter(1);
  }
  EXPECT_EQ(Numbers(), "8,9");
  mirror.RemoveEarlierRun();
  EXPECT_EQ(Numbers(), "");
}

TEST_F(MirrorTest, FileLockedAtTheStart_IsWrittenLaterWithoutTheEarlierRows) {
  MakeEarlierRun();
  Schema::CMirror mirror(Path().string(), Options());
  {
    const RawSqlite other(Path());
    other.Run("BEGIN IMMEDIATE");
    EXPECT_EQ(mirror.BeginStart(), nullptr);
    EXPECT_THROW(WriteAdapter(1), DatabaseException);
    EXPECT_EQ(Numbers(), "8,9");
    other.Run("ROLLBACK");
  }
  WriteAdapter(1);
  EXPECT_EQ(Numbers(), "1");
  EXPECT_THAT(said_,
              ElementsAre(HasSubstr("the mirror in the database is not written: The database "),
                          "the mirror in the database is written again"));
}

TEST_F(MirrorTest, DirectoryMissing_IsTriedAgainWithGrowingPauses) {
  const std::filesystem::path path = dir_ / "later" / "vx.db";
  Schema::CMirror mirror(path.string(), Options());
  EXPECT_THROW(WriteAdapter(1), DatabaseException);
  EXPECT_EQ(mirror.BeginStart(), nullptr);
  EXPECT_THAT(said_, ElementsAre(HasSubstr("no mirror in a database: ")));
  std::filesystem::create_directory(dir_ / "later");
  now_ += 4999;
  EXPECT_THROW(WriteAdapter(1), DatabaseException);
  std::filesystem::remove(dir_ / "later");
  now_ += 1;
  EXPECT_THROW(WriteAdapter(1), DatabaseException);  // tried, and not there
  std::filesystem::create_directory(dir_ / "later");
  now_ += 9999;
  EXPECT_THROW(WriteAdapter(1), DatabaseException);
  now_ += 1;
  WriteAdapter(1);
  EXPECT_EQ(RawSqlite(path).One("SELECT COUNT(*) FROM Adapter"), "1");
  EXPECT_THAT(said_, ElementsAre(HasSubstr("no mirror in a database: "),
                                 "the database \"" + std::filesystem::canonical(path).string() +
                                     "\" can be opened now: the mirror is written"));
}

TEST_F(MirrorTest, Pause_GrowsToItsLimit) {
  const std::filesystem::path directory = dir_ / "later";
  Schema::CMirror mirror((directory / "vx.db").string(), Options());
  for (int attempt = 0; attempt < 10; ++attempt) {
    now_ += 60'000;
    EXPECT_THROW(WriteAdapter(1), DatabaseException);
  }
  std::filesystem::create_directory(directory);
  now_ += 59'999;
  EXPECT_THROW(WriteAdapter(1), DatabaseException);
  now_ += 1;
  WriteAdapter(1);
}

TEST_F(MirrorTest, MissingDirectory_IsMadeWhereTheHostSaysSo) {
  Schema::CMirrorOptions options = Options();
  options.MakesDirectory = true;
  const Schema::CMirror mirror((dir_ / "a" / "b" / "vx.db").string(), options);
  WriteAdapter(1);
  EXPECT_EQ(RawSqlite(dir_ / "a" / "b" / "vx.db").One("SELECT COUNT(*) FROM Adapter"), "1");
}

TEST_F(MirrorTest, SecondMirror_WritesWhenTheFirstHasGone) {
  auto first = std::make_unique<Schema::CMirror>(Path().string(), Options());
  WriteAdapter(8);
  const Schema::CMirror second(Path().string(), Options());
  EXPECT_THAT(said_, ElementsAre(HasSubstr("is written by Schema_Database_test (process ")));
  EXPECT_THROW(WriteAdapter(1), DatabaseException);
  first.reset();
  now_ += 5000;
  WriteAdapter(1);
  EXPECT_EQ(Numbers(), "1");
}

// Two lines for an outage, however many statements fail in it.
TEST_F(MirrorTest, Outage_IsSaidOnceAndItsEndOnce) {
  const Schema::CMirror mirror(Path().string(), Options());
  WriteAdapter(1);
  const RawSqlite other(Path());
  for (int outage = 0; outage < 2; ++outage) {
    said_.clear();
    other.Run("BEGIN IMMEDIATE");
    for (int row = 0; row < 5; ++row) EXPECT_THROW(WriteAdapter(2), DatabaseException);
    // Reading goes on, and is no sign that writing does.
    (void)getDatabasePointer()->Dao().query("SELECT * FROM Adapter WHERE AdapterNumber = '1'");
    EXPECT_THAT(said_, ElementsAre(HasSubstr("is locked by another program")));
    other.Run("ROLLBACK");
    WriteAdapter(3);
    WriteAdapter(4);
    EXPECT_THAT(said_, ElementsAre(HasSubstr("the mirror in the database is not written: "),
                                   "the mirror in the database is written again"));
  }
}

// Other statements that work do not make a refused one good.
TEST_F(MirrorTest, RefusedStatement_IsSaidUntilOneOfItsKindWorks) {
  const Schema::CMirror mirror(Path().string(), Options());
  WriteAdapter(1);
  const RawSqlite other(Path());
  other.Run(
      "CREATE TRIGGER no_drives BEFORE INSERT ON PD BEGIN SELECT RAISE(ABORT, 'no drives'); END");
  auto& storage = getDatabasePointer()->Storage();
  for (int scan = 0; scan < 3; ++scan) {
    EXPECT_THROW(storage.insert(PD()), DatabaseException);
    WriteAdapter(2);
  }
  EXPECT_THAT(said_, ElementsAre(HasSubstr("no drives")));
  other.Run("DROP TRIGGER no_drives");
  storage.insert(PD());
  EXPECT_THAT(said_,
              ElementsAre(HasSubstr("no drives"), "the mirror in the database is written again"));
}

TEST_F(MirrorTest, EarlierRowsThatCannotBeRemoved_GoBeforeTheNextRow) {
  Schema::CMirror mirror(Path().string(), Options());
  WriteAdapter(8);
  const RawSqlite other(Path());
  other.Run("BEGIN IMMEDIATE");
  mirror.RemoveEarlierRun();
  EXPECT_EQ(Numbers(), "8");
  EXPECT_THAT(said_, ElementsAre(HasSubstr("is not written")));
  other.Run("ROLLBACK");
  WriteAdapter(1);
  EXPECT_EQ(Numbers(), "1");
}

}  // namespace
