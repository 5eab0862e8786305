#include "base/gate.h"

#include "base/word_wait.h"

namespace talu {

bool Gate::TryEnter() {
  uint32_t now = state.load();
  while ((now & kClosed) == 0) {
    if (state.compare_exchange_weak(now, now + 1)) {
      return true;
    }
  }
  return false;
}

void Gate::Enter() {
  while (!TryEnter()) {
    const uint32_t now = state.load();
    if ((now & kClosed) != 0) {
      WaitForChange(state, now);
    }
  }
}

void Gate::Leave() {
  if (state.fetch_sub(1) == (kClosed | 1)) {
    WakeWaiters(state);
  }
}

void Gate::Close() {
  uint32_t now = state.load();
  while (true) {
    if ((now & kClosed) != 0) {
      WaitForChange(state, now);
      now = state.load();
    } else if (state.compare_exchange_weak(now, now | kClosed)) {
      break;
    }
  }
  for (now = state.load(); now != kClosed; now = state.load()) {
    WaitForChange(state, now);
  }
}

void Gate::Open() {
  state.store(0);
  WakeWaiters(state);
}

}  // namespace talu
