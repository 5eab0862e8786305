#include "session/stream_loop.h"

#include "base/clock.h"
#include "base/log.h"
#include "capture/desktop_repaint.h"
#include "control/cursor_message.h"
#include "session/even_picture.h"
#include "session/frame_grab.h"
#include "session/frame_pacing.h"
#include "session/frame_sender.h"

namespace talu {
namespace {

constexpr int64_t kPausedNapMs = 100;
constexpr uint32_t kGrabTimeoutMs = 50;
constexpr uint32_t kDetailedLoops = 3;
constexpr uint32_t kStatisticsEveryLoops = 60;
constexpr uint32_t kFirstFrameLogEvery = 60;
constexpr uint32_t kHastenEveryWaits = 20;

// One run of the stream thread. Counters live and die with it; they wrap rather than overflow.
class StreamRun {
 public:
  StreamRun(StreamedScreen& streamedScreen, SessionFlags& sessionFlags, SdkSession& librarySession,
            const StreamSdk& sdk)
      : screen(streamedScreen),
        flags(sessionFlags),
        session(librarySession),
        sender(librarySession, sdk, sessionFlags),
        pacing(MonotonicNowNs(), streamedScreen.Fps()),
        onEncodedFrame([this](const uint8_t* data, uint32_t size, bool keyFrame, int64_t tsMs) {
          sender.OnEncodedFrame(data, size, keyFrame, tsMs);
        }) {}

  void Iterate() {
    if (flags.paused.load()) {
      SleepForMs(kPausedNapMs);
      return;
    }
    PerformPendingSwitch();
    screen.BuildRequestedEncoder();
    SleepForMs(pacing.WaitMs(MonotonicNowNs()));
    CapturedFrame current = Grab();
    if (current.valid) {
      last = current;
      waits = 0;
      screen.AdoptFrame(current);
    } else if (last.valid) {
      current = last;
    } else {
      LogFirstFrameWait();
      HastenFirstFrame();
      return;
    }
    const int64_t timestampMs = pacing.TakeSlot(MonotonicNowNs());
    Encode(current, timestampMs);
    SendChangedCursor();
    LogStatistics();
  }

  void LogExit() const { LogCounters("[agent] StreamLoop exit:"); }

 private:
  void PerformPendingSwitch() {
    const int32_t index = flags.pendingScreen.exchange(kNoPendingScreen);
    if (index < 0) {
      return;
    }
    screen.SwitchScreen(index);
    // No picture of the old screen may follow.
    last = CapturedFrame{};
  }

  CapturedFrame Grab() {
    ScreenCapturer& capturer = screen.Capturer();
    const CapturedFrame frame = last.valid ? capturer.CaptureFrame(kGrabTimeoutMs)
                                           : GrabForTheWholeTime(capturer, kGrabTimeoutMs);
    ++loops;
    if (loops <= kDetailedLoops) {
      LogPrintf("[agent] loop#%d capture valid=%d %dx%d\n", static_cast<int>(loops),
                frame.valid ? 1 : 0, frame.width, frame.height);
    }
    if (!frame.valid) {
      ++reused;
    }
    return frame;
  }

  void LogFirstFrameWait() const {
    if (reused % kFirstFrameLogEvery == 1) {
      LogPrintf("[agent] 尚未采到首帧 (累计 %d 次)\n", static_cast<int>(reused));
    }
  }

  // An earlier run has taken the picture of a desktop that shows nothing new since. A repaint
  // reaches what stands on the monitor, access opened anew an empty one.
  void HastenFirstFrame() {
    if (waits++ % kHastenEveryWaits == 0) {
      ProvokeDesktopRepaint();
      screen.Capturer().StartAfresh();
    }
  }

  void Encode(const CapturedFrame& frame, int64_t timestampMs) {
    H264Encoder* encoder = screen.Encoder();
    const bool fits = encoder != nullptr && encoder->width == EvenSide(frame.width) &&
                      encoder->height == EvenSide(frame.height);
    if (!fits) {
      return;
    }
    if (flags.forceKeyframe.exchange(false)) {
      encoder->ForceKeyFrame();
    }
    if (sender.Encoded() == 0 && loops <= kDetailedLoops) {
      LogPrintf("[agent] 进入首帧 Encode...\n");
      FlushLog();
    }
    // A dropped picture is the encoder's to report; the next one follows.
    encoder->Encode(picture.Pixels(frame), timestampMs, onEncodedFrame);
  }

  void SendChangedCursor() {
    if (flags.controllerActive.load() && screen.Capturer().TakeCursorUpdate(cursor)) {
      SendCursorShape(session, cursor);
    }
  }

  void LogStatistics() const {
    if (loops % kStatisticsEveryLoops == 0) {
      LogCounters("[agent] push stats:");
    }
  }

  void LogCounters(const char* intro) const {
    LogPrintf("%s loops=%d reused=%d encoded=%d sent_ok=%d sent_err=%d\n", intro,
              static_cast<int>(loops), static_cast<int>(reused), sender.Encoded(), sender.SentOk(),
              sender.SentErr());
  }

  StreamedScreen& screen;
  SessionFlags& flags;
  SdkSession& session;
  FrameSender sender;
  FramePacing pacing;
  const EncodedFrameCallback onEncodedFrame;
  CapturedFrame last;
  EvenPicture picture;
  CursorUpdate cursor;
  uint32_t loops = 0;   // rounds that grabbed
  uint32_t reused = 0;  // grabs without a new frame
  uint32_t waits = 0;   // those in a row that had no last frame either
};

}  // namespace

void StreamLoop(StreamedScreen& screen, SessionFlags& flags, SdkSession& session,
                const StreamSdk& sdk) {
  LogPrintf("[agent] StreamLoop 线程已进入，开始采集/编码循环\n");
  FlushLog();
  StreamRun run(screen, flags, session, sdk);
  while (flags.streaming.load()) {
    run.Iterate();
  }
  run.LogExit();
}

}  // namespace talu
