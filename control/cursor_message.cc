#include "control/cursor_message.h"

#include <cstdint>

#include "control/message_limit.h"

namespace talu {
namespace {

void AppendLittleEndian(std::string& message, int32_t number) {
  const auto bits = static_cast<uint32_t>(number);
  for (const int shift : {0, 8, 16, 24}) {
    message.push_back(static_cast<char>(bits >> shift & 0xFF));
  }
}

}  // namespace

std::string BuildCursorMessage(const CursorUpdate& cursor) {
  std::string message;
  message.reserve(kCursorHeaderBytes + cursor.image.size());
  message.push_back(static_cast<char>(kCursorMarker));
  message.push_back(cursor.visible ? 1 : 0);
  AppendLittleEndian(message, cursor.width);
  AppendLittleEndian(message, cursor.height);
  AppendLittleEndian(message, cursor.hotSpotX);
  AppendLittleEndian(message, cursor.hotSpotY);
  return message.append(cursor.image.begin(), cursor.image.end());
}

void SendCursorShape(SdkSession& session, const CursorUpdate& cursor) {
  if (!session.IsOpen() || kCursorHeaderBytes + cursor.image.size() > kMaxMessageBytes) {
    return;
  }
  // False means that the session has just closed, when nobody is left to see the pointer.
  (void)session.SendControlMessage(BuildCursorMessage(cursor));
}

}  // namespace talu
