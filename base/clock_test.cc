#include "base/clock.h"

#include <gtest/gtest.h>

namespace talu {
namespace {

TEST(MonotonicNowNs, NeverGoesBack) {
  int64_t last = MonotonicNowNs();
  for (int step = 0; step < 10'000; ++step) {
    const int64_t now = MonotonicNowNs();
    ASSERT_GE(now, last);
    last = now;
  }
}

TEST(SleepForMs, SleepsNoShorterThanAsked) {
  // The longer ones several times, since it learns from them how the system waits.
  for (const int64_t ms : {1, 40, 40, 40, 40, 40, 40, 5, 2, 1}) {
    const int64_t start = MonotonicNowNs();
    SleepForMs(ms);
    // A timer may fire a tick of its own clock early.
    EXPECT_GE(MonotonicNowNs() - start, ms * kNsPerMs - kNsPerMs / 2);
  }
}

TEST(SleepForMs, ReturnsForNothingAndLess) {
  SleepForMs(0);
  SleepForMs(-1'000'000'000);
}

}  // namespace
}  // namespace talu
