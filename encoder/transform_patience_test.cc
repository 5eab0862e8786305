#include "encoder/transform_patience.h"

#include <gtest/gtest.h>

#include "base/clock.h"

namespace talu {
namespace {

TEST(Deadline, IsReachedAtItsMomentAndAfter) {
  const Deadline deadline(1'000, 600);
  EXPECT_FALSE(deadline.Reached(1'000));
  EXPECT_FALSE(deadline.Reached(1'000 + 600 * kNsPerMs - 1));
  EXPECT_TRUE(deadline.Reached(1'000 + 600 * kNsPerMs));
  EXPECT_TRUE(deadline.Reached(1'000 + 601 * kNsPerMs));
}

TEST(MissedInput, CallsForSoftwareAtTheSecondPictureInARow) {
  int32_t streak = 0;
  EXPECT_FALSE(MissedInput(true, streak));
  EXPECT_EQ(streak, 1);
  EXPECT_TRUE(MissedInput(true, streak));
}

TEST(MissedInput, StartsOverAfterAnAcceptedPicture) {
  int32_t streak = 0;
  EXPECT_FALSE(MissedInput(true, streak));
  streak = 0;
  EXPECT_FALSE(MissedInput(true, streak));
}

TEST(MissedInput, NeverCallsForSoftwareWithoutHardware) {
  int32_t streak = 0;
  for (int picture = 0; picture < 100; ++picture) {
    EXPECT_FALSE(MissedInput(false, streak));
  }
  EXPECT_EQ(streak, 0);
}

constexpr int64_t kFrameNs = 33 * kNsPerMs;

// Offers pictures at 30 fps until the watch fires. Returns how long that took in ms.
int64_t MsUntilRebuild(SilenceWatch& watch, int64_t& nowNs) {
  const int64_t startNs = nowNs;
  while (!watch.PictureWithoutOutput(nowNs)) {
    nowNs += kFrameNs;
  }
  return (nowNs - startNs) / kNsPerMs;
}

TEST(SilenceWatch, FiresAfterThreeSecondsOfPicturesWithoutOutput) {
  SilenceWatch watch;
  watch.Start();
  int64_t nowNs = 0;
  EXPECT_EQ(MsUntilRebuild(watch, nowNs), 3003);
  EXPECT_EQ(watch.LastWaitSeconds(), 3);
}

TEST(SilenceWatch, StaysQuietUnlessStarted) {
  SilenceWatch watch;
  for (int64_t picture = 0; picture < 10'000; ++picture) {
    EXPECT_FALSE(watch.PictureWithoutOutput(picture * kFrameNs));
  }
}

TEST(SilenceWatch, StartsOverAtEachOutput) {
  SilenceWatch watch;
  watch.Start();
  for (int64_t picture = 0; picture < 10'000; ++picture) {
    EXPECT_FALSE(watch.PictureWithoutOutput(picture * kFrameNs));
    if (picture % 80 == 79) {
      watch.SawOutput();
    }
  }
}

TEST(SilenceWatch, TakesAPauseForNoFault) {
  SilenceWatch watch;
  watch.Start();
  EXPECT_FALSE(watch.PictureWithoutOutput(0));
  EXPECT_FALSE(watch.PictureWithoutOutput(3'600'000 * kNsPerMs));
}

TEST(SilenceWatch, WaitsForSixtyPicturesOfASlowSession) {
  SilenceWatch watch;
  watch.Start();
  for (int64_t picture = 0; picture < 59; ++picture) {
    EXPECT_FALSE(watch.PictureWithoutOutput(picture * 1000 * kNsPerMs));
  }
  EXPECT_TRUE(watch.PictureWithoutOutput(59'000 * kNsPerMs));
}

TEST(SilenceWatch, FiresOncePerStart) {
  SilenceWatch watch;
  watch.Start();
  int64_t nowNs = 0;
  MsUntilRebuild(watch, nowNs);
  EXPECT_FALSE(watch.PictureWithoutOutput(nowNs + 600'000 * kNsPerMs));
}

TEST(SilenceWatch, WaitsLongerAfterEachRebuildThatDidNotHelpUpToFiveMinutes) {
  SilenceWatch watch;
  int64_t nowNs = 0;
  for (const int64_t seconds : {3, 6, 12, 24, 48, 96, 192, 300, 300}) {
    watch.Start();
    const int64_t tookMs = MsUntilRebuild(watch, nowNs);
    EXPECT_GE(tookMs, seconds * 1000);
    EXPECT_LT(tookMs, seconds * 1000 + 33);
    EXPECT_EQ(watch.LastWaitSeconds(), seconds);
  }
}

TEST(SilenceWatch, WaitsThreeSecondsAgainOnceOutputCame) {
  SilenceWatch watch;
  int64_t nowNs = 0;
  watch.Start();
  MsUntilRebuild(watch, nowNs);
  watch.Start();
  watch.SawOutput();
  EXPECT_EQ(MsUntilRebuild(watch, nowNs), 3003);
}

}  // namespace
}  // namespace talu
