#include "devkit/loopback/record_checks.h"

#include <algorithm>
#include <iterator>
#include <string_view>

#include "devkit/loopback/wire.h"

namespace talu::loopback {
namespace {

bool HasEmptySlot(const SdkGlobalConfig& config) {
  const auto isNull = [](SdkEmptyCallback slot) { return slot == nullptr; };
  return std::any_of(std::begin(config.emptyAt16), std::end(config.emptyAt16), isNull) ||
         std::any_of(std::begin(config.emptyAt48), std::end(config.emptyAt48), isNull) ||
         config.emptyAt112 == nullptr || config.emptyAt136 == nullptr ||
         config.onError == nullptr || config.onSubscriberConnected == nullptr ||
         config.onSubscriberDisconnected == nullptr || config.onCustomMessage == nullptr ||
         config.onKeyframeRequest == nullptr || config.onSetStreamProfile == nullptr ||
         config.onScreenInfoRequest == nullptr || config.onLog == nullptr;
}

constexpr uint32_t kLongestSide = 16384;

bool IsPictureSize(int64_t width, int64_t height) {
  return width > 0 && height > 0 && width <= kLongestSide && height <= kLongestSide;
}

}  // namespace

const char* CheckGlobalConfig(const SdkGlobalConfig* config) {
  if (config == nullptr) return "SdkGlobalConfig: null";
  if (HasEmptySlot(*config)) return "SdkGlobalConfig: a callback slot is null";
  if (config->flagAt152 != 1) return "SdkGlobalConfig: the flag at 152 is not 1";
  if (config->reservedAt4 != 0) return "SdkGlobalConfig: the reserved field at 4 is not 0";
  if (config->reservedAt156 != 0) return "SdkGlobalConfig: the reserved field at 156 is not 0";
  return nullptr;
}

const char* CheckSessionParams(const SdkSessionParams* params) {
  if (params == nullptr) return "SdkSessionParams: null";
  if (params->instanceId == nullptr) return "SdkSessionParams: the instance id is null";
  if (params->token == nullptr) return "SdkSessionParams: the token is null";
  if (params->accessInfo == nullptr) return "SdkSessionParams: the access info is null";
  if (!IsPictureSize(params->width, params->height)) {
    return "SdkSessionParams: the picture size is out of range";
  }
  if (params->flagAt40 != 1) return "SdkSessionParams: the flag at 40 is not 1";
  if (params->reservedAt44 != 0) return "SdkSessionParams: the reserved field at 44 is not 0";
  return nullptr;
}

const char* CheckVideoFrame(const SdkVideoFrame* frame) {
  if (frame == nullptr) return "SdkVideoFrame: null";
  if (frame->codec != kSdkCodecH264) return "SdkVideoFrame: the codec is not 1";
  if (frame->frameType != kSdkFrameTypeKey && frame->frameType != kSdkFrameTypeOther) {
    return "SdkVideoFrame: the frame type is neither 0 nor 1";
  }
  if (frame->reservedAt4 != 0) return "SdkVideoFrame: the reserved field at 4 is not 0";
  if (frame->reservedAt12 != 0) return "SdkVideoFrame: the reserved field at 12 is not 0";
  if (frame->reservedAt28 != 0) return "SdkVideoFrame: the reserved field at 28 is not 0";
  if (frame->bytes == nullptr || frame->length == 0) return "SdkVideoFrame: no bytes";
  if (frame->length > kMaxBodyBytes) return "SdkVideoFrame: more than 64 MiB";
  if (frame->timestampMs < 0) return "SdkVideoFrame: the time stamp is negative";
  return nullptr;
}

const char* CheckCustomMessage(const SdkCustomMessage* message) {
  if (message == nullptr) return "SdkCustomMessage: null";
  if (message->label == nullptr) return "SdkCustomMessage: the label is null";
  if (message->payload == nullptr) return "SdkCustomMessage: the payload is null";
  if (message->payloadLength > kMaxBodyBytes) return "SdkCustomMessage: more than 64 MiB";
  if (message->reserved != 0) return "SdkCustomMessage: the reserved field at 20 is not 0";
  if (std::string_view(message->label) != kControlLabel) {
    return "SdkCustomMessage: the label is not desktop_input";
  }
  return nullptr;
}

const char* CheckScreenInfo(const SdkScreenInfo* info) {
  if (info == nullptr) return "SdkScreenInfo: null";
  if (!IsPictureSize(info->width, info->height)) {
    return "SdkScreenInfo: the picture size is out of range";
  }
  if (info->flag != 1) return "SdkScreenInfo: the flag at 8 is not 1";
  if (info->reserved != 0) return "SdkScreenInfo: the reserved field at 12 is not 0";
  return nullptr;
}

}  // namespace talu::loopback
