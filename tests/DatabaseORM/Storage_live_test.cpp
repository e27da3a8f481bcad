#include "DatabaseORM/RawSqlite.h"
#include "DatabaseORM/Recording.h"
#include "support/Files.h"
#include "support/Scale.h"

#include <cfloat>
#include <climits>
#include <cmath>
#include <map>
#include <random>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <DB/Sqlite.h>
#include <Schema/Versions.h>

namespace {

using DatabaseORM::is_equal;
using DatabaseORM::storage_t;
using DatabaseORM::where;
using DatabaseWrapper::CSqliteDatabase;
using DBEXCEPTION::DatabaseException;
using RaidDataModels::Adapter;
using RaidDataModels::PD;
using RaidDataModels::Plugin;
using testing::ElementsAre;
using vxtest::RawSqlite;

// --- live in memory: written and read through the builder

class StorageInMemory : public testing::Test {
 protected:
  StorageInMemory() { Schema::Upgrade(*dao_); }

  std::vector<Adapter> Adapters(int number) {
    return storage_->get_all<Adapter>(
        where(is_equal(&Adapter::AdapterNumber, number) && is_equal(&Adapter::Host, "localhost")));
  }

  Adapter Insert(int number, const std::string& name) {
    Adapter adapter;
    adapter.AdapterNumber = number;
    adapter.Host = "localhost";
    adapter.Name = name;
    storage_->insert(adapter);
    return adapter;
  }

  std::shared_ptr<CSqliteDatabase> dao_ =
      std::make_shared<CSqliteDatabase>(DatabaseWrapper::IN_MEMORY);
  std::shared_ptr<storage_t> storage_ = Schema::MakeStorage(dao_);
};

TEST_F(StorageInMemory, GetAll_FindsByNumberAndHost) {
  Insert(1, "one");
  Insert(2, "two");
  Adapter elsewhere;
  elsewhere.AdapterNumber = 1;
  elsewhere.Host = "elsewhere";
  storage_->insert(elsewhere);
  const auto rows = Adapters(1);
  ASSERT_EQ(rows.size(), 1U);
  EXPECT_EQ(rows[0].Name, "one");
  EXPECT_EQ(rows[0].ID, 1);
  EXPECT_TRUE(Adapters(3).empty());
}

TEST_F(StorageInMemory, Update_OverwritesEveryColumnOfOneRow) {
  Adapter adapter = Insert(1, "one");
  Insert(2, "two");
  adapter = Adapters(1).at(0);
  adapter.Name = "another";
  adapter.Temperature = 35.25;
  adapter.DataUnitsRead = 1UL << 40;
  adapter.HealthReasons = {"40459", "40460"};
  storage_->update(adapter);
  EXPECT_THAT(Adapters(1), ElementsAre(adapter));
  EXPECT_EQ(Adapters(2).at(0).Name, "two");
  adapter.Name = "NULL";
  adapter.Temperature = RaidDataModels::NULL_REAL;
  storage_->update(adapter);
  EXPECT_THAT(Adapters(1), ElementsAre(adapter));
}

TEST_F(StorageInMemory, Update_OfARowThatIsNotThere_CreatesNone) {
  Adapter adapter;
  adapter.ID = 5;
  storage_->update(adapter);
  EXPECT_EQ(dao_->query("SELECT COUNT(*) FROM Adapter").at(0), "0");
}

TEST_F(StorageInMemory, Update_WithoutIdentity_TouchesNothing) {
  const Adapter adapter = Insert(1, "one");
  storage_->update(adapter);
  EXPECT_EQ(Adapters(1).at(0).ID, 1);
}

TEST_F(StorageInMemory, RemoveAll_RemovesEveryMatchAndNoOther) {
  Insert(1, "one");
  Insert(1, "one again");
  Insert(2, "two");
  storage_->remove_all<Adapter>(where(is_equal(&Adapter::AdapterNumber, 1)));
  EXPECT_TRUE(Adapters(1).empty());
  EXPECT_EQ(Adapters(2).size(), 1U);
}

TEST_F(StorageInMemory, Max_OfEmptyAndFilledTable) {
  EXPECT_EQ(storage_->max(&Adapter::ID), 0);
  EXPECT_EQ(storage_->max(&Adapter::ObjectID), 0UL);
  Insert(7, "a");
  Insert(3, "b");
  EXPECT_EQ(storage_->max(&Adapter::AdapterNumber), 7);
  EXPECT_EQ(storage_->max(&Adapter::ID), 2);
}

TEST_F(StorageInMemory, CountAboveTheDatabasesRange_IsRefusedByTheReader) {
  Adapter adapter = Insert(1, "one");
  adapter.ID = 1;
  adapter.MediaErrors = 1UL << 63;
  storage_->update(adapter);
  EXPECT_THROW(Adapters(1), std::out_of_range);
}

TEST_F(StorageInMemory, RealThatIsNoNumber_FailsAndChangesNothing) {
  Adapter adapter = Insert(1, "one");
  adapter.ID = 1;
  for (const double value : {HUGE_VAL, -HUGE_VAL, std::nan("")}) {
    adapter.Temperature = value;
    adapter.Name = "lost";
    EXPECT_THROW(storage_->update(adapter), DatabaseException);
  }
  EXPECT_EQ(Adapters(1).at(0).Name, "one");
}

TEST_F(StorageInMemory, FailingStatement_CarriesTheCause) {
  dao_->query("DROP TABLE PD");
  try {
    storage_->insert(PD());
    FAIL();
  } catch (const DatabaseException& failure) {
    EXPECT_STREQ(
        failure.what(),
        "Storage query exception thrown! Cannot read ID from database! (Storage query "
        "exception thrown! (The database \":memory:\" refused the statement (no such table: "
        "PD).))");
  }
}

TEST_F(StorageInMemory, HostileKey_FindsItsRowAndNoOther) {
  const std::string hostile = "x' OR '1'='1";
  for (const std::string& serial :
       {std::string("S1"), hostile, std::string("'; DELETE FROM PD; --")}) {
    PD drive;
    drive.SerialNumber = serial;
    drive.Host = "localhost";
    storage_->insert(drive);
  }
  const auto rows = storage_->get_all<PD>(
      where(is_equal(&PD::SerialNumber, hostile) && is_equal(&PD::Host, "localhost")));
  ASSERT_EQ(rows.size(), 1U);
  EXPECT_EQ(rows[0].SerialNumber, hostile);
  storage_->remove_all<PD>(where(is_equal(&PD::SerialNumber, hostile)));
  EXPECT_EQ(dao_->query("SELECT COUNT(*) FROM PD").at(0), "2");
}

// --- live on disk: written through the builder, read with SQLite's own interface

using Texts = std::map<std::string, std::string Adapter::*>;
using Integers = std::map<std::string, int Adapter::*>;
using Counts = std::map<std::string, unsigned long Adapter::*>;

// Which field belongs to which column, by the rows of the facts, for one type of field.
template <class Type>
std::map<std::string, Type Adapter::*> ColumnsOfType() {
  std::map<std::string, Type Adapter::*> columns;
  const auto add = [&columns](const char* name, auto field) {
    if constexpr (std::is_same_v<decltype(field), Type Adapter::*>) columns.emplace(name, field);
  };
#define STORED(kind, field, ...) add(#field, &Adapter::field);
#define NOT_STORED
#define ADAPTER_COLUMN STORED
#define ADAPTER_PROPERTY(name, label, text, preset, kind, unit, last, value, column) column
#include <Facts/Fields.def>
#undef NOT_STORED
#undef STORED
  columns.erase("ID");  // the database's own
  return columns;
}
const Texts TEXTS = ColumnsOfType<std::string>();
const Integers INTEGERS = ColumnsOfType<int>();
const Counts COUNTS = ColumnsOfType<unsigned long>();

// Makes contents that break what is built carelessly.
class Hostile {
 public:
  explicit Hostile(unsigned seed) : random_(seed) {}

  int Below(int bound) { return std::uniform_int_distribution<int>(0, bound - 1)(random_); }

  std::string Text() {
    std::string text;
    for (int part = Below(6); part > 0; --part) text += Part();
    return text;
  }

  int Integer() {
    constexpr int ends[] = {INT_MIN, INT_MIN + 1, -1, 0, 1, INT_MAX};
    return Below(3) == 0 ? ends[Below(6)] : static_cast<int>(random_());
  }

  unsigned long Count() {
    constexpr unsigned long ends[] = {0, 1, LONG_MAX, ULONG_MAX, 1UL << 32, LONG_MAX - 1UL};
    return Below(2) == 0 ? ends[Below(6)] : (static_cast<unsigned long>(random_()) << 16);
  }

  double Real() {
    constexpr double ends[] = {0.0, -1.5, 1e300, -1e300, DBL_MIN, 1e-7, 0x1p-126, 2.5};
    return Below(2) == 0 ? ends[Below(8)] : (Below(2000001) - 1000000) / 64.0;
  }

  std::vector<std::string> List() {
    std::vector<std::string> items;
    for (int item = Below(4); item > 0; --item) {
      std::string text = Text();
      std::erase(text, '|');
      items.push_back(text);
    }
    return items;
  }

  Adapter Record() {
    Adapter adapter;
    for (const auto& [name, field] : TEXTS) adapter.*field = Text();
    for (const auto& [name, field] : INTEGERS) adapter.*field = Integer();
    for (const auto& [name, field] : COUNTS) adapter.*field = Count();
    adapter.Temperature = Real();
    adapter.HealthReasons = List();
    return adapter;
  }

 private:
  std::string Part() {
    static const std::vector<std::string> parts{"'",
                                                "''",
                                                "\"",
                                                "`",
                                                ";",
                                                "--",
                                                "/*",
                                                "*/",
                                                "NULL",
                                                "null",
                                                "",
                                                "\n",
                                                "\r\n",
                                                "\t",
                                                "\\",
                                                "%s",
                                                "%",
                                                "_",
                                                "?",
                                                "?1",
                                                ":a",
                                                "@a",
                                                "$a",
                                                "[",
                                                "]",
                                                "(",
                                                ")",
                                                ",",
                                                ", ",
                                                "=",
                                                "|",
                                                "||",
                                                "DROP TABLE Adapter",
                                                "'; DELETE FROM Adapter; --",
                                                "' OR '1'='1",
                                                "x'41'",
                                                "0x10",
                                                "1e5",
                                                "\xc3\xa9",
                                                "\xe2\x82\xac",
                                                "\xf0\x9f\x94\xa5",
                                                "\xff",
                                                "\xc3",
                                                "\x01",
                                                "\x7f",
                                                std::string(1, '\0'),
                                                "PRAGMA foreign_keys = ON;",
                                                " ",
                                                "S3F5NX0K123456"};
    if (Below(12) == 0) return std::string(static_cast<std::size_t>(Below(3000)), '\'');
    return parts[static_cast<std::size_t>(Below(static_cast<int>(parts.size())))];
  }

  std::mt19937 random_;
};

std::optional<std::string> StoredText(std::string text) {
  std::erase(text, '\0');
  return text == "NULL" ? std::nullopt : std::optional(text);
}

std::string Joined(const std::vector<std::string>& items) {
  std::string text;
  for (std::size_t at = 0; at < items.size(); ++at) text += (at == 0 ? "" : "|") + items[at];
  return text;
}

// The row as it should be stored, by column.
std::map<std::string, std::optional<std::string>> Stored(const Adapter& adapter) {
  std::map<std::string, std::optional<std::string>> row;
  for (const auto& [name, field] : TEXTS) row[name] = StoredText(adapter.*field);
  for (const auto& [name, field] : INTEGERS) {
    if (adapter.*field == INT_MIN)
      row[name] = std::nullopt;
    else
      row[name] = std::to_string(adapter.*field);
  }
  for (const auto& [name, field] : COUNTS) {
    if (adapter.*field == ULONG_MAX)
      row[name] = std::nullopt;
    else
      row[name] = std::to_string(adapter.*field);
  }
  row["HealthReasons"] = StoredText(Joined(adapter.HealthReasons));
  return row;
}

void ExpectStored(const RawSqlite& raw, int id, const Adapter& adapter) {
  const std::string where = " FROM Adapter WHERE ID = " + std::to_string(id);
  for (const auto& [name, cell] : Stored(adapter)) {
    const auto rows = raw.Rows("SELECT " + name + where);
    ASSERT_EQ(rows.size(), 1U);
    EXPECT_EQ(rows[0][0], cell) << name << " of row " << id;
  }
  const auto real = raw.Rows("SELECT Temperature" + where).at(0).at(0);
  if (adapter.Temperature == 0x1p-126) {
    EXPECT_EQ(real, std::nullopt);
  } else {
    ASSERT_TRUE(real.has_value());
    EXPECT_NEAR(std::stod(*real), adapter.Temperature,
                std::abs(adapter.Temperature) * 1e-14 + 5e-7);
  }
}

// Passes statements on and counts them.
class CountingDao : public DatabaseWrapper::DatabaseDAO {
 public:
  explicit CountingDao(std::shared_ptr<DatabaseDAO> inner) : inner_(std::move(inner)) {}
  std::vector<std::string> query(std::string statement) override {
    ++count;
    return inner_->query(std::move(statement));
  }
  int count = 0;

 private:
  std::shared_ptr<DatabaseDAO> inner_;
};

class StorageOnDisk : public testing::Test {
 protected:
  StorageOnDisk() { Schema::Upgrade(*engine_); }

  vxtest::TempDir dir_;
  std::shared_ptr<CSqliteDatabase> engine_ =
      std::make_shared<CSqliteDatabase>((dir_ / "vx.db").string());
  std::shared_ptr<CountingDao> dao_ = std::make_shared<CountingDao>(engine_);
  std::shared_ptr<storage_t> storage_ = Schema::MakeStorage(dao_);
  RawSqlite raw_{dir_ / "vx.db"};
};

// Inserts, updates and deletes random rows; after each step the rows are exactly those of the
// model.
TEST_F(StorageOnDisk, HostileContents_RoundTripAndTouchNoOtherRow) {
  const unsigned seed = std::random_device{}();
  SCOPED_TRACE("seed " + std::to_string(seed));
  Hostile hostile(seed);
  std::map<int, Adapter> model;
  int last = 0;
  const int steps = vxtest::Count(120, 5000);
  for (int step = 0; step < steps && !HasFailure(); ++step) {
    Adapter record = hostile.Record();
    const int before = dao_->count;
    const int choice = model.empty() ? 0 : hostile.Below(4);
    int touched = 0;
    if (choice <= 1) {
      storage_->insert(record);
      EXPECT_EQ(dao_->count, before + 2);
      last = model.empty() ? 1 : model.rbegin()->first + 1;
      touched = last;
      model[touched] = record;
    } else {
      auto chosen = std::next(model.begin(), hostile.Below(static_cast<int>(model.size())));
      touched = chosen->first;
      if (choice == 2) {
        record.ID = touched;
        storage_->update(record);
        chosen->second = record;
      } else {
        storage_->remove_all<Adapter>(where(is_equal(&Adapter::ID, touched)));
        model.erase(chosen);
      }
      EXPECT_EQ(dao_->count, before + 1);
    }
    ASSERT_EQ(raw_.One("SELECT COUNT(*) FROM Adapter"), std::to_string(model.size()));
    if (model.contains(touched)) ExpectStored(raw_, touched, model[touched]);
  }
  for (const auto& [id, adapter] : model) ExpectStored(raw_, id, adapter);
  EXPECT_EQ(raw_.One("SELECT COUNT(*) FROM sqlite_master WHERE type = 'table'"), "3");
  EXPECT_EQ(raw_.One("PRAGMA integrity_check"), "ok");
}

// What is read through the builder is what SQLite holds, for every text as key as well.
TEST_F(StorageOnDisk, HostileKeys_FindExactlyTheRowsThatHoldThem) {
  const unsigned seed = std::random_device{}();
  SCOPED_TRACE("seed " + std::to_string(seed));
  Hostile hostile(seed);
  std::map<std::string, int> expected;
  for (int step = vxtest::Count(60, 2000); step > 0; --step) {
    PD drive;
    drive.SerialNumber = hostile.Text();
    drive.Host = std::to_string(step);
    storage_->insert(drive);
    if (const auto stored = StoredText(drive.SerialNumber)) ++expected[*stored];
  }
  for (const auto& [serial, count] : expected) {
    const auto rows = storage_->get_all<PD>(where(is_equal(&PD::SerialNumber, serial)));
    EXPECT_EQ(rows.size(), static_cast<std::size_t>(count)) << serial;
    for (const PD& row : rows) EXPECT_EQ(row.SerialNumber, serial);
  }
}

TEST_F(StorageOnDisk, PluginRow_HoldsWhatWasSet) {
  Plugin plugin;
  plugin.ObjectID = 86975767803592705UL;
  plugin.Name = "Torvex-Plugin";
  plugin.PollInterval = 30;
  plugin.SettableProperties =
      R"({"settableProperties":[{"name":"pollinterval","formatStr":"<int32>[2..255, 1]"}]})";
  plugin.Description = "Plugin:ID=309";
  storage_->insert(plugin);
  EXPECT_EQ(
      raw_.Rows("SELECT * FROM Plugin"),
      (std::vector<RawSqlite::Row>{
          {"1", std::nullopt, "86975767803592705", "Torvex-Plugin", "30",
           R"({"settableProperties":[{"name":"pollinterval","formatStr":"<int32>[2..255, 1]"}]})",
           std::nullopt, std::nullopt, "Plugin:ID=309", std::nullopt, std::nullopt}}));
}

TEST_F(StorageOnDisk, DriveRow_HoldsEveryField) {
  PD drive;
  drive.SerialNumber = "S1";
  drive.Host = "localhost";
  drive.Name = "SSD";
  drive.Channel = 0;
  drive.Target = 1;
  drive.Location = "PCI";
  drive.Vendor = "V";
  drive.ModelNumber = "M";
  drive.Interface = 40200;
  drive.PhysicalSize = 2;
  drive.PhysicalSize2 = 3;
  drive.State = 40099;
  drive.UsableSize = 4;
  drive.UsablePercent = 100;
  drive.SectorSize = 512;
  drive.Temperature = 30.5;
  storage_->insert(drive);
  EXPECT_EQ(raw_.Rows("SELECT * FROM PD"),
            (std::vector<RawSqlite::Row>{{"1", "S1", "localhost", "SSD", "0", "1", "PCI", "V", "M",
                                          "40200", "2", "3", "40099", "4", "100", "512", "30.5"}}));
  EXPECT_EQ(raw_.One("SELECT group_concat(DISTINCT typeof(SectorSize) || typeof(PhysicalSize) || "
                     "typeof(Temperature)) FROM PD"),
            "integerintegerreal");
}

TEST_F(StorageOnDisk, AdapterFlag_AppearsInNoStatement) {
  auto recording = std::make_shared<vxtest::RecordingDao>();
  const auto storage = Schema::MakeStorage(recording);
  Adapter adapter;
  adapter.Flag = 77;
  storage->insert(adapter);
  storage->update(adapter);
  for (const std::string& statement : recording->statements) {
    EXPECT_EQ(statement.find("77"), std::string::npos);
    EXPECT_EQ(statement.find("Flag"), std::string::npos);
  }
}

// Filled by the schema's library, seen here: the process has one map for each record.
TEST_F(StorageOnDisk, FieldMaps_AreSharedByAllLibraries) {
  using RaidDataModels::dbModelFieldsMap;
  using RaidDataModels::Singleton;
  EXPECT_EQ(Singleton<dbModelFieldsMap<Adapter>>::Instance()->Alias(), "Adapter");
  EXPECT_EQ(Singleton<dbModelFieldsMap<PD>>::Instance()->Column(&PD::SerialNumber), "SerialNumber");
  EXPECT_EQ(Singleton<dbModelFieldsMap<Plugin>>::Instance()->Column(&Plugin::Name), "Name");
}

// The record that nobody has filled: nulls and nothing else, but for the identity that names the
// row.
TEST_F(StorageOnDisk, DefaultPlugin_IsNullInEveryColumn) {
  auto recording = std::make_shared<vxtest::RecordingDao>();
  Schema::MakeStorage(recording)->update(Plugin());
  EXPECT_THAT(recording->statements,
              ElementsAre("UPDATE Plugin SET ID=NULL, ToolVersion=NULL, ObjectID=NULL, Name=NULL, "
                          "PollInterval=NULL, SettableProperties=NULL, Unused1=NULL, Unused2=NULL, "
                          "Description=NULL, Vendor=NULL, Version=NULL WHERE ID = -2147483648"));
}

// A list has no null of its own: none is an empty text.
TEST_F(StorageOnDisk, DefaultAdapterAndDrive_AreNullInEveryColumnButTheList) {
  storage_->insert(Adapter());
  storage_->insert(PD());
  for (const char* table : {"Adapter", "PD"}) {
    const auto rows = raw_.Rows(std::string("SELECT * FROM ") + table);
    ASSERT_EQ(rows.size(), 1U);
    RawSqlite::Row expected(rows[0].size(), std::nullopt);
    expected.front() = "1";
    if (std::string(table) == "Adapter") expected.back() = "";
    EXPECT_EQ(rows[0], expected) << table;
  }
}

}  // namespace
