#include "input/input_injector.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "input/key_input.h"
#include "input/mouse_input.h"
#include "tests/fakes/exact_bytes.h"
#include "tests/fakes/fake_injection.h"
#include "tests/fakes/log_capture.h"

namespace talu {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

const std::vector<std::string> kReleases = {
    "mouse 0x0004 at 0,0 data 0", "mouse 0x0010 at 0,0 data 0",
    "mouse 0x0040 at 0,0 data 0", "key 16 flags 0x2",
    "key 17 flags 0x2",           "key 18 flags 0x2",
    "key 91 flags 0x2",           "key 92 flags 0x2"};

// Two monitors, the second one, 1000x500 at the right, being captured.
class InputInjectorTest : public testing::Test {
 protected:
  InputInjectorTest() {
    FakeInjection::Reset();
    FakeInjection::SetVirtualDesktop(0, 0, 2001, 1001);
    mouseLogCount.Refill(kLoggedMouseInjections);
    keyLogCount.Refill(kLoggedKeyInjections);
    injector.SetScreenRect(1000, 500, 1000, 500);
  }

  // The events of one body that is recognised.
  std::vector<std::string> EventsOf(std::string_view body) {
    const size_t before = FakeInjection::Events().size();
    EXPECT_TRUE(injector.HandleEvent(body)) << body;
    std::vector<std::string> events = FakeInjection::Events();
    events.erase(events.begin(), events.begin() + static_cast<std::ptrdiff_t>(before));
    return events;
  }

  InputInjector injector;
  LogCapture log;
};

TEST_F(InputInjectorTest, KnowsNoOtherTypes) {
  for (const char* body :
       {R"({"type":"Reset"})", R"({"type":"mousemoved"})", R"({"type":""})", R"({"type":"bye"})",
        R"({"x":1,"y":2})", "{}", "", "reset", R"({"type":"reset)", R"({"type":5})"}) {
    EXPECT_FALSE(injector.HandleEvent(body)) << body;
  }
  EXPECT_THAT(FakeInjection::Events(), IsEmpty());
}

TEST_F(InputInjectorTest, ResetReleasesEverything) {
  EXPECT_EQ(EventsOf(R"({"type":"reset"})"), kReleases);
  EXPECT_EQ(FakeInjection::CallSizes(), std::vector<size_t>(8, 1));
}

TEST_F(InputInjectorTest, ReleaseAllIsLoggedLikeEveryInjection) {
  injector.ReleaseAll();
  EXPECT_EQ(FakeInjection::Events(), kReleases);
  EXPECT_EQ(log.Lines().size(), 8u);
  EXPECT_EQ(log.Lines()[0], "[agent] SendInput mouse flags=0x0004 abs=(0,0) -> 1");
  EXPECT_EQ(log.Lines()[7], "[agent] SendInput key vk=92 down=0 -> 1");
}

TEST_F(InputInjectorTest, MouseMoveGoesToThePointOnTheCapturedScreen) {
  EXPECT_THAT(EventsOf(R"({"type":"mousemove","x":500,"y":250})"),
              ElementsAre("mouse 0xC001 at 49151,49151 data 0"));
  EXPECT_THAT(EventsOf(R"({"y":0,"x":0,"other":[1,2],"type":"mousemove"})"),
              ElementsAre("mouse 0xC001 at 32767,32767 data 0"));
}

TEST_F(InputInjectorTest, MouseMoveWithoutAPointIsHandledWithoutInjection) {
  EXPECT_THAT(EventsOf(R"({"type":"mousemove","x":10})"), IsEmpty());
  EXPECT_THAT(EventsOf(R"({"type":"mousemove","y":10})"), IsEmpty());
  EXPECT_THAT(EventsOf(R"({"type":"mousemove"})"), IsEmpty());
  EXPECT_THAT(EventsOf(R"({"type":"mousemove","x":"1","y":"2"})"), IsEmpty());
  EXPECT_EQ(FakeInjection::MetricCalls(), 0u);
}

TEST_F(InputInjectorTest, MouseButtonsArePressedAndReleasedAtThePoint) {
  EXPECT_THAT(EventsOf(R"({"type":"mousedown","x":500,"y":250,"button":"right"})"),
              ElementsAre("mouse 0xC009 at 49151,49151 data 0"));
  EXPECT_THAT(EventsOf(R"({"type":"mouseup","x":500,"y":250,"button":"x2"})"),
              ElementsAre("mouse 0xC101 at 49151,49151 data 2"));
}

TEST_F(InputInjectorTest, MouseButtonWithoutFieldsIsTheLeftOneAtTheCorner) {
  EXPECT_THAT(EventsOf(R"({"type":"mousedown"})"),
              ElementsAre("mouse 0xC003 at 32767,32767 data 0"));
  EXPECT_THAT(EventsOf(R"({"type":"mouseup","y":250,"button":"unknown"})"),
              ElementsAre("mouse 0xC005 at 32767,49151 data 0"));
}

TEST_F(InputInjectorTest, MouseWheelTurnsAtThePoint) {
  EXPECT_THAT(EventsOf(R"({"type":"mousewheel","x":500,"y":250,"deltaY":2})"),
              ElementsAre("mouse 0xC800 at 49151,49151 data -240"));
  EXPECT_THAT(EventsOf(R"({"type":"mousewheel"})"),
              ElementsAre("mouse 0xC800 at 32767,32767 data 0"));
  EXPECT_THAT(EventsOf(R"({"type":"mousewheel","deltaY":-1.9})"),
              ElementsAre("mouse 0xC800 at 32767,32767 data 120"));
}

TEST_F(InputInjectorTest, TheHidUsageWinsOverTheNames) {
  EXPECT_THAT(EventsOf(R"({"type":"keydown","hid":458756})"), ElementsAre("key 65 flags 0x0"));
  EXPECT_THAT(EventsOf(R"({"type":"keydown","hid":458756,"code":"KeyB","key":"b"})"),
              ElementsAre("key 65 flags 0x0"));
  EXPECT_THAT(EventsOf(R"({"type":"keyup","hid":458794,"code":"KeyA"})"),
              ElementsAre("key 8 flags 0x2"));
}

TEST_F(InputInjectorTest, TheNameServesWhereTheHidUsageIsUnknown) {
  EXPECT_THAT(EventsOf(R"({"type":"keydown","hid":786665,"code":"KeyB"})"),
              ElementsAre("key 66 flags 0x0"));
  EXPECT_THAT(EventsOf(R"({"type":"keyup","code":"ArrowLeft"})"), ElementsAre("key 37 flags 0x2"));
  EXPECT_THAT(EventsOf(R"({"type":"keydown","hid":-458756,"code":"Tab"})"),
              ElementsAre("key 9 flags 0x0"));
}

TEST_F(InputInjectorTest, TheCharacterServesAtLast) {
  FakeInjection::SetKeyScan('A', 0x0141);
  EXPECT_THAT(EventsOf(R"({"type":"keydown","code":"Unknown","key":"A"})"),
              ElementsAre("key 65 flags 0x0"));
  FakeInjection::SetKeyScan('\\', 0xDC);
  EXPECT_THAT(EventsOf(R"({"type":"keydown","key":"\""})"), ElementsAre("key 220 flags 0x0"))
      << "key names are read raw, so an escaped quote is its backslash";
}

TEST_F(InputInjectorTest, AnUnknownKeyIsHandledWithoutInjection) {
  EXPECT_THAT(EventsOf(R"({"type":"keydown","code":"Unknown","key":""})"), IsEmpty());
  EXPECT_THAT(EventsOf(R"({"type":"keyup"})"), IsEmpty());
  EXPECT_THAT(log.Lines(), IsEmpty());
}

TEST_F(InputInjectorTest, TextIsDecodedAndTyped) {
  const std::vector<std::string> kTyped = {"unit 233 flags 0x4", "unit 233 flags 0x6",
                                           "key 13 flags 0x0", "key 13 flags 0x2"};
  EXPECT_EQ(EventsOf(R"({"type":"text","text":"\u00e9\n"})"), kTyped);
  EXPECT_EQ(EventsOf(R"({"text":"\u00e9\n","type":"text"})"), kTyped);
}

// The first quoted "text" is the type's value, so the text typed is whatever follows the next
// colon.
TEST_F(InputInjectorTest, TextMustStandRightBehindTheType) {
  EXPECT_THAT(EventsOf(R"({"type":"text","conn":"c1","text":"abc"})"),
              ElementsAre("unit 99 flags 0x4", "unit 99 flags 0x6", "unit 49 flags 0x4",
                          "unit 49 flags 0x6"));
}

TEST_F(InputInjectorTest, TextWithoutAFieldIsHandledWithoutInjection) {
  EXPECT_THAT(EventsOf(R"({"type":"text"})"), IsEmpty());
  EXPECT_THAT(EventsOf(R"({"type":"text","text":5})"), IsEmpty());
  EXPECT_THAT(EventsOf(R"({"type":"text","text":"broken \u12)"), IsEmpty());
}

TEST_F(InputInjectorTest, RefusedInjectionsCountAsHandled) {
  FakeInjection::Refuse(5);
  EXPECT_TRUE(injector.HandleEvent(R"({"type":"mousemove","x":1,"y":1})"));
  EXPECT_TRUE(injector.HandleEvent(R"({"type":"keydown","code":"KeyA"})"));
  EXPECT_TRUE(injector.HandleEvent(R"({"type":"text","text":"a"})"));
}

TEST_F(InputInjectorTest, FieldsAreReadFromTheFirstPlaceOfTheirName) {
  EXPECT_THAT(EventsOf(R"({"type":"mousemove","note":"x","y":500,"x":0})"),
              ElementsAre("mouse 0xC001 at 49151,65469 data 0"));
}

TEST_F(InputInjectorTest, BeforeAnyScreenIsKnownThePrimaryOneCounts) {
  FakeInjection::SetVirtualDesktop(0, 0, 1920, 1080);
  InputInjector fresh;
  EXPECT_TRUE(fresh.HandleEvent(R"({"type":"mousemove","x":9999,"y":0})"));
  EXPECT_THAT(FakeInjection::Events(), ElementsAre("mouse 0xC001 at 65535,0 data 0"));
}

TEST_F(InputInjectorTest, NoPrefixOfAnyEventIsReadPastItsEnd) {
  for (const std::string_view sample :
       {R"({"type":"mousemove","x":-12,"y":34})",
        R"({"type":"mousedown","button":"right","x":1,"y":2})",
        R"({"type":"keydown","hid":458756,"code":"KeyA","key":"a"})",
        R"({"text":"a\ud83d\ude00","type":"text"})"}) {
    for (size_t length = 0; length <= sample.size(); ++length) {
      const ExactBytes prefix(sample.substr(0, length));
      injector.HandleEvent(prefix.View());
    }
  }
}

// Events that see a rectangle half changed would map the far corner to a point of neither screen.
TEST_F(InputInjectorTest, EventsSeeOneRectangleWholeWhileOthersSetIt) {
  FakeInjection::SetVirtualDesktop(0, 0, 65536, 65536);
  std::atomic<bool> stop{false};
  std::vector<std::thread> setters;
  injector.SetScreenRect(1000, 2000, 3000, 4000);
  for (int setter = 0; setter < 2; ++setter) {
    setters.emplace_back([&] {
      while (!stop) {
        injector.SetScreenRect(100, 200, 300, 400);
        injector.SetScreenRect(1000, 2000, 3000, 4000);
      }
    });
  }
  std::vector<std::thread> senders;
  for (int sender = 0; sender < 2; ++sender) {
    senders.emplace_back([&] {
      for (int count = 0; count < 1000; ++count) {
        injector.HandleEvent(R"({"type":"mousemove","x":99999,"y":99999})");
      }
    });
  }
  for (std::thread& sender : senders) sender.join();
  stop = true;
  for (std::thread& setter : setters) setter.join();
  const std::vector<std::string> events = FakeInjection::Events();
  EXPECT_EQ(events.size(), 2000u);
  const std::set<std::string> kinds(events.begin(), events.end());
  for (const std::string& kind : kinds) {
    EXPECT_TRUE(kind == "mouse 0xC001 at 399,599 data 0" ||
                kind == "mouse 0xC001 at 3999,5999 data 0")
        << kind;
  }
}

}  // namespace
}  // namespace talu
