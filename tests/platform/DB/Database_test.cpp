#include <gtest/gtest.h>

#include <DB/Database.h>

// Declared by name only in the interface; the handed-out object is all that is looked at here.
namespace DatabaseORM {
class storage_t {
 public:
  int number = 0;
};
}  // namespace DatabaseORM

namespace {

using DatabaseWrapper::CHostDatabase;

class SilentDao : public DatabaseWrapper::DatabaseDAO {
 public:
  std::vector<std::string> query(std::string) override { return {}; }
};

TEST(Database, Constants_AreTheTextsOfSql) {
  EXPECT_EQ(DatabaseWrapper::BLANK_SEPARATOR, " ");
  EXPECT_EQ(DatabaseWrapper::MIDDLE_SEPARATOR, ", ");
  EXPECT_EQ(DatabaseWrapper::QUOTATION, "'");
  EXPECT_EQ(DatabaseWrapper::NULL_DB_ENTRY, "NULL");
  EXPECT_EQ(DatabaseWrapper::NULL_DB_STRING, "NULL");
  EXPECT_EQ(DatabaseWrapper::delimiter, "|");
}

TEST(Database, Exception_GivesItsMessage) {
  const DBEXCEPTION::DatabaseException failure("what went wrong");
  EXPECT_STREQ(DBEXCEPTION::DatabaseException(failure).what(), "what went wrong");
}

TEST(Database, GetDatabasePointer_HandsOutWhatWasRegisteredLast) {
  EXPECT_EQ(getDatabasePointer(), nullptr);
  auto dao = std::make_shared<SilentDao>();
  auto storage = std::make_shared<DatabaseORM::storage_t>();
  auto database = std::make_shared<CHostDatabase>(dao, storage);
  DatabaseWrapper::registerDatabase(database);
  EXPECT_EQ(getDatabasePointer(), database);
  EXPECT_EQ(&getDatabasePointer()->Dao(), dao.get());
  EXPECT_EQ(&getDatabasePointer()->Storage(), storage.get());
  DatabaseWrapper::registerDatabase(nullptr);
  EXPECT_EQ(getDatabasePointer(), nullptr);
}

TEST(Database, RegisteredDatabase_LivesAsLongAsSomebodyHoldsIt) {
  std::weak_ptr<SilentDao> watch;
  std::shared_ptr<CHostDatabase> kept;
  {
    auto dao = std::make_shared<SilentDao>();
    watch = dao;
    DatabaseWrapper::registerDatabase(std::make_shared<CHostDatabase>(dao, nullptr));
  }
  kept = getDatabasePointer();
  DatabaseWrapper::registerDatabase(nullptr);
  EXPECT_FALSE(watch.expired());
  kept.reset();
  EXPECT_TRUE(watch.expired());
}

}  // namespace
