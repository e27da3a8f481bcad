// A plug-in of the tests' own: what it does is in the JSON file named by VXTEST_PLUGIN_FILE, which
// is read anew at every command. Its createIf and releaseIf write to the file named by
// VXTEST_PLUGIN_LOG what is called, one line each.
//
//   {"create": 0, "interface": 2, "initialize": 0, "answers": {"5": 20008}, "notify": 3,
//    "print": "text for standard output", "hang": 4, "adapters": [...], "objects": [...]}
//
// adapters and objects are as the host writes them. "answers" are results of commands; "notify" is
// how often the callback is called at command 2, each time on a thread of its own; "hang" is a
// command that never returns.
#include "RecordReader.h"

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include <fcntl.h>
#include <fmt/format.h>
#include <rapidjson/document.h>
#include <unistd.h>

#include <PI/Catalogue.h>
#include <PI/PluginApi.h>
#include <TLX/Misc/ModuleInfo.h>

namespace {

TLX::Misc::CModuleInfo g_module(static_cast<TLX::Misc::Qora_MODULE_IDs>(300), "fixture", "1.0",
                                nullptr, nullptr);

vxhost::JsonDocument Script() {
  const char* const name = std::getenv("VXTEST_PLUGIN_FILE");
  std::ifstream file(name != nullptr ? name : "/dev/null");
  std::ostringstream text;
  text << file.rdbuf();
  vxhost::JsonDocument script;
  script.Parse(text.str().c_str());
  if (script.HasParseError() || !script.IsObject()) script.SetObject();
  return script;
}

unsigned int Number(const vxhost::JsonValue& script, const char* name, unsigned int otherwise) {
  return script.HasMember(name) ? script[name].GetUint() : otherwise;
}

void Log(const std::string& text) {
  const char* const name = std::getenv("VXTEST_PLUGIN_LOG");
  if (name == nullptr) return;
  std::ofstream(name, std::ios::app) << text << "\n";
}

class FixturePlugin : public IPLUGINAPI {
 public:
  FixturePlugin() {
    m_ModuleID = 300;
    m_InterfaceVersion = Number(Script(), "interface", PI::INTERFACE_VERSION);
  }
  ~FixturePlugin() override {
    for (std::thread& thread : threads_) thread.join();
  }
  FixturePlugin(const FixturePlugin&) = delete;
  FixturePlugin& operator=(const FixturePlugin&) = delete;

  unsigned int Execute(PI::_COMMAND command, unsigned long object, void* data) override {
    const vxhost::JsonDocument script = Script();
    Log(fmt::format("command {} object {:x} data {}", static_cast<unsigned int>(command), object,
                    data != nullptr));
    if (script.HasMember("print")) {
      std::puts(script["print"].GetString());
      std::fflush(stdout);
    }
    while (script.HasMember("hang") && script["hang"].GetUint() == command) {
      std::this_thread::sleep_for(std::chrono::seconds(1));
    }
    const std::string key = std::to_string(static_cast<unsigned int>(command));
    if (script.HasMember("answers") && script["answers"].HasMember(key.c_str())) {
      return script["answers"][key.c_str()].GetUint();
    }
    if (command == 0 || command > PI::COMMAND_EXECUTE_OPERATION) return PI::ERR_UNKNOWN_COMMAND;
    if (command == PI::COMMAND_DEINITIALIZE) return 0;
    return data == nullptr ? PI::ERR_GENERAL_FAILURE : Answer(command, object, data, script);
  }

 private:
  unsigned int Answer(PI::_COMMAND command, unsigned long object, void* data,
                      const vxhost::JsonValue& script) {
    switch (command) {
      case PI::COMMAND_INITIALIZE:
        if (script.HasMember("adapters")) {
          vxhost::Read(script["adapters"], *static_cast<std::vector<PI::CAdapterID>*>(data));
        }
        return Number(script, "initialize", 0);
      case PI::COMMAND_SET_ADAPTER_IDS:
        LogAdapters(*static_cast<const std::vector<PI::CAdapterID>*>(data));
        Notify(Number(script, "notify", 0));
        return 0;
      case PI::COMMAND_GET_TOPOLOGY:
        *static_cast<std::vector<PI::CObject>*>(data) = Objects(script);
        return 0;
      case PI::COMMAND_GET_PROPERTIES:
        return Properties(object, *static_cast<std::vector<PI::CProperty>*>(data), script);
      case PI::COMMAND_GET_PROPERTY:
        return Property(object, *static_cast<PI::CProperty*>(data), script);
      case PI::COMMAND_GET_OPERATIONS:
        static_cast<std::vector<PI::COperation>*>(data)->clear();
        return 0;
      case PI::COMMAND_EXECUTE_OPERATION:
        return Events(*static_cast<PI::COperation*>(data), script);
      default:
        return 0;
    }
  }

  static std::vector<PI::CObject> Objects(const vxhost::JsonValue& script) {
    std::vector<PI::CObject> objects;
    if (script.HasMember("objects")) vxhost::Read(script["objects"], objects);
    return objects;
  }

  static unsigned int Properties(unsigned long id, std::vector<PI::CProperty>& out,
                                 const vxhost::JsonValue& script) {
    for (const PI::CObject& object : Objects(script)) {
      if (object.m_ID != id) continue;
      out = object.m_Properties;
      return 0;
    }
    out.clear();
    return PI::ERR_OBJECT_NOT_FOUND;
  }

  static unsigned int Property(unsigned long id, PI::CProperty& out,
                               const vxhost::JsonValue& script) {
    std::vector<PI::CProperty> all;
    const unsigned int result = Properties(id, all, script);
    if (result != 0) return result;
    for (const PI::CProperty& property : all) {
      if (property.m_PropertyID != out.m_PropertyID) continue;
      out = property;
      return 0;
    }
    return PI::ERR_GENERAL_FAILURE;
  }

  static unsigned int Events(PI::COperation& operation, const vxhost::JsonValue& script) {
    operation.m_Events.clear();
    if (script.HasMember("events")) vxhost::Read(script["events"], operation.m_Events);
    return 0;
  }

  static void LogAdapters(const std::vector<PI::CAdapterID>& adapters) {
    for (const PI::CAdapterID& adapter : adapters) {
      Log(fmt::format("adapter {} number {}", fmt::join(adapter.m_Identification, ":"),
                      adapter.m_HostNumber));
    }
  }

  void Notify(unsigned int times) {
    for (unsigned int i = 0; i < times; ++i) {
      threads_.emplace_back([this] { m_NotifyHost(this); });
    }
  }

  std::vector<std::thread> threads_;
};

}  // namespace

extern "C" __attribute__((visibility("default"))) unsigned int createIf(IPLUGINAPI** out) {
  const unsigned int result = Number(Script(), "create", 0);
  Log(fmt::format("createIf mask {}", g_module.TraceMask()));
  *out = result == 0 ? new FixturePlugin : nullptr;
  return result;
}

extern "C" __attribute__((visibility("default"))) void releaseIf(IPLUGINAPI** in) {
  Log(fmt::format("releaseIf {}", *in != nullptr ? "object" : "null"));
  delete *in;
  *in = nullptr;
}
