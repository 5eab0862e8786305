// A machine that costs nothing, linked in place of the real one (library bare_machine): what is
// left of a measurement is the host's own work.
//
// Implements capture/screen_capturer.h, capture/desktop_repaint.h, encoder/h264_encoder.h,
// encoder/hardware_self_test.h and input/injection.h. Every grab gives the same picture anew, every
// picture one unit of a byte, at once; input is counted. Nothing is allocated after the start.
#pragma once

#include <atomic>
#include <cstdint>

#include "base/session_flags.h"
#include "base/stream_sdk.h"

namespace talu {

constexpr int32_t kBareWidth = 64;
constexpr int32_t kBareHeight = 48;

// Records injected by this program.
extern std::atomic<int64_t> bareInjections;

// A streaming library that takes every frame. Called with each frame's number, from 1.
extern void (*onBareFrame)(int64_t number);
StreamSdk BareStreamSdk();

}  // namespace talu
