#include "session/streamed_screen.h"

#include <algorithm>

#include "base/clock.h"
#include "base/log.h"
#include "capture/desktop_repaint.h"
#include "control/screens_message.h"
#include "session/even_picture.h"
#include "session/frame_grab.h"

namespace talu {
namespace {

constexpr int kFirstFrameAttempts = 100;
constexpr int kRepaintEveryAttempts = 10;
constexpr uint32_t kFirstFrameTimeoutMs = 100;

}  // namespace

bool StreamedScreen::Open() {
  if (!capturer.Init(0)) {
    LogPrintf("[agent] 屏幕采集初始化失败\n");
    return false;
  }
  if (!WaitForFirstFrame()) {
    return false;
  }
  const ScreenInfo screen = DescribeScreen(capturer.CurrentOutput());
  input.SetScreenRect(Size().width, Size().height, screen.left, screen.top);
  return true;
}

// A desktop that shows nothing new gives no frame, so a repaint is provoked now and then.
bool StreamedScreen::WaitForFirstFrame() {
  for (int attempt = 1; attempt <= kFirstFrameAttempts; ++attempt) {
    const CapturedFrame frame = GrabForTheWholeTime(capturer, kFirstFrameTimeoutMs);
    if (frame.valid) {
      size.store({frame.width, frame.height});
      return true;
    }
    if (attempt % kRepaintEveryAttempts == 1) {
      ProvokeDesktopRepaint();
    }
  }
  return false;
}

// The listed screen of that index.
std::optional<ScreenInfo> StreamedScreen::FindScreen(uint32_t index) {
  const std::vector<ScreenInfo> screens = capturer.EnumerateScreens();
  const auto found = std::find_if(screens.begin(), screens.end(), [index](const ScreenInfo& entry) {
    return entry.index == index;
  });
  return found == screens.end() ? std::nullopt : std::optional(*found);
}

// Where the list does not have it: the session's size at the origin.
ScreenInfo StreamedScreen::DescribeScreen(uint32_t index) {
  ScreenInfo unknown;
  unknown.width = Size().width;
  unknown.height = Size().height;
  return FindScreen(index).value_or(unknown);
}

void StreamedScreen::SwitchScreen(int32_t index) {
  const auto output = static_cast<uint32_t>(index);
  if (!capturer.SelectOutput(output)) {
    LogPrintf("[agent] 切屏到 %d 失败，保持当前屏\n", index);
    SendScreens();
    return;
  }
  const ScreenInfo screen = DescribeScreen(output);
  const PictureSize newSize{screen.width, screen.height};
  ApplySize(newSize, screen.left, screen.top, newSize != Size());
  SendScreens();
  LogPrintf("[agent] 已切换到屏幕 %d (%dx%d @ %d,%d)\n", index, screen.width, screen.height,
            screen.left, screen.top);
}

void StreamedScreen::AdoptFrame(const CapturedFrame& frame) {
  const bool reopened = capturer.TakeReopening();
  const PictureSize newSize{frame.width, frame.height};
  if (newSize == Size()) {
    if (reopened) FollowMonitor();
    return;
  }
  const ScreenInfo screen = DescribeScreen(capturer.CurrentOutput());
  ApplySize(newSize, screen.left, screen.top, true);
  LogPrintf("[agent] picture size is now %dx%d\n", newSize.width, newSize.height);
}

void StreamedScreen::FollowMonitor() {
  if (const std::optional<ScreenInfo> screen = FindScreen(capturer.CurrentOutput())) {
    input.SetScreenRect(Size().width, Size().height, screen->left, screen->top);
  }
}

void StreamedScreen::ApplySize(PictureSize newSize, int32_t left, int32_t top,
                               bool rebuildEncoder) {
  size.store(newSize);
  input.SetScreenRect(newSize.width, newSize.height, left, top);
  const bool encoderMissing = Encoder() == nullptr;
  if (flags.streaming.load() && (rebuildEncoder || encoderMissing) && !BuildEncoder()) {
    LogPrintf("[agent] 切屏后编码器重建失败\n");
  }
  session.SetScreenInfo(static_cast<uint32_t>(newSize.width),
                        static_cast<uint32_t>(newSize.height));
  flags.RequestKeyframe();
}

void StreamedScreen::SetRates(int32_t newFps, int32_t newMaxKbps, int32_t newMinKbps) {
  fps.store(newFps);
  maxKbps.store(newMaxKbps);
  minKbps.store(newMinKbps);
}

void StreamedScreen::SetMaxKbps(int32_t newMaxKbps) {
  maxKbps.store(newMaxKbps);
  ApplyMaxKbps();
}

// Again when the rate has changed meanwhile: of several callers the one that is done last must not
// leave an earlier rate behind.
void StreamedScreen::ApplyMaxKbps() {
  int32_t kbps = 0;
  do {
    kbps = maxKbps.load();
    encoder.SetBitrate(kbps);
  } while (kbps != maxKbps.load());
}

bool StreamedScreen::BuildEncoder() {
  const PictureSize picture = Size();
  const int32_t askedKbps = maxKbps.load();
  const bool built = encoder.Replace([&](H264Encoder& fresh) {
    return fresh.Init(EvenSide(picture.width), EvenSide(picture.height), fps.load(), askedKbps);
  });
  if (!built) {
    return false;
  }
  fps.store(Encoder()->fps);
  // A rate that came while the encoder was being built found none to change.
  if (maxKbps.load() != askedKbps) {
    ApplyMaxKbps();
  }
  return true;
}

void StreamedScreen::BuildRequestedEncoder() {
  if (!encoderWanted.exchange(false) || Encoder() != nullptr) {
    return;
  }
  if (!BuildEncoder()) {
    LogPrintf("[agent] H.264 编码器初始化失败\n");
  }
}

void StreamedScreen::SendScreens() {
  SendScreensInfo(session, flags, [this] {
    return ScreenList{static_cast<int32_t>(capturer.CurrentOutput()), capturer.EnumerateScreens()};
  });
}

}  // namespace talu
