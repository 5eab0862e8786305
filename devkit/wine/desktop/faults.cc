#include "devkit/wine/desktop/faults.h"

#include <charconv>

namespace talu {

namespace {

constexpr uint32_t kDeviceRemoved = 0x887A0005;

std::string_view Trim(std::string_view text) {
  const size_t first = text.find_first_not_of(" \t\r");
  if (first == std::string_view::npos) return {};
  return text.substr(first, text.find_last_not_of(" \t\r") - first + 1);
}

std::optional<uint32_t> ParseNumber(std::string_view text) {
  const bool hexadecimal = text.starts_with("0x") || text.starts_with("0X");
  if (hexadecimal) text.remove_prefix(2);
  uint32_t number = 0;
  const char* end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data(), end, number, hexadecimal ? 16 : 10);
  if (error != std::errc() || stop != end) return std::nullopt;
  return number;
}

bool TakeFault(std::string_view name, std::optional<uint32_t> number, DesktopFaults* faults) {
  if (name == "acquire-fails") {
    faults->acquireResult = number;
    return number.has_value();
  }
  if (name == "duplicate-fails") {
    faults->duplicateFailures = number.value_or(0);
    return number.has_value();
  }
  if (number) return false;
  if (name == "access-lost") return faults->accessLost = true;
  if (name == "no-frames") return faults->noFrames = true;
  if (name == "hide-cursor") return faults->hideCursor = true;
  if (name != "device-removed") return false;
  faults->acquireResult = kDeviceRemoved;
  return true;
}

bool TakeLine(std::string_view line, DesktopFaults* faults) {
  if (line.empty() || line.front() == '#') return true;
  const size_t gap = line.find_first_of(" \t");
  if (gap == std::string_view::npos) return TakeFault(line, std::nullopt, faults);
  const auto number = ParseNumber(Trim(line.substr(gap)));
  return number && TakeFault(line.substr(0, gap), number, faults);
}

}  // namespace

DesktopFaults ParseDesktopFaults(std::string_view text, std::string* complaint) {
  DesktopFaults faults;
  complaint->clear();
  while (!text.empty()) {
    const size_t end = text.find('\n');
    const std::string_view line = Trim(text.substr(0, end));
    if (!TakeLine(line, &faults) && complaint->empty()) *complaint = line;
    text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
  }
  return faults;
}

}  // namespace talu
