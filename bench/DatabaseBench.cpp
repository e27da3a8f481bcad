// The mirror: changed adapters written through the query builder against the same rows through the
// SQLite C API with prepared statements, one transaction each; a start-up with database against one
// without; one statement rendered against fmt of the same text.

#include "FleetAnswers.h"
#include "piTorvex.h"

#include <filesystem>
#include <memory>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include <benchmark/benchmark.h>
#include <fmt/format.h>
#include <sqlite3.h>
#include <unistd.h>

#include <DatabaseORM/Storage.h>
#include <Schema/Database.h>
#include <Schema/Tables.h>

namespace {

using namespace NAMESPACE_piTorvex;

constexpr int ADAPTERS = 64;

// A database file in a directory of its own, registered for plug-ins while it lives.
class MirrorFile {
 public:
  MirrorFile() {
    std::string pattern = (std::filesystem::temp_directory_path() / "vxbench-XXXXXX").string();
    if (mkdtemp(pattern.data()) == nullptr) throw std::runtime_error("mkdtemp");
    directory_ = pattern;
    Schema::COpened opened = Schema::OpenForWriting((directory_ / "db.sqlite").string());
    if (!opened.Database) throw std::runtime_error(opened.Error);
    database_ = std::move(opened.Database);
    DatabaseWrapper::registerDatabase(database_->HostDatabase());
  }
  ~MirrorFile() {
    DatabaseWrapper::registerDatabase(nullptr);
    database_.reset();
    std::error_code ignored;
    std::filesystem::remove_all(directory_, ignored);
  }
  MirrorFile(const MirrorFile&) = delete;
  MirrorFile& operator=(const MirrorFile&) = delete;

  Schema::CDatabase& Database() { return *database_; }
  std::string Path() const { return database_->Path(); }

 private:
  std::filesystem::path directory_;
  std::unique_ptr<Schema::CDatabase> database_;
};

// An interface object with that many adapters, found by a scan with the tool in memory.
struct Scanned {
  Scanned() : tool(vxbench::FleetAnswers(ADAPTERS, 30)) {
    plugin.m_DataLock.Init();
    plugin.m_EventsLock.Init();
    plugin.GetAdaptersInfo();
    plugin.ScanSystem(plugin.m_Adapters, plugin.m_PhysicalDrives, true);
  }

  vxtest::ScriptedTool tool;
  IPLUGINAPI_IMPL plugin;
};

void UpdateOurs(benchmark::State& state) {
  MirrorFile mirror;
  Scanned scanned;
  for (auto& adapter : scanned.plugin.m_Adapters)
    scanned.plugin.InsertObjectToDatabase(adapter, false);
  float temperature = 30.0F;
  for (auto _ : state) {
    temperature += 1.0F;
    auto transaction = mirror.Database().Begin();
    for (auto& adapter : scanned.plugin.m_Adapters) {
      adapter.Temperature = temperature;
      if (scanned.plugin.UpdateObjectInDatabase(adapter) != 0) {
        state.SkipWithError("an update failed");
        return;
      }
    }
    transaction->Commit();
  }
}

void Check(int result) {
  if (result != SQLITE_OK && result != SQLITE_ROW && result != SQLITE_DONE) {
    throw std::runtime_error(sqlite3_errstr(result));
  }
}

using Statement = std::unique_ptr<sqlite3_stmt, int (*)(sqlite3_stmt*)>;

Statement Prepare(sqlite3* database, const std::string& text) {
  sqlite3_stmt* statement = nullptr;
  Check(sqlite3_prepare_v2(database, text.c_str(), -1, &statement, nullptr));
  return {statement, sqlite3_finalize};
}

// Reads a row whole by number and host, as the builder's update does, and writes every column of
// it.
void RewriteRow(sqlite3_stmt* find, sqlite3_stmt* write, int columns, int number, float temperature,
                int temperatureColumn) {
  sqlite3_bind_int(find, 1, number);
  Check(sqlite3_step(find));
  for (int column = 0; column < columns; ++column) {
    Check(sqlite3_bind_value(write, column + 1, sqlite3_column_value(find, column)));
  }
  sqlite3_bind_double(write, temperatureColumn + 1, static_cast<double>(temperature));
  sqlite3_bind_int64(write, columns + 1, sqlite3_column_int64(find, 0));
  Check(sqlite3_step(write));
  sqlite3_reset(find);
  sqlite3_reset(write);
}

void UpdateYardstick(benchmark::State& state) {
  MirrorFile mirror;
  Scanned scanned;
  for (auto& adapter : scanned.plugin.m_Adapters)
    scanned.plugin.InsertObjectToDatabase(adapter, false);
  sqlite3* opened = nullptr;
  Check(sqlite3_open(mirror.Path().c_str(), &opened));
  const std::unique_ptr<sqlite3, int (*)(sqlite3*)> database(opened, sqlite3_close);
  const Schema::CTable& table = Schema::Tables()[1];
  std::string assignments;
  std::string number;
  std::string host;
  int temperatureColumn = 0;
  for (std::size_t i = 0; i < table.Columns.size(); ++i) {
    const std::string& name = table.Columns[i].Name;
    assignments += (i > 0 ? ", " : "") + name + " = ?";
    if (table.Columns[i].Kind == Schema::EKind::Real) temperatureColumn = static_cast<int>(i);
  }
  const DatabaseORM::storage_t& storage = mirror.Database().HostDatabase()->Storage();
  number = storage.stringFromExpression(&RaidDataModels::Adapter::AdapterNumber);
  host = storage.stringFromExpression(&RaidDataModels::Adapter::Host);
  const Statement find = Prepare(opened, "SELECT * FROM " + table.Name + " WHERE " + number +
                                             " = ? AND " + host + " = 'localhost'");
  const Statement write =
      Prepare(opened, "UPDATE " + table.Name + " SET " + assignments + " WHERE ID = ?");
  float temperature = 30.0F;
  for (auto _ : state) {
    temperature += 1.0F;
    Check(sqlite3_exec(opened, "BEGIN", nullptr, nullptr, nullptr));
    for (int row = 1; row <= ADAPTERS; ++row) {
      RewriteRow(find.get(), write.get(), static_cast<int>(table.Columns.size()), row, temperature,
                 temperatureColumn);
    }
    Check(sqlite3_exec(opened, "COMMIT", nullptr, nullptr, nullptr));
  }
}

// The statements of a start-up: the plug-in's row, and after each adapter every drive.
void InsertAll(IPLUGINAPI_IMPL& plugin) {
  plugin.InsertObjectToDatabase(plugin.m_Plugin, false);
  for (auto& adapter : plugin.m_Adapters) {
    plugin.InsertObjectToDatabase(adapter, false);
    for (auto& drive : plugin.m_PhysicalDrives) plugin.InsertObjectToDatabase(drive, false);
  }
}

void StartWithDatabase(benchmark::State& state) {
  for (auto _ : state) {
    state.PauseTiming();
    auto mirror = std::make_unique<MirrorFile>();
    state.ResumeTiming();
    {
      Scanned scanned;
      auto transaction = mirror->Database().Begin();
      InsertAll(scanned.plugin);
      transaction->Commit();
    }
    state.PauseTiming();
    mirror.reset();
    state.ResumeTiming();
  }
}

void StartWithoutDatabase(benchmark::State& state) {
  for (auto _ : state) {
    Scanned scanned;
    InsertAll(scanned.plugin);
  }
}

// Keeps the last statement and answers nothing.
class LastStatement : public DatabaseWrapper::DatabaseDAO {
 public:
  std::vector<std::string> query(std::string statement) override {
    last_ = std::move(statement);
    return {};
  }
  const std::string& Last() const { return last_; }

 private:
  std::string last_;
};

RaidDataModels::Adapter FullRecord(IPLUGINAPI_IMPL& plugin) {
  RaidDataModels::Adapter record;
  plugin.SetDatabaseObjectProperties(record, plugin.m_Adapters.front());
  record.ID = 7;
  return record;
}

void RenderOurs(benchmark::State& state) {
  Scanned scanned;
  const RaidDataModels::Adapter record = FullRecord(scanned.plugin);
  auto dao = std::make_shared<LastStatement>();
  const auto storage = Schema::MakeStorage(dao);
  for (auto _ : state) {
    storage->update(record);
    benchmark::DoNotOptimize(dao->Last().data());
  }
}

std::string Quoted(const std::string& value) {
  return value == "NULL" ? value : fmt::format("'{}'", value);
}

template <class Number>
std::string Plain(Number value, Number null) {
  return value == null ? "NULL" : fmt::format("{}", value);
}

std::string Plain(int value) {
  return Plain(value, RaidDataModels::NULL_INTEGER);
}
std::string Plain(unsigned long value) {
  return Plain(value, RaidDataModels::NULL_UNSIGNED);
}

// A value of each kind of column.
std::string Rendered(int value) {
  return Plain(value);
}
std::string Rendered(unsigned long value) {
  return Plain(value);
}
std::string Rendered(const std::string& value) {
  return Quoted(value);
}
std::string Rendered(double value) {
  return fmt::format("{:f}", value);
}
std::string Rendered(const std::vector<std::string>& values) {
  return fmt::format("'{}'", fmt::join(values, "|"));
}

// The same statement by fmt, each value rendered as it must be.
std::string FormatUpdate(const std::vector<Schema::CColumn>& columns,
                         const RaidDataModels::Adapter& r) {
  const std::vector<std::string> values = {
#define STORED(kind, field, ...) Rendered(r.field),
#define NOT_STORED
#define ADAPTER_COLUMN STORED
#define ADAPTER_PROPERTY(name, label, text, preset, kind, unit, last, value, column) column
#include <Facts/Fields.def>
#undef NOT_STORED
#undef STORED
  };
  fmt::memory_buffer text;
  auto out = fmt::appender(text);
  fmt::format_to(out, "UPDATE {} SET ", Schema::Tables()[1].Name);
  for (std::size_t i = 0; i < values.size(); ++i) {
    fmt::format_to(out, "{}{}={}", i > 0 ? ", " : "", columns[i].Name, values[i]);
  }
  fmt::format_to(out, " WHERE ID = {}", r.ID);
  return fmt::to_string(text);
}

void RenderYardstick(benchmark::State& state) {
  Scanned scanned;
  const RaidDataModels::Adapter record = FullRecord(scanned.plugin);
  auto dao = std::make_shared<LastStatement>();
  Schema::MakeStorage(dao)->update(record);
  const auto& columns = Schema::Tables()[1].Columns;
  if (dao->Last().find(FormatUpdate(columns, record)) == std::string::npos) {
    state.SkipWithError("the two texts differ");
    return;
  }
  for (auto _ : state) {
    const std::string text = FormatUpdate(columns, record);
    benchmark::DoNotOptimize(text.data());
  }
}

BENCHMARK(UpdateOurs)
    ->Name("update 64 adapters/ours")
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();
BENCHMARK(UpdateYardstick)
    ->Name("update 64 adapters/yardstick")
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();
BENCHMARK(StartWithDatabase)
    ->Name("start with 64 drives/ours")
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();
BENCHMARK(StartWithoutDatabase)
    ->Name("start with 64 drives/yardstick")
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();
BENCHMARK(RenderOurs)->Name("render one update/ours");
BENCHMARK(RenderYardstick)->Name("render one update/yardstick");

}  // namespace
