// The body of the stream thread: one frame after another until streaming is cleared.
#pragma once

#include "base/sdk_session.h"
#include "base/session_flags.h"
#include "session/streamed_screen.h"

namespace talu {

// Captures, encodes and sends the screen at its frame rate, switches screens when asked to, and
// sends cursor shapes. Returns once flags.streaming is false: within the 100 ms nap of a pause, or
// one frame. One thread per subscription runs it; everything given outlives it.
void StreamLoop(StreamedScreen& screen, SessionFlags& flags, SdkSession& session,
                const StreamSdk& sdk);

}  // namespace talu
