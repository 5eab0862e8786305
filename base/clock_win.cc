#include <windows.h>

#include <timeapi.h>

#include <atomic>

#include "base/clock.h"

namespace talu {
namespace {

constexpr int64_t kNsPerTimerUnit = 100;

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

LARGE_INTEGER FromNow(int64_t ns) {
  LARGE_INTEGER relative;
  // Rounded up: nothing is due before its time.
  relative.QuadPart = -((ns + kNsPerTimerUnit - 1) / kNsPerTimerUnit);
  return relative;
}

// False when there was no timer to sleep by.
bool SleepByTimer(HANDLE timer, int64_t ns) {
  const LARGE_INTEGER relative = FromNow(ns);
  return timer != nullptr && SetWaitableTimer(timer, &relative, 0, nullptr, nullptr, FALSE) &&
         WaitForSingleObject(timer, INFINITE) == WAIT_OBJECT_0;
}

// The system's plain wait, what Sleep is made of, for less than a millisecond, too.
void WaitPlainly(int64_t ns) {
  using DelayExecution = LONG(NTAPI*)(BOOLEAN alertable, const LARGE_INTEGER* interval);
  static const auto delay = reinterpret_cast<DelayExecution>(
      reinterpret_cast<void*>(GetProcAddress(GetModuleHandleW(L"ntdll.dll"), "NtDelayExecution")));
  if (delay != nullptr) {
    const LARGE_INTEGER relative = FromNow(ns);
    delay(FALSE, &relative);
  }
}

// Whether plain waits end when they should. Windows lets them end with a tick of its own, half a
// millisecond or more apart. Where another kernel carries Windows programs they are exact, and it
// is the timers that are late, by up to a millisecond, since they go through a server. Which it is
// shows in waits shorter than any tick; several of them, because any may be late on a busy machine.
// Process-wide; any thread.
class PlainWaits {
 public:
  bool AreExact() const { return known.load(); }

  // Takes half a millisecond, or two ticks; nothing once it is known.
  void TryOnce() {
    if (AreExact() || tries.load() == kMostTries) {
      return;
    }
    ++tries;
    // Where there are ticks, the second wait begins with one and takes a whole one.
    WaitPlainly(kTriedNs);
    const int64_t beginNs = MonotonicNowNs();
    WaitPlainly(kTriedNs);
    const int64_t tookNs = MonotonicNowNs() - beginNs;
    if (tookNs < kTriedNs || tookNs > kLongestNs) {
      return;
    }
    ++exactOnes;
    known.store(exactOnes.load() >= kConvincing && exactOnes.load() * kOneIn >= tries.load());
  }

 private:
  static constexpr int64_t kTriedNs = 200'000;
  static constexpr int64_t kLongestNs = 400'000;
  static constexpr int kConvincing = 3;
  static constexpr int kOneIn = 4;
  static constexpr int kMostTries = 100;

  std::atomic<int> tries{0};
  std::atomic<int> exactOnes{0};
  std::atomic<bool> known{false};
};

PlainWaits plainWaits;

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
  // A tick is 15.6 ms where nobody has asked for a shorter one.
  constexpr int64_t kTwoTicksMs = 32;
  if (ms <= 0) {
    return;
  }
  const int64_t endNs = MonotonicNowNs() + ms * kNsPerMs;
  if (ms >= kTwoTicksMs) {
    plainWaits.TryOnce();
  }
  const int64_t leftNs = endNs - MonotonicNowNs();
  if (leftNs <= 0) {
    return;
  }
  // Polls of a millisecond need not be exact.
  if (ms > 1 && plainWaits.AreExact()) {
    WaitPlainly(leftNs);
  } else if (!SleepByTimer(ThreadTimer(), leftNs)) {
    Sleep(static_cast<DWORD>(ms));
  }
}

}  // namespace talu
