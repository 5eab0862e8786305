// What the controller says: labelled messages, sorted by type and turned into flags and actions.
//
// Owned by the push session, which gives it the flags and what to call. OnCustomMessage may run on
// several of the library's callback threads at once, never on the stream or the clipboard thread.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

#include "base/gate.h"
#include "base/log_budget.h"
#include "base/session_flags.h"

namespace talu {

// How the dispatcher reaches the rooms it does not know. All are called on the thread of
// OnCustomMessage, and all must be set.
struct ControlActions {
  // Shows the screen with this index (0 or above). While streaming, parks it in pendingScreen for
  // the stream loop and returns true; otherwise switches at once, sends the screens message and
  // returns false. The session decides, since streaming may start or stop at the same moment.
  std::function<bool(int32_t index)> switchScreen;
  // Answers list_screens.
  std::function<void()> sendScreensInfo;
  // Puts the message's text on the clipboard; logThis allows its log line.
  std::function<void(std::string_view body, bool logThis)> setClipboard;
  // Injects one input event; false when the body is none.
  std::function<bool(std::string_view body)> handleInput;
  // Releases the mouse buttons and modifier keys that a controller may have left down.
  std::function<void()> releaseAllInput;
};

// The first messages of the process, of whatever kind: their budgeted lines are logged.
constexpr uint32_t kLoggedCustomMessages = 20;
extern LogBudget customMsgLogCount;

class ControlChannel {
 public:
  // flags must outlive the channel.
  ControlChannel(SessionFlags& flags, ControlActions actions);
  ControlChannel(const ControlChannel&) = delete;
  ControlChannel& operator=(const ControlChannel&) = delete;

  // One message, label and body as the library delivered them; the body may hold any bytes.
  void OnCustomMessage(std::string_view label, std::string_view body);

 private:
  void OnBye(std::string_view body);
  void OnSwitchScreen(std::string_view body);
  void OnRequestKeyframe(std::string_view body);
  void OnInput(std::string_view body, bool logThis);

  // True when the bye was honoured: it is the current connection's, or names none.
  bool PauseUnlessStale(std::string_view conn);

  SessionFlags& flags;
  const ControlActions actions;

  // Guards currentConn: a bye passes through, a key-frame request closes it.
  Gate connGate;
  // The connection that last asked for a key frame.
  std::string currentConn;
};

}  // namespace talu
