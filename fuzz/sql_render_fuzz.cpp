// Whatever a record or a key holds: every statement stays one statement, the row comes back as it
// went in, and no other row changes. SQLite in memory stands behind the builder.
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include <DB/Sqlite.h>
#include <Schema/Versions.h>

namespace {

using DatabaseORM::is_equal;
using DatabaseORM::where;
using RaidDataModels::Adapter;

struct Database {
  std::shared_ptr<DatabaseWrapper::CSqliteDatabase> engine =
      std::make_shared<DatabaseWrapper::CSqliteDatabase>(DatabaseWrapper::IN_MEMORY);
  std::shared_ptr<DatabaseORM::storage_t> storage = Schema::MakeStorage(engine);
  Adapter bystander;

  Database() {
    Schema::Upgrade(*engine);
    bystander.Host = "bystander";
    bystander.Name = "must not change";
    storage->insert(bystander);
    bystander.ID = 1;
  }
};

void Require(bool condition, const char* what) {
  if (condition) return;
  std::fprintf(stderr, "violated: %s\n", what);
  std::abort();
}

// A text as it comes back.
std::string Kept(std::string text) {
  std::erase(text, '\0');
  return text;
}

// The first bytes are numbers, the rest is text: up to the first line feed a key, then a value,
// then the items of a list.
Adapter FromInput(const std::uint8_t* data, std::size_t size) {
  Adapter record;
  long number = 0;
  const std::size_t used = size < sizeof number ? size : sizeof number;
  if (used > 0) std::memcpy(&number, data, used);
  record.Mode = static_cast<int>(number);
  record.MediaErrors = static_cast<unsigned long>(number) >> 1;
  record.AdapterNumber = 7;
  std::string rest(reinterpret_cast<const char*>(data) + used, size - used);
  std::string* const places[] = {&record.SerialNumber, &record.Name};
  for (std::string* place : places) {
    const std::size_t end = rest.find('\n');
    *place = rest.substr(0, end);
    rest.erase(0, end == std::string::npos ? rest.size() : end + 1);
  }
  std::erase(rest, '|');
  if (!Kept(rest).empty()) record.HealthReasons = {rest, "second"};
  return record;
}

// The record as the database gives it back.
Adapter Expected(Adapter record, int id) {
  record.ID = id;
  record.SerialNumber = Kept(record.SerialNumber);
  record.Name = Kept(record.Name);
  for (std::string& item : record.HealthReasons) item = Kept(item);
  return record;
}

void RequireOnly(Database& database, const Adapter& expected) {
  const auto rows = database.storage->get_all<Adapter>(where(is_equal(&Adapter::AdapterNumber, 7)));
  Require(rows.size() == 1, "one row is found by its number");
  Require(rows[0] == expected, "the row comes back as it went in");
  Require(database.engine->query("SELECT COUNT(*) FROM Adapter").at(0) == "2", "two rows in all");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static Database database;
  const Adapter record = FromInput(data, size);
  database.storage->insert(record);
  Adapter expected = Expected(record, 2);
  RequireOnly(database, expected);

  expected.Name += "; --'";
  database.storage->update(expected);
  RequireOnly(database, expected);

  const auto byKey = database.storage->get_all<Adapter>(
      where(is_equal(&Adapter::SerialNumber, record.SerialNumber) &&
            is_equal(&Adapter::AdapterNumber, 7)));
  const bool null = expected.SerialNumber == "NULL";
  Require(byKey.size() == (null ? 0U : 1U), "the key finds its row and no other");

  database.storage->remove_all<Adapter>(
      where(is_equal(&Adapter::SerialNumber, record.SerialNumber)));
  if (null) database.storage->remove_all<Adapter>(where(is_equal(&Adapter::AdapterNumber, 7)));
  const auto left =
      database.storage->get_all<Adapter>(where(is_equal(&Adapter::Host, "bystander")));
  Require(left.size() == 1 && left[0] == database.bystander, "the other row has not changed");
  Require(database.engine->query("SELECT COUNT(*) FROM Adapter").at(0) == "1", "one row is left");
  return 0;
}
