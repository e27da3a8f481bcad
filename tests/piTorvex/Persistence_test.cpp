// The rows of adapters and drives: what is sent to the database, and what a real one holds after
// it.
#include "Object_fixtures.h"
#include "PluginTrace.h"
#include "support/Files.h"

#include <functional>
#include <locale>
#include <memory>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>
#include <sqlite3.h>

#include <Schema/Database.h>
#include <Schema/Tables.h>

using namespace NAMESPACE_piTorvex;
using vxtest::HealthyAdapter;
using vxtest::HealthyDrive;

namespace {

using Strings = std::vector<std::string>;

// Keeps the statements; answers those that begin with the text of an answer with its cells or
// failure.
class ScriptedDao : public DatabaseWrapper::DatabaseDAO {
 public:
  Strings query(std::string statement) override {
    statements.push_back(statement);
    if (answer) return answer(statement);
    return {};
  }
  Strings statements;
  std::function<Strings(const std::string&)> answer;
};

// With a value in every field that has a column of its own.
CTorvexAdapter FullAdapter() {
  CTorvexAdapter adapter = HealthyAdapter();
  adapter.PciSegment = 4;
  adapter.Temperature = 35.5F;
  adapter.HealthState = PI::CHOICE_HEALTH_DEGRADED;
  adapter.HealthReasons = {PI::CHOICE_REASON_SPARE, PI::CHOICE_REASON_TEMPERATURE};
  return adapter;
}

CTorvexPhysicalDrive FullDrive() {
  CTorvexPhysicalDrive drive = HealthyDrive();
  drive.Temperature = 35.5F;
  return drive;
}

// The cells of a row in a table, all null but the identity.
Strings RowWithIdentity(const std::string& table, const std::string& identity) {
  for (const Schema::CTable& known : Schema::Tables()) {
    if (known.Name != table) continue;
    Strings cells(known.Columns.size(), "NULL");
    cells[0] = identity;
    return cells;
  }
  ADD_FAILURE() << table;
  return {};
}

class PersistenceText : public ::testing::Test {
 protected:
  PersistenceText() {
    plugin.m_Database =
        std::make_shared<DatabaseWrapper::CHostDatabase>(dao, Schema::MakeStorage(dao));
  }

  // Lets the first look for a row find one, or several.
  void FindRows(const std::string& table, const Strings& identities) {
    Strings cells;
    for (const std::string& identity : identities) {
      const Strings row = RowWithIdentity(table, identity);
      cells.insert(cells.end(), row.begin(), row.end());
    }
    dao->answer = [cells](const std::string& statement) {
      return statement.starts_with("SELECT *") ? cells : Strings();
    };
  }

  // Fails every statement that holds the text.
  void Fail(const std::string& text, const Strings& otherwise = {}) {
    dao->answer = [text, otherwise](const std::string& statement) -> Strings {
      if (statement.find(text) != std::string::npos) {
        throw DBEXCEPTION::DatabaseException("disk on fire");
      }
      return otherwise;
    };
  }

  std::shared_ptr<ScriptedDao> dao = std::make_shared<ScriptedDao>();
  IPLUGINAPI_IMPL plugin;
  CTorvexAdapter adapter = FullAdapter();
  CTorvexPhysicalDrive drive = FullDrive();
};

}  // namespace

// --- Filling a record

TEST_F(PersistenceText, AdapterRecord_HoldsEveryProperty) {
  RaidDataModels::Adapter record;
  record.Name = "of an earlier use";
  record.ID = 7;
  EXPECT_EQ(plugin.SetDatabaseObjectProperties(record, adapter), 0U);
  EXPECT_EQ(record.ID, RaidDataModels::NULL_INTEGER);
  EXPECT_EQ(record.ObjectID, 0x0135000000000001UL);
  EXPECT_EQ(record.AdapterNumber, 3);
  EXPECT_EQ(record.Host, "localhost");
  EXPECT_EQ(record.Flag, 1);
  EXPECT_EQ(record.Name, "Intel PCIe Device Adapter (SN1)");
  EXPECT_EQ(record.Vendor, "INTEL");
  EXPECT_EQ(record.ModelNumber, "INTEL SSDPE2KX010T7");
  EXPECT_EQ(record.Mode, PI::CHOICE_MODE_NORMAL);
  EXPECT_EQ(record.HealthState, PI::CHOICE_HEALTH_DEGRADED);
  EXPECT_EQ(record.PciSegment, 4);
  EXPECT_EQ(record.PciBus, 1);
  EXPECT_EQ(record.PciDevice, 2);
  EXPECT_EQ(record.PciFunction, 3);
  EXPECT_EQ(record.Location, "PCI:Bus=1&Device=2&Function=3");
  EXPECT_EQ(record.SerialNumber, "SN1");
  EXPECT_EQ(record.Firmware, "QDV1");
  EXPECT_EQ(record.Bootloader, "8B1B");
  EXPECT_EQ(record.DevicePath, "/dev/nvme0n1");
  EXPECT_EQ(record.DriverName, "nvme");
  EXPECT_EQ(record.DriverVersion, "1.0");
  EXPECT_EQ(record.Temperature, 35.5);
  EXPECT_EQ(record.EndOfLifeDate, "2035-01-02");
  EXPECT_EQ(record.PowerOnHours, 700U);
  EXPECT_EQ(record.ReserveSpace, 98);
  EXPECT_EQ(record.SelectedLevel, PI::CHOICE_LEVEL_STANDARD);
  EXPECT_EQ(record.WarningThreshold, 11);
  EXPECT_EQ(record.DataUnitsRead, 500U);
  EXPECT_EQ(record.DataUnitsWritten, 1280U);
  EXPECT_EQ(record.RemainingLife, 96);
  EXPECT_EQ(record.LifeState, PI::CHOICE_LIFE_AS_NEW);
  EXPECT_EQ(record.MediaErrors, 6U);
  EXPECT_EQ(record.HealthReasons, (Strings{"40459", "40460"}));
  EXPECT_TRUE(dao->statements.empty());
}

// No property that has a column is forgotten: this adapter shows a value in each.
TEST_F(PersistenceText, AdapterRecord_HoldsSomethingInEveryColumn) {
  RaidDataModels::Adapter record;
  ASSERT_EQ(plugin.SetDatabaseObjectProperties(record, adapter), 0U);
#define STORED(kind, field, ...) \
  EXPECT_NE(record.field, RaidDataModels::kind::Null()) << "no value in " #field;
#define NOT_STORED
#define ADAPTER_PROPERTY(name, label, text, preset, kind, unit, last, value, column) column
#include <Facts/Fields.def>
#undef NOT_STORED
#undef STORED
}

TEST_F(PersistenceText, DriveRecord_HoldsEveryProperty) {
  RaidDataModels::PD expected;
  expected.SerialNumber = "SN1";
  expected.Host = "localhost";
  expected.Name = "Intel SSD DC P4600, SSDPE2KX010T7";
  expected.Channel = 0;
  expected.Target = 0;
  expected.Location = "PCI:Bus=1&Device=2&Function=3&ID=0";
  expected.Vendor = "INTEL";
  expected.ModelNumber = "INTEL SSDPE2KX010T7";
  expected.Interface = PI::CHOICE_INTERFACE_NVME;
  expected.PhysicalSize = 953869;
  expected.PhysicalSize2 = 953870;
  expected.State = PI::CHOICE_DRIVE_WORKING;
  expected.UsableSize = 953868;
  expected.UsablePercent = 99;
  expected.SectorSize = 512;
  expected.Temperature = 35.5;  // although the property of this name is not shown

  RaidDataModels::PD record;
  record.Location = "of an earlier use";
  EXPECT_EQ(plugin.SetDatabaseObjectProperties(record, drive), 0U);
  EXPECT_TRUE(record == expected);
}

TEST_F(PersistenceText, ValuesThatAreNotKnown_StayNull) {
  adapter.Temperature = -1.0F;
  adapter.DataUnitsRead = adapter.DataUnitsWritten = adapter.PowerOnHours = ~0UL;
  adapter.Firmware.clear();
  adapter.Bootloader.clear();
  adapter.DriverVersion.clear();
  RaidDataModels::Adapter record;
  plugin.SetDatabaseObjectProperties(record, adapter);
  EXPECT_EQ(record.Temperature, RaidDataModels::NULL_REAL);
  EXPECT_EQ(record.DataUnitsRead, RaidDataModels::NULL_UNSIGNED);
  EXPECT_EQ(record.DataUnitsWritten, RaidDataModels::NULL_UNSIGNED);
  EXPECT_EQ(record.PowerOnHours, RaidDataModels::NULL_UNSIGNED);
  EXPECT_EQ(record.RemainingLife, RaidDataModels::NULL_INTEGER);
  EXPECT_EQ(record.Firmware, "NULL");
  EXPECT_EQ(record.Bootloader, "NULL");
  EXPECT_EQ(record.DriverVersion, "NULL");

  RaidDataModels::PD row;
  for (const char* name : {"Intel", "SSD"}) {
    drive.Name = name;
    drive.Temperature = -1.0F;
    plugin.SetDatabaseObjectProperties(row, drive);
    EXPECT_EQ(row.Temperature, RaidDataModels::NULL_REAL) << name;
    drive.Temperature = 12.0F;
    plugin.SetDatabaseObjectProperties(row, drive);
    EXPECT_EQ(row.Temperature, 12.0) << name;
  }
}

TEST_F(PersistenceText, NumbersBeyondTheFieldsWidth_SaturateAndAreNeverNull) {
  adapter.PciSegment = ~0UL - 1;
  adapter.PciBus = 0x80000000UL;
  adapter.ReserveSpace = 0x80000000U;
  RaidDataModels::Adapter record;
  plugin.SetDatabaseObjectProperties(record, adapter);
  EXPECT_EQ(record.PciSegment, 2147483647);
  EXPECT_EQ(record.PciBus, 2147483647);
  EXPECT_NE(record.ReserveSpace, RaidDataModels::NULL_INTEGER);
  drive.SectorSize = 0xFFFFFFFFU;
  RaidDataModels::PD row;
  plugin.SetDatabaseObjectProperties(row, drive);
  EXPECT_EQ(row.SectorSize, 2147483647);
}

// --- Statements

TEST_F(PersistenceText, InsertOfAnAdapter_SendsOneInsertAndLooksForNoRow) {
  vxtest::PluginTrace trace;
  EXPECT_EQ(plugin.InsertObjectToDatabase(adapter, true), 0U);
  EXPECT_EQ(plugin.InsertObjectToDatabase(adapter, false), 0U);
  Strings inserts;
  for (const std::string& statement : dao->statements) {
    EXPECT_EQ(statement.find("SELECT *"), std::string::npos) << statement;
    if (statement.find("INSERT INTO") != std::string::npos) inserts.push_back(statement);
  }
  ASSERT_EQ(inserts.size(), 2U);
  EXPECT_EQ(inserts[0], inserts[1]);
  EXPECT_NE(inserts[0].find("'Intel PCIe Device Adapter (SN1)'"), std::string::npos);
  const std::string line = "Adapter (Intel PCIe Device Adapter (SN1)) (3) inserted to db.";
  ASSERT_EQ(trace.Texts(), (Strings{line, line}));
  EXPECT_EQ(trace.Lines()[0].level, 2U);
  EXPECT_EQ(trace.Lines()[0].file, "piTorvex/Src/piTorvexAdapter");
  EXPECT_EQ(trace.Lines()[0].function, "InsertObjectToDatabase");
}

TEST_F(PersistenceText, InsertOfADrive_SendsOneInsert) {
  vxtest::PluginTrace trace;
  EXPECT_EQ(plugin.InsertObjectToDatabase(drive, true), 0U);
  ASSERT_FALSE(dao->statements.empty());
  EXPECT_NE(dao->statements.back().find("INSERT INTO"), std::string::npos);
  ASSERT_EQ(trace.Texts(), Strings{"PD (SN1) inserted to db."});
  EXPECT_EQ(trace.Lines()[0].file, "piTorvex/Src/piTorvexPhysicalDrive");
}

TEST_F(PersistenceText, FlagOfAnInsert_ChangesNothing) {
  const auto sent = [this](auto& object, bool flag) {
    dao->statements.clear();
    EXPECT_EQ(plugin.InsertObjectToDatabase(object, flag), 0U);
    return dao->statements;
  };
  EXPECT_EQ(sent(drive, true), sent(drive, false));
  EXPECT_EQ(sent(plugin.m_Plugin, true), sent(plugin.m_Plugin, false));
}

TEST_F(PersistenceText, ThePluginsRow_IsFoundByItsName) {
  FindRows("Plugin", {"7", "9"});
  EXPECT_EQ(plugin.UpdateObjectInDatabase(plugin.m_Plugin), 0U);
  EXPECT_EQ(plugin.DeleteObjectFromDatabase(plugin.m_Plugin), 0U);
  ASSERT_EQ(dao->statements.size(), 3U);
  EXPECT_EQ(dao->statements[0], "SELECT * FROM Plugin WHERE Name = 'Torvex-Plugin'");
  EXPECT_TRUE(dao->statements[1].starts_with("UPDATE Plugin SET ID=7, ")) << dao->statements[1];
  EXPECT_TRUE(dao->statements[1].ends_with(" WHERE ID = 7")) << dao->statements[1];
  EXPECT_EQ(dao->statements[2], "DELETE FROM Plugin WHERE Name = 'Torvex-Plugin'");
}

// Where a line comes from, of each operation that traces.
TEST_F(PersistenceText, EveryLine_NamesItsFileAndFunction) {
  const auto expectPlaces = [this](const std::string& file, auto& object, bool isDeleted) {
    vxtest::PluginTrace trace;
    plugin.InsertObjectToDatabase(object, false);
    plugin.UpdateObjectInDatabase(object);
    plugin.DeleteObjectFromDatabase(object);
    Strings found;
    for (const auto& line : trace.Lines()) {
      EXPECT_EQ(line.level, 2U);
      found.push_back(line.file + ":" + line.function);
    }
    const std::string begin = "piTorvex/Src/piTorvex" + file + ":";
    Strings expected = {begin + "InsertObjectToDatabase", begin + "UpdateObjectInDatabase"};
    if (isDeleted) expected.push_back(begin + "DeleteObjectFromDatabase");
    EXPECT_EQ(found, expected);
  };
  for (const bool fails : {false, true}) {
    const auto answer = [this, fails](const std::string& table) {
      if (fails) {
        Fail(table);
      } else {
        FindRows(table, {"7"});
      }
    };
    answer("Adapter");
    expectPlaces("Adapter", adapter, true);
    answer("PD");
    expectPlaces("PhysicalDrive", drive, false);
    answer("Plugin");
    expectPlaces("Plugin", plugin.m_Plugin, true);
  }
}

TEST_F(PersistenceText, UpdateOfAnAdapter_FindsTheRowByNumberAndHost_AndWritesTheFirst) {
  FindRows("Adapter", {"7", "9"});
  vxtest::PluginTrace trace;
  EXPECT_EQ(plugin.UpdateObjectInDatabase(adapter), 0U);
  ASSERT_EQ(dao->statements.size(), 2U);
  EXPECT_EQ(dao->statements[0],
            "SELECT * FROM Adapter WHERE ( AdapterNumber = '3') AND ( Host = 'localhost') ");
  EXPECT_NE(dao->statements[1].find("UPDATE Adapter SET "), std::string::npos);
  EXPECT_TRUE(dao->statements[1].ends_with(" WHERE ID = 7")) << dao->statements[1];
  EXPECT_EQ(trace.Texts(), Strings{"Adapter (Intel PCIe Device Adapter (SN1)) (3) updated in db."});
}

TEST_F(PersistenceText, UpdateOfADrive_FindsTheRowBySerialNumberAndHost) {
  FindRows("PD", {"5"});
  vxtest::PluginTrace trace;
  EXPECT_EQ(plugin.UpdateObjectInDatabase(drive), 0U);
  ASSERT_EQ(dao->statements.size(), 2U);
  EXPECT_EQ(dao->statements[0],
            "SELECT * FROM PD WHERE ( SerialNumber = 'SN1') AND ( Host = 'localhost') ");
  EXPECT_NE(dao->statements[1].find("UPDATE PD SET "), std::string::npos);
  EXPECT_TRUE(dao->statements[1].ends_with(" WHERE ID = 5")) << dao->statements[1];
  EXPECT_EQ(trace.Texts(), Strings{"PD (SN1) updated in db."});
}

TEST_F(PersistenceText, UpdateWithoutARow_Succeeds_WritesNothingAndTracesNothing) {
  vxtest::PluginTrace trace;
  EXPECT_EQ(plugin.UpdateObjectInDatabase(adapter), 0U);
  EXPECT_EQ(plugin.UpdateObjectInDatabase(drive), 0U);
  EXPECT_EQ(dao->statements.size(), 2U);
  for (const std::string& statement : dao->statements) {
    EXPECT_TRUE(statement.starts_with("SELECT *")) << statement;
  }
  EXPECT_TRUE(trace.Lines().empty());
}

TEST_F(PersistenceText, DeleteOfAnAdapter_RemovesByItsKey) {
  vxtest::PluginTrace trace;
  EXPECT_EQ(plugin.DeleteObjectFromDatabase(adapter), 0U);
  ASSERT_EQ(dao->statements.size(), 1U);
  EXPECT_TRUE(dao->statements[0].ends_with(
      "DELETE FROM Adapter WHERE ( AdapterNumber = '3') AND ( Host = 'localhost') "))
      << dao->statements[0];
  EXPECT_EQ(trace.Texts(),
            Strings{"Adapter (Intel PCIe Device Adapter (SN1)) (3) removed from db."});
}

TEST_F(PersistenceText, DeleteOfADrive_SendsNothing) {
  vxtest::PluginTrace trace;
  EXPECT_EQ(plugin.DeleteObjectFromDatabase(drive), 0U);
  EXPECT_TRUE(dao->statements.empty());
  EXPECT_TRUE(trace.Lines().empty());
  plugin.m_Database = nullptr;
  EXPECT_EQ(plugin.DeleteObjectFromDatabase(drive), 0U);
}

// --- Failures

TEST_F(PersistenceText, FailedStatement_Is20000_AndOneTraceLineWithTheCause) {
  const std::string object = "Adapter (Intel PCIe Device Adapter (SN1)) (3)";
  const std::string cause = "(Storage query exception thrown! (disk on fire))";
  struct Case {
    std::string statement;
    std::function<unsigned int()> run;
    std::string text;
  };
  const std::vector<Case> cases = {
      {"INSERT INTO", [&] { return plugin.InsertObjectToDatabase(adapter, true); },
       "Storage query exception thrown during inserting " + object + " to db. " + cause},
      {"SELECT *", [&] { return plugin.UpdateObjectInDatabase(adapter); },
       "Storage query exception thrown during updating " + object + " in db. " + cause},
      {"DELETE", [&] { return plugin.DeleteObjectFromDatabase(adapter); },
       "Storage query exception thrown during removing " + object + " from db. " + cause},
      {"INSERT INTO", [&] { return plugin.InsertObjectToDatabase(drive, true); },
       "Storage query exception thrown during inserting PD (SN1) to db. " + cause},
      {"SELECT *", [&] { return plugin.UpdateObjectInDatabase(drive); },
       "Storage query exception thrown during updating PD (SN1) in db. " + cause},
  };
  for (const Case& failing : cases) {
    Fail(failing.statement);
    const CTorvexAdapter adapterBefore = adapter;
    const CTorvexPhysicalDrive driveBefore = drive;
    vxtest::PluginTrace trace;
    EXPECT_EQ(failing.run(), PI::ERR_GENERAL_FAILURE);
    ASSERT_EQ(trace.Texts(), Strings{failing.text});
    EXPECT_EQ(trace.Lines()[0].level, 2U);
    EXPECT_TRUE(adapter.SameAs(adapterBefore));
    EXPECT_TRUE(drive.SameAs(driveBefore));
  }
}

TEST_F(PersistenceText, IdentityThatCannotBeRead_IsTheCauseOfAFailedInsert) {
  Fail("SELECT MAX");
  vxtest::PluginTrace trace;
  EXPECT_EQ(plugin.InsertObjectToDatabase(plugin.m_Plugin, false), PI::ERR_GENERAL_FAILURE);
  EXPECT_EQ(trace.Texts(),
            Strings{"Exception thrown during inserting Torvex plugin object to db. (Storage query "
                    "exception thrown! Cannot read ID from database! (Storage query exception "
                    "thrown! (disk on fire)))"});
  EXPECT_EQ(dao->statements.size(), 1U);
}

TEST_F(PersistenceText, FailedUpdateStatement_BehindAFoundRow_Is20000) {
  Fail("UPDATE", RowWithIdentity("Adapter", "7"));
  EXPECT_EQ(plugin.UpdateObjectInDatabase(adapter), PI::ERR_GENERAL_FAILURE);
  Fail("UPDATE", RowWithIdentity("PD", "7"));
  EXPECT_EQ(plugin.UpdateObjectInDatabase(drive), PI::ERR_GENERAL_FAILURE);
}

TEST_F(PersistenceText, WithoutADatabase_EveryOperationSaysSoAndIs20000) {
  plugin.m_Database = nullptr;
  vxtest::PluginTrace trace;
  EXPECT_EQ(plugin.InsertObjectToDatabase(adapter, true), PI::ERR_GENERAL_FAILURE);
  EXPECT_EQ(plugin.UpdateObjectInDatabase(adapter), PI::ERR_GENERAL_FAILURE);
  EXPECT_EQ(plugin.DeleteObjectFromDatabase(adapter), PI::ERR_GENERAL_FAILURE);
  EXPECT_EQ(plugin.InsertObjectToDatabase(drive, true), PI::ERR_GENERAL_FAILURE);
  EXPECT_EQ(plugin.UpdateObjectInDatabase(drive), PI::ERR_GENERAL_FAILURE);
  const Strings texts = trace.Texts();
  ASSERT_EQ(texts.size(), 5U);
  for (const std::string& text : texts) {
    EXPECT_TRUE(text.starts_with("Storage query exception thrown during ")) << text;
  }
}

// Only the database's own exception is caught here; the callers stop the others.
TEST_F(PersistenceText, CellThatIsNoNumber_LeavesAsTheConversionsException) {
  Strings cells = RowWithIdentity("Adapter", "seven");
  dao->answer = [cells](const std::string&) { return cells; };
  EXPECT_THROW(plugin.UpdateObjectInDatabase(adapter), std::invalid_argument);
  cells = RowWithIdentity("Adapter", "7");
  cells[1] = "18446744073709551614";
  dao->answer = [cells](const std::string&) { return cells; };
  EXPECT_THROW(plugin.UpdateObjectInDatabase(adapter), std::out_of_range);
  for (const char* table : {"PD", "Plugin"}) {
    cells = RowWithIdentity(table, "seven");
    dao->answer = [cells](const std::string&) { return cells; };
    if (std::string(table) == "PD") {
      EXPECT_THROW(plugin.UpdateObjectInDatabase(drive), std::invalid_argument);
    } else {
      EXPECT_THROW(plugin.UpdateObjectInDatabase(plugin.m_Plugin), std::invalid_argument);
    }
  }
}

TEST_F(PersistenceText, AdapterNumberBeyondAnInteger_StillGivesOneStatement) {
  adapter.AdapterNumber = 0xFFFFFFFFU;
  EXPECT_EQ(plugin.DeleteObjectFromDatabase(adapter), 0U);
  EXPECT_EQ(dao->statements.size(), 1U);
}

TEST_F(PersistenceText, DecimalCommaAndGroupingOfTheHost_ChangeNoStatement) {
  plugin.InsertObjectToDatabase(adapter, true);
  plugin.InsertObjectToDatabase(drive, true);
  const Strings classic = dao->statements;
  dao->statements.clear();

  struct Numbers : std::numpunct<char> {
    char do_decimal_point() const override { return ','; }
    char do_thousands_sep() const override { return '.'; }
    std::string do_grouping() const override { return "\3"; }
  };
  const std::locale old = std::locale::global(std::locale(std::locale::classic(), new Numbers));
  plugin.InsertObjectToDatabase(adapter, true);
  plugin.InsertObjectToDatabase(drive, true);
  std::locale::global(old);
  EXPECT_EQ(dao->statements, classic);
  EXPECT_NE(classic.back().find("35.500000"), std::string::npos) << classic.back();
}

// --- A real database

namespace {

using Cell = std::optional<std::string>;

class PersistenceSqlite : public ::testing::Test {
 protected:
  PersistenceSqlite() {
    opened = Schema::OpenForWriting((directory / "mirror.db").string());
    EXPECT_EQ(opened.Error, "");
    if (opened.Database) plugin.m_Database = opened.Database->HostDatabase();
  }

  // Rows of a statement, read past all of our code.
  std::vector<std::vector<Cell>> Read(const std::string& statement) {
    sqlite3* file = nullptr;
    EXPECT_EQ(
        sqlite3_open_v2((directory / "mirror.db").c_str(), &file, SQLITE_OPEN_READONLY, nullptr),
        SQLITE_OK);
    sqlite3_stmt* query = nullptr;
    EXPECT_EQ(sqlite3_prepare_v2(file, statement.c_str(), -1, &query, nullptr), SQLITE_OK)
        << sqlite3_errmsg(file);
    std::vector<std::vector<Cell>> rows;
    while (sqlite3_step(query) == SQLITE_ROW) {
      std::vector<Cell>& row = rows.emplace_back();
      for (int i = 0; i < sqlite3_column_count(query); ++i) {
        const unsigned char* text = sqlite3_column_text(query, i);
        row.push_back(text == nullptr
                          ? Cell()
                          : std::string(reinterpret_cast<const char*>(text),
                                        static_cast<std::size_t>(sqlite3_column_bytes(query, i))));
      }
    }
    sqlite3_finalize(query);
    sqlite3_close(file);
    return rows;
  }
  Cell Value(const std::string& statement) {
    const auto rows = Read(statement);
    EXPECT_EQ(rows.size(), 1U) << statement;
    return rows.empty() ? Cell() : rows[0][0];
  }

  vxtest::TempDir directory;
  Schema::COpened opened;
  IPLUGINAPI_IMPL plugin;
  CTorvexAdapter adapter = FullAdapter();
  CTorvexPhysicalDrive drive = FullDrive();
};

}  // namespace

TEST_F(PersistenceSqlite, AdapterRow_HoldsWhatTheObjectHolds) {
  ASSERT_EQ(plugin.InsertObjectToDatabase(adapter, true), 0U);
  const auto rows = Read(
      "SELECT ObjectID, AdapterNumber, Host, Name, Vendor, ModelNumber, Mode, HealthState, "
      "PciSegment, PciBus, PciDevice, PciFunction, Location, SerialNumber, Firmware, Bootloader, "
      "DevicePath, DriverName, DriverVersion, Temperature, EndOfLifeDate, PowerOnHours, "
      "ReserveSpace, SelectedLevel, WarningThreshold, DataUnitsRead, DataUnitsWritten, "
      "RemainingLife, LifeState, MediaErrors, HealthReasons FROM Adapter");
  ASSERT_EQ(rows.size(), 1U);
  const std::vector<Cell> expected = {"86975767803592705",
                                      "3",
                                      "localhost",
                                      "Intel PCIe Device Adapter (SN1)",
                                      "INTEL",
                                      "INTEL SSDPE2KX010T7",
                                      "40480",
                                      "40150",
                                      "4",
                                      "1",
                                      "2",
                                      "3",
                                      "PCI:Bus=1&Device=2&Function=3",
                                      "SN1",
                                      "QDV1",
                                      "8B1B",
                                      "/dev/nvme0n1",
                                      "nvme",
                                      "1.0",
                                      "35.5",
                                      "2035-01-02",
                                      "700",
                                      "98",
                                      "40473",
                                      "11",
                                      "500",
                                      "1280",
                                      "96",
                                      "40252",
                                      "6",
                                      "40459|40460"};
  EXPECT_EQ(rows[0], expected);
}

TEST_F(PersistenceSqlite, DriveRow_HoldsWhatTheObjectHolds) {
  ASSERT_EQ(plugin.InsertObjectToDatabase(drive, true), 0U);
  const auto rows = Read(
      "SELECT SerialNumber, Host, Name, Channel, Target, Location, Vendor, ModelNumber, Interface, "
      "PhysicalSize, PhysicalSize2, State, UsableSize, UsablePercent, SectorSize, Temperature "
      "FROM PD");
  ASSERT_EQ(rows.size(), 1U);
  const std::vector<Cell> expected = {"SN1",
                                      "localhost",
                                      "Intel SSD DC P4600, SSDPE2KX010T7",
                                      "0",
                                      "0",
                                      "PCI:Bus=1&Device=2&Function=3&ID=0",
                                      "INTEL",
                                      "INTEL SSDPE2KX010T7",
                                      "40200",
                                      "953869",
                                      "953870",
                                      "40099",
                                      "953868",
                                      "99",
                                      "512",
                                      "35.5"};
  EXPECT_EQ(rows[0], expected);
}

TEST_F(PersistenceSqlite, AdapterInsertedTwice_HasTwoRows_AndAnUpdateWritesTheFirst) {
  plugin.InsertObjectToDatabase(adapter, true);
  plugin.InsertObjectToDatabase(adapter, true);
  adapter.Firmware = "NEW";
  EXPECT_EQ(plugin.UpdateObjectInDatabase(adapter), 0U);
  const auto rows = Read("SELECT Firmware FROM Adapter ORDER BY ID");
  ASSERT_EQ(rows.size(), 2U);
  EXPECT_EQ(rows[0][0], "NEW");
  EXPECT_EQ(rows[1][0], "QDV1");
  EXPECT_EQ(plugin.DeleteObjectFromDatabase(adapter), 0U);
  EXPECT_TRUE(Read("SELECT * FROM Adapter").empty());
}

TEST_F(PersistenceSqlite, DriveInsertedTwice_HasOneRow) {
  plugin.InsertObjectToDatabase(drive, true);
  drive.Temperature = 36.0F;
  EXPECT_EQ(plugin.InsertObjectToDatabase(drive, true), 0U);
  EXPECT_EQ(Value("SELECT count(*) FROM PD"), "1");
  EXPECT_EQ(Value("SELECT Temperature FROM PD"), "36.0");
  drive.HealthState = PI::CHOICE_HEALTH_CRITICAL;
  EXPECT_EQ(plugin.UpdateObjectInDatabase(drive), 0U);
  EXPECT_EQ(Value("SELECT State FROM PD"), "40095");
  EXPECT_EQ(plugin.DeleteObjectFromDatabase(drive), 0U);
  EXPECT_EQ(Value("SELECT count(*) FROM PD"), "1");
}

TEST_F(PersistenceSqlite, UpdateWithoutARow_CreatesNone) {
  EXPECT_EQ(plugin.UpdateObjectInDatabase(adapter), 0U);
  EXPECT_EQ(plugin.UpdateObjectInDatabase(drive), 0U);
  EXPECT_EQ(Value("SELECT (SELECT count(*) FROM Adapter) + (SELECT count(*) FROM PD)"), "0");
}

// What another writer put into a column that the object does not fill is gone as well.
TEST_F(PersistenceSqlite, Update_WritesEveryColumn) {
  ASSERT_EQ(plugin.InsertObjectToDatabase(plugin.m_Plugin, false), 0U);
  opened.Database->HostDatabase()->Dao().query("UPDATE Plugin SET Unused1 = 5, Vendor = 'other'");
  EXPECT_EQ(plugin.UpdateObjectInDatabase(plugin.m_Plugin), 0U);
  EXPECT_EQ(Value("SELECT Unused1 FROM Plugin"), Cell());
  EXPECT_EQ(Value("SELECT Vendor FROM Plugin"), "Vioteis.");
}

TEST_F(PersistenceSqlite, RowsAreKeyedByNumber_OthersStayAsTheyAre) {
  CTorvexAdapter second = adapter;
  second.AdapterNumber = 4;
  second.SerialNumber = "SN2";
  plugin.InsertObjectToDatabase(adapter, true);
  plugin.InsertObjectToDatabase(second, true);
  EXPECT_EQ(plugin.DeleteObjectFromDatabase(adapter), 0U);
  second.Firmware = "NEW";
  EXPECT_EQ(plugin.UpdateObjectInDatabase(second), 0U);
  const auto rows = Read("SELECT AdapterNumber, SerialNumber, Firmware FROM Adapter");
  ASSERT_EQ(rows.size(), 1U);
  EXPECT_EQ(rows[0], (std::vector<Cell>{"4", "SN2", "NEW"}));
}

TEST_F(PersistenceSqlite, ValuesThatAreNotKnown_AreNull) {
  CTorvexAdapter fresh;
  fresh.AdapterNumber = 1;
  ASSERT_EQ(plugin.InsertObjectToDatabase(fresh, true), 0U);
  for (const char* column : {"Temperature", "PowerOnHours", "DataUnitsRead", "DataUnitsWritten",
                             "RemainingLife", "Firmware", "Bootloader", "DriverVersion"}) {
    EXPECT_EQ(Value("SELECT " + std::string(column) + " FROM Adapter"), Cell()) << column;
  }
  EXPECT_EQ(Value("SELECT Name FROM Adapter"), "");
  EXPECT_EQ(Value("SELECT HealthReasons FROM Adapter"), "");
  // A known value that becomes unknown is null again.
  ASSERT_EQ(plugin.InsertObjectToDatabase(drive, true), 0U);
  drive.Temperature = -1.0F;
  ASSERT_EQ(plugin.UpdateObjectInDatabase(drive), 0U);
  EXPECT_EQ(Value("SELECT Temperature FROM PD"), Cell());
}

TEST_F(PersistenceSqlite, TextsFromFirmware_StayTextsAndKeepTheirBytes) {
  for (const std::string text : {"O'Brien", "x'; DROP TABLE PD; --", "''", "'", "a;b", "/* */",
                                 "\xC3\xA9\xF0\x9F\x98\x80", "line\nfeed", "|", "%s %d", " "}) {
    drive.SerialNumber = text;
    drive.Name = text;
    ASSERT_EQ(plugin.InsertObjectToDatabase(drive, true), 0U) << text;
    drive.SectorSize = 4096;
    ASSERT_EQ(plugin.UpdateObjectInDatabase(drive), 0U) << text;
    const auto rows =
        Read("SELECT SerialNumber, Name, SectorSize FROM PD ORDER BY ID DESC LIMIT 1");
    ASSERT_EQ(rows.size(), 1U) << text;
    EXPECT_EQ(rows[0], (std::vector<Cell>{text, text, "4096"})) << text;
  }
  EXPECT_EQ(Value("SELECT count(*) FROM PD"), "11");
}

TEST_F(PersistenceSqlite, NulInTheDriverVersion_DoesNotBreakTheStatement) {
  adapter.DriverVersion = std::string("\0.\0", 3);
  EXPECT_EQ(plugin.InsertObjectToDatabase(adapter, true), 0U);
  EXPECT_EQ(Value("SELECT DriverVersion FROM Adapter"), ".");
  EXPECT_EQ(adapter.DriverVersion.size(), 3U);
}

// Such a drive's row is written by inserts alone: stored as null, its serial number is no key.
TEST_F(PersistenceSqlite, SerialNumberThatReadsNull_IsNullAndFoundByNoKey) {
  drive.SerialNumber = "NULL";
  EXPECT_EQ(plugin.InsertObjectToDatabase(drive, true), 0U);
  EXPECT_EQ(Value("SELECT SerialNumber FROM PD"), Cell());
  drive.SectorSize = 4096;
  EXPECT_EQ(plugin.UpdateObjectInDatabase(drive), 0U);
  EXPECT_EQ(Value("SELECT SectorSize FROM PD"), "512");
}

TEST_F(PersistenceSqlite, EmptySerialNumber_IsAKeyLikeAnyOther) {
  drive.SerialNumber.clear();
  EXPECT_EQ(plugin.InsertObjectToDatabase(drive, true), 0U);
  drive.SectorSize = 4096;
  EXPECT_EQ(plugin.UpdateObjectInDatabase(drive), 0U);
  EXPECT_EQ(Value("SELECT SectorSize FROM PD WHERE SerialNumber = ''"), "4096");
}
