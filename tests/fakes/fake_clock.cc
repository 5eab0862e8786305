#include "tests/fakes/fake_clock.h"

#include <atomic>
#include <utility>

#include "base/clock.h"

namespace talu {
namespace {

std::atomic<int64_t> nowNs{FakeClock::kStartNs};
std::atomic<int64_t> sleptMs{0};
std::atomic<int64_t> sleepCount{0};
std::function<void(int64_t)> sleepHook;

}  // namespace

int64_t MonotonicNowNs() { return nowNs.load(); }

void SleepForMs(int64_t ms) {
  if (ms > 0) {
    nowNs += ms * kNsPerMs;
    sleptMs += ms;
  }
  ++sleepCount;
  if (sleepHook) {
    sleepHook(ms);
  }
}

void FakeClock::Reset() {
  nowNs = kStartNs;
  sleptMs = 0;
  sleepCount = 0;
  sleepHook = nullptr;
}

void FakeClock::AdvanceNs(int64_t ns) { nowNs += ns; }

void FakeClock::AdvanceMs(int64_t ms) { nowNs += ms * kNsPerMs; }

int64_t FakeClock::SleptMs() { return sleptMs.load(); }

int64_t FakeClock::SleepCount() { return sleepCount.load(); }

void FakeClock::OnSleep(std::function<void(int64_t)> hook) { sleepHook = std::move(hook); }

}  // namespace talu
