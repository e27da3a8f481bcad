#include "Frame_fixtures.h"

#include <algorithm>
#include <mutex>
#include <thread>

#include <boost/variant.hpp>

#include <DB/DatabaseException.h>
#include <Schema/Versions.h>

extern "C" unsigned int createIf(IPLUGINAPI** out);
extern "C" void releaseIf(IPLUGINAPI** in);

namespace frametest {

using namespace std::chrono_literals;

bool Eventually(const std::function<bool()>& condition) {
  const auto end = std::chrono::steady_clock::now() + 60s;
  while (!condition()) {
    if (std::chrono::steady_clock::now() > end) return false;
    std::this_thread::sleep_for(1ms);
  }
  return true;
}

bool IsFree(TLX::Threading::Native_OS::CFastMutex& mutex) {
  bool isFree = false;
  std::thread([&mutex, &isFree] {
    if (mutex.Wait(0) == 1) {
      isFree = true;
      mutex.Release();
    }
  }).join();
  return isFree;
}

// --- Database

struct FrameDatabase::Dao : DatabaseWrapper::DatabaseDAO {
  std::vector<std::string> query(std::string statement) override {
    {
      const std::lock_guard<std::mutex> guard(mutex);
      statements.push_back(statement);
      if (fails && fails(statement)) throw DBEXCEPTION::DatabaseException("disk on fire");
    }
    return engine.query(std::move(statement));
  }

  std::mutex mutex;
  std::vector<std::string> statements;
  std::function<bool(const std::string&)> fails;
  DatabaseWrapper::CSqliteDatabase engine{DatabaseWrapper::IN_MEMORY};
};

FrameDatabase::FrameDatabase() : dao_(std::make_shared<Dao>()) {
  Schema::Upgrade(*dao_);
  dao_->statements.clear();
  DatabaseWrapper::registerDatabase(
      std::make_shared<DatabaseWrapper::CHostDatabase>(dao_, Schema::MakeStorage(dao_)));
}

FrameDatabase::~FrameDatabase() {
  DatabaseWrapper::registerDatabase(nullptr);
}

namespace {

// "INSERT Adapter" of a statement that writes; empty for others.
std::string WriteIn(std::string statement) {
  const std::string pragma = "PRAGMA foreign_keys = ON; ";
  if (statement.starts_with(pragma)) statement.erase(0, pragma.size());
  for (const char* start : {"INSERT INTO ", "UPDATE ", "DELETE FROM "}) {
    const std::string begin = start;
    if (!statement.starts_with(begin)) continue;
    const std::size_t end = statement.find_first_of(" (", begin.size());
    return begin.substr(0, begin.find(' ')) + " " +
           statement.substr(begin.size(), end - begin.size());
  }
  return {};
}

}  // namespace

std::vector<std::string> FrameDatabase::Writes() const {
  const std::lock_guard<std::mutex> guard(dao_->mutex);
  std::vector<std::string> writes;
  for (const std::string& statement : dao_->statements) {
    const std::string write = WriteIn(statement);
    if (!write.empty()) writes.push_back(write);
  }
  return writes;
}

std::size_t FrameDatabase::SentCount() const {
  const std::lock_guard<std::mutex> guard(dao_->mutex);
  return dao_->statements.size();
}

void FrameDatabase::ClearWrites() {
  const std::lock_guard<std::mutex> guard(dao_->mutex);
  dao_->statements.clear();
}

void FrameDatabase::FailWhen(std::function<bool(const std::string&)> fails) {
  const std::lock_guard<std::mutex> guard(dao_->mutex);
  dao_->fails = std::move(fails);
}

std::vector<std::string> FrameDatabase::Column(const std::string& table, const std::string& column,
                                               const std::string& where) {
  return Run("SELECT " + column + " FROM " + table + " WHERE " + where + " ORDER BY ID");
}

std::vector<std::string> FrameDatabase::Run(const std::string& statement) {
  return dao_->engine.query(statement);
}

// --- Machine

Machine::Machine() : configBefore_(PI::CConfigFile::ConfigDirectory()) {
  PI::CConfigFile::SetConfigDirectory(config_.Path().string());
}

Machine::~Machine() {
  PI::CConfigFile::SetConfigDirectory(configBefore_);
}

FakeDrive Machine::Report(const std::string& serial) {
  FakeDrive drive;
  drive.index = drives_;
  drive.serial = serial;
  drive.devicePath = "/dev/nvme" + std::to_string(drives_);
  return drive;
}

namespace {

std::string BusText(int bus) {
  char text[8];
  std::snprintf(text, sizeof text, "%02x", static_cast<unsigned int>(bus) & 0xFFU);
  return text;
}

}  // namespace

void Machine::AddDrive(const std::string& serial, const std::string& pciDevice) {
  const FakeDrive drive = Report(serial);
  const std::string function = sysfs.Pci(
      "pci0000:00/0000:00:03.0/0000:" + BusText(drives_ + 1) + ":00.0", "0x8086", pciDevice);
  sysfs.Controller(function, "nvme" + std::to_string(drives_));
  ++drives_;
  tool.Change([&drive](std::vector<FakeDrive>& drives) { drives.push_back(drive); });
}

void Machine::AddManagedDrive(const std::string& serial, const std::string& controller) {
  const FakeDrive drive = Report(serial);
  const std::string bus = BusText(drives_ + 1);
  sysfs.Pci("pci0000:00/0000:00:" + bus + ".5", "0x8086", controller);
  const std::string function = sysfs.Pci(
      "pci0000:00/0000:00:" + bus + ".5/pci10000:00/10000:" + bus + ":00.0", "0x8086", "0x0a54");
  sysfs.Controller(function, "nvme" + std::to_string(drives_));
  ++drives_;
  tool.Change([&drive](std::vector<FakeDrive>& drives) { drives.push_back(drive); });
}

void Machine::Option(const std::string& file, const std::string& text) {
  vxtest::WriteFile(config_ / file, text);
}

// --- Host

Guest::Guest() {
  if (createIf(&api_) != 0) throw std::runtime_error("createIf failed");
}

Guest::~Guest() {
  if (workerStarted_) (void)DeInitialize();
  releaseIf(&api_);
}

unsigned int Guest::Call(unsigned int command, unsigned long object, void* data) {
  return api_->Execute(static_cast<PI::_COMMAND>(command), object, data);
}

unsigned int Guest::Initialize() {
  ids.clear();
  return Initialize(ids);
}

unsigned int Guest::SetAdapterIDs() {
  int number = 0;
  for (PI::CAdapterID& id : ids) id.m_HostNumber = ++number;
  workerStarted_ = true;
  return Call(2, 0, &ids);
}

unsigned int Guest::DeInitialize() {
  workerStarted_ = false;
  return Call(3, 0, nullptr);
}

std::vector<PI::CObject> Guest::Topology() {
  std::vector<PI::CObject> objects;
  if (Call(4, 0, &objects) != 0) throw std::runtime_error("no topology");
  return objects;
}

std::vector<PI::CEvent> Guest::FetchEvents() {
  PI::COperation operation;
  operation.SetOperationID(PI::OPERATION_FETCH_EVENTS);
  if (Call(10, PluginId(), &operation) != 0) throw std::runtime_error("no events");
  return operation.m_Events;
}

unsigned long Guest::PluginId() {
  return Topology().front().m_ID;
}

const PI::CObject* ObjectOf(const std::vector<PI::CObject>& objects, unsigned int type,
                            std::size_t position) {
  for (const PI::CObject& object : objects) {
    if (object.m_Type == type && position-- == 0) return &object;
  }
  return nullptr;
}

const PI::CProperty* PropertyOf(const PI::CObject& object, unsigned int id) {
  for (const PI::CProperty& property : object.m_Properties) {
    if (property.m_PropertyID == id) return &property;
  }
  return nullptr;
}

std::string TextOf(const PI::CObject& object, unsigned int id) {
  const PI::CProperty* const property = PropertyOf(object, id);
  const auto* text =
      property == nullptr ? nullptr : boost::get<PI::CStringData>(&property->m_Value);
  return text == nullptr ? "" : text->m_Value;
}

std::vector<unsigned int> IdsOf(const std::vector<PI::CEvent>& events) {
  std::vector<unsigned int> ids;
  for (const PI::CEvent& event : events) ids.push_back(event.m_EventID);
  return ids;
}

}  // namespace frametest
