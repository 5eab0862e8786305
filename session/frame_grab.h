// Grabbing frames without spinning.
#pragma once

#include "base/clock.h"
#include "capture/screen_capturer.h"

namespace talu {

// Grabs one frame; without one it returns no sooner than timeoutMs. A capturer that is refused
// access (a locked or secure desktop) fails at once and would otherwise be asked without pause.
inline CapturedFrame GrabForTheWholeTime(ScreenCapturer& capturer, uint32_t timeoutMs) {
  const int64_t startNs = MonotonicNowNs();
  const CapturedFrame frame = capturer.CaptureFrame(timeoutMs);
  if (!frame.valid) {
    SleepForMs(static_cast<int64_t>(timeoutMs) - (MonotonicNowNs() - startNs) / kNsPerMs);
  }
  return frame;
}

}  // namespace talu
