#include "base/sdk_session.h"

namespace talu {

void SdkSession::Open(const StreamSdk& sdk, SdkSessionHandle session) {
  table.store(&sdk);
  handle.store(session);
}

SdkSessionHandle SdkSession::Close() {
  GateClosing closing(gate);
  return handle.exchange(nullptr);
}

bool SdkSession::SendControlMessage(std::string_view body) {
  GatePass pass(gate);
  const SdkSessionHandle session = handle.load();
  if (!pass || session == nullptr) {
    return false;
  }
  const SdkCustomMessage message{kControlLabel, reinterpret_cast<const uint8_t*>(body.data()),
                                 static_cast<uint32_t>(body.size()), 0};
  table.load()->send_custom_message(session, &message);
  return true;
}

std::optional<int32_t> SdkSession::SendVideoFrame(const SdkVideoFrame& frame) {
  GatePass pass(gate);
  const SdkSessionHandle session = handle.load();
  if (!pass || session == nullptr) {
    return std::nullopt;
  }
  return table.load()->send_video_frame(session, &frame);
}

void SdkSession::SetScreenInfo(uint32_t width, uint32_t height) {
  GatePass pass(gate);
  const SdkSessionHandle session = handle.load();
  if (!pass || session == nullptr) {
    return;
  }
  const SdkScreenInfo info{width, height, 1, 0};
  table.load()->set_screen_info(session, &info);
}

}  // namespace talu
