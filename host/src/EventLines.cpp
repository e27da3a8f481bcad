#include "EventLines.h"

#include "Catalogue.h"
#include "Json.h"
#include "TreeView.h"

#include <algorithm>
#include <array>
#include <ctime>

#include <fmt/format.h>

#include <PI/Codes.h>
#include <TLX/Misc/Clock.h>

namespace vxhost {

namespace {

constexpr std::size_t SEVERITY_WIDTH = 11;  // "information"

std::string LocalTime(unsigned long milliseconds) {
  const auto seconds = static_cast<std::time_t>(milliseconds / 1000);
  std::tm local{};
  ::localtime_r(&seconds, &local);
  std::array<char, 64> text{};
  const std::size_t length = std::strftime(text.data(), text.size(), "%Y-%m-%d %H:%M:%S", &local);
  return {text.data(), length};
}

std::string_view HealthOf(unsigned int severity) {
  if (severity == PI::SEVERITY_ERROR) return "critical";
  return severity == PI::SEVERITY_WARNING ? "degraded" : "good";
}

// The adapters of one topology that the other does not have, in order.
std::vector<const PI::CObject*> Missing(const Topology& from, const Topology& in) {
  std::vector<const PI::CObject*> missing;
  for (const Topology::Adapter& adapter : from.Adapters()) {
    if (in.Find(adapter.object->m_ID) == nullptr) missing.push_back(adapter.object);
  }
  return missing;
}

// Whether the event says of itself that it is about the object: by its name or, behind the name of
// all that have none, by its serial number.
bool IsAbout(const PI::CEvent& event, const PI::CObject& object) {
  const std::string name = TextValue(object, PI::PROPERTY_NAME).value_or("");
  const std::string serial = TextValue(object, PI::PROPERTY_SERIAL_NUMBER).value_or("");
  return (!name.empty() && event.m_PlaceHolder1 == name) ||
         (!serial.empty() && event.m_PlaceHolder2 == " " + serial);
}

// Hands out the objects behind events whose object id names none: the one that the event is about,
// else the next one. A newcomer has no name yet; a plug-in raises its events in the order of its
// lists, which is the order of the topology.
class Queue {
 public:
  explicit Queue(std::vector<const PI::CObject*> objects) : objects_(std::move(objects)) {}

  const PI::CObject* Take(const PI::CEvent& event) {
    if (objects_.empty()) return nullptr;
    auto found = std::find_if(objects_.begin(), objects_.end(),
                              [&](const PI::CObject* object) { return IsAbout(event, *object); });
    if (found == objects_.end()) found = objects_.begin();
    const PI::CObject* const object = *found;
    objects_.erase(found);
    return object;
  }

 private:
  std::vector<const PI::CObject*> objects_;
};

void AddDrive(Report& report, const PI::CObject& object) {
  report.serial = TextValue(object, PI::PROPERTY_SERIAL_NUMBER).value_or("");
  report.location = TextValue(object, PI::PROPERTY_LOCATION).value_or("");
}

// What is left of an adapter's name when the plug-in gave none.
void NameEvent(PI::CEvent& event, const PI::CObject& object) {
  if (event.m_PlaceHolder1.empty()) event.SetPlaceHolder1(DisplayName(object));
}

Report Notice(const PI::CObject& adapter, unsigned int severity, const std::string& what) {
  Report report;
  report.isNotice = true;
  report.event = PI::CEvent(0, severity, adapter.m_ID, TLX::Misc::now(), DisplayName(adapter));
  report.text = fmt::format("{}: {}", what, DisplayName(adapter));
  AddDrive(report, adapter);
  return report;
}

// Drives that fell silent or speak again: no event tells of that.
void AddNotices(std::vector<Report>& reports, const Topology& before, const Topology& after) {
  for (const Topology::Adapter& adapter : after.Adapters()) {
    const PI::CObject* const earlier = before.Find(adapter.object->m_ID);
    const bool wasSilent = earlier != nullptr && IsNotAnswering(*earlier);
    const bool isSilent = IsNotAnswering(*adapter.object);
    if (isSilent && !wasSilent) {
      reports.push_back(Notice(*adapter.object, PI::SEVERITY_WARNING, "Drive not answering"));
    } else if (wasSilent && !isSilent) {
      reports.push_back(Notice(*adapter.object, PI::SEVERITY_INFORMATION, "Drive answers again"));
    }
  }
}

}  // namespace

std::vector<Report> MakeReports(const std::vector<PI::CEvent>& events, const Topology& before,
                                const Topology& after, const std::string& toolFailure) {
  Queue added(Missing(after, before));
  Queue removed(Missing(before, after));
  std::vector<Report> reports;
  for (const PI::CEvent& event : events) {
    Report& report = reports.emplace_back();
    report.event = event;
    const PI::CObject* object = after.Find(event.m_ObjectID);
    if (event.m_EventID == PI::EVENT_ADAPTER_ADDED) object = added.Take(event);
    if (event.m_EventID == PI::EVENT_ADAPTER_REMOVED) {
      object = removed.Take(event);
      if (!toolFailure.empty()) {
        report.remark = "in a scan in which the drive tool failed: " + toolFailure;
      }
    }
    PI::CEvent named = event;
    if (object != nullptr) {
      AddDrive(report, *object);
      NameEvent(named, *object);
      const Topology::Adapter* const adapter = after.AdapterOf(*object);
      if (adapter != nullptr && IsNotAnswering(*adapter->object)) report.remark = "not answering";
    }
    report.text = EventText(named);
  }
  AddNotices(reports, before, after);
  return reports;
}

std::string ReportLine(const Report& report, bool colour) {
  const std::string severity = SeverityText(report.event.m_Severity);
  const std::string padding(SEVERITY_WIDTH - std::min(severity.size(), SEVERITY_WIDTH), ' ');
  std::string line = fmt::format("{}  {}{}  {}", LocalTime(report.event.m_Time),
                                 Coloured(severity, HealthOf(report.event.m_Severity), colour),
                                 padding, Printable(report.text));
  if (!report.serial.empty()) {
    const std::string place = report.location.empty() ? "" : ", " + report.location;
    line += fmt::format("  [{}]", Printable(report.serial + place));
  }
  if (!report.remark.empty()) line += fmt::format("  ({})", Printable(report.remark));
  return line;
}

std::string ReportJson(const Report& report, const std::string& plugin) {
  JsonText json;
  json.StartObject().Key("plugin").Text(plugin);
  if (!report.isNotice) json.Key("id").Unsigned(report.event.m_EventID);
  json.Key("severity").Unsigned(report.event.m_Severity);
  json.Key("object").Id(report.event.m_ObjectID).Key("time").Unsigned(report.event.m_Time);
  json.Key("name").Text(report.event.m_Name);
  json.Key("placeholder1").Text(report.event.m_PlaceHolder1);
  json.Key("placeholder2").Text(report.event.m_PlaceHolder2);
  json.Key("text").Text(report.text).Key("serial").Text(report.serial);
  json.Key("location").Text(report.location);
  if (!report.remark.empty()) json.Key("remark").Text(report.remark);
  json.EndObject();
  return json.Take();
}

}  // namespace vxhost
