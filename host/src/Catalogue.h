#pragma once

#include <optional>
#include <string>
#include <string_view>

#include <PI/Catalogue.h>
#include <PI/Event.h>
#include <PI/Property.h>

// Every text for people that belongs to a number of the plug-ins (PI/Catalogue.h): events,
// properties, choices, units, results. Those of properties stand with the fields that they show
// (Facts/Fields.def); a number without a text does not compile.
namespace vxhost {

// The event's text; the object's name stands in it when the event carries one. Never empty.
std::string EventText(const PI::CEvent& event);

// "information", "warning", "error"; the number for others.
std::string SeverityText(unsigned int severity);

// What a property is called: by its label and id together, else by its label, else by its id, else
// "property N".
std::string PropertyText(unsigned int id, unsigned int label);

// What a choice is called; the number when the catalogue has no text.
std::string ChoiceText(int code);

// "°C", "MiB", ...; empty for none and for what is not known.
std::string_view UnitText(unsigned int unit);

// What a result code means.
std::string ResultText(unsigned int result);

// What an object type is called.
std::string_view ObjectTypeText(unsigned int type);

// Whether the word names the property: its number, or its text whatever the case, blanks, hyphens
// and underscores.
bool NamesProperty(std::string_view word, const PI::CProperty& property);

// The value for people, with its unit: "36 °C", "1526186 MiB (1.6 TB)", "degraded".
std::string ValueText(const PI::CProperty& property);

}  // namespace vxhost
