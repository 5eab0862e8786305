// How often a noisy place may write to the log: its first few times, then never again.
//
// One object per place, for the life of the process, taken from by any thread. Two threads never
// both get the last line.
#pragma once

#include <atomic>
#include <cstdint>

namespace talu {

class LogBudget {
 public:
  explicit constexpr LogBudget(uint32_t lineCount) : left(lineCount) {}

  // True for the first lineCount calls of the process.
  bool Take() {
    uint32_t now = left.load(std::memory_order_relaxed);
    while (now > 0) {
      if (left.compare_exchange_weak(now, now - 1, std::memory_order_relaxed)) {
        return true;
      }
    }
    return false;
  }

  // For tests, which share one process: allows lineCount lines again.
  void Refill(uint32_t lineCount) { left.store(lineCount, std::memory_order_relaxed); }

 private:
  std::atomic<uint32_t> left;
};

}  // namespace talu
