#include "tests/fakes/fake_injection.h"

#include <cstdio>
#include <map>
#include <mutex>

namespace talu {
namespace {

struct Desktop {
  std::vector<InputRecord> records;
  std::vector<size_t> callSizes;
  size_t metricCalls = 0;
  std::map<int, int32_t> metrics;
  std::map<char, uint16_t> keyScans;
  bool refuses = false;
  uint32_t lastError = 0;
};

constexpr size_t kRoomForCalls = 4096;

std::mutex desktopLock;

Desktop NewDesktop() {
  Desktop fresh;
  fresh.records.reserve(kRoomForCalls);
  fresh.callSizes.reserve(kRoomForCalls);
  fresh.metrics = {{kPrimaryWidthMetric, 1920}, {kPrimaryHeightMetric, 1080},
                   {kVirtualLeftMetric, 0},     {kVirtualTopMetric, 0},
                   {kVirtualWidthMetric, 1920}, {kVirtualHeightMetric, 1080}};
  return fresh;
}

Desktop& TheDesktop() {
  static Desktop desktop = NewDesktop();
  return desktop;
}

std::string Formatted(const char* format, auto... numbers) {
  char text[96];
  std::snprintf(text, sizeof text, format, numbers...);
  return text;
}

std::string MouseText(const MouseInput& mouse) {
  return Formatted("mouse 0x%04X at %d,%d data %d", mouse.flags, mouse.dx, mouse.dy,
                   static_cast<int32_t>(mouse.data));
}

std::string KeyText(const KeyInput& key) {
  if (key.virtualKey == 0) {
    return Formatted("unit %u flags 0x%X", key.scanCode, key.flags);
  }
  return Formatted("key %u flags 0x%X", key.virtualKey, key.flags) +
         (key.scanCode == 0 ? "" : Formatted(" scan %u", key.scanCode));
}

// Fields that are never set show only when they are.
std::string EventText(const InputRecord& record) {
  const bool isMouse = record.type == kMouseRecord;
  const uint32_t timeMs = isMouse ? record.mouse.timeMs : record.key.timeMs;
  const uint64_t extraInfo = isMouse ? record.mouse.extraInfo : record.key.extraInfo;
  return (isMouse ? MouseText(record.mouse) : KeyText(record.key)) +
         (timeMs == 0 && extraInfo == 0 ? "" : " with time or extra information");
}

constexpr uint32_t kBroken = 0xFFFD;

// The character that text begins with and the bytes it takes; what breaks off is one replacement
// character, as Windows has it.
struct Decoded {
  uint32_t codePoint;
  size_t bytes;
};

Decoded DecodeFirst(std::string_view text) {
  const auto byteAt = [&](size_t at) -> uint32_t { return static_cast<unsigned char>(text[at]); };
  const uint32_t lead = byteAt(0);
  if (lead < 0x80) return {lead, 1};
  if (lead < 0xC2 || lead > 0xF4) return {kBroken, 1};
  const size_t length = lead >= 0xF0 ? 4 : lead >= 0xE0 ? 3 : 2;
  uint32_t low = 0x80;
  uint32_t high = 0xBF;
  if (lead == 0xE0) low = 0xA0;   // no overlong forms
  if (lead == 0xED) high = 0x9F;  // no surrogates
  if (lead == 0xF0) low = 0x90;   // no overlong forms
  if (lead == 0xF4) high = 0x8F;  // nothing beyond 0x10FFFF
  uint32_t codePoint = lead & (0x7Fu >> length);
  for (size_t at = 1; at < length; ++at) {
    if (at >= text.size() || byteAt(at) < low || byteAt(at) > high) return {kBroken, at};
    codePoint = codePoint << 6 | (byteAt(at) & 0x3F);
    low = 0x80;
    high = 0xBF;
  }
  return {codePoint, length};
}

}  // namespace

void FakeInjection::Reset() {
  const std::lock_guard<std::mutex> hold(desktopLock);
  TheDesktop() = NewDesktop();
}

std::vector<std::string> FakeInjection::Events() {
  const std::lock_guard<std::mutex> hold(desktopLock);
  std::vector<std::string> events;
  for (const InputRecord& record : TheDesktop().records) {
    events.push_back(EventText(record));
  }
  return events;
}

std::vector<size_t> FakeInjection::CallSizes() {
  const std::lock_guard<std::mutex> hold(desktopLock);
  return TheDesktop().callSizes;
}

size_t FakeInjection::MetricCalls() {
  const std::lock_guard<std::mutex> hold(desktopLock);
  return TheDesktop().metricCalls;
}

void FakeInjection::SetMetric(int metric, int32_t pixels) {
  const std::lock_guard<std::mutex> hold(desktopLock);
  TheDesktop().metrics[metric] = pixels;
}

void FakeInjection::SetVirtualDesktop(int32_t left, int32_t top, int32_t width, int32_t height) {
  SetMetric(kVirtualLeftMetric, left);
  SetMetric(kVirtualTopMetric, top);
  SetMetric(kVirtualWidthMetric, width);
  SetMetric(kVirtualHeightMetric, height);
}

void FakeInjection::SetKeyScan(char character, uint16_t scan) {
  const std::lock_guard<std::mutex> hold(desktopLock);
  TheDesktop().keyScans[character] = scan;
}

void FakeInjection::Refuse(uint32_t lastError) {
  const std::lock_guard<std::mutex> hold(desktopLock);
  TheDesktop().refuses = true;
  TheDesktop().lastError = lastError;
}

InjectionResult InjectInput(std::span<const InputRecord> records) {
  const std::lock_guard<std::mutex> hold(desktopLock);
  Desktop& desktop = TheDesktop();
  desktop.records.insert(desktop.records.end(), records.begin(), records.end());
  desktop.callSizes.push_back(records.size());
  return {desktop.refuses ? 0 : static_cast<uint32_t>(records.size()), desktop.lastError};
}

int32_t SystemMetric(int metric) {
  const std::lock_guard<std::mutex> hold(desktopLock);
  ++TheDesktop().metricCalls;
  return TheDesktop().metrics.at(metric);
}

uint16_t KeyScan(char character) {
  const std::lock_guard<std::mutex> hold(desktopLock);
  const auto found = TheDesktop().keyScans.find(character);
  return found == TheDesktop().keyScans.end() ? kNoKeyScan : found->second;
}

std::u16string Utf16FromUtf8(std::string_view text) {
  std::u16string units;
  while (!text.empty()) {
    const Decoded decoded = DecodeFirst(text);
    text.remove_prefix(decoded.bytes);
    if (decoded.codePoint < 0x10000) {
      units.push_back(static_cast<char16_t>(decoded.codePoint));
    } else {
      const uint32_t offset = decoded.codePoint - 0x10000;
      units.push_back(static_cast<char16_t>(0xD800 + (offset >> 10)));
      units.push_back(static_cast<char16_t>(0xDC00 + (offset & 0x3FF)));
    }
  }
  return units;
}

}  // namespace talu
