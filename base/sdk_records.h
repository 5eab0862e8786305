// The records that cross the boundary to the streaming library, field by field in its binary
// layout: 64-bit, little-endian, natural alignment. docs/streaming-library.md describes the
// boundary.
#pragma once

#include <cstddef>
#include <cstdint>

namespace talu {

// Error code 0 of every call that returns one.
constexpr int32_t kSdkOk = 0;

// The label of every control message, both ways.
constexpr char kControlLabel[] = "desktop_input";

// The library's own session; never looked into.
using SdkSessionHandle = void*;

// What a subscriber asks for. A value of 0 or below is not given. Rates in kbit/s.
struct SdkStreamRequest {
  int32_t width;
  int32_t height;
  int32_t fps;
  int32_t maxKbps;
  int32_t minKbps;
};

// A control message, sent or received. The payload is not NUL-terminated.
struct SdkCustomMessage {
  const char* label;
  const uint8_t* payload;
  uint32_t payloadLength;
  uint32_t reserved;
};

// Names the positions that the host ignores by their type alone.
using SdkErrorCallback = void (*)(SdkSessionHandle, int32_t code, const char* text, void* user);
using SdkLogCallback = void (*)(SdkSessionHandle, const char* text, void* user);
using SdkSubscriberConnectedCallback = void (*)(SdkSessionHandle, const void*, const void*,
                                                const SdkStreamRequest*, void* user);
using SdkSubscriberDisconnectedCallback = void (*)(SdkSessionHandle, const void*, const void*,
                                                   void* user);
using SdkKeyframeRequestCallback = SdkSubscriberDisconnectedCallback;
using SdkStreamProfileCallback = SdkSubscriberConnectedCallback;
using SdkScreenInfoRequestCallback = void (*)(SdkSessionHandle, void* user);
using SdkCustomMessageCallback = void (*)(SdkSessionHandle, const SdkCustomMessage*, void* user);
using SdkEmptyCallback = void (*)();

// Given to tcar_global_init. No slot is ever null, so that the library may call any of them.
struct SdkGlobalConfig {
  int32_t appId;
  uint32_t reservedAt4;
  SdkErrorCallback onError;
  SdkEmptyCallback emptyAt16[2];
  SdkSubscriberConnectedCallback onSubscriberConnected;
  SdkSubscriberDisconnectedCallback onSubscriberDisconnected;
  SdkEmptyCallback emptyAt48[7];
  SdkCustomMessageCallback onCustomMessage;
  SdkEmptyCallback emptyAt112;
  SdkKeyframeRequestCallback onKeyframeRequest;
  SdkStreamProfileCallback onSetStreamProfile;
  SdkEmptyCallback emptyAt136;
  SdkScreenInfoRequestCallback onScreenInfoRequest;
  uint32_t flagAt152;
  uint32_t reservedAt156;
  SdkLogCallback onLog;
  void* user;
};

// Given to tcar_session_create. Texts are NUL-terminated, the expiry in ms since 1970 UTC.
struct SdkSessionParams {
  const char* instanceId;
  const char* token;
  const char* accessInfo;
  int64_t expiredAtMs;
  int32_t width;
  int32_t height;
  uint32_t flagAt40;
  uint32_t reservedAt44;
};

constexpr uint32_t kSdkCodecH264 = 1;
constexpr uint32_t kSdkFrameTypeKey = 0;
constexpr uint32_t kSdkFrameTypeOther = 1;

// Given to tcar_session_send_encoded_video_frame. The time stamp counts milliseconds from the start
// of the stream loop.
struct SdkVideoFrame {
  uint32_t codec;
  uint32_t reservedAt4;
  uint32_t frameType;
  uint32_t reservedAt12;
  const uint8_t* bytes;
  uint32_t length;
  uint32_t reservedAt28;
  int64_t timestampMs;
};

// Given to tcar_set_screen_info.
struct SdkScreenInfo {
  uint32_t width;
  uint32_t height;
  uint32_t flag;
  uint32_t reserved;
};

static_assert(offsetof(SdkGlobalConfig, onError) == 8);
static_assert(offsetof(SdkGlobalConfig, emptyAt16) == 16);
static_assert(offsetof(SdkGlobalConfig, onSubscriberConnected) == 32);
static_assert(offsetof(SdkGlobalConfig, onSubscriberDisconnected) == 40);
static_assert(offsetof(SdkGlobalConfig, emptyAt48) == 48);
static_assert(offsetof(SdkGlobalConfig, onCustomMessage) == 104);
static_assert(offsetof(SdkGlobalConfig, emptyAt112) == 112);
static_assert(offsetof(SdkGlobalConfig, onKeyframeRequest) == 120);
static_assert(offsetof(SdkGlobalConfig, onSetStreamProfile) == 128);
static_assert(offsetof(SdkGlobalConfig, emptyAt136) == 136);
static_assert(offsetof(SdkGlobalConfig, onScreenInfoRequest) == 144);
static_assert(offsetof(SdkGlobalConfig, flagAt152) == 152);
static_assert(offsetof(SdkGlobalConfig, reservedAt156) == 156);
static_assert(offsetof(SdkGlobalConfig, onLog) == 160);
static_assert(offsetof(SdkGlobalConfig, user) == 168);
static_assert(sizeof(SdkGlobalConfig) == 176);

static_assert(offsetof(SdkSessionParams, expiredAtMs) == 24);
static_assert(offsetof(SdkSessionParams, width) == 32);
static_assert(offsetof(SdkSessionParams, height) == 36);
static_assert(offsetof(SdkSessionParams, flagAt40) == 40);
static_assert(offsetof(SdkSessionParams, reservedAt44) == 44);
static_assert(sizeof(SdkSessionParams) == 48);

static_assert(offsetof(SdkVideoFrame, frameType) == 8);
static_assert(offsetof(SdkVideoFrame, bytes) == 16);
static_assert(offsetof(SdkVideoFrame, length) == 24);
static_assert(offsetof(SdkVideoFrame, timestampMs) == 32);
static_assert(sizeof(SdkVideoFrame) == 40);

static_assert(offsetof(SdkCustomMessage, payload) == 8);
static_assert(offsetof(SdkCustomMessage, payloadLength) == 16);
static_assert(offsetof(SdkCustomMessage, reserved) == 20);
static_assert(sizeof(SdkCustomMessage) == 24);

static_assert(sizeof(SdkScreenInfo) == 16);
static_assert(sizeof(SdkStreamRequest) == 20);

}  // namespace talu
