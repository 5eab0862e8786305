#include "devkit/loopback/wire.h"

#include <cstdio>

namespace talu::loopback {
namespace {

void Append(Bytes* out, uint64_t value, int byteCount) {
  for (int i = 0; i < byteCount; ++i) out->push_back(static_cast<uint8_t>(value >> (8 * i)));
}

uint64_t Read(std::span<const uint8_t> bytes, size_t offset, int byteCount) {
  uint64_t value = 0;
  for (int i = 0; i < byteCount; ++i) value |= uint64_t{bytes[offset + i]} << (8 * i);
  return value;
}

Payload FromText(std::string_view text) {
  return std::make_shared<const Bytes>(text.begin(), text.end());
}

std::string JsonText(std::string_view text) {
  std::string out = "\"";
  for (const char c : text) {
    if (static_cast<unsigned char>(c) < 0x20) {
      char escape[8];
      std::snprintf(escape, sizeof escape, "\\u%04x", static_cast<unsigned>(c));
      out += escape;
      continue;
    }
    if (c == '"' || c == '\\') out += '\\';
    out += c;
  }
  return out + '"';
}

std::string SizeFields(uint32_t width, uint32_t height) {
  return "\"width\":" + std::to_string(width) + ",\"height\":" + std::to_string(height);
}

}  // namespace

Payload BuildVideoMessage(const VideoHeader& header, std::span<const uint8_t> unit) {
  auto message = std::make_shared<Bytes>();
  message->reserve(kVideoHeaderBytes + unit.size());
  message->push_back(kKindVideo);
  message->push_back(header.keyFrame ? 1 : 0);
  Append(message.get(), 0, 2);
  Append(message.get(), header.sequence, 4);
  Append(message.get(), static_cast<uint64_t>(header.timestampMs), 8);
  Append(message.get(), static_cast<uint64_t>(header.handedOverUs), 8);
  message->insert(message->end(), unit.begin(), unit.end());
  return message;
}

Payload BuildHostControlMessage(std::span<const uint8_t> body) {
  auto message = std::make_shared<Bytes>();
  message->reserve(kControlHeaderBytes + body.size());
  message->push_back(kKindControl);
  Append(message.get(), 0, 3);
  message->insert(message->end(), body.begin(), body.end());
  return message;
}

Payload BuildHelloEvent(std::string_view instance, uint32_t width, uint32_t height,
                        bool subscriber) {
  return FromText("{\"event\":\"hello\",\"instance\":" + JsonText(instance) + "," +
                  SizeFields(width, height) + ",\"role\":\"" +
                  (subscriber ? "subscriber" : "control") + "\"}");
}

Payload BuildScreenEvent(uint32_t width, uint32_t height) {
  return FromText("{\"event\":\"screen\"," + SizeFields(width, height) + "}");
}

Payload BuildReplacedEvent() { return FromText("{\"event\":\"replaced\"}"); }

Payload BuildByeEvent() { return FromText("{\"event\":\"bye\"}"); }

std::optional<VideoHeader> ReadVideoHeader(std::span<const uint8_t> message) {
  if (message.size() < kVideoHeaderBytes || message[0] != kKindVideo) return std::nullopt;
  VideoHeader header;
  header.keyFrame = (message[1] & 1) != 0;
  header.sequence = static_cast<uint32_t>(Read(message, 4, 4));
  header.timestampMs = static_cast<int64_t>(Read(message, 8, 8));
  header.handedOverUs = static_cast<int64_t>(Read(message, 16, 8));
  return header;
}

std::optional<std::span<const uint8_t>> ReadHostControlBody(std::span<const uint8_t> message) {
  if (message.size() < kControlHeaderBytes || message[0] != kKindControl) return std::nullopt;
  return message.subspan(kControlHeaderBytes);
}

Bytes BuildViewerControlMessage(std::string_view body) {
  Bytes message;
  message.reserve(1 + body.size());
  message.push_back(kKindControl);
  message.insert(message.end(), body.begin(), body.end());
  return message;
}

std::optional<Bytes> BuildViewerLabelledMessage(std::string_view label, std::string_view body) {
  if (label.size() > kMaxLabelBytes) return std::nullopt;
  Bytes message;
  message.reserve(2 + label.size() + body.size());
  message.push_back(kKindLabelled);
  message.push_back(static_cast<uint8_t>(label.size()));
  message.insert(message.end(), label.begin(), label.end());
  message.insert(message.end(), body.begin(), body.end());
  return message;
}

}  // namespace talu::loopback
