#include "DatabaseORM/RawSqlite.h"
#include "support/Files.h"

#include <set>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <Schema/Database.h>

namespace {

using DatabaseORM::is_equal;
using DatabaseORM::where;
using DBEXCEPTION::DatabaseException;
using RaidDataModels::Adapter;
using RaidDataModels::PD;
using RaidDataModels::Plugin;
using Schema::OpenForWriting;
using Schema::OpenReadOnly;
using testing::ElementsAre;
using vxtest::RawSqlite;

Adapter AdapterOf(const std::string& host, int number) {
  Adapter adapter;
  adapter.Host = host;
  adapter.AdapterNumber = number;
  return adapter;
}

PD DriveOf(const std::string& serial, const std::string& location) {
  PD drive;
  drive.SerialNumber = serial;
  drive.Host = "localhost";
  drive.Location = location;
  return drive;
}

Plugin PluginOf(const std::string& name) {
  Plugin plugin;
  plugin.Name = name;
  return plugin;
}

TEST(SchemaDatabase, OpenForWriting_MissingFile_MakesTheTablesOfTheLatestVersion) {
  const vxtest::TempDir dir;
  const auto opened = OpenForWriting((dir / "vx.db").string());
  ASSERT_NE(opened.Database, nullptr) << opened.Error;
  const RawSqlite raw(dir / "vx.db");
  EXPECT_EQ(raw.One("PRAGMA user_version"), std::to_string(Schema::LatestVersion()));
  EXPECT_EQ(raw.One("PRAGMA journal_mode"), "wal");
  for (const auto& table : Schema::Tables()) {
    std::set<std::string> stored;
    for (const auto& row : raw.Rows("SELECT name FROM pragma_table_info('" + table.Name + "')")) {
      stored.insert(row.at(0).value_or("NULL"));
    }
    std::set<std::string> wanted;
    for (const auto& column : table.Columns) wanted.insert(column.Name);
    EXPECT_EQ(stored, wanted) << table.Name;
  }
}

// What stands in the table of plug-ins was written by a process that has ended, whatever its name.
TEST(SchemaDatabase, RemoveEarlierRun_LeavesDrivesAndAdaptersOfOtherHosts) {
  const vxtest::TempDir dir;
  const std::string path = (dir / "vx.db").string();
  const auto opened = OpenForWriting(path);
  auto& storage = opened.Database->HostDatabase()->Storage();
  storage.insert(AdapterOf("localhost", 1));
  storage.insert(AdapterOf("elsewhere", 1));
  storage.insert(PluginOf("Torvex-Plugin"));
  storage.insert(PluginOf("Another-Plugin"));
  storage.insert(DriveOf("S1", "slot 1"));
  opened.Database->RemoveEarlierRun();
  const RawSqlite raw(path);
  EXPECT_EQ(raw.Rows("SELECT Host FROM Adapter"), (std::vector<RawSqlite::Row>{{"elsewhere"}}));
  EXPECT_EQ(raw.One("SELECT COUNT(*) FROM Plugin"), "0");
  EXPECT_EQ(raw.One("SELECT SerialNumber FROM PD"), "S1");
}

TEST(SchemaDatabase, OpenForWriting_LeavesTheRowsAsTheyAre) {
  const vxtest::TempDir dir;
  const std::string path = (dir / "vx.db").string();
  OpenForWriting(path).Database->HostDatabase()->Storage().insert(AdapterOf("localhost", 1));
  const auto opened = OpenForWriting(path);
  EXPECT_EQ(opened.Database->Read("Adapter").size(), 1U);
  EXPECT_EQ(getDatabasePointer(), nullptr);
}

TEST(SchemaDatabase, Insert_StoredDrive_ReplacesItsValues) {
  const auto opened = OpenForWriting(DatabaseWrapper::IN_MEMORY);
  auto& storage = opened.Database->HostDatabase()->Storage();
  storage.insert(DriveOf("S1", "slot 1"));
  storage.insert(DriveOf("S2", "slot 2"));
  storage.insert(DriveOf("S1", "slot 3"));
  const auto rows = storage.get_all<PD>(where(is_equal(&PD::Host, "localhost")));
  ASSERT_EQ(rows.size(), 2U);
  EXPECT_EQ(rows[0].SerialNumber + rows[0].Location, "S2slot 2");
  EXPECT_EQ(rows[1].SerialNumber + rows[1].Location, "S1slot 3");
}

TEST(SchemaDatabase, Insert_DriveWithoutSerial_IsStoredAsNullAndFoundByNoKey) {
  const auto opened = OpenForWriting(DatabaseWrapper::IN_MEMORY);
  auto& storage = opened.Database->HostDatabase()->Storage();
  storage.insert(DriveOf("NULL", "slot 1"));
  EXPECT_TRUE(storage.get_all<PD>(where(is_equal(&PD::SerialNumber, std::string("NULL")))).empty());
  EXPECT_EQ(opened.Database->Read("PD").at(0).at(1), std::nullopt);
}

TEST(SchemaDatabase, Insert_AdapterTwice_GivesTwoRows) {
  const auto opened = OpenForWriting(DatabaseWrapper::IN_MEMORY);
  auto& storage = opened.Database->HostDatabase()->Storage();
  storage.insert(AdapterOf("localhost", 1));
  storage.insert(AdapterOf("localhost", 1));
  const auto rows = storage.get_all<Adapter>(
      where(is_equal(&Adapter::AdapterNumber, 1) && is_equal(&Adapter::Host, "localhost")));
  ASSERT_EQ(rows.size(), 2U);
  EXPECT_EQ(rows[0].ID, 1);
  EXPECT_EQ(rows[1].ID, 2);
}

TEST(SchemaDatabase, Insert_SendsTheColumnsWithoutIdentity) {
  const auto opened = OpenForWriting(DatabaseWrapper::IN_MEMORY);
  Plugin plugin = PluginOf("p");
  plugin.ID = 99;  // never chosen by the caller
  opened.Database->HostDatabase()->Storage().insert(plugin);
  EXPECT_THAT(opened.Database->Read("Plugin").at(0),
              ElementsAre("1", std::nullopt, std::nullopt, "p", std::nullopt, std::nullopt,
                          std::nullopt, std::nullopt, std::nullopt, std::nullopt, std::nullopt));
}

// A condition with qualified columns would find them under the table that the statement names.
TEST(SchemaDatabase, Aliases_AreTheNamesOfTheTables) {
  const auto opened = OpenForWriting(DatabaseWrapper::IN_MEMORY);
  const DatabaseORM::storage_t& storage = opened.Database->HostDatabase()->Storage();
  EXPECT_EQ(storage.extractAlias<Adapter>(), "Adapter");
  EXPECT_EQ(storage.extractAlias<PD>(), "PD");
  EXPECT_EQ(storage.extractAlias<Plugin>(), "Plugin");
}

// --- refusals

TEST(SchemaDatabase, Open_NewerVersion_IsRefused) {
  const vxtest::TempDir dir;
  const std::string path = (dir / "vx.db").string();
  (void)OpenForWriting(path);
  RawSqlite(path).Run("PRAGMA user_version = 700");
  for (const auto& opened : {OpenForWriting(path).Error, OpenReadOnly(path).Error}) {
    EXPECT_EQ(opened, "\"" + path +
                          "\": The database has schema version 700, made by a newer program; this "
                          "one knows versions up to " +
                          std::to_string(Schema::LatestVersion()) +
                          ": use the newer program or name another file.");
  }
  EXPECT_EQ(RawSqlite(path).One("PRAGMA user_version"), "700");
}

TEST(SchemaDatabase, Open_DatabaseOfAnotherProgram_IsRefusedAndUntouched) {
  const vxtest::TempDir dir;
  const std::string path = (dir / "vx.db").string();
  RawSqlite(path).Run("CREATE TABLE bookmarks(a)");
  const std::string before = vxtest::ReadFile(path);
  EXPECT_EQ(OpenForWriting(path).Error,
            "\"" + path + "\": The database belongs to another program; name another file.");
  EXPECT_EQ(vxtest::ReadFile(path), before);  // its journal mode is its owner's affair as well
  EXPECT_EQ(RawSqlite(path).One("SELECT group_concat(name) FROM sqlite_master"), "bookmarks");
  RawSqlite(path).Run("PRAGMA user_version = 1");
  for (const auto& error : {OpenForWriting(path).Error, OpenReadOnly(path).Error}) {
    EXPECT_EQ(error,
              "\"" + path + "\": The database belongs to another program; name another file.");
  }
}

TEST(SchemaDatabase, Open_NoDatabase_IsRefused) {
  const vxtest::TempDir dir;
  const std::string path = (dir / "vx.db").string();
  vxtest::WriteFile(path, std::string(4096, 'x'));
  for (const auto& error : {OpenForWriting(path).Error, OpenReadOnly(path).Error}) {
    EXPECT_EQ(error, "The database \"" + path +
                         "\" is no database (file is not a database); name another file or move "
                         "this one away.");
  }
  EXPECT_EQ(vxtest::ReadFile(path), std::string(4096, 'x'));
}

TEST(SchemaDatabase, OpenReadOnly_MissingOrEmptyFile_IsRefusedAndNothingMade) {
  const vxtest::TempDir dir;
  const std::string path = (dir / "vx.db").string();
  EXPECT_EQ(OpenReadOnly(path).Error,
            "The database \"" + path +
                "\" cannot be opened (No such file or directory); name an existing file.");
  EXPECT_FALSE(std::filesystem::exists(path));
  vxtest::WriteFile(path, "");
  EXPECT_EQ(OpenReadOnly(path).Error,
            "\"" + path + "\": The database is empty: nothing has written into it yet.");
}

TEST(SchemaDatabase, OpenForWriting_SecondWriter_IsToldWhoHoldsIt) {
  const vxtest::TempDir dir;
  const std::string path = (dir / "vx.db").string();
  const auto first = OpenForWriting(path);
  ASSERT_NE(first.Database, nullptr) << first.Error;
  const auto second = OpenForWriting(path);
  EXPECT_EQ(second.Database, nullptr);
  EXPECT_EQ(second.Error, "The database \"" + path +
                              "\" is written by Schema_Database_test (process " +
                              std::to_string(getpid()) +
                              "); it takes one writer: end that one or name another file.");
}

TEST(SchemaDatabase, OpenReadOnly_BesideAWriter_ReadsAndRemovesNothing) {
  const vxtest::TempDir dir;
  const std::string path = (dir / "vx.db").string();
  const auto writer = OpenForWriting(path);
  writer.Database->HostDatabase()->Storage().insert(AdapterOf("localhost", 1));
  {
    const auto reader = OpenReadOnly(path);
    ASSERT_NE(reader.Database, nullptr) << reader.Error;
    EXPECT_EQ(reader.Database->Read("Adapter").size(), 1U);
    writer.Database->HostDatabase()->Storage().insert(AdapterOf("localhost", 2));
    EXPECT_EQ(reader.Database->Read("Adapter").size(), 2U);
    EXPECT_THROW(reader.Database->RemoveEarlierRun(), DatabaseException);
  }
}

TEST(SchemaDatabase, Path_IsThatOfTheFileItself) {
  const vxtest::TempDir dir;
  const std::filesystem::path file = std::filesystem::canonical(dir.Path()) / "vx.db";
  std::filesystem::create_symlink("vx.db", dir / "link.db");
  const auto opened = OpenForWriting((dir / "link.db").string());
  ASSERT_NE(opened.Database, nullptr) << opened.Error;
  EXPECT_EQ(opened.Database->Path(), file);
}

TEST(SchemaDatabase, Read_UnknownTable_NamesTheKnownOnes) {
  const auto opened = OpenForWriting(DatabaseWrapper::IN_MEMORY);
  try {
    (void)opened.Database->Read("PD; DROP TABLE PD");
    FAIL();
  } catch (const DatabaseException& failure) {
    EXPECT_STREQ(failure.what(),
                 "There is no table \"PD; DROP TABLE PD\"; the tables are Plugin, Adapter, PD.");
  }
}

TEST(SchemaDatabase, Begin_BracketsEverythingUntilCommit) {
  const vxtest::TempDir dir;
  const std::string path = (dir / "vx.db").string();
  const auto opened = OpenForWriting(path);
  const RawSqlite raw(path);
  {
    const auto transaction = opened.Database->Begin();
    opened.Database->HostDatabase()->Storage().insert(DriveOf("S1", "a"));
    EXPECT_EQ(raw.One("SELECT COUNT(*) FROM PD"), "0");
    transaction->Commit();
    EXPECT_EQ(raw.One("SELECT COUNT(*) FROM PD"), "1");
  }
  opened.Database->HostDatabase()->Storage().insert(DriveOf("S2", "b"));
  EXPECT_EQ(raw.One("SELECT COUNT(*) FROM PD"), "2");
}

TEST(SchemaDatabase, Items_SplitsAListCell) {
  EXPECT_THAT(Schema::Items(""), ElementsAre());
  EXPECT_THAT(Schema::Items("1"), ElementsAre("1"));
  EXPECT_THAT(Schema::Items("1||2|"), ElementsAre("1", "", "2", ""));
}

}  // namespace
