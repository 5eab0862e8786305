#include "devkit/wine/desktop/layout.h"

#include <gtest/gtest.h>

namespace talu {
namespace {

TEST(Layout, ThePrimaryIsFirstAndTheOriginOfTheOthers) {
  const auto monitors =
      ArrangeMonitors({{10, true, 1024, 0, 1280, 720}, {11, true, 0, 0, 1024, 768}}, 10);
  ASSERT_EQ(monitors.size(), 2u);
  EXPECT_EQ(monitors[0], (X11Monitor{1, 1024, 0, 1280, 720, 0, 0}));
  EXPECT_EQ(monitors[1], (X11Monitor{2, 0, 0, 1024, 768, -1024, 0}));
}

TEST(Layout, ThePrimaryChangesPlacesWithTheFirst) {
  const auto monitors = ArrangeMonitors(
      {{10, true, 0, 0, 100, 100}, {11, true, 100, 0, 110, 110}, {12, true, 210, 0, 120, 120}}, 12);
  ASSERT_EQ(monitors.size(), 3u);
  EXPECT_EQ(monitors[0].width, 120);
  EXPECT_EQ(monitors[1].width, 110);
  EXPECT_EQ(monitors[2].width, 100);
  EXPECT_EQ(monitors[2].left, -210);
}

TEST(Layout, WithoutANamedPrimaryTheMonitorAtTheCornerIsIt) {
  const auto monitors =
      ArrangeMonitors({{10, true, 800, 0, 640, 480}, {11, true, 0, 0, 800, 600}}, 0);
  ASSERT_EQ(monitors.size(), 2u);
  EXPECT_EQ(monitors[0].width, 800);
}

TEST(Layout, APrimaryThatShowsNothingIsNone) {
  const auto monitors = ArrangeMonitors({{10, true, 0, 0, 0, 0}, {11, true, 5, 5, 800, 600}}, 10);
  ASSERT_EQ(monitors.size(), 1u);
  EXPECT_EQ(monitors[0], (X11Monitor{1, 5, 5, 800, 600, 0, 0}));
}

TEST(Layout, SwitchedOffMonitorsTakeANumberDisconnectedOnesNone) {
  const auto monitors = ArrangeMonitors({{9, false, 0, 0, 0, 0},
                                         {10, true, 0, 0, 100, 100},
                                         {11, true, 0, 0, 0, 0},
                                         {12, true, 100, 0, 120, 120}},
                                        10);
  ASSERT_EQ(monitors.size(), 2u);
  EXPECT_EQ(monitors[0].display, 1);
  EXPECT_EQ(monitors[1].display, 3);
}

TEST(Layout, NoMonitorThatShowsAnythingGivesNone) {
  EXPECT_TRUE(ArrangeMonitors({}, 0).empty());
  EXPECT_TRUE(ArrangeMonitors({{10, true, 0, 0, 0, 0}}, 10).empty());
}

TEST(Layout, MoreMonitorsThanThereIsRoomForAreLeftOut) {
  std::vector<X11Output> outputs;
  for (uint32_t i = 0; i < 20; ++i) outputs.push_back({i + 1, true, 0, 0, 100, 100});
  EXPECT_EQ(ArrangeMonitors(outputs, 1).size(), static_cast<size_t>(kX11MaxMonitors));
}

}  // namespace
}  // namespace talu
