#include "session/push_session.h"

#include <system_error>

#include "base/log.h"
#include "encoder/hardware_self_test.h"
#include "session/even_picture.h"
#include "session/frame_pacing.h"
#include "session/sdk_callbacks.h"
#include "session/stream_loop.h"
#include "session/stream_sdk_loader.h"

namespace talu {
namespace {

constexpr int32_t kDefaultMaxKbps = 8000;

}  // namespace

PushSession::PushSession()
    : screen(flags, session, input),
      clipboard(flags, session),
      control(flags, MakeControlActions()) {}

PushSession::~PushSession() { Stop(); }

bool PushSession::Start(const HostConfig& config) {
  LogPrintf("[tcar] Start enter, instance_id=%s app_id=%d\n", config.instance_id.c_str(),
            config.app_id);
  FlushLog();
  if (!LoadStreamSdk()) {
    LogPrintf("[tcar] SDK 动态加载失败，无法推流\n");
    return false;
  }
  if (!screen.Open()) {
    return false;
  }
  RunSelfTest();
  if (!CreateSdkSession(config)) {
    return false;
  }
  clipboard.Start();
  LogPrintf("[tcar] session created, instance_id=%s, %dx%d — 等待操控端订阅\n",
            config.instance_id.c_str(), screen.Size().width, screen.Size().height);
  return true;
}

// Detached: it only sets flags for encoders built later, and the process may end while it runs.
void PushSession::RunSelfTest() const {
  const PictureSize size = screen.Size();
  std::thread([size] {
    RunHardwareEncoderSelfTest(EvenSide(size.width), EvenSide(size.height));
  }).detach();
}

bool PushSession::CreateSdkSession(const HostConfig& config) {
  const StreamSdk& sdk = ProcessStreamSdk();
  const SdkGlobalConfig global = MakeGlobalConfig(config.app_id, *this);
  const int32_t initialised = sdk.global_init(&global);
  if (initialised != kSdkOk) {
    LogPrintf("[tcar] global_init failed: %s\n", sdk.ErrorText(initialised));
    return false;
  }
  const PictureSize size = screen.Size();
  const SdkSessionParams params{config.instance_id.c_str(),
                                config.token.c_str(),
                                config.access_info.c_str(),
                                config.expired_at_ms,
                                size.width,
                                size.height,
                                1,
                                0};
  SdkSessionHandle handle = nullptr;
  const int32_t created = sdk.session_create(&params, &handle);
  if (created != kSdkOk) {
    LogPrintf("[tcar] session_create failed: %s\n", sdk.ErrorText(created));
    sdk.global_cleanup();
    return false;
  }
  session.Open(sdk, handle);
  return true;
}

void PushSession::Stop() {
  do {
    StopStreaming();
  } while (!phase.TryClose());
  clipboard.Stop();
  const SdkSessionHandle handle = session.Close();
  if (handle != nullptr) {
    ProcessStreamSdk().session_destroy(handle);
    ProcessStreamSdk().global_cleanup();
  }
}

void PushSession::StartStreaming(int32_t fps, int32_t maxKbps, int32_t minKbps) {
  flags.paused.store(false);
  flags.RequestKeyframe();
  JoinEndedStream();
  if (!phase.BeginStart()) {
    screen.RequestEncoder();
    return;
  }
  screen.SetRates(fps > 0 ? fps : kDefaultFps, maxKbps > 0 ? maxKbps : kDefaultMaxKbps, minKbps);
  phase.EndStart(BuildEncoderForSubscriber() && StartStreamThread());
}

bool PushSession::BuildEncoderForSubscriber() {
  const int32_t askedFps = screen.Fps();
  if (!screen.BuildEncoder()) {
    LogPrintf("[agent] H.264 编码器初始化失败\n");
    return false;
  }
  if (screen.Fps() != askedFps) {
    LogPrintf("[agent] 编码器降载: %d -> %d fps\n", askedFps, screen.Fps());
  }
  return true;
}

bool PushSession::StartStreamThread() {
  flags.streaming.store(true);
  try {
    streamThread = std::thread([this] {
      streamThreadId.store(std::this_thread::get_id());
      StreamLoop(screen, flags, session, ProcessStreamSdk());
      streamThreadId.store({});
    });
  } catch (const std::system_error& error) {
    LogPrintf("[agent] stream thread not started: %s\n", error.what());
    flags.streaming.store(false);
    screen.DropEncoder();
    return false;
  }
  const PictureSize size = screen.Size();
  LogPrintf("[agent] subscriber connected, START pushing %dx%d@%dfps\n", size.width, size.height,
            screen.Fps());
  return true;
}

void PushSession::StopStreaming() {
  // A thread cannot join itself. It ends by itself now; the next start, switch or stop joins it.
  if (streamThreadId.load() == std::this_thread::get_id()) {
    flags.streaming.store(false);
    return;
  }
  if (!phase.BeginStop()) {
    return;
  }
  flags.streaming.store(false);
  streamThread.join();
  screen.DropEncoder();
  phase.EndStop();
}

// A stream that was stopped from its own thread still has that thread and its encoder.
void PushSession::JoinEndedStream() {
  if (phase.IsStreaming() && !flags.streaming.load()) {
    StopStreaming();
  }
}

void PushSession::OnKeyframeRequest() {
  if (flags.paused.exchange(false)) {
    LogPrintf("[agent] keyframe request -> resume encoding\n");
  }
  flags.RequestKeyframe();
}

void PushSession::OnSetStreamProfile(const SdkStreamRequest* request) {
  if (request == nullptr) {
    return;
  }
  LogPrintf("[agent] set_stream_profile: fps=%d max=%d min=%d kbps (streaming=%d)\n", request->fps,
            request->maxKbps, request->minKbps, flags.streaming.load() ? 1 : 0);
  if (request->fps > 0) {
    screen.SetFps(request->fps);
  }
  if (request->minKbps > 0) {
    screen.SetMinKbps(request->minKbps);
  }
  if (request->maxKbps > 0) {
    screen.SetMaxKbps(request->maxKbps);
  }
}

void PushSession::OnScreenInfoRequest() {
  const PictureSize size = screen.Size();
  session.SetScreenInfo(static_cast<uint32_t>(size.width), static_cast<uint32_t>(size.height));
}

void PushSession::OnCustomMessage(std::string_view label, std::string_view body) {
  control.OnCustomMessage(label, body);
}

ControlActions PushSession::MakeControlActions() {
  ControlActions actions;
  actions.switchScreen = [this](int32_t index) { return SwitchScreen(index); };
  actions.sendScreensInfo = [this] { screen.SendScreens(); };
  actions.setClipboard = [this](std::string_view body, bool logThis) {
    clipboard.SetClipboardFromController(body, logThis);
  };
  actions.handleInput = [this](std::string_view body) { return input.HandleEvent(body); };
  actions.releaseAllInput = [this] { input.ReleaseAll(); };
  return actions;
}

bool PushSession::SwitchScreen(int32_t index) {
  while (!phase.IsClosed()) {
    if (flags.streaming.load()) {
      flags.pendingScreen.exchange(index);
      flags.paused.store(false);
      return true;
    }
    JoinEndedStream();
    if (phase.BeginSwitch()) {
      // An ended stream may have left an earlier switch to the next one.
      flags.pendingScreen.store(kNoPendingScreen);
      screen.SwitchScreen(index);
      phase.EndSwitch();
      return false;
    }
  }
  return false;
}

}  // namespace talu
