// What the host takes from the heap once it runs: nothing for a frame, its two copies for a
// message; and what it does where there is no memory for a message.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "capture/pixel_rows.h"
#include "control/control_channel.h"
#include "encoder/picture_staging.h"
#include "input/mouse_input.h"
#include "session/push_session.h"
#include "session/sdk_callbacks.h"
#include "tests/fakes/allocation_count.h"
#include "tests/fakes/bare_stream.h"
#include "tests/fakes/log_capture.h"

namespace talu {
namespace {

// Far enough for lines of statistics to fall among the frames that are counted.
constexpr int64_t kFirstCounted = 100;
constexpr int64_t kLastCounted = 300;

SessionFlags* running = nullptr;
int64_t allocationsBefore = 0;
int64_t allocationsAfter = 0;

void CountFrame(int64_t number) {
  if (number == kFirstCounted) allocationsBefore = AllocationsOfThisThread();
  if (number == kLastCounted) {
    allocationsAfter = AllocationsOfThisThread();
    running->streaming.store(false);
  }
}

TEST(SteadyState, TheStreamLoopAllocatesNothingForAFrame) {
  const LogCapture log;
  BareStream stream;
  ASSERT_TRUE(stream.Open(30));
  stream.flags.controllerActive.store(true);
  running = &stream.flags;
  onBareFrame = CountFrame;
  stream.Run();
  onBareFrame = nullptr;
  EXPECT_EQ(allocationsAfter - allocationsBefore, 0);
}

TEST(SteadyState, APictureIsCopiedAndConvertedWithoutAllocating) {
  constexpr size_t kPitch = 4 * kBareWidth + 64;
  const std::vector<uint8_t> mapped(kPitch * kBareHeight);
  std::vector<uint8_t> pixels;
  std::vector<uint8_t> nv12;
  const auto take = [&] {
    ResizePixels(pixels, size_t{4} * kBareWidth * kBareHeight);
    CopyRows(mapped.data(), kPitch, 4 * kBareWidth, kBareHeight, pixels.data());
    return StageNv12(pixels.data(), kBareWidth, kBareHeight, nv12);
  };
  (void)take();
  const int64_t before = AllocationsOfThisThread();
  (void)take();
  EXPECT_EQ(AllocationsOfThisThread() - before, 0);
}

TEST(SteadyState, AMouseMoveAllocatesNoMoreThanTheTwoCopiesOfItsMessage) {
  const LogCapture log;
  PushSession session;
  const SdkGlobalConfig library = MakeGlobalConfig(1, session);
  const std::string body = R"({"type":"mousemove","x":40,"y":30})";
  const SdkCustomMessage message{kControlLabel, reinterpret_cast<const uint8_t*>(body.data()),
                                 static_cast<uint32_t>(body.size()), 0};
  const auto say = [&] { library.onCustomMessage(nullptr, &message, library.user); };
  say();
  const int64_t injections = bareInjections;
  const int64_t before = AllocationsOfThisThread();
  say();
  const int64_t allocations = AllocationsOfThisThread() - before;
  EXPECT_LE(allocations, 2);
  EXPECT_EQ(bareInjections - injections, 1);
}

class WithoutMemory : public testing::Test {
 protected:
  // As the library passes a message on, with no memory for anything above largestBytes.
  void Say(const std::string& body, size_t largestBytes) {
    const SdkCustomMessage message{kControlLabel, reinterpret_cast<const uint8_t*>(body.data()),
                                   static_cast<uint32_t>(body.size()), 0};
    const ScarceMemory scarce(largestBytes);
    library.onCustomMessage(nullptr, &message, library.user);
  }

  const LogCapture log;
  PushSession session;
  const SdkGlobalConfig library = MakeGlobalConfig(1, session);
};

TEST_F(WithoutMemory, AHugeMessageIsDroppedWithALine) {
  const std::string body(100'000, 'a');
  Say(body, 50'000);
  EXPECT_EQ(log.Text(), "[agent] custom message of 100000 bytes dropped: out of memory\n");
}

// Each character takes two records of some forty bytes.
TEST_F(WithoutMemory, ATextIsTypedWholeOrNotAtAll) {
  const int64_t injections = bareInjections;
  const std::string body = R"({"type":"text","text":")" + std::string(10'000, 'a') + R"("})";
  Say(body, 100'000);
  EXPECT_EQ(bareInjections - injections, 0);
  Say(body, SIZE_MAX);
  EXPECT_EQ(bareInjections - injections, 20'000);
}

}  // namespace
}  // namespace talu
