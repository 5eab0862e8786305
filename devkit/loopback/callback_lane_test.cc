#include "devkit/loopback/callback_lane.h"

#include <gtest/gtest.h>

#include <string>
#include <thread>

#include "devkit/loopback/test_kit.h"

namespace talu::loopback {
namespace {

TEST(CallbackLane, RunsTasksInOrderOnAThreadOfItsOwn) {
  EventLog events;
  const std::thread::id here = std::this_thread::get_id();
  CallbackLane lane(1000, nullptr);
  for (int i = 0; i < 100; ++i) {
    lane.Post(
        [&events, i, here] {
          EXPECT_NE(std::this_thread::get_id(), here);
          EXPECT_TRUE(CallbackLane::IsOnAnyLane());
          events.Add(std::to_string(i));
        },
        1);
  }
  EXPECT_TRUE(events.WaitFor("99"));
  const std::vector<std::string> all = events.All();
  for (int i = 0; i < 100; ++i) EXPECT_EQ(all[static_cast<size_t>(i)], std::to_string(i));
  EXPECT_FALSE(CallbackLane::IsOnAnyLane());
}

TEST(CallbackLane, SaysWhenItIsFullAndWhenThereIsRoom) {
  EventLog events;
  CallbackLane lane(100, [&events] { events.Add("room"); });
  EXPECT_TRUE(lane.Post([&events] { events.WaitFor("go on"); }, 60));
  EXPECT_FALSE(lane.Post([] {}, 60));
  EXPECT_EQ(lane.WaitingBytes(), 120u);
  EXPECT_EQ(events.CountOf("room"), 0u);
  events.Add("go on");
  EXPECT_TRUE(events.WaitFor("room"));
  EXPECT_EQ(events.CountOf("room"), 1u);
}

TEST(CallbackLane, ManySmallTasksAreFullToo) {
  EventLog events;
  CallbackLane lane(100, nullptr);
  lane.Post([&events] { events.WaitFor("go on"); }, 0);
  int posted = 0;
  while (lane.Post([] {}, 0)) ++posted;
  EXPECT_GT(posted, 1000);
  events.Add("go on");
}

TEST(CallbackLane, ClosingWaitsForTheCallbackThatRuns) {
  EventLog events;
  CallbackLane lane(100, nullptr);
  lane.Post(
      [&] {
        events.Add("begun");
        events.Add("ran");
      },
      1);
  EXPECT_TRUE(events.WaitFor("begun"));
  lane.Close(CallbackLane::Rest::kDrop);
  EXPECT_EQ(events.CountOf("ran"), 1u);
  EXPECT_TRUE(lane.Post([&] { events.Add("late"); }, 1));
  EXPECT_EQ(lane.WaitingTasks(), 0u);
}

TEST(CallbackLane, ClosingDropsOrRunsTheRest) {
  for (const auto rest : {CallbackLane::Rest::kDrop, CallbackLane::Rest::kRun}) {
    EventLog events;
    CallbackLane lane(100, nullptr);
    lane.Post(
        [&] {
          events.Add("begun");
          events.WaitFor("go on");
        },
        0);
    EXPECT_TRUE(events.WaitFor("begun"));
    lane.Post([&] { events.Add("rest"); }, 10);
    std::thread closer([&] { lane.Close(rest); });
    if (rest == CallbackLane::Rest::kDrop) {
      // Dropped before the callback is let go on.
      while (lane.WaitingTasks() > 0) std::this_thread::yield();
    }
    events.Add("go on");
    closer.join();
    EXPECT_EQ(events.CountOf("rest"), rest == CallbackLane::Rest::kRun ? 1u : 0u);
  }
}

}  // namespace
}  // namespace talu::loopback
