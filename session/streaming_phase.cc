#include "session/streaming_phase.h"

#include "base/word_wait.h"

namespace talu {

bool StreamingPhase::BeginStart() { return Move(State::kIdle, State::kStarting); }

void StreamingPhase::EndStart(bool started) { Set(started ? State::kStreaming : State::kIdle); }

bool StreamingPhase::BeginStop() { return Move(State::kStreaming, State::kStopping); }

void StreamingPhase::EndStop() { Set(State::kIdle); }

bool StreamingPhase::BeginSwitch() { return Move(State::kIdle, State::kSwitching); }

void StreamingPhase::EndSwitch() { Set(State::kIdle); }

bool StreamingPhase::TryClose() {
  return Move(State::kIdle, State::kClosed) || state.load() == State::kClosed;
}

bool StreamingPhase::Move(State from, State to) {
  State now = state.load();
  while (true) {
    const bool changing =
        now == State::kStarting || now == State::kStopping || now == State::kSwitching;
    if (changing) {
      WaitForChange(state, now);
      now = state.load();
    } else if (now != from) {
      return false;
    } else if (state.compare_exchange_weak(now, to)) {
      return true;
    }
  }
}

void StreamingPhase::Set(State to) {
  state.store(to);
  WakeWaiters(state);
}

}  // namespace talu
