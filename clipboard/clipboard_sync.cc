#include "clipboard/clipboard_sync.h"

#include "base/log.h"
#include "clipboard/clipboard_text.h"
#include "control/json_fields.h"
#include "control/json_text.h"
#include "control/message_limit.h"

namespace talu {
namespace {

constexpr std::string_view kMessageHead = "{\"type\":\"clipboard\",\"text\":\"";
constexpr std::string_view kMessageTail = "\"}";

}  // namespace

ClipboardSync::ClipboardSync(SessionFlags& sessionFlags, SdkSession& sdkSession)
    : flags(sessionFlags), session(sdkSession), watcher([this] { OnClipboardUpdate(); }) {}

void ClipboardSync::Start() { watcher.Start(); }

void ClipboardSync::Stop() { watcher.Stop(); }

void ClipboardSync::SetClipboardFromController(std::string_view body, bool logThis) {
  std::string text;
  if (!JsonFindString(body, "text", text) || text.empty()) {
    return;
  }
  // Before the clipboard is touched, so that the change that follows is known as an echo.
  (void)RememberNewText(text);
  WriteClipboardText(text);
  if (logThis) {
    LogPrintf("[agent] clipboard <- controller (%zu bytes)\n", text.size());
  }
}

void ClipboardSync::OnClipboardUpdate() {
  if (!flags.controllerActive.load()) {
    return;
  }
  // Our own text need not be read, and an open clipboard keeps out whoever pastes right now.
  if (HoldsWrittenText()) {
    return;
  }
  const std::string text = ReadClipboardText();
  if (!text.empty() && RememberNewText(text)) {
    SendClipboardText(text);
  }
}

bool ClipboardSync::RememberNewText(const std::string& text) {
  // Copied before and freed after the lock is held: either may take long for a large text.
  std::string remembered = text;
  const std::lock_guard<std::mutex> hold(clipboardLock);
  if (lastClipboardText == text) {
    return false;
  }
  lastClipboardText.swap(remembered);
  return true;
}

void ClipboardSync::SendClipboardText(const std::string& text) {
  if (!session.IsOpen()) {
    return;
  }
  const size_t messageBytes = kMessageHead.size() + JsonEscapedSize(text) + kMessageTail.size();
  if (messageBytes > kMaxMessageBytes) {
    LogPrintf("[agent] clipboard %zu bytes 超过单条消息上限，跳过同步\n", messageBytes);
    return;
  }
  std::string message;
  message.reserve(messageBytes);
  message.append(kMessageHead).append(JsonEscape(text)).append(kMessageTail);
  if (session.SendControlMessage(message)) {
    LogPrintf("[agent] clipboard -> controller (%zu bytes)\n", messageBytes);
  }
}

}  // namespace talu
