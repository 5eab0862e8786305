#include <gtest/gtest.h>

#include <cstdio>
#include <thread>
#include <vector>

#include "base/clock.h"
#include "base/log.h"
#include "tests/fakes/fake_clock.h"
#include "tests/fakes/log_capture.h"

namespace talu {
namespace {

TEST(FakeClock, MovesOnlyBySleepingAndByHand) {
  FakeClock::Reset();
  EXPECT_EQ(MonotonicNowNs(), FakeClock::kStartNs);
  SleepForMs(300);
  SleepForMs(0);
  FakeClock::AdvanceMs(2);
  FakeClock::AdvanceNs(5);
  EXPECT_EQ(MonotonicNowNs(), FakeClock::kStartNs + 302 * kNsPerMs + 5);
  EXPECT_EQ(FakeClock::SleptMs(), 300);
  EXPECT_EQ(FakeClock::SleepCount(), 2);
}

TEST(FakeClock, CallsTheHookAfterEachSleep) {
  FakeClock::Reset();
  std::vector<int64_t> slept;
  FakeClock::OnSleep([&](int64_t ms) { slept.push_back(ms); });
  SleepForMs(1);
  SleepForMs(50);
  FakeClock::Reset();
  SleepForMs(7);
  EXPECT_EQ(slept, (std::vector<int64_t>{1, 50}));
}

TEST(LogCapture, HoldsWhatIsWrittenInItsScopeWithPlainLineEnds) {
  LogPrintf("before\n");
  LogCapture log;
  EXPECT_EQ(log.Text(), "");
  LogPrintf("[agent] 软件 %d\n", 1);
  std::printf("half");
  EXPECT_EQ(log.Text(), "[agent] 软件 1\nhalf");
  EXPECT_EQ(log.Lines(), std::vector<std::string>{"[agent] 软件 1"});
}

TEST(LogCapture, StartsEmptyEachTime) {
  {
    LogCapture first;
    LogPrintf("one\n");
  }
  LogCapture second;
  EXPECT_EQ(second.Text(), "");
}

TEST(LogCapture, HoldsTheLinesOfAllThreads) {
  LogCapture log;
  std::vector<std::thread> writers;
  writers.reserve(4);
  for (int writer = 0; writer < 4; ++writer) {
    writers.emplace_back([] {
      for (int line = 0; line < 50; ++line) LogPrintf("line\n");
    });
  }
  for (std::thread& writer : writers) writer.join();
  EXPECT_EQ(log.Lines(), std::vector<std::string>(200, "line"));
}

}  // namespace
}  // namespace talu
