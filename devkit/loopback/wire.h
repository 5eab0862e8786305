// The messages between the loopback library and its viewers, byte by byte.
//
// Binary messages are little-endian; the first byte is the kind. Everything else is JSON text.
// The library builds what the controller reads and the other way round. Any thread.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace talu::loopback {

constexpr uint8_t kKindVideo = 1;
// From the host: three zero bytes follow. From a viewer: the body follows at once.
constexpr uint8_t kKindControl = 2;
// From a viewer only: one byte of label length, the label, the body.
constexpr uint8_t kKindLabelled = 3;

constexpr size_t kVideoHeaderBytes = 24;
constexpr size_t kControlHeaderBytes = 4;
constexpr size_t kMaxBodyBytes = 64u << 20;
constexpr size_t kMaxLabelBytes = 255;

using Bytes = std::vector<uint8_t>;
// Shared by all viewers that a message goes to.
using Payload = std::shared_ptr<const Bytes>;

struct VideoHeader {
  bool keyFrame = false;
  // Counts every unit the host handed over, wrapping; a gap shows units dropped on the way.
  uint32_t sequence = 0;
  int64_t timestampMs = 0;
  // Microseconds since 1970 UTC.
  int64_t handedOverUs = 0;
};

// Library to viewer.
Payload BuildVideoMessage(const VideoHeader& header, std::span<const uint8_t> unit);
Payload BuildHostControlMessage(std::span<const uint8_t> body);
Payload BuildHelloEvent(std::string_view instance, uint32_t width, uint32_t height,
                        bool subscriber);
Payload BuildScreenEvent(uint32_t width, uint32_t height);
Payload BuildReplacedEvent();
Payload BuildByeEvent();

// The header of a whole video message, nothing if it is none.
std::optional<VideoHeader> ReadVideoHeader(std::span<const uint8_t> message);
// The body of a whole control message from the host, nothing if it is none.
std::optional<std::span<const uint8_t>> ReadHostControlBody(std::span<const uint8_t> message);

// Viewer to library. A label of more than kMaxLabelBytes gives nothing.
Bytes BuildViewerControlMessage(std::string_view body);
std::optional<Bytes> BuildViewerLabelledMessage(std::string_view label, std::string_view body);

}  // namespace talu::loopback
