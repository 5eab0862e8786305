#include "control/screens_message.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/fakes/log_capture.h"
#include "tests/fakes/message_recorder.h"

namespace talu {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

const std::vector<ScreenInfo> kTwoScreens = {{0, "A", 1920, 1080, 0, 0, true},
                                             {1, "B", 1280, 1024, -1280, 5, false}};
constexpr char kTwoScreensMessage[] =
    R"({"type":"screens","current":0,"screens":[)"
    R"({"index":0,"name":"A","width":1920,"height":1080,"primary":true},)"
    R"({"index":1,"name":"B","width":1280,"height":1024,"primary":false}]})";

TEST(BuildScreensMessage, ListsTheScreensInTheirOrder) {
  EXPECT_EQ(BuildScreensMessage(0, kTwoScreens), kTwoScreensMessage);
}

TEST(BuildScreensMessage, KeepsGapsInTheIndices) {
  const std::vector<ScreenInfo> screens = {{3, "C", 1, -2, 0, 0, false}};
  EXPECT_EQ(
      BuildScreensMessage(3, screens),
      R"({"type":"screens","current":3,"screens":[{"index":3,"name":"C","width":1,"height":-2,"primary":false}]})");
}

TEST(BuildScreensMessage, IsAnEmptyListWithoutScreens) {
  EXPECT_EQ(BuildScreensMessage(0, {}), R"({"type":"screens","current":0,"screens":[]})");
  EXPECT_EQ(BuildScreensMessage(7, {}), R"({"type":"screens","current":7,"screens":[]})");
}

TEST(BuildScreensMessage, EscapesNamesAndKeepsNonAsciiOnes) {
  const std::vector<ScreenInfo> screens = {{0, R"(\\.\DISPLAY1)", 1, 1, 0, 0, true},
                                           {1, "a\"b\x01", 1, 1, 1, 0, false},
                                           {2, "显示器", 1, 1, 2, 0, false}};
  EXPECT_EQ(BuildScreensMessage(0, screens),
            R"({"type":"screens","current":0,"screens":[)"
            R"({"index":0,"name":"\\\\.\\DISPLAY1","width":1,"height":1,"primary":true},)"
            R"({"index":1,"name":"a\"b\u0001","width":1,"height":1,"primary":false},)"
            R"({"index":2,"name":"显示器","width":1,"height":1,"primary":false}]})");
}

TEST(SendScreensInfo, SendsAndLogsTheWholeMessage) {
  LogCapture log;
  MessageRecorder recorder;
  SessionFlags flags;
  flags.controllerActive = true;
  SendScreensInfo(recorder.Session(), flags, [] { return ScreenList{0, kTwoScreens}; });
  EXPECT_THAT(recorder.Messages(), ElementsAre(kTwoScreensMessage));
  EXPECT_THAT(log.Lines(), ElementsAre(std::string("[agent] screens info -> controller: ") +
                                       kTwoScreensMessage));
}

TEST(SendScreensInfo, HasNoSizeLimit) {
  LogCapture log;
  MessageRecorder recorder;
  SessionFlags flags;
  flags.controllerActive = true;
  SendScreensInfo(recorder.Session(), flags, [] {
    return ScreenList{0, std::vector<ScreenInfo>(1000)};
  });
  ASSERT_EQ(recorder.Messages().size(), 1u);
  EXPECT_GT(recorder.Messages()[0].size(), 16384u);
  EXPECT_EQ(log.Lines()[0], "[agent] screens info -> controller: " + recorder.Messages()[0]);
}

TEST(SendScreensInfo, AsksAnewForEveryMessage) {
  LogCapture log;
  MessageRecorder recorder;
  SessionFlags flags;
  flags.controllerActive = true;
  int asked = 0;
  const auto list = [&] { return ScreenList{asked++, {}}; };
  SendScreensInfo(recorder.Session(), flags, list);
  SendScreensInfo(recorder.Session(), flags, list);
  EXPECT_THAT(recorder.Messages(), ElementsAre(R"({"type":"screens","current":0,"screens":[]})",
                                               R"({"type":"screens","current":1,"screens":[]})"));
}

TEST(SendScreensInfo, DoesNothingWithoutASession) {
  LogCapture log;
  MessageRecorder recorder;
  recorder.Close();
  SessionFlags flags;
  flags.controllerActive = true;
  bool asked = false;
  SendScreensInfo(recorder.Session(), flags, [&] {
    asked = true;
    return ScreenList{};
  });
  EXPECT_FALSE(asked);
  EXPECT_THAT(log.Lines(), IsEmpty());
}

TEST(SendScreensInfo, DoesNothingWithoutAnActiveController) {
  LogCapture log;
  MessageRecorder recorder;
  const SessionFlags flags;
  bool asked = false;
  SendScreensInfo(recorder.Session(), flags, [&] {
    asked = true;
    return ScreenList{};
  });
  EXPECT_FALSE(asked);
  EXPECT_THAT(recorder.Messages(), IsEmpty());
  EXPECT_THAT(log.Lines(), IsEmpty());
}

}  // namespace
}  // namespace talu
