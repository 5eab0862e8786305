#include "tests/fakes/fake_screen_capturer.h"

#include <gtest/gtest.h>

#include "capture/desktop_repaint.h"
#include "capture/screen_capturer.h"

namespace talu {
namespace {

class FakeScreenCapturer : public testing::Test {
 protected:
  void SetUp() override { capture.Reset(); }
  void TearDown() override { capture.Reset(); }

  FakeCapture& capture = FakeCapture::Get();
};

TEST_F(FakeScreenCapturer, GivesPicturesOfTheCurrentScreenByDefault) {
  ScreenCapturer capturer;
  ASSERT_TRUE(capturer.Init(0));
  const CapturedFrame frame = capturer.CaptureFrame(100);
  ASSERT_TRUE(frame.valid);
  EXPECT_EQ(frame.width, 1280);
  EXPECT_EQ(frame.height, 720);
  EXPECT_EQ(frame.pixels[3], 255);
  EXPECT_EQ(capture.Calls(), (std::vector<std::string>{"Init 0", "CaptureFrame 100"}));
}

TEST_F(FakeScreenCapturer, FollowsTheScriptThenTheDefault) {
  ScreenCapturer capturer;
  ASSERT_TRUE(capturer.Init(0));
  capture.GiveFrame(3, 5, 0x01020304);
  capture.GiveNothing(2);
  capture.SetStill(true);
  const CapturedFrame frame = capturer.CaptureFrame(50);
  ASSERT_TRUE(frame.valid);
  EXPECT_EQ(frame.width * frame.height, 15);
  EXPECT_EQ(frame.pixels[0], 4);
  EXPECT_EQ(frame.pixels[3], 1);
  for (int i = 0; i < 3; ++i) {
    EXPECT_FALSE(capturer.CaptureFrame(50).valid);
  }
  EXPECT_EQ(capture.FramesGiven(), 1);
  EXPECT_EQ(capture.Grabs(), 4);
}

TEST_F(FakeScreenCapturer, SwitchesToListedScreensOnlyAndSendsTheCursorAgain) {
  ScreenInfo second;
  second.index = 2;
  second.width = 640;
  second.height = 480;
  capture.SetScreens({ScreenInfo{}, second});
  ScreenCapturer capturer;
  ASSERT_TRUE(capturer.Init(0));
  EXPECT_FALSE(capturer.SelectOutput(1));
  CursorUpdate update;
  EXPECT_FALSE(capturer.TakeCursorUpdate(update));
  capture.FailSelects(1);
  EXPECT_FALSE(capturer.SelectOutput(2));
  EXPECT_TRUE(capturer.SelectOutput(2));
  EXPECT_TRUE(capturer.TakeCursorUpdate(update));
  EXPECT_FALSE(capturer.TakeCursorUpdate(update));
  EXPECT_EQ(capturer.CurrentOutput(), 2u);
  EXPECT_EQ(capturer.CaptureFrame(50).width, 640);
}

TEST_F(FakeScreenCapturer, FailsAsOftenAsAsked) {
  ScreenCapturer capturer;
  capture.FailInits(2);
  EXPECT_FALSE(capturer.Init(0));
  EXPECT_FALSE(capturer.Init(0));
  EXPECT_FALSE(capturer.CaptureFrame(50).valid);
  EXPECT_TRUE(capturer.Init(0));
  capture.FailSelects(FakeCapture::kForever);
  EXPECT_FALSE(capturer.SelectOutput(0));
  EXPECT_FALSE(capturer.SelectOutput(0));
}

TEST_F(FakeScreenCapturer, GivesACursorOnceAndCountsRepaints) {
  ScreenCapturer capturer;
  CursorUpdate given;
  given.visible = true;
  given.width = 1;
  given.height = 1;
  given.image = {1, 2, 3, 4};
  capture.GiveCursor(given);
  CursorUpdate taken;
  ASSERT_TRUE(capturer.TakeCursorUpdate(taken));
  EXPECT_EQ(taken.image, given.image);
  EXPECT_FALSE(capturer.TakeCursorUpdate(taken));
  ProvokeDesktopRepaint();
  EXPECT_EQ(capture.Repaints(), 1);
}

TEST_F(FakeScreenCapturer, LetsAScriptActDuringAGrab) {
  ScreenCapturer capturer;
  ASSERT_TRUE(capturer.Init(0));
  capture.OnGrab([this](int64_t grab, uint32_t timeoutMs) {
    if (grab == 2 && timeoutMs == 50) {
      capture.GiveFrame(8, 6);
    }
  });
  EXPECT_EQ(capturer.CaptureFrame(50).width, 1280);
  EXPECT_EQ(capturer.CaptureFrame(50).width, 8);
  EXPECT_EQ(capture.Overlaps(), 0);
}

}  // namespace
}  // namespace talu
