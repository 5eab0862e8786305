// A stream over the bare machine (bare_machine.h), for driving the real stream loop: everything the
// loop is given, with a session open. Not for two at once.
#pragma once

#include "session/stream_loop.h"
#include "tests/fakes/bare_machine.h"

namespace talu {

class BareStream {
 public:
  // takeFrame gets every frame, on the loop's thread; null takes them all.
  explicit BareStream(decltype(StreamSdk::send_video_frame) takeFrame = nullptr) {
    if (takeFrame != nullptr) sdk.send_video_frame = takeFrame;
    SdkSessionHandle handle = nullptr;
    sdk.session_create(nullptr, &handle);
    session.Open(sdk, handle);
  }
  ~BareStream() { session.Close(); }
  BareStream(const BareStream&) = delete;
  BareStream& operator=(const BareStream&) = delete;

  // False when the screen or its encoder could not be had.
  bool Open(int32_t fps) {
    if (!screen.Open()) return false;
    screen.SetRates(fps, 8000, 0);
    return screen.BuildEncoder();
  }

  // Returns once somebody has cleared flags.streaming.
  void Run() {
    flags.streaming.store(true);
    StreamLoop(screen, flags, session, sdk);
  }

  SessionFlags flags;

 private:
  StreamSdk sdk = BareStreamSdk();
  SdkSession session;
  InputInjector input;
  StreamedScreen screen{flags, session, input};
};

}  // namespace talu
