#include "DatabaseORM/Recording.h"

#include <climits>
#include <stdexcept>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using DatabaseORM::and_;
using DatabaseORM::is_equal;
using DatabaseORM::storage_t;
using DatabaseORM::table_t;
using DatabaseORM::where;
using DBEXCEPTION::DatabaseException;
using RaidDataModels::Adapter;
using RaidDataModels::dbModelFieldsMap;
using RaidDataModels::PD;
using RaidDataModels::Plugin;
using testing::ElementsAre;
using vxtest::AdapterFixture;
using vxtest::Column;
using vxtest::TextGuard;

template <class Function>
std::string FailureOf(Function function) {
  try {
    function();
  } catch (const DatabaseException& failure) {
    return failure.what();
  }
  return "(no failure)";
}

Adapter SampleAdapter() {
  Adapter adapter;
  adapter.ID = 7;
  adapter.ObjectID = 86975767803592705UL;
  adapter.AdapterNumber = 1;
  adapter.Host = "localhost";
  adapter.Temperature = 2.5;
  adapter.HealthReasons = {"a", "b"};
  return adapter;
}

auto KeyOfOne() {
  return where(is_equal(&Adapter::AdapterNumber, 1) && is_equal(&Adapter::Host, "localhost"));
}

// --- conditions

TEST(StorageText, ProcessWhere_OnInt_QuotesTheNumber) {
  AdapterFixture f;
  EXPECT_EQ(f.Storage().process_where(is_equal(&Adapter::AdapterNumber, 3)), " NR = '3'");
  EXPECT_EQ(f.Storage().process_where(is_equal(&Adapter::AdapterNumber, INT_MIN)),
            " NR = '-2147483648'");
}

TEST(StorageText, ProcessWhere_Conjunction_KeepsBlanksAndBrackets) {
  AdapterFixture f;
  EXPECT_EQ(f.Storage().process_where(
                and_(is_equal(&Adapter::AdapterNumber, 1), is_equal(&Adapter::Host, "localhost"))),
            " ( NR = '1') AND ( HOST = 'localhost') ");
}

TEST(StorageText, ProcessWhere_NestedConjunction_FollowsTheSameRule) {
  AdapterFixture f;
  const auto condition = is_equal(&Adapter::AdapterNumber, 1) && is_equal(&Adapter::ID, 2) &&
                         is_equal(&Adapter::Host, std::string("h"));
  EXPECT_EQ(f.Storage().process_where(condition),
            " ( ( NR = '1') AND ( ID = '2') ) AND ( HOST = 'h') ");
}

TEST(StorageText, ProcessWhere_WithQualificationFlag_PutsAliasInFront) {
  AdapterFixture f;
  EXPECT_EQ(f.Storage(true).process_where(is_equal(&Adapter::Host, "x")), " A.HOST = 'x'");
}

TEST(StorageText, ProcessWhere_TextWithApostrophe_DoublesItWhateverTheQuotation) {
  AdapterFixture f;
  const TextGuard quotation(DatabaseWrapper::QUOTATION, "\"");
  EXPECT_EQ(f.Storage().process_where(is_equal(&Adapter::Host, "x'; DROP TABLE T; --\"")),
            " HOST = 'x''; DROP TABLE T; --\"'");
}

TEST(StorageText, ProcessWhere_TextWithNul_DropsIt) {
  AdapterFixture f;
  EXPECT_EQ(f.Storage().process_where(is_equal(&Adapter::Host, std::string("a\0b", 3))),
            " HOST = 'ab'");
}

TEST(StorageText, ProcessWhere_NullPointer_CountsAsEmptyText) {
  AdapterFixture f;
  const char* none = nullptr;
  EXPECT_EQ(f.Storage().process_where(is_equal(&Adapter::Host, none)), " HOST = ''");
}

TEST(StorageText, ProcessSingleCondition_AppendsWhereWithSeparator) {
  AdapterFixture f;
  const TextGuard blank(DatabaseWrapper::BLANK_SEPARATOR, "\t");
  std::string statement = "SELECT 1";
  f.Storage().process_single_condition(statement, is_equal(&Adapter::AdapterNumber, 3));
  EXPECT_EQ(statement, "SELECT 1\tWHERE NR = '3'");
}

TEST(StorageText, StringFromExpression_GivesTheColumnOfEachKeyKind) {
  AdapterFixture f;
  EXPECT_EQ(f.Storage().stringFromExpression(&Adapter::ID), "ID");
  EXPECT_EQ(f.Storage().stringFromExpression(&Adapter::ObjectID), "OBJ_ID");
  EXPECT_EQ(f.Storage().stringFromExpression(&Adapter::Host), "HOST");
}

// Every gap and separator, in every statement, is the host's.
TEST(StorageText, OtherSeparators_StandInEveryStatement) {
  AdapterFixture f;
  const TextGuard blank(DatabaseWrapper::BLANK_SEPARATOR, "_");
  const TextGuard middle(DatabaseWrapper::MIDDLE_SEPARATOR, "~~");
  const TextGuard quotation(DatabaseWrapper::QUOTATION, "\"");
  f.table->foreignKeys = true;
  f.table->columns.resize(4);
  f.table->columns[0]->explicitColumnList = true;
  f.Storage().update(SampleAdapter());
  f.Storage().insert(SampleAdapter());
  f.Storage().remove_all<Adapter>(KeyOfOne());
  f.Storage().get_all<Adapter>(KeyOfOne());
  EXPECT_THAT(
      f.dao->statements,
      ElementsAre(
          "PRAGMA foreign_keys = ON;_UPDATE_T_SET_ID=7~~OBJ_ID=86975767803592705~~NR=1~~"
          "HOST=\"localhost\"_WHERE ID = 7",
          "SELECT_MAX(ID)_FROM_T",
          "PRAGMA foreign_keys = ON;_INSERT INTO_T(OBJ_ID~~NR~~HOST)_"
          "VALUES(86975767803592705~~1~~\"localhost\");",
          "PRAGMA foreign_keys = ON;_DELETE_FROM_T_WHERE ( NR = '1') AND ( HOST = 'localhost') ",
          "SELECT_*_FROM_T_WHERE ( NR = '1') AND ( HOST = 'localhost') "));
}

// --- missing registrations

TEST(StorageText, ExtractAlias_WithoutMap_FailsBeforeAnyStatement) {
  AdapterFixture f;
  storage_t storage({f.table}, {}, f.dao);
  EXPECT_EQ(FailureOf([&] { storage.extractAlias<Adapter>(); }),
            "Storage query exception thrown! No such model map exist.");
  EXPECT_THAT(f.dao->statements, ElementsAre());
}

TEST(StorageText, ExtractAlias_TakesTheFirstMapOfTheType) {
  AdapterFixture f;
  auto other = std::make_shared<dbModelFieldsMap<PD>>();
  other->SetAlias("wrong type");
  auto second = std::make_shared<dbModelFieldsMap<Adapter>>();
  second->SetAlias("second");
  storage_t storage({f.table}, {other, f.map, second}, f.dao);
  EXPECT_EQ(storage.extractAlias<Adapter>(), "A");
}

TEST(StorageText, Operations_TakeTheFirstTableOfTheType) {
  AdapterFixture f;
  const auto other = std::make_shared<table_t<PD>>("wrong type");
  const auto second = std::make_shared<table_t<Adapter>>("second");
  storage_t storage({other, f.table, second}, {f.map}, f.dao);
  storage.max(&Adapter::ID);
  EXPECT_THAT(f.dao->statements, ElementsAre("SELECT MAX(ID) FROM T"));
}

TEST(StorageText, Operations_WithoutMap_FailWithTheirOwnTextAndSendNothing) {
  AdapterFixture f;
  storage_t storage({f.table}, {}, f.dao);
  const std::string text = "Storage query exception thrown! No such model in map exist.";
  EXPECT_EQ(FailureOf([&] { storage.stringFromExpression(&Adapter::ID); }), text);
  EXPECT_EQ(FailureOf([&] { storage.update(SampleAdapter()); }), text);
  EXPECT_EQ(FailureOf([&] { storage.get_all<Adapter>(KeyOfOne()); }), text);
  EXPECT_EQ(FailureOf([&] { storage.remove_all<Adapter>(KeyOfOne()); }), text);
  EXPECT_EQ(FailureOf([&] { storage.max(&Adapter::ID); }), text);
  EXPECT_EQ(FailureOf([&] { storage.insert(SampleAdapter()); }),
            "Storage query exception thrown! No such model in map exist!");
  EXPECT_THAT(f.dao->statements, ElementsAre());
}

TEST(StorageText, StringFromExpression_FieldWithoutName_Fails) {
  AdapterFixture f;
  EXPECT_EQ(FailureOf([&] { f.Storage().stringFromExpression(&Adapter::Vendor); }),
            "Empty colName exception!");
  f.map->SetColumn(&Adapter::Host, "");
  EXPECT_EQ(FailureOf([&] { f.Storage().get_all<Adapter>(KeyOfOne()); }),
            "Empty colName exception!");
  EXPECT_THAT(f.dao->statements, ElementsAre());
}

TEST(StorageText, Operations_WithoutTable_SendStatementsWithEmptyName) {
  AdapterFixture f;
  storage_t storage({}, {f.map}, f.dao);
  storage.update(SampleAdapter());
  storage.max(&Adapter::ID);
  storage.remove_all<Adapter>(where(is_equal(&Adapter::AdapterNumber, 3)));
  storage.insert(SampleAdapter());
  f.dao->cells = {"1", "2"};
  EXPECT_TRUE(storage.get_all<Adapter>(where(is_equal(&Adapter::AdapterNumber, 3))).empty());
  EXPECT_THAT(f.dao->statements,
              ElementsAre("UPDATE  SET  WHERE ID = -2147483648", "SELECT MAX(ID) FROM ",
                          "DELETE FROM  WHERE NR = '3'", "INSERT INTO  VALUES();",
                          "SELECT * FROM  WHERE NR = '3'"));
}

TEST(StorageText, Operations_WithoutDatabaseObject_Fail) {
  AdapterFixture f;
  storage_t storage({f.table}, {f.map}, nullptr);
  EXPECT_EQ(FailureOf([&] { storage.update(SampleAdapter()); }),
            "Storage query exception thrown! (no database object)");
}

// --- update

TEST(StorageText, Update_RendersEveryKind) {
  AdapterFixture f;
  f.Storage().update(SampleAdapter());
  EXPECT_THAT(f.dao->statements,
              ElementsAre("UPDATE T SET ID=7, OBJ_ID=86975767803592705, NR=1, HOST='localhost', "
                          "X=2.500000, REASONS='a|b' WHERE ID = 7"));
}

TEST(StorageText, Update_NullValues_AreNullEntries) {
  AdapterFixture f;
  Adapter adapter;
  adapter.ID = 7;
  adapter.HealthReasons = {"NULL"};
  f.Storage().update(adapter);
  EXPECT_THAT(f.dao->statements,
              ElementsAre("UPDATE T SET ID=7, OBJ_ID=NULL, NR=NULL, HOST=NULL, X=NULL, "
                          "REASONS=NULL WHERE ID = 7"));
}

TEST(StorageText, Update_OtherConstants_AreUsedThroughout) {
  AdapterFixture f;
  const TextGuard blank(DatabaseWrapper::BLANK_SEPARATOR, "_");
  const TextGuard quotation(DatabaseWrapper::QUOTATION, "\"");
  const TextGuard entry(DatabaseWrapper::NULL_DB_ENTRY, "nil");
  const TextGuard text(DatabaseWrapper::NULL_DB_STRING, "localhost");
  const TextGuard list(DatabaseWrapper::delimiter, "+-");
  f.Storage().update(SampleAdapter());
  EXPECT_THAT(f.dao->statements,
              ElementsAre("UPDATE_T_SET_ID=7, OBJ_ID=86975767803592705, NR=1, HOST=nil, "
                          "X=2.500000, REASONS=\"a+-b\"_WHERE ID = 7"));
}

TEST(StorageText, Update_OneCharacterSeparator_CutsTheLastCharacterOfTheLastValue) {
  AdapterFixture f;
  const TextGuard separator(DatabaseWrapper::MIDDLE_SEPARATOR, ";");
  f.table->columns = {Column<Adapter>(&Adapter::ID, "A", 0),
                      Column<Adapter>(&Adapter::AdapterNumber, "B", 1),
                      Column<Adapter>(&Adapter::Mode, "C", 2)};
  Adapter adapter;
  adapter.ID = 1;
  adapter.AdapterNumber = 2;
  adapter.Mode = 33;
  f.Storage().update(adapter);
  EXPECT_THAT(f.dao->statements, ElementsAre("UPDATE T SET A=1;B=2;C=3 WHERE ID = 1"));
}

TEST(StorageText, Update_ColumnsOutOfOrder_AreWrittenByPosition) {
  AdapterFixture f;
  f.table->columns = {Column<Adapter>(&Adapter::Mode, "C", 2),
                      Column<Adapter>(&Adapter::ID, "A", 0),
                      Column<Adapter>(&Adapter::AdapterNumber, "B", 1)};
  f.Storage().update(SampleAdapter());
  EXPECT_THAT(f.dao->statements, ElementsAre("UPDATE T SET A=7, B=1, C=NULL WHERE ID = 7"));
}

TEST(StorageText, Update_TwoColumnsAtOnePosition_LaterWinsAndEmptySlotIsSkipped) {
  AdapterFixture f;
  f.table->columns = {Column<Adapter>(&Adapter::ID, "A", 0),
                      Column<Adapter>(&Adapter::AdapterNumber, "B", 2),
                      Column<Adapter>(&Adapter::Mode, "C", 2)};
  f.Storage().update(SampleAdapter());
  EXPECT_THAT(f.dao->statements, ElementsAre("UPDATE T SET A=7, C=NULL WHERE ID = 7"));
}

TEST(StorageText, Update_PositionOutsideTheRow_FailsAndSendsNothing) {
  for (const int position : {-1, 1, INT_MAX, INT_MIN}) {
    AdapterFixture f;
    f.table->columns = {Column<Adapter>(&Adapter::AdapterNumber, "B", position)};
    const std::string text = "Column \"B\" of table \"T\" is registered at position " +
                             std::to_string(position) + "; the table has 1 columns.";
    EXPECT_EQ(FailureOf([&] { f.Storage().update(SampleAdapter()); }), text);
    EXPECT_EQ(FailureOf([&] { f.Storage().insert(SampleAdapter()); }), text);
    EXPECT_THAT(f.dao->statements, ElementsAre());
  }
}

TEST(StorageText, Update_TableWithoutColumns_CutsNothing) {
  AdapterFixture f;
  f.table->columns.clear();
  f.Storage().update(SampleAdapter());
  EXPECT_THAT(f.dao->statements, ElementsAre("UPDATE T SET  WHERE ID = -2147483648"));
}

TEST(StorageText, Update_IdentityIsNull_NamesItInDecimal) {
  AdapterFixture f;
  f.table->columns.resize(1);
  f.Storage().update(Adapter());
  EXPECT_THAT(f.dao->statements, ElementsAre("UPDATE T SET ID=NULL WHERE ID = -2147483648"));
}

TEST(StorageText, Update_ListItemWithDelimiter_IsRefused) {
  AdapterFixture f;
  Adapter adapter = SampleAdapter();
  adapter.HealthReasons = {"a", "b|c"};
  const std::string text =
      "The list item \"b|c\" holds \"|\", which separates the items of a list.";
  EXPECT_EQ(FailureOf([&] { f.Storage().update(adapter); }), text);
  EXPECT_EQ(FailureOf([&] { f.Storage().insert(adapter); }), text);
  EXPECT_THAT(f.dao->statements, ElementsAre());
}

// --- insert

TEST(StorageText, Insert_WithoutColumnList_WritesTheIdentityLikeAnyOther) {
  AdapterFixture f;
  f.Storage().insert(SampleAdapter());
  EXPECT_THAT(f.dao->statements,
              ElementsAre("INSERT INTO T VALUES(7, 86975767803592705, 1, 'localhost', 2.500000, "
                          "'a|b');"));
}

TEST(StorageText, Insert_WithColumnList_ReadsTheMaximumAndLeavesTheIdentityOut) {
  AdapterFixture f;
  f.table->columns[2]->explicitColumnList = true;
  Adapter adapter = SampleAdapter();
  adapter.Host = "";
  adapter.HealthReasons.clear();
  f.Storage().insert(adapter);
  EXPECT_THAT(f.dao->statements, ElementsAre("SELECT MAX(ID) FROM T",
                                             "INSERT INTO T(OBJ_ID, NR, HOST, X, REASONS) "
                                             "VALUES(86975767803592705, 1, '', 2.500000, '');"));
}

TEST(StorageText, Insert_EmptyText_IsTwoApostrophesWhateverTheQuotation) {
  AdapterFixture f;
  const TextGuard quotation(DatabaseWrapper::QUOTATION, "\"");
  f.table->columns = {Column<Adapter>(&Adapter::Host, "HOST", 0)};
  Adapter adapter;
  adapter.Host = "";
  f.Storage().insert(adapter);
  f.Storage().update(adapter);
  EXPECT_THAT(f.dao->statements,
              ElementsAre("INSERT INTO T VALUES('');", "UPDATE T SET HOST=\"\" WHERE ID = \"\""));
}

TEST(StorageText, Insert_OneCharacterSeparator_CutsTheLastCharacterOfTheLastValue) {
  AdapterFixture f;
  const TextGuard separator(DatabaseWrapper::MIDDLE_SEPARATOR, ";");
  f.table->columns.resize(3);
  Adapter adapter = SampleAdapter();
  adapter.AdapterNumber = 33;
  f.Storage().insert(adapter);
  EXPECT_THAT(f.dao->statements, ElementsAre("INSERT INTO T VALUES(7;86975767803592705;3);"));
}

TEST(StorageText, Insert_NullValues_AreNullEntries) {
  AdapterFixture f;
  Adapter adapter;
  adapter.HealthReasons = {"NULL"};
  f.Storage().insert(adapter);
  EXPECT_THAT(f.dao->statements,
              ElementsAre("INSERT INTO T VALUES(NULL, NULL, NULL, NULL, NULL, NULL);"));
}

TEST(StorageText, Insert_MaximumFails_SaysSoAroundTheCause) {
  AdapterFixture f;
  f.table->columns[0]->explicitColumnList = true;
  f.dao->failFrom = 1;
  EXPECT_EQ(FailureOf([&] { f.Storage().insert(SampleAdapter()); }),
            "Storage query exception thrown! Cannot read ID from database! "
            "(Storage query exception thrown! (disk on fire))");
  EXPECT_THAT(f.dao->statements, ElementsAre("SELECT MAX(ID) FROM T"));
}

TEST(StorageText, Insert_IdentityWithoutName_FailsAsUnreadable) {
  AdapterFixture f;
  f.table->columns[0]->explicitColumnList = true;
  f.map->SetColumn(&Adapter::ID, "");
  EXPECT_EQ(FailureOf([&] { f.Storage().insert(SampleAdapter()); }),
            "Storage query exception thrown! Cannot read ID from database! "
            "(Empty colName exception!)");
}

// --- foreign keys

TEST(StorageText, ForeignKeyFlag_PutsThePragmaBeforeEverythingThatWrites) {
  AdapterFixture f;
  f.table->foreignKeys = true;
  f.table->columns = {Column<Adapter>(&Adapter::ID, "ID", 0)};
  f.Storage().update(SampleAdapter());
  f.Storage().insert(SampleAdapter());
  f.Storage().remove_all<Adapter>(where(is_equal(&Adapter::AdapterNumber, 3)));
  f.Storage().get_all<Adapter>(where(is_equal(&Adapter::AdapterNumber, 3)));
  f.Storage().max(&Adapter::ID);
  EXPECT_THAT(f.dao->statements,
              ElementsAre("PRAGMA foreign_keys = ON; UPDATE T SET ID=7 WHERE ID = 7",
                          "PRAGMA foreign_keys = ON; INSERT INTO T VALUES(7);",
                          "PRAGMA foreign_keys = ON; DELETE FROM T WHERE NR = '3'",
                          "SELECT * FROM T WHERE NR = '3'", "SELECT MAX(ID) FROM T"));
}

// --- get_all, remove_all, max

TEST(StorageText, GetAllAndRemoveAll_RenderTheKeyOfAnAdapter) {
  AdapterFixture f;
  f.Storage().get_all<Adapter>(KeyOfOne());
  f.Storage().remove_all<Adapter>(KeyOfOne());
  EXPECT_THAT(f.dao->statements,
              ElementsAre("SELECT * FROM T WHERE ( NR = '1') AND ( HOST = 'localhost') ",
                          "DELETE FROM T WHERE ( NR = '1') AND ( HOST = 'localhost') "));
}

TEST(StorageText, GetAll_ReadsCellsRowByRowAtTheirPositions) {
  AdapterFixture f;
  f.dao->cells = {"7",    "86975767803592705",
                  "1",    "localhost",
                  "2.5",  "a|b",
                  "8",    "NULL",
                  "NULL", "NULL",
                  "NULL", "NULL",
                  "left", "over"};
  const auto rows = f.Storage().get_all<Adapter>(KeyOfOne());
  Adapter empty;
  empty.ID = 8;
  ASSERT_EQ(rows.size(), 2U);
  EXPECT_EQ(rows[0], SampleAdapter());
  EXPECT_EQ(rows[1], empty);
}

TEST(StorageText, GetAll_NullCellOfANumber_LeavesTheNullValue) {
  AdapterFixture f;
  f.dao->cells = {"NULL", "NULL", "NULL", "", "NULL", ""};
  const auto rows = f.Storage().get_all<Adapter>(KeyOfOne());
  ASSERT_EQ(rows.size(), 1U);
  EXPECT_EQ(rows[0].AdapterNumber, INT_MIN);
  EXPECT_EQ(rows[0].ObjectID, ~0UL);
  EXPECT_EQ(rows[0].Temperature, 0x1p-126);
  EXPECT_EQ(rows[0].Host, "");
  EXPECT_TRUE(rows[0].HealthReasons.empty());
}

TEST(StorageText, GetAll_ListCell_SplitsAtEveryDelimiter) {
  AdapterFixture f;
  f.dao->cells = {"1", "1", "1", "h", "1", "a||b|"};
  EXPECT_THAT(f.Storage().get_all<Adapter>(KeyOfOne()).at(0).HealthReasons,
              ElementsAre("a", "", "b", ""));
}

TEST(StorageText, GetAll_CellThatIsNoNumber_PassesTheConversionFailureOn) {
  AdapterFixture f;
  f.dao->cells = {"x", "1", "1", "h", "1", ""};
  EXPECT_THROW(f.Storage().get_all<Adapter>(KeyOfOne()), std::invalid_argument);
  f.dao->cells = {"1", "9223372036854775808", "1", "h", "1", ""};
  EXPECT_THROW(f.Storage().get_all<Adapter>(KeyOfOne()), std::out_of_range);
  f.dao->cells = {"1", "1", "2147483648", "h", "1", ""};
  EXPECT_THROW(f.Storage().get_all<Adapter>(KeyOfOne()), std::out_of_range);
  f.dao->cells = {"1", "1", "1", "h", "warm", ""};
  EXPECT_THROW(f.Storage().get_all<Adapter>(KeyOfOne()), std::invalid_argument);
  f.dao->cells = {"1", "1", "1", "h", "1e999", ""};
  EXPECT_THROW(f.Storage().get_all<Adapter>(KeyOfOne()), std::out_of_range);
}

TEST(StorageText, Max_ReadsTheFirstCell) {
  AdapterFixture f;
  EXPECT_EQ(f.Storage().max(&Adapter::AdapterNumber), 0);
  f.dao->cells = {"NULL"};
  EXPECT_EQ(f.Storage().max(&Adapter::AdapterNumber), 0);
  f.dao->cells = {"x12"};
  EXPECT_EQ(f.Storage().max(&Adapter::ObjectID), 0UL);
  f.dao->cells = {"-12", "99"};
  EXPECT_EQ(f.Storage().max(&Adapter::AdapterNumber), -12);
  f.dao->cells = {"86975767803592705"};
  EXPECT_EQ(f.Storage().max(&Adapter::ObjectID), 86975767803592705UL);
  EXPECT_EQ(f.dao->statements.front(), "SELECT MAX(NR) FROM T");
}

TEST(StorageText, QueryFails_EveryOperationWrapsTheCause) {
  AdapterFixture f;
  f.dao->failFrom = 1;
  const std::string text = "Storage query exception thrown! (disk on fire)";
  EXPECT_EQ(FailureOf([&] { f.Storage().update(SampleAdapter()); }), text);
  EXPECT_EQ(FailureOf([&] { f.Storage().insert(SampleAdapter()); }), text);
  EXPECT_EQ(FailureOf([&] { f.Storage().get_all<Adapter>(KeyOfOne()); }), text);
  EXPECT_EQ(FailureOf([&] { f.Storage().remove_all<Adapter>(KeyOfOne()); }), text);
  EXPECT_EQ(FailureOf([&] { f.Storage().max(&Adapter::ID); }), text);
}

// --- the other records

TEST(StorageText, PluginAndDrive_RenderTheirKeys) {
  auto dao = std::make_shared<vxtest::RecordingDao>();
  auto plugins = std::make_shared<table_t<Plugin>>("P");
  auto drives = std::make_shared<table_t<PD>>("D");
  auto pluginMap = std::make_shared<dbModelFieldsMap<Plugin>>();
  auto driveMap = std::make_shared<dbModelFieldsMap<PD>>();
  pluginMap->SetColumn(&Plugin::Name, "name");
  driveMap->SetColumn(&PD::SerialNumber, "serial");
  driveMap->SetColumn(&PD::Host, "host");
  storage_t storage({plugins, drives}, {pluginMap, driveMap}, dao);
  storage.remove_all<Plugin>(where(is_equal(&Plugin::Name, "Torvex-Plugin")));
  storage.get_all<PD>(
      where(is_equal(&PD::SerialNumber, std::string("S1")) && is_equal(&PD::Host, "localhost")));
  EXPECT_THAT(dao->statements,
              ElementsAre("DELETE FROM P WHERE name = 'Torvex-Plugin'",
                          "SELECT * FROM D WHERE ( serial = 'S1') AND ( host = 'localhost') "));
}

}  // namespace
