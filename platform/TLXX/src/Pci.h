#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <tuple>

namespace TLXX {

// The address of a PCI function, ordered as the bus is.
struct CPciAddress {
  unsigned long m_Domain = 0;  // up to 32 bits: those of volume-management controllers begin above
                               // 0xFFFF
  unsigned long m_Bus = 0;
  unsigned long m_Device = 0;
  unsigned long m_Function = 0;
  bool operator==(const CPciAddress&) const = default;
  bool operator<(const CPciAddress& other) const {
    return std::tie(m_Domain, m_Bus, m_Device, m_Function) <
           std::tie(other.m_Domain, other.m_Bus, other.m_Device, other.m_Function);
  }
};

// Reads "dddd:bb:dd.f", hexadecimal, the domain of four to eight digits; nothing for any other
// text, also one that only ends in an address.
std::optional<CPciAddress> ParsePciAddress(std::string_view text);

// A vendor or device id as a number: one to four hexadecimal digits of any case, with or without
// "0x" before them; nothing for any other text.
std::optional<unsigned long> ParsePciId(std::string_view text);

// The pair of ids of a PCI function.
struct CPciIds {
  unsigned long m_Vendor = 0;
  unsigned long m_Device = 0;
  bool operator==(const CPciIds&) const = default;
};

std::optional<CPciIds> ParsePciIds(std::string_view vendor, std::string_view device);

// The ids of the function whose directory this is; nothing when it lacks one of the two files.
std::optional<CPciIds> ReadPciIds(const std::string& directory);

}  // namespace TLXX
