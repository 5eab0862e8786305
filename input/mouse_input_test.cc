#include "input/mouse_input.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <limits>
#include <string>

#include "input/injection.h"
#include "tests/fakes/fake_injection.h"
#include "tests/fakes/log_capture.h"

namespace talu {
namespace {

using testing::ElementsAre;

constexpr ScreenRect kRect{1920, 1080, 0, 0};

class MouseInputTest : public testing::Test {
 protected:
  MouseInputTest() {
    FakeInjection::Reset();
    mouseLogCount.Refill(kLoggedMouseInjections);
  }

  LogCapture log;
};

TEST_F(MouseInputTest, MoveIsAbsoluteOverTheWholeDesktop) {
  MouseMove(kRect, 1919, 0);
  EXPECT_THAT(FakeInjection::Events(), ElementsAre("mouse 0xC001 at 65535,0 data 0"));
  EXPECT_THAT(FakeInjection::CallSizes(), ElementsAre(1u));
}

TEST_F(MouseInputTest, EveryButtonHasItsFlagsAndPlacesThePointer) {
  struct Row {
    const char* button;
    bool down;
    const char* event;
  };
  const Row kRows[] = {
      {"left", true, "mouse 0xC003 at 0,65535 data 0"},
      {"left", false, "mouse 0xC005 at 0,65535 data 0"},
      {"right", true, "mouse 0xC009 at 0,65535 data 0"},
      {"right", false, "mouse 0xC011 at 0,65535 data 0"},
      {"middle", true, "mouse 0xC021 at 0,65535 data 0"},
      {"middle", false, "mouse 0xC041 at 0,65535 data 0"},
      {"x1", true, "mouse 0xC081 at 0,65535 data 1"},
      {"x1", false, "mouse 0xC101 at 0,65535 data 1"},
      {"x2", true, "mouse 0xC081 at 0,65535 data 2"},
      {"x2", false, "mouse 0xC101 at 0,65535 data 2"},
  };
  for (const Row& row : kRows) {
    FakeInjection::Reset();
    MouseButton(kRect, row.button, row.down, 0, 1079);
    EXPECT_THAT(FakeInjection::Events(), ElementsAre(row.event)) << row.button << row.down;
  }
}

TEST_F(MouseInputTest, AnyOtherButtonNameIsTheLeftOne) {
  for (const char* name : {"", "Right", "RIGHT", "x", "x3", "X1", "right ", "back"}) {
    FakeInjection::Reset();
    MouseButton(kRect, name, true, 0, 0);
    EXPECT_THAT(FakeInjection::Events(), ElementsAre("mouse 0xC003 at 0,0 data 0")) << name;
  }
}

TEST_F(MouseInputTest, WheelCarriesThePointWithoutMoving) {
  MouseWheel(kRect, 1919, 1079, 1);
  MouseWheel(kRect, 0, 0, -1);
  MouseWheel(kRect, 0, 0, 0);
  MouseWheel(kRect, 0, 0, 1000);
  EXPECT_THAT(FakeInjection::Events(),
              ElementsAre("mouse 0xC800 at 65535,65535 data -120", "mouse 0xC800 at 0,0 data 120",
                          "mouse 0xC800 at 0,0 data 0", "mouse 0xC800 at 0,0 data -120000"));
}

TEST_F(MouseInputTest, WheelStepsBeyondThirtyTwoBitsWrap) {
  MouseWheel(kRect, 0, 0, std::numeric_limits<int32_t>::max());
  MouseWheel(kRect, 0, 0, std::numeric_limits<int32_t>::min());
  EXPECT_THAT(FakeInjection::Events(),
              ElementsAre("mouse 0xC800 at 0,0 data 120", "mouse 0xC800 at 0,0 data 0"));
}

TEST_F(MouseInputTest, LogsWhatWasSent) {
  MouseMove(kRect, 1919, 0);
  SendMouse(kMouseLeftUp, 0, 0, 0);
  SendMouse(0x10000, -5, 7, 0);
  EXPECT_THAT(log.Lines(), ElementsAre("[agent] SendInput mouse flags=0xC001 abs=(65535,0) -> 1",
                                       "[agent] SendInput mouse flags=0x0004 abs=(0,0) -> 1",
                                       "[agent] SendInput mouse flags=0x10000 abs=(-5,7) -> 1"));
}

TEST_F(MouseInputTest, LogsARefusalWithItsErrorAndDoesNotRetry) {
  FakeInjection::Refuse(5);
  MouseMove(kRect, 0, 0);
  EXPECT_EQ(FakeInjection::CallSizes().size(), 1u);
  EXPECT_THAT(
      log.Lines(),
      ElementsAre("[agent] SendInput mouse flags=0xC001 abs=(0,0) -> 0 BLOCKED(GetLastError)",
                  "[agent] SendInput lastError=5"));
}

TEST_F(MouseInputTest, SendsButDoesNotLogTheTwentyFirst) {
  FakeInjection::Refuse(5);
  for (int count = 0; count < 21; ++count) MouseMove(kRect, 0, 0);
  EXPECT_EQ(FakeInjection::CallSizes().size(), 21u);
  EXPECT_EQ(log.Lines().size(), 40u);
}

}  // namespace
}  // namespace talu
