#include "Database.h"

#include <cstdlib>
#include <cstring>

#include <fmt/format.h>

#include <PI/Catalogue.h>

namespace vxhost {

namespace {

constexpr std::string_view SCHEME = "sqlite:";
constexpr const char* FILE_NAME = "vxhost.db";

// Where the host keeps what lasts: what the service manager gives it, else the system's place for
// an installed host, else the runtime tree.
std::filesystem::path StateDirectory(const std::filesystem::path& home) {
  const char* const given = std::getenv("STATE_DIRECTORY");
  // The service manager may give several, with colons between them.
  if (given != nullptr && *given != '\0') return std::string_view(given, std::strcspn(given, ":"));
  if (home.string().starts_with("/usr/")) return "/var/lib/vxhost";
  return home / "var";
}

}  // namespace

std::string DatabasePath(const Host& host, MirrorDatabase::Default otherwise) {
  const std::string& given = host.Settings().database;
  if (given.starts_with(SCHEME) && given.size() > SCHEME.size()) return given.substr(SCHEME.size());
  if (given == "none") return {};
  if (!given.empty()) {
    throw Failure(EXIT_USAGE, fmt::format("--db {}: must be sqlite:PATH or none", given));
  }
  // Simulated drives never get into the record of the real ones by themselves.
  if (otherwise == MirrorDatabase::Default::None || !host.Settings().simulate.empty()) return {};
  return (StateDirectory(host.Home()) / FILE_NAME).string();
}

MirrorDatabase::MirrorDatabase(const Host& host, Default otherwise) {
  const std::string path = DatabasePath(host, otherwise);
  if (path.empty()) return;
  Schema::CMirrorOptions options;
  options.MakesDirectory = host.Settings().database.empty();
  options.Database.Choices = {
#define VX_CHOICE(name, number, text) {number, text},
      PI_CATALOGUE_CHOICES(VX_CHOICE)
#undef VX_CHOICE
  };
  options.Say = [](const std::string& line) { Say(line); };
  mirror_ = std::make_unique<Schema::CMirror>(path, std::move(options));
}

MirrorDatabase::Bracket::Bracket(std::unique_ptr<Schema::CMirror::CStart> start)
    : start_(std::move(start)) {}

bool MirrorDatabase::Bracket::Commit() noexcept {
  const auto failure = start_->Commit();
  if (failure) Say("the database has not taken the start: " + *failure);
  return !failure;
}

std::unique_ptr<MirrorDatabase::Bracket> MirrorDatabase::BeginStart() {
  auto start = mirror_ ? mirror_->BeginStart() : nullptr;
  return start ? std::make_unique<Bracket>(std::move(start)) : nullptr;
}

void MirrorDatabase::RemoveEarlierRun() {
  if (mirror_) mirror_->RemoveEarlierRun();
}

}  // namespace vxhost
