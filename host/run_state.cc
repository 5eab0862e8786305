#include "host/run_state.h"

#include <array>
#include <cstdio>

#include "base/clock.h"

namespace talu {
namespace {

constexpr int64_t kWaitStepMs = 200;

}  // namespace

std::atomic<bool> g_running{true};

void StdinWatcher() {
  std::array<char, 256> line;
  while (g_running.load()) {
    if (std::fgets(line.data(), static_cast<int>(line.size()), stdin) == nullptr) {
      g_running.store(false);
    }
  }
}

void WaitWhileRunning() {
  while (g_running.load()) {
    SleepForMs(kWaitStepMs);
  }
}

}  // namespace talu
