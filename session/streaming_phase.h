// Where starting, stopping and switching the stream meet: one state, changed by one thread at a
// time.
//
// Owned by the push session. Library callbacks on several threads, Stop and the destructor all come
// through here; whoever finds a change under way waits for its end, so that the last word holds.
// A change is short (an encoder is built, a thread joined) and must not begin another one.
#pragma once

#include <atomic>

namespace talu {

class StreamingPhase {
 public:
  // True when the caller is to start the stream and then call EndStart. False when it runs already
  // or the session is closed.
  bool BeginStart();
  void EndStart(bool started);

  // True when the caller is to stop the stream and then call EndStop. False when none runs.
  bool BeginStop();
  void EndStop();

  // True when no stream runs and the caller has the capturer for itself until EndSwitch. False when
  // a stream runs or the session is closed.
  bool BeginSwitch();
  void EndSwitch();

  // Ends all change for good. False when a stream runs: it must be stopped first.
  bool TryClose();

  bool IsStreaming() const { return state.load() == State::kStreaming; }
  bool IsClosed() const { return state.load() == State::kClosed; }

 private:
  enum class State { kIdle, kStarting, kStreaming, kStopping, kSwitching, kClosed };

  // Waits until no change is under way, then moves `from` to `to`. False when the state at rest is
  // another one.
  bool Move(State from, State to);
  void Set(State to);

  std::atomic<State> state{State::kIdle};
};

}  // namespace talu
