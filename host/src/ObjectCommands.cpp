#include "Catalogue.h"
#include "Commands.h"
#include "Json.h"
#include "Nearest.h"
#include "SettableValue.h"
#include "Started.h"
#include "TextTable.h"
#include "TreeView.h"

#include <algorithm>
#include <optional>
#include <vector>

#include <fmt/format.h>

namespace vxhost {

namespace {

// What a command is about: an object of a running plug-in.
struct Target {
  StartedPlugin* plugin = nullptr;
  const PI::CObject* object = nullptr;
};

// By its file's name, or by the name that it gives itself and "vxhost tree" shows.
bool NamesPlugin(const std::string& name, const StartedPlugin& plugin) {
  const PI::CObject* const object = plugin.topology.Plugin();
  return name == plugin.name || (object != nullptr && name == DisplayName(*object));
}

// The plug-ins of an object command, started, and the object that its first argument names.
class ObjectCommand {
 public:
  explicit ObjectCommand(Host& host) : host_(host) { plugins_ = StartPlugins(host, numbers_); }

  // Throws Failure when no plug-in runs or no object has the name.
  Target Find() {
    const int status = StatusOf(plugins_);
    if (status != EXIT_DONE) throw Failure(status, "no plug-in runs");
    const std::string& name = host_.Settings().arguments.at(0);
    for (StartedPlugin& plugin : plugins_) {
      if (plugin.session == nullptr) continue;
      const Topology& topology = plugin.topology;
      const PI::CObject* const object =
          NamesPlugin(name, plugin) ? topology.Plugin() : topology.Lookup(name);
      if (object != nullptr) return {&plugin, object};
    }
    throw Failure(EXIT_FAILED,
                  fmt::format("no object {}: name an id, serial number, device path or host number "
                              "as \"vxhost tree\" shows them",
                              name));
  }

  // The property of the object that the second argument names. Throws Failure.
  const PI::CProperty& FindProperty(const PI::CObject& object) const {
    const std::string& name = host_.Settings().arguments.at(1);
    for (const PI::CProperty& property : object.m_Properties) {
      if (NamesProperty(name, property)) return property;
    }
    std::vector<std::string> names;
    for (const PI::CProperty& property : object.m_Properties) {
      names.push_back(PropertyText(property.m_PropertyID, property.m_LabelID));
    }
    const std::string nearest = Nearest(name, names);
    throw Failure(
        EXIT_FAILED,
        fmt::format("{} has no property \"{}\"{} \"vxhost show {}\" lists those it has",
                    Printable(DisplayName(object)), Printable(name),
                    nearest.empty() ? ";" : fmt::format("; did you mean \"{}\"?", nearest),
                    Printable(host_.Settings().arguments.at(0))));
  }

 private:
  Host& host_;
  HostNumbers numbers_;
  std::vector<StartedPlugin> plugins_;
};

std::string PropertyTable(const PI::CObject& object) {
  TextTable table({{"", true}, {}, {}});
  for (const PI::CProperty& property : object.m_Properties) {
    table.Add({std::to_string(property.m_PropertyID),
               PropertyText(property.m_PropertyID, property.m_LabelID),
               Printable(ValueText(property)) +
                   (property.m_Settable ? "  (can be set: " + AllowedText(property) + ")" : "")});
  }
  return table.Text("  ");
}

std::string Heading(const Target& target) {
  const PI::CObject& object = *target.object;
  std::string text = fmt::format("{} {}: {}", ObjectTypeText(object.m_Type), HexId(object.m_ID),
                                 Printable(DisplayName(object)));
  const Topology::Adapter* const adapter = target.plugin->topology.AdapterOf(object);
  if (adapter != nullptr) {
    text += fmt::format("\n  Health: {}", HealthText(*adapter->object));
    if (adapter->hostNumber > 0) text += fmt::format("\n  Host number: {}", adapter->hostNumber);
  }
  return text + "\n";
}

std::string PropertyJson(const PI::CProperty& property) {
  JsonText json;
  Write(json, property);
  return json.Take();
}

void RequireResult(unsigned int result, const std::string& what) {
  if (result == 0) return;
  throw Failure(EXIT_FAILED, fmt::format("{}: {} ({})", what, ResultText(result), result));
}

std::string OperationsText(const std::vector<PI::COperation>& operations) {
  if (operations.empty()) return "no operations\n";
  std::string text;
  for (const PI::COperation& operation : operations) {
    text +=
        fmt::format("{}{}  numbers {}  flag {}\n", operation.OperationID(),
                    operation.OperationID() == PI::OPERATION_FETCH_EVENTS ? " (fetch events)" : "",
                    fmt::join(operation.m_Numbers, " "), operation.m_Flag ? "yes" : "no");
  }
  return text;
}

}  // namespace

int RunShow(Host& host) {
  ObjectCommand command(host);
  const Target target = command.Find();
  if (host.Settings().json) {
    JsonText json;
    Write(json, *target.object);
    host.Out().WriteLine(json.Take());
  } else {
    host.Out().Write(Heading(target) + PropertyTable(*target.object));
  }
  return EXIT_DONE;
}

int RunGet(Host& host) {
  ObjectCommand command(host);
  const Target target = command.Find();
  PI::CProperty property;
  property.m_PropertyID = command.FindProperty(*target.object).m_PropertyID;
  RequireResult(target.plugin->session->GetProperty(target.object->m_ID, property),
                host.Settings().arguments.at(1));
  host.Out().WriteLine(host.Settings().json ? PropertyJson(property)
                                            : Printable(ValueText(property)));
  return EXIT_DONE;
}

int RunSet(Host& host) {
  ObjectCommand command(host);
  const Target target = command.Find();
  PI::CProperty property = command.FindProperty(*target.object);
  const std::string name = PropertyText(property.m_PropertyID, property.m_LabelID);
  if (!property.m_Settable) {
    throw Failure(EXIT_FAILED,
                  fmt::format("{} cannot be set; \"vxhost show\" marks what can", name));
  }
  const std::string& text = host.Settings().arguments.at(2);
  if (!SetFromText(property, text)) {
    throw Failure(EXIT_FAILED, fmt::format("{} cannot be {}: allowed is {}", name, Printable(text),
                                           AllowedText(property)));
  }
  const unsigned int result = target.plugin->session->SetProperty(target.object->m_ID, property);
  RequireResult(result, name);
  host.Out().WriteLine(host.Settings().json
                           ? PropertyJson(property)
                           : fmt::format("{}: {}", name, Printable(ValueText(property))));
  Say("the setting is stored; a running \"vxhost run\" takes it at its next start");
  return EXIT_DONE;
}

int RunOps(Host& host) {
  ObjectCommand command(host);
  const Target target = command.Find();
  std::vector<PI::COperation> operations;
  RequireResult(target.plugin->session->GetOperations(target.object->m_ID, operations),
                "operations");
  if (host.Settings().json) {
    JsonText json;
    Write(json, operations);
    host.Out().WriteLine(json.Take());
  } else {
    host.Out().Write(OperationsText(operations));
  }
  return EXIT_DONE;
}

}  // namespace vxhost
