#include "control/control_channel.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include "tests/fakes/exact_bytes.h"
#include "tests/fakes/log_capture.h"

namespace talu {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr char kLabel[] = "desktop_input";

// A channel whose actions write down what they are asked, together with the controllerActive and
// paused flags at that moment.
class ControlChannelTest : public testing::Test {
 protected:
  ControlChannelTest() { customMsgLogCount.Refill(kLoggedCustomMessages); }

  void Receive(std::string_view body) { channel.OnCustomMessage(kLabel, body); }

  void Note(const std::string& what) {
    done.push_back(what + (flags.controllerActive ? " active" : "") +
                   (flags.paused ? " paused" : ""));
  }

  // As the session does it.
  bool SwitchScreen(int32_t index) {
    const bool parks = flags.streaming;
    Note((parks ? "park " : "switch to ") + std::to_string(index));
    if (parks) flags.pendingScreen.exchange(index);
    return parks;
  }

  ControlActions Actions() {
    return {
        .switchScreen = [this](int32_t index) { return SwitchScreen(index); },
        .sendScreensInfo = [this] { Note("screens"); },
        .setClipboard =
            [this](std::string_view body, bool logThis) {
              Note("clipboard " + std::string(body) + (logThis ? " logged" : ""));
            },
        .handleInput =
            [this](std::string_view body) {
              Note("input " + std::string(body));
              return inputWorks;
            },
        .releaseAllInput = [this] { Note("release"); },
    };
  }

  SessionFlags flags;
  std::vector<std::string> done;
  bool inputWorks = true;
  ControlChannel channel{flags, Actions()};
  LogCapture log;
};

TEST_F(ControlChannelTest, IgnoresEveryOtherLabel) {
  for (const char* label : {"input", "desktop_inpu", "desktop_input2", "Desktop_input", ""}) {
    channel.OnCustomMessage(label, R"({"type":"bye"})");
  }
  EXPECT_THAT(done, IsEmpty());
  EXPECT_FALSE(flags.paused);
  EXPECT_FALSE(flags.controllerActive);
  EXPECT_EQ(log.Lines()[0], R"([agent] custom msg label=input ignored, data={"type":"bye"})");
  EXPECT_EQ(log.Lines().size(), 5u);
}

TEST_F(ControlChannelTest, LogsAtMost120BytesOfAnIgnoredBody) {
  channel.OnCustomMessage("input", std::string(119, 'a') + "bc");
  EXPECT_THAT(
      log.Lines(),
      ElementsAre("[agent] custom msg label=input ignored, data=" + std::string(119, 'a') + "b"));
}

TEST_F(ControlChannelTest, LogsNoMoreThanTheBodyHolds) {
  const ExactBytes body("{\"type\":\"mousemove\"}");
  channel.OnCustomMessage("input", body.View());
  channel.OnCustomMessage(kLabel, body.View());
  EXPECT_THAT(log.Lines(),
              ElementsAre(R"([agent] custom msg label=input ignored, data={"type":"mousemove"})",
                          R"([agent] desktop_input inject OK: {"type":"mousemove"})"));
}

TEST_F(ControlChannelTest, ByePausesReleasesInputAndEndsTheControllersPart) {
  flags.controllerActive = true;
  Receive(R"({"type":"bye"})");
  EXPECT_TRUE(flags.paused);
  EXPECT_FALSE(flags.controllerActive);
  EXPECT_FALSE(flags.forceKeyframe);
  EXPECT_FALSE(flags.awaitKeyframe);
  EXPECT_THAT(done, ElementsAre("release paused"));
  EXPECT_THAT(log.Lines(), ElementsAre("[agent] viewer bye -> pause encoding"));
}

TEST_F(ControlChannelTest, ByeOfAReplacedConnectionChangesNothing) {
  Receive(R"({"type":"request_keyframe","conn":"B"})");
  flags.forceKeyframe = false;
  Receive(R"({"type":"bye","conn":"A"})");
  EXPECT_FALSE(flags.paused);
  EXPECT_TRUE(flags.controllerActive);
  EXPECT_FALSE(flags.forceKeyframe);
  EXPECT_THAT(done, IsEmpty());
  EXPECT_EQ(log.Lines().back(), "[agent] stale bye (conn=A, current=B) ignored");
}

TEST_F(ControlChannelTest, ByeOfTheCurrentConnectionIsHonoured) {
  Receive(R"({"type":"request_keyframe","conn":"B"})");
  Receive(R"({"type":"bye","conn":"B"})");
  EXPECT_TRUE(flags.paused);
  EXPECT_THAT(done, ElementsAre("release paused"));
}

TEST_F(ControlChannelTest, ByeIdsCompareInLengthAndBytes) {
  Receive(R"({"type":"request_keyframe","conn":"conn1"})");
  for (const char* other : {"conn", "conn12", "conn2", "Conn1"}) {
    Receive(std::string(R"({"type":"bye","conn":")") + other + "\"}");
    EXPECT_FALSE(flags.paused) << other;
  }
}

TEST_F(ControlChannelTest, ByeWithoutAnIdIsAlwaysHonoured) {
  Receive(R"({"type":"request_keyframe","conn":"B"})");
  Receive(R"({"type":"bye"})");
  EXPECT_TRUE(flags.paused);
  flags.paused = false;
  Receive(R"({"type":"bye","conn":""})");
  EXPECT_TRUE(flags.paused);
  flags.paused = false;
  Receive(R"({"type":"bye","conn": "A"})");
  EXPECT_TRUE(flags.paused) << "an id that cannot be read is none";
}

TEST_F(ControlChannelTest, ByeWithAnIdIsStaleBeforeAnyRequest) {
  Receive(R"({"type":"bye","conn":"A"})");
  EXPECT_FALSE(flags.paused);
  EXPECT_THAT(log.Lines(), ElementsAre("[agent] stale bye (conn=A, current=) ignored"));
}

TEST_F(ControlChannelTest, RequestWithoutAnIdMakesEveryLaterIdStale) {
  Receive(R"({"type":"request_keyframe","conn":"A"})");
  Receive(R"({"type":"request_keyframe"})");
  Receive(R"({"type":"bye","conn":"A"})");
  EXPECT_FALSE(flags.paused);
  EXPECT_THAT(log.Lines(), ElementsAre("[agent] request_keyframe(conn=A) -> force I frame",
                                       "[agent] request_keyframe(conn=) -> force I frame",
                                       "[agent] stale bye (conn=A, current=) ignored"));
}

TEST_F(ControlChannelTest, ListScreensAnswersAsAnActiveController) {
  flags.paused = true;
  Receive(R"({"type":"list_screens"})");
  EXPECT_THAT(done, ElementsAre("screens active paused"));
  EXPECT_TRUE(flags.paused) << "asking for the screens does not resume";
  EXPECT_FALSE(flags.forceKeyframe);
  EXPECT_THAT(log.Lines(), IsEmpty());
}

TEST_F(ControlChannelTest, SwitchScreenSwitchesAtOnceWhenNotStreaming) {
  flags.paused = true;
  Receive(R"({"type":"switch_screen","index":2})");
  EXPECT_THAT(done, ElementsAre("switch to 2 active paused"));
  EXPECT_TRUE(flags.paused);
  EXPECT_EQ(flags.pendingScreen, kNoPendingScreen);
  EXPECT_THAT(log.Lines(), ElementsAre("[agent] switch_screen -> 2 (streaming=0)"));
}

TEST_F(ControlChannelTest, SwitchScreenIsParkedAndResumesWhileStreaming) {
  flags.streaming = true;
  flags.paused = true;
  Receive(R"({"type":"switch_screen","index":0})");
  EXPECT_THAT(done, ElementsAre("park 0 active paused"));
  EXPECT_FALSE(flags.paused);
  EXPECT_FALSE(flags.forceKeyframe) << "the switch itself forces the key frame";
  EXPECT_EQ(flags.pendingScreen, 0);
  EXPECT_THAT(log.Lines(), ElementsAre("[agent] switch_screen -> 0 (streaming=1)"));
}

TEST_F(ControlChannelTest, SwitchScreenWithoutAUsableIndexDoesNothing) {
  flags.streaming = true;
  flags.paused = true;
  for (const char* body :
       {R"({"type":"switch_screen","index":-1})", R"({"type":"switch_screen"})",
        R"({"type":"switch_screen","index":"1"})", R"({"type":"switch_screen","index":})",
        R"({"type":"switch_screen","index":2147483648})"}) {
    Receive(body);
  }
  EXPECT_THAT(done, IsEmpty());
  EXPECT_FALSE(flags.controllerActive);
  EXPECT_TRUE(flags.paused);
  EXPECT_EQ(flags.pendingScreen, kNoPendingScreen);
  EXPECT_THAT(log.Lines(), IsEmpty());
}

TEST_F(ControlChannelTest, ClipboardActivatesTheControllerAfterwards) {
  flags.paused = true;
  Receive(R"({"type":"clipboard","text":"a"})");
  EXPECT_THAT(done, ElementsAre(R"(clipboard {"type":"clipboard","text":"a"} logged paused)"));
  EXPECT_TRUE(flags.controllerActive);
  EXPECT_TRUE(flags.paused);
  EXPECT_THAT(log.Lines(), IsEmpty());
}

TEST_F(ControlChannelTest, RequestKeyframeResumesAndForcesOne) {
  flags.paused = true;
  Receive(R"({"type":"request_keyframe","conn":"c7"})");
  EXPECT_FALSE(flags.paused);
  EXPECT_TRUE(flags.forceKeyframe);
  EXPECT_TRUE(flags.awaitKeyframe);
  EXPECT_TRUE(flags.controllerActive);
  EXPECT_THAT(done, IsEmpty());
  EXPECT_THAT(log.Lines(), ElementsAre("[agent] request_keyframe(conn=c7) -> force I frame"));
}

TEST_F(ControlChannelTest, InputIsInjectedByAnActiveController) {
  Receive(R"({"type":"mousemove","x":1,"y":2})");
  EXPECT_THAT(done, ElementsAre(R"(input {"type":"mousemove","x":1,"y":2} active)"));
  EXPECT_FALSE(flags.forceKeyframe);
  EXPECT_FALSE(flags.awaitKeyframe);
  EXPECT_THAT(log.Lines(),
              ElementsAre(R"([agent] desktop_input inject OK: {"type":"mousemove","x":1,"y":2})"));
}

TEST_F(ControlChannelTest, InputAfterAByeResumesOnceWithAKeyFrame) {
  Receive(R"({"type":"bye"})");
  Receive(R"({"type":"mousemove","x":1,"y":2})");
  EXPECT_FALSE(flags.paused);
  EXPECT_TRUE(flags.forceKeyframe);
  EXPECT_TRUE(flags.awaitKeyframe);
  Receive(R"({"type":"mouseup"})");
  EXPECT_THAT(done,
              ElementsAre("release paused", R"(input {"type":"mousemove","x":1,"y":2} active)",
                          R"(input {"type":"mouseup"} active)"));
  EXPECT_THAT(log.Lines(),
              ElementsAre("[agent] viewer bye -> pause encoding",
                          "[agent] input received -> resume encoding",
                          R"([agent] desktop_input inject OK: {"type":"mousemove","x":1,"y":2})",
                          R"([agent] desktop_input inject OK: {"type":"mouseup"})"));
}

TEST_F(ControlChannelTest, RefusedInputStillCountsAsInput) {
  inputWorks = false;
  flags.paused = true;
  Receive("nonsense");
  EXPECT_FALSE(flags.paused);
  EXPECT_TRUE(flags.controllerActive);
  EXPECT_EQ(log.Lines().back(), "[agent] desktop_input inject FAILED: nonsense");
}

TEST_F(ControlChannelTest, LogsAtMost160BytesOfAnInputBody) {
  Receive(std::string(159, 'a') + "bc");
  EXPECT_THAT(log.Lines(),
              ElementsAre("[agent] desktop_input inject OK: " + std::string(159, 'a') + "b"));
}

TEST_F(ControlChannelTest, LogsABodyUpToItsFirstNul) {
  Receive(std::string_view("ab\0cd", 5));
  EXPECT_THAT(log.Lines(), ElementsAre("[agent] desktop_input inject OK: ab"));
}

TEST_F(ControlChannelTest, UnknownTypesAndLooseFormsAreInput) {
  for (const char* body :
       {R"({"type": "bye"})", R"({"type":"Bye"})", R"({"type":"unknown"})", "{}", ""}) {
    done.clear();
    Receive(body);
    EXPECT_THAT(done, ElementsAre(std::string("input ") + body + " active"));
  }
}

TEST_F(ControlChannelTest, TheFirstTypeOfTheTableWinsWhateverTheOrderInTheBody) {
  const std::string kInOrder[] = {R"("type":"bye")", R"("type":"list_screens")",
                                  R"("type":"switch_screen")", R"("type":"clipboard")",
                                  R"("type":"request_keyframe")"};
  const std::string kTraces[] = {"release paused", "screens active", "switch to 1 active",
                                 "clipboard"};
  for (size_t first = 0; first < std::size(kTraces); ++first) {
    for (size_t other = first + 1; other < std::size(kInOrder); ++other) {
      done.clear();
      flags.controllerActive = false;
      flags.paused = false;
      Receive("{\"index\":1," + kInOrder[other] + "," + kInOrder[first] + "}");
      ASSERT_EQ(done.size(), 1u);
      EXPECT_EQ(done[0].rfind(kTraces[first], 0), 0u) << done[0];
    }
  }
}

TEST_F(ControlChannelTest, OnlyTheFirstTwentyMessagesMayLogWithinTheBudget) {
  for (int count = 0; count < 7; ++count) {
    channel.OnCustomMessage("other", "x");
    Receive(R"({"type":"list_screens"})");
    Receive(R"({"type":"mousemove"})");
  }
  // 7 ignored and 6 inputs are among the first 20.
  EXPECT_EQ(log.Lines().size(), 13u);
  Receive(R"({"type":"clipboard"})");
  EXPECT_EQ(done.back(), R"(clipboard {"type":"clipboard"} active)") << "not to be logged";
  channel.OnCustomMessage("other", "x");
  EXPECT_EQ(log.Lines().size(), 13u);
}

TEST_F(ControlChannelTest, UnbudgetedLinesAppearForEver) {
  for (int count = 0; count < 30; ++count) Receive("x");
  const size_t before = log.Lines().size();
  Receive(R"({"type":"request_keyframe","conn":"B"})");
  Receive(R"({"type":"bye","conn":"A"})");
  Receive(R"({"type":"bye"})");
  Receive("x");
  Receive(R"({"type":"switch_screen","index":1})");
  const std::vector<std::string> lines = log.Lines();
  EXPECT_THAT(
      std::vector<std::string>(lines.begin() + static_cast<std::ptrdiff_t>(before), lines.end()),
      ElementsAre(
          "[agent] request_keyframe(conn=B) -> force I frame",
          "[agent] stale bye (conn=A, current=B) ignored", "[agent] viewer bye -> pause encoding",
          "[agent] input received -> resume encoding", "[agent] switch_screen -> 1 (streaming=0)"));
}

TEST_F(ControlChannelTest, NoPrefixOfAnyMessageIsReadPastItsEnd) {
  for (const std::string_view sample :
       {R"({"type":"bye","conn":"a connection"})", R"({"type":"switch_screen","index":-12})",
        R"({"type":"request_keyframe","conn":"a connection"})", R"({"type":"clipboard"})"}) {
    for (size_t length = 0; length <= sample.size(); ++length) {
      const ExactBytes prefix(sample.substr(0, length));
      Receive(prefix.View());
      channel.OnCustomMessage(prefix.View(), prefix.View());
    }
  }
}

// Each controller asks for a key frame and later says bye, on threads of their own, in every order
// that the scheduler finds.
TEST(ControlChannelThreads, AByeNeverPausesAfterARequestOfAnotherConnection) {
  LogCapture log;
  SessionFlags flags;
  ControlChannel channel(flags, {.switchScreen = [](int32_t) { return false; },
                                 .sendScreensInfo = [] {},
                                 .setClipboard = [](std::string_view, bool) {},
                                 .handleInput = [](std::string_view) { return true; },
                                 .releaseAllInput = [] {}});
  for (int round = 0; round < 300; ++round) {
    channel.OnCustomMessage(kLabel, R"({"type":"request_keyframe","conn":"old"})");
    std::atomic<int> ready{0};
    const auto send = [&](std::string_view body) {
      ++ready;
      while (ready < 2) std::this_thread::yield();
      channel.OnCustomMessage(kLabel, body);
    };
    std::thread bye(send, R"({"type":"bye","conn":"old"})");
    std::thread request(send, R"({"type":"request_keyframe","conn":"a newer, longer connection"})");
    bye.join();
    request.join();
    ASSERT_FALSE(flags.paused);
  }
}

TEST(ControlChannelThreads, AllMessagesMayComeAtOnce) {
  LogCapture log;
  SessionFlags flags;
  std::atomic<int> handled{0};
  ControlChannel channel(flags, {.switchScreen =
                                     [&](int32_t) {
                                       ++handled;
                                       return flags.streaming.load();
                                     },
                                 .sendScreensInfo = [&] { ++handled; },
                                 .setClipboard = [&](std::string_view, bool) { ++handled; },
                                 .handleInput =
                                     [&](std::string_view) {
                                       ++handled;
                                       return true;
                                     },
                                 .releaseAllInput = [&] { ++handled; }});
  constexpr std::string_view kBodies[] = {
      R"({"type":"bye","conn":"a"})",
      R"({"type":"bye"})",
      R"({"type":"list_screens"})",
      R"({"type":"switch_screen","index":1})",
      R"({"type":"clipboard","text":"x"})",
      R"({"type":"request_keyframe","conn":"a"})",
      R"({"type":"request_keyframe","conn":"a longer one, on the heap"})",
      R"({"type":"mousemove","x":1,"y":1})"};
  constexpr int kRounds = 200;
  std::vector<std::thread> senders;
  for (size_t sender = 0; sender < 8; ++sender) {
    senders.emplace_back([&, sender] {
      for (int round = 0; round < kRounds; ++round) {
        channel.OnCustomMessage(kLabel, kBodies[(sender + static_cast<size_t>(round)) % 8]);
      }
    });
  }
  for (std::thread& sender : senders) sender.join();
  // Two kinds never reach an action, and a stale bye does not.
  EXPECT_GE(handled, 5 * kRounds);
  channel.OnCustomMessage(kLabel, R"({"type":"request_keyframe","conn":"last"})");
  EXPECT_FALSE(flags.paused);
  EXPECT_TRUE(flags.controllerActive);
  EXPECT_TRUE(flags.awaitKeyframe);
}

}  // namespace
}  // namespace talu
