// The one object that ties the host together: the library's session, the streamed screen, the
// stream thread, the clipboard and the control channel, and the flags through which they talk.
//
// Owned by main, which calls Start once, waits, and calls Stop. Streaming begins when a controller
// subscribes and ends when it leaves. Everything else is called by the library's threads, several
// at once and at any moment, also while Start or Stop runs.
#pragma once

#include <cstdint>
#include <string_view>
#include <thread>

#include "base/host_config.h"
#include "base/sdk_session.h"
#include "base/session_flags.h"
#include "clipboard/clipboard_sync.h"
#include "control/control_channel.h"
#include "input/input_injector.h"
#include "session/streamed_screen.h"
#include "session/streaming_phase.h"

namespace talu {

class PushSession {
 public:
  PushSession();
  ~PushSession();
  PushSession(const PushSession&) = delete;
  PushSession& operator=(const PushSession&) = delete;

  // Loads the library, opens the first screen, creates the library's session and starts the
  // clipboard watcher. False at the first step that fails, after that step's log line; what runs by
  // then ends with Stop or the destructor.
  bool Start(const HostConfig& config);

  // Ends the stream, the clipboard watcher and the library's session, in this order. Nothing
  // streams afterwards, whatever the library still calls. May be called more than once.
  void Stop();

  // A subscriber connected. Frames per second and rates in kbit/s; an fps or maximum of 0 or below
  // means the default. While a stream runs it only gets a key frame.
  void StartStreaming(int32_t fps, int32_t maxKbps, int32_t minKbps);

  // The subscriber left. Returns when the stream thread has ended, unless called on that thread.
  void StopStreaming();

  void OnKeyframeRequest();
  void OnSetStreamProfile(const SdkStreamRequest* request);
  void OnScreenInfoRequest();
  void OnCustomMessage(std::string_view label, std::string_view body);

 private:
  void RunSelfTest() const;
  bool CreateSdkSession(const HostConfig& config);
  bool BuildEncoderForSubscriber();
  bool StartStreamThread();
  void JoinEndedStream();
  // True when the switch was left to the stream thread, false when it is done.
  bool SwitchScreen(int32_t index);
  ControlActions MakeControlActions();

  SessionFlags flags;
  SdkSession session;
  InputInjector input;
  StreamedScreen screen;
  ClipboardSync clipboard;
  ControlChannel control;
  StreamingPhase phase;
  // Touched only by whoever holds a change of `phase`.
  std::thread streamThread;
  // The running stream thread, for StopStreaming to know itself by.
  std::atomic<std::thread::id> streamThreadId{};
};

}  // namespace talu
