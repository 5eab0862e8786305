// A clipboard in the test's process, linked in place of Windows' (library fake_clipboard).
//
// Implements clipboard/clipboard_text.h and clipboard/clipboard_watcher.h. Like the real one it
// tells each started watcher of every change on a thread of the watcher's own, the program's own
// writes included. Any thread may call anything.
#pragma once

#include <cstddef>
#include <string>

namespace talu {

class FakeClipboard {
 public:
  // Empty, open to all, nothing counted. No watcher may be started.
  static void Reset();

  // As a user copies: text, or something that is no text.
  static void Copy(const std::string& text);
  static void CopyPicture();

  static std::string Text();
  // Lets another program hold the clipboard open: reads find nothing and writes are lost.
  static void SetOpenElsewhere(bool open);

  // Lets a write by the program return only when every started watcher has been told of it.
  static void SetWritesTakeLong(bool takeLong);

  // Lets the program tell its own text from others' without reading it; it cannot at first, as on a
  // system that does not tell.
  static void SetTellsOwnText(bool tells);

  // Returns when every started watcher has been told of all changes so far.
  static void WaitUntilTold();

  static size_t StartedWatchers();
  // Writes by the program, lost ones included, and its reads.
  static size_t WriteCount();
  static size_t ReadCount();
};

}  // namespace talu
