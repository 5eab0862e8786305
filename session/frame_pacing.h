// The stream loop's arithmetic of time: milliseconds since the loop started.
#pragma once

#include <cstdint>

#include "base/clock.h"

namespace talu {

constexpr int32_t kDefaultFps = 30;

// Whole milliseconds from one frame slot to the next; 0, that is unpaced, above 1000 frames a
// second.
constexpr int32_t FrameIntervalMs(int32_t fps) { return 1000 / (fps > 0 ? fps : kDefaultFps); }

// Slots counted from the last frame's own time stamp, so that a late frame never causes a burst of
// frames to catch up.
class FramePacing {
 public:
  FramePacing(int64_t startedAtNs, int32_t fps)
      : startNs(startedAtNs), intervalMs(FrameIntervalMs(fps)) {}

  int64_t ElapsedMs(int64_t nowNs) const { return (nowNs - startNs) / kNsPerMs; }

  // Milliseconds to sleep before the next slot; 0 or below when it has begun.
  int64_t WaitMs(int64_t nowNs) const { return nextDueMs - ElapsedMs(nowNs); }

  // The frame's time stamp; the next slot begins one interval after it.
  int64_t TakeSlot(int64_t nowNs) {
    const int64_t timestampMs = ElapsedMs(nowNs);
    nextDueMs = timestampMs + intervalMs;
    return timestampMs;
  }

 private:
  const int64_t startNs;
  const int32_t intervalMs;
  int64_t nextDueMs = 0;
};

}  // namespace talu
