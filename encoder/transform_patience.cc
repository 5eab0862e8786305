#include "encoder/transform_patience.h"

#include <algorithm>

#include "base/clock.h"

namespace talu {
namespace {

constexpr int32_t kMissedInputLimit = 2;

}  // namespace

Deadline::Deadline(int64_t startNs, int64_t ms) : endNs(startNs + ms * kNsPerMs) {}

bool MissedInput(bool isHardware, int32_t& streak) {
  if (!isHardware) {
    return false;
  }
  ++streak;
  return streak >= kMissedInputLimit;
}

void SilenceWatch::Start() {
  watching = true;
  pictures = 0;
}

void SilenceWatch::Stop() { watching = false; }

void SilenceWatch::SawOutput() {
  pictures = 0;
  waitMs = kFirstWaitMs;
}

bool SilenceWatch::PictureWithoutOutput(int64_t nowNs) {
  if (!watching) {
    return false;
  }
  if (pictures == 0) {
    sinceNs = nowNs;
  }
  ++pictures;
  if (pictures < kPictures || nowNs - sinceNs < waitMs * kNsPerMs) {
    return false;
  }
  lastWaitMs = waitMs;
  waitMs = std::min(waitMs * 2, kLongestWaitMs);
  Stop();
  return true;
}

}  // namespace talu
