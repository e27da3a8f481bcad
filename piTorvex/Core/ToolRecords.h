#pragma once

#include <string>

#include <Facts/Kinds.h>

// What the vendor's tool reports, as plain records: the tool's layer fills them, scan and log pass
// read them. Members, kinds and meanings are rows of Facts/Fields.def. The published ones belong to
// IPLUGINAPI_IMPL. [holds m_DataLock]
namespace NAMESPACE_piTorvex {

// Health values of one drive, gathered from four logs of the tool. A member keeps its default until
// the tool reports it with the expected type.
struct CCmdEmuGetlog {
#define LOG_KEY(log, key, kind, type, member, initial, unit, meaning) type member = initial;
#define LOG_MEMBER(type, member, initial, meaning) type member = initial;
#include <Facts/Fields.def>

  // The index of the drive that the values were asked for, as it was asked; -1 before the first
  // query.
  int ToolIndex = -1;
  // The serial number that the answers name; empty when none does. It tells when the tool has given
  // the index to another drive.
  std::string NamedSerial;
};

// One drive as the tool's inventory reports it. Members bear the names of the tool's keys.
struct CCmdEmuAdapter {
#define INVENTORY_MEMBER(type, member, initial, meaning) type member initial;
#define INVENTORY_KEY(member, kind, initial, unit, meaning) \
  Facts::CStoredAs<Facts::EKind::kind> member initial;
#define INVENTORY_KEY_READ_LAST INVENTORY_KEY
#include <Facts/Fields.def>

  CCmdEmuGetlog Health;
  // Kept at their places in the record.
  std::string Spare1;
  std::string Spare2;
  std::string Spare3;
  std::string Spare4;
};

}  // namespace NAMESPACE_piTorvex
