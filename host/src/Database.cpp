#include "Database.h"

#include <cstdlib>

#include <fmt/format.h>

#include <DB/DatabaseException.h>
#include <DB/Sqlite.h>

namespace vxhost {

namespace {

constexpr std::string_view SCHEME = "sqlite:";
constexpr const char* FILE_NAME = "vxhost.db";

// Where the host keeps what lasts: what the service manager gives it, else the system's place for
// an installed host, else the runtime tree.
std::filesystem::path StateDirectory(const std::filesystem::path& home) {
  const char* const given = std::getenv("STATE_DIRECTORY");
  if (given != nullptr && *given != '\0') return given;
  if (home.string().starts_with("/usr/")) return "/var/lib/vxhost";
  return home / "var";
}

}  // namespace

std::string DatabasePath(const Host& host, MirrorDatabase::Default otherwise) {
  const std::string& given = host.Settings().m_Database;
  if (given.starts_with(SCHEME) && given.size() > SCHEME.size()) return given.substr(SCHEME.size());
  if (given == "none") return {};
  if (!given.empty()) {
    throw Failure(EXIT_USAGE, fmt::format("--db {}: must be sqlite:PATH or none", given));
  }
  if (otherwise == MirrorDatabase::Default::None) return {};
  return (StateDirectory(host.Home()) / FILE_NAME).string();
}

MirrorDatabase::MirrorDatabase(const Host& host, Default otherwise) {
  const std::string path = DatabasePath(host, otherwise);
  if (path.empty()) return;
  if (host.Settings().m_Database.empty()) {
    std::error_code error;  // what is wrong shows when the file is opened
    std::filesystem::create_directories(std::filesystem::path(path).parent_path(), error);
  }
  Schema::COpened opened = Schema::OpenForWriting(path);
  database_ = std::move(opened.Database);
  if (database_ == nullptr) Say(fmt::format("no mirror in a database: {}", opened.Error));
}

MirrorDatabase::Bracket::Bracket(std::unique_ptr<DatabaseWrapper::CTransaction> transaction)
    : transaction_(std::move(transaction)) {}

MirrorDatabase::Bracket::~Bracket() {
  Commit();
}

bool MirrorDatabase::Bracket::Commit() noexcept {
  try {
    transaction_->Commit();
    return true;
  } catch (const std::exception& error) {
    Say(fmt::format("the database has not taken the start: {}", error.what()));
    return false;
  }
}

std::unique_ptr<MirrorDatabase::Bracket> MirrorDatabase::BeginStart() {
  if (database_ == nullptr) return nullptr;
  try {
    return std::make_unique<Bracket>(database_->Begin());
  } catch (const DBEXCEPTION::DatabaseException& error) {
    Say(fmt::format("the start is written without a transaction: {}", error.what()));
    return nullptr;
  }
}

void MirrorDatabase::RemoveEarlierRun() {
  if (database_ == nullptr) return;
  try {
    database_->RemoveEarlierRun();
  } catch (const DBEXCEPTION::DatabaseException& error) {
    Say(
        fmt::format("the database keeps the rows of the start before, beside the new ones, until "
                    "the next start: {}",
                    error.what()));
  }
}

}  // namespace vxhost
