#include <windows.h>

#include <atomic>
#include <climits>

#include "clipboard/clipboard_text.h"

namespace talu {
namespace {

// Another program has the clipboard open for a moment whenever it looks at a new text, and every
// program that keeps a history looks at every text. So opening it is tried again for a while.
constexpr uint64_t kOpenPatienceMs = 250;
// The system's coarse sleep will do: a finer one keeps a timer for each thread that ever slept.
constexpr DWORD kOpenRetryMs = 5;

// Opened without a window, the clipboard tells threads of one program not apart: it lets the second
// in while the first is still at work, whose next calls then fail with the clipboard half written.
// So our own threads take turns.
std::atomic<bool> ownTurnTaken{false};

bool OpenInTurn() {
  if (ownTurnTaken.exchange(true)) {
    return false;
  }
  if (OpenClipboard(nullptr) != FALSE) {
    return true;
  }
  ownTurnTaken.store(false);
  return false;
}

// The clipboard, open for one scope; false when it cannot be had.
class OpenedClipboard {
 public:
  OpenedClipboard() {
    const uint64_t deadlineMs = GetTickCount64() + kOpenPatienceMs;
    opened = OpenInTurn();
    while (!opened && GetTickCount64() < deadlineMs) {
      Sleep(kOpenRetryMs);
      opened = OpenInTurn();
    }
  }
  ~OpenedClipboard() {
    if (!opened) return;
    Close();
    ownTurnTaken.store(false);
  }
  OpenedClipboard(const OpenedClipboard&) = delete;
  OpenedClipboard& operator=(const OpenedClipboard&) = delete;

  explicit operator bool() const { return opened; }

  // Before the end of the scope, until which no other thread of ours has a turn.
  void Close() {
    if (!closed) CloseClipboard();
    closed = true;
  }

 private:
  bool opened = false;
  bool closed = false;
};

// The system's count of changes after the clipboard has taken a text of ours that comes back
// unchanged; 0 for no such text.
std::atomic<DWORD> writtenAtChange{0};

// Closing the clipboard counts as changes, too, and whoever comes right after it may have changed
// it again. But then it has an owner, which it has not after us, who open it without a window.
DWORD ChangeOfOurOwn() {
  const DWORD change = GetClipboardSequenceNumber();
  const bool hasOwner = GetClipboardOwner() != nullptr;
  return hasOwner || GetClipboardSequenceNumber() != change ? 0 : change;
}

void AwaitOwnTurns() {
  const uint64_t deadlineMs = GetTickCount64() + kOpenPatienceMs;
  while (ownTurnTaken.load() && GetTickCount64() < deadlineMs) {
    Sleep(kOpenRetryMs);
  }
}

// The address of a movable block, for one scope; null when it cannot be had.
class LockedBlock {
 public:
  explicit LockedBlock(HGLOBAL lockedBlock)
      : block(lockedBlock), units(static_cast<wchar_t*>(GlobalLock(lockedBlock))) {}
  ~LockedBlock() {
    if (units != nullptr) GlobalUnlock(block);
  }
  LockedBlock(const LockedBlock&) = delete;
  LockedBlock& operator=(const LockedBlock&) = delete;

  wchar_t* Units() const { return units; }

 private:
  const HGLOBAL block;
  wchar_t* const units;
};

// Frees the block unless the clipboard has taken it over.
class OwnedBlock {
 public:
  explicit OwnedBlock(HGLOBAL owned) : block(owned) {}
  ~OwnedBlock() {
    if (block != nullptr) GlobalFree(block);
  }
  OwnedBlock(const OwnedBlock&) = delete;
  OwnedBlock& operator=(const OwnedBlock&) = delete;

  HGLOBAL Get() const { return block; }
  void Release() { block = nullptr; }

 private:
  HGLOBAL block;
};

// The text in a clipboard block. The block is another program's and may lack the terminating NUL.
std::string TextOf(HGLOBAL block) {
  const LockedBlock locked(block);
  if (locked.Units() == nullptr) {
    return {};
  }
  const size_t length = wcsnlen(locked.Units(), GlobalSize(block) / sizeof(wchar_t));
  if (length == 0 || length > INT_MAX) {
    return {};
  }
  const int units = static_cast<int>(length);
  const int bytes =
      WideCharToMultiByte(CP_UTF8, 0, locked.Units(), units, nullptr, 0, nullptr, nullptr);
  if (bytes < 1) {
    return {};
  }
  std::string text(static_cast<size_t>(bytes), '\0');
  // Cannot give another count than a moment ago for the same units.
  (void)WideCharToMultiByte(CP_UTF8, 0, locked.Units(), units, text.data(), bytes, nullptr,
                            nullptr);
  return text;
}

// A movable block with text and a terminating NUL; null when memory runs out.
HGLOBAL BlockWith(std::string_view text) {
  if (text.size() > INT_MAX) {
    return nullptr;
  }
  const int bytes = static_cast<int>(text.size());
  const int units = MultiByteToWideChar(CP_UTF8, 0, text.data(), bytes, nullptr, 0);
  if (units < 0) {
    return nullptr;
  }
  const auto count = static_cast<size_t>(units);
  OwnedBlock block(GlobalAlloc(GMEM_MOVEABLE, (count + 1) * sizeof(wchar_t)));
  if (block.Get() == nullptr) {
    return nullptr;
  }
  {
    const LockedBlock locked(block.Get());
    if (locked.Units() == nullptr) {
      return nullptr;
    }
    // Cannot give another count than a moment ago for the same bytes.
    (void)MultiByteToWideChar(CP_UTF8, 0, text.data(), bytes, locked.Units(), units);
    locked.Units()[count] = L'\0';
  }
  const HGLOBAL filled = block.Get();
  block.Release();
  return filled;
}

// A text ends at its first NUL, and bytes that are no UTF-8 come back as replacement characters.
bool ComesBackUnchanged(std::string_view text) {
  return text.find('\0') == std::string_view::npos &&
         MultiByteToWideChar(CP_UTF8, MB_ERR_INVALID_CHARS, text.data(),
                             static_cast<int>(text.size()), nullptr, 0) > 0;
}

}  // namespace

std::string ReadClipboardText() {
  const OpenedClipboard clipboard;
  if (!clipboard) {
    return {};
  }
  const HANDLE block = GetClipboardData(CF_UNICODETEXT);
  return block == nullptr ? std::string() : TextOf(block);
}

void WriteClipboardText(std::string_view text) {
  OwnedBlock block(BlockWith(text));
  if (block.Get() == nullptr) {
    return;
  }
  const bool unchanged = ComesBackUnchanged(text);
  OpenedClipboard clipboard;
  if (!clipboard) {
    return;
  }
  // A clipboard that refuses to be emptied refuses the new data, too.
  (void)EmptyClipboard();
  if (SetClipboardData(CF_UNICODETEXT, block.Get()) != nullptr) {
    block.Release();
    clipboard.Close();
    writtenAtChange.store(unchanged ? ChangeOfOurOwn() : 0);
  }
}

bool HoldsWrittenText() {
  // The news of a text comes while its writer is still at work.
  AwaitOwnTurns();
  const DWORD writtenAt = writtenAtChange.load();
  return writtenAt != 0 && writtenAt == GetClipboardSequenceNumber();
}

}  // namespace talu
