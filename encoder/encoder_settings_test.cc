#include "encoder/encoder_settings.h"

#include <gtest/gtest.h>

#include <limits>

namespace talu {
namespace {

constexpr int32_t kMin = std::numeric_limits<int32_t>::min();
constexpr int32_t kMax = std::numeric_limits<int32_t>::max();

TEST(RequestedFps, Is30ForZeroAndBelow) {
  EXPECT_EQ(RequestedFps(0), 30);
  EXPECT_EQ(RequestedFps(-1), 30);
  EXPECT_EQ(RequestedFps(kMin), 30);
  EXPECT_EQ(RequestedFps(1), 1);
  EXPECT_EQ(RequestedFps(144), 144);
}

TEST(SettledFps, IsCappedAt30InSoftwareOnly) {
  EXPECT_EQ(SettledFps(60, false), 30);
  EXPECT_EQ(SettledFps(31, false), 30);
  EXPECT_EQ(SettledFps(30, false), 30);
  EXPECT_EQ(SettledFps(25, false), 25);
  EXPECT_EQ(SettledFps(60, true), 60);
  EXPECT_EQ(SettledFps(1000, true), 1000);
}

TEST(GopLength, FollowsTheSettledRateForTwoSeconds) {
  EXPECT_EQ(GopLength(30), 60u);
  EXPECT_EQ(GopLength(25), 50u);
  EXPECT_EQ(GopLength(1), 2u);
}

TEST(BitsPerSecond, IsAThousandPerKbitAndWrapsForAbsurdRates) {
  EXPECT_EQ(BitsPerSecond(8000), 8'000'000u);
  EXPECT_EQ(BitsPerSecond(1), 1000u);
  EXPECT_EQ(BitsPerSecond(0), 0u);
  EXPECT_EQ(BitsPerSecond(kMax), 4'294'966'296u);
}

TEST(SampleTime, Of1000MsIsTenMillion) {
  EXPECT_EQ(SampleTime(1000), 10'000'000);
  EXPECT_EQ(SampleTime(0), 0);
  EXPECT_EQ(SampleTime(33), 330'000);
  EXPECT_EQ(SampleTime(-1), -10'000);
  SampleTime(std::numeric_limits<int64_t>::max());  // Wraps, without overflow.
}

TEST(SampleDuration, IsASecondOverTheRateRoundedDown) {
  EXPECT_EQ(SampleDuration(30), 333'333);
  EXPECT_EQ(SampleDuration(25), 400'000);
  EXPECT_EQ(SampleDuration(60), 166'666);
}

TEST(SampleDuration, TakesARateThatIsNoneAsTheDefault) {
  EXPECT_EQ(SampleDuration(0), 333'333);
  EXPECT_EQ(SampleDuration(-5), 333'333);
}

TEST(TimestampMs, OfSampleTime9999999Is999) {
  EXPECT_EQ(TimestampMs(9'999'999), 999);
  EXPECT_EQ(TimestampMs(10'000'000), 1000);
  EXPECT_EQ(TimestampMs(9'999), 0);
}

TEST(TimestampMs, TruncatesTowardZero) {
  EXPECT_EQ(TimestampMs(-9'999), 0);
  EXPECT_EQ(TimestampMs(-10'001), -1);
}

TEST(PackPair, KeepsTheFirstInTheHighHalf) {
  EXPECT_EQ(PackPair(1280, 720), 0x00000500'000002D0u);
  EXPECT_EQ(PackPair(0xFFFFFFFF, 0xFFFFFFFF), 0xFFFFFFFF'FFFFFFFFu);
}

TEST(IsEncodableSize, HoldsFromOnePixelToTheLargestTexture) {
  EXPECT_TRUE(IsEncodableSize(1, 1));
  EXPECT_TRUE(IsEncodableSize(16384, 16384));
  EXPECT_FALSE(IsEncodableSize(0, 720));
  EXPECT_FALSE(IsEncodableSize(1280, 0));
  EXPECT_FALSE(IsEncodableSize(-2, 720));
  EXPECT_FALSE(IsEncodableSize(16385, 720));
  EXPECT_FALSE(IsEncodableSize(1280, kMax));
}

TEST(EvenSize, LeavesTheOddPixelOut) {
  EXPECT_EQ(EvenSize(1366), 1366);
  EXPECT_EQ(EvenSize(1367), 1366);
  EXPECT_EQ(EvenSize(1), 0);
  EXPECT_EQ(EvenSize(0), 0);
}

}  // namespace
}  // namespace talu
