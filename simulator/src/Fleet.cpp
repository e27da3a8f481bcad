#include "Fleet.h"

#include <algorithm>
#include <charconv>
#include <cstdio>

namespace vxsim {

namespace {

std::optional<std::uint32_t> Hexadecimal(std::string_view text) {
  std::uint32_t number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number, 16);
  if (error != std::errc() || end != text.data() + text.size()) return std::nullopt;
  return number;
}

}  // namespace

std::optional<PciAddress> ParsePciAddress(std::string_view text) {
  constexpr std::size_t kTail = 8;  // ":BB:DD.F"
  if (text.size() < 4 + kTail || text.size() > 8 + kTail) return std::nullopt;
  const std::string_view tail = text.substr(text.size() - kTail);
  if (tail[0] != ':' || tail[3] != ':' || tail[6] != '.') return std::nullopt;
  const auto domain = Hexadecimal(text.substr(0, text.size() - kTail));
  const auto bus = Hexadecimal(tail.substr(1, 2));
  const auto device = Hexadecimal(tail.substr(4, 2));
  const auto function = Hexadecimal(tail.substr(7, 1));
  if (!domain || !bus || !device || !function || *device > 0x1f || *function > 7)
    return std::nullopt;
  return PciAddress{*domain, *bus, *device, *function};
}

std::string ToText(const PciAddress& address) {
  char text[32];
  std::snprintf(text, sizeof text, "%04x:%02x:%02x.%x", address.domain, address.bus, address.device,
                address.function);
  return text;
}

std::string BusText(const PciAddress& address) {
  char text[32];
  std::snprintf(text, sizeof text, "%04x:%02x", address.domain, address.bus);
  return text;
}

const ToolCommandName& DescriptionOf(ToolCommand command) {
  return *std::find_if(kToolCommands.begin(), kToolCommands.end(),
                       [&](const ToolCommandName& row) { return row.command == command; });
}

const char* NameOf(ToolCommand command) {
  return DescriptionOf(command).name;
}

const char* NameOf(FaultKind kind) {
  return std::find_if(kFaultKinds.begin(), kFaultKinds.end(),
                      [&](const FaultKindName& row) { return row.kind == kind; })
      ->name;
}

std::vector<std::string> ExtraAnswerNames() {
  std::vector<std::string> names;
  for (const ToolCommand answer : kExtraAnswers) names.emplace_back(NameOf(answer));
  return names;
}

std::optional<std::uint32_t> ControllerNumber(std::string_view devicePath) {
  constexpr std::string_view kPrefix = "/dev/nvme";
  if (devicePath.substr(0, kPrefix.size()) != kPrefix) return std::nullopt;
  const char* const end = devicePath.data() + devicePath.size();
  std::uint32_t number = 0;
  const auto [rest, error] = std::from_chars(devicePath.data() + kPrefix.size(), end, number);
  if (error != std::errc()) return std::nullopt;
  if (rest == end) return number;
  std::uint32_t nameSpace = 0;
  if (*rest != 'n') return std::nullopt;
  const auto [last, nameError] = std::from_chars(rest + 1, end, nameSpace);
  if (nameError != std::errc() || last != end) return std::nullopt;
  return number;
}

const Drive* FindDrive(const Fleet& fleet, std::string_view serialOrIndex) {
  for (const Drive& drive : fleet.drives) {
    if (drive.serial == serialOrIndex) return &drive;
  }
  std::int32_t index = 0;
  const char* const end = serialOrIndex.data() + serialOrIndex.size();
  const auto [rest, error] = std::from_chars(serialOrIndex.data(), end, index);
  if (error != std::errc() || rest != end) return nullptr;
  const Drive* pulled = nullptr;
  for (const Drive& drive : fleet.drives) {
    if (drive.index != index) continue;
    if (drive.present) return &drive;
    if (pulled == nullptr) pulled = &drive;
  }
  return pulled;
}

}  // namespace vxsim
