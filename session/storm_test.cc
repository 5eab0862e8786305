// Every callback of the streaming library, from eight threads at once and with no order at all,
// while sessions start and stop, monitors change their mode and calls fail. TALU_STORM_SECONDS in
// the environment asks for more than the few rounds that every test run does.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <memory>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "session/push_session.h"
#include "session/stream_sdk_loader.h"
#include "tests/fakes/fake_h264_encoder.h"
#include "tests/fakes/fake_injection.h"
#include "tests/fakes/fake_screen_capturer.h"
#include "tests/fakes/fake_stream_library.h"
#include "tests/fakes/log_capture.h"

namespace talu {
namespace {

using Clock = std::chrono::steady_clock;

constexpr auto kGenerousTime = std::chrono::seconds(60);
constexpr int kThreads = 8;
constexpr int kRounds = 8;
constexpr int kCallsPerThread = 60;

::testing::AssertionResult Eventually(const std::function<bool()>& condition) {
  const auto deadline = Clock::now() + kGenerousTime;
  while (!condition()) {
    if (Clock::now() > deadline) {
      return ::testing::AssertionFailure() << "waited in vain";
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
  return ::testing::AssertionSuccess();
}

std::chrono::seconds AskedTime() {
  const char* text = std::getenv("TALU_STORM_SECONDS");
  return std::chrono::seconds(text == nullptr ? 0 : std::atoi(text));
}

ScreenInfo Screen(uint32_t index, int32_t width, int32_t height) {
  ScreenInfo screen;
  screen.index = index;
  screen.width = width;
  screen.height = height;
  return screen;
}

std::string SwitchTo(int index) {
  return R"({"type":"switch_screen","index":)" + std::to_string(index) + "}";
}

class Storm : public testing::Test {
 protected:
  ~Storm() override {
    session.reset();
    EXPECT_EQ(encoder.Alive(), 0);
    EXPECT_EQ(capture.Overlaps(), 0);
  }

  // stormy: the library calls back from the moment it has a session.
  void StartSession(bool stormy) {
    session.reset();
    capture.Reset();
    encoder.Reset();
    library.Reset();
    ForgetStreamSdk();
    capture.SetScreens({Screen(0, 64, 48), Screen(1, 32, 24)});
    blowing.store(stormy);
    if (stormy) {
      library.duringCreate = [this] { Blow(); };
    }
    session = std::make_unique<PushSession>();
    ASSERT_TRUE(session->Start(HostConfig{}));
  }

  void Blow() {
    for (int number = 0; number < kThreads; ++number) {
      storm.emplace_back([this, seed = seeds()] {
        std::minstd_rand random(seed);
        for (int call = 0; call < kCallsPerThread; ++call) Call(random);
      });
    }
    storm.emplace_back([this, seed = seeds()] {
      std::minstd_rand random(seed);
      while (blowing.load()) Disturb(random);
    });
  }

  void Call(std::minstd_rand& random) {
    const auto number = static_cast<int32_t>(random() % 1000);
    switch (random() % 16) {
      case 0:
      case 1:
      case 2:
        return library.Subscribe(number, 4000 + number, 0);
      case 3:
        return library.Unsubscribe();
      case 4:
        return library.RequestKeyframe();
      case 5:
      case 6:
        return library.SetProfile(number % 100, 1000 + number, 100);
      case 7:
        return library.RequestScreenInfo();
      case 8:
        return library.Say(R"({"type":"bye"})");
      case 9:
        return library.Say(R"({"type":"request_keyframe","conn":")" + std::to_string(number) +
                           R"("})");
      case 10:
        return library.Say(SwitchTo(number % 3));
      case 11:
        return library.Say(R"({"type":"list_screens"})");
      case 12:
        return library.Say(R"({"type":"mousemove","x":5,"y":6})");
      case 13:
        return library.Say(R"({"type":"bye","conn":"stale"})");
      case 14:
        return library.config.onLog(nullptr, "a line", library.config.user);
      default:
        return library.Say(R"({"type":"clipboard","text":"t)" + std::to_string(number) + R"("})");
    }
  }

  // Modes change, monitors go and come, encoders, captures and sends fail.
  void Disturb(std::minstd_rand& random) {
    const auto side = static_cast<int32_t>(16 + random() % 64);
    switch (random() % 8) {
      case 0:
        capture.SetScreens({Screen(0, side, 48), Screen(1, 32, side)});
        break;
      case 1:
        capture.SetScreens({Screen(0, 64, side)});
        break;
      case 2:
        capture.GiveFrame(side, side);
        break;
      case 3:
        capture.GiveNothing(3);
        break;
      case 4:
        capture.FailSelects(1);
        break;
      case 5:
        encoder.FailInits(1);
        break;
      case 6:
        library.sendResult.store(random() % 2 == 0 ? 7 : 0);
        break;
      default:
        encoder.SettleOn(side > 40 ? 30 : 0);
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(2));
  }

  void Settle() {
    blowing.store(false);
    for (std::thread& thread : storm) thread.join();
    storm.clear();
  }

  void CalmDown() {
    Settle();
    capture.SetScreens({Screen(0, 64, 48), Screen(1, 32, 24)});
    capture.FailSelects(0);
    encoder.FailInits(0);
    encoder.SettleOn(0);
    library.sendResult.store(0);
  }

  // What was said last holds, and a subscriber gets its pictures, a key frame first.
  void ExpectTheLastWordsToHold() {
    library.SetProfile(0, 7777, 0);
    EXPECT_TRUE(Eventually([&] { return encoder.Alive() == 0 || encoder.Kbps() == 7777; }));
    library.Say(SwitchTo(1));
    library.Unsubscribe();
    EXPECT_EQ(encoder.Alive(), 0);
    const size_t before = library.FrameCount();
    library.Subscribe(500, 5555, 0);
    EXPECT_EQ(encoder.Kbps(), 5555);
    ASSERT_TRUE(Eventually([&] { return library.FrameCount() >= before + 3; }));
    EXPECT_EQ(library.Frames().at(before).record.frameType, kSdkFrameTypeKey);
    EXPECT_EQ(capture.CurrentOutput(), 1u);
    // Frames of other sizes may still be on their way.
    EXPECT_TRUE(Eventually([&] {
      const EncodedPicture last = encoder.Pictures().back();
      return last.width == 32 && last.height == 24;
    }));
  }

  FakeCapture& capture = FakeCapture::Get();
  FakeEncoder& encoder = FakeEncoder::Get();
  FakeStreamLibrary& library = FakeStreamLibrary::Get();
  std::unique_ptr<PushSession> session;
  std::minstd_rand seeds{20240229};
  std::atomic<bool> blowing{false};
  std::vector<std::thread> storm;
};

TEST_F(Storm, OfAllCallbacksOnEightThreadsLosesNothingThatWasSaidLast) {
  const auto end = Clock::now() + AskedTime();
  int round = 0;
  for (; round < kRounds || Clock::now() < end; ++round) {
    LogCapture log;
    ASSERT_NO_FATAL_FAILURE(StartSession(true));
    if (round % 2 == 0) {
      CalmDown();
      ASSERT_NO_FATAL_FAILURE(ExpectTheLastWordsToHold()) << "round " << round;
      session->Stop();
    } else {
      // In the middle of it; whatever is called afterwards starts nothing.
      std::this_thread::sleep_for(std::chrono::milliseconds(seeds() % 50));
      session->Stop();
      EXPECT_EQ(encoder.Alive(), 0);
      const size_t frames = library.FrameCount();
      Settle();
      EXPECT_EQ(encoder.Alive(), 0);
      EXPECT_EQ(library.FrameCount(), frames);
    }
    if (HasFailure()) {
      break;
    }
  }
  RecordProperty("rounds", round);
}

// The messages of a second at least, as fast as they are taken; with TALU_STORM_SECONDS for that
// long, and it says what came of it.
TEST_F(Storm, OfInputLeavesThePictureGoing) {
  constexpr int kFps = 60;
  constexpr int64_t kInputs = 100'000;
  LogCapture log;
  ASSERT_NO_FATAL_FAILURE(StartSession(false));
  FakeInjection::Reset();
  library.Subscribe(kFps, 8000, 0);
  ASSERT_TRUE(Eventually([&] { return library.FrameCount() > 3; }));
  const auto start = Clock::now();
  const size_t before = library.FrameCount();
  int64_t inputs = 0;
  while (inputs < kInputs || Clock::now() < start + AskedTime()) {
    library.Say(R"({"type":"mousemove","x":5,"y":6})");
    ++inputs;
    if (inputs == kInputs) {
      EXPECT_EQ(FakeInjection::CallSizes().size(), static_cast<size_t>(kInputs));
    }
    // What the fake has written down would fill the memory.
    if (inputs % kInputs == 0) FakeInjection::Reset();
  }
  const double seconds = std::chrono::duration<double>(Clock::now() - start).count();
  const size_t frames = library.FrameCount() - before;
  EXPECT_TRUE(Eventually([&] { return library.FrameCount() > before; }));
  if (AskedTime().count() > 0) {
    std::fprintf(stderr, "%.0f inputs a second, %.1f pictures a second of %d\n", inputs / seconds,
                 frames / seconds, 1000 / (1000 / kFps));
  }
}

}  // namespace
}  // namespace talu
