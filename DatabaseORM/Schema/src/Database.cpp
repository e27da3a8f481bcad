#include <algorithm>
#include <exception>
#include <filesystem>
#include <utility>

#include <Schema/Database.h>

namespace Schema {

using DatabaseORM::is_equal;
using DatabaseORM::where;
using DatabaseWrapper::CHostDatabase;
using DatabaseWrapper::CSqliteDatabase;
using DatabaseWrapper::CSqliteOptions;
using DatabaseWrapper::CTransaction;
using DBEXCEPTION::DatabaseException;
using RaidDataModels::Adapter;
using RaidDataModels::Plugin;

// The two ways to open, as one that may construct.
struct COpening {
  static std::unique_ptr<CDatabase> Open(const std::string& path, const COptions& options,
                                         bool readOnly) {
    CSqliteOptions engineOptions;
    engineOptions.ReadOnly = readOnly;
    engineOptions.BusyTimeout = options.BusyTimeout;
    engineOptions.PauseAfterBusy = options.PauseAfterBusy;
    if (!readOnly) RefuseOfOthers(path, engineOptions);
    auto engine = std::make_shared<CSqliteDatabase>(path, engineOptions);
    try {
      readOnly ? RequireLatest(*engine) : Upgrade(*engine);
    } catch (const DatabaseException& failure) {
      throw DatabaseException(Named(engine->Path(), failure.what()));
    }
    return std::unique_ptr<CDatabase>(new CDatabase(std::move(engine), options));
  }

  // Opening for writing changes the file, and a file that is not ours stays as it is: so one looks
  // first. What cannot even be read the opening for writing tells.
  static void RefuseOfOthers(const std::string& path, CSqliteOptions options) {
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
      RequireKnown(*engine);
    } catch (const DatabaseException& refusal) {
      throw DatabaseException(Named(engine->Path(), refusal.what()));
    }
  }

  // The checks of the schema know no path; the engine's failures name it themselves.
  static std::string Named(const std::string& path, const std::string& failure) {
    return failure.find(path) != std::string::npos ? failure : "\"" + path + "\": " + failure;
  }
};

namespace {

CCell ToCell(std::string cell) {
  // A text that reads NULL is never stored, so that the null's text is no text.
  return cell == DatabaseWrapper::NULL_DB_STRING ? CCell() : CCell(std::move(cell));
}

const CTable& TableNamed(const std::string& name) {
  const auto& tables = Tables();
  const auto found = std::find_if(tables.begin(), tables.end(),
                                  [&](const CTable& table) { return table.Name == name; });
  if (found != tables.end()) return *found;
  std::string known;
  for (const CTable& table : tables) known += (known.empty() ? "" : ", ") + table.Name;
  throw DatabaseException("There is no table \"" + name + "\"; the tables are " + known + ".");
}

}  // namespace

CDatabase::CDatabase(std::shared_ptr<CSqliteDatabase> engine, COptions options)
    : m_Engine(std::move(engine)),
      m_HostDatabase(std::make_shared<CHostDatabase>(m_Engine, MakeStorage(m_Engine))),
      m_Options(std::move(options)) {}

CDatabase::~CDatabase() {
  if (getDatabasePointer() == m_HostDatabase) DatabaseWrapper::registerDatabase(nullptr);
}

const std::string& CDatabase::Path() const {
  return m_Engine->Path();
}

void CDatabase::RemoveEarlierRun() {
  auto& storage = m_HostDatabase->Storage();
  storage.remove_all<Adapter>(where(is_equal(&Adapter::Host, m_Options.Host)));
  storage.remove_all<Plugin>(where(is_equal(&Plugin::Name, m_Options.PluginName)));
}

std::unique_ptr<CTransaction> CDatabase::Begin() {
  return std::make_unique<CTransaction>(*m_Engine);
}

std::vector<CRow> CDatabase::Read(const std::string& table) const {
  const CTable& known = TableNamed(table);
  auto cells = m_Engine->query("SELECT * FROM " + known.Name + " ORDER BY ID");
  const std::size_t width = known.Columns.size();
  std::vector<CRow> rows(cells.size() / width);
  for (std::size_t at = 0; at < rows.size() * width; ++at) {
    rows[at / width].push_back(ToCell(std::move(cells[at])));
  }
  return rows;
}

bool CDatabase::Restore() {
  return m_Engine->Restore();
}

const std::shared_ptr<CHostDatabase>& CDatabase::HostDatabase() const {
  return m_HostDatabase;
}

COpened OpenForWriting(const std::string& path, const COptions& options) {
  try {
    auto database = COpening::Open(path, options, false);
    database->RemoveEarlierRun();
    DatabaseWrapper::registerDatabase(database->HostDatabase());
    return {std::move(database), ""};
  } catch (const std::exception& failure) {
    return {nullptr, failure.what()};
  }
}

COpened OpenReadOnly(const std::string& path, const COptions& options) {
  try {
    return {COpening::Open(path, options, true), ""};
  } catch (const std::exception& failure) {
    return {nullptr, failure.what()};
  }
}

std::vector<std::string> Items(const std::string& cell) {
  std::vector<std::string> items;
  if (cell.empty()) return items;
  std::size_t begin = 0;
  for (std::size_t end = 0; end != std::string::npos; begin = end + 1) {
    end = cell.find_first_of(DatabaseWrapper::delimiter, begin);
    items.push_back(cell.substr(begin, end - begin));
  }
  return items;
}

}  // namespace Schema
