#include "session/stream_loop.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <string>
#include <vector>

#include "base/clock.h"
#include "session/even_picture.h"
#include "session/frame_pacing.h"
#include "session/frame_sender.h"
#include "session/stream_sdk_loader.h"
#include "tests/fakes/fake_clock.h"
#include "tests/fakes/fake_h264_encoder.h"
#include "tests/fakes/fake_injection.h"
#include "tests/fakes/fake_screen_capturer.h"
#include "tests/fakes/fake_stream_library.h"
#include "tests/fakes/log_capture.h"

namespace talu {
namespace {

ScreenInfo Screen(uint32_t index, int32_t width, int32_t height, int32_t left, int32_t top) {
  ScreenInfo screen;
  screen.index = index;
  screen.name = "S" + std::to_string(index);
  screen.width = width;
  screen.height = height;
  screen.left = left;
  screen.top = top;
  screen.primary = left == 0 && top == 0;
  return screen;
}

// The loop on the test's own thread and clock, over a 64 x 48 screen with a second one beside it.
class StreamLoopTest : public testing::Test {
 protected:
  StreamLoopTest() {
    FakeClock::Reset();
    capture.Reset();
    encoder.Reset();
    library.Reset();
    ForgetStreamSdk();
    capture.SetScreens({Screen(0, 64, 48, 0, 0), Screen(1, 32, 24, 64, 0)});
    screen = std::make_unique<StreamedScreen>(flags, session, input);
    EXPECT_TRUE(LoadStreamSdk());
    SdkSessionHandle handle = nullptr;
    const SdkSessionParams params{"", "", "", 0, 0, 0, 1, 0};
    ProcessStreamSdk().session_create(&params, &handle);
    session.Open(ProcessStreamSdk(), handle);
    EXPECT_TRUE(screen->Open());
    screen->SetRates(30, 8000, 0);
    EXPECT_TRUE(screen->BuildEncoder());
    flags.streaming.store(true);
  }

  ~StreamLoopTest() override {
    capture.OnGrab(nullptr);
    FakeClock::Reset();
    screen.reset();
    ProcessStreamSdk().session_destroy(session.Close());
  }

  // Runs until the given number of grabs has been made, calling act before each, from 1.
  void RunGrabs(int64_t grabs, const std::function<void(int64_t)>& act = nullptr) {
    const int64_t before = capture.Grabs();
    capture.OnGrab([this, grabs, before, act](int64_t grab, uint32_t) {
      if (act) act(grab - before);
      if (grab - before >= grabs) flags.streaming.store(false);
    });
    Run();
  }

  void Run() { StreamLoop(*screen, flags, session, ProcessStreamSdk()); }

  std::vector<int64_t> SentTimestamps() {
    std::vector<int64_t> timestamps;
    for (const SentFrame& frame : library.Frames()) {
      timestamps.push_back(frame.record.timestampMs);
    }
    return timestamps;
  }

  // What was sent to the controller, cursor shapes left out.
  std::vector<std::string> TextMessages() {
    std::vector<std::string> texts = library.Messages();
    std::erase_if(texts, [](const std::string& message) { return message[0] != '{'; });
    return texts;
  }

  static size_t Count(const std::vector<std::string>& lines, const std::string& line) {
    return static_cast<size_t>(std::count(lines.begin(), lines.end(), line));
  }

  FakeCapture& capture = FakeCapture::Get();
  FakeEncoder& encoder = FakeEncoder::Get();
  FakeStreamLibrary& library = FakeStreamLibrary::Get();
  SessionFlags flags;
  SdkSession session;
  InputInjector input;
  std::unique_ptr<StreamedScreen> screen;
};

// A screen that has never been opened, on the test's clock.
class FirstFrameTest : public testing::Test {
 protected:
  FirstFrameTest() {
    FakeClock::Reset();
    capture.Reset();
  }

  FakeCapture& capture = FakeCapture::Get();
  SessionFlags flags;
  SdkSession session;
  InputInjector input;
  StreamedScreen screen{flags, session, input};
};

TEST_F(FirstFrameTest, IsGivenUpSilentlyAfterAHundredGrabs) {
  LogCapture log;
  capture.SetStill(true);
  EXPECT_FALSE(screen.Open());
  EXPECT_EQ(capture.Grabs(), 100);
  EXPECT_EQ(log.Text(), "");
}

TEST_F(FirstFrameTest, MayComeWithTheHundredthGrab) {
  capture.GiveNothing(99);
  EXPECT_TRUE(screen.Open());
  EXPECT_EQ(capture.Grabs(), 100);
  EXPECT_EQ(screen.Size(), (PictureSize{1280, 720}));
}

TEST_F(FirstFrameTest, IsWaitedForTenSecondsEvenWhenGrabsAreRefusedAtOnce) {
  capture.SetStill(true);
  EXPECT_FALSE(screen.Open());
  EXPECT_EQ(FakeClock::SleptMs(), 10'000);
}

TEST_F(FirstFrameTest, HasItsSizeTakenOverFromTheFrameAndItsPlaceFromTheScreen) {
  capture.SetScreens({Screen(0, 640, 480, 100, 50)});
  capture.GiveFrame(320, 240);
  EXPECT_TRUE(screen.Open());
  EXPECT_EQ(screen.Size(), (PictureSize{320, 240}));
}

TEST(FrameInterval, IsAThousandDividedByTheRate) {
  EXPECT_EQ(FrameIntervalMs(30), 33);
  EXPECT_EQ(FrameIntervalMs(60), 16);
  EXPECT_EQ(FrameIntervalMs(1), 1000);
}

TEST(FrameInterval, IsThatOfThirtyFramesWithoutARate) {
  EXPECT_EQ(FrameIntervalMs(0), 33);
  EXPECT_EQ(FrameIntervalMs(-5), 33);
}

TEST(FrameInterval, IsOneAtAThousandAndNothingAbove) {
  EXPECT_EQ(FrameIntervalMs(1000), 1);
  EXPECT_EQ(FrameIntervalMs(1001), 0);
}

TEST_F(StreamLoopTest, SendsOneFramePerInterval) {
  RunGrabs(5);
  EXPECT_EQ(SentTimestamps(), (std::vector<int64_t>{0, 33, 66, 99, 132}));
}

TEST_F(StreamLoopTest, CountsTheNextSlotFromALateFrameWithoutCatchingUp) {
  RunGrabs(6, [](int64_t grab) {
    if (grab == 3) FakeClock::AdvanceMs(100);
  });
  EXPECT_EQ(SentTimestamps(), (std::vector<int64_t>{0, 33, 166, 199, 232, 265}));
}

TEST_F(StreamLoopTest, TruncatesTimesToWholeMilliseconds) {
  RunGrabs(3, [](int64_t grab) {
    if (grab == 1) FakeClock::AdvanceNs(999'999);
  });
  // The first slot is taken at 0.999 ms, so the second sleep of 33 ms ends at 33.999 ms.
  EXPECT_EQ(SentTimestamps(), (std::vector<int64_t>{0, 33, 66}));
}

TEST_F(StreamLoopTest, RunsUnpacedAboveAThousandFramesPerSecond) {
  screen->SetRates(2000, 8000, 0);
  RunGrabs(4);
  EXPECT_EQ(SentTimestamps(), (std::vector<int64_t>{0, 0, 0, 0}));
  EXPECT_EQ(FakeClock::SleptMs(), 0);
}

TEST_F(StreamLoopTest, KeepsTheRateWhenItChangesWhileRunning) {
  RunGrabs(4, [this](int64_t grab) {
    if (grab == 1) screen->SetFps(60);
  });
  EXPECT_EQ(SentTimestamps(), (std::vector<int64_t>{0, 33, 66, 99}));
}

TEST_F(StreamLoopTest, EncodesAStillDesktopAgainAtTheSetRate) {
  LogCapture log;
  capture.GiveFrame(64, 48);
  capture.SetStill(true);
  RunGrabs(10);
  EXPECT_EQ(library.FrameCount(), 10u);
  EXPECT_EQ(log.Lines().back(),
            "[agent] StreamLoop exit: loops=10 reused=9 encoded=10 sent_ok=10 sent_err=0");
}

TEST_F(StreamLoopTest, ProvokesAPictureEverySecondWhileAStillDesktopGivesNoFirstFrame) {
  capture.SetStill(true);
  RunGrabs(41);
  EXPECT_EQ(capture.Repaints(), 3);
  EXPECT_EQ(capture.FreshStarts(), 3);
}

TEST_F(StreamLoopTest, LeavesTheCapturerAloneWhileADesktopThatHasBeenSeenStandsStill) {
  capture.GiveFrame(64, 48);
  capture.SetStill(true);
  RunGrabs(50);
  EXPECT_EQ(capture.FreshStarts(), 0);
}

TEST_F(StreamLoopTest, ProvokesARepaintAtOnceWhenTheOtherScreenGivesNoFrame) {
  int64_t repaintsBefore = -1;
  capture.GiveFrame(64, 48);
  capture.SetStill(true);
  RunGrabs(30, [this, &repaintsBefore](int64_t grab) {
    if (grab == 20) flags.pendingScreen.store(1);
    if (grab == 21) repaintsBefore = capture.Repaints();
  });
  EXPECT_EQ(repaintsBefore, 0);
  EXPECT_EQ(capture.Repaints(), 1);
}

TEST_F(StreamLoopTest, EncodesNothingBeforeTheFirstFrameAndSaysSoEverySixtiethTime) {
  LogCapture log;
  capture.SetStill(true);
  RunGrabs(130);
  EXPECT_TRUE(encoder.Pictures().empty());
  const std::vector<std::string> lines = log.Lines();
  EXPECT_EQ(Count(lines, "[agent] 尚未采到首帧 (累计 1 次)"), 1u);
  EXPECT_EQ(Count(lines, "[agent] 尚未采到首帧 (累计 61 次)"), 1u);
  EXPECT_EQ(Count(lines, "[agent] 尚未采到首帧 (累计 121 次)"), 1u);
  EXPECT_EQ(lines.size(), 1u + 3u + 3u + 1u);
  EXPECT_EQ(lines.back(),
            "[agent] StreamLoop exit: loops=130 reused=130 encoded=0 sent_ok=0 sent_err=0");
}

// A locked desktop refuses at once; asking without pause would take a whole core.
TEST_F(StreamLoopTest, WaitsOutTheTimeOfAGrabThatIsRefusedAtOnce) {
  capture.SetStill(true);
  RunGrabs(20);
  EXPECT_EQ(FakeClock::SleptMs(), 20 * 50);
}

TEST_F(StreamLoopTest, LogsItsFirstThreeRoundsAndEverySixtieth) {
  LogCapture log;
  capture.GiveNothing(1);
  RunGrabs(121);
  const std::vector<std::string> expected = {
      "[agent] StreamLoop 线程已进入，开始采集/编码循环",
      "[agent] loop#1 capture valid=0 0x0",
      "[agent] 尚未采到首帧 (累计 1 次)",
      "[agent] loop#2 capture valid=1 64x48",
      "[agent] 进入首帧 Encode...",
      "[agent] loop#3 capture valid=1 64x48",
      "[agent] push stats: loops=60 reused=1 encoded=59 sent_ok=59 sent_err=0",
      "[agent] push stats: loops=120 reused=1 encoded=119 sent_ok=119 sent_err=0",
      "[agent] StreamLoop exit: loops=121 reused=1 encoded=120 sent_ok=120 sent_err=0"};
  EXPECT_EQ(log.Lines(), expected);
}

TEST_F(StreamLoopTest, AnnouncesTheFirstEncodeOnlyUntilSomethingComesOutOrThreeRoundsHavePassed) {
  LogCapture log;
  encoder.SwallowPictures(true);
  RunGrabs(5);
  EXPECT_EQ(Count(log.Lines(), "[agent] 进入首帧 Encode..."), 3u);
}

TEST_F(StreamLoopTest, LeavesAtOnceWhenStoppedBeforeItBegan) {
  LogCapture log;
  flags.streaming.store(false);
  Run();
  const std::vector<std::string> expected = {
      "[agent] StreamLoop 线程已进入，开始采集/编码循环",
      "[agent] StreamLoop exit: loops=0 reused=0 encoded=0 sent_ok=0 sent_err=0"};
  EXPECT_EQ(log.Lines(), expected);
}

TEST_F(StreamLoopTest, WhilePausedItOnlyNapsAHundredMilliseconds) {
  LogCapture log;
  flags.paused.store(true);
  int naps = 0;
  FakeClock::OnSleep([&](int64_t ms) {
    EXPECT_EQ(ms, 100);
    if (++naps == 3) flags.streaming.store(false);
  });
  Run();
  EXPECT_EQ(naps, 3);
  EXPECT_EQ(log.Lines().back(),
            "[agent] StreamLoop exit: loops=0 reused=0 encoded=0 sent_ok=0 sent_err=0");
}

TEST_F(StreamLoopTest, APauseLeavesTheNextSlotAsItWas) {
  int naps = 0;
  FakeClock::OnSleep([&](int64_t ms) {
    if (ms == 100 && ++naps == 2) flags.paused.store(false);
  });
  RunGrabs(3, [this](int64_t grab) {
    if (grab == 2) flags.paused.store(true);
  });
  EXPECT_EQ(SentTimestamps(), (std::vector<int64_t>{0, 33, 233}));
}

TEST_F(StreamLoopTest, ForcesAKeyFrameOnceForEachRequest) {
  RunGrabs(4, [this](int64_t grab) {
    if (grab == 2) flags.forceKeyframe.store(true);
  });
  EXPECT_FALSE(flags.forceKeyframe.load());
  EXPECT_EQ(Count(encoder.Calls(), "ForceKeyFrame"), 1u);
  std::vector<bool> keys;
  for (const EncodedPicture& picture : encoder.Pictures()) {
    keys.push_back(picture.keyFrame);
  }
  EXPECT_EQ(keys, (std::vector<bool>{true, true, false, false}));
}

TEST_F(StreamLoopTest, FillsTheFrameRecordAsTheLibraryReadsIt) {
  RunGrabs(2);
  const std::vector<SentFrame> frames = library.Frames();
  ASSERT_EQ(frames.size(), 2u);
  EXPECT_EQ(frames[0].record.codec, 1u);
  EXPECT_EQ(frames[0].record.frameType, 0u);
  EXPECT_EQ(frames[1].record.frameType, 1u);
  EXPECT_EQ(frames[0].record.length, 5u);
  EXPECT_EQ(frames[0].record.reservedAt4, 0u);
  EXPECT_EQ(frames[0].record.reservedAt12, 0u);
  EXPECT_EQ(frames[0].record.reservedAt28, 0u);
  EXPECT_EQ(frames[0].bytes[3], 1);
}

TEST_F(StreamLoopTest, DropsFramesUntilTheAwaitedKeyFrame) {
  LogCapture log;
  RunGrabs(4, [this](int64_t grab) {
    if (grab == 2) flags.awaitKeyframe.store(true);
    if (grab == 4) flags.forceKeyframe.store(true);
  });
  EXPECT_FALSE(flags.awaitKeyframe.load());
  EXPECT_EQ(SentTimestamps(), (std::vector<int64_t>{0, 99}));
  EXPECT_EQ(log.Lines().back(),
            "[agent] StreamLoop exit: loops=4 reused=0 encoded=4 sent_ok=2 sent_err=0");
}

TEST_F(StreamLoopTest, LogsFiveOfSevenFailedSends) {
  LogCapture log;
  library.sendResult.store(7);
  RunGrabs(7);
  const std::vector<std::string> lines = log.Lines();
  EXPECT_EQ(Count(lines, "[agent] 送帧失败: seven went wrong (len=5 ts=0 key=1)"), 1u);
  EXPECT_EQ(Count(lines, "[agent] 送帧失败: seven went wrong (len=5 ts=132 key=0)"), 1u);
  EXPECT_EQ(Count(lines, "[agent] 送帧失败: seven went wrong (len=5 ts=165 key=0)"), 0u);
  EXPECT_EQ(lines.back(),
            "[agent] StreamLoop exit: loops=7 reused=0 encoded=7 sent_ok=0 sent_err=7");
}

TEST_F(StreamLoopTest, CountsButSendsNothingWithoutASession) {
  LogCapture log;
  const SdkSessionHandle handle = session.Close();
  RunGrabs(3);
  EXPECT_EQ(log.Lines().back(),
            "[agent] StreamLoop exit: loops=3 reused=0 encoded=3 sent_ok=0 sent_err=0");
  session.Open(ProcessStreamSdk(), handle);
}

TEST(FrameSender, NeitherSendsNorCountsAsSentAnEmptyUnit) {
  SdkSession closed;
  SessionFlags flags;
  flags.awaitKeyframe.store(true);
  const StreamSdk none;
  int session = 0;
  closed.Open(none, &session);  // A send would call a null function.
  FrameSender sender(closed, none, flags);
  sender.OnEncodedFrame(nullptr, 0, true, 0);
  EXPECT_EQ(sender.Encoded(), 1);
  EXPECT_EQ(sender.SentOk(), 0);
  EXPECT_TRUE(flags.awaitKeyframe.load());
}

TEST_F(StreamLoopTest, SendsNothingAfterASwitchUntilTheNewScreenDelivers) {
  RunGrabs(8, [this](int64_t grab) {
    if (grab == 2) {
      flags.pendingScreen.store(1);
      capture.GiveFrame(64, 48);
      capture.GiveNothing(4);
    }
  });
  EXPECT_EQ(flags.pendingScreen.load(), kNoPendingScreen);
  const std::vector<EncodedPicture> pictures = encoder.Pictures();
  ASSERT_EQ(pictures.size(), 4u);
  EXPECT_EQ(pictures[1].width, 64);
  EXPECT_EQ(pictures[2].width, 32);
  EXPECT_TRUE(pictures[2].keyFrame);
}

TEST_F(StreamLoopTest, SwitchesToAScreenOfAnotherSizeWithANewEncoder) {
  LogCapture log;
  flags.controllerActive.store(true);
  RunGrabs(3, [this](int64_t grab) {
    if (grab == 1) flags.pendingScreen.store(1);
  });
  EXPECT_EQ(Count(encoder.Calls(), "Init 32x24@30 8000"), 1u);
  EXPECT_EQ(Count(library.Calls(), "set_screen_info 32x24 1"), 1u);
  const std::vector<std::string> lines = log.Lines();
  EXPECT_EQ(Count(lines, "[agent] 已切换到屏幕 1 (32x24 @ 64,0)"), 1u);
  ASSERT_EQ(TextMessages().size(), 1u);
  EXPECT_NE(TextMessages()[0].find("\"current\":1"), std::string::npos);
  EXPECT_EQ(screen->Size(), (PictureSize{32, 24}));
}

TEST_F(StreamLoopTest, SwitchesToTheCurrentScreenWithoutRebuildingButWithAKeyFrame) {
  flags.controllerActive.store(true);
  RunGrabs(3, [this](int64_t grab) {
    if (grab == 1) flags.pendingScreen.store(0);
  });
  EXPECT_EQ(Count(encoder.Calls(), "Init 64x48@30 8000"), 1u);
  EXPECT_EQ(Count(encoder.Calls(), "ForceKeyFrame"), 1u);
  EXPECT_EQ(TextMessages().size(), 1u);
}

TEST_F(StreamLoopTest, KeepsStreamingTheOldScreenWhenASwitchFails) {
  LogCapture log;
  flags.controllerActive.store(true);
  RunGrabs(4, [this](int64_t grab) {
    if (grab == 1) flags.pendingScreen.store(9);
  });
  EXPECT_EQ(Count(log.Lines(), "[agent] 切屏到 9 失败，保持当前屏"), 1u);
  EXPECT_EQ(library.FrameCount(), 4u);
  ASSERT_EQ(TextMessages().size(), 1u);
  EXPECT_NE(TextMessages()[0].find("\"current\":0"), std::string::npos);
}

TEST_F(StreamLoopTest, TakesTheRateTheNewEncoderSettledOn) {
  encoder.SettleOn(25);
  RunGrabs(2, [this](int64_t grab) {
    if (grab == 1) flags.pendingScreen.store(1);
  });
  EXPECT_EQ(screen->Fps(), 25);
}

TEST_F(StreamLoopTest, ARateThatComesWhileAnEncoderIsBuiltReachesIt) {
  encoder.OnInit([this] { screen->SetMaxKbps(3000); });
  ASSERT_TRUE(screen->BuildEncoder());
  EXPECT_EQ(encoder.Kbps(), 3000);
}

TEST_F(StreamLoopTest, UsesAProfilesRateForAnEncoderRebuiltByASwitch) {
  RunGrabs(2, [this](int64_t grab) {
    if (grab == 1) {
      screen->SetFps(50);
      flags.pendingScreen.store(1);
    }
  });
  EXPECT_EQ(Count(encoder.Calls(), "Init 32x24@50 8000"), 1u);
}

TEST_F(StreamLoopTest, AdoptsTheSizeOfAFrameAfterAModeChange) {
  LogCapture log;
  flags.controllerActive.store(true);
  RunGrabs(4, [this](int64_t grab) {
    if (grab == 2) capture.SetScreens({Screen(0, 80, 60, 16, 8)});
  });
  EXPECT_EQ(Count(encoder.Calls(), "Init 80x60@30 8000"), 1u);
  EXPECT_EQ(Count(library.Calls(), "set_screen_info 80x60 1"), 1u);
  EXPECT_EQ(screen->Size(), (PictureSize{80, 60}));
  const std::vector<EncodedPicture> pictures = encoder.Pictures();
  ASSERT_EQ(pictures.size(), 4u);
  EXPECT_EQ(pictures[1].width, 80);
  EXPECT_TRUE(pictures[1].keyFrame);
  EXPECT_EQ(Count(encoder.Calls(), "ForceKeyFrame"), 1u);
}

TEST_F(StreamLoopTest, AdoptsASizeThatDiffersInItsHeightAlone) {
  RunGrabs(4, [this](int64_t grab) {
    if (grab == 2) capture.SetScreens({Screen(0, 64, 60, 0, 0)});
  });
  EXPECT_EQ(Count(encoder.Calls(), "Init 64x60@30 8000"), 1u);
  EXPECT_EQ(Count(library.Calls(), "set_screen_info 64x60 1"), 1u);
  EXPECT_EQ(screen->Size(), (PictureSize{64, 60}));
}

// The second monitor was at the right; now the first stands there, and the second is the primary.
TEST_F(StreamLoopTest, PutsClicksOnTheShownMonitorAfterItWasMoved) {
  FakeInjection::Reset();
  FakeInjection::SetVirtualDesktop(0, 0, 97, 49);
  const std::string corner = R"({"type":"mousemove","x":0,"y":0})";
  RunGrabs(3, [&](int64_t grab) {
    if (grab != 2) return;
    input.HandleEvent(corner);
    capture.SetScreens({Screen(0, 64, 48, 32, 24), Screen(1, 32, 24, 0, 0)});
    capture.GiveReopening();
  });
  input.HandleEvent(corner);
  EXPECT_EQ(FakeInjection::Events(),
            (std::vector<std::string>{"mouse 0xC001 at 0,0 data 0",
                                      "mouse 0xC001 at 21845,32767 data 0"}));
  EXPECT_EQ(Count(encoder.Calls(), "Init 64x48@30 8000"), 1u);
}

TEST_F(StreamLoopTest, LeavesClicksWhereTheyWereWhenTheShownMonitorIsNotListed) {
  FakeInjection::Reset();
  FakeInjection::SetVirtualDesktop(0, 0, 97, 49);
  capture.SetScreens({Screen(0, 64, 48, 32, 24)});
  screen->SwitchScreen(0);
  RunGrabs(2, [&](int64_t) {
    capture.GiveFrame(64, 48);
    capture.SetScreens({});
    capture.GiveReopening();
  });
  input.HandleEvent(R"({"type":"mousemove","x":0,"y":0})");
  EXPECT_EQ(FakeInjection::Events(),
            std::vector<std::string>{"mouse 0xC001 at 21845,32767 data 0"});
}

TEST_F(StreamLoopTest, GivesTheEncoderEvenSizesOnly) {
  capture.SetScreens({Screen(0, 63, 47, 0, 0)});
  RunGrabs(3);
  EXPECT_EQ(Count(encoder.Calls(), "Init 62x46@30 8000"), 1u);
  EXPECT_EQ(encoder.Pictures().size(), 3u);
  EXPECT_EQ(encoder.Pictures().back().width, 62);
}

TEST(EvenPicture, LeavesOutTheLastColumnAndRowOfAnOddPicture) {
  std::vector<uint32_t> pixels;
  for (uint32_t at = 0; at < 15; ++at) {
    pixels.push_back(at);
  }
  CapturedFrame frame;
  frame.pixels = reinterpret_cast<const uint8_t*>(pixels.data());
  frame.width = 5;
  frame.height = 3;
  EvenPicture picture;
  const auto* even = reinterpret_cast<const uint32_t*>(picture.Pixels(frame));
  EXPECT_EQ(std::vector<uint32_t>(even, even + 8), (std::vector<uint32_t>{0, 1, 2, 3, 5, 6, 7, 8}));
}

TEST(EvenPicture, TakesAnEvenPictureAsItIs) {
  const uint8_t pixels[2 * 2 * 4] = {};
  CapturedFrame frame;
  frame.pixels = pixels;
  frame.width = 2;
  frame.height = 2;
  EXPECT_EQ(EvenPicture().Pixels(frame), pixels);
}

TEST_F(StreamLoopTest, SurvivesAPictureTooSmallForAnyEncoder) {
  encoder.FailInits(1);
  RunGrabs(4, [this](int64_t grab) {
    if (grab == 2) capture.GiveFrame(1, 1);
  });
  EXPECT_EQ(library.FrameCount(), 3u);
}

TEST_F(StreamLoopTest, GoesOnGrabbingWithoutAnEncoderAndRecoversAtTheNextSwitch) {
  LogCapture log;
  encoder.FailInits(1);
  RunGrabs(9, [this](int64_t grab) {
    if (grab == 1) flags.pendingScreen.store(1);
    if (grab == 5) flags.pendingScreen.store(0);
  });
  EXPECT_EQ(Count(log.Lines(), "[agent] 切屏后编码器重建失败"), 1u);
  EXPECT_EQ(encoder.Pictures().size(), 1u + 4u);
}

TEST_F(StreamLoopTest, RecoversALostEncoderAtASwitchToAScreenOfTheSameSize) {
  encoder.FailInits(1);
  RunGrabs(9, [this](int64_t grab) {
    if (grab == 1) flags.pendingScreen.store(1);
    if (grab == 5) flags.pendingScreen.store(1);
  });
  EXPECT_EQ(encoder.Pictures().size(), 1u + 4u);
}

TEST_F(StreamLoopTest, RecoversALostEncoderAtTheNextSizeChange) {
  encoder.FailInits(1);
  RunGrabs(6, [this](int64_t grab) {
    if (grab == 2) capture.SetScreens({Screen(0, 80, 60, 0, 0)});
    if (grab == 5) capture.SetScreens({Screen(0, 64, 48, 0, 0)});
  });
  EXPECT_EQ(encoder.Pictures().size(), 1u + 2u);
}

TEST_F(StreamLoopTest, RecoversALostEncoderAtTheNextSubscription) {
  encoder.FailInits(1);
  RunGrabs(6, [this](int64_t grab) {
    if (grab == 2) capture.SetScreens({Screen(0, 80, 60, 0, 0)});
    if (grab == 4) {
      flags.RequestKeyframe();
      screen->RequestEncoder();
    }
  });
  const std::vector<EncodedPicture> pictures = encoder.Pictures();
  ASSERT_EQ(pictures.size(), 1u + 2u);
  EXPECT_TRUE(pictures[1].keyFrame);
}

TEST_F(StreamLoopTest, SaysSoWhenALostEncoderCannotBeBuiltForASubscriptionEither) {
  LogCapture log;
  encoder.FailInits(2);
  RunGrabs(8, [this](int64_t grab) {
    if (grab == 2) capture.SetScreens({Screen(0, 80, 60, 0, 0)});
    if (grab == 4 || grab == 6) screen->RequestEncoder();
  });
  EXPECT_EQ(Count(log.Lines(), "[agent] H.264 编码器初始化失败"), 1u);
  EXPECT_EQ(encoder.Pictures().size(), 1u + 2u) << "the second subscription gets one";
}

TEST_F(StreamLoopTest, ASubscriptionLeavesAnEncoderThatWorksAlone) {
  RunGrabs(4, [this](int64_t grab) {
    if (grab == 2) screen->RequestEncoder();
  });
  EXPECT_EQ(Count(encoder.Calls(), "Destroy"), 0u);
}

TEST_F(StreamLoopTest, SendsACursorChangeOnceWhileAControllerIsActive) {
  CursorUpdate shape;
  shape.visible = true;
  shape.width = 1;
  shape.height = 1;
  shape.image = {1, 2, 3, 4};
  RunGrabs(6, [&](int64_t grab) {
    if (grab == 1) capture.GiveCursor(shape);
    if (grab == 3) flags.controllerActive.store(true);
  });
  ASSERT_EQ(library.Messages().size(), 1u);
  EXPECT_EQ(library.Messages()[0].size(), 18u + 4u);
  EXPECT_EQ(static_cast<uint8_t>(library.Messages()[0][0]), 0xC0);
}

TEST_F(StreamLoopTest, GrabsWithFiftyMilliseconds) {
  RunGrabs(2);
  const std::vector<std::string> calls = capture.Calls();
  EXPECT_EQ(Count(calls, "CaptureFrame 50"), 2u);
}

}  // namespace
}  // namespace talu
