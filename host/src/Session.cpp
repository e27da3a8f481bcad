#include "Session.h"

#include "Catalogue.h"

#include <algorithm>

#include <fmt/format.h>

namespace vxhost {

int HostNumbers::NumberOf(const std::string& plugin, const PI::CAdapterID& adapter) {
  Key key{adapter.m_Identification, {}, 0};
  if (key == Key()) key = {{}, plugin, adapter.m_AdapterIndex};
  const int next = static_cast<int>(numbers_.size()) + 1;
  return numbers_.try_emplace(std::move(key), next).first->second;
}

Session::Session(const PluginLibrary& plugin, HostNumbers& numbers, std::function<void()> onNotify)
    : plugin_(plugin), numbers_(numbers), notifier_(std::move(onNotify)) {}

Session::~Session() {
  Stop();
}

std::optional<unsigned int> Session::Start(const StopQuestion& isToEnd) {
  std::optional<unsigned int> result = Create();
  if (result == 0U) result = Initialize(isToEnd);
  if (result != 0U) Stop();
  return result;
}

unsigned int Session::Create() {
  const unsigned int result = plugin_.Create(&interface_);
  if (result != 0) return result;
  if (interface_ == nullptr) throw PluginError("plug-in " + plugin_.Name() + " made no object");
  notifier_.Attach(*interface_);
  return 0;
}

std::optional<unsigned int> Session::Initialize(const StopQuestion& isToEnd) {
  adapters_.clear();
  const unsigned int result = ExecuteCommand(*interface_, PI::COMMAND_INITIALIZE, 0, &adapters_);
  if (isToEnd && isToEnd()) return std::nullopt;  // whatever came of it: its tool runs were ended
  if (result != 0) return result;
  for (PI::CAdapterID& adapter : adapters_) {
    adapter.m_HostNumber = numbers_.NumberOf(plugin_.Name(), adapter);
  }
  running_ = true;
  return ExecuteCommand(*interface_, PI::COMMAND_SET_ADAPTER_IDS, 0, &adapters_);
}

void Session::Stop() {
  if (interface_ == nullptr) return;
  if (running_) ExecuteCommand(*interface_, PI::COMMAND_DEINITIALIZE, 0, nullptr);
  running_ = false;
  plugin_.Release(&interface_);
  interface_ = nullptr;
}

std::vector<PI::CObject> Session::GetTopology() {
  std::vector<PI::CObject> objects;
  ExecuteCommand(*interface_, PI::COMMAND_GET_TOPOLOGY, 0, &objects);
  const auto plugin = std::find_if(objects.begin(), objects.end(), [](const PI::CObject& object) {
    return object.m_Type == PI::OBJECT_TYPE_PLUGIN;
  });
  if (plugin != objects.end()) pluginObject_ = plugin->m_ID;
  return objects;
}

unsigned int Session::GetProperty(unsigned long object, PI::CProperty& property) {
  return ExecuteCommand(*interface_, PI::COMMAND_GET_PROPERTY, object, &property);
}

unsigned int Session::SetProperty(unsigned long object, PI::CProperty& property) {
  return ExecuteCommand(*interface_, PI::COMMAND_SET_PROPERTY, object, &property);
}

unsigned int Session::GetOperations(unsigned long object, std::vector<PI::COperation>& operations) {
  return ExecuteCommand(*interface_, PI::COMMAND_GET_OPERATIONS, object, &operations);
}

std::vector<PI::CEvent> Session::FetchEvents() {
  PI::COperation operation;
  operation.SetOperationID(PI::OPERATION_FETCH_EVENTS);
  ExecuteCommand(*interface_, PI::COMMAND_EXECUTE_OPERATION, pluginObject_, &operation);
  return std::move(operation.m_Events);
}

}  // namespace vxhost
