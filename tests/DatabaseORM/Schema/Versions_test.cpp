#include "DatabaseORM/RawSqlite.h"
#include "support/Files.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <Schema/Database.h>
#include <Schema/Versions.h>

namespace {

using DBEXCEPTION::DatabaseException;
using RaidDataModels::Adapter;
using RaidDataModels::PD;
using RaidDataModels::Plugin;
using Schema::OpenForWriting;
using Schema::OpenReadOnly;
using testing::ElementsAre;
using testing::HasSubstr;
using vxtest::RawSqlite;

std::string Version1() {
  return vxtest::ReadFile(std::string(VX_SOURCE_DIR) + "/tests/DatabaseORM/Schema/version1.sql");
}

std::vector<RawSqlite::Row> SchemaOf(const std::filesystem::path& path) {
  return RawSqlite(path).Rows(
      "SELECT name, sql, (SELECT user_version FROM pragma_user_version), "
      "(SELECT application_id FROM pragma_application_id) FROM sqlite_master ORDER BY name");
}

// Files that version 1 made exist; the step that makes them may never change.
TEST(SchemaVersions, FirstStep_MakesExactlyTheRecordedVersion) {
  const vxtest::TempDir dir;
  RawSqlite(dir / "old.db").Run(Version1());
  DatabaseWrapper::CSqliteDatabase made((dir / "new.db").string());
  for (const std::string& statement : Schema::Latest().Steps.front().Statements) {
    made.query(statement);
  }
  made.query("PRAGMA user_version = 1");
  EXPECT_EQ(SchemaOf(dir / "new.db"), SchemaOf(dir / "old.db"));
}

TEST(SchemaVersions, Steps_CountFromOne) {
  int version = 0;
  for (const auto& step : Schema::Latest().Steps) EXPECT_EQ(step.Version, ++version);
  EXPECT_EQ(Schema::LatestVersion(), version);
}

TEST(SchemaVersions, OpenForWriting_EarlierVersion_KeepsItsRows) {
  const vxtest::TempDir dir;
  RawSqlite(dir / "old.db")
      .Run(Version1() + "INSERT INTO PD(SerialNumber, Host) VALUES('S1', 'localhost');");
  const auto opened = OpenForWriting((dir / "old.db").string());
  ASSERT_NE(opened.Database, nullptr) << opened.Error;
  EXPECT_EQ(opened.Database->Read("PD").at(0).at(1), "S1");
}

// --- a version to come, rehearsed: one more column, which the adapter's record fills

class NextVersion : public testing::Test {
 protected:
  NextVersion() {
    schema_.Steps.push_back(
        {Schema::LatestVersion() + 1, {"ALTER TABLE Adapter ADD COLUMN Slot TEXT"}});
    auto& columns = schema_.Tables.at(1).Columns;
    columns.insert(columns.begin() + 5, {"Slot", Schema::EKind::Text, "", "no", "slot", ""});
    options_.Schema = &schema_;
    options_.Storage = [](auto database) {
      auto adapters = Schema::MakeTable<Adapter>();
      adapters->columns.insert(
          adapters->columns.begin() + 5,
          std::make_shared<DatabaseORM::column_t<Adapter>>(
              DatabaseORM::column_t<Adapter>{&Adapter::Location, "Slot", false, 0}));
      int position = 0;
      for (const auto& column : adapters->columns) column->position = position++;
      return Schema::MakeStorage(database,
                                 {Schema::MakeTable<Plugin>(), adapters, Schema::MakeTable<PD>()});
    };
  }

  // Writes an adapter, changes it, and returns what the file then says of its slot.
  std::string WrittenSlot(const std::filesystem::path& path) {
    const auto opened = OpenForWriting(path.string(), options_);
    EXPECT_EQ(opened.Error, "");
    if (!opened.Database) return "";
    auto& storage = opened.Database->HostDatabase()->Storage();
    Adapter adapter;
    adapter.Host = "localhost";
    adapter.AdapterNumber = 7;
    adapter.Location = "slot 1";
    storage.insert(adapter);
    using DatabaseORM::is_equal;
    auto rows = storage.get_all<Adapter>(DatabaseORM::where(is_equal(&Adapter::AdapterNumber, 7)));
    EXPECT_EQ(rows.size(), 1U);
    if (rows.size() != 1) return "";
    EXPECT_EQ(rows[0].Location, "slot 1");
    EXPECT_EQ(rows[0].Host, "localhost");
    rows[0].Location = "slot 2";
    rows[0].MediaErrors = 3;
    storage.update(rows[0]);
    return RawSqlite(path).One(
        "SELECT Slot || ' of ' || AdapterNumber || ', errors ' || MediaErrors FROM Adapter "
        "WHERE AdapterNumber = 7");
  }

  vxtest::TempDir dir_;
  Schema::CSchema schema_ = Schema::Latest();
  Schema::COptions options_;
};

TEST_F(NextVersion, FreshFile_HasTheColumnAndTakesRows) {
  EXPECT_EQ(WrittenSlot(dir_ / "new.db"), "slot 2 of 7, errors 3");
  EXPECT_EQ(RawSqlite(dir_ / "new.db").One("PRAGMA user_version"),
            std::to_string(Schema::LatestVersion() + 1));
}

TEST_F(NextVersion, FileOfEachEarlierVersion_GetsTheColumnKeepsItsRowsAndTakesRows) {
  RawSqlite(dir_ / "first.db")
      .Run(Version1() + "INSERT INTO Adapter(AdapterNumber, Host) VALUES(3, 'elsewhere');");
  ASSERT_NE(OpenForWriting((dir_ / "latest.db").string()).Database, nullptr);
  for (const char* name : {"first.db", "latest.db"}) {
    EXPECT_EQ(WrittenSlot(dir_ / name), "slot 2 of 7, errors 3") << name;
  }
  EXPECT_EQ(RawSqlite(dir_ / "first.db").One("SELECT Host FROM Adapter WHERE AdapterNumber = 3"),
            "elsewhere");
}

// Columns of somebody else make a file in which ours stand elsewhere than in the record.
TEST_F(NextVersion, OldFileWithAColumnOfAnother_IsWrittenRight) {
  RawSqlite(dir_ / "old.db").Run(Version1() + "ALTER TABLE Adapter ADD COLUMN Owner TEXT;");
  EXPECT_EQ(WrittenSlot(dir_ / "old.db"), "slot 2 of 7, errors 3");
  const auto opened = OpenReadOnly((dir_ / "old.db").string(), options_);
  ASSERT_NE(opened.Database, nullptr) << opened.Error;
  EXPECT_EQ(opened.Database->Read("Adapter").at(0).at(5), "slot 2");
}

TEST_F(NextVersion, OldFileToRead_SaysWhatBringsItUpToDate) {
  const std::string path = (dir_ / "vx.db").string();
  ASSERT_NE(OpenForWriting(path).Database, nullptr);
  EXPECT_EQ(OpenReadOnly(path, options_).Error,
            "\"" + path + "\": The database has the older schema version " +
                std::to_string(Schema::LatestVersion()) +
                "; opening it for writing brings it up to date.");
}

TEST_F(NextVersion, DescriptionWithoutItsStep_IsRefused) {
  schema_.Steps.pop_back();
  EXPECT_THAT(OpenForWriting((dir_ / "vx.db").string(), options_).Error,
              HasSubstr("The table \"Adapter\" has no column \"Slot\""));
}

// --- files that somebody else has changed

std::string ErrorAfter(const std::string& change, bool readOnly) {
  const vxtest::TempDir dir;
  const std::string path = (dir / "vx.db").string();
  (void)OpenForWriting(path);
  RawSqlite(path).Run("DROP VIEW vx_drives; " + change);
  const std::string before = vxtest::ReadFile(path);
  const std::string error = readOnly ? OpenReadOnly(path).Error : OpenForWriting(path).Error;
  EXPECT_EQ(vxtest::ReadFile(path), before);
  return error.substr(0, error.find("; another program")).erase(0, error.find(": ") + 2);
}

TEST(SchemaShape, ChangedTables_AreRefusedByName) {
  const std::vector<std::pair<std::string, std::string>> cases{
      {"DROP TABLE PD", "There is no table \"PD\""},
      {"ALTER TABLE Adapter RENAME COLUMN MediaErrors TO Errors",
       "The table \"Adapter\" has no column \"MediaErrors\""},
      {"ALTER TABLE Plugin DROP COLUMN Vendor", "The table \"Plugin\" has no column \"Vendor\""},
      {"ALTER TABLE PD DROP COLUMN Temperature; ALTER TABLE PD ADD COLUMN Temperature TEXT",
       "The column \"Temperature\" of the table \"PD\" is of type \"TEXT\" and must be REAL"},
      {"PRAGMA writable_schema = ON; UPDATE sqlite_master SET sql = replace(sql, ' PRIMARY KEY', "
       "'') "
       "WHERE name = 'Plugin'",
       "The column \"ID\" of the table \"Plugin\" is not its primary key"},
      {"ALTER TABLE PD ADD COLUMN Extra TEXT; PRAGMA writable_schema = ON; UPDATE sqlite_master "
       "SET "
       "sql = replace(sql, 'Extra TEXT', 'Extra TEXT NOT NULL') WHERE name = 'PD'",
       "The table \"PD\" has a column \"Extra\" that is not ours and may not be null"},
  };
  for (const auto& [change, finding] : cases) {
    EXPECT_EQ(ErrorAfter(change, false), finding);
    EXPECT_EQ(ErrorAfter(change, true), finding);
  }
}

TEST(SchemaShape, Refusal_NamesTheFileAndTheWayOut) {
  const vxtest::TempDir dir;
  const std::string path = (dir / "vx.db").string();
  (void)OpenForWriting(path);
  RawSqlite(path).Run("DROP TABLE PD");
  EXPECT_EQ(OpenForWriting(path).Error,
            "\"" + path +
                "\": There is no table \"PD\"; another program has changed the database: name "
                "another file, or end the host and move this one and its -wal and -shm away: the "
                "next start makes a new one.");
}

TEST(SchemaShape, WhatOthersAdd_IsLeftAlone) {
  const vxtest::TempDir dir;
  const std::string path = (dir / "vx.db").string();
  (void)OpenForWriting(path);
  RawSqlite(path).Run(
      "ALTER TABLE Adapter ADD COLUMN Owner TEXT; ALTER TABLE PD ADD COLUMN Rack TEXT NOT NULL "
      "DEFAULT 'r'; CREATE INDEX of_others ON Adapter(AdapterNumber); CREATE VIEW theirs AS SELECT "
      "Name FROM Adapter; CREATE TABLE notes(text)");
  const auto opened = OpenForWriting(path);
  ASSERT_NE(opened.Database, nullptr) << opened.Error;
  auto& storage = opened.Database->HostDatabase()->Storage();
  for (const int number : {1, 2}) {
    Adapter adapter;
    adapter.AdapterNumber = number;
    adapter.Host = "localhost";
    storage.insert(adapter);
  }
  storage.insert(PD());
  // Two rows of one key: what others have added must not shift the second one.
  RawSqlite(path).Run("UPDATE Adapter SET Owner = 'me', AdapterNumber = 1");
  const auto rows = storage.get_all<Adapter>(
      DatabaseORM::where(DatabaseORM::is_equal(&Adapter::AdapterNumber, 1)));
  ASSERT_EQ(rows.size(), 2U);
  EXPECT_EQ(rows[1].ID, 2);
  EXPECT_EQ(rows[1].Host, "localhost");
  const auto shown = opened.Database->Read("Adapter");
  ASSERT_EQ(shown.size(), 2U);
  EXPECT_EQ(shown[1].size(), Schema::Tables()[1].Columns.size());
  EXPECT_EQ(shown[1][2], "1");
  const RawSqlite raw(path);
  EXPECT_EQ(raw.One("SELECT group_concat(Owner) FROM Adapter"), "me,me");
  EXPECT_EQ(raw.One("SELECT COUNT(*) FROM theirs"), "2");
  EXPECT_EQ(raw.One("SELECT COUNT(*) FROM sqlite_master WHERE name IN ('of_others', 'notes')"),
            "2");
}

// A foreign text in a cell of numbers would otherwise keep its row from ever being read, and with
// that from being written.
TEST(SchemaShape, CellThatIsNoNumber_ReadsAsNullAndIsOverwritten) {
  const auto opened = OpenForWriting(DatabaseWrapper::IN_MEMORY);
  ASSERT_NE(opened.Database, nullptr) << opened.Error;
  auto& database = *opened.Database->HostDatabase();
  Adapter adapter;
  adapter.AdapterNumber = 1;
  adapter.Temperature = 36.5;
  adapter.PowerOnHours = 9;
  adapter.Name = "hot";
  database.Storage().insert(adapter);
  database.Dao().query(
      "UPDATE Adapter SET Temperature = 'hot', Mode = 99999999999, PowerOnHours = 1e30");
  const auto key = DatabaseORM::where(DatabaseORM::is_equal(&Adapter::AdapterNumber, 1));
  auto rows = database.Storage().get_all<Adapter>(key);
  ASSERT_EQ(rows.size(), 1U);
  EXPECT_EQ(rows[0].Temperature, RaidDataModels::NULL_REAL);
  EXPECT_EQ(rows[0].Mode, RaidDataModels::NULL_INTEGER);
  EXPECT_EQ(rows[0].PowerOnHours, RaidDataModels::NULL_UNSIGNED);
  EXPECT_EQ(rows[0].Name, "hot");
  adapter.ID = rows[0].ID;
  database.Storage().update(adapter);
  EXPECT_EQ(opened.Database->HostDatabase()->Dao().query("SELECT Temperature FROM Adapter"),
            std::vector<std::string>{"36.5"});
}

// --- steps that fail

// A database of which statements that begin so fail.
struct FailingDao : DatabaseWrapper::DatabaseDAO {
  std::vector<std::string> query(std::string statement) override {
    for (const std::string& start : failing) {
      if (statement.starts_with(start)) throw DatabaseException(start + " failed");
    }
    return engine.query(std::move(statement));
  }

  std::vector<std::string> failing;
  DatabaseWrapper::CSqliteDatabase engine{DatabaseWrapper::IN_MEMORY};
};

std::string FailureOfUpgrade(FailingDao& database) {
  try {
    Schema::Upgrade(database);
  } catch (const DatabaseException& failure) {
    return failure.what();
  }
  return "(no failure)";
}

TEST(SchemaUpgrade, StepThatFails_LeavesTheDatabaseAsItWasAndSaysWhy) {
  FailingDao database;
  database.failing = {"PRAGMA user_version = "};
  EXPECT_EQ(FailureOfUpgrade(database), "PRAGMA user_version =  failed");
  EXPECT_THAT(database.query("SELECT COUNT(*) FROM sqlite_master"), ElementsAre("0"));
  database.failing.clear();
  EXPECT_EQ(FailureOfUpgrade(database), "(no failure)");
  EXPECT_THAT(database.query("PRAGMA user_version"),
              ElementsAre(std::to_string(Schema::LatestVersion())));
}

TEST(SchemaUpgrade, RollbackThatFails_DoesNotHideTheCause) {
  FailingDao database;
  database.failing = {"PRAGMA user_version = ", "ROLLBACK"};
  EXPECT_EQ(FailureOfUpgrade(database), "PRAGMA user_version =  failed");
}

}  // namespace
