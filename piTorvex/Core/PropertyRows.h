// How rows of Facts/Fields.def become rows of a property table of this plug-in. Included in the
// middle of such a table, after ADAPTER_PROPERTY or DRIVE_PROPERTY has been defined as
// VX_PROPERTY_ROW, or PLUGIN_PROPERTY as VX_PLUGIN_PROPERTY_ROW, and STORED as the field of the
// record; CObj is the object. Meant to be included more than once.

#define VX_PROPERTY_ROW(name, label, text, preset, kind, unit, last, value, column)    \
  {{PI::PROPERTY_##name, label, 1, 1, preset, PI::KIND_##kind, PI::UNIT_##unit, last}, \
   value,                                                                              \
   column},
#define VX_PLUGIN_PROPERTY_ROW(name, label, text, kind, settable, value) \
  {{PI::PROPERTY_##name, label, 1, 1, 0, PI::KIND_##kind, PI::UNIT_NONE, 1}, value, {}, settable},
#define SHOWS_BY(function) function
#define SHOWS_TEXT(member) PI::ShowText<&CObj::member>
#define SHOWS_TEXT_IF_ANY(member) PI::ShowTextIfAny<&CObj::member>
#define SHOWS_NUMBER(member) PI::ShowNumber<&CObj::member>
#define SHOWS_NUMBER_IF_REPORTED(member) PI::ShowNumberIfReported<&CObj::member>
#define SHOWS_TEMPERATURE_IF_KNOWN(member) PI::ShowTemperatureIfKnown<&CObj::member>
#define SHOWS_PERCENTAGE(member, minimum) PI::ShowPercentage<&CObj::member, minimum>
#define SHOWS_CHOICE(member, choices) PI::ShowChoice<&CObj::member, choices>
#define NOT_STORED \
  {}

#include <Facts/Fields.def>

#undef NOT_STORED
#undef SHOWS_CHOICE
#undef SHOWS_PERCENTAGE
#undef SHOWS_TEMPERATURE_IF_KNOWN
#undef SHOWS_NUMBER_IF_REPORTED
#undef SHOWS_NUMBER
#undef SHOWS_TEXT_IF_ANY
#undef SHOWS_TEXT
#undef SHOWS_BY
#undef STORED
#undef VX_PLUGIN_PROPERTY_ROW
#undef VX_PROPERTY_ROW
