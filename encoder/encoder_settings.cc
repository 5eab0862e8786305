#include "encoder/encoder_settings.h"

#include <algorithm>

namespace talu {
namespace {

constexpr int64_t kSampleTimePerMs = 10'000;
constexpr int64_t kSampleTimePerSecond = 10'000'000;
constexpr uint32_t kGopSeconds = 2;
constexpr int32_t kLargestSide = 16'384;

}  // namespace

int32_t RequestedFps(int32_t given) { return given > 0 ? given : kDefaultFps; }

int32_t SettledFps(int32_t requested, bool hardware) {
  return hardware ? requested : std::min(requested, kSoftwareFpsLimit);
}

// Unsigned, so that absurd rates wrap instead of overflowing.
uint32_t BitsPerSecond(int32_t kbps) { return static_cast<uint32_t>(kbps) * 1000u; }

uint32_t GopLength(int32_t fps) { return static_cast<uint32_t>(fps) * kGopSeconds; }

int64_t SampleTime(int64_t timestampMs) {
  return static_cast<int64_t>(static_cast<uint64_t>(timestampMs) *
                              static_cast<uint64_t>(kSampleTimePerMs));
}

int64_t SampleDuration(int32_t fps) { return kSampleTimePerSecond / RequestedFps(fps); }

int64_t TimestampMs(int64_t sampleTime) { return sampleTime / kSampleTimePerMs; }

uint64_t PackPair(uint32_t high, uint32_t low) { return (uint64_t{high} << 32) | low; }

bool IsEncodableSize(int32_t width, int32_t height) {
  return width > 0 && height > 0 && width <= kLargestSide && height <= kLargestSide;
}

int32_t EvenSize(int32_t pixels) { return pixels & ~1; }

}  // namespace talu
