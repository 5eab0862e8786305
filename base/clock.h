// The one clock of the program. Any thread may call these.
#pragma once

#include <cstdint>

namespace talu {

constexpr int64_t kNsPerMs = 1'000'000;

// Nanoseconds on a steady clock with an arbitrary start.
int64_t MonotonicNowNs();

// Sleeps for the given milliseconds, to a fraction of a millisecond; returns at once for 0 or less.
void SleepForMs(int64_t ms);

}  // namespace talu
