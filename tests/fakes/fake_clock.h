// A clock in the hands of a test, linked in place of the real one (library fake_clock).
//
// Implements base/clock.h: time stands still but for SleepForMs, which returns at once and moves it
// on by what was asked. Any thread may call anything but Reset, which is for the test alone.
#pragma once

#include <cstdint>
#include <functional>

namespace talu {

class FakeClock {
 public:
  // Where the clock stands after Reset; not 0, so that a forgotten start time shows.
  static constexpr int64_t kStartNs = 5'000'000'000'000;

  // Back to kStartNs, no sleeps counted, no hook.
  static void Reset();

  static void AdvanceNs(int64_t ns);
  static void AdvanceMs(int64_t ms);

  // Milliseconds that all threads together asked to sleep since Reset, and how often they did.
  static int64_t SleptMs();
  static int64_t SleepCount();

  // Called by the sleeping thread after each sleep, with the milliseconds asked for: lets a script
  // act in the middle of a wait. Set it while no other thread sleeps.
  static void OnSleep(std::function<void(int64_t ms)> hook);
};

}  // namespace talu
