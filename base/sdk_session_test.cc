#include "base/sdk_session.h"

#include <gtest/gtest.h>

#include <cstring>
#include <functional>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace talu {
namespace {

struct Recorded {
  SdkCustomMessage message{};
  std::string label;
  std::string payload;
  SdkScreenInfo screen{};
  std::atomic<bool> alive{true};
  std::atomic<int> callsOnDeadSession{0};
  std::atomic<int> sends{0};
  // Runs once, inside the next message.
  std::function<void()> duringMessage;
};

Recorded recorded;
int theSession;

void NoteUse() {
  recorded.sends.fetch_add(1);
  if (!recorded.alive.load()) recorded.callsOnDeadSession.fetch_add(1);
}

StreamSdk MakeSdk() {
  StreamSdk sdk;
  sdk.send_custom_message = [](SdkSessionHandle, const SdkCustomMessage* message) {
    NoteUse();
    recorded.message = *message;
    recorded.label = message->label;
    recorded.payload.assign(reinterpret_cast<const char*>(message->payload),
                            message->payloadLength);
    if (const auto act = std::exchange(recorded.duringMessage, nullptr)) act();
    return 3;
  };
  sdk.send_video_frame = [](SdkSessionHandle, const SdkVideoFrame*) {
    NoteUse();
    return 42;
  };
  sdk.set_screen_info = [](SdkSessionHandle, const SdkScreenInfo* info) {
    NoteUse();
    recorded.screen = *info;
    return 0;
  };
  return sdk;
}

const StreamSdk kSdk = MakeSdk();

TEST(SdkSession, SendsNothingBeforeItIsOpen) {
  SdkSession session;
  EXPECT_FALSE(session.IsOpen());
  EXPECT_FALSE(session.SendControlMessage("{}"));
  EXPECT_FALSE(session.SendVideoFrame({}).has_value());
  session.SetScreenInfo(1, 2);
  EXPECT_EQ(session.Close(), nullptr);
}

TEST(SdkSession, SendsControlMessagesUnderTheControlLabel) {
  SdkSession session;
  session.Open(kSdk, &theSession);
  const std::string body("a\0b", 3);
  EXPECT_TRUE(session.SendControlMessage(body));
  EXPECT_EQ(recorded.label, "desktop_input");
  EXPECT_EQ(recorded.payload, body);
  EXPECT_EQ(recorded.message.reserved, 0u);
}

TEST(SdkSession, GivesBackTheLibrarysResultForAFrame) {
  SdkSession session;
  session.Open(kSdk, &theSession);
  EXPECT_EQ(session.SendVideoFrame({}), 42);
}

TEST(SdkSession, AnnouncesTheScreenWithItsFlagSet) {
  SdkSession session;
  session.Open(kSdk, &theSession);
  session.SetScreenInfo(1280, 720);
  EXPECT_EQ(recorded.screen.width, 1280u);
  EXPECT_EQ(recorded.screen.height, 720u);
  EXPECT_EQ(recorded.screen.flag, 1u);
  EXPECT_EQ(recorded.screen.reserved, 0u);
}

TEST(SdkSession, CloseGivesTheSessionBackOnce) {
  SdkSession session;
  session.Open(kSdk, &theSession);
  EXPECT_EQ(session.Close(), &theSession);
  EXPECT_EQ(session.Close(), nullptr);
  EXPECT_FALSE(session.IsOpen());
  EXPECT_FALSE(session.SendControlMessage("{}"));
}

TEST(SdkSession, IsNeverUsedAfterCloseHasReturned) {
  for (int round = 0; round < 200; ++round) {
    SdkSession session;
    session.Open(kSdk, &theSession);
    recorded.alive.store(true);
    recorded.sends.store(0);
    std::vector<std::thread> senders;
    for (int number = 0; number < 3; ++number) {
      senders.emplace_back([&] {
        while (session.SendVideoFrame({}).has_value()) {
        }
      });
    }
    while (recorded.sends.load() == 0) {
      std::this_thread::yield();
    }
    session.Close();
    recorded.alive.store(false);
    for (std::thread& sender : senders) {
      sender.join();
    }
  }
  EXPECT_EQ(recorded.callsOnDeadSession.load(), 0);
}

// A call that is still inside keeps the session; whatever comes meanwhile is turned away at once
// instead of waiting for the end.
TEST(SdkSession, TurnsAwayWhatComesWhileItCloses) {
  SdkSession session;
  session.Open(kSdk, &theSession);
  std::thread closer;
  recorded.duringMessage = [&] {
    closer = std::thread([&] { session.Close(); });
    while (session.SendVideoFrame({}).has_value()) {
      std::this_thread::yield();
    }
    EXPECT_TRUE(session.IsOpen()) << "closed under the call";
    EXPECT_FALSE(session.SendControlMessage("{}"));
    recorded.screen = {};
    session.SetScreenInfo(1280, 720);
    EXPECT_EQ(recorded.screen.width, 0u);
  };
  EXPECT_TRUE(session.SendControlMessage("{}"));
  closer.join();
  EXPECT_FALSE(session.IsOpen());
}

TEST(StreamSdk, HasAnEmptyTextForAnErrorThatHasNone) {
  StreamSdk sdk;
  sdk.str_err = [](int32_t) -> const char* { return nullptr; };
  EXPECT_STREQ(sdk.ErrorText(5), "");
}

// Field by field as the closed library reads it: 64-bit, little-endian, natural alignment.
TEST(SdkRecords, VideoFrameHasTheLibrarysBytes) {
  const uint8_t data = 0;
  const SdkVideoFrame frame{1, 0, kSdkFrameTypeKey, 0, &data, 0x01020304, 0, 0x1122334455667788};
  uint8_t bytes[sizeof(frame)];
  std::memcpy(bytes, &frame, sizeof(frame));
  EXPECT_EQ(bytes[0], 1);
  EXPECT_EQ(bytes[8], 0);
  uint64_t pointer = 0;
  std::memcpy(&pointer, bytes + 16, sizeof(pointer));
  EXPECT_EQ(pointer, reinterpret_cast<uintptr_t>(&data));
  EXPECT_EQ(bytes[24], 0x04);
  EXPECT_EQ(bytes[27], 0x01);
  EXPECT_EQ(bytes[32], 0x88);
  EXPECT_EQ(bytes[39], 0x11);
}

}  // namespace
}  // namespace talu
