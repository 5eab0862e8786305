// Comparing subjects in one run.
//
// Other work on the machine only ever adds time, so each subject's fastest go counts, and the
// subjects take turns, so that such work falls on all alike.
#pragma once

#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <limits>

namespace talu {

class FastestTime {
 public:
  // Times one go.
  template <typename Work>
  void Time(Work work) {
    const auto start = std::chrono::steady_clock::now();
    work();
    benchmark::ClobberMemory();
    const std::chrono::duration<double> took = std::chrono::steady_clock::now() - start;
    best = std::min(best, took.count());
  }

  double Seconds() const { return best; }

 private:
  double best = std::numeric_limits<double>::max();
};

}  // namespace talu
