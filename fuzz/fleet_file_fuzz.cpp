// The fleet reader takes any text: it gives a fleet that keeps the rules, or an error that names
// the file, and nothing else.
#include "FleetReader.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

namespace {

void Require(bool holds) {
  if (!holds) std::abort();
}

void CheckRules(const vxsim::Fleet& fleet) {
  for (const vxsim::Drive& drive : fleet.drives) {
    Require(!drive.serial.empty() && drive.serial.size() <= 20);
    Require(!drive.model.empty() && drive.model.size() <= 40);
    Require(vxsim::FindDrive(fleet, drive.serial) != nullptr);
    if (drive.pci) {
      Require(vxsim::ParsePciAddress(vxsim::ToText(drive.pci->address)) == drive.pci->address);
    }
  }
  for (const vxsim::Fault& fault : fleet.faults) Require(!fault.key.empty());
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  try {
    CheckRules(vxsim::ParseFleet(text, "fleet.json"));
  } catch (const vxsim::FleetError& error) {
    Require(std::string_view(error.what()).starts_with("fleet.json: "));
  }
  return 0;
}
