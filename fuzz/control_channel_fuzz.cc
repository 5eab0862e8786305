// Everything that a controller can say, over the real rooms and a desktop, a clipboard and a
// library that are none. An input is a series of messages with the byte 0x1E between them; one that
// begins with an exclamation mark names its label up to the next one, all others have the right
// label.
#include "control/control_channel.h"

#include <string>

#include "base/sdk_records.h"
#include "clipboard/clipboard_sync.h"
#include "control/json_fields.h"
#include "control/screens_message.h"
#include "fuzz/checks.h"
#include "input/input_injector.h"
#include "tests/fakes/fake_injection.h"

namespace talu {
namespace {

constexpr char kMessageEnd = 0x1E;

int32_t Swallow(SdkSessionHandle, const SdkCustomMessage* message) {
  Check(message->payload != nullptr && message->payload[0] == '{', "answers are JSON");
  return 0;
}

// The session's part, without threads or streaming library.
class Session {
 public:
  explicit Session(bool streams) {
    sdk.send_custom_message = Swallow;
    session.Open(sdk, &sdk);
    flags.streaming = streams;
    injector.SetScreenRect(1280, 720, 0, 0);
  }

  void Receive(std::string_view label, std::string_view body) {
    const bool active = flags.controllerActive;
    const bool paused = flags.paused;
    channel.OnCustomMessage(label, body);
    if (label != kControlLabel) {
      Check(flags.controllerActive == active && flags.paused == paused,
            "other labels change nothing");
    } else if (HasType(body, "bye")) {
      Check(flags.paused || flags.controllerActive == active, "a bye pauses or is stale");
    }
    Check(flags.pendingScreen >= kNoPendingScreen, "no screen has a negative index");
    Check(!flags.forceKeyframe || flags.awaitKeyframe, "a key frame asked for is waited for");
  }

 private:
  bool SwitchScreen(int32_t index) {
    Check(index >= 0, "no screen has a negative index");
    if (flags.streaming) {
      flags.pendingScreen.exchange(index);
      return true;
    }
    SendScreens();
    return false;
  }

  void SendScreens() {
    SendScreensInfo(session, flags, [] {
      return ScreenList{0, {{0, R"(\\.\DISPLAY1)", 1280, 720, 0, 0, true}}};
    });
  }

  SessionFlags flags;
  StreamSdk sdk;
  SdkSession session;
  InputInjector injector;
  ClipboardSync clipboard{flags, session};
  ControlChannel channel{
      flags,
      {.switchScreen = [this](int32_t index) { return SwitchScreen(index); },
       .sendScreensInfo = [this] { SendScreens(); },
       .setClipboard =
           [this](std::string_view body, bool logThis) {
             clipboard.SetClipboardFromController(body, logThis);
             clipboard.OnClipboardUpdate();
           },
       .handleInput = [this](std::string_view body) { return injector.HandleEvent(body); },
       .releaseAllInput = [this] { injector.ReleaseAll(); }}};
};

}  // namespace
}  // namespace talu

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size) {
  using namespace talu;
  SilenceLog();
  FakeInjection::Reset();
  customMsgLogCount.Refill(kLoggedCustomMessages);
  std::string_view messages = TextOf(bytes, size);
  Session session(size % 2 == 1);
  while (!messages.empty()) {
    std::string_view body = TakeUntil(messages, kMessageEnd);
    std::string_view label = kControlLabel;
    if (body.starts_with('!')) {
      body.remove_prefix(1);
      label = TakeUntil(body, '!');
    }
    session.Receive(label, body);
  }
  return 0;
}
