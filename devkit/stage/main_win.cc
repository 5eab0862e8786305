// talu_stage: windows for the development desktop. See kStageHelp in scene.cc.
#include <windows.h>

#include <shellapi.h>

#include <array>
#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include "devkit/stage/scene.h"
#include "devkit/stage/stage_window_win.h"

namespace talu {
namespace {

constexpr int kExitUsage = 64;
constexpr int kExitNoWindow = 65;
// CREATE_WAITABLE_TIMER_HIGH_RESOLUTION, which older headers do not have.
constexpr DWORD kHighResolution = 2;
constexpr int64_t kHundredNsPerSecond = 10'000'000;

std::vector<std::string> Arguments() {
  int count = 0;
  wchar_t** wide = CommandLineToArgvW(GetCommandLineW(), &count);
  std::vector<std::string> arguments;
  for (int i = 1; i < count; ++i) {
    std::string text(WideCharToMultiByte(CP_UTF8, 0, wide[i], -1, nullptr, 0, nullptr, nullptr),
                     '\0');
    WideCharToMultiByte(CP_UTF8, 0, wide[i], -1, text.data(), static_cast<int>(text.size()),
                        nullptr, nullptr);
    text.pop_back();
    arguments.push_back(text);
  }
  LocalFree(wide);
  return arguments;
}

// Reads standard input to its end and then ends the main thread's message loop.
DWORD WINAPI WatchInput(void* mainThread) {
  std::array<char, 256> buffer{};
  DWORD count = 0;
  const HANDLE input = GetStdHandle(STD_INPUT_HANDLE);
  while (ReadFile(input, buffer.data(), buffer.size(), &count, nullptr) && count > 0) {
  }
  PostThreadMessageW(static_cast<DWORD>(reinterpret_cast<ULONG_PTR>(mainThread)), WM_QUIT, 0, 0);
  return 0;
}

// A timer of fine grain; null when the system has none at all.
HANDLE MakeTimer() {
  HANDLE timer = CreateWaitableTimerExW(nullptr, nullptr, kHighResolution, TIMER_ALL_ACCESS);
  if (timer != nullptr) return timer;
  return CreateWaitableTimerExW(nullptr, nullptr, 0, TIMER_ALL_ACCESS);
}

struct Animation {
  HANDLE timer;
  int64_t interval;
  int64_t next;
  StageWindow* window;
};

int64_t NowHundredNs() {
  LARGE_INTEGER count;
  LARGE_INTEGER frequency;
  QueryPerformanceCounter(&count);
  QueryPerformanceFrequency(&frequency);
  return count.QuadPart / frequency.QuadPart * kHundredNsPerSecond +
         count.QuadPart % frequency.QuadPart * kHundredNsPerSecond / frequency.QuadPart;
}

// Aims at a fixed grid of moments, so that drawing time does not add to the interval.
void ArmNext(Animation& animation) {
  const int64_t now = NowHundredNs();
  animation.next += animation.interval;
  if (animation.next <= now) animation.next = now + animation.interval;
  LARGE_INTEGER due{};
  due.QuadPart = now - animation.next;
  SetWaitableTimer(animation.timer, &due, 0, nullptr, nullptr, FALSE);
}

bool PumpMessages() {
  MSG message;
  while (PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE)) {
    if (message.message == WM_QUIT) return false;
    TranslateMessage(&message);
    DispatchMessageW(&message);
  }
  return true;
}

void Run(std::vector<Animation>& animations) {
  std::vector<HANDLE> timers;
  for (const Animation& animation : animations) timers.push_back(animation.timer);
  while (PumpMessages()) {
    const DWORD result =
        MsgWaitForMultipleObjectsEx(static_cast<DWORD>(timers.size()), timers.data(), INFINITE,
                                    QS_ALLINPUT, MWMO_INPUTAVAILABLE);
    if (result >= timers.size()) continue;
    animations[result].window->DrawNext();
    ArmNext(animations[result]);
  }
}

int Show(const Scene& scene) {
  if (!StageWindow::RegisterWindowClass()) return kExitNoWindow;
  std::vector<std::unique_ptr<StageWindow>> windows;
  std::vector<Animation> animations;
  for (const Actor& actor : scene.actors) {
    windows.push_back(std::make_unique<StageWindow>(actor));
    if (!windows.back()->Open()) {
      std::fprintf(stderr, "talu_stage: a window could not be opened (error %lu)\n",
                   GetLastError());
      return kExitNoWindow;
    }
    if (actor.kind == ActorKind::kMoving) {
      animations.push_back(
          {MakeTimer(), kHundredNsPerSecond / actor.fps, NowHundredNs(), windows.back().get()});
      ArmNext(animations.back());
    }
  }
  // Once more, now that all of them are there.
  PumpMessages();
  std::puts("ready");
  std::fflush(stdout);
  const auto id = static_cast<ULONG_PTR>(GetCurrentThreadId());
  HANDLE watcher = CreateThread(nullptr, 0, WatchInput, reinterpret_cast<void*>(id), 0, nullptr);
  Run(animations);
  if (watcher != nullptr) CloseHandle(watcher);
  for (const Animation& animation : animations) CloseHandle(animation.timer);
  return 0;
}

int Main() {
  Scene scene;
  const std::string problem = ParseScene(Arguments(), scene);
  if (!problem.empty()) {
    std::fprintf(stderr, "talu_stage: %s (--help tells more)\n", problem.c_str());
    return kExitUsage;
  }
  if (scene.help) {
    std::fputs(kStageHelp, stdout);
    return 0;
  }
  return Show(scene);
}

}  // namespace
}  // namespace talu

int main() { return talu::Main(); }
