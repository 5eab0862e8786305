// The numbers an encoder is built and fed with: rates, sizes, times.
//
// Plain functions of their arguments, called by any thread.
#pragma once

#include <cstdint>

namespace talu {

constexpr int32_t kDefaultFps = 30;
// The software encoder gets no more than this: above it, encoding takes the machine from its user.
constexpr int32_t kSoftwareFpsLimit = 30;

// How long a new asynchronous hardware transform may take to ask for its first input.
constexpr int64_t kFirstInputTimeoutMs = 600;
// How long a picture waits for an asynchronous transform to ask for it.
constexpr int64_t kInputRequestTimeoutMs = 300;

// Outputs pulled, or queued events looked at, after each accepted picture.
constexpr int kMaxOutputsPerPicture = 8;

// For output where the transform names no size of its own.
constexpr uint32_t kDefaultOutputBufferBytes = 1'048'576;

// What one encoder is built for. Sizes in pixels, the bit rate in kbit/s.
struct EncoderSettings {
  int32_t width;
  int32_t height;
  int32_t fps;
  int32_t kbps;
};

// The rate that a caller's value stands for: 0 and below mean the default.
int32_t RequestedFps(int32_t given);

// The rate that an encoder of that kind runs at when asked for requested.
int32_t SettledFps(int32_t requested, bool hardware);

uint32_t BitsPerSecond(int32_t kbps);

// Pictures from one key frame to the next, two seconds' worth.
uint32_t GopLength(int32_t fps);

// Media Foundation counts time in 100 ns.
int64_t SampleTime(int64_t timestampMs);
int64_t SampleDuration(int32_t fps);
// Toward zero.
int64_t TimestampMs(int64_t sampleTime);

// Two numbers in one 64-bit attribute, as sizes and ratios are kept.
uint64_t PackPair(uint32_t high, uint32_t low);

// True for pictures from 1 x 1 up to the largest that Direct3D 11 can hold, whose every plane has a
// size that 32 bits can tell.
bool IsEncodableSize(int32_t width, int32_t height);

// A size that encoders take in all their planes: the odd last column or row is left out.
int32_t EvenSize(int32_t pixels);

}  // namespace talu
