#include "base/gate.h"

#include <gtest/gtest.h>

#include <memory>
#include <thread>
#include <vector>

namespace talu {
namespace {

TEST(Gate, LetsUsersInUntilItIsClosed) {
  Gate gate;
  {
    GatePass first(gate);
    GatePass second(gate);
    EXPECT_TRUE(first);
    EXPECT_TRUE(second);
  }
  GateClosing closing(gate);
  EXPECT_FALSE(GatePass(gate));
}

TEST(Gate, LetsUsersInAgainOnceOpened) {
  Gate gate;
  gate.Close();
  gate.Open();
  EXPECT_TRUE(GatePass(gate));
}

TEST(Gate, CloseWaitsForEveryUserInside) {
  Gate gate;
  std::atomic<bool> closed{false};
  ASSERT_TRUE(gate.TryEnter());
  std::thread closer([&] {
    gate.Close();
    closed.store(true);
  });
  while (gate.TryEnter()) {
    gate.Leave();
  }
  EXPECT_FALSE(closed.load());
  gate.Leave();
  closer.join();
  EXPECT_TRUE(closed.load());
}

TEST(Gate, EnterWaitsForTheGateToOpen) {
  Gate gate;
  gate.Close();
  std::atomic<bool> entered{false};
  std::thread user([&] {
    gate.Enter();
    entered.store(true);
    gate.Leave();
  });
  EXPECT_FALSE(entered.load());
  gate.Open();
  user.join();
  EXPECT_TRUE(entered.load());
}

// What the gate is for: the thing is replaced again and again while others use it.
TEST(Gate, NoUserEverMeetsAThingThatIsBeingReplaced) {
  Gate gate;
  auto thing = std::make_unique<int>(0);
  std::atomic<bool> done{false};
  std::vector<std::thread> users;
  users.reserve(3);
  for (int number = 0; number < 3; ++number) {
    users.emplace_back([&] {
      int last = 0;
      while (!done.load()) {
        GatePass pass(gate);
        if (pass) {
          EXPECT_GE(*thing, last);
          last = *thing;
        }
      }
    });
  }
  std::vector<std::thread> replacers;
  replacers.reserve(2);
  for (int number = 0; number < 2; ++number) {
    replacers.emplace_back([&] {
      for (int round = 0; round < 2000; ++round) {
        GateClosing closing(gate);
        thing = std::make_unique<int>(*thing + 1);
      }
    });
  }
  for (std::thread& replacer : replacers) {
    replacer.join();
  }
  done.store(true);
  for (std::thread& user : users) {
    user.join();
  }
  EXPECT_EQ(*thing, 4000);
}

}  // namespace
}  // namespace talu
