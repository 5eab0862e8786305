// The flags through which library callbacks, control messages and the stream loop talk.
//
// Owned by the push session; every room that takes part holds a reference. Any thread reads and
// writes any of them, so each is an atomic; none of them protects other data.
#pragma once

#include <atomic>
#include <cstdint>

namespace talu {

constexpr int32_t kNoPendingScreen = -1;

struct SessionFlags {
  // True from a successful start of streaming until the stop. Set by the starter, taken by the one
  // stopper that wins.
  std::atomic<bool> streaming{false};
  // The next frame is to be encoded as a key frame. Set by subscriptions and requests, taken by the
  // stream loop.
  std::atomic<bool> forceKeyframe{false};
  // Encoded frames are dropped until a key frame has been sent. Set with forceKeyframe, cleared by
  // the frame sender.
  std::atomic<bool> awaitKeyframe{false};
  // The controller said bye: the loop idles. Cleared by input, requests and subscriptions.
  std::atomic<bool> paused{false};
  // The controller has taken part since its last bye. Gates the messages sent to it.
  std::atomic<bool> controllerActive{false};
  // The screen the stream loop is to switch to, or kNoPendingScreen. Set by control messages, taken
  // by the loop.
  std::atomic<int32_t> pendingScreen{kNoPendingScreen};

  // What every new or resumed viewer needs: a key frame, and nothing before it.
  void RequestKeyframe() {
    forceKeyframe.store(true);
    awaitKeyframe.store(true);
  }
};

}  // namespace talu
