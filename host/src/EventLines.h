#pragma once

#include "Topology.h"

#include <string>
#include <vector>

#include <PI/Event.h>

namespace vxhost {

// One thing to tell people or scripts: an event of a plug-in, or a change that the host saw itself.
struct Report {
  PI::CEvent event;
  bool isNotice = false;  // the host's own: event has no id of the catalogue
  std::string text;       // the sentence
  std::string serial;
  std::string location;
  std::string remark;  // what else is known: "not answering", the reason of a removal
};

// The reports for the events that came between two topologies. toolFailure: why the tool failed in
// the scan that found the later one; empty when it did not.
std::vector<Report> MakeReports(const std::vector<PI::CEvent>& events, const Topology& before,
                                const Topology& after, const std::string& toolFailure);

// "2026-11-20 16:14:04  warning      Adapter removed: ...", without a line feed; local time.
std::string ReportLine(const Report& report, bool colour);
std::string ReportJson(const Report& report, const std::string& plugin);

}  // namespace vxhost
