#include "session/sdk_callbacks.h"

#include <algorithm>
#include <cstring>
#include <new>
#include <string>

#include "base/log.h"
#include "session/push_session.h"

namespace talu {
namespace {

PushSession& SessionOf(void* user) { return *static_cast<PushSession*>(user); }

void OnNothing() {}

void OnSdkError(SdkSessionHandle, int32_t code, const char* text, void*) {
  LogPrintf("[tcar] error %d: %s\n", code, text == nullptr ? "" : text);
}

// The library repeats these lines all the time.
bool IsScreenInfoChatter(const char* text) {
  return std::strstr(text, "set screen info") != nullptr ||
         std::strstr(text, "SetScreenInfo") != nullptr;
}

void OnSdkLog(SdkSessionHandle, const char* text, void*) {
  if (text != nullptr && !IsScreenInfoChatter(text)) {
    LogPrintf("[tcar] %s\n", text);
  }
}

void OnSubscriberConnected(SdkSessionHandle, const void*, const void*,
                           const SdkStreamRequest* request, void* user) {
  if (request != nullptr) {
    SessionOf(user).StartStreaming(request->fps, request->maxKbps, request->minKbps);
  }
}

void OnSubscriberDisconnected(SdkSessionHandle, const void*, const void*, void* user) {
  SessionOf(user).StopStreaming();
}

void OnKeyframeRequest(SdkSessionHandle, const void*, const void*, void* user) {
  SessionOf(user).OnKeyframeRequest();
}

void OnSetStreamProfile(SdkSessionHandle, const void*, const void*, const SdkStreamRequest* request,
                        void* user) {
  SessionOf(user).OnSetStreamProfile(request);
}

void OnScreenInfoRequest(SdkSessionHandle, void* user) { SessionOf(user).OnScreenInfoRequest(); }

// Both texts are copied: they are the library's, and handling may take a while. No exception may
// cross into the library, and a huge message may well find no memory.
void OnSdkCustomMessage(SdkSessionHandle, const SdkCustomMessage* message, void* user) {
  if (message == nullptr || message->label == nullptr || message->payload == nullptr) {
    return;
  }
  try {
    const std::string label(message->label);
    const std::string body(reinterpret_cast<const char*>(message->payload), message->payloadLength);
    SessionOf(user).OnCustomMessage(label, body);
  } catch (const std::bad_alloc&) {
    LogPrintf("[agent] custom message of %u bytes dropped: out of memory\n",
              message->payloadLength);
  }
}

}  // namespace

SdkGlobalConfig MakeGlobalConfig(int32_t appId, PushSession& session) {
  SdkGlobalConfig config{};
  config.appId = appId;
  config.onError = OnSdkError;
  std::fill(std::begin(config.emptyAt16), std::end(config.emptyAt16), OnNothing);
  config.onSubscriberConnected = OnSubscriberConnected;
  config.onSubscriberDisconnected = OnSubscriberDisconnected;
  std::fill(std::begin(config.emptyAt48), std::end(config.emptyAt48), OnNothing);
  config.onCustomMessage = OnSdkCustomMessage;
  config.emptyAt112 = OnNothing;
  config.onKeyframeRequest = OnKeyframeRequest;
  config.onSetStreamProfile = OnSetStreamProfile;
  config.emptyAt136 = OnNothing;
  config.onScreenInfoRequest = OnScreenInfoRequest;
  config.flagAt152 = 1;
  config.onLog = OnSdkLog;
  config.user = &session;
  return config;
}

}  // namespace talu
