#include "base/log_budget.h"

#include <gtest/gtest.h>

#include <thread>
#include <vector>

namespace talu {
namespace {

TEST(LogBudget, AllowsItsLinesAndNoMore) {
  LogBudget budget(3);
  EXPECT_TRUE(budget.Take());
  EXPECT_TRUE(budget.Take());
  EXPECT_TRUE(budget.Take());
  EXPECT_FALSE(budget.Take());
  EXPECT_FALSE(budget.Take());
}

// So many that the threads meet: a few thousand are gone before the second thread has begun.
TEST(LogBudget, GivesEachLineToOneThreadOnly) {
  constexpr int kLines = 300'000;
  constexpr int kThreads = 4;
  LogBudget budget(kLines);
  std::atomic<int> ready{0};
  std::atomic<int> taken{0};
  std::vector<std::thread> threads;
  for (int number = 0; number < kThreads; ++number) {
    threads.emplace_back([&] {
      ++ready;
      while (ready < kThreads) std::this_thread::yield();
      int own = 0;
      for (int attempt = 0; attempt < kLines; ++attempt) {
        if (budget.Take()) ++own;
      }
      taken += own;
    });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
  EXPECT_EQ(taken.load(), kLines);
}

}  // namespace
}  // namespace talu
