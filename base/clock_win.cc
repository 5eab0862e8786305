#include <windows.h>

#include <timeapi.h>

#include "base/clock.h"

namespace talu {
namespace {

// CREATE_WAITABLE_TIMER_HIGH_RESOLUTION, which mingw's headers do not have yet.
constexpr DWORD kHighResolutionTimer = 0x00000002;

// Windows' timer ticks every 15.6 ms by default, too coarse for 30 or 60 fps and for 1 ms polls.
// Each thread keeps one high-resolution timer (Windows 10 1803 and later). Where the system lacks
// it, an ordinary timer is used with the system's tick raised to 1 ms for the life of the process.
HANDLE CreateTimer() {
  HANDLE const timer =
      CreateWaitableTimerExW(nullptr, nullptr, kHighResolutionTimer, TIMER_ALL_ACCESS);
  if (timer != nullptr) {
    return timer;
  }
  timeBeginPeriod(1);
  return CreateWaitableTimerExW(nullptr, nullptr, 0, TIMER_ALL_ACCESS);
}

void WINAPI CloseTimer(void* timer) {
  if (timer != nullptr) {
    CloseHandle(timer);
  }
}

// Null when none could be had. Kept in a slot of the system's, which closes it when the thread
// ends: the compiler's runtime frees what is thread_local before it runs the destructors of it.
HANDLE ThreadTimer() {
  static const DWORD slot = FlsAlloc(CloseTimer);
  HANDLE timer = FlsGetValue(slot);
  if (timer == nullptr) {
    timer = CreateTimer();
    if (!FlsSetValue(slot, timer)) {
      CloseTimer(timer);
      return nullptr;
    }
  }
  return timer;
}

// False when there was no timer to sleep by.
bool SleepByTimer(HANDLE timer, int64_t ms) {
  constexpr int64_t kTimerUnitsPerMs = 10'000;  // 100 ns
  LARGE_INTEGER relative;
  relative.QuadPart = -ms * kTimerUnitsPerMs;
  return timer != nullptr && SetWaitableTimer(timer, &relative, 0, nullptr, nullptr, FALSE) &&
         WaitForSingleObject(timer, INFINITE) == WAIT_OBJECT_0;
}

int64_t CounterFrequency() {
  LARGE_INTEGER frequency;
  QueryPerformanceFrequency(&frequency);  // Cannot fail since Windows XP.
  return frequency.QuadPart;
}

}  // namespace

int64_t MonotonicNowNs() {
  static const int64_t frequency = CounterFrequency();
  constexpr int64_t kNsPerSecond = 1'000'000'000;
  LARGE_INTEGER now;
  QueryPerformanceCounter(&now);
  // In two parts, since counter times 1e9 leaves 64 bits after a few hours.
  const int64_t seconds = now.QuadPart / frequency;
  const int64_t rest = now.QuadPart % frequency;
  return seconds * kNsPerSecond + rest * kNsPerSecond / frequency;
}

void SleepForMs(int64_t ms) {
  if (ms <= 0) {
    return;
  }
  if (!SleepByTimer(ThreadTimer(), ms)) {
    Sleep(static_cast<DWORD>(ms));
  }
}

}  // namespace talu
