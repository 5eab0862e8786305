#include <windows.h>

#include <atomic>
#include <new>
#include <system_error>
#include <thread>
#include <utility>

#include "base/log.h"
#include "clipboard/clipboard_watcher.h"

namespace talu {
namespace {

constexpr wchar_t kWindowClass[] = L"TaluHostClipWatch";

}  // namespace

struct ClipboardWatcher::State {
  explicit State(std::function<void()> callback) : onClipboardUpdate(std::move(callback)) {}

  void ClipboardWatchThread();
  void RunMessageLoop(HWND window);
  void CloseWindow() const;
  void CallBack() const;
  static LRESULT CALLBACK ClipboardWndProc(HWND window, UINT message, WPARAM wparam, LPARAM lparam);

  const std::function<void()> onClipboardUpdate;
  // The thread has been started and not yet told to stop.
  std::atomic<bool> clipboardThreadRunning{false};
  std::thread clipboardThread;
  // Null outside the window's life.
  std::atomic<HWND> clipboardWindow{nullptr};
};

// A throw must not travel through user32. The host goes on without the one text that was too much.
void ClipboardWatcher::State::CallBack() const {
  try {
    onClipboardUpdate();
  } catch (const std::bad_alloc&) {
    LogPrintf("[agent] clipboard text does not fit into memory, not sent\n");
  }
}

LRESULT CALLBACK ClipboardWatcher::State::ClipboardWndProc(HWND window, UINT message, WPARAM wparam,
                                                           LPARAM lparam) {
  switch (message) {
    case WM_CLIPBOARDUPDATE: {
      const auto* const state =
          reinterpret_cast<const State*>(GetWindowLongPtrW(window, GWLP_USERDATA));
      if (state != nullptr) {
        state->CallBack();
      }
      return 0;
    }
    case WM_CLOSE:
      PostQuitMessage(0);
      return 0;
    default:
      return DefWindowProcW(window, message, wparam, lparam);
  }
}

void ClipboardWatcher::State::ClipboardWatchThread() {
  WNDCLASSEXW windowClass{};
  windowClass.cbSize = sizeof windowClass;
  windowClass.lpfnWndProc = ClipboardWndProc;
  windowClass.hInstance = GetModuleHandleW(nullptr);
  windowClass.lpszClassName = kWindowClass;
  // Refused when an earlier session has left the class registered, which serves as well.
  (void)RegisterClassExW(&windowClass);
  const HWND window = CreateWindowExW(0, kWindowClass, L"", 0, 0, 0, 0, 0, HWND_MESSAGE, nullptr,
                                      windowClass.hInstance, nullptr);
  if (window == nullptr) {
    LogPrintf("[agent] 剪贴板监听窗口创建失败(err=%lu)，被控→操控剪贴板同步不可用\n",
              GetLastError());
    return;
  }
  RunMessageLoop(window);
  DestroyWindow(window);
  clipboardWindow.store(nullptr);
}

void ClipboardWatcher::State::RunMessageLoop(HWND window) {
  SetWindowLongPtrW(window, GWLP_USERDATA, reinterpret_cast<LONG_PTR>(this));
  // Refused, the host's clipboard is not sent; the controller's still arrives.
  (void)AddClipboardFormatListener(window);
  clipboardWindow.store(window);
  // A stop that found no window to close comes before the first look at the flag; a later one
  // closes the window. The flag ends the loop also when changes come so fast that the quit message,
  // which waits for an empty queue, would never be seen.
  MSG message;
  while (clipboardThreadRunning.load() && GetMessageW(&message, nullptr, 0, 0) > 0) {
    TranslateMessage(&message);
    DispatchMessageW(&message);
  }
  RemoveClipboardFormatListener(window);
}

// Nothing to close before the window exists: the thread then finds that it is to stop by itself.
void ClipboardWatcher::State::CloseWindow() const {
  const HWND window = clipboardWindow.load();
  if (window == nullptr) {
    return;
  }
  // A full message queue refuses the post until the thread has taken some messages out. Any other
  // refusal means that the window and its loop have ended by themselves.
  while (!PostMessageW(window, WM_CLOSE, 0, 0) && GetLastError() == ERROR_NOT_ENOUGH_QUOTA) {
    Sleep(1);
  }
}

ClipboardWatcher::ClipboardWatcher(std::function<void()> onClipboardUpdate)
    : state(std::make_unique<State>(std::move(onClipboardUpdate))) {}

ClipboardWatcher::~ClipboardWatcher() { Stop(); }

void ClipboardWatcher::Start() {
  if (state->clipboardThreadRunning.exchange(true)) {
    return;
  }
  try {
    state->clipboardThread = std::thread([this] { state->ClipboardWatchThread(); });
  } catch (const std::system_error&) {
    state->clipboardThreadRunning.store(false);
    throw;
  }
}

void ClipboardWatcher::Stop() {
  if (!state->clipboardThreadRunning.exchange(false)) {
    return;
  }
  state->CloseWindow();
  state->clipboardThread.join();
}

}  // namespace talu
