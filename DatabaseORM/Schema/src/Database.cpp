#include "TableDao.h"
#include "Views.h"

#include <algorithm>
#include <exception>
#include <filesystem>
#include <utility>

#include <Schema/Database.h>

namespace Schema {

using DatabaseWrapper::CHostDatabase;
using DatabaseWrapper::CSqliteDatabase;
using DatabaseWrapper::CSqliteOptions;
using DatabaseWrapper::CTransaction;
using DBEXCEPTION::DatabaseException;

namespace {

const CSchema& SchemaOf(const COptions& options) {
  return options.Schema != nullptr ? *options.Schema : Latest();
}

// The checks of the schema know no path; the engine's failures name it themselves.
std::string Named(const std::string& path, const std::string& failure) {
  return failure.find(path) != std::string::npos ? failure : "\"" + path + "\": " + failure;
}

// Opening for writing changes the file, and a file that is not ours stays as it is: so one looks
// first. What cannot even be read the opening for writing tells.
void RefuseOfOthers(const std::string& path, CSqliteOptions options, const CSchema& schema) {
  std::error_code failure;
  if (std::filesystem::file_size(path, failure) == 0 || failure) return;
  options.ReadOnly = true;
  std::unique_ptr<CSqliteDatabase> engine;
  try {
    engine = std::make_unique<CSqliteDatabase>(path, options);
  } catch (const DatabaseException&) {
    return;
  }
  try {
    RequireKnown(*engine, schema);
  } catch (const DatabaseException& refusal) {
    throw DatabaseException(Named(engine->Path(), refusal.what()));
  }
}

CCell ToCell(std::string cell) {
  // A text that reads NULL is never stored, so that the null's text is no text.
  return cell == DatabaseWrapper::NULL_DB_STRING ? CCell() : CCell(std::move(cell));
}

const CTable& TableNamed(const std::vector<CTable>& tables, const std::string& name) {
  const auto found = std::find_if(tables.begin(), tables.end(),
                                  [&](const CTable& table) { return table.Name == name; });
  if (found != tables.end()) return *found;
  std::string known;
  for (const CTable& table : tables) known += (known.empty() ? "" : ", ") + table.Name;
  throw DatabaseException("There is no table \"" + name + "\"; the tables are " + known + ".");
}

}  // namespace

CDatabase::CDatabase(std::shared_ptr<CSqliteDatabase> engine, const COptions& options)
    : m_Engine(std::move(engine)), m_Schema(SchemaOf(options)), m_Host(options.Host) {
  auto dao = std::make_shared<CTableDao>(m_Engine, m_Schema.Tables);
  m_HostDatabase = std::make_shared<CHostDatabase>(
      dao, options.Storage ? options.Storage(dao) : MakeStorage(dao));
}

CDatabase::~CDatabase() = default;

std::unique_ptr<CDatabase> CDatabase::Open(const std::string& path, const COptions& options,
                                           bool readOnly) {
  CSqliteOptions engineOptions;
  engineOptions.ReadOnly = readOnly;
  engineOptions.ApplicationId = APPLICATION_ID;
  engineOptions.BusyTimeout = options.BusyTimeout;
  engineOptions.PauseAfterBusy = options.PauseAfterBusy;
  const CSchema& schema = SchemaOf(options);
  if (!readOnly) RefuseOfOthers(path, engineOptions, schema);
  auto engine = std::make_shared<CSqliteDatabase>(path, engineOptions);
  try {
    if (readOnly) {
      RequireLatest(*engine, schema);
    } else {
      Upgrade(*engine, schema);
      MakeExtras(*engine, Extras(schema, options.Choices));
    }
  } catch (const DatabaseException& failure) {
    throw DatabaseException(Named(engine->Path(), failure.what()));
  }
  return std::unique_ptr<CDatabase>(new CDatabase(std::move(engine), options));
}

const std::string& CDatabase::Path() const {
  return m_Engine->Path();
}

void CDatabase::RemoveEarlierRun() {
  m_Engine->query("DELETE FROM Adapter WHERE Host = '" + m_Host + "'");
  m_Engine->query("DELETE FROM Plugin");
}

std::unique_ptr<CTransaction> CDatabase::Begin() {
  return std::make_unique<CTransaction>(*m_Engine);
}

std::vector<CRow> CDatabase::Read(const std::string& table) const {
  const CTable& known = TableNamed(m_Schema.Tables, table);
  const std::size_t width = known.Columns.size();
  std::string names;
  for (const CColumn& column : known.Columns) names += (names.empty() ? "" : ", ") + column.Name;
  auto cells = m_Engine->query("SELECT " + names + " FROM " + known.Name + " ORDER BY ID");
  std::vector<CRow> rows(cells.size() / width);
  for (std::size_t at = 0; at < cells.size(); ++at) {
    rows[at / width].push_back(ToCell(std::move(cells[at])));
  }
  return rows;
}

const std::shared_ptr<CHostDatabase>& CDatabase::HostDatabase() const {
  return m_HostDatabase;
}

COpened OpenForWriting(const std::string& path, const COptions& options) {
  try {
    return {CDatabase::Open(path, options, false), ""};
  } catch (const std::exception& failure) {
    return {nullptr, failure.what()};
  }
}

COpened OpenReadOnly(const std::string& path, const COptions& options) {
  try {
    return {CDatabase::Open(path, options, true), ""};
  } catch (const std::exception& failure) {
    return {nullptr, failure.what()};
  }
}

}  // namespace Schema
