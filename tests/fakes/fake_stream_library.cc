#include "tests/fakes/fake_stream_library.h"

#include <algorithm>
#include <atomic>
#include <cstdlib>

#include "session/dynamic_library.h"

namespace talu {
namespace {

FakeStreamLibrary& Library() { return FakeStreamLibrary::Get(); }

int theSession = 0;
std::atomic<bool> sessionAlive{false};

// The host must never use a session that does not exist.
void Expect(SdkSessionHandle session) {
  if (session != &theSession || !sessionAlive.load()) std::abort();
}

int32_t GlobalInit(const SdkGlobalConfig* config) {
  Library().config = *config;
  Library().Note("global_init");
  return Library().initResult;
}

void GlobalCleanup() { Library().Note("global_cleanup"); }

int32_t SessionCreate(const SdkSessionParams* params, SdkSessionHandle* session) {
  FakeStreamLibrary& library = Library();
  library.params = *params;
  library.instanceId = params->instanceId;
  library.token = params->token;
  library.accessInfo = params->accessInfo;
  library.Note("session_create");
  if (library.createResult == 0) {
    sessionAlive.store(true);
    *session = &theSession;
    if (library.duringCreate) {
      library.duringCreate();
    }
  }
  return library.createResult;
}

void SessionDestroy(SdkSessionHandle session) {
  Expect(session);
  if (Library().duringDestroy) {
    Library().duringDestroy();
  }
  sessionAlive.store(false);
  Library().Note("session_destroy");
}

int32_t SendVideoFrame(SdkSessionHandle session, const SdkVideoFrame* frame) {
  Expect(session);
  if (Library().duringSend) {
    Library().duringSend();
  }
  Library().KeepFrame(*frame);
  return Library().sendResult.load();
}

int32_t SendCustomMessage(SdkSessionHandle session, const SdkCustomMessage* message) {
  Expect(session);
  Library().KeepMessage(*message);
  return 0;
}

int32_t SetScreenInfo(SdkSessionHandle session, const SdkScreenInfo* info) {
  Expect(session);
  Library().Note("set_screen_info " + std::to_string(info->width) + "x" +
                 std::to_string(info->height) + " " + std::to_string(info->flag));
  return 0;
}

const char* StrErr(int32_t code) { return code == 7 ? "seven went wrong" : "unknown error"; }

struct Export {
  const char* name;
  void* function;
};

const Export kExports[] = {
    {"tcar_global_init", reinterpret_cast<void*>(GlobalInit)},
    {"tcar_global_cleanup", reinterpret_cast<void*>(GlobalCleanup)},
    {"tcar_session_create", reinterpret_cast<void*>(SessionCreate)},
    {"tcar_session_destroy", reinterpret_cast<void*>(SessionDestroy)},
    {"tcar_session_send_encoded_video_frame", reinterpret_cast<void*>(SendVideoFrame)},
    {"tcar_session_send_custom_message", reinterpret_cast<void*>(SendCustomMessage)},
    {"tcar_set_screen_info", reinterpret_cast<void*>(SetScreenInfo)},
    {"tcar_str_err", reinterpret_cast<void*>(StrErr)},
};

}  // namespace

void* OpenLibrary(const wchar_t* fileName) {
  if (!Library().present || std::wstring(fileName) != L"libtcar_sdk.dll") {
    return nullptr;
  }
  Library().Note("load");
  return &Library();
}

void* FindLibrarySymbol(void*, const char* name) {
  Library().Note(std::string("find ") + name);
  if (Library().missingSymbols.contains(name)) {
    return nullptr;
  }
  const auto* found = std::find_if(std::begin(kExports), std::end(kExports),
                                   [name](const Export& e) { return std::string(e.name) == name; });
  return found == std::end(kExports) ? nullptr : found->function;
}

void CloseLibrary(void*) { Library().Note("unload"); }

unsigned long LastLibraryError() { return 126; }

FakeStreamLibrary& FakeStreamLibrary::Get() {
  static FakeStreamLibrary library;
  return library;
}

void FakeStreamLibrary::Reset() {
  present = true;
  missingSymbols.clear();
  initResult = 0;
  createResult = 0;
  sendResult.store(0);
  duringSend = nullptr;
  duringCreate = nullptr;
  duringDestroy = nullptr;
  config = {};
  params = {};
  const std::lock_guard hold(lock);
  calls.clear();
  frames.clear();
  messages.clear();
}

std::vector<std::string> FakeStreamLibrary::Calls() {
  const std::lock_guard hold(lock);
  return calls;
}

std::vector<SentFrame> FakeStreamLibrary::Frames() {
  const std::lock_guard hold(lock);
  return frames;
}

size_t FakeStreamLibrary::FrameCount() {
  const std::lock_guard hold(lock);
  return frames.size();
}

std::vector<std::string> FakeStreamLibrary::Messages() {
  const std::lock_guard hold(lock);
  return messages;
}

int FakeStreamLibrary::OpenLibraryCalls() {
  const std::lock_guard hold(lock);
  return static_cast<int>(std::count(calls.begin(), calls.end(), "load"));
}

void FakeStreamLibrary::Subscribe(int32_t fps, int32_t maxKbps, int32_t minKbps) {
  const SdkStreamRequest request{0, 0, fps, maxKbps, minKbps};
  config.onSubscriberConnected(&theSession, nullptr, nullptr, &request, config.user);
}

void FakeStreamLibrary::Unsubscribe() {
  config.onSubscriberDisconnected(&theSession, nullptr, nullptr, config.user);
}

void FakeStreamLibrary::RequestKeyframe() {
  config.onKeyframeRequest(&theSession, nullptr, nullptr, config.user);
}

void FakeStreamLibrary::SetProfile(int32_t fps, int32_t maxKbps, int32_t minKbps) {
  const SdkStreamRequest request{0, 0, fps, maxKbps, minKbps};
  config.onSetStreamProfile(&theSession, nullptr, nullptr, &request, config.user);
}

void FakeStreamLibrary::RequestScreenInfo() {
  config.onScreenInfoRequest(&theSession, config.user);
}

void FakeStreamLibrary::Say(const std::string& body, const std::string& label) {
  const SdkCustomMessage message{label.c_str(), reinterpret_cast<const uint8_t*>(body.data()),
                                 static_cast<uint32_t>(body.size()), 0};
  config.onCustomMessage(&theSession, &message, config.user);
}

void FakeStreamLibrary::Note(const std::string& call) {
  const std::lock_guard hold(lock);
  calls.push_back(call);
}

void FakeStreamLibrary::KeepFrame(const SdkVideoFrame& frame) {
  const std::lock_guard hold(lock);
  frames.push_back({frame, {frame.bytes, frame.bytes + frame.length}});
}

void FakeStreamLibrary::KeepMessage(const SdkCustomMessage& message) {
  const std::lock_guard hold(lock);
  messages.emplace_back(reinterpret_cast<const char*>(message.payload), message.payloadLength);
}

}  // namespace talu
