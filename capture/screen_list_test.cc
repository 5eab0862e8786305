#include "capture/screen_list.h"

#include <gtest/gtest.h>

#include <limits>
#include <string>

namespace talu {
namespace {

TEST(DescribeScreen, SizeIsTheDistanceOfTheEdges) {
  const ScreenInfo screen = DescribeScreen(3, "name", -1024, 200, 896, 1280);
  EXPECT_EQ(screen.index, 3u);
  EXPECT_EQ(screen.name, "name");
  EXPECT_EQ(screen.left, -1024);
  EXPECT_EQ(screen.top, 200);
  EXPECT_EQ(screen.width, 1920);
  EXPECT_EQ(screen.height, 1080);
}

TEST(DescribeScreen, OnlyTheScreenAtTheOriginIsPrimary) {
  EXPECT_TRUE(DescribeScreen(0, "", 0, 0, 1, 1).primary);
  EXPECT_TRUE(DescribeScreen(5, "", 0, 0, 1, 1).primary);
  EXPECT_FALSE(DescribeScreen(0, "", 0, 1, 1, 2).primary);
  EXPECT_FALSE(DescribeScreen(0, "", -1, 0, 1, 1).primary);
}

TEST(DescribeScreen, NamesAreCutToWholeCharactersWithin63Bytes) {
  EXPECT_EQ(DescribeScreen(0, std::string(63, 'a'), 0, 0, 1, 1).name, std::string(63, 'a'));
  EXPECT_EQ(DescribeScreen(0, std::string(64, 'a'), 0, 0, 1, 1).name, std::string(63, 'a'));
  EXPECT_EQ(DescribeScreen(0, std::string(62, 'a') + "屏", 0, 0, 1, 1).name, std::string(62, 'a'));
}

TEST(DescribeScreen, EdgesBeyondReasonWrapInsteadOfOverflowing) {
  constexpr int32_t kLeast = std::numeric_limits<int32_t>::min();
  constexpr int32_t kMost = std::numeric_limits<int32_t>::max();
  EXPECT_EQ(DescribeScreen(0, "", kLeast, kLeast, kMost, kMost).width, -1);
}

}  // namespace
}  // namespace talu
