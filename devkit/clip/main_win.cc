// talu_clip: puts a text of many letters on the clipboard, as a program on the desktop would.
#include <windows.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>

namespace {

constexpr int kOpenAttempts = 1000;
constexpr DWORD kOpenPauseMs = 10;

// Someone else may be reading it just now.
bool Open() {
  for (int attempt = 0; attempt < kOpenAttempts; ++attempt) {
    if (OpenClipboard(nullptr)) {
      return true;
    }
    Sleep(kOpenPauseMs);
  }
  return false;
}

bool Put(size_t letters) {
  HGLOBAL const block = GlobalAlloc(GMEM_MOVEABLE, (letters + 1) * sizeof(wchar_t));
  auto* text = block == nullptr ? nullptr : static_cast<wchar_t*>(GlobalLock(block));
  if (text == nullptr) {
    return false;
  }
  std::fill_n(text, letters, L'x');
  text[letters] = L'\0';
  GlobalUnlock(block);
  if (!Open()) {
    return false;
  }
  // The system owns the block from then on.
  const bool put = EmptyClipboard() && SetClipboardData(CF_UNICODETEXT, block) != nullptr;
  CloseClipboard();
  return put;
}

}  // namespace

int main(int argc, char** argv) {
  const long letters = argc == 2 ? std::atol(argv[1]) : 0;
  if (letters <= 0) {
    std::fprintf(stderr, "Usage: talu_clip LETTERS\n");
    return 2;
  }
  if (!Put(static_cast<size_t>(letters))) {
    std::fprintf(stderr, "talu_clip: error %lu\n", GetLastError());
    return 1;
  }
  return 0;
}
