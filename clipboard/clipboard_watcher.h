// The thread that hears of clipboard changes.
//
// Owned by ClipboardSync. Start and Stop belong to the thread that starts and stops the session;
// the callback runs on the watcher thread, between Start and the return of Stop only. A watcher
// whose window cannot be made logs so and never calls back.
#pragma once

#include <functional>
#include <memory>

namespace talu {

class ClipboardWatcher {
 public:
  explicit ClipboardWatcher(std::function<void()> onClipboardUpdate);
  // Stops.
  ~ClipboardWatcher();
  ClipboardWatcher(const ClipboardWatcher&) = delete;
  ClipboardWatcher& operator=(const ClipboardWatcher&) = delete;

  // Does nothing when already started. Throws std::system_error when no thread can be had.
  void Start();
  // Returns when the thread has ended: promptly, however early it comes. Does nothing when
  // not started.
  void Stop();

 private:
  struct State;
  std::unique_ptr<State> state;
};

}  // namespace talu
