#include "session/push_session.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "session/encoder_slot.h"
#include "session/stream_sdk_loader.h"
#include "tests/fakes/fake_clipboard.h"
#include "tests/fakes/fake_h264_encoder.h"
#include "tests/fakes/fake_screen_capturer.h"
#include "tests/fakes/fake_stream_library.h"
#include "tests/fakes/log_capture.h"

namespace talu {
namespace {

constexpr auto kGenerousTime = std::chrono::seconds(60);

// Waits for a condition that other threads bring about.
template <typename Condition>
::testing::AssertionResult Eventually(Condition condition) {
  const auto deadline = std::chrono::steady_clock::now() + kGenerousTime;
  while (!condition()) {
    if (std::chrono::steady_clock::now() > deadline) {
      return ::testing::AssertionFailure() << "waited in vain";
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
  return ::testing::AssertionSuccess();
}

size_t Count(const std::vector<std::string>& lines, const std::string& line) {
  return static_cast<size_t>(std::count(lines.begin(), lines.end(), line));
}

// The position of a line; the number of lines when it is not there.
size_t Position(const std::vector<std::string>& lines, const std::string& line) {
  return static_cast<size_t>(std::find(lines.begin(), lines.end(), line) - lines.begin());
}

ScreenInfo Screen(uint32_t index, int32_t width, int32_t height, int32_t left) {
  ScreenInfo screen;
  screen.index = index;
  screen.name = "S" + std::to_string(index);
  screen.width = width;
  screen.height = height;
  screen.left = left;
  screen.primary = left == 0;
  return screen;
}

HostConfig Config() {
  HostConfig config;
  config.app_id = 42;
  config.instance_id = "instance";
  config.token = "token";
  config.access_info = "access";
  config.expired_at_ms = 1'700'000'000'123;
  return config;
}

// The session over fakes of the library, the capturer and the encoder, with real threads.
class PushSessionTest : public testing::Test {
 protected:
  PushSessionTest() {
    capture.Reset();
    encoder.Reset();
    library.Reset();
    ForgetStreamSdk();
    capture.SetScreens({Screen(0, 64, 48, 0), Screen(1, 32, 24, 64)});
    session = std::make_unique<PushSession>();
  }

  ~PushSessionTest() override {
    session.reset();
    capture.OnGrab(nullptr);
    EXPECT_EQ(encoder.Alive(), 0);
    EXPECT_EQ(capture.Alive(), 0);
    EXPECT_EQ(capture.Overlaps(), 0);
  }

  void StopDuringTheFirstSend() {
    library.duringSend = [this] {
      if (!stopped.exchange(true)) library.Unsubscribe();
    };
  }

  bool Streams() {
    const size_t before = library.FrameCount();
    return static_cast<bool>(Eventually([&] { return library.FrameCount() >= before + 3; }));
  }

  FakeCapture& capture = FakeCapture::Get();
  FakeEncoder& encoder = FakeEncoder::Get();
  FakeStreamLibrary& library = FakeStreamLibrary::Get();
  std::unique_ptr<PushSession> session;
  std::atomic<bool> stopped{false};
};

TEST_F(PushSessionTest, StartsInItsOrder) {
  LogCapture log;
  ASSERT_TRUE(session->Start(Config()));
  const std::vector<std::string> expected = {
      "[tcar] Start enter, instance_id=instance app_id=42",
      "[tcar] session created, instance_id=instance, 64x48 — 等待操控端订阅"};
  EXPECT_EQ(log.Lines(), expected);
  const std::vector<std::string> calls = library.Calls();
  EXPECT_LT(Position(calls, "load"), Position(calls, "global_init"));
  EXPECT_LT(Position(calls, "global_init"), Position(calls, "session_create"));
  EXPECT_EQ(capture.Calls()[0], "Init 0");
  EXPECT_EQ(capture.Calls()[1], "CaptureFrame 100");
  EXPECT_TRUE(Eventually([&] { return encoder.SelfTests() == 1; }));
  EXPECT_EQ(encoder.LastSelfTest(), "64x48");
  EXPECT_TRUE(encoder.Calls().empty());
}

TEST_F(PushSessionTest, GivesTheLibraryEverySlotAndCredential) {
  ASSERT_TRUE(session->Start(Config()));
  const SdkGlobalConfig& config = library.config;
  EXPECT_EQ(config.appId, 42);
  EXPECT_EQ(config.flagAt152, 1u);
  EXPECT_EQ(config.reservedAt4, 0u);
  EXPECT_EQ(config.reservedAt156, 0u);
  EXPECT_EQ(config.user, session.get());
  const auto* slots = reinterpret_cast<void* const*>(&config.onError);
  for (size_t slot = 0; slot < 18; ++slot) {
    EXPECT_NE(slots[slot], nullptr) << "offset " << 8 + slot * 8;
  }
  EXPECT_NE(config.onLog, nullptr);
  for (const SdkEmptyCallback empty :
       {config.emptyAt16[0], config.emptyAt16[1], config.emptyAt48[0], config.emptyAt48[6],
        config.emptyAt112, config.emptyAt136}) {
    EXPECT_EQ(empty, config.emptyAt112);
    empty();
  }
  EXPECT_EQ(library.instanceId, "instance");
  EXPECT_EQ(library.token, "token");
  EXPECT_EQ(library.accessInfo, "access");
  EXPECT_EQ(library.params.expiredAtMs, 1'700'000'000'123);
  EXPECT_EQ(library.params.width, 64);
  EXPECT_EQ(library.params.height, 48);
  EXPECT_EQ(library.params.flagAt40, 1u);
  EXPECT_EQ(library.params.reservedAt44, 0u);
}

TEST_F(PushSessionTest, FailsWithoutTheLibrary) {
  LogCapture log;
  library.present = false;
  EXPECT_FALSE(session->Start(Config()));
  const std::vector<std::string> expected = {
      "[tcar] Start enter, instance_id=instance app_id=42",
      "[tcar] 无法加载 libtcar_sdk.dll (err=126)；确认已随程序打包到 exe 同目录",
      "[tcar] SDK 动态加载失败，无法推流"};
  EXPECT_EQ(log.Lines(), expected);
  EXPECT_EQ(capture.Inits(), 0);
}

TEST_F(PushSessionTest, RefusesALibraryThatLacksTheErrorTextsOnly) {
  LogCapture log;
  library.missingSymbols = {"tcar_str_err"};
  EXPECT_FALSE(session->Start(Config()));
  const std::vector<std::string> expected = {"[tcar] Start enter, instance_id=instance app_id=42",
                                             "[tcar] 符号解析失败: tcar_str_err",
                                             "[tcar] SDK 动态加载失败，无法推流"};
  EXPECT_EQ(log.Lines(), expected);
  EXPECT_EQ(library.Calls().back(), "unload");
}

TEST_F(PushSessionTest, TriesEverySymbolInOrderAndNamesEachMissingOne) {
  LogCapture log;
  library.missingSymbols = {"tcar_global_init", "tcar_set_screen_info"};
  EXPECT_FALSE(LoadStreamSdk());
  const std::vector<std::string> expected = {"load",
                                             "find tcar_global_init",
                                             "find tcar_global_cleanup",
                                             "find tcar_session_create",
                                             "find tcar_session_destroy",
                                             "find tcar_session_send_encoded_video_frame",
                                             "find tcar_session_send_custom_message",
                                             "find tcar_set_screen_info",
                                             "find tcar_str_err",
                                             "unload"};
  EXPECT_EQ(library.Calls(), expected);
  const std::vector<std::string> lines = {"[tcar] 符号解析失败: tcar_global_init",
                                          "[tcar] 符号解析失败: tcar_set_screen_info"};
  EXPECT_EQ(log.Lines(), lines);
}

TEST_F(PushSessionTest, LoadsALibraryAgainAfterAFailureButNeverAfterASuccess) {
  LogCapture log;
  library.missingSymbols = {"tcar_str_err"};
  EXPECT_FALSE(LoadStreamSdk());
  library.missingSymbols.clear();
  EXPECT_TRUE(LoadStreamSdk());
  EXPECT_TRUE(LoadStreamSdk());
  EXPECT_EQ(library.OpenLibraryCalls(), 2);
}

TEST_F(PushSessionTest, FailsWhenTheScreenCannotBeCaptured) {
  LogCapture log;
  capture.FailInits(1);
  EXPECT_FALSE(session->Start(Config()));
  EXPECT_EQ(log.Lines().back(), "[agent] 屏幕采集初始化失败");
  EXPECT_EQ(Count(library.Calls(), "global_init"), 0u);
}

TEST_F(PushSessionTest, ProvokesARepaintOfADesktopThatShowsNothing) {
  capture.GiveNothing(1);
  EXPECT_TRUE(session->Start(Config()));
  EXPECT_EQ(capture.Repaints(), 1);
}

TEST_F(PushSessionTest, ProvokesNothingOnADesktopThatShowsItself) {
  EXPECT_TRUE(session->Start(Config()));
  EXPECT_EQ(capture.Repaints(), 0);
}

TEST_F(PushSessionTest, CleansNothingUpWhenTheLibraryRefusesToInitialise) {
  LogCapture log;
  library.initResult = 7;
  EXPECT_FALSE(session->Start(Config()));
  EXPECT_EQ(log.Lines().back(), "[tcar] global_init failed: seven went wrong");
  session->Stop();
  EXPECT_EQ(Count(library.Calls(), "global_cleanup"), 0u);
}

TEST_F(PushSessionTest, CleansUpWhenTheLibraryRefusesASession) {
  LogCapture log;
  library.createResult = 7;
  EXPECT_FALSE(session->Start(Config()));
  EXPECT_EQ(log.Lines().back(), "[tcar] session_create failed: seven went wrong");
  session->Stop();
  EXPECT_EQ(Count(library.Calls(), "global_cleanup"), 1u);
  EXPECT_EQ(Count(library.Calls(), "session_destroy"), 0u);
}

TEST_F(PushSessionTest, StopWithoutASessionCallsNothingOfTheLibrarys) {
  session->Stop();
  EXPECT_TRUE(library.Calls().empty());
}

TEST_F(PushSessionTest, StopDestroysTheSessionBeforeTheCleanUpAndOnlyOnce) {
  ASSERT_TRUE(session->Start(Config()));
  session->Stop();
  session->Stop();
  session.reset();
  const std::vector<std::string> calls = library.Calls();
  EXPECT_EQ(Count(calls, "session_destroy"), 1u);
  EXPECT_EQ(Count(calls, "global_cleanup"), 1u);
  EXPECT_LT(Position(calls, "session_destroy"), Position(calls, "global_cleanup"));
}

TEST_F(PushSessionTest, StopEndsTheClipboardWatcherBeforeTheLibrarysSession) {
  ASSERT_TRUE(session->Start(Config()));
  EXPECT_EQ(FakeClipboard::StartedWatchers(), 1u);
  size_t watchers = 1;
  library.duringDestroy = [&] { watchers = FakeClipboard::StartedWatchers(); };
  session->Stop();
  EXPECT_EQ(watchers, 0u);
}

TEST_F(PushSessionTest, TheDestructorStopsAStreamThatRuns) {
  ASSERT_TRUE(session->Start(Config()));
  library.Subscribe(200, 5000, 0);
  ASSERT_TRUE(Streams());
  session.reset();
  EXPECT_EQ(library.Calls().back(), "global_cleanup");
}

TEST_F(PushSessionTest, StreamsAtThirtyFramesAndEightMegabitWithoutWishes) {
  LogCapture log;
  ASSERT_TRUE(session->Start(Config()));
  library.Subscribe(0, 0, 0);
  EXPECT_EQ(encoder.Calls().at(0), "Init 64x48@30 8000");
  EXPECT_TRUE(Streams());
  library.Unsubscribe();
  EXPECT_EQ(Count(log.Lines(), "[agent] subscriber connected, START pushing 64x48@30fps"), 1u);
}

TEST_F(PushSessionTest, StreamsAsTheSubscriberAsks) {
  ASSERT_TRUE(session->Start(Config()));
  library.Subscribe(25, 1234, -3);
  EXPECT_EQ(encoder.Calls().at(0), "Init 64x48@25 1234");
}

TEST_F(PushSessionTest, AdoptsAndReportsTheRateTheEncoderSettledOn) {
  LogCapture log;
  encoder.SettleOn(30);
  ASSERT_TRUE(session->Start(Config()));
  library.Subscribe(60, 8000, 2000);
  const std::vector<std::string> lines = log.Lines();
  EXPECT_EQ(Count(lines, "[agent] 编码器降载: 60 -> 30 fps"), 1u);
  EXPECT_EQ(Count(lines, "[agent] subscriber connected, START pushing 64x48@30fps"), 1u);
}

TEST_F(PushSessionTest, StaysIdleWhenNoEncoderCanBeBuiltAndTriesAgainAtTheNextSubscription) {
  LogCapture log;
  encoder.FailInits(1);
  ASSERT_TRUE(session->Start(Config()));
  library.Subscribe(30, 8000, 2000);
  EXPECT_EQ(log.Lines().back(), "[agent] H.264 编码器初始化失败");
  EXPECT_EQ(encoder.Alive(), 0);
  library.Subscribe(30, 8000, 2000);
  EXPECT_TRUE(Streams());
}

TEST_F(PushSessionTest, ASecondSubscriptionKeepsTheEncoderButGetsAKeyFrame) {
  ASSERT_TRUE(session->Start(Config()));
  library.Subscribe(100, 8000, 2000);
  ASSERT_TRUE(Streams());
  const size_t forced = Count(encoder.Calls(), "ForceKeyFrame");
  library.Subscribe(60, 4000, 2000);
  EXPECT_TRUE(Eventually([&] { return Count(encoder.Calls(), "ForceKeyFrame") > forced; }));
  EXPECT_EQ(Count(encoder.Calls(), "Destroy"), 0u);
  EXPECT_EQ(Count(encoder.Calls(), "Init 64x48@100 8000"), 1u);
}

TEST_F(PushSessionTest, TheFirstFrameOfEverySubscriptionIsAKeyFrame) {
  ASSERT_TRUE(session->Start(Config()));
  for (int round = 0; round < 5; ++round) {
    const size_t before = library.FrameCount();
    library.Subscribe(200, 8000, 2000);
    ASSERT_TRUE(Streams());
    library.Unsubscribe();
    EXPECT_EQ(library.Frames().at(before).record.frameType, kSdkFrameTypeKey);
  }
}

TEST_F(PushSessionTest, UnsubscribingEndsTheThreadAndTheEncoder) {
  LogCapture log;
  ASSERT_TRUE(session->Start(Config()));
  library.Subscribe(200, 8000, 2000);
  ASSERT_TRUE(Streams());
  library.Unsubscribe();
  EXPECT_EQ(encoder.Alive(), 0);
  EXPECT_EQ(log.Lines().back().rfind("[agent] StreamLoop exit: ", 0), 0u);
  const size_t frames = library.FrameCount();
  library.Unsubscribe();
  EXPECT_EQ(library.FrameCount(), frames);
}

TEST_F(PushSessionTest, AProfilesMaximumReachesARunningEncoderAtOnce) {
  LogCapture log;
  ASSERT_TRUE(session->Start(Config()));
  library.Subscribe(100, 8000, 2000);
  library.SetProfile(60, 3000, 1000);
  EXPECT_EQ(Count(encoder.Calls(), "SetBitrate 3000"), 1u);
  EXPECT_EQ(Count(encoder.Calls(), "Init 64x48@60 3000"), 0u);
  EXPECT_EQ(
      Count(log.Lines(), "[agent] set_stream_profile: fps=60 max=3000 min=1000 kbps (streaming=1)"),
      1u);
}

TEST_F(PushSessionTest, AProfileWithoutAStreamIsKeptButOverwrittenByTheSubscription) {
  LogCapture log;
  ASSERT_TRUE(session->Start(Config()));
  library.SetProfile(60, 3000, 0);
  EXPECT_TRUE(encoder.Calls().empty());
  EXPECT_EQ(log.Lines().back(),
            "[agent] set_stream_profile: fps=60 max=3000 min=0 kbps (streaming=0)");
  library.Subscribe(0, 0, 0);
  EXPECT_EQ(encoder.Calls().at(0), "Init 64x48@30 8000");
}

TEST_F(PushSessionTest, AProfileWithNothingGivenOnlyLogs) {
  ASSERT_TRUE(session->Start(Config()));
  library.Subscribe(100, 8000, 2000);
  library.SetProfile(0, 0, 0);
  library.SetProfile(-1, -1, -1);
  EXPECT_EQ(Count(encoder.Calls(), "SetBitrate 0"), 0u);
  EXPECT_EQ(Count(encoder.Calls(), "SetBitrate -1"), 0u);
}

TEST_F(PushSessionTest, CallbacksWithoutARequestDoNothing) {
  LogCapture log;
  ASSERT_TRUE(session->Start(Config()));
  const SdkGlobalConfig& config = library.config;
  config.onSubscriberConnected(nullptr, nullptr, nullptr, nullptr, config.user);
  config.onSetStreamProfile(nullptr, nullptr, nullptr, nullptr, config.user);
  EXPECT_EQ(log.Lines().size(), 2u);
  EXPECT_TRUE(encoder.Calls().empty());
}

TEST_F(PushSessionTest, AKeyFrameRequestResumesAPausedStreamAndLogsItOnce) {
  LogCapture log;
  ASSERT_TRUE(session->Start(Config()));
  library.Subscribe(200, 8000, 2000);
  ASSERT_TRUE(Streams());
  library.Say("{\"type\":\"bye\"}");
  library.RequestKeyframe();
  library.RequestKeyframe();
  EXPECT_TRUE(Streams());
  EXPECT_EQ(Count(log.Lines(), "[agent] keyframe request -> resume encoding"), 1u);
}

TEST_F(PushSessionTest, AByePausesAndInputResumesWithAKeyFrameFirst) {
  ASSERT_TRUE(session->Start(Config()));
  library.Subscribe(200, 8000, 2000);
  ASSERT_TRUE(Streams());
  library.Say("{\"type\":\"bye\"}");
  // The frame under way when the bye came may still go out.
  size_t before = library.FrameCount();
  ASSERT_TRUE(Eventually([&] {
    const size_t then = before;
    before = library.FrameCount();
    std::this_thread::sleep_for(std::chrono::milliseconds(150));
    return before == then && library.FrameCount() == before;
  }));
  library.Say("{\"type\":\"mousemove\",\"x\":1,\"y\":2}");
  EXPECT_TRUE(Streams());
  EXPECT_EQ(library.Frames().at(before).record.frameType, kSdkFrameTypeKey);
}

TEST_F(PushSessionTest, ASubscriptionResumesAPausedStream) {
  ASSERT_TRUE(session->Start(Config()));
  library.Subscribe(200, 8000, 0);
  ASSERT_TRUE(Streams());
  library.Say("{\"type\":\"bye\"}");
  library.Subscribe(200, 8000, 0);
  EXPECT_TRUE(Streams());
  library.Say("{\"type\":\"bye\"}");
  library.Unsubscribe();
  library.Subscribe(200, 8000, 0);
  EXPECT_TRUE(Streams());
}

TEST_F(PushSessionTest, AnswersAScreenInfoRequestOnceASessionExists) {
  ASSERT_TRUE(session->Start(Config()));
  library.RequestScreenInfo();
  EXPECT_EQ(library.Calls().back(), "set_screen_info 64x48 1");
}

TEST_F(PushSessionTest, LogsTheLibrarysErrorsAndLines) {
  LogCapture log;
  ASSERT_TRUE(session->Start(Config()));
  const SdkGlobalConfig& config = library.config;
  config.onError(nullptr, -5, "lost", config.user);
  config.onError(nullptr, 6, nullptr, config.user);
  config.onLog(nullptr, "hello", config.user);
  config.onLog(nullptr, nullptr, config.user);
  config.onLog(nullptr, "xx set screen info yy", config.user);
  config.onLog(nullptr, "calling SetScreenInfo(1)", config.user);
  config.onLog(nullptr, "setscreeninfo", config.user);
  const std::vector<std::string> lines = log.Lines();
  const std::vector<std::string> tail(lines.begin() + 2, lines.end());
  const std::vector<std::string> expected = {
      "[tcar] error -5: lost", "[tcar] error 6: ", "[tcar] hello", "[tcar] setscreeninfo"};
  EXPECT_EQ(tail, expected);
}

TEST_F(PushSessionTest, DropsCustomMessagesThatLackARecordALabelOrAPayload) {
  LogCapture log;
  ASSERT_TRUE(session->Start(Config()));
  const SdkGlobalConfig& config = library.config;
  const uint8_t payload[] = "{}";
  const SdkCustomMessage noLabel{nullptr, payload, 2, 0};
  const SdkCustomMessage noPayload{kControlLabel, nullptr, 2, 0};
  config.onCustomMessage(nullptr, nullptr, config.user);
  config.onCustomMessage(nullptr, &noLabel, config.user);
  config.onCustomMessage(nullptr, &noPayload, config.user);
  EXPECT_EQ(log.Lines().size(), 2u);
}

TEST_F(PushSessionTest, SwitchesAtOnceWhileNothingStreams) {
  LogCapture log;
  ASSERT_TRUE(session->Start(Config()));
  library.Say("{\"type\":\"switch_screen\",\"index\":1}");
  EXPECT_EQ(capture.CurrentOutput(), 1u);
  const std::vector<std::string> lines = log.Lines();
  EXPECT_EQ(Count(lines, "[agent] 已切换到屏幕 1 (32x24 @ 64,0)"), 1u);
  EXPECT_EQ(Count(lines, "[agent] switch_screen -> 1 (streaming=0)"), 1u);
  EXPECT_EQ(library.Messages().size(), 1u);
  EXPECT_TRUE(encoder.Calls().empty());
  library.Subscribe(100, 8000, 0);
  EXPECT_EQ(encoder.Calls().at(0), "Init 32x24@100 8000");
}

TEST_F(PushSessionTest, LeavesASwitchToTheStreamThreadWhileStreaming) {
  LogCapture log;
  ASSERT_TRUE(session->Start(Config()));
  library.Subscribe(100, 8000, 0);
  library.Say("{\"type\":\"switch_screen\",\"index\":1}");
  EXPECT_EQ(Count(log.Lines(), "[agent] switch_screen -> 1 (streaming=1)"), 1u);
  EXPECT_TRUE(Eventually([&] { return capture.CurrentOutput() == 1u; }));
  EXPECT_TRUE(Streams());
}

// A rate change is inside while another thread wants the encoder gone; one that comes meanwhile is
// turned away.
TEST(EncoderSlot, KeepsAnEncoderWhileItsRateIsBeingChanged) {
  FakeEncoder& encoder = FakeEncoder::Get();
  const auto build = [](H264Encoder& fresh) { return fresh.Init(64, 48, 30, 8000); };
  for (const bool replaces : {false, true}) {
    encoder.Reset();
    EncoderSlot slot;
    ASSERT_TRUE(slot.Replace(build));
    std::thread changer;
    encoder.OnSetBitrate([&](int32_t kbps) {
      if (kbps != 3000) return;
      changer = std::thread([&] { replaces ? (void)slot.Replace(build) : slot.Drop(); });
      while (slot.SetBitrate(4000)) std::this_thread::yield();
      EXPECT_EQ(Count(encoder.Calls(), "Destroy"), 0u);
    });
    EXPECT_TRUE(slot.SetBitrate(3000));
    changer.join();
    EXPECT_EQ(encoder.Alive(), replaces ? 1 : 0);
    encoder.OnSetBitrate(nullptr);
  }
}

// The library may call from several threads, and the first caller be the last to be done.
TEST_F(PushSessionTest, OfTwoProfilesAtOnceTheLaterOneStays) {
  ASSERT_TRUE(session->Start(Config()));
  library.Subscribe(100, 8000, 0);
  encoder.OnSetBitrate([this](int32_t kbps) {
    if (kbps == 3000) std::thread([this] { library.SetProfile(0, 4000, 0); }).join();
  });
  library.SetProfile(0, 3000, 0);
  EXPECT_EQ(encoder.Kbps(), 4000);
}

TEST_F(PushSessionTest, ASwitchThatAnEndingStreamLeftBehindDoesNotUndoALaterOne) {
  ASSERT_TRUE(session->Start(Config()));
  std::thread leaver;
  // The stream thread is held in its send until the stop is under way.
  library.duringSend = [this, &leaver] {
    if (stopped.exchange(true)) return;
    library.Say("{\"type\":\"switch_screen\",\"index\":1}");
    LogCapture log;
    leaver = std::thread([this] { library.Unsubscribe(); });
    EXPECT_TRUE(Eventually([&] {
      library.SetProfile(0, 0, 0);
      return log.Lines().back().ends_with("(streaming=0)");
    }));
  };
  library.Subscribe(200, 8000, 0);
  ASSERT_TRUE(Eventually([&] { return stopped.load(); }));
  ASSERT_TRUE(Eventually([&] { return encoder.Alive() == 0; }));
  leaver.join();
  library.Say("{\"type\":\"switch_screen\",\"index\":0}");
  library.Subscribe(200, 8000, 0);
  EXPECT_TRUE(Streams());
  EXPECT_EQ(capture.CurrentOutput(), 0u);
}

TEST_F(PushSessionTest, ASubscriptionAfterStopStartsNothing) {
  ASSERT_TRUE(session->Start(Config()));
  session->Stop();
  library.Subscribe(30, 8000, 0);
  library.Say("{\"type\":\"switch_screen\",\"index\":1}");
  EXPECT_TRUE(encoder.Calls().empty());
  EXPECT_EQ(capture.Selects(), 0);
}

// The library may call from inside the very call that the stream thread makes.
TEST_F(PushSessionTest, AStopFromTheStreamThreadItselfEndsTheStreamAndANewOneCanStart) {
  ASSERT_TRUE(session->Start(Config()));
  StopDuringTheFirstSend();
  library.Subscribe(200, 8000, 0);
  ASSERT_TRUE(Eventually([&] { return stopped.load(); }));
  library.Subscribe(200, 8000, 0);
  EXPECT_TRUE(Eventually([&] { return Count(encoder.Calls(), "Init 64x48@200 8000") == 2; }));
  EXPECT_TRUE(Streams());
}

TEST_F(PushSessionTest, ASwitchAfterAStopFromTheStreamThreadIsDoneAtOnce) {
  ASSERT_TRUE(session->Start(Config()));
  StopDuringTheFirstSend();
  library.Subscribe(200, 8000, 0);
  ASSERT_TRUE(Eventually([&] { return stopped.load(); }));
  library.Say("{\"type\":\"switch_screen\",\"index\":1}");
  EXPECT_EQ(capture.CurrentOutput(), 1u);
}

TEST_F(PushSessionTest, StopEndsEverythingWhileTheLibraryGoesOnCalling) {
  LogCapture log;
  ASSERT_TRUE(session->Start(Config()));
  std::atomic<bool> done{false};
  std::vector<std::thread> callers;
  for (int number = 0; number < 4; ++number) {
    callers.emplace_back([&] {
      while (!done.load()) {
        library.Subscribe(200, 4000, 0);
        library.Say("{\"type\":\"list_screens\"}");
        library.SetProfile(0, 5000, 0);
        library.Unsubscribe();
      }
    });
  }
  ASSERT_TRUE(Eventually([&] { return library.FrameCount() > 3; }));
  session->Stop();
  EXPECT_EQ(encoder.Alive(), 0);
  done.store(true);
  for (std::thread& caller : callers) {
    caller.join();
  }
  EXPECT_EQ(encoder.Alive(), 0);
}

}  // namespace
}  // namespace talu
