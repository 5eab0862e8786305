#include "control/control_channel.h"

#include <algorithm>
#include <utility>

#include "base/log.h"
#include "base/sdk_records.h"
#include "control/json_fields.h"

namespace talu {

LogBudget customMsgLogCount{kLoggedCustomMessages};

namespace {

// A stay inside a gate that waits while it is closed, for one scope.
class GateVisit {
 public:
  explicit GateVisit(Gate& visited) : gate(visited) { gate.Enter(); }
  ~GateVisit() { gate.Leave(); }
  GateVisit(const GateVisit&) = delete;
  GateVisit& operator=(const GateVisit&) = delete;

 private:
  Gate& gate;
};

// printf's %.*s for a body, which need not end in a NUL.
int LoggedBytes(std::string_view body, size_t limit) {
  return static_cast<int>(std::min(body.size(), limit));
}

}  // namespace

ControlChannel::ControlChannel(SessionFlags& sessionFlags, ControlActions sessionActions)
    : flags(sessionFlags), actions(std::move(sessionActions)) {}

// The tests look for fragments anywhere in the body, so their order decides.
void ControlChannel::OnCustomMessage(std::string_view label, std::string_view body) {
  const bool logThis = customMsgLogCount.Take();
  if (label != kControlLabel) {
    if (logThis) {
      LogPrintf("[agent] custom msg label=%.*s ignored, data=%.*s\n",
                LoggedBytes(label, label.size()), label.data(), LoggedBytes(body, 120),
                body.data());
    }
    return;
  }
  if (HasType(body, "bye")) {
    OnBye(body);
  } else if (HasType(body, "list_screens")) {
    flags.controllerActive.store(true);
    actions.sendScreensInfo();
  } else if (HasType(body, "switch_screen")) {
    OnSwitchScreen(body);
  } else if (HasType(body, "clipboard")) {
    actions.setClipboard(body, logThis);
    flags.controllerActive.store(true);
  } else if (HasType(body, "request_keyframe")) {
    OnRequestKeyframe(body);
  } else {
    OnInput(body, logThis);
  }
}

void ControlChannel::OnBye(std::string_view body) {
  if (PauseUnlessStale(ExtractConnId(body))) {
    actions.releaseAllInput();
  }
}

// Compares and pauses in one stay: a key-frame request of the next controller comes either before,
// and makes this bye stale, or after, and undoes the pause.
bool ControlChannel::PauseUnlessStale(std::string_view conn) {
  GateVisit visit(connGate);
  if (!conn.empty() && conn != currentConn) {
    LogPrintf("[agent] stale bye (conn=%.*s, current=%s) ignored\n", LoggedBytes(conn, conn.size()),
              conn.data(), currentConn.c_str());
    return false;
  }
  LogPrintf("[agent] viewer bye -> pause encoding\n");
  flags.paused.store(true);
  flags.controllerActive.store(false);
  return true;
}

void ControlChannel::OnSwitchScreen(std::string_view body) {
  int32_t index = 0;
  if (!JsonFindInt(body, "index", index) || index < 0) {
    return;
  }
  flags.controllerActive.store(true);
  const bool streaming = actions.switchScreen(index);
  if (streaming) {
    flags.paused.store(false);
  }
  LogPrintf("[agent] switch_screen -> %d (streaming=%d)\n", index, streaming ? 1 : 0);
}

void ControlChannel::OnRequestKeyframe(std::string_view body) {
  std::string conn = ExtractConnId(body);
  GateClosing closing(connGate);
  // Without an id none is current, and a later bye that carries one is stale.
  currentConn = std::move(conn);
  flags.paused.store(false);
  flags.RequestKeyframe();
  flags.controllerActive.store(true);
  LogPrintf("[agent] request_keyframe(conn=%s) -> force I frame\n", currentConn.c_str());
}

void ControlChannel::OnInput(std::string_view body, bool logThis) {
  if (flags.paused.exchange(false)) {
    flags.RequestKeyframe();
    LogPrintf("[agent] input received -> resume encoding\n");
  }
  flags.controllerActive.store(true);
  const bool injected = actions.handleInput(body);
  if (logThis) {
    LogPrintf("[agent] desktop_input inject %s: %.*s\n", injected ? "OK" : "FAILED",
              LoggedBytes(body, 160), body.data());
  }
}

}  // namespace talu
