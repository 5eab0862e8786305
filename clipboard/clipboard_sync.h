// Clipboard text in step between the host and the controller, in both directions.
//
// Owned by the push session. Start and Stop belong to the thread that starts and stops the session;
// SetClipboardFromController runs on the library's callback threads, OnClipboardUpdate on the
// watcher's thread.
#pragma once

#include <mutex>
#include <string>
#include <string_view>

#include "base/sdk_session.h"
#include "base/session_flags.h"
#include "clipboard/clipboard_watcher.h"

namespace talu {

class ClipboardSync {
 public:
  // Both must outlive this object.
  ClipboardSync(SessionFlags& flags, SdkSession& session);
  // Stops.
  ~ClipboardSync() = default;
  ClipboardSync(const ClipboardSync&) = delete;
  ClipboardSync& operator=(const ClipboardSync&) = delete;

  // Watches the clipboard from now on. Throws std::system_error when no thread can be had.
  void Start();
  // Returns when the watcher thread has ended.
  void Stop();

  // A controller's clipboard message: puts its text on the clipboard. Nothing happens when the text
  // is missing or empty; otherwise one line is logged if logThis allows it.
  void SetClipboardFromController(std::string_view body, bool logThis);

  // The clipboard changed: sends its text, unless no controller is active or the text is the one
  // that was sent or received last.
  void OnClipboardUpdate();

 private:
  // False when text is the one that already went to or came from the controller.
  bool RememberNewText(const std::string& text);
  void SendClipboardText(const std::string& text);

  SessionFlags& flags;
  SdkSession& session;

  // The program's only mutex. Held for the comparison and exchange of the text alone, never while
  // the clipboard is open or a message is built or sent.
  std::mutex clipboardLock;
  std::string lastClipboardText;

  // Last, so that its thread has ended before anything it uses is gone.
  ClipboardWatcher watcher;
};

}  // namespace talu
