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

TEST(LogBudget, GivesEachLineToOneThreadOnly) {
  LogBudget budget(1000);
  std::atomic<int> taken{0};
  std::vector<std::thread> threads;
  for (int number = 0; number < 4; ++number) {
    threads.emplace_back([&] {
      for (int attempt = 0; attempt < 1000; ++attempt) {
        if (budget.Take()) taken.fetch_add(1);
      }
    });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
  EXPECT_EQ(taken.load(), 1000);
}

}  // namespace
}  // namespace talu
