#include "Pci.h"

#include "Sysfs.h"

#include <charconv>

namespace TLXX {

namespace {

constexpr std::size_t MAX_DOMAIN_DIGITS = 8;
constexpr std::size_t MIN_DOMAIN_DIGITS = 4;
constexpr std::size_t MAX_ID_DIGITS = 4;
constexpr unsigned long MAX_DEVICE = 0x1F;
constexpr unsigned long MAX_FUNCTION = 7;

// The number that the whole text is, digits only.
std::optional<unsigned long> ParseHex(std::string_view digits) {
  unsigned long value = 0;
  const char* const end = digits.data() + digits.size();
  const auto [rest, error] = std::from_chars(digits.data(), end, value, 16);
  if (digits.empty() || digits.front() == '-' || error != std::errc() || rest != end) {
    return std::nullopt;
  }
  return value;
}

}  // namespace

std::optional<CPciAddress> ParsePciAddress(std::string_view text) {
  constexpr std::string_view BEHIND_DOMAIN = ":bb:dd.f";
  if (text.size() < MIN_DOMAIN_DIGITS + BEHIND_DOMAIN.size()) return std::nullopt;
  const std::size_t domainDigits = text.size() - BEHIND_DOMAIN.size();
  const std::string_view rest = text.substr(domainDigits);
  if (domainDigits > MAX_DOMAIN_DIGITS || rest[0] != ':' || rest[3] != ':' || rest[6] != '.') {
    return std::nullopt;
  }
  const auto domain = ParseHex(text.substr(0, domainDigits));
  const auto bus = ParseHex(rest.substr(1, 2));
  const auto device = ParseHex(rest.substr(4, 2));
  const auto function = ParseHex(rest.substr(7, 1));
  if (!domain || !bus || !device || !function) return std::nullopt;
  if (*device > MAX_DEVICE || *function > MAX_FUNCTION) return std::nullopt;
  return CPciAddress{*domain, *bus, *device, *function};
}

std::optional<unsigned long> ParsePciId(std::string_view text) {
  if (text.starts_with("0x") || text.starts_with("0X")) text.remove_prefix(2);
  if (text.size() > MAX_ID_DIGITS) return std::nullopt;
  return ParseHex(text);
}

std::optional<CPciIds> ParsePciIds(std::string_view vendor, std::string_view device) {
  const auto vendorId = ParsePciId(vendor);
  const auto deviceId = ParsePciId(device);
  if (!vendorId || !deviceId) return std::nullopt;
  return CPciIds{*vendorId, *deviceId};
}

std::optional<CPciIds> ReadPciIds(const std::string& directory) {
  const auto vendor = ReadAttribute(directory + "/vendor");
  const auto device = ReadAttribute(directory + "/device");
  if (!vendor || !device) return std::nullopt;
  return ParsePciIds(*vendor, *device);
}

}  // namespace TLXX
