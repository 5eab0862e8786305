#include "input/pointer_map.h"

#include <gtest/gtest.h>

#include <limits>

#include "tests/fakes/fake_injection.h"

namespace talu {

void PrintTo(const AbsolutePoint& point, std::ostream* out) { *out << point.x << "," << point.y; }

namespace {

constexpr int32_t kMin = std::numeric_limits<int32_t>::min();
constexpr int32_t kMax = std::numeric_limits<int32_t>::max();

class MapToAbsoluteTest : public testing::Test {
 protected:
  MapToAbsoluteTest() { FakeInjection::Reset(); }
};

TEST_F(MapToAbsoluteTest, SpansASingleMonitor) {
  constexpr ScreenRect kRect{1920, 1080, 0, 0};
  EXPECT_EQ(MapToAbsolute(kRect, 0, 0), (AbsolutePoint{0, 0}));
  EXPECT_EQ(MapToAbsolute(kRect, 1919, 1079), (AbsolutePoint{65535, 65535}));
  EXPECT_EQ(MapToAbsolute(kRect, 960, 540),
            (AbsolutePoint{960 * 65535 / 1919, 540 * 65535 / 1079}));
}

TEST_F(MapToAbsoluteTest, MovesPointsOutsideToTheNearestEdge) {
  constexpr ScreenRect kRect{1920, 1080, 0, 0};
  EXPECT_EQ(MapToAbsolute(kRect, 5000, 5000), (AbsolutePoint{65535, 65535}));
  EXPECT_EQ(MapToAbsolute(kRect, -1, -1), (AbsolutePoint{0, 0}));
  EXPECT_EQ(MapToAbsolute(kRect, kMin, kMax), (AbsolutePoint{0, 65535}));
  EXPECT_EQ(MapToAbsolute(kRect, 1920, 1080), (AbsolutePoint{65535, 65535}));
}

TEST_F(MapToAbsoluteTest, StartsASecondMonitorAtItsPlace) {
  FakeInjection::SetVirtualDesktop(0, 0, 3840, 1080);
  EXPECT_EQ(MapToAbsolute({1920, 1080, 1920, 0}, 0, 0), (AbsolutePoint{32776, 0}));
  EXPECT_EQ(MapToAbsolute({1920, 1080, 1920, 0}, 1919, 1079), (AbsolutePoint{65535, 65535}));
}

TEST_F(MapToAbsoluteTest, CountsFromANegativeOrigin) {
  FakeInjection::SetVirtualDesktop(-1024, -100, 1024 + 1280, 868);
  EXPECT_EQ(MapToAbsolute({1280, 720, 0, 0}, 0, 0),
            (AbsolutePoint{1024 * 65535 / 2303, 100 * 65535 / 867}));
  EXPECT_EQ(MapToAbsolute({1024, 768, -1024, -100}, 0, 0), (AbsolutePoint{0, 0}));
}

TEST_F(MapToAbsoluteTest, TruncatesTowardsZeroLeftOfTheDesktop) {
  FakeInjection::SetVirtualDesktop(1, 1, 3, 3);
  EXPECT_EQ(MapToAbsolute({10, 10, 0, 0}, 0, 0), (AbsolutePoint{-32767, -32767}));
}

TEST_F(MapToAbsoluteTest, TakesThePrimaryScreensSizeForAnUnknownOne) {
  FakeInjection::SetMetric(kPrimaryWidthMetric, 800);
  FakeInjection::SetMetric(kPrimaryHeightMetric, 600);
  FakeInjection::SetVirtualDesktop(0, 0, 800, 600);
  for (const int32_t unknown : {0, -5, kMin}) {
    EXPECT_EQ(MapToAbsolute({unknown, unknown, 0, 0}, 5000, 5000), (AbsolutePoint{65535, 65535}));
  }
  EXPECT_EQ(MapToAbsolute({0, 300, 0, 0}, 799, 299), (AbsolutePoint{65535, 299 * 65535 / 599}));
}

TEST_F(MapToAbsoluteTest, TakesTheScreensSizeForAnUnknownDesktop) {
  FakeInjection::SetVirtualDesktop(0, 0, 0, -1);
  EXPECT_EQ(MapToAbsolute({200, 100, 0, 0}, 199, 99), (AbsolutePoint{65535, 65535}));
}

TEST_F(MapToAbsoluteTest, CountsAtLeastOnePixel) {
  FakeInjection::SetMetric(kPrimaryWidthMetric, 0);
  FakeInjection::SetMetric(kPrimaryHeightMetric, -3);
  FakeInjection::SetVirtualDesktop(0, 0, 0, 0);
  EXPECT_EQ(MapToAbsolute({0, 0, 0, 0}, 7, 7), (AbsolutePoint{0, 0}));
  EXPECT_EQ(MapToAbsolute({0, 0, 2, 3}, 7, 7), (AbsolutePoint{2 * 65535, 3 * 65535}));
}

TEST_F(MapToAbsoluteTest, DividesByOneForADesktopOfOnePixel) {
  FakeInjection::SetVirtualDesktop(0, 0, 1, 1);
  EXPECT_EQ(MapToAbsolute({1, 1, 1, 0}, 0, 0), (AbsolutePoint{65535, 0}));
}

TEST_F(MapToAbsoluteTest, StaysDefinedAtTheEndsOfTheNumbers) {
  for (const int32_t left : {kMin, -1, 0, kMax}) {
    for (const int32_t virtualLeft : {kMin, 0, kMax}) {
      for (const int32_t virtualWidth : {kMin, 1, 2, kMax}) {
        FakeInjection::SetVirtualDesktop(virtualLeft, virtualLeft, virtualWidth, virtualWidth);
        for (const int32_t at : {kMin, 0, kMax}) {
          MapToAbsolute({kMax, kMax, left, left}, at, at);
        }
      }
    }
  }
}

TEST_F(MapToAbsoluteTest, AsksTheSystemEachTimeAndNoMoreThanNeeded) {
  MapToAbsolute({100, 100, 0, 0}, 0, 0);
  EXPECT_EQ(FakeInjection::MetricCalls(), 4u);
  MapToAbsolute({0, 0, 0, 0}, 0, 0);
  EXPECT_EQ(FakeInjection::MetricCalls(), 4u + 6u);
  FakeInjection::SetVirtualDesktop(0, 0, 200, 100);
  EXPECT_EQ(MapToAbsolute({100, 100, 100, 0}, 99, 0), (AbsolutePoint{65535, 0}));
}

}  // namespace
}  // namespace talu
