#include "devkit/controller/message_text.h"

#include <algorithm>
#include <cinttypes>
#include <cstdio>
#include <optional>

namespace talu::controller {
namespace {

constexpr uint8_t kCursorMarker = 0xc0;
constexpr size_t kCursorHeaderBytes = 18;
constexpr size_t kShownBytes = 16;

int32_t ReadInt32(std::span<const uint8_t> bytes, size_t offset) {
  uint32_t value = 0;
  for (size_t i = 0; i < 4; ++i) value |= uint32_t{bytes[offset + i]} << (8 * i);
  return static_cast<int32_t>(value);
}

std::string CursorText(std::span<const uint8_t> body) {
  char text[128];
  std::snprintf(text, sizeof text,
                "cursor visible=%d %" PRId32 "x%" PRId32 " hot=%" PRId32 ",%" PRId32 " bytes=%zu",
                body[1], ReadInt32(body, 2), ReadInt32(body, 6), ReadInt32(body, 10),
                ReadInt32(body, 14), body.size());
  return text;
}

std::string UnknownText(std::span<const uint8_t> body) {
  std::string text = "control message of " + std::to_string(body.size()) + " bytes:";
  for (const uint8_t byte : body.first(std::min(body.size(), kShownBytes))) {
    char digits[4];
    std::snprintf(digits, sizeof digits, " %02x", byte);
    text += digits;
  }
  return text;
}

}  // namespace

std::string ControlText(std::span<const uint8_t> body) {
  if (!body.empty() && body[0] == '{') return {body.begin(), body.end()};
  if (body.size() >= kCursorHeaderBytes && body[0] == kCursorMarker) return CursorText(body);
  return UnknownText(body);
}

std::string VideoText(const loopback::VideoHeader& header, size_t unitBytes, double ageMs) {
  char text[160];
  std::snprintf(text, sizeof text, "video %" PRIu32 "%s %zu bytes time=%" PRId64 "ms age=%.1fms",
                header.sequence, header.keyFrame ? " key" : "", unitBytes, header.timestampMs,
                ageMs);
  return text;
}

}  // namespace talu::controller
