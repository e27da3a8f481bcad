#include <DB/Database.h>
#include <DatabaseORM/Records.h>

namespace RaidDataModels {

using DatabaseWrapper::NULL_DB_STRING;

Plugin::Plugin()
    : ToolVersion(NULL_DB_STRING),
      Name(NULL_DB_STRING),
      SettableProperties(NULL_DB_STRING),
      Description(NULL_DB_STRING),
      Vendor(NULL_DB_STRING),
      Version(NULL_DB_STRING) {}

Adapter::Adapter()
    : Host(NULL_DB_STRING),
      Name(NULL_DB_STRING),
      Vendor(NULL_DB_STRING),
      ModelNumber(NULL_DB_STRING),
      Location(NULL_DB_STRING),
      SerialNumber(NULL_DB_STRING),
      Firmware(NULL_DB_STRING),
      Bootloader(NULL_DB_STRING),
      DevicePath(NULL_DB_STRING),
      DriverName(NULL_DB_STRING),
      DriverVersion(NULL_DB_STRING),
      EndOfLifeDate(NULL_DB_STRING) {}

PD::PD()
    : SerialNumber(NULL_DB_STRING),
      Host(NULL_DB_STRING),
      Name(NULL_DB_STRING),
      Location(NULL_DB_STRING),
      Vendor(NULL_DB_STRING),
      ModelNumber(NULL_DB_STRING) {}

}  // namespace RaidDataModels
