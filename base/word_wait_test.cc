#include "base/word_wait.h"

#include <gtest/gtest.h>

#include <thread>

namespace talu {
namespace {

TEST(WaitForChange, ReturnsAtOnceWhenTheValueIsAnother) {
  const std::atomic<uint32_t> value{1};
  WaitForChange(value, 2u);
}

// Each handing over is a chance to lose a wake-up; one lost hangs the test.
TEST(WaitForChange, NoWakeUpIsLostInAHundredThousandHandingsOver) {
  constexpr uint32_t kTurns = 100'000;
  std::atomic<uint32_t> turn{0};
  const auto play = [&turn](uint32_t parity) {
    for (uint32_t now = turn.load(); now < kTurns; now = turn.load()) {
      if (now % 2 != parity) {
        WaitForChange(turn, now);
        continue;
      }
      turn.store(now + 1);
      WakeWaiters(turn);
    }
  };
  std::thread other(play, 1);
  play(0);
  other.join();
  EXPECT_EQ(turn.load(), kTurns);
}

}  // namespace
}  // namespace talu
