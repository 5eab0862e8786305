#include "session/frame_sender.h"

#include "base/log.h"

namespace talu {
namespace {

// A broken link must not flood the log.
constexpr uint32_t kLoggedSendFailures = 5;

}  // namespace

void FrameSender::OnEncodedFrame(const uint8_t* bytes, uint32_t length, bool keyFrame,
                                 int64_t timestampMs) {
  ++encoded;
  if (!session.IsOpen() || length == 0) {
    return;
  }
  if (flags.awaitKeyframe.load()) {
    if (!keyFrame) {
      return;
    }
    flags.awaitKeyframe.store(false);
  }
  const SdkVideoFrame frame{
      kSdkCodecH264, 0, keyFrame ? kSdkFrameTypeKey : kSdkFrameTypeOther, 0, bytes, length, 0,
      timestampMs};
  const std::optional<int32_t> result = session.SendVideoFrame(frame);
  if (result) {
    CountResult(*result, length, keyFrame, timestampMs);
  }
}

void FrameSender::CountResult(int32_t result, uint32_t length, bool keyFrame, int64_t timestampMs) {
  if (result == kSdkOk) {
    ++sent_ok;
    return;
  }
  ++sent_err;
  if (sent_err <= kLoggedSendFailures) {
    LogPrintf("[agent] 送帧失败: %s (len=%u ts=%lld key=%d)\n", sdk.ErrorText(result), length,
              static_cast<long long>(timestampMs), keyFrame ? 1 : 0);
  }
}

}  // namespace talu
